// Gapless hand-over, checked on the very samples the service hands to the audio device
// (it records them with --record): tracks cut from one continuous signal must come out
// as that signal again, with nothing missing, repeated or inserted at the joins.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/commands.h"
#include "service/wire.h"
#include "service_runner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <sys/wait.h>
#include <vector>

namespace {

constexpr int kWaitMs = 30000;
constexpr int kRate = 48000;

std::string demo(const std::string& relative) {
    return std::string(demoLibraryDir()) + "/" + relative;
}

void put16(std::string* out, uint16_t value) {
    out->push_back(static_cast<char>(value & 0xFF));
    out->push_back(static_cast<char>(value >> 8));
}

void put32(std::string* out, uint32_t value) {
    put16(out, static_cast<uint16_t>(value & 0xFFFF));
    put16(out, static_cast<uint16_t>(value >> 16));
}

// A 48 kHz stereo 16-bit WAV file of the frames [first, last) of the signal.
void writeWav(const std::string& path, const std::vector<int16_t>& signal, size_t first, size_t last) {
    std::string out = "RIFF";
    uint32_t bytes = static_cast<uint32_t>((last - first) * 4);
    put32(&out, 36 + bytes);
    out += "WAVEfmt ";
    put32(&out, 16);
    put16(&out, 1);
    put16(&out, 2);
    put32(&out, kRate);
    put32(&out, kRate * 4);
    put16(&out, 4);
    put16(&out, 16);
    out += "data";
    put32(&out, bytes);
    for (size_t i = 2 * first; i < 2 * last; ++i)
        put16(&out, static_cast<uint16_t>(signal[i]));
    writeFile(path, out);
}

std::vector<int16_t> readRecording(const std::string& path) {
    std::string bytes = readFile(path);
    std::vector<int16_t> samples(bytes.size() / 2);
    memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
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
    std::vector<int16_t> finishRecording() {
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_EQ(serviceLog(mService).find("were lost"), std::string::npos) << "the recording dropped frames";
        return readRecording(mRecording);
    }

    ScratchDir mScratch{"gapless"};
    std::string mRecording;
    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

TEST_F(GaplessTest, TracksCutFromOneSignalPlayBackAsThatSignalSampleForSample) {
    // Three tracks cut at frames that line up with nothing: not the device's buffer, not
    // the ring's chunks, not a round time.
    const size_t cuts[] = {0, 52711, 52711 + 30011, 52711 + 30011 + 61237};
    const size_t total = cuts[3];
    std::vector<int16_t> signal(2 * total);
    for (size_t i = 0; i < total; ++i) {
        double t = static_cast<double>(i) / kRate;
        signal[2 * i] = static_cast<int16_t>(std::lround(9000.0 * std::sin(2 * M_PI * 1000.0 * t)));
        signal[2 * i + 1] = static_cast<int16_t>(std::lround(7000.0 * std::sin(2 * M_PI * 1511.0 * t + 0.5)));
    }
    std::string dir = mScratch.path() + "/album";
    makeDirs(dir);
    for (int part = 0; part < 3; ++part)
        writeWav(dir + "/0" + std::to_string(part + 1) + ".wav", signal, cuts[part], cuts[part + 1]);

    ASSERT_GT(setPlayDir(dir.c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", (dir + "/01.wav").c_str()), 0);
    ASSERT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == dir + "/03.wav"; }, kWaitMs,
                              &mRecord));
    ASSERT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.status == "stopped"; }, kWaitMs, &mRecord));
    std::vector<int16_t> heard = finishRecording();

    // Find where the signal begins (after any silence before the first buffer).
    size_t start = 0;
    while (start + 1 < heard.size() / 2 && heard[2 * start] == 0 && heard[2 * start + 1] == 0)
        ++start;
    ASSERT_GE(heard.size() / 2, start + total) << "the recording is shorter than the three tracks";
    size_t mismatches = 0, first = 0;
    for (size_t i = 0; i < 2 * total; ++i) {
        if (heard[2 * start + i] != signal[i] && mismatches++ == 0)
            first = i / 2;
    }
    EXPECT_EQ(mismatches, 0u) << "first wrong frame " << first << " (joins at " << cuts[1] << " and " << cuts[2] << ")";
}

TEST_F(GaplessTest, EncodedTracksOfOneChordJoinWithoutAGapOrAStep) {
    // The demo library's chord, cut into FLAC tracks at arbitrary samples. The join is
    // checked for smoothness: no sample may step further than the chord itself can move
    // in one sample, and no stretch of silence may appear.
    std::string part1 = demo("Gapless/01 Continuous chord part 1.flac");
    std::string part2 = demo("Gapless/02 Continuous chord part 2.flac");
    ASSERT_GT(setPlayDir(demo("Gapless").c_str()), 0);
    ASSERT_GT(filepath_cmd("play_file_in_dir", part1.c_str()), 0);
    ASSERT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == part1; }, kWaitMs, &mRecord));
    // Part 1 has 480017 frames, about 10.0004 s: start 1.5 s before its end.
    ASSERT_GT(seek_cmd(8500), 0);
    ASSERT_TRUE(waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == part2 && s.position >= 1; },
                              kWaitMs, &mRecord));
    std::vector<int16_t> heard = finishRecording();

    // The recording holds the start of part 1 and then, after the seek, its last 1.5 s
    // and at least a second of part 2. Look at what follows the seek: the last stretch
    // of sound after the last gap the seek itself may have made.
    size_t frames = heard.size() / 2;
    ASSERT_GT(frames, static_cast<size_t>(2.5 * kRate));
    size_t from = frames - static_cast<size_t>(2.4 * kRate);
    // Bound of one step: the sum over the chord's notes of 2*pi*f*amplitude / rate.
    const double amplitude = 0.15 * 32767;
    const int maxStep[2] = {static_cast<int>(2 * M_PI * (261.63 + 392.00) * amplitude / kRate) + 8,
                            static_cast<int>(2 * M_PI * (329.63 + 523.25) * amplitude / kRate) + 8};
    int worst[2] = {0, 0};
    size_t silentRun = 0, longestSilence = 0;
    for (size_t i = from + 1; i < frames; ++i) {
        for (int c = 0; c < 2; ++c)
            worst[c] = std::max(worst[c], std::abs(heard[2 * i + c] - heard[2 * (i - 1) + c]));
        silentRun = heard[2 * i] == 0 && heard[2 * i + 1] == 0 ? silentRun + 1 : 0;
        longestSilence = std::max(longestSilence, silentRun);
    }
    EXPECT_LE(worst[0], maxStep[0]);
    EXPECT_LE(worst[1], maxStep[1]);
    EXPECT_LT(longestSilence, 4u);
}

} // namespace
