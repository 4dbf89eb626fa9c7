// One analysis frame, and entering and leaving the now-playing screen's analysis
// (initVisualizer plus teardown) in a process whose planner was warmed at start-up.
#include "base/device_paths.h"
#include "visualiser/spectrum/spectrum.h"
#include "zcommon.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

void writeToneTap() {
    std::string dir = MP_SERVICE_DIR;
    for (size_t i = 1; i <= dir.size(); ++i)
        if (i == dir.size() || dir[i] == '/')
            mkdir(dir.substr(0, i).c_str(), 0755);
    std::vector<int16_t> samples(8192);
    for (size_t n = 0; n < samples.size(); ++n)
        samples[n] =
            static_cast<int16_t>(20000 * std::sin(2.0 * M_PI * 43.0 * static_cast<double>(n) / 2048.0));
    FILE* file = fopen(MP_WAVE_TAP_FILE, "wb");
    if (file) {
        fwrite(samples.data(), 2, samples.size(), file);
        fclose(file);
    }
}

void DoFftFrame(benchmark::State& state) {
    writeToneTap();
    if (initVisualizer(0) < 0) {
        state.SkipWithError("no tap");
        return;
    }
    // Let the analysis thread plan, then stop it and drive frames here.
    while (!s_plan)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    sFFTThreadRunning.store(0);
    pthread_join(sFFTThread, nullptr);
    for (auto _ : state)
        do_fft();
    benchmark::DoNotOptimize(s_fft_value[41]);
    stopVisualizer();
}

void EnterAndLeave(benchmark::State& state) {
    writeToneTap();
    for (auto _ : state) {
        if (initVisualizer(0) < 0) {
            state.SkipWithError("no tap");
            return;
        }
        stopVisualizer();
    }
}

} // namespace

BENCHMARK(DoFftFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(EnterAndLeave)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    tprintfToStderr(false);
    // Start-up warms the planner; the first entry of the run follows it.
    auto start = std::chrono::steady_clock::now();
    prewarmVisualizer();
    while (!visualizerPrewarmed())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    double warmMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    writeToneTap();
    start = std::chrono::steady_clock::now();
    int first = initVisualizer(0);
    stopVisualizer();
    double firstMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    printf("planner warm-up on its own thread: %.1f ms; first enter+leave after it: %.2f ms (init %d)\n",
           warmMs, firstMs, first);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
