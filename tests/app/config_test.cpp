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
};

std::string configText(int cover, int visualization, int background, int index, int volume) {
    return "{\n\t\"cover_as_background\":\t" + std::to_string(cover) + ",\n\t\"music_visualization\":\t" +
           std::to_string(visualization) + ",\n\t\"background_play\":\t" + std::to_string(background) +
           ",\n\t\"visualization_index\":\t" + std::to_string(index) + ",\n\t\"music_volume\":\t" +
           std::to_string(volume) + "\n}";
}

} // namespace

TEST_F(ConfigTest, FirstRunSavesSevenLinesOfDefaults) {
    loadPlayerConfig(); // no file: the defaults stand
    EXPECT_EQ(savePlayerConfig(), 0);
    EXPECT_EQ(readFile(MP_CONFIG_FILE), "{\n\t\"cover_as_background\":\t1,\n\t\"music_visualization\":\t1,\n"
                                        "\t\"background_play\":\t1,\n\t\"visualization_index\":\t0,\n"
                                        "\t\"music_volume\":\t100\n}");
}

TEST_F(ConfigTest, PartialFileThenSaveWritesAllFiveAndDropsStrangers) {
    load(R"({"music_volume": 30, "theme": "dark"})");
    EXPECT_EQ(gMusicVolume, 30);
    EXPECT_TRUE(gCoverBackground && gVisualization && gBackgroundPlay);
    EXPECT_EQ(s_curEffectIndex, 0);
    gVisualization = false;
    savePlayerConfig();
    EXPECT_EQ(readFile(MP_CONFIG_FILE), configText(1, 0, 1, 0, 30));
}

TEST_F(ConfigTest, OnlyNumbersCountAndByTheirIntegerView) {
    load(R"({"background_play": false, "music_visualization": true, "cover_as_background": "0",
             "visualization_index": -3, "music_volume": 0.5})");
    EXPECT_TRUE(gBackgroundPlay) << "JSON false is no number";
    EXPECT_TRUE(gVisualization) << "JSON true is no number either";
    EXPECT_TRUE(gCoverBackground) << "a string is no number";
    EXPECT_EQ(s_curEffectIndex, -3);
    EXPECT_EQ(gMusicVolume, 0);

    load(R"({"cover_as_background": 0.5, "background_play": 7})");
    EXPECT_FALSE(gCoverBackground) << "0.5 reads as 0";
    EXPECT_TRUE(gBackgroundPlay);

    load("{\"music_volume\": 70, truncated");
    EXPECT_EQ(gMusicVolume, 0) << "text that is not JSON changes nothing";
}

TEST_F(ConfigTest, VolumesRoundTripUnclamped) {
    for (int volume : {-20, 0, 250}) {
        gMusicVolume = volume;
        savePlayerConfig();
        gMusicVolume = 55;
        loadPlayerConfig();
        EXPECT_EQ(gMusicVolume, volume);
    }
}

TEST_F(ConfigTest, UnwritableLocationIsDroppedSilently) {
    // A directory in the file's place cannot be opened for writing.
    ASSERT_EQ(mkdir(MP_CONFIG_FILE, 0755), 0);
    EXPECT_EQ(savePlayerConfig(), 0);
    struct stat info;
    ASSERT_EQ(stat(MP_CONFIG_FILE, &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    rmdir(MP_CONFIG_FILE);
}
