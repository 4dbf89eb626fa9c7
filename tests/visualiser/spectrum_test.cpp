// The spectrum analysis: band mapping, the log step, the ladder and the boost, frames
// driven by hand on a sample buffer, and the thread against a real tap file.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "visualiser/spectrum.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

namespace {

// Drives do_fft on a sample buffer of the test's own, without the thread.
class SpectrumFrames : public testing::Test {
protected:
    void SetUp() override {
        testing::internal::CaptureStderr(); // the ladder lines
        s_shm_wave = samples.data();
        s_in = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
        s_out = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
        s_plan = fftw_plan_dft_1d(kTapSamples, s_in, s_out, FFTW_FORWARD, FFTW_ESTIMATE);
        spectrumResetTables();
        testing::internal::GetCapturedStderr();
    }
    void TearDown() override {
        fftw_destroy_plan(s_plan);
        fftw_free(s_in);
        fftw_free(s_out);
        s_plan = nullptr;
        s_in = s_out = nullptr;
        s_shm_wave = nullptr;
    }
    void sineOnBin(double bin, double amplitude) {
        for (int n = 0; n < kTapSamples; ++n)
            samples[n] =
                static_cast<int16_t>(std::lround(amplitude * std::sin(2.0 * M_PI * bin * n / kTapSamples)));
    }
    std::vector<int16_t> samples = std::vector<int16_t>(kTapSamples + 16, 0);
};

} // namespace

TEST(SpectrumTables, LadderAndBandEdges) {
    testing::internal::CaptureStderr();
    spectrumResetTables();
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("s_gforce_table[0]=0.002134\n"), std::string::npos);
    EXPECT_NE(log.find("s_gforce_table[51]=5.769122\n"), std::string::npos);
    EXPECT_EQ(s_gforce_count, 52);
    EXPECT_DOUBLE_EQ(s_gforce_table[0], 0.002133551020408163);
    EXPECT_DOUBLE_EQ(s_gforce_table[1], 0.008534204081632652);
    EXPECT_DOUBLE_EQ(s_gforce_table[30], 2.050342530612245);
    EXPECT_DOUBLE_EQ(s_gforce_table[45], 4.5145939591836735);
    EXPECT_DOUBLE_EQ(s_gforce_table[51], 5.769121959183673);
    EXPECT_EQ(s_freq_bin[47], 1128.0);
    EXPECT_EQ(s_freq_bin[48], 24000.0);
    for (int b = 0; b < kSpectrumBands; ++b) {
        EXPECT_EQ(s_fft_value[b], kSpectrumFloor);
        EXPECT_EQ(s_fft_peak[b], kSpectrumFloor);
    }
}

TEST(SpectrumTables, PeakFallsOneRungAndBoostFollowsTheTable) {
    testing::internal::CaptureStderr();
    spectrumResetTables();
    testing::internal::GetCapturedStderr();
    const double* t = s_gforce_table;
    EXPECT_EQ(spectrumPeakFall(t[5]), t[4]);
    EXPECT_EQ(spectrumPeakFall((t[5] + t[6]) / 2), t[5]);
    EXPECT_EQ(spectrumPeakFall(100.0), t[51]);
    EXPECT_EQ(spectrumPeakFall(0.0), t[0]);
    EXPECT_EQ(spectrumPeakFall(t[1]), t[0]);

    EXPECT_DOUBLE_EQ(spectrumNewPeak(5.0, 3.0), 6.0);
    EXPECT_DOUBLE_EQ(spectrumNewPeak(5.0, 4.0), 5.3);
    EXPECT_DOUBLE_EQ(spectrumNewPeak(3.0, 1.0), 3.7);
    EXPECT_DOUBLE_EQ(spectrumNewPeak(3.0, 2.0), 3.0);
    // Strict comparisons: 4.5 takes the lower row, a rise of exactly 1.5 the right column.
    EXPECT_DOUBLE_EQ(spectrumNewPeak(4.5, 2.0), 5.2);
    EXPECT_DOUBLE_EQ(spectrumNewPeak(2.5, 1.0), 2.5);
    EXPECT_DOUBLE_EQ(spectrumNewPeak(1.0, 3.0), 3.0);
}

TEST_F(SpectrumFrames, SilenceStaysOnTheFloorAndPeaksOnTheFirstRung) {
    do_fft();
    do_fft();
    for (int b = 0; b < kSpectrumBands; ++b) {
        EXPECT_EQ(s_fft_value[b], kSpectrumFloor) << b;
        EXPECT_EQ(s_fft_peak[b], s_gforce_table[0]) << b;
    }
}

