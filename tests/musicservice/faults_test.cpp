// The service under bad clients and bad files: every kind of bad frame and request,
// clients that stall, say nothing or leave before their reply while a hundred others ask
// at once, a client of another user, a second instance, files that cannot play or that
// block, vanish or shrink while they play, a huge cover, symlinks planted among its files
// and a status folder others could plant them in. After each, SIGTERM ends the service in
// time (the fixture's TearDown). That the status file is replaced whole, never written in
// place, the other tests' waits for its rewrites (a new file each) show.
#include "base/device_paths.h"
#include "base/fd_io.h"
#include "fake_service.h"
#include "service/protocol/frame.h"
#include "service_test.h"

#include <atomic>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

class FaultTest : public ServiceTest {
protected:
    // A service playing the first tone in sequence mode.
    void SetUp() override {
        ServiceTest::SetUp();
        ASSERT_TRUE(playInDir(mPath));
    }
    // The service answers (once it has worked through what came before) and still plays
    // the first tone in sequence mode.
    void expectUndisturbed() {
        EXPECT_TRUE(waitUntil([] { return getPlayMode() == 0; }));
        EXPECT_TRUE(shows(mPath));
    }
    // A second service started now ends at once with status 1 and the log line.
    void expectRefusedStart(const std::string& line) {
        ServiceProcess refused;
        ASSERT_EQ(spawnMusicService(&refused), 0);
        int status = waitMusicServiceExit(&refused, kWaitMs);
        killMusicService(&refused);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << line;
        EXPECT_NE(serviceLog(refused).find(line), std::string::npos) << serviceLog(refused);
    }

    const std::string mPath = demo("Tones/01 Tone 440 Hz.flac");
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
        {expectedFrame("{\"cmd\":\"set_play_mode\",\"mode\":9}"), "no play mode 9"},
        {expectedFrame("{\"cmd\":\"play_file_in_dir\",\"path\":[]}"), "needs the string member"},
        {expectedFrame("{\"cmd\":\"set_play_dir\"}"), "\"set_play_dir\" needs the string member"},
    };
    for (const auto& [bytes, line] : cases) {
        int fd = connectService();
        ASSERT_TRUE(sendFully(fd, bytes.data(), bytes.size())) << line;
        EXPECT_TRUE(closedByService(fd, kWaitMs)) << line;
        close(fd);
        expectUndisturbed();
        EXPECT_TRUE(logged(line)) << "no log line \"" << line << "\"";
    }
    EXPECT_TRUE(waitForStatusRewrites(1, kWaitMs)) << "the status goes on being rewritten";
}

TEST_F(FaultTest, StalledSilentVanishingAndForeignClientsHoldUpNoOne) {
    std::vector<int> stalled;
    const std::string whole = expectedFrame("{\"cmd\":\"pause\"}");
    for (int i = 0; i < 20; ++i) {
        // Nothing, half a header, a header alone, a header and half the body.
        stalled.push_back(connectService());
        ASSERT_TRUE(sendFully(stalled.back(), whole.data(), std::vector<size_t>{0, 4, 8, 14}[i % 4]));
    }
    // Clients that leave before a byte of their 400 kB reply is read.
    std::string favorites;
    for (int i = 0; i < 5000; ++i)
        favorites += "/music/a long folder name for a large reply/track " + std::to_string(i) + ".flac\n";
    makeDirs(MP_SERVICE_DATA_DIR);
    writeFile(MP_SERVICE_DATA_DIR "/favorite.m3u", favorites);
    for (int i = 0; i < 10; ++i) {
        int fd = connectService();
        ASSERT_GT(send_request(fd, "get_favorite_list"), 0);
        close(fd);
    }
    // A client of another user is not served: it must not pause the music. The service
    // may close the connection before the frame is out.
    if (geteuid() == 0) {
        pid_t child = fork();
        if (child == 0)
            _exit(setgid(4242) == 0 && setuid(4242) == 0 ? pause() * 0 : 1);
        int status = -1;
        ASSERT_TRUE(waitpid(child, &status, 0) == child && status == 0)
            << "the client could not be user 4242";
        EXPECT_TRUE(waitUntil([&] { return logged("refused a client of user 4242"); }));
    }
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
    expectRefusedStart("another instance is already running");
}

