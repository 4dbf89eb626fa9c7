// A full-screen frame on the software renderer: background, both bars and twelve list
// lines whose rendered text is cached; and one line drawn from glyphs against the same
// line from the cache.
#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

struct Screen : ZelmorWindow {
    Screen() : ZelmorWindow(0, 0) {}
};

// A gradient in place of the skin's background image, so the frame has one to draw.
ZelmorSurface* gradient() {
    std::vector<Uint32> pixels(1280 * 720);
    for (int y = 0; y < 720; ++y)
        for (int x = 0; x < 1280; ++x)
            pixels[y * 1280 + x] =
                0xff000000u | static_cast<Uint32>(y / 6) << 16 | static_cast<Uint32>(x / 10);
    return CreateFromPixels(pixels.data(), 1280, 720, 32, 1280 * 4, 0xff0000, 0xff00, 0xff, 0xff000000);
}

void FullFrame(benchmark::State& state) {
    Screen screen;
    ZelmorSurface* background = gBackground ? nullptr : gradient();
    ZelmorSurface* shown = gBackground ? gBackground : background;
    std::vector<std::string> lines;
    for (int i = 0; i < 12; ++i)
        lines.push_back("Track " + std::to_string(i + 1) + " - A song title of a usual length.flac");
    for (auto _ : state) {
        shown->blit(nullptr, nullptr, 1, nullptr);
        screen.drawNavBar(0);
        screen.drawStatBar(0);
        for (int i = 0; i < 12; ++i)
            DrawString(gListFontTxt, SDL_Rect{80, 90 + 45 * i, 1100, 44}, lines[i].c_str(), gListColorTxt, 0,
                       false, false);
        // Reading one pixel makes the renderer finish the frame's work.
        Uint32 pixel;
        SDL_Rect one = {0, 0, 1, 1};
        SDL_RenderReadPixels(gZwRenderer, &one, SDL_PIXELFORMAT_ARGB8888, &pixel, 4);
        benchmark::DoNotOptimize(pixel);
    }
    delete background;
}

void DrawStringUncached(benchmark::State& state) {
    int serial = 0;
    for (auto _ : state) {
        std::string text = "Uncached line number " + std::to_string(serial++);
        DrawString(gListFontTxt, SDL_Rect{80, 300, 1100, 44}, text.c_str(), gListColorTxt, 0, false, false);
    }
    SDL_RenderPresent(gZwRenderer);
}

void DrawStringCached(benchmark::State& state) {
    for (auto _ : state)
        DrawString(gListFontTxt, SDL_Rect{80, 300, 1100, 44}, "Cached line", gListColorTxt, 0, false, false);
    SDL_RenderPresent(gZwRenderer);
}

} // namespace

BENCHMARK(FullFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(DrawStringUncached)->Unit(benchmark::kMicrosecond);
BENCHMARK(DrawStringCached)->Unit(benchmark::kMicrosecond);
