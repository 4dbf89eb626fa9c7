// The service's side of the protocol against the real binary, driven by the front end's
// own client functions; what each command does is read back from the status file with
// the front end's status code.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "status/track_dump.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace {

constexpr int kWaitMs = 20000;

std::string demo(const std::string& relative) {
    return std::string(demoLibraryDir()) + "/" + relative;
}

const std::string kTones[] = {demo("Tones/01 Tone 440 Hz.flac"), demo("Tones/02 Tone 1007.8125 Hz.flac"),
                              demo("Tones/03 Tone 2000 Hz.mp3"), demo("Tones/10 Tone 100 Hz.wav")};

// Waits until the saved recent list begins with the path.
bool recentBeginsWith(const std::string& path) {
    return waitUntil(
        [&] { return readFile(MP_SERVICE_DATA_DIR "/recent.m3u").compare(8, path.size(), path) == 0; });
}

class ProtocolTest : public testing::Test {
protected:
    void SetUp() override {
        removeTree(MP_SERVICE_DATA_DIR);
        for (const char* file : {MP_STATUS_FILE, MP_MUSIC_INFO_FILE, MP_MUSIC_COVER_FILE})
            remove(file);
        ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    }
    void TearDown() override {
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        if (HasFailure())
            std::cerr << serviceLog(mService);
    }
    // Sends set_play_dir for the file's folder and plays the file from it.
    void playInDir(const std::string& path) {
        ASSERT_GT(setPlayDir(path.substr(0, path.find_last_of('/')).c_str()), 0);
        after(filepath_cmd("play_file_in_dir", path.c_str()), path);
    }
    // The command was sent and that file plays.
    void after(int sent, const std::string& path) {
        ASSERT_GT(sent, 0);
        EXPECT_TRUE(wait([&](const MusicPlayingStatus& s) {
            return s.filename == path && s.status == "playing";
        })) << "wanted "
            << path << ", status shows " << mRecord.filename << " " << mRecord.status;
    }
    bool wait(const std::function<bool(const MusicPlayingStatus&)>& condition) {
        return waitForStatus(condition, kWaitMs, &mRecord);
    }
    bool waitState(const char* state) {
        return wait([&](const MusicPlayingStatus& s) { return s.status == state; });
    }
    // The record after a few more rewrites of the status file.
    const MusicPlayingStatus& settled() {
        EXPECT_TRUE(waitForStatusRewrites(2, kWaitMs));
        EXPECT_TRUE(readStatusRecord(&mRecord));
        return mRecord;
    }

    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

} // namespace

TEST_F(ProtocolTest, PlayingAFileReportsItsTagsDumpCoverAndListType) {
    playInDir(kTones[0]);
    EXPECT_EQ(std::to_string(mRecord.duration) + "|" + mRecord.title + "|" + mRecord.artist + "|" +
                  mRecord.album + "|" + mRecord.year + "|" + mRecord.track + "|" + mRecord.genre,
              "30|Tone 440 Hz|Test Signals|Tones|2024|1|Test tone");
    TrackDump dump;
    parseMusicInfo(&dump);
    EXPECT_TRUE(dump.inputPath == kTones[0] && dumpApplies(mRecord.filename.c_str(), dump))
        << "the dump is in place when the status names the file";
    EXPECT_EQ(getCurrentListType(), 1);
    // The year of a full date; an embedded JPEG cover becomes a PNG of its size.
    playInDir(demo("Chords/01 C major.mp3"));
    EXPECT_EQ(mRecord.year, "2023");
    std::string cover = readFile(MP_MUSIC_COVER_FILE);
    ASSERT_GT(cover.size(), 24u);
    EXPECT_EQ(cover.compare(0, 8, "\x89PNG\r\n\x1a\n"), 0);
    EXPECT_EQ(static_cast<unsigned char>(cover[18]) << 8 | static_cast<unsigned char>(cover[19]), 500);
    playInDir(demo("Chords/03 G major.wav"));
    EXPECT_NE(access(MP_MUSIC_COVER_FILE, F_OK), 0) << "a track without a picture removes the cover";
    // The queries are answered with one frame and the connection ends right behind it,
    // so that no client sits out its time-out (set_play_dir's is half a second).
    for (const char* word : {"set_play_dir", "get_current_list_type", "get_play_mode", "get_favorite_list"}) {
        int fd = connectService();
        ASSERT_GE(fd, 0);
        ASSERT_GT(word[0] == 's' ? send_request_string(fd, word, "path", demo("Tones").c_str())
                                 : send_request(fd, word),
                  0);
        int copy = dup(fd);
        char* reply = read_reply(fd); // closes fd
        EXPECT_NE(reply, nullptr) << word;
        free(reply);
        EXPECT_TRUE(closedByService(copy, kWaitMs)) << word;
        close(copy);
    }
}

