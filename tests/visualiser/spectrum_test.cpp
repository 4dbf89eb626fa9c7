// The spectrum analysis: the ladder and the boost, frames driven by hand on a sample
// buffer (band mapping, the log step, silence), and the thread against a real tap file.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "visualiser/spectrum/spectrum.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// What f logged.
template <typename F> std::string logOf(F f) {
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}

std::vector<int16_t> tone(double bin, double amplitude) {
    std::vector<int16_t> samples(kTapSamples);
    for (int n = 0; n < kTapSamples; ++n)
        samples[n] =
            static_cast<int16_t>(std::lround(amplitude * std::sin(2.0 * M_PI * bin * n / kTapSamples)));
    return samples;
}

// Drives do_fft on a sample buffer of the test's own, without the thread.
class SpectrumFrames : public testing::Test {
protected:
    void SetUp() override {
        s_in = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
        s_out = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
        s_plan = fftw_plan_dft_1d(kTapSamples, s_in, s_out, FFTW_FORWARD, FFTW_ESTIMATE);
    }
    // The buffers and the plan go as the analysis lets them go; the samples are the
    // test's own, not a mapping.
    void TearDown() override {
        s_shm_wave = nullptr;
        stopVisualizer();
    }
    // One frame on new samples from a fresh start; the band that came out loudest.
    int play(std::vector<int16_t> next) {
        samples = std::move(next);
        s_shm_wave = samples.data();
        logOf(spectrumResetTables);
        do_fft();
        return static_cast<int>(std::max_element(s_fft_value, s_fft_value + kSpectrumBands) - s_fft_value);
    }
    std::vector<int16_t> samples;
};

// A tap file of the given size; its samples a steady tone on bin 43 (band 41).
void writeTap(size_t bytes) {
    makeDirs(MP_SERVICE_DIR);
    std::string data(bytes, '\0');
    memcpy(&data[0], tone(43, 32767.0).data(), std::min<size_t>(bytes, kTapSamples * 2));
    writeFile(MP_WAVE_TAP_FILE, data);
}

double published41() {
    pthread_mutex_lock(&sFFTLock);
    double value = s_fft_value[41];
    pthread_mutex_unlock(&sFFTLock);
    return value;
}

// A start that must fail: what it logged.
std::string failedInit() {
    return logOf([] { EXPECT_TRUE(initVisualizer(0) == -1 && s_shm_wave == nullptr && s_in == nullptr); });
}

} // namespace

TEST(SpectrumTables, LadderPeakFallAndBoost) {
    std::string log = logOf(spectrumResetTables);
    for (const char* line :
         {"s_gforce_table[0]=0.002134\n", "s_gforce_table[30]=2.050343\n", "s_gforce_table[51]=5.769122\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
    // Before the first frame the effects draw nothing left from an earlier start.
    for (int b = 0; b < kSpectrumBands; ++b)
        EXPECT_TRUE(s_fft_value[b] == kSpectrumFloor && s_fft_peak[b] == kSpectrumFloor) << b;
    // A peak falls one rung of the ladder, never below its foot.
    const double* t = s_gforce_table;
    for (auto [peak, fallen] :
         {std::pair{t[5], t[4]}, {(t[5] + t[6]) / 2, t[5]}, {100.0, t[51]}, {t[1], t[0]}, {0.0, t[0]}})
        EXPECT_EQ(spectrumPeakFall(peak), fallen) << peak;
    // {value, decayed peak, new peak}. Strict comparisons: 4.5 takes the lower row, a
    // rise of exactly 1.5 the right column.
    const double cases[][3] = {{5.0, 3.0, 6.0}, {5.0, 4.0, 5.3}, {3.0, 1.0, 3.7}, {3.0, 2.0, 3.0},
                               {4.5, 2.0, 5.2}, {2.5, 1.0, 2.5}, {1.0, 3.0, 3.0}};
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(spectrumNewPeak(c[0], c[1]), c[2]) << c[0] << " " << c[1];
}

TEST_F(SpectrumFrames, BinsReachTheirBandsInTheirScaleAndSilenceStaysOnTheFloor) {
    // Band b takes the bins above 24b Hz up to 24(b + 1) Hz, a bin being 23.4375 Hz;
    // band 47 takes everything from 1128 Hz up.
    const int cases[][2] = {{1, 0},   {40, 39}, {41, 40}, {42, 41},  {43, 41},
                            {44, 42}, {48, 46}, {49, 47}, {700, 47}, {1023, 47}};
    for (const auto& c : cases)
        EXPECT_EQ(play(tone(c[0], 8000.0)), c[1]) << "bin " << c[0];
    // A sine of amplitude A on one bin has magnitude A * 1024 / 32768: kept as it is up
    // to 2, its logarithm above.
    for (auto [amplitude, value] :
         {std::pair{62.0, 1.9375}, {67.2, std::log(2.1)}, {32767.0, std::log(1024.0)}}) {
        play(tone(10, amplitude));
        EXPECT_NEAR(s_fft_value[9], value, 0.01) << amplitude;
    }
    play(std::vector<int16_t>(kTapSamples, 10000));
    for (int b = 0; b < kSpectrumBands; ++b)
        EXPECT_LT(s_fft_value[b], 1e-6) << "a constant (bin 0) reaches band " << b;
    play(std::vector<int16_t>(kTapSamples, 0));
    do_fft();
    for (int b = 0; b < kSpectrumBands; ++b)
        EXPECT_TRUE(s_fft_value[b] == kSpectrumFloor && s_fft_peak[b] == s_gforce_table[0]) << b;
}

TEST(SpectrumThread, TapMissingShortPresentAndTruncatedWhileRunning) {
    removeTree(MP_WAVE_TAP_FILE);
    EXPECT_EQ(failedInit(), std::string("can not open ") + MP_WAVE_TAP_FILE + "\n");
    writeTap(4094);
    EXPECT_EQ(failedInit(), std::string("can not mmap ") + MP_WAVE_TAP_FILE + "\n");

    writeTap(16384);
    testing::internal::CaptureStderr();
    for (int i = 0; i <= 100; ++i) {
        ASSERT_EQ(initVisualizer(0), 0);
        // The first frame waits for the plan to be measured, which takes long under the
        // sanitizers. Now and then stop a thread that is in the middle of its frames.
        if (i % 10 == 0) {
            ASSERT_TRUE(waitUntil([] { return published41() > 6.0; })) << "frames ran on the tone in the tap";
        }
        if (i == 100) {
            // Cut the file under the mapping: reads past its end now fault, and read as
            // silence instead of ending the process.
            ASSERT_EQ(truncate(MP_WAVE_TAP_FILE, 0), 0);
            EXPECT_TRUE(waitUntil([] { return published41() == kSpectrumFloor; })) << "the thread went on";
            int16_t samples[kTapSamples];
            EXPECT_EQ(readTapSamples(samples), -1);
            EXPECT_EQ(samples[0], 0);
        }
        stopVisualizer();
        ASSERT_TRUE(s_shm_wave == nullptr && s_in == nullptr && s_out == nullptr && s_plan == nullptr);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(sFFTThreadRunning.load(), 0);
}
