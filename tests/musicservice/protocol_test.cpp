// The service's side of the protocol against the real binary, driven by the front end's
// own client functions; what each command does is read back from the status file with
// the front end's status code.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/commands.h"
#include "service/wire.h"
#include "service_runner.h"
#include "status/track_dump.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <set>
#include <sys/mman.h>
#include <sys/wait.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kWaitMs = 20000;

std::string demo(const std::string& relative) {
    return std::string(demoLibraryDir()) + "/" + relative;
}

class ProtocolTest : public testing::Test {
protected:
    void SetUp() override {
        removeTree(MP_SERVICE_DATA_DIR);
        remove(MP_STATUS_FILE);
        remove(MP_MUSIC_INFO_FILE);
        remove(MP_MUSIC_COVER_FILE);
        ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    }
    void TearDown() override {
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status << "\n" << serviceLog(mService);
        if (HasFailure())
            std::cerr << serviceLog(mService);
    }

    // Sends set_play_dir for the file's folder and plays the file from it.
    void playInDir(const std::string& path) {
        ASSERT_GT(setPlayDir(path.substr(0, path.find_last_of('/')).c_str()), 0);
        ASSERT_GT(filepath_cmd("play_file_in_dir", path.c_str()), 0);
        expectPlaying(path);
    }
    void expectPlaying(const std::string& path) {
        EXPECT_TRUE(waitForStatus(
            [&](const MusicPlayingStatus& s) { return s.filename == path && s.status == "playing"; }, kWaitMs, &mRecord))
            << "wanted " << path << ", status shows " << mRecord.filename << " " << mRecord.status;
    }
    bool waitState(const char* state) {
        return waitForStatus([&](const MusicPlayingStatus& s) { return s.status == state; }, kWaitMs, &mRecord);
    }
    bool waitPositionAtLeast(int seconds) {
        return waitForStatus([&](const MusicPlayingStatus& s) { return s.position >= seconds; }, kWaitMs, &mRecord);
    }

    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

TEST_F(ProtocolTest, PlayingAFileReportsItWithTagsDumpAndListType) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    playInDir(path);
    EXPECT_EQ(mRecord.duration, 30);
    EXPECT_EQ(mRecord.title, "Tone 440 Hz");
    EXPECT_EQ(mRecord.artist, "Test Signals");
    EXPECT_EQ(mRecord.album, "Tones");
    EXPECT_EQ(mRecord.year, "2024");
    EXPECT_EQ(mRecord.track, "1");
    EXPECT_EQ(mRecord.genre, "Test tone");
    TrackDump dump;
    parseMusicInfo(&dump);
    EXPECT_EQ(dump.inputPath, path) << "the dump is in place when the status names the file";
    EXPECT_TRUE(dumpApplies(mRecord.filename.c_str(), dump));
    EXPECT_EQ(getCurrentListType(), 1);
    EXPECT_EQ(getPlayMode(), 0);
}

TEST_F(ProtocolTest, PauseFreezesThePositionResumeGoesOnStopEnds) {
    playInDir(demo("Tones/02 Tone 1007.8125 Hz.flac"));
    ASSERT_TRUE(waitPositionAtLeast(1));
    ASSERT_GT(pause(), 0);
    ASSERT_TRUE(waitState("paused"));
    int frozen = mRecord.position;
    // Ten rewrites of the status file later (about a second) the position has not moved.
    ASSERT_TRUE(waitForStatusRewrites(10, kWaitMs));
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status, "paused");
    EXPECT_EQ(mRecord.position, frozen);
    ASSERT_GT(noarg_cmd("resume"), 0);
    ASSERT_TRUE(waitState("playing"));
    EXPECT_TRUE(waitPositionAtLeast(frozen + 1));
    ASSERT_GT(noarg_cmd("stop"), 0);
    ASSERT_TRUE(waitState("stopped"));
    EXPECT_EQ(mRecord.position, 0);
    // Resume after stop starts the current track again.
    ASSERT_GT(noarg_cmd("resume"), 0);
    EXPECT_TRUE(waitState("playing"));
}