TEST_F(ProtocolTest, PauseFreezesThePositionResumeGoesOnStopEnds) {
    playInDir(kTones[1]);
    ASSERT_TRUE(wait([](const MusicPlayingStatus& s) { return s.position >= 1; }));
    ASSERT_GT(pause(), 0);
    ASSERT_TRUE(waitState("paused"));
    int frozen = mRecord.position;
    // Two rewrites of the status file later (a second or more) the position has not moved.
    ASSERT_TRUE(waitForStatusRewrites(2, kWaitMs));
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status + " " + std::to_string(mRecord.position), "paused " + std::to_string(frozen));
    ASSERT_GT(noarg_cmd("resume"), 0);
    EXPECT_TRUE(
        wait([&](const MusicPlayingStatus& s) { return s.status == "playing" && s.position > frozen; }));
    ASSERT_GT(noarg_cmd("stop"), 0);
    ASSERT_TRUE(waitState("stopped"));
    EXPECT_EQ(mRecord.position, 0);
    after(noarg_cmd("resume"), kTones[1]); // after stop: the current track from its start
    // Stopped at a join, when the ring already holds the start of the next track (which
    // the recent list then shows): the track named and resumed is the one heard.
    ASSERT_GT(pause(), 0);
    ASSERT_TRUE(waitState("paused"));
    ASSERT_GT(seek_cmd(29000), 0);
    ASSERT_TRUE(recentBeginsWith(kTones[2]));
    ASSERT_GT(noarg_cmd("stop"), 0);
    ASSERT_TRUE(waitState("stopped"));
    EXPECT_EQ(mRecord.filename, kTones[1]);
    after(noarg_cmd("resume"), kTones[1]);
}

TEST_F(ProtocolTest, TheStatusIsRewrittenOnAChangeAndAtMostOnceASecondOtherwiseWhateverTheQueries) {
    playInDir(kTones[1]);
    // Playing, the position moves once a second; paused, nothing moves. The now-playing
    // screen asks for the play mode every frame.
    auto query = [] { getPlayMode(); };
    EXPECT_LE(statusRewritesDuring(3000, query), 5);
    ASSERT_GT(pause(), 0);
    ASSERT_TRUE(waitState("paused"));
    EXPECT_LE(statusRewritesDuring(3000, query), 4);
}

TEST_F(ProtocolTest, NextPreviousSeekAndTheEndOfATrackInEachPlayMode) {
    // Sequence: next and previous wrap; a seek is clamped to the track, and one past its
    // end starts the next track; after the last one all stops.
    playInDir(kTones[0]);
    for (auto [word, index] :
         {std::pair{"next", 1}, {"next", 2}, {"previous", 1}, {"previous", 0}, {"previous", 3}, {"next", 0}})
        after(noarg_cmd(word), kTones[index]);
    ASSERT_GT(seek_cmd(20000), 0);
    EXPECT_TRUE(wait([](const MusicPlayingStatus& s) { return s.position >= 20 && s.position <= 23; }));
    ASSERT_GT(seek_cmd(-5000), 0);
    EXPECT_TRUE(wait([](const MusicPlayingStatus& s) { return s.filename == kTones[0] && s.position <= 2; }));
    after(seek_cmd(10000000), kTones[1]);
    after(filepath_cmd("play_file_in_dir", kTones[3].c_str()), kTones[3]);
    ASSERT_GT(seek_cmd(29500), 0);
    EXPECT_TRUE(waitState("stopped"));
    EXPECT_EQ(mRecord.filename, kTones[3]);

    // Random: next moves to another track, also at the end of one; previous retraces.
    ASSERT_GT(setPlayMode(PlayModeRandom), 0);
    EXPECT_EQ(getPlayMode(), 1);
    playInDir(kTones[0]);
    ASSERT_GT(noarg_cmd("next"), 0);
    ASSERT_TRUE(
        wait([](const MusicPlayingStatus& s) { return s.filename != kTones[0] && s.status == "playing"; }));
    std::string second = mRecord.filename;
    ASSERT_GT(seek_cmd(29500), 0);
    ASSERT_TRUE(
        wait([&](const MusicPlayingStatus& s) { return s.filename != second && s.status == "playing"; }));
    after(noarg_cmd("previous"), second);
    after(noarg_cmd("previous"), kTones[0]);

    // Repeat one: the end of a track starts it again, which leaves the recent list as it
    // was (the file is not rewritten); next and previous still move.
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    EXPECT_EQ(getPlayMode(), 2);
    struct stat recent, again;
    ASSERT_TRUE(recentBeginsWith(kTones[0]));
    ASSERT_EQ(stat(MP_SERVICE_DATA_DIR "/recent.m3u", &recent), 0);
    ASSERT_GT(seek_cmd(28500), 0);
    ASSERT_TRUE(wait([](const MusicPlayingStatus& s) { return s.position >= 28; }));
    EXPECT_TRUE(wait([](const MusicPlayingStatus& s) { return s.filename == kTones[0] && s.position < 5; }))
        << mRecord.filename << " at " << mRecord.position;
    ASSERT_EQ(stat(MP_SERVICE_DATA_DIR "/recent.m3u", &again), 0);
    EXPECT_EQ(again.st_ino, recent.st_ino);
    after(noarg_cmd("next"), kTones[1]);
    after(noarg_cmd("previous"), kTones[0]);
}

