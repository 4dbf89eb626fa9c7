// The main of the benchmarks that draw: a headless screen (dummy video driver unless the
// environment names another) with the skin loaded from the checkout, for the whole run.
#include "zcommon.h"
#include "zwindow.h"

#include <SDL2/SDL_ttf.h>
#include <benchmark/benchmark.h>

#include <cstdlib>

int main(int argc, char** argv) {
    setenv("SDL_VIDEODRIVER", "dummy", 0);
    tprintfToStderr(false);
    if (SDL_Init(SDL_INIT_VIDEO | SDL_INIT_TIMER) != 0 || TTF_Init() != 0 || !ScreenInit(1280, 720, 32, 0))
        return 1;
    gThemePath = const_cast<char*>(MP_BENCH_SOURCE_DIR "/");
    init_shared_skin();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    uninit_shared_skin();
    gThemePath = nullptr;
    ScreenUninit();
    TTF_Quit();
    SDL_Quit();
    return 0;
}
