// The library against real folders of music files:
// - LoadRows: a folder of 10,000 and 100,000 files read into the library's own rows
//   (rows per second, bytes per row on the heap and in the folder's block), beside BareReaddir, a bare readdir loop over
//   the same folder in the same run;
// - EnterHugeFolder: a folder of 100,000 files entered from the list by the confirm key
//   and left again by back, through the window loop; the counters give the longest pass
//   of the loop (input, action, frame) during the entry and during idle frames;
// - FirstFrame: from making the library screen to its first drawn frame, over a folder
//   of 10,000 files and over an empty one.
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "library/music_album_window.h"

#include "music_folder.h"
#include "zinternal.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A library root whose first row is a folder of count files.
std::string rootWithFolder(int count) {
    std::string root = "/tmp/mp-bench-library-root-" + std::to_string(count);
    mkdir(root.c_str(), 0755);
    std::string link = root + "/Big folder";
    struct stat info;
    if (lstat(link.c_str(), &info) != 0)
        (void)symlink(benchMusicFolder(count).c_str(), link.c_str());
    for (const char* name : {"b.mp3", "c.mp3"}) {
        int fd = open((root + "/" + name).c_str(), O_CREAT | O_WRONLY, 0644);
        if (fd >= 0)
            close(fd);
    }
    return root;
}

void setUpProgram() {
    static bool done = false;
    if (done)
        return;
    done = true;
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    initLang();
    gIconAudio = LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png");
    gIsPlaying = LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png");
    gIsPaused = LoadZelmorSurface(gThemePath, "./", "skin/ic-paused.png");
    setZelmorWindowFps(60, 60);
}

void LoadRows(benchmark::State& state) {
    setUpProgram();
    std::string dir = benchMusicFolder(static_cast<int>(state.range(0)));
    gUserPath = dir;
    double bytesPerRow = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            MusicBrowserMenu menu(nullptr);
            size_t before = mallinfo2().uordblks + zwRowBlockBytes();
            state.ResumeTiming();
            menu.LoadDir();
            state.PauseTiming();
            int rows = menu.getListNum();
            size_t after = mallinfo2().uordblks + zwRowBlockBytes();
            bytesPerRow = static_cast<double>(after - before) / (rows > 0 ? rows : 1);
            if (rows != state.range(0))
                state.SkipWithError("not every file became a row");
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytes_per_row"] = bytesPerRow;
}

void pushKey(SDL_Keycode key) {
    SDL_Event event;
    SDL_zero(event);
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = key;
    SDL_PushEvent(&event);
    event.type = SDL_KEYUP;
    SDL_PushEvent(&event);
}

// One pass of the loop that does not wait for a frame: the wake-up ends the wait.
double timedPass(std::vector<ZelmorWindow*>& stack) {
    SDL_Event tick;
    SDL_zero(tick);
    tick.type = SDL_USEREVENT;
    tick.user.code = 25;
    SDL_PushEvent(&tick);
    auto start = Clock::now();
    runWindowsStep(stack);
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void EnterHugeFolder(benchmark::State& state) {
    setUpProgram();
    const int count = static_cast<int>(state.range(0));
    gUserPath = rootWithFolder(count);
    auto* album = new MusicAlbumWindow(nullptr);
    album->mMenu.LoadDir();
    std::vector<ZelmorWindow*> stack = {album};
    gWinList = &stack;
    double idle = 0, entering = 0, leaving = 0;
    for (int i = 0; i < 30; ++i)
        idle = std::max(idle, timedPass(stack));
    for (auto _ : state) {
        pushKey(SDLK_RETURN);
        do {
            entering = std::max(entering, timedPass(stack));
        } while (album->mMenu.getListNum() != count || album->mMenu.isLoading());
        pushKey(SDLK_ESCAPE);
        do {
            leaving = std::max(leaving, timedPass(stack));
        } while (album->mMenu.getListNum() != 3 || album->mMenu.isLoading());
    }
    state.counters["longest_pass_entering_ms"] = entering;
    state.counters["longest_pass_leaving_ms"] = leaving;
    state.counters["longest_idle_pass_ms"] = idle;
    gWinList = nullptr;
    delete album;
}

void FirstFrame(benchmark::State& state) {
    setUpProgram();
    gUserPath = state.range(0) > 0 ? benchMusicFolder(static_cast<int>(state.range(0))) : "/tmp/mp-bench-library-empty";
    mkdir(gUserPath.c_str(), 0755);
    for (auto _ : state) {
        auto* album = new MusicAlbumWindow(nullptr);
        album->init();
        std::vector<ZelmorWindow*> stack = {album};
        timedPass(stack);
        state.PauseTiming();
        while (sLoading.load())
            usleep(1000);
        delete album;
        state.ResumeTiming();
    }
}

} // namespace

BENCHMARK(BareReaddir)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadRows)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(EnterHugeFolder)->Arg(100000)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(FirstFrame)->Arg(0)->Arg(10000)->Unit(benchmark::kMillisecond);
