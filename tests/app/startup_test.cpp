// The command line with the single-file start, and the program's texts, in process.
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "app/startup/startup.h"
#include "service/file_actions/play_request.h"
#include "base/device_paths.h"
#include "fake_service.h"
#include "shmvar.h"

#include <gtest/gtest.h>

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