TEST_F(ProtocolTest, VolumeIsReportedClampedAndAppliedToTheTappedSamples) {
    int tap = open(MP_WAVE_TAP_FILE, O_RDONLY);
    ASSERT_GE(tap, 0);
    void* map = mmap(nullptr, 16384, PROT_READ, MAP_SHARED, tap, 0);
    close(tap);
    ASSERT_NE(map, MAP_FAILED);
    auto* samples = static_cast<const volatile int16_t*>(map);
    int seen = 0;
    auto peakWithin = [&](int low, int high) {
        return waitUntil([&] {
            seen = 0;
            for (int i = 0; i < 2048; ++i)
                seen = std::max(seen, std::abs(static_cast<int>(samples[i])));
            return seen >= low && seen <= high;
        });
    };
    ASSERT_GT(setvolume(100), 0);
    playInDir(kTones[1]);
    // ffmpeg's sine source has an amplitude of 1/8 of full scale; half the setting is a
    // quarter of the amplitude.
    EXPECT_TRUE(peakWithin(3900, 4200)) << seen;
    for (auto [sent, reported] : {std::pair{50, 50}, {0, 1}, {250, 100}}) {
        ASSERT_GT(setvolume(sent), 0);
        EXPECT_TRUE(wait([&](const MusicPlayingStatus& s) { return s.volume == reported; })) << sent;
        EXPECT_TRUE(sent != 50 || peakWithin(950, 1100)) << seen;
    }
    munmap(map, 16384);
}

TEST_F(ProtocolTest, RecentPlaylistAndFavouriteListsPlayInTheirOwnOrder) {
    std::string a = kTones[0], b = demo("Chords/02 A minor.flac"),
                c = demo("Gapless/01 Continuous chord part 1.flac"), data = MP_SERVICE_DATA_DIR;
    playInDir(a);
    playInDir(b);
    // The recent list outlives the service, which leaves no "playing" behind; newest first.
    ASSERT_EQ(WEXITSTATUS(stopMusicService(&mService)), 0);
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status, "stopped");
    ASSERT_EQ(startMusicService(&mService), 0);
    writeFile(data + "/playlist.m3u", "#EXTM3U\n" + c + "\n" + a + "\n");
    writeFile(data + "/favorite.m3u", b + "\n" + c + "\n");
    // Each list: the path chosen, the step after it, the list type reported.
    for (auto [command, first, word, then, type] :
         {std::tuple{"play_file_in_recent_list", a, "previous", b, 2},
          {"play_file_in_playlist", c, "next", a, 3},
          {"play_file_in_favorite", b, "next", c, 4}}) {
        after(filepath_cmd(command, first.c_str()), first);
        after(noarg_cmd(word), then);
        EXPECT_EQ(getCurrentListType(), type);
    }
    // A path that is not in the list is refused; what plays goes on.
    ASSERT_GT(filepath_cmd("play_file_in_favorite", a.c_str()), 0);
    EXPECT_EQ(settled().filename, c);
}

TEST_F(ProtocolTest, FilesThatCannotBePlayedAreSkipped) {
    ScratchDir scratch("skip");
    std::string good1 = scratch.path() + "/01 good.flac", bad = scratch.path() + "/02 bad.flac",
                good2 = scratch.path() + "/03 good.wav";
    writeFile(good1, readFile(kTones[0]));
    writeFile(bad, "not audio at all");
    writeFile(good2, readFile(kTones[3]));
    playInDir(good1);
    after(noarg_cmd("next"), good2);
    EXPECT_NE(serviceLog(mService).find("skipping " + bad), std::string::npos);
    // Chosen directly, or reached at the end of the track before it, the broken file
    // gives way to the one after it.
    for (bool direct : {true, false}) {
        after(filepath_cmd("play_file_in_dir", good1.c_str()), good1);
        after(direct ? filepath_cmd("play_file_in_dir", bad.c_str()) : seek_cmd(29500), good2);
    }
    // A change of mode in the last seconds that makes the broken file the next one: the
    // file opened for a repeat is let go, and the track after the broken one follows.
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    after(filepath_cmd("play_file_in_dir", good1.c_str()), good1);
    ASSERT_GT(seek_cmd(26000), 0);
    ASSERT_TRUE(wait([](const MusicPlayingStatus& s) { return s.position >= 27; }));
    after(setPlayMode(PlayModeSequence), good2);
    // Commands sent in a row act in their order, whatever each one's work; going back
    // over the broken file lands on the one before it.
    ASSERT_GT(filepath_cmd("play_file_in_dir", bad.c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", good1.c_str()), 0);
    ASSERT_GT(noarg_cmd("next"), 0);
    after(noarg_cmd("previous"), good1);
    EXPECT_EQ(settled().filename, good1);
}
