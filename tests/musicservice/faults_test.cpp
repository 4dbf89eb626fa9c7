// The service under bad clients and bad files: every kind of bad frame and request,
// clients that stall, say nothing or leave before their reply while a hundred others ask
// at once, a second instance, readers of the status file during rewrites, files that
// block, vanish or shrink while they play, symlinks planted among its files and a
// status folder others could plant them in. After each, SIGTERM ends the service in time.
#include "base/device_paths.h"
#include "fake_service.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/protocol/frame.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cjson/cJSON.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kWaitMs = 20000;

class FaultTest : public testing::Test {
protected:
    // A service playing the first tone in sequence mode.
    void SetUp() override {
        removeTree(MP_SERVICE_DATA_DIR);
        ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
        ASSERT_GT(setPlayDir(mPath.substr(0, mPath.find_last_of('/')).c_str()), 0);
        ASSERT_GT(filepath_cmd("play_file_in_dir", mPath.c_str()), 0);
        expectUndisturbed();
    }
    void TearDown() override {
        long start = monotonicMs();
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        EXPECT_LT(monotonicMs() - start, 2000 * MS_TIME_SCALE) << "SIGTERM ends the service within 2 s";
        if (HasFailure())
            std::cerr << serviceLog(mService);
    }
    // The service answers (once it has worked through what came before) and still plays
    // the first tone in sequence mode.
    void expectUndisturbed() {
        int mode = -1;
        EXPECT_TRUE(waitUntil([&] { return (mode = getPlayMode()) >= 0; }));
        EXPECT_EQ(mode, 0);
        EXPECT_TRUE(waitForStatus(
            [&](const MusicPlayingStatus& s) { return s.filename == mPath && s.status == "playing"; },
            kWaitMs, &mRecord));
    }
    bool plays(const std::string& path) {
        return waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == path && s.status == "playing"; },
                             kWaitMs, &mRecord);
    }

    std::string mPath = std::string(demoLibraryDir()) + "/Tones/01 Tone 440 Hz.flac";
    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

} // namespace

TEST_F(FaultTest, EveryKindOfBadFrameOrRequestIsDroppedAndChangesNothing) {
    const std::pair<std::string, const char*> cases[] = {
        {frameHeaderBytes(0x12345678u, 19) + "{\"cmd\":\t\"pause\"}", "bad frame magic"},
        {frameHeaderBytes(0xCBEDCDABu, 17) + "{\"cmd\":\"pause\"}", "bad frame magic"}, // byte-swapped
        {frameHeaderBytes(SERVICE_FRAME_MAGIC, -5), "bad frame length -5"},
        {frameHeaderBytes(SERVICE_FRAME_MAGIC, 0), "bad frame length 0"},
        {frameHeaderBytes(SERVICE_FRAME_MAGIC, 0x7FFFFFFF) + "{\"cmd\":", "bad frame length 2147483647"},
        {expectedFrame("{\"cmd\": pause"), "not a JSON object"},
        {expectedFrame("[\"cmd\",\"pause\"]"), "not a JSON object"},
        {expectedFrame("{\"command\":\"pause\"}"), "without a \"cmd\" string"},
        {expectedFrame("{\"cmd\":7}"), "without a \"cmd\" string"},
        {expectedFrame("{\"cmd\":\"self_destruct\"}"), "unknown command \"self_destruct\""},
        {expectedFrame("{\"cmd\":\"seek\",\"ms\":null}"), "\"seek\" needs the number member \"ms\""},
        {expectedFrame("{\"cmd\":\"set_play_mode\",\"mode\":\"1\"}"),
         "\"set_play_mode\" needs the number member"},
        {expectedFrame("{\"cmd\":\"set_play_mode\",\"mode\":9}"), "no play mode 9"},
        {expectedFrame("{\"cmd\":\"play_file_in_dir\",\"path\":[]}"), "needs the string member"},
        {expectedFrame("{\"cmd\":\"set_play_dir\"}"), "\"set_play_dir\" needs the string member"},
    };
    for (const auto& [bytes, logged] : cases) {
        int fd = connectService();
        ASSERT_GE(fd, 0) << logged;
        ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        EXPECT_TRUE(closedByService(fd, kWaitMs)) << logged;
        close(fd);
        expectUndisturbed();
        EXPECT_NE(serviceLog(mService).find(logged), std::string::npos) << "no log line \"" << logged << "\"";
    }
    EXPECT_TRUE(waitForStatusRewrites(1, kWaitMs)) << "the status goes on being rewritten";
}

