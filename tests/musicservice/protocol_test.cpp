// The service's side of the protocol against the real binary, driven by the front end's
// own client functions; what each command does is read back from the status file with
// the front end's status code. Then what outlives the service: picking up where the
// listener left off after a SIGKILL, a stop and a SIGTERM; a state that names a track
// that has gone, or that does not parse, leaves the service stopped.
#include "base/device_paths.h"
#include "service_test.h"
#include "status/track_dump.h"

#include <algorithm>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

const std::string kTones[] = {demo("Tones/01 Tone 440 Hz.flac"), demo("Tones/02 Tone 1007.8125 Hz.flac"),
                              demo("Tones/03 Tone 2000 Hz.mp3"), demo("Tones/10 Tone 100 Hz.wav")};

const std::string kStateFile = MP_SERVICE_DATA_DIR "/resume_state";

// The saved position once the state names the track, else -1.
int savedSeconds(const std::string& track) {
    std::string state = readFile(kStateFile);
    size_t at = state.find("\nposition_ms=");
    bool named = state.find("\nfile=" + track + "\n") != std::string::npos && at != std::string::npos;
    return named ? atoi(state.c_str() + at + 13) / 1000 : -1;
}

// Waits until the saved recent list begins with the path.
bool recentBeginsWith(const std::string& path) {
    return waitUntil(
        [&] { return readFile(MP_SERVICE_DATA_DIR "/recent.m3u").compare(8, path.size(), path) == 0; });
}

using ProtocolTest = ServiceTest;
using ResumeTest = ServiceTest;

} // namespace

