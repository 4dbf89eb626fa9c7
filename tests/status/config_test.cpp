// The configuration file: the exact text a save writes, and what a load takes.
#include "app/config.h"
#include "app/device_paths.h"
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

const char kDefaultsText[] =
    "{\n\t\"cover_as_background\":\t1,\n\t\"music_visualization\":\t1,\n"
    "\t\"background_play\":\t1,\n\t\"visualization_index\":\t0,\n\t\"music_volume\":\t100\n}";

} // namespace

TEST_F(ConfigTest, DefaultsSaveAsSevenLines) {
    loadPlayerConfig(); // no file: defaults stand
    EXPECT_EQ(savePlayerConfig(), 0);
    EXPECT_EQ(readFile(MP_CONFIG_FILE), kDefaultsText);
}

TEST_F(ConfigTest, PartialFilesAndNonNumbers) {
    load(R"({"music_volume": 30})");
    EXPECT_EQ(gMusicVolume, 30);
    EXPECT_TRUE(gCoverBackground && gVisualization && gBackgroundPlay);
    savePlayerConfig();
    std::string saved = readFile(MP_CONFIG_FILE);
    EXPECT_NE(saved.find("\"cover_as_background\":\t1"), std::string::npos);
    EXPECT_NE(saved.find("\"music_volume\":\t30\n}"), std::string::npos);

    load(R"({"background_play": false, "music_visualization": 0.5, "cover_as_background": "0",
             "visualization_index": -3})");
    EXPECT_TRUE(gBackgroundPlay) << "JSON false is no number";
    EXPECT_FALSE(gVisualization) << "0.5 reads as 0";
    EXPECT_TRUE(gCoverBackground);
    EXPECT_EQ(s_curEffectIndex, -3);

    load("{\"music_volume\": 70, truncated");
    EXPECT_EQ(gMusicVolume, 30) << "text that is not JSON changes nothing";
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
    load(R"({"music_volume": 40})");
    // A directory in the file's place cannot be opened for writing.
    remove(MP_CONFIG_FILE);
    mkdir(MP_CONFIG_FILE, 0755);
    gMusicVolume = 90;
    EXPECT_EQ(savePlayerConfig(), 0);
    EXPECT_EQ(gMusicVolume, 90);
    rmdir(MP_CONFIG_FILE);
}
