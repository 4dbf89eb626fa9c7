// The configuration file: the exact text a save writes, and what a load takes.
#include "app/config.h"
#include "base/device_paths.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

class ConfigTest : public testing::Test {
protected:
    void SetUp() override {
        makeDirs(MP_DEVICE_ROOT "/mnt/UDISK");
        remove(MP_CONFIG_FILE);
        gCoverBackground = gVisualization = gBackgroundPlay = true;
        s_curEffectIndex = 0;
        gMusicVolume = 100;
    }
    void load(const std::string& text) {
        writeFile(MP_CONFIG_FILE, text);
        loadPlayerConfig();
    }
    // cover|visualisation|background|index|volume
    std::string settings() {
        return std::to_string(gCoverBackground) + "|" + std::to_string(gVisualization) + "|" +
               std::to_string(gBackgroundPlay) + "|" + std::to_string(s_curEffectIndex) + "|" +
               std::to_string(gMusicVolume);
    }
};

} // namespace

TEST_F(ConfigTest, SavesAllFiveInSevenLinesWhateverTheFileHeld) {
    loadPlayerConfig(); // a first run: no file, the defaults stand
    EXPECT_EQ(savePlayerConfig(), 0);
    EXPECT_EQ(readFile(MP_CONFIG_FILE), "{\n\t\"cover_as_background\":\t1,\n\t\"music_visualization\":\t1,\n"
                                        "\t\"background_play\":\t1,\n\t\"visualization_index\":\t0,\n"
                                        "\t\"music_volume\":\t100\n}");
    load(R"({"music_volume": 30, "theme": "dark"})");
    EXPECT_EQ(settings(), "1|1|1|0|30");
    gVisualization = false;
    savePlayerConfig();
    EXPECT_EQ(readFile(MP_CONFIG_FILE), "{\n\t\"cover_as_background\":\t1,\n\t\"music_visualization\":\t0,\n"
                                        "\t\"background_play\":\t1,\n\t\"visualization_index\":\t0,\n"
                                        "\t\"music_volume\":\t30\n}");
}

TEST_F(ConfigTest, OnlyNumbersCountByTheirIntegerViewAndVolumesRoundTripUnclamped) {
    // JSON false and true and a string are no numbers; -3 and 0.5 load as -3 and 0.
    load(R"({"background_play": false, "music_visualization": true, "cover_as_background": "0",
             "visualization_index": -3, "music_volume": 0.5})");
    EXPECT_EQ(settings(), "1|1|1|-3|0");
    load(R"({"cover_as_background": 0.5, "background_play": 7})");
    EXPECT_EQ(settings(), "0|1|1|-3|0");
    load("{\"music_volume\": 70, truncated");
    EXPECT_EQ(settings(), "0|1|1|-3|0") << "text that is not JSON changes nothing";
    for (int volume : {-20, 0, 250}) {
        gMusicVolume = volume;
        savePlayerConfig();
        gMusicVolume = 55;
        loadPlayerConfig();
        EXPECT_EQ(gMusicVolume, volume);
    }
    // A directory in the file's place cannot be opened for writing: dropped silently.
    remove(MP_CONFIG_FILE);
    ASSERT_EQ(mkdir(MP_CONFIG_FILE, 0755), 0);
    EXPECT_EQ(savePlayerConfig(), 0);
    struct stat info;
    EXPECT_TRUE(stat(MP_CONFIG_FILE, &info) == 0 && S_ISDIR(info.st_mode));
    rmdir(MP_CONFIG_FILE);
}
