// Loading a folder of 10,000 and 100,000 music files into the browser, against a bare
// readdir loop over the same folder; and one list frame with 100,000 rows against one
// with 10 (the frame draws only the visible rows).
#include "menu_glue.h"
#include "music_folder.h"
#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void LoadDir(benchmark::State& state) {
    std::string dir = benchMusicFolder(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        {
            FileBrowserMenu menu(dir.c_str(), nullptr, nullptr, nullptr, 6, 0);
            state.ResumeTiming();
            menu.LoadDir();
            benchmark::DoNotOptimize(menu.getListNum());
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void ListFrame(benchmark::State& state) {
    std::string dir = benchMusicFolder(static_cast<int>(state.range(0)));
    FileBrowserMenu menu(dir.c_str(), nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6, 0);
    SDL_Rect rect = {0, 80, 1280, 560};
    menu.setRect(rect);
    menu.LoadDir();
    menu.restorePos(menu.getListNum() / 2, menu.getListNum() / 2 - 2, menu.getListNum() / 2 + 3);
    for (auto _ : state) {
        menu.draw();
        Uint32 pixel;
        SDL_Rect one = {0, 0, 1, 1};
        SDL_RenderReadPixels(gZwRenderer, &one, SDL_PIXELFORMAT_ARGB8888, &pixel, 4);
        benchmark::DoNotOptimize(pixel);
    }
}

} // namespace

BENCHMARK(BareReaddir)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadDir)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(ListFrame)->Arg(10)->Arg(100000)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    setenv("SDL_VIDEODRIVER", "dummy", 0);
    tprintfToStderr(false);
    if (SDL_Init(SDL_INIT_VIDEO) != 0 || TTF_Init() != 0 || !ScreenInit(1280, 720, 32, 0))
        return 1;
    gThemePath = const_cast<char*>("./");
    init_shared_skin();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    uninit_shared_skin();
    ScreenUninit();
    TTF_Quit();
    SDL_Quit();
    return 0;
}
