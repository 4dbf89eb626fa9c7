// What a load takes from the configuration file. The exact text a save writes, and that
// it brings the settings back, are checked at the player's shutdown.
#include "app/shared/config.h"
#include "base/device_paths.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

// cover|visualisation|background|index|volume
std::string settings() {
    return std::to_string(gCoverBackground) + "|" + std::to_string(gVisualization) + "|" +
           std::to_string(gBackgroundPlay) + "|" + std::to_string(s_curEffectIndex) + "|" +
           std::to_string(gMusicVolume);
}

std::string load(const std::string& text) {
    writeFile(MP_CONFIG_FILE, text);
    loadPlayerConfig();
    return settings();
}

} // namespace

// Members count only when they are numbers, by their integer view; a missing member, text
// that is no JSON or no file at all changes nothing, and a file that cannot be written is
// skipped.
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
    remove(MP_CONFIG_FILE);
    ASSERT_EQ(mkdir(MP_CONFIG_FILE, 0755), 0);
    EXPECT_EQ(savePlayerConfig(), 0);
    rmdir(MP_CONFIG_FILE);
    loadPlayerConfig();
    EXPECT_EQ(settings(), "0|1|1|-3|0");
}