TEST_F(ProtocolTest, SeekMovesThePositionAndIsClampedToTheTrack) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    playInDir(path);
    ASSERT_GT(seek_cmd(20000), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.position >= 20 && s.position <= 23; }, kWaitMs,
                              &mRecord))
        << mRecord.position;
    ASSERT_GT(seek_cmd(-5000), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.position <= 2; }, kWaitMs, &mRecord));
    EXPECT_EQ(mRecord.filename, path);
    // Past the end: the track ends at once and the next one begins.
    ASSERT_GT(seek_cmd(10000000), 0);
    expectPlaying(demo("Tones/02 Tone 1007.8125 Hz.flac"));
}

TEST_F(ProtocolTest, SequenceModeNextPreviousAndTheEndOfTheList) {
    std::vector<std::string> tones = {demo("Tones/01 Tone 440 Hz.flac"), demo("Tones/02 Tone 1007.8125 Hz.flac"),
                                      demo("Tones/03 Tone 2000 Hz.mp3"), demo("Tones/10 Tone 100 Hz.wav")};
    playInDir(tones[0]);
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(tones[1]);
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(tones[2]);
    ASSERT_GT(noarg_cmd("previous"), 0);
    expectPlaying(tones[1]);
    ASSERT_GT(noarg_cmd("previous"), 0);
    expectPlaying(tones[0]);
    ASSERT_GT(noarg_cmd("previous"), 0);
    expectPlaying(tones[3]);
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(tones[0]);
    // At the end of a track the next one follows; after the last one all stops.
    ASSERT_GT(seek_cmd(29500), 0);
    expectPlaying(tones[1]);
    ASSERT_GT(filepath_cmd("play_file_in_dir", tones[3].c_str()), 0);
    expectPlaying(tones[3]);
    ASSERT_GT(seek_cmd(29500), 0);
    EXPECT_TRUE(waitState("stopped"));
    EXPECT_EQ(mRecord.filename, tones[3]);
}

TEST_F(ProtocolTest, RandomModePlaysTheWholeFolderWithoutRepeats) {
    ASSERT_GT(setPlayMode(PlayModeRandom), 0);
    EXPECT_EQ(getPlayMode(), 1);
    std::string first = demo("Chords/01 C major.mp3");
    playInDir(first);
    std::set<std::string> heard{first};
    std::string last = first;
    for (int i = 0; i < 3; ++i) {
        ASSERT_GT(noarg_cmd("next"), 0);
        ASSERT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename != last && s.status == "playing"; },
                                  kWaitMs, &mRecord));
        EXPECT_TRUE(heard.insert(mRecord.filename).second) << mRecord.filename << " came twice";
        last = mRecord.filename;
    }
    EXPECT_EQ(heard.size(), 4u) << "the four chords, each once";
    // The end of a track also moves on in random order, never to the same track.
    ASSERT_GT(seek_cmd(29500), 0);
    EXPECT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename != last && s.status == "playing"; },
                              kWaitMs, &mRecord));
}

TEST_F(ProtocolTest, RepeatOneReplaysAtTheEndButNextMovesOn) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    playInDir(path);
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    EXPECT_EQ(getPlayMode(), 2);
    ASSERT_GT(seek_cmd(28500), 0);
    ASSERT_TRUE(waitPositionAtLeast(28));
    // Over the end: the same file from its start.
    EXPECT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == path && s.position < 5; }, kWaitMs,
                              &mRecord))
        << mRecord.filename << " at " << mRecord.position;
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(demo("Tones/02 Tone 1007.8125 Hz.flac"));
}

