// Picking up where the listener left off, after a SIGKILL, a stop and a SIGTERM; a state
// that names a track that has gone, or that does not parse, leaves the service stopped.
#include "base/device_paths.h"
#include "service_test.h"

#include <unistd.h>

namespace {

const std::string kStateFile = MP_SERVICE_DATA_DIR "/resume_state";

// The saved position once the state names the track, else -1.
int savedSeconds(const std::string& track) {
    std::string state = readFile(kStateFile);
    size_t at = state.find("\nposition_ms=");
    bool named = state.find("\nfile=" + track + "\n") != std::string::npos && at != std::string::npos;
    return named ? atoi(state.c_str() + at + 13) / 1000 : -1;
}

using ResumeTest = ServiceTest;

} // namespace

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
