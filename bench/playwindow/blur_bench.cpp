// The fast blur against the plain algorithm at -O2 on the same buffers, at cover and
// screen sizes. Counters: ns per pixel.
#include "playwindow/blur/fast_gaussian_blur.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

void oracleBlurBaseline(uint8_t*& in, uint8_t*& out, int width, int height);

namespace {

template <bool Fast> void blurBench(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    std::vector<uint8_t> a(static_cast<size_t>(width) * height * 4), b(a.size());
    std::mt19937 random(1);
    for (auto& byte : a)
        byte = static_cast<uint8_t>(random());
    uint8_t* in = a.data();
    uint8_t* out = b.data();
    for (auto _ : state) {
        if (Fast)
            fast_gaussian_blur<uint8_t, kBorderMirror>(in, out, width, height, 4, 33.0f);
        else
            oracleBlurBaseline(in, out, width, height);
        benchmark::DoNotOptimize(out);
        std::swap(in, out);
    }
    // Seconds per pixel, printed with an SI prefix ("12.3n" is 12.3 ns).
    state.counters["per_pixel"] =
        benchmark::Counter(static_cast<double>(width) * height,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Args({256, 256})->Args({512, 512})->Args({1280, 720})->Args({2000, 2000});
    bench->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK_TEMPLATE(blurBench, false)->Name("BlurPlainO2")->Apply(sizes);
BENCHMARK_TEMPLATE(blurBench, true)->Name("BlurFast")->Apply(sizes);
