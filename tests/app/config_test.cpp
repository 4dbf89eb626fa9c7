// What a load takes from the configuration file, and what a save can bring back. The
// exact text a save writes is checked at the player's shutdown.
#include "app/config.h"
#include "base/device_paths.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

// cover|visualisation|background|index|volume after loading that text.
std::string load(const std::string& text) {
    writeFile(MP_CONFIG_FILE, text);
    loadPlayerConfig();
    return std::to_string(gCoverBackground) + "|" + std::to_string(gVisualization) + "|" +
           std::to_string(gBackgroundPlay) + "|" + std::to_string(s_curEffectIndex) + "|" +
           std::to_string(gMusicVolume);
}

} // namespace

// Members count only when they are numbers, by their integer view; a missing member or
// text that is no JSON changes nothing.
TEST(Config, LoadTakesNumbersOnly) {
    makeDirs(MP_DEVICE_ROOT "/mnt/UDISK");
    gCoverBackground = gVisualization = gBackgroundPlay = true;
    s_curEffectIndex = 0;
    gMusicVolume = 100;
    EXPECT_EQ(load(R"({"music_volume": 30, "theme": "dark"})"), "1|1|1|0|30");
    // JSON false and true and a string are no numbers; -3 and 0.5 load as -3 and 0.
    EXPECT_EQ(load(R"({"background_play": false, "music_visualization": true, "cover_as_background": "0",
                       "visualization_index": -3, "music_volume": 0.5})"),
              "1|1|1|-3|0");
    EXPECT_EQ(load(R"({"cover_as_background": 0.5, "background_play": 7})"), "0|1|1|-3|0");
    EXPECT_EQ(load("{\"music_volume\": 70, truncated"), "0|1|1|-3|0");
}

TEST(Config, VolumesRoundTripUnclampedAndAMissingFileIsSkipped) {
    makeDirs(MP_DEVICE_ROOT "/mnt/UDISK");
    for (int volume : {-20, 0, 250}) {
        gMusicVolume = volume;
        savePlayerConfig();
        gMusicVolume = 55;
        loadPlayerConfig();
        EXPECT_EQ(gMusicVolume, volume);
    }
    // A directory in the file's place cannot be opened for writing; no file, no change.
    remove(MP_CONFIG_FILE);
    ASSERT_EQ(mkdir(MP_CONFIG_FILE, 0755), 0);
    EXPECT_EQ(savePlayerConfig(), 0);
    rmdir(MP_CONFIG_FILE);
    loadPlayerConfig();
    EXPECT_EQ(gMusicVolume, 250);
}