TEST_F(ProtocolTest, VolumeIsReportedClampedAndAppliedToTheTappedSamples) {
    int tap = open(MP_WAVE_TAP_FILE, O_RDONLY);
    ASSERT_GE(tap, 0);
    void* map = mmap(nullptr, 16384, PROT_READ, MAP_SHARED, tap, 0);
    close(tap);
    ASSERT_NE(map, MAP_FAILED);
    auto* samples = static_cast<const volatile int16_t*>(map);
    auto peak = [&]() {
        int top = 0;
        for (int i = 0; i < 2048; ++i)
            top = std::max(top, std::abs(static_cast<int>(samples[i])));
        return top;
    };
    auto waitPeak = [&](int low, int high) {
        long deadline = monotonicMs() + kWaitMs;
        int seen = 0;
        while (monotonicMs() < deadline) {
            seen = peak();
            if (seen >= low && seen <= high)
                return true;
            waitForStatusRewrites(1, 1000);
        }
        ADD_FAILURE() << "tap peak " << seen << " not in " << low << ".." << high;
        return false;
    };

    ASSERT_GT(setvolume(100), 0);
    playInDir(demo("Tones/02 Tone 1007.8125 Hz.flac"));
    ASSERT_TRUE(waitPositionAtLeast(1));
    // ffmpeg's sine source has an amplitude of 1/8 of full scale.
    EXPECT_TRUE(waitPeak(3900, 4200));
    ASSERT_GT(setvolume(50), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.volume == 50; }, kWaitMs, &mRecord));
    EXPECT_TRUE(waitPeak(950, 1100)) << "half the setting is a quarter of the amplitude";
    ASSERT_GT(setvolume(0), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.volume == 1; }, kWaitMs, &mRecord));
    ASSERT_GT(setvolume(250), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.volume == 100; }, kWaitMs, &mRecord));
    munmap(map, 16384);
}

TEST_F(ProtocolTest, RecentPlaylistAndFavouriteListsPlayInTheirOwnOrder) {
    std::string a = demo("Tones/01 Tone 440 Hz.flac"), b = demo("Chords/02 A minor.flac"),
                c = demo("Gapless/01 Continuous chord part 1.flac");
    playInDir(a);
    playInDir(b);
    ASSERT_GT(filepath_cmd("play_file_in_recent_list", a.c_str()), 0);
    expectPlaying(a);
    EXPECT_EQ(getCurrentListType(), 2);

    std::string data = MP_SERVICE_DATA_DIR;
    writeFile(data + "/playlist.m3u", "#EXTM3U\n" + c + "\n" + a + "\n");
    writeFile(data + "/favorite.m3u", b + "\n" + c + "\n");
    ASSERT_GT(filepath_cmd("play_file_in_playlist", c.c_str()), 0);
    expectPlaying(c);
    EXPECT_EQ(getCurrentListType(), 3);
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(a);

    fetchFavoriteList();
    EXPECT_EQ(sFavoritePathList, (std::vector<std::string>{b, c}));
    ASSERT_GT(filepath_cmd("play_file_in_favorite", c.c_str()), 0);
    expectPlaying(c);
    EXPECT_EQ(getCurrentListType(), 4);
    // A path that is not in the list is refused; what plays goes on.
    ASSERT_GT(filepath_cmd("play_file_in_favorite", a.c_str()), 0);
    ASSERT_TRUE(waitForStatusRewrites(3, kWaitMs));
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.filename, c);
    EXPECT_EQ(getCurrentListType(), 4);
}

TEST_F(ProtocolTest, RecentListSurvivesARestart) {
    std::string a = demo("Tones/01 Tone 440 Hz.flac"), b = demo("Tones/02 Tone 1007.8125 Hz.flac");
    playInDir(a);
    playInDir(b);
    ASSERT_EQ(WEXITSTATUS(stopMusicService(&mService)), 0);
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status, "stopped") << "a service that has gone leaves no \"playing\" behind";
    ASSERT_EQ(startMusicService(&mService), 0);
    ASSERT_GT(filepath_cmd("play_file_in_recent_list", a.c_str()), 0);
    expectPlaying(a);
    EXPECT_EQ(getCurrentListType(), 2);
    // Newest first: b, then a.
    ASSERT_GT(noarg_cmd("previous"), 0);
    expectPlaying(b);
}

