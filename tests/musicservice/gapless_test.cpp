// What the device receives, checked on the very samples the service hands to it (it
// records them with --record): tracks cut from one signal come out as that signal again,
// with nothing missing, repeated or inserted at the joins, even when the next track is
// slow to open (a large cover) and the hand-over comes right after a start or a seek;
// every cut the listener makes fades instead of clicking; and a device that goes away is
// noticed and replaced.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWaitMs = 30000;
constexpr int kRate = 48000;
// Frames at the start of a track or after a seek that may be faded in (5 ms).
constexpr size_t kFadeFrames = 240;

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
    EXPECT_EQ(serviceLog(mService).find("ran dry"), std::string::npos);
}

TEST_F(GaplessTest, ARecordedToneNeverJumpsThroughPauseResumeSeekNextPreviousAndStop) {
    // Two tracks of a 997 Hz tone, a whole number of periods each (but not of the
    // device's buffers or of a millisecond), so that nothing but a command can break it;
    // its largest step between two samples is about 1044.
    std::vector<int16_t> tone(2 * 10 * kRate);
    int largestStep = 0;
    for (size_t i = 0; i < tone.size() / 2; ++i) {
        tone[2 * i] = tone[2 * i + 1] =
            static_cast<int16_t>(std::lround(8000 * std::sin(2 * M_PI * 997.0 * i / kRate)));
        largestStep = std::max(largestStep, i ? std::abs(tone[2 * i] - tone[2 * i - 2]) : 0);
    }
    const std::string dir = mScratch.path() + "/tone", first = dir + "/01.wav", second = dir + "/02.wav";
    makeDirs(dir);
    writeWav(first, tone, 0, tone.size() / 2);
    writeWav(second, tone, 0, tone.size() / 2);
    ASSERT_GT(setPlayDir(dir.c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", first.c_str()), 0);
    ASSERT_TRUE(waitFor(first, "playing"));
    auto at = [&](int sent, const std::string& path, const char* state, int minPosition = 0) {
        ASSERT_GT(sent, 0);
        ASSERT_TRUE(waitForStatus(
            [&](const MusicPlayingStatus& s) {
                return s.filename == path && s.status == state && s.position >= minPosition;
            },
            kWaitMs, &mRecord));
    };
    at(pause(), first, "paused");
    at(noarg_cmd("resume"), first, "playing", 1);
    at(seek_cmd(5013), first, "playing", 6);
    at(noarg_cmd("next"), second, "playing", 1);
    at(noarg_cmd("previous"), first, "playing", 1);
    at(noarg_cmd("stop"), first, "stopped");
    at(noarg_cmd("resume"), first, "playing", 1);
    at(noarg_cmd("stop"), first, "stopped");
    std::vector<int16_t> recording = heard();
    int jump = 0;
    size_t where = 0;
    for (size_t i = 2; i < recording.size(); ++i) {
        if (std::abs(recording[i] - recording[i - 2]) > jump)
            jump = std::abs(recording[i] - recording[i - 2]), where = i / 2;
    }
    EXPECT_LE(jump, 2 * largestStep) << "at frame " << where << " of " << recording.size() / 2;
}

// SDL's disk driver writes what a device would play into a file: into a FIFO, a reader
// is a device plugged in, and a reader that goes away a device pulled out.
class FifoDevice {
public:
    explicit FifoDevice(const std::string& fifo)
        : mThread([this, fifo] {
              int fd = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
              int16_t samples[2048];
              while (mPlugged.load()) {
                  ssize_t n = read(fd, samples, sizeof(samples));
                  for (ssize_t i = 0; i < n / 2; ++i)
                      mSound += samples[i] != 0;
                  if (n <= 0)
                      usleep(2000);
              }
              close(fd);
          }) {}
    ~FifoDevice() { unplug(); }
    void unplug() {
        mPlugged.store(false);
        if (mThread.joinable())
            mThread.join();
    }
    // Non-zero samples received.
    long sound() const { return mSound.load(); }

private:
    std::atomic<bool> mPlugged{true};
    std::atomic<long> mSound{0};
    std::thread mThread;
};

TEST(DeviceTest, ALostDeviceIsNoticedAndPausedAndResumePlaysOnTheDeviceThereNow) {
    ScratchDir scratch("device");
    const std::string fifo = scratch.path() + "/device",
                      tone = std::string(demoLibraryDir()) + "/Tones/01 Tone 440 Hz.flac";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    auto first = std::make_unique<FifoDevice>(fifo);
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", fifo.c_str(), 1);
    ServiceProcess service;
    int started = startMusicService(&service);
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    ASSERT_EQ(started, 0) << serviceLog(service);
    MusicPlayingStatus record;
    auto state = [&](const char* word) {
        return waitForStatus([&](const MusicPlayingStatus& s) { return s.status == word; }, kWaitMs, &record);
    };
    ASSERT_GT(setPlayDir((std::string(demoLibraryDir()) + "/Tones").c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", tone.c_str()), 0);
    ASSERT_TRUE(state("playing"));
    ASSERT_TRUE(waitUntil([&] { return first->sound() > 48000; }));
    first.reset();
    EXPECT_TRUE(state("paused"));
    EXPECT_NE(serviceLog(service).find("the audio device was lost"), std::string::npos);
    FifoDevice second(fifo);
    ASSERT_GT(noarg_cmd("resume"), 0);
    EXPECT_TRUE(state("playing"));
    EXPECT_TRUE(waitUntil([&] { return second.sound() > 48000; })) << "nothing plays on the new device";
    int status = stopMusicService(&service);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    if (HasFailure())
        std::cerr << serviceLog(service);
}
