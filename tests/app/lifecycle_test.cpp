// The whole process as the service and the file system see it: the real binary, headless,
// against the service double, ended as the desktop ends it (SIGTERM, which SDL turns
// into the window's close).
#include "base/device_paths.h"
#include "build_program.h"
#include "fake_service.h"
#include "scratch_dir.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class LifecycleTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* path : {MP_SERVICE_DIR, MP_CONFIG_FILE, MP_STAY_ALIVE_FILE, MP_VIS_DIR})
            removeTree(path);
        for (const char* dir : {MP_SERVICE_DIR, MP_DEVICE_ROOT "/mnt/UDISK", MP_MUSIC_ROOT "/album"})
            makeDirs(dir);
        for (auto [cmd, reply] : {std::pair{"get_current_list_type", "{\"listtype\": 1}"},
                                  {"get_play_mode", "{\"mode\": 0}"},
                                  {"get_favorite_list", "{\"list\": []}"},
                                  {"set_play_dir", "{}"}})
            service.script(cmd, Reply{ReplyKind::Json, reply});
        ASSERT_TRUE(service.start());
    }
    void TearDown() override {
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
    }
    // Starts the player in the application folder (the checkout, with its skin), and
    // with a video driver waits until its loop runs.
    void start(std::vector<std::string> args, const char* videoDriver = "dummy") {
        removeTree(mLog); // not to be read for this run's
        mPid = fork();
        ASSERT_GE(mPid, 0);
        if (mPid == 0) {
            setenv("SDL_VIDEODRIVER", videoDriver, 1);
            int fd = open(mLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(fd, STDERR_FILENO);
            dup2(fd, STDOUT_FILENO);
            if (chdir(MP_TEST_SOURCE_DIR) == 0)
                execBuildProgram(MP_PLAYER_BINARY, args);
            _exit(127);
        }
        if (std::string(videoDriver) == "dummy") {
            ASSERT_TRUE(waitUntil([&] { return logged("runWindows "); })) << readFile(mLog);
        }
    }
    bool logged(const std::string& text) { return readFile(mLog).find(text) != std::string::npos; }
    // Waits for the player to end, after a SIGTERM (as closing its window) when asked;
    // its exit status, or -1.
    int ended(bool terminate = true) {
        if (terminate)
            kill(mPid, SIGTERM);
        int status = 0;
        bool ended = waitUntil([&] { return waitpid(mPid, &status, WNOHANG) == mPid; });
        mPid = -1;
        return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    FakeService service;
    ScratchDir mDir{"lifecycle"};
    std::string mLog = mDir.path() + "/stderr.txt";
    pid_t mPid = -1;
};

} // namespace

// Background play on: the track the service plays goes on after the player.
TEST_F(LifecycleTest, StartOrderOnTheWireAndAWholeConfigurationAtShutdown) {
    writeFile(MP_CONFIG_FILE, "{\"music_volume\": 0, \"background_play\": 1}");
    writeFile(MP_STATUS_FILE,
              "{\"filename\": \"" MP_MUSIC_ROOT "/album/song.flac\", \"status\": \"playing\"}");
    std::string created = mDir.path() + "/made-by-d";
    start({"-d", created, "-f", MP_MUSIC_ROOT "/album/song.flac"});
    // The stored volume; then the single file in its folder, the list type and the
    // favourites, in that order.
    auto commands = service.commands();
    commands.resize(5);
    EXPECT_EQ(commands, (std::vector<std::string>{"set_volume", "set_play_dir", "play_file_in_dir",
                                                  "get_current_list_type", "get_favorite_list"}));
    EXPECT_EQ(access(created.c_str(), F_OK), 0) << "the -d folder is created, though -f chose the root";
    EXPECT_EQ(ended(), 0) << readFile(mLog);
    EXPECT_EQ(service.count("pause"), 0u);
    // The now-playing screen found no effects folder under this device root: the index
    // ends at -1, and the stored volume of 0 goes back unchanged.
    EXPECT_EQ(readFile(MP_CONFIG_FILE), "{\n\t\"cover_as_background\":\t1,\n\t\"music_visualization\":\t1,\n"
                                        "\t\"background_play\":\t1,\n\t\"visualization_index\":\t-1,\n"
                                        "\t\"music_volume\":\t0\n}");
    EXPECT_TRUE(logged("cleanup close ttf\ncleanup close sdl\nquit\n"));
}

// Background play off: a service found playing gets the now-playing screen, which keeps
// the device awake and asks for the play mode on every frame, and one "pause" at
// shutdown; a paused one gets the library alone and is left as it is.
TEST_F(LifecycleTest, OnlyAPlayingServiceOpensTheNowPlayingScreenAndIsPausedAtShutdown) {
    writeFile(MP_CONFIG_FILE, "{\"background_play\": 0}");
    for (const std::string state : {"paused", "playing"}) {
        const bool playing = state == "playing";
        writeFile(MP_STATUS_FILE,
                  "{\"filename\": \"" MP_MUSIC_ROOT "/album/a.flac\", \"status\": \"" + state + "\"}");
        start({});
        EXPECT_TRUE(logged("listtype 1, played " + std::to_string(playing) + ", status " + state + "\n"));
        EXPECT_TRUE(!playing || waitUntil([&] { return service.count("get_play_mode") >= 2; }));
        EXPECT_EQ(access(MP_STAY_ALIVE_FILE, F_OK) == 0, playing) << state;
        EXPECT_EQ(ended(), 0) << readFile(mLog);
        EXPECT_EQ(service.count("pause"), playing ? 1u : 0u) << state;
        EXPECT_EQ(service.count("get_play_mode") > 0, playing) << state;
    }
}

TEST_F(LifecycleTest, NoVideoEndsWithStatusTwo) {
    start({}, "no-such-driver");
    EXPECT_EQ(ended(false), 2);
    EXPECT_TRUE(logged("Couldn't initialize SDL: ")) << readFile(mLog);
}