TEST_F(SpectrumFrames, BinsReachTheirBands) {
    // A cosine on bin 1 lands in band 0; bin 42 and 43 in band 41; bin 44 in band 42;
    // bins 49 and up in band 47; bin 0 (a constant) in no band.
    struct Case {
        double bin;
        int band;
    };
    for (Case c : {Case{1, 0}, Case{40, 39}, Case{41, 40}, Case{42, 41}, Case{43, 41}, Case{44, 42},
                   Case{48, 46}, Case{49, 47}, Case{700, 47}, Case{1023, 47}}) {
        sineOnBin(c.bin, 8000.0);
        spectrumResetTables();
        do_fft();
        int loudest = 0;
        for (int b = 1; b < kSpectrumBands; ++b)
            if (s_fft_value[b] > s_fft_value[loudest])
                loudest = b;
        EXPECT_EQ(loudest, c.band) << "bin " << c.bin;
    }
    std::fill(samples.begin(), samples.end(), static_cast<int16_t>(10000));
    spectrumResetTables();
    do_fft();
    for (int b = 0; b < kSpectrumBands; ++b)
        EXPECT_LT(s_fft_value[b], 1e-6) << "a constant reaches band " << b;
}

TEST_F(SpectrumFrames, LogStepAboveTwo) {
    // Magnitude of a cosine of amplitude A on one bin is A * 1024 / 32768.
    sineOnBin(10, 62.0); // magnitude ~1.94: kept as it is
    do_fft();
    EXPECT_NEAR(s_fft_value[9], 1.9375, 0.01);
    sineOnBin(10, 67.2); // magnitude ~2.1: its logarithm
    do_fft();
    EXPECT_NEAR(s_fft_value[9], std::log(2.1), 0.01);
}

TEST_F(SpectrumFrames, SteadyToneOnBand41SettlesItsPeak) {
    sineOnBin(43, 32767.0);
    do_fft();
    double value = s_fft_value[41];
    EXPECT_NEAR(value, std::log(1024.0), 0.01);
    EXPECT_NEAR(s_fft_peak[41], value + 1.0, 0.01);
    do_fft();
    // The first peak falls to the top rung; the rise is then below 1.5 with v > 4.5.
    EXPECT_NEAR(s_fft_peak[41], value + 0.3, 0.01);
    for (int i = 0; i < 10; ++i)
        do_fft();
    EXPECT_NEAR(s_fft_peak[41], 7.23, 0.01);
}

namespace {

void writeTap(size_t bytes, int16_t value) {
    makeDirs(MP_SERVICE_DIR);
    std::string data(bytes, '\0');
    for (size_t i = 0; i + 1 < bytes; i += 2) {
        data[i] = static_cast<char>(value & 0xff);
        data[i + 1] = static_cast<char>((value >> 8) & 0xff);
    }
    writeFile(MP_WAVE_TAP_FILE, data);
}

} // namespace

TEST(SpectrumThread, MissingShortThenPresentTap) {
    removeTree(MP_WAVE_TAP_FILE);
    testing::internal::CaptureStderr();
    EXPECT_EQ(initVisualizer(0), -1);
    EXPECT_EQ(s_shm_wave, nullptr);
    EXPECT_EQ(s_in, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("can not open ") + MP_WAVE_TAP_FILE + "\n");

    writeTap(4094, 100);
    testing::internal::CaptureStderr();
    EXPECT_EQ(initVisualizer(0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("can not mmap ") + MP_WAVE_TAP_FILE + "\n");

    writeTap(16384, 1000);
    testing::internal::CaptureStderr();
    ASSERT_EQ(initVisualizer(0), 0);
    // Wait for the frames to run (a loaded machine may take a while), then check.
    double peak = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        pthread_mutex_lock(&sFFTLock);
        peak = s_fft_peak[0];
        pthread_mutex_unlock(&sFFTLock);
    } while (peak != s_gforce_table[0] && std::chrono::steady_clock::now() < deadline);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(peak, s_gforce_table[0]) << "frames ran on the constant tap";
    stopVisualizer();
    EXPECT_EQ(s_shm_wave, nullptr);
    EXPECT_EQ(s_in, nullptr);
    EXPECT_EQ(s_out, nullptr);
}

TEST(SpectrumThread, TapTruncatedWhileRunningDoesNotKillTheProcess) {
    writeTap(16384, 3000);
    testing::internal::CaptureStderr();
    ASSERT_EQ(initVisualizer(0), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    // Cut the file under the mapping: reads past its end now fault.
    ASSERT_EQ(truncate(MP_WAVE_TAP_FILE, 0), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    int16_t samples[kTapSamples];
    EXPECT_EQ(readTapSamples(samples), -1);
    EXPECT_EQ(samples[0], 0);
    stopVisualizer();
    testing::internal::GetCapturedStderr();
}

TEST(SpectrumThread, StartAndStopRepeatedly) {
    writeTap(16384, 500);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(initVisualizer(0), 0);
        if (i % 10 == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        stopVisualizer();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(sFFTThreadRunning.load(), 0);
}