TEST_F(FaultTest, StalledSilentAndVanishingClientsHoldUpNoOne) {
    std::vector<int> stalled;
    const std::string whole = expectedFrame("{\"cmd\":\"pause\"}");
    for (int i = 0; i < 20; ++i) {
        int fd = connectService();
        ASSERT_GE(fd, 0);
        // Nothing, half a header, a header alone, a header and half the body.
        size_t cut = std::vector<size_t>{0, 4, 8, 14}[i % 4];
        ASSERT_EQ(send(fd, whole.data(), cut, MSG_NOSIGNAL), static_cast<ssize_t>(cut));
        stalled.push_back(fd);
    }
    // Clients that leave before a byte of their 400 kB reply is read.
    std::string favorites;
    for (int i = 0; i < 5000; ++i)
        favorites += "/music/a long folder name for a large reply/track " + std::to_string(i) + ".flac\n";
    makeDirs(MP_SERVICE_DATA_DIR);
    writeFile(std::string(MP_SERVICE_DATA_DIR) + "/favorite.m3u", favorites);
    for (int i = 0; i < 10; ++i) {
        int fd = connectService();
        ASSERT_GE(fd, 0);
        ASSERT_GT(send_request(fd, "get_favorite_list"), 0);
        close(fd);
    }
    expectUndisturbed();
    // A hundred clients at once are all served while the stalled ones hang (each query
    // has 500 ms to be answered).
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 100; ++i)
        clients.emplace_back([&, i] { answered += i % 2 ? getPlayMode() == 0 : getCurrentListType() == 1; });
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(answered.load(), 100);
    fetchFavoriteList();
    EXPECT_EQ(sFavoritePathList.size(), 5000u);
    // None of the half requests was carried out, and the service lets them go in time.
    for (int fd : stalled) {
        EXPECT_TRUE(closedByService(fd, kWaitMs));
        close(fd);
    }
    expectUndisturbed();
}

TEST_F(FaultTest, ASecondInstanceRefusesToStart) {
    ServiceProcess second;
    ASSERT_EQ(spawnMusicService(&second), 0);
    int status = waitMusicServiceExit(&second, kWaitMs);
    if (status < 0)
        killMusicService(&second);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_NE(serviceLog(second).find("another instance is already running"), std::string::npos)
        << serviceLog(second);
    expectUndisturbed();
}

TEST_F(FaultTest, ReadersNeverSeeAStatusFileHalfWritten) {
    std::atomic<bool> going{true};
    std::thread commands([&] {
        // Every command makes the service rewrite the status at once, on top of the
        // ten rewrites a second.
        for (int volume = 1; going.load(); ++volume)
            setvolume(volume % 100 + 1);
    });
    int reads = 0, torn = 0, replaced = 0;
    ino_t lastInode = 0;
    long start = monotonicMs();
    while ((monotonicMs() < start + 3000 || replaced < 30) && monotonicMs() < start + kWaitMs) {
        FILE* file = fopen(MP_STATUS_FILE, "r");
        ASSERT_NE(file, nullptr) << "the status file never goes missing";
        struct stat info;
        fstat(fileno(file), &info);
        replaced += info.st_ino != lastInode;
        lastInode = info.st_ino;
        char text[8192];
        text[fread(text, 1, sizeof(text) - 1, file)] = '\0';
        fclose(file);
        cJSON* root = cJSON_Parse(text);
        torn += !root || !cJSON_GetObjectItem(root, "genre");
        cJSON_Delete(root);
        ++reads;
    }
    going.store(false);
    commands.join();
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_GE(replaced, 30) << "each rewrite is a new file put in place by rename";
}

TEST_F(FaultTest, AHugeEmbeddedCoverIsLeftOutBeforeItIsDecoded) {
    ScratchDir scratch("cover");
    const std::string picture = scratch.path() + "/huge.jpg", track = scratch.path() + "/huge.flac";
    ASSERT_EQ(runFfmpeg("-f lavfi -i color=s=8000x8000 -frames:v 1 '" + picture + "'"), 0);
    ASSERT_EQ(runFfmpeg("-i '" + mPath + "' -i '" + picture + "' -map 0:a -map 1:v -c copy -disposition:v attached_pic '" +
                        track + "'"),
              0);
    auto peakKb = [&] {
        std::string status = readFile("/proc/" + std::to_string(mService.pid) + "/status");
        size_t at = status.find("VmHWM:");
        return at == std::string::npos ? 0L : atol(status.c_str() + at + 6);
    };
    long before = peakKb();
    ASSERT_GT(filepath_cmd("play_file_in_dir", track.c_str()), 0);
    ASSERT_TRUE(plays(track));
    EXPECT_NE(access(MP_MUSIC_COVER_FILE, F_OK), 0);
    EXPECT_NE(serviceLog(mService).find("(8000 x 8000) is too large"), std::string::npos);
    // Decoding it would take 96 MB.
    EXPECT_LT(peakKb() - before, 32 * 1024) << "the picture was decoded";
    ASSERT_GT(filepath_cmd("play_file_in_dir", mPath.c_str()), 0);
    expectUndisturbed();
}

