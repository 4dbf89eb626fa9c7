// What the program takes in as it starts, in process: the command line with the
// single-file start, the program's texts, and what a load takes from the configuration
// file. The exact text a save writes, and that it brings the settings back, are checked
// at the player's shutdown.
#include "app/shared/config.h"
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "app/startup/startup.h"
#include "service/file_actions/play_request.h"
#include "base/device_paths.h"
#include "fake_service.h"
#include "scratch_dir.h"
#include "shmvar.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

std::string request(const std::string& cmd, const std::string& path) {
    return "{\n\t\"cmd\":\t\"" + cmd + "\",\n\t\"path\":\t\"" + path + "\"\n}";
}

// Parses the options, runs the single-file start and tells what it recorded.
std::string start(std::vector<std::string> args) {
    gUserFile.clear();
    sLastPlayDir.clear();
    sLastPlayPath.clear();
    std::vector<char*> argv;
    for (auto& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    parseCommandLine(static_cast<int>(args.size()), argv.data());
    StartState state;
    singleFileStart(&state);
    return std::to_string(state.played) + "|" + state.currentPath + "|" + gUserPath + "|" + sLastPlayDir +
           "|" + sLastPlayPath;
}

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

// An absolute file plays in its own folder, a bare name in the library: the last -d, past
// options it does not know, or the default.
TEST(Startup, SingleFilePlaysInItsDirectoryOrTheLibrary) {
    FakeService service;
    gUserPath = "/stale";
    EXPECT_EQ(start({"player", "-f", "song.flac"}), "0||" MP_MUSIC_ROOT "||") << "no service: nothing played";
    ASSERT_TRUE(service.start());
    EXPECT_EQ(start({"player", "-d", "/media/lib", "-f", "/x/y/song.flac"}),
              "1|/x/y/song.flac|/x/y|/x/y|/x/y/song.flac");
    EXPECT_EQ(start({"player", "-d", "/media/one", "-x", "-d", "/media/lib", "-f", "song.flac", "operand"}),
              "1|song.flac|/media/lib|/media/lib|song.flac");
    std::vector<std::string> bodies;
    for (const auto& frame : service.frames())
        bodies.push_back(frame.body);
    EXPECT_EQ(bodies, (std::vector<std::string>{
                          request("set_play_dir", "/x/y"), request("play_file_in_dir", "/x/y/song.flac"),
                          request("set_play_dir", "/media/lib"), request("play_file_in_dir", "song.flac")}));
}

// The translations come from the language file in the application's folder (here the
// checkout, as the theme's folder).
TEST(Startup, ProgramTextsFollowTheToolkitsAndTranslationsReplaceThem) {
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    InitKeyShm(&gShmInfo);
    for (int language : {1, 0}) {
        SetKeyShm(&gShmInfo, kShmKeyLanguage, language);
        loadSystemState(&gShmInfo, nullptr);
        gThemePath = const_cast<char*>(MP_TEST_SOURCE_DIR);
        initLang();
        EXPECT_STREQ(getLangStr(8), language ? "\xE9\x9F\xB3\xE4\xB9\x90" : "Music");
        EXPECT_STREQ(getLangStr(3),
                     language ? "\xE6\xAD\xA3\xE5\x9C\xA8\xE9\x80\x80\xE5\x87\xBA..." : "Quitting...");
    }
    gThemePath = nullptr;
    gDefaultStringList.resize(8);
}

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
