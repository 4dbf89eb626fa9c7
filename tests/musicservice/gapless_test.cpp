// Gapless hand-over, checked on the very samples the service hands to the audio device
// (it records them with --record): tracks cut from one continuous signal must come out
// as that signal again, with nothing missing, repeated or inserted at the joins.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
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
    ASSERT_TRUE(waitForStatus(
        [&](const MusicPlayingStatus& s) { return s.filename == dir + "/03.wav" && s.status == "stopped"; },
        kWaitMs, &mRecord));
    // Ending the service writes out the last of the recording.
    int status = stopMusicService(&mService);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(serviceLog(mService).find("were lost"), std::string::npos) << "the recording dropped frames";
    std::string bytes = readFile(mRecording);
    std::vector<int16_t> heard(bytes.size() / 2);
    memcpy(heard.data(), bytes.data(), heard.size() * 2);

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
    EXPECT_EQ(mismatches, 0u) << "first wrong frame " << first << " (joins at " << cuts[1] << " and "
                              << cuts[2] << ")";
}

} // namespace