TEST_F(ProtocolTest, FilesThatCannotBePlayedAreSkipped) {
    ScratchDir scratch("skip");
    std::string dir = scratch.path();
    std::string good1 = dir + "/01 good.flac", bad = dir + "/02 bad.flac", good2 = dir + "/03 good.wav";
    writeFile(good1, readFile(demo("Tones/01 Tone 440 Hz.flac")));
    writeFile(bad, "not audio at all");
    writeFile(good2, readFile(demo("Tones/10 Tone 100 Hz.wav")));
    playInDir(good1);
    ASSERT_GT(noarg_cmd("next"), 0);
    expectPlaying(good2);
    EXPECT_NE(serviceLog(mService).find("skipping " + bad), std::string::npos);
    // Chosen directly, the broken file gives way to the one after it.
    ASSERT_GT(filepath_cmd("play_file_in_dir", good1.c_str()), 0);
    expectPlaying(good1);
    ASSERT_GT(filepath_cmd("play_file_in_dir", bad.c_str()), 0);
    expectPlaying(good2);
    // At the end of the first track the broken one is passed over as well.
    ASSERT_GT(filepath_cmd("play_file_in_dir", good1.c_str()), 0);
    expectPlaying(good1);
    ASSERT_GT(seek_cmd(29500), 0);
    expectPlaying(good2);
    // Commands sent in a row act in their order, whatever each one's work.
    // Going back over the broken file lands on the one before it.
    ASSERT_GT(filepath_cmd("play_file_in_dir", bad.c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", good1.c_str()), 0);
    ASSERT_GT(noarg_cmd("next"), 0);
    ASSERT_GT(noarg_cmd("previous"), 0);
    expectPlaying(good1);
    ASSERT_TRUE(waitForStatusRewrites(3, kWaitMs));
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.filename, good1);
}

TEST_F(ProtocolTest, CoverAndDoubleEncodedTagsReachTheFrontEnd) {
    playInDir(demo("Encodings/01 Double-encoded title.mp3"));
    EXPECT_EQ(mRecord.title, "音乐测试") << "the front end repairs the double encoding";
    EXPECT_EQ(mRecord.artist, "林小雨");
    EXPECT_EQ(mRecord.album, "编码测试");
    std::string cover = readFile(MP_MUSIC_COVER_FILE);
    ASSERT_GT(cover.size(), 8u);
    EXPECT_EQ(cover.compare(0, 8, "\x89PNG\r\n\x1a\n"), 0);
    playInDir(demo("Chords/03 G major.wav"));
    EXPECT_NE(access(MP_MUSIC_COVER_FILE, F_OK), 0) << "a track without a picture removes the cover";
}

TEST_F(ProtocolTest, SetPlayDirIsAnsweredAndClosedAtOnce) {
    int fd = connectService();
    ASSERT_GE(fd, 0);
    ASSERT_GT(send_request_string(fd, "set_play_dir", "path", demo("Tones").c_str()), 0);
    char* reply = read_reply(fd); // closes fd
    ASSERT_NE(reply, nullptr);
    EXPECT_NE(std::string(reply).find("\"count\":4"), std::string::npos) << reply;
    free(reply);

    // The connection ends right behind the answer: no wait for the client's time-out.
    for (const char* word : {"set_play_dir", "get_play_mode", "get_current_list_type", "get_favorite_list"}) {
        fd = connectService();
        ASSERT_GE(fd, 0);
        if (std::string(word) == "set_play_dir")
            send_request_string(fd, word, "path", demo("Tones").c_str());
        else
            send_request(fd, word);
        char buffer[4096];
        size_t total = 0;
        bool closed = false;
        long deadline = monotonicMs() + 5000;
        while (!closed && monotonicMs() < deadline) {
            struct pollfd pfd = {fd, POLLIN, 0};
            ASSERT_GT(poll(&pfd, 1, 5000), 0) << word;
            ssize_t n = read(fd, buffer, sizeof(buffer));
            closed = n == 0;
            total += n > 0 ? static_cast<size_t>(n) : 0;
        }
        close(fd);
        EXPECT_TRUE(closed) << word;
        EXPECT_GT(total, 8u) << word;
    }
    long start = monotonicMs();
    ASSERT_GT(setPlayDir(demo("Chords").c_str()), 0);
    EXPECT_LT(monotonicMs() - start, 450) << "setPlayDir waits 500 ms on a service that keeps the connection";
}

} // namespace
