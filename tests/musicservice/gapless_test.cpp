// What the device receives, checked on the very samples the service hands to it (it
// records them with --record): tracks cut from one signal come out as that signal again,
// with nothing missing, repeated or inserted at the joins, even when the next track is
// slow to open (a large cover) and the hand-over comes right after a start or a seek.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sys/wait.h>
#include <vector>

namespace {

constexpr int kWaitMs = 30000;
constexpr int kRate = 48000;
// Frames at the start of a track or after a seek that may be faded in.
constexpr size_t kFadeFrames = 480;

// A 48 kHz stereo 16-bit WAV file of the frames [first, last) of the signal.
void writeWav(const std::string& path, const std::vector<int16_t>& signal, size_t first, size_t last) {
    const uint32_t bytes = static_cast<uint32_t>((last - first) * 4);
    const uint32_t fields[] = {36 + bytes, 16, 1 | 2 << 16, kRate, kRate * 4, 4 | 16 << 16, bytes};
    std::string out(44, '\0');
    out.replace(0, 4, "RIFF").replace(8, 8, "WAVEfmt ").replace(36, 4, "data");
    for (int i = 0; i < 7; ++i)
        memcpy(&out[i < 1 ? 4 : i < 6 ? 12 + 4 * i : 40], &fields[i], 4);
    out.append(reinterpret_cast<const char*>(&signal[2 * first]), (last - first) * 4);
    writeFile(path, out);
}

class GaplessTest : public testing::Test {
protected:
    void SetUp() override {
        removeTree(MP_SERVICE_DATA_DIR);
        mRecording = mScratch.path() + "/heard.raw";
        ASSERT_EQ(startMusicService(&mService, {"--record", mRecording}), 0) << serviceLog(mService);
        ASSERT_GT(setvolume(100), 0);
    }
    void TearDown() override {
        if (mService.pid > 0)
            stopMusicService(&mService);
        if (HasFailure())
            std::cerr << serviceLog(mService);
    }
    // Ends the service, which writes out the last of the recording, and reads it.
    std::vector<int16_t> heard() {
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_EQ(serviceLog(mService).find("were lost"), std::string::npos) << "the recording dropped frames";
        std::string bytes = readFile(mRecording);
        std::vector<int16_t> samples(bytes.size() / 2);
        memcpy(samples.data(), bytes.data(), samples.size() * 2);
        return samples;
    }
    bool waitFor(const std::string& path, const char* state) {
        return waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == path && s.status == state; },
                             kWaitMs, &mRecord);
    }
    ScratchDir mScratch{"gapless"};
    std::string mRecording;
    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

// Whether the recording holds the frames [from, to) of the signal in one unbroken run.
::testing::AssertionResult holdsRun(const std::vector<int16_t>& heard, const std::vector<int16_t>& signal,
                                    size_t from, size_t to) {
    const size_t frames = heard.size() / 2, probe = 64;
    for (size_t at = 0; at + probe <= frames; ++at) {
        if (memcmp(&heard[2 * at], &signal[2 * from], probe * 4) != 0)
            continue;
        for (size_t i = 0; i < to - from; ++i) {
            if (at + i >= frames || memcmp(&heard[2 * (at + i)], &signal[2 * (from + i)], 4) != 0)
                return ::testing::AssertionFailure() << "frames " << from << "-" << to << " break off at " << from + i;
        }
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "frame " << from << " is never heard";
}

// The longest run of silent frames between the first and the last sound: a device that
// runs dry while playing leaves one.
size_t longestSilence(const std::vector<int16_t>& heard) {
    size_t longest = 0, run = 0, frames = heard.size() / 2, first = 0;
    while (first < frames && heard[2 * first] == 0 && heard[2 * first + 1] == 0)
        ++first;
    for (size_t i = first; i < frames; ++i) {
        run = heard[2 * i] == 0 && heard[2 * i + 1] == 0 ? run + 1 : 0;
        if (run > longest && i + 1 < frames)
            longest = run;
    }
    return longest;
}

} // namespace

TEST_F(GaplessTest, TracksCutFromOneSignalPlayBackAsThatSignalAfterAStartOrASeek) {
    // Noise, so that any stretch of it is found at one place only. Three tracks cut at
    // frames that line up with nothing (not the device's buffer, not the ring's chunks,
    // not a round time), all shorter than the time before the end at which the next
    // track is opened; the last two carry a large cover that is slow to make.
    const size_t cuts[] = {0, 144001, 144001 + 30011, 144001 + 30011 + 61237};
    std::vector<int16_t> signal(2 * cuts[3]);
    uint32_t state = 12345;
    for (int16_t& sample : signal) {
        state = state * 1103515245u + 12345u;
        sample = static_cast<int16_t>(static_cast<int>(state >> 16) % 12000 - 6000);
    }
    const std::string dir = mScratch.path() + "/album", cover = mScratch.path() + "/cover.jpg";
    makeDirs(dir);
    ASSERT_EQ(runFfmpeg("-f lavfi -i cellauto=s=4000x4000:rule=30:random_fill_ratio=0.5 -frames:v 1 -q:v 5 '" + cover + "'"), 0);
    std::string tracks[3];
    for (int part = 0; part < 3; ++part) {
        tracks[part] = dir + "/0" + std::to_string(part + 1) + ".flac";
        writeWav(mScratch.path() + "/part.wav", signal, cuts[part], cuts[part + 1]);
        std::string withCover = part ? " -i '" + cover + "' -map 0:a -map 1:v -c:v copy -disposition:v attached_pic" : "";
        ASSERT_EQ(runFfmpeg("-i '" + mScratch.path() + "/part.wav'" + withCover + " -c:a flac '" + tracks[part] + "'"), 0);
    }
    ASSERT_GT(setPlayDir(dir.c_str()), 0);

    // From the start of the second track, then from a seek into the last second of the first.
    ASSERT_GT(filepath_cmd("play_file_in_dir", tracks[1].c_str()), 0);
    ASSERT_TRUE(waitFor(tracks[2], "stopped"));
    ASSERT_GT(filepath_cmd("play_file_in_dir", tracks[0].c_str()), 0);
    ASSERT_TRUE(waitFor(tracks[0], "playing"));
    ASSERT_GT(seek_cmd(2200), 0);
    ASSERT_TRUE(waitFor(tracks[2], "stopped"));
    std::vector<int16_t> recording = heard();
    EXPECT_TRUE(holdsRun(recording, signal, cuts[1] + kFadeFrames, cuts[3]));
    EXPECT_TRUE(holdsRun(recording, signal, 2200 * 48 + kFadeFrames, cuts[3]));
    EXPECT_LT(longestSilence(recording), kRate / 20u) << "the device ran dry";
}