TEST_F(FaultTest, FilesThatCannotBePlayedAreSkippedInTheOrderOfTheCommands) {
    ScratchDir scratch("skip");
    std::string good1 = scratch.path() + "/01 good.flac", bad = scratch.path() + "/02 bad.flac",
                good2 = scratch.path() + "/03 good.wav";
    writeFile(good1, readFile(mPath));
    writeFile(bad, "not audio at all");
    writeFile(good2, readFile(demo("Tones/10 Tone 100 Hz.wav")));
    ASSERT_TRUE(playInDir(good1));
    EXPECT_TRUE(after(noarg_cmd("next"), good2));
    EXPECT_TRUE(logged("skipping " + bad));
    // Chosen directly, or reached at the end of the track before it, the broken file
    // gives way to the one after it.
    for (bool direct : {true, false}) {
        EXPECT_TRUE(after(filepath_cmd("play_file_in_dir", good1.c_str()), good1));
        EXPECT_TRUE(after(direct ? filepath_cmd("play_file_in_dir", bad.c_str()) : seek_cmd(29500), good2));
    }
    // A change of mode in the last seconds that makes the broken file the next one: the
    // file opened for a repeat is let go, and the track after the broken one follows.
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    EXPECT_TRUE(after(filepath_cmd("play_file_in_dir", good1.c_str()), good1));
    ASSERT_GT(seek_cmd(26000), 0);
    ASSERT_TRUE(at(good1, 27));
    EXPECT_TRUE(after(setPlayMode(PlayModeSequence), good2));
    // Commands sent in a row act in their order, whatever each one's work; going back
    // over the broken file lands on the one before it.
    ASSERT_GT(filepath_cmd("play_file_in_dir", bad.c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", good1.c_str()), 0);
    ASSERT_GT(noarg_cmd("next"), 0);
    EXPECT_TRUE(after(noarg_cmd("previous"), good1));
    EXPECT_TRUE(waitForStatusRewrites(2, kWaitMs) && shows(good1));
}

TEST_F(FaultTest, FilesThatBlockVanishShrinkOrCarryAHugeCoverNeverHoldThePlayer) {
    ScratchDir scratch("files");
    const std::string fifo = scratch.path() + "/01 fifo.flac", gone = scratch.path() + "/02 gone.flac",
                      cut = scratch.path() + "/03 cut.flac", huge = scratch.path() + "/04 huge.flac",
                      picture = scratch.path() + "/huge.png";
    writeFile(gone, readFile(mPath));
    writeFile(cut, readFile(mPath));
    ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
    // A FIFO is no track of its folder, and named in a list it is skipped: nothing waits
    // for a writer that never comes.
    ASSERT_GT(filepath_cmd("play_file_in_dir", fifo.c_str()), 0);
    writeFile(MP_SERVICE_DATA_DIR "/playlist.m3u", fifo + "\n" + gone + "\n" + cut + "\n");
    EXPECT_TRUE(after(filepath_cmd("play_file_in_playlist", fifo.c_str()), gone));
    // Deleted while it plays: it plays on to its end, then the next track.
    ASSERT_EQ(unlink(gone.c_str()), 0);
    EXPECT_TRUE(after(seek_cmd(29000), cut));
    // Cut short while it plays: it ends where the file now ends.
    ASSERT_EQ(truncate(cut.c_str(), 5000), 0);
    EXPECT_TRUE(inState("stopped"));
    // A PNG cover of 8000 x 8000 pixels takes 190 MB to decode (probing a file decodes a
    // PNG picture whole): it is left out before.
    ASSERT_EQ(runFfmpeg("-f lavfi -i color=s=8000x8000 -frames:v 1 '" + picture + "'"), 0);
    ASSERT_EQ(runFfmpeg("-i '" + mPath + "' -i '" + picture + "' -map 0:a -map 1:v -c copy " +
                        "-disposition:v attached_pic '" + huge + "'"),
              0);
    auto peakKb = [&] {
        std::string status = readFile("/proc/" + std::to_string(mService.pid) + "/status");
        return atol(status.c_str() + status.find("VmHWM:") + 6);
    };
    long before = peakKb();
    EXPECT_TRUE(after(filepath_cmd("play_file_in_dir", huge.c_str()), huge));
    EXPECT_NE(access(MP_MUSIC_COVER_FILE, F_OK), 0);
    EXPECT_TRUE(logged("(8000 x 8000) is too large"));
    EXPECT_LT(peakKb() - before, 32 * 1024) << "the picture was decoded";
    EXPECT_TRUE(playInDir(mPath));
}

TEST_F(FaultTest, PlantedSymlinksAreNeverWrittenThroughAndAFolderOthersCanWriteIsRefused) {
    ScratchDir scratch("planted");
    const std::string victim = scratch.path() + "/victim", dir = MP_SERVICE_DIR;
    writeFile(victim, "untouched");
    ASSERT_EQ(stopMusicService(&mService), 0);
    for (std::string name : {dir + "/status.tmp", dir + "/music_info.txt.tmp", dir + "/music_cover.png.tmp",
                             dir + "/wave_s16le", std::string(MP_SERVICE_DATA_DIR "/recent.m3u.tmp")}) {
        unlink(name.c_str());
        ASSERT_EQ(symlink(victim.c_str(), name.c_str()), 0) << name;
    }
    ASSERT_EQ(startMusicService(&mService), 0);
    ASSERT_TRUE(playInDir(demo("Chords/01 C major.mp3"))); // with a cover
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
    for (const auto& [plant, line] : cases) {
        if (plant() == 0)
            expectRefusedStart(line);
        removeTree(dir);
        makeDirs(dir);
    }
    ASSERT_EQ(startMusicService(&mService), 0);
}