TEST_F(FaultTest, FilesThatBlockVanishOrShrinkWhileTheyPlayNeverHoldThePlayer) {
    ScratchDir scratch("files");
    const std::string fifo = scratch.path() + "/01 fifo.flac", gone = scratch.path() + "/02 gone.flac",
                      cut = scratch.path() + "/03 cut.flac";
    writeFile(gone, readFile(mPath));
    writeFile(cut, readFile(mPath));
    ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
    // A FIFO is no track of its folder, and named in a list it is skipped: nothing waits
    // for a writer that never comes.
    ASSERT_GT(filepath_cmd("play_file_in_dir", fifo.c_str()), 0);
    writeFile(std::string(MP_SERVICE_DATA_DIR) + "/playlist.m3u", fifo + "\n" + gone + "\n" + cut + "\n");
    ASSERT_GT(filepath_cmd("play_file_in_playlist", fifo.c_str()), 0);
    ASSERT_TRUE(plays(gone));
    // Deleted while it plays: it plays on to its end, then the next track.
    ASSERT_EQ(unlink(gone.c_str()), 0);
    ASSERT_GT(seek_cmd(29000), 0);
    ASSERT_TRUE(plays(cut));
    // Cut short while it plays: it ends where the file now ends.
    ASSERT_EQ(truncate(cut.c_str(), 5000), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.status == "stopped"; }, kWaitMs, &mRecord));
    ASSERT_GT(filepath_cmd("play_file_in_dir", mPath.c_str()), 0);
    expectUndisturbed();
}

TEST_F(FaultTest, AClientOfAnotherUserIsRefused) {
    if (geteuid() != 0)
        GTEST_SKIP() << "acting as another user needs root";
    pid_t child = fork();
    // The service may close the connection before the frame is out: what counts is what
    // it does.
    if (child == 0)
        _exit(setgid(4242) == 0 && setuid(4242) == 0 ? pause() * 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the client could not become user 4242";
    EXPECT_TRUE(waitUntil(
        [&] { return serviceLog(mService).find("refused a client of user 4242") != std::string::npos; }));
    expectUndisturbed();
}

TEST_F(FaultTest, PlantedSymlinksAreNeverWrittenThroughAndAFolderOthersCanWriteIsRefused) {
    ScratchDir scratch("planted");
    const std::string victim = scratch.path() + "/victim", dir = MP_SERVICE_DIR;
    writeFile(victim, "untouched");
    ASSERT_EQ(stopMusicService(&mService), 0);
    for (const char* name : {"/status.tmp", "/music_info.txt.tmp", "/music_cover.png.tmp", "/wave_s16le"}) {
        unlink((dir + name).c_str());
        ASSERT_EQ(symlink(victim.c_str(), (dir + name).c_str()), 0) << name;
    }
    ASSERT_EQ(symlink(victim.c_str(), MP_SERVICE_DATA_DIR "/recent.m3u.tmp"), 0);
    ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    const std::string covered = std::string(demoLibraryDir()) + "/Chords/01 C major.mp3";
    ASSERT_GT(setPlayDir((std::string(demoLibraryDir()) + "/Chords").c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", covered.c_str()), 0);
    ASSERT_TRUE(plays(covered));
    ASSERT_TRUE(waitUntil([] { return access(MP_SERVICE_DATA_DIR "/recent.m3u", F_OK) == 0; }));
    EXPECT_TRUE(readFile(victim) == "untouched") << "written through a planted symlink";
    ASSERT_EQ(stopMusicService(&mService), 0);

    // A folder that is not the service's own (a symlink, another user's) or that others
    // can write: anyone could plant files there.
    const std::string moved = scratch.path() + "/moved";
    const std::pair<std::function<int()>, const char*> cases[] = {
        {[&] { return chmod(dir.c_str(), 0777); }, "group or others can write it"},
        {[&] { return geteuid() == 0 ? chown(dir.c_str(), 4242, 4242) : -1; }, "it belongs to user 4242"},
        {[&] { return rename(dir.c_str(), moved.c_str()) | symlink(moved.c_str(), dir.c_str()); },
         "not a folder"},
    };
    for (const auto& [plant, logged] : cases) {
        if (plant() != 0)
            continue;
        ServiceProcess refused;
        ASSERT_EQ(spawnMusicService(&refused), 0);
        int status = waitMusicServiceExit(&refused, kWaitMs);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << logged;
        EXPECT_NE(serviceLog(refused).find(logged), std::string::npos) << serviceLog(refused);
        killMusicService(&refused);
        removeTree(dir);
        makeDirs(dir);
    }
    ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    ASSERT_GT(filepath_cmd("play_file_in_dir", mPath.c_str()), 0);
    expectUndisturbed();
}