TEST_F(ProtocolTest, PlayingAFileReportsItsTagsDumpAndCover) {
    ASSERT_TRUE(playInDir(kTones[0]));
    EXPECT_EQ(std::to_string(mRecord.duration) + "|" + mRecord.title + "|" + mRecord.artist + "|" +
                  mRecord.album + "|" + mRecord.year + "|" + mRecord.track + "|" + mRecord.genre,
              "30|Tone 440 Hz|Test Signals|Tones|2024|1|Test tone");
    TrackDump dump;
    parseMusicInfo(&dump);
    EXPECT_TRUE(dump.inputPath == kTones[0] && dumpApplies(mRecord.filename.c_str(), dump))
        << "the dump is in place when the status names the file";
    // The year of a full date. (Covers, embedded or from the folder, and their removal
    // are the cover test's.)
    ASSERT_TRUE(playInDir(demo("Chords/01 C major.mp3")));
    EXPECT_EQ(mRecord.year, "2023");
    // The queries are answered with one frame and the connection ends right behind it,
    // so that no client sits out its time-out (set_play_dir's is half a second).
    for (const char* word : {"set_play_dir", "get_current_list_type", "get_play_mode", "get_favorite_list"}) {
        int fd = connectService();
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

TEST_F(ProtocolTest, PauseResumeAndStopAlsoAtAJoinRewritingTheStatusOnlyOnAChange) {
    ASSERT_TRUE(playInDir(kTones[1]));
    // The status is rewritten on a change and at most once a second otherwise, whatever
    // the queries: playing, the position moves once a second; paused, nothing moves. The
    // now-playing screen asks for the play mode every frame.
    auto query = [] { getPlayMode(); };
    EXPECT_LE(statusRewritesDuring(3000, query), 5);
    ASSERT_TRUE(at(kTones[1], 1));
    ASSERT_TRUE(after(pause(), kTones[1], "paused"));
    int frozen = mRecord.position;
    EXPECT_LE(statusRewritesDuring(3000, query), 4);
    // Two rewrites of the status file later (a second or more) the position has not moved.
    ASSERT_TRUE(waitForStatusRewrites(2, kWaitMs) && readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status + " " + std::to_string(mRecord.position), "paused " + std::to_string(frozen));
    // Left paused, the device is closed; "resume" opens it again and plays on.
    ASSERT_TRUE(waitUntil([&] { return logged("audio device closed while idle"); }, kWaitMs));
    ASSERT_GT(noarg_cmd("resume"), 0);
    EXPECT_TRUE(at(kTones[1], frozen + 1));
    ASSERT_TRUE(after(noarg_cmd("stop"), kTones[1], "stopped"));
    EXPECT_EQ(mRecord.position, 0);
    EXPECT_TRUE(after(noarg_cmd("resume"), kTones[1])); // after stop: the current track from its start
    // Stopped at a join, when the ring already holds the start of the next track (which
    // the recent list then shows): the track named and resumed is the one heard.
    ASSERT_TRUE(after(pause(), kTones[1], "paused"));
    ASSERT_GT(seek_cmd(29000), 0);
    ASSERT_TRUE(recentBeginsWith(kTones[2]));
    EXPECT_TRUE(after(noarg_cmd("stop"), kTones[1], "stopped"));
    EXPECT_TRUE(after(noarg_cmd("resume"), kTones[1]));
}

TEST_F(ProtocolTest, NextPreviousSeekAndTheEndOfATrackInEachPlayMode) {
    // Sequence: next and previous wrap; a seek is clamped to the track, and one past its
    // end starts the next track; after the last one all stops.
    ASSERT_TRUE(playInDir(kTones[0]));
    for (auto [word, index] :
         {std::pair{"next", 1}, {"next", 2}, {"previous", 1}, {"previous", 0}, {"previous", 3}, {"next", 0}})
        EXPECT_TRUE(after(noarg_cmd(word), kTones[index]));
    ASSERT_GT(seek_cmd(20000), 0);
    EXPECT_TRUE(at(kTones[0], 20, 23));
    ASSERT_GT(seek_cmd(-5000), 0);
    EXPECT_TRUE(at(kTones[0], 0, 2));
    EXPECT_TRUE(after(seek_cmd(10000000), kTones[1]));
    EXPECT_TRUE(after(filepath_cmd("play_file_in_dir", kTones[3].c_str()), kTones[3]));
    EXPECT_TRUE(after(seek_cmd(29500), kTones[3], "stopped"));

    // Random: next moves to another track, also at the end of one; previous retraces.
    ASSERT_TRUE(setPlayMode(PlayModeRandom) > 0 && getPlayMode() == 1);
    ASSERT_TRUE(playInDir(kTones[0]));
    ASSERT_GT(noarg_cmd("next"), 0);
    ASSERT_TRUE(
        status([](const MusicPlayingStatus& s) { return s.filename != kTones[0] && s.status == "playing"; }));
    std::string second = mRecord.filename;
    ASSERT_GT(seek_cmd(29500), 0);
    ASSERT_TRUE(
        status([&](const MusicPlayingStatus& s) { return s.filename != second && s.status == "playing"; }));
    EXPECT_TRUE(after(noarg_cmd("previous"), second));
    EXPECT_TRUE(after(noarg_cmd("previous"), kTones[0]));

    // Repeat one: the end of a track starts it again, which leaves the recent list as it
    // was (the file is not rewritten); next and previous still move.
    ASSERT_TRUE(setPlayMode(PlayModeSingleCycle) > 0 && getPlayMode() == 2);
    struct stat recent, again;
    ASSERT_TRUE(recentBeginsWith(kTones[0]) && stat(MP_SERVICE_DATA_DIR "/recent.m3u", &recent) == 0);
    ASSERT_GT(seek_cmd(28500), 0);
    ASSERT_TRUE(at(kTones[0], 28));
    EXPECT_TRUE(at(kTones[0], 0, 4));
    ASSERT_EQ(stat(MP_SERVICE_DATA_DIR "/recent.m3u", &again), 0);
    EXPECT_EQ(again.st_ino, recent.st_ino);
    EXPECT_TRUE(after(noarg_cmd("next"), kTones[1]));
    EXPECT_TRUE(after(noarg_cmd("previous"), kTones[0]));
}

TEST_F(ProtocolTest, VolumeIsReportedClampedAndAppliedToTheTappedSamples) {
    // The peak of the first 2048 samples of the tap, which the service keeps mapped.
    int seen = 0;
    auto peakWithin = [&](int low, int high) {
        return waitUntil([&] {
            const std::string tap = readFile(MP_WAVE_TAP_FILE) + std::string(4096, '\0');
            const auto* samples = reinterpret_cast<const int16_t*>(tap.data());
            seen = std::abs(
                *std::max_element(samples, samples + 2048, [](int a, int b) { return abs(a) < abs(b); }));
            return seen >= low && seen <= high;
        });
    };
    ASSERT_GT(setvolume(100), 0);
    ASSERT_TRUE(playInDir(kTones[1]));
    // ffmpeg's sine source has an amplitude of 1/8 of full scale; half the setting is a
    // quarter of the amplitude.
    EXPECT_TRUE(peakWithin(3900, 4200)) << seen;
    for (auto [sent, reported] : {std::pair{50, 50}, {0, 1}, {250, 100}}) {
        ASSERT_GT(setvolume(sent), 0);
        EXPECT_TRUE(status([&](const MusicPlayingStatus& s) { return s.volume == reported; })) << sent;
        EXPECT_TRUE(sent != 50 || peakWithin(950, 1100)) << seen;
    }
}

TEST_F(ProtocolTest, RecentPlaylistAndFavouriteListsPlayInTheirOwnOrder) {
    std::string a = kTones[0], b = demo("Chords/02 A minor.flac"),
                c = demo("Gapless/01 Continuous chord part 1.flac"), data = MP_SERVICE_DATA_DIR;
    ASSERT_TRUE(playInDir(a));
    ASSERT_TRUE(playInDir(b));
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
        EXPECT_TRUE(after(filepath_cmd(command, first.c_str()), first));
        EXPECT_TRUE(after(noarg_cmd(word), then));
        EXPECT_EQ(getCurrentListType(), type);
    }
    // A path that is not in the list is refused; what plays goes on.
    ASSERT_GT(filepath_cmd("play_file_in_favorite", a.c_str()), 0);
    EXPECT_TRUE(waitForStatusRewrites(2, kWaitMs) && readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.filename, c);
}

TEST_F(ResumeTest, KilledMidTrackItComesBackPausedWithinFiveSecondsOfWhereItWasAndPlaysOn) {
    const std::string track = demo("Tones/01 Tone 440 Hz.flac"); // 30 s
    ASSERT_TRUE(playInDir(track));
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    // The regular save while playing, not only the one at the start of the track.
    ASSERT_TRUE(waitUntil([&] { return savedSeconds(track) >= 4; }, kWaitMs));
    ASSERT_TRUE(at(track, 7));
    const int killedAt = mRecord.position;
    killMusicService(&mService);
    ASSERT_EQ(startMusicService(&mService), 0);
    ASSERT_TRUE(shows(track, "paused"));
    const int restored = mRecord.position;
    EXPECT_GE(restored, killedAt - 6) << "the status lags up to a second behind what is heard";
    EXPECT_LE(restored, killedAt);
    EXPECT_EQ(getPlayMode(), PlayModeSingleCycle);
    ASSERT_GT(noarg_cmd("resume"), 0);
    ASSERT_TRUE(at(track, restored, restored + 2)) << "resume plays on from where it was";
    // Stopped (as the player does when it quits), it is taken up where it stopped.
    ASSERT_TRUE(after(noarg_cmd("stop"), track, "stopped"));
    ASSERT_EQ(stopMusicService(&mService), 0);
    ASSERT_EQ(startMusicService(&mService), 0);
    ASSERT_TRUE(shows(track, "paused"));
    EXPECT_GE(mRecord.position, restored);
}

TEST_F(ResumeTest, AGoneTrackOrABrokenStateLeavesItStoppedWithALogLineAndIsReplaced) {
    const std::string gone =
        "list=dir\nfolder=/nowhere\nfile=/nowhere/gone.flac\nmode=random\nposition_ms=5000\n";
    for (const std::string& state :
         {gone, std::string("\x7f\x45LF\x02\x01"),
          std::string("list=dir\nfile=relative.flac\nmode=sequence\n"), gone.substr(0, 36)}) {
        ASSERT_EQ(stopMusicService(&mService), 0);
        writeFile(kStateFile, state);
        ASSERT_EQ(startMusicService(&mService), 0);
        ASSERT_TRUE(waitForStatusRewrites(2, kWaitMs) && readStatusRecord(&mRecord));
        EXPECT_EQ(mRecord.status + mRecord.filename, "stopped") << state;
        if (state == gone) {
            EXPECT_TRUE(logged("the remembered track /nowhere/gone.flac has gone; skipped"));
            EXPECT_EQ(getPlayMode(), PlayModeRandom) << "the rest is still taken up";
        } else {
            EXPECT_TRUE(logged("resume_state is broken; ignored")) << state;
            EXPECT_NE(access(kStateFile.c_str(), F_OK), 0) << "the broken file stays";
        }
    }
    const std::string track = demo("Tones/02 Tone 1007.8125 Hz.flac");
    ASSERT_TRUE(playInDir(track));
    EXPECT_TRUE(waitUntil([&] { return savedSeconds(track) >= 0; }));
}
