// The command line and the single-file start, in process and through the real binary.
#include "app/startup.h"
#include "base/device_paths.h"
#include "fake_service.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// What parseCommandLine printed.
std::string parse(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (auto& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    testing::internal::CaptureStdout();
    parseCommandLine(static_cast<int>(args.size()), argv.data());
    return testing::internal::GetCapturedStdout();
}

std::string request(const std::string& cmd, const std::string& path = "") {
    return "{\n\t\"cmd\":\t\"" + cmd + (path.empty() ? "\"" : "\",\n\t\"path\":\t\"" + path + "\"") + "\n}";
}

class StartupTest : public testing::Test {
protected:
    void SetUp() override {
        gUserFile.clear();
        sLastPlayDir.clear();
        sLastPlayPath.clear();
    }
    // Parses the options, runs the single-file start and tells what it recorded.
    std::string start(std::vector<std::string> args) {
        parse(args);
        StartState state;
        singleFileStart(&state);
        return std::to_string(state.played) + "|" + state.currentPath + "|" + gUserPath + "|" + sLastPlayDir +
               "|" + sLastPlayPath;
    }
    FakeService service;
};

} // namespace

TEST_F(StartupTest, CommandLineOptionsAndTheirLines) {
    gUserPath = "/stale";
    EXPECT_EQ(parse({"player", "extra"}),
              "usage: player [-d base-path] [-f single-file]\nargv single:extra\n");
    EXPECT_EQ(gUserPath, MP_MUSIC_ROOT);
    EXPECT_EQ(gUserFile, "");
    parse({"player", "-d", "/media/one", "-x", "-d", "/media/two", "-f", "song.mp3", "operand"});
    EXPECT_EQ(gUserPath, "/media/two");
    EXPECT_EQ(gUserFile, "song.mp3");
}

TEST_F(StartupTest, SingleFilePlaysInItsDirectoryOrTheLibrary) {
    EXPECT_EQ(start({"player", "-f", "/x/y/song.flac"}), "0||/x/y||") << "no service: nothing played";
    ASSERT_TRUE(service.start());
    EXPECT_EQ(start({"player", "-d", "/media/lib", "-f", "/x/y/song.flac"}),
              "1|/x/y/song.flac|/x/y|/x/y|/x/y/song.flac");
    EXPECT_EQ(start({"player", "-d", "/media/lib", "-f", "song.flac"}),
              "1|song.flac|/media/lib|/media/lib|song.flac");
    std::vector<std::string> bodies;
    for (const auto& frame : service.frames())
        bodies.push_back(frame.body);
    EXPECT_EQ(bodies, (std::vector<std::string>{
                          request("set_play_dir", "/x/y"), request("play_file_in_dir", "/x/y/song.flac"),
                          request("set_play_dir", "/media/lib"), request("play_file_in_dir", "song.flac")}));
}
