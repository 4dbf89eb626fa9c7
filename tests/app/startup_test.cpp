// The command line and the single-file start, in process and through the real binary.
#include "base/device_paths.h"
#include "app/startup.h"
#include "fake_service.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void parse(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (auto& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    testing::internal::CaptureStdout();
    parseCommandLine(static_cast<int>(args.size()), argv.data());
    testing::internal::GetCapturedStdout();
}

class StartupTest : public testing::Test {
protected:
    void SetUp() override {
        gUserPath.clear();
        gUserFile.clear();
        sLastPlayDir.clear();
        sLastPlayPath.clear();
    }
};

} // namespace

TEST_F(StartupTest, CommandLineOptions) {
    parse({"player"});
    EXPECT_EQ(gUserPath, MP_MUSIC_ROOT);
    EXPECT_EQ(gUserFile, "");

    parse({"player", "-d", "/media/one", "-x", "-d", "/media/two", "-f", "song.mp3", "operand"});
    EXPECT_EQ(gUserPath, "/media/two");
    EXPECT_EQ(gUserFile, "song.mp3");
}

TEST_F(StartupTest, UsageLineIsPrintedAtEveryStart) {
    std::string arg0 = "player";
    std::string operand = "extra";
    char* argv[] = {&arg0[0], &operand[0], nullptr};
    testing::internal::CaptureStdout();
    parseCommandLine(2, argv);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "usage: player [-d base-path] [-f single-file]\nargv single:extra\n");
}

TEST_F(StartupTest, SingleFileWithAPathPlaysItInItsDirectory) {
    FakeService service;
    ASSERT_TRUE(service.start());
    parse({"player", "-d", "/media/lib", "-f", "/x/y/song.flac"});
    StartState state;
    singleFileStart(&state);
    EXPECT_TRUE(state.played);
    EXPECT_EQ(state.currentPath, "/x/y/song.flac");
    EXPECT_EQ(gUserPath, "/x/y");
    EXPECT_EQ(sLastPlayDir, "/x/y");
    EXPECT_EQ(sLastPlayPath, "/x/y/song.flac");
    EXPECT_EQ(service.commands(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir"}));
}

TEST_F(StartupTest, SingleFileWithABareNameUsesTheLibraryPath) {
    FakeService service;
    ASSERT_TRUE(service.start());
    parse({"player", "-d", "/media/lib", "-f", "song.flac"});
    StartState state;
    singleFileStart(&state);
    EXPECT_EQ(gUserPath, "/media/lib");
    auto frames = service.frames();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].body, "{\n\t\"cmd\":\t\"set_play_dir\",\n\t\"path\":\t\"/media/lib\"\n}");
    EXPECT_EQ(frames[1].body, "{\n\t\"cmd\":\t\"play_file_in_dir\",\n\t\"path\":\t\"song.flac\"\n}");
}

TEST_F(StartupTest, SingleFileWithoutServicePlaysNothing) {
    parse({"player", "-f", "/x/y/song.flac"});
    StartState state;
    singleFileStart(&state);
    EXPECT_FALSE(state.played);
    EXPECT_EQ(gUserPath, "/x/y");
    EXPECT_EQ(gUserFile, "/x/y/song.flac");
    EXPECT_EQ(sLastPlayPath, "");
}

namespace {

int runPlayer(const std::string& args) {
    std::string command = std::string(MP_PLAYER_BINARY) + " " + args + " >/dev/null 2>&1";
    int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(PlayerBinary, SingleFileStartSendsTheFourRequestsInOrder) {
    FakeService service;
    ASSERT_TRUE(service.start());
    service.script("get_current_list_type", Reply{ReplyKind::Json, "{\"listtype\": 1}"});
    service.script("get_favorite_list", Reply{ReplyKind::Json, "{\"list\": []}"});
    EXPECT_EQ(runPlayer("-f /x/y/song.flac"), 0);
    auto frames = service.frames();
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(frames[0].body, "{\n\t\"cmd\":\t\"set_play_dir\",\n\t\"path\":\t\"/x/y\"\n}");
    EXPECT_EQ(frames[1].body, "{\n\t\"cmd\":\t\"play_file_in_dir\",\n\t\"path\":\t\"/x/y/song.flac\"\n}");
    EXPECT_EQ(frames[2].body, "{\n\t\"cmd\":\t\"get_current_list_type\"\n}");
    EXPECT_EQ(frames[3].body, "{\n\t\"cmd\":\t\"get_favorite_list\"\n}");
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].magic, 0xABCDEDCBu);
        EXPECT_EQ(frames[i].connection, static_cast<int>(i) + 1);
    }
}

TEST(PlayerBinary, WithoutServiceExitsZero) {
    EXPECT_EQ(runPlayer("-f /x/y/song.flac"), 0);
}

TEST(PlayerBinary, DirectoryOptionIsCreatedWhileTheFileChoosesTheRoot) {
    std::string base = "/tmp/mp-test-startup-" + std::to_string(getpid());
    std::string library = base + "-lib";
    rmdir(library.c_str());
    FakeService service;
    ASSERT_TRUE(service.start());
    EXPECT_EQ(runPlayer("-d " + library + " -f /x/y/song.flac"), 0);
    struct stat info;
    EXPECT_EQ(stat(library.c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    auto frames = service.frames();
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames[0].body, "{\n\t\"cmd\":\t\"set_play_dir\",\n\t\"path\":\t\"/x/y\"\n}");
    rmdir(library.c_str());
}
