// The now-playing screen's costs on the window thread: one whole frame (blurred cover,
// veil, spectrum, texts, bar) with and without the service answering the frame's play
// mode request, and the frame in which the track changes (cover load, scale for the
// blur, blur, upload) and the one after it, against SDL_image's IMG_Load of the same
// file alone.
// Run inside a network namespace (unshare -n) so that the service double can bind.
// For the GLES2 path: SDL_VIDEODRIVER=offscreen SDL_RENDER_DRIVER=opengles2.
#include "app/shared/config.h"
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "base/device_paths.h"
#include "fake_service.h"
#include "playwindow/screen/music_play_window.h"
#include "scratch_dir.h"
#include "status/music_status.h"
#include "visualiser/effects/effect_catalogue.h"
#include "visualiser/spectrum/spectrum.h"
#include "zinternal.h"

#include <SDL2/SDL_image.h>
#include <SDL2/SDL_ttf.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string sWork;
FakeService* sService = nullptr;

void setStatus(const std::string& path) {
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    sMusicPlayingStatus.status = "playing";
    sMusicPlayingStatus.filename = path;
    sMusicPlayingStatus.title = "A Song Title of a Usual Length";
    sMusicPlayingStatus.artist = "An Artist";
    sMusicPlayingStatus.position = 83;
    sMusicPlayingStatus.duration = 241;
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
}

// A photograph-like picture: smooth colour fields with fine grain, so that the codecs
// have realistic work.
SDL_Surface* photo(int w, int h) {
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    unsigned seed = 12345;
    for (int y = 0; y < h; ++y) {
        auto* row = reinterpret_cast<Uint32*>(static_cast<char*>(image->pixels) + y * image->pitch);
        for (int x = 0; x < w; ++x) {
            seed = seed * 1103515245u + 12345u;
            int grain = static_cast<int>((seed >> 16) % 13) - 6;
            double u = static_cast<double>(x) / w, v = static_cast<double>(y) / h;
            int r = static_cast<int>(128 + 100 * std::sin(6 * u + 2 * v)) + grain;
            int g = static_cast<int>(128 + 90 * std::sin(5 * v - 3 * u * v)) + grain;
            int b = static_cast<int>(128 + 110 * std::cos(4 * u * u + 7 * v)) + grain;
            auto clamp = [](int c) { return static_cast<Uint32>(c < 0 ? 0 : c > 255 ? 255 : c); };
            row[x] = 0xff000000u | clamp(r) << 16 | clamp(g) << 8 | clamp(b);
        }
    }
    return image;
}

// Two tracks with the same cover beside each, so that every frame is a track change.
std::string makeCovers(const char* tag, int size, bool jpeg) {
    std::string base = sWork + "/" + tag;
    SDL_Surface* image = photo(size, size);
    for (const char* track : {"_a", "_b"}) {
        std::string path = base + track + (jpeg ? ".jpg" : ".png");
        if (jpeg)
            IMG_SaveJPG(image, path.c_str(), 90);
        else
            IMG_SavePNG(image, path.c_str());
    }
    SDL_FreeSurface(image);
    return base;
}

long fileKb(const std::string& base, bool jpeg) {
    return static_cast<long>(readFile(base + (jpeg ? "_a.jpg" : "_a.png")).size() / 1024);
}

void finishFrame() {
    // Reading one pixel makes the renderer finish the frame's work.
    Uint32 pixel;
    SDL_Rect one = {0, 0, 1, 1};
    SDL_RenderReadPixels(gZwRenderer, &one, SDL_PIXELFORMAT_ARGB8888, &pixel, 4);
    benchmark::DoNotOptimize(pixel);
}

void frameOnce(MusicPlayWindow& window) {
    SetRenderTarget(nullptr);
    SDL_RenderClear(gZwRenderer);
    window.draw();
    finishFrame();
}

void NowPlayingFrame(benchmark::State& state) {
    const bool service = state.range(0) != 0;
    if (service)
        sService->start();
    std::string base = makeCovers("frame", 600, true);
    setStatus(base + "_a.flac");
    MusicPlayWindow window(1, true, false);
    frameOnce(window); // the track change
    for (auto _ : state)
        frameOnce(window);
    if (service)
        sService->stop();
    state.SetLabel(std::string(service ? "with" : "without") + " the play mode exchange, " +
                   (window.mCoverBlur ? "blur" : "NO BLUR") + ", " + (s_visType == 1 ? "spectrum" : "NO SPECTRUM"));
}

// The frame in which the track changes (its cover loaded and blurred, drawn over the old
// background), or the frame after it (the new blurred background composed); each
// iteration changes the track once and draws both, timing one of them.
void TrackChangeFrame(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bool jpeg = state.range(1) != 0;
    const bool after = state.range(2) != 0;
    std::string base = makeCovers(jpeg ? "change_jpg" : "change_png", size, jpeg);
    setStatus(base + "_a.flac");
    MusicPlayWindow window(1, true, false);
    frameOnce(window);
    frameOnce(window);
    bool flip = false;
    for (auto _ : state) {
        flip = !flip;
        state.PauseTiming();
        setStatus(base + (flip ? "_b.flac" : "_a.flac"));
        if (after) {
            frameOnce(window);
            state.ResumeTiming();
            frameOnce(window);
        } else {
            state.ResumeTiming();
            frameOnce(window);
            state.PauseTiming();
            frameOnce(window);
            state.ResumeTiming();
        }
    }
    state.SetLabel(std::to_string(size) + (jpeg ? " JPEG " : " PNG ") + std::to_string(fileKb(base, jpeg)) + " KB" +
                   (after ? ", the frame after" : "") + (window.mCoverBlur ? "" : " NO BLUR"));
}

void ImgLoadAlone(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bool jpeg = state.range(1) != 0;
    std::string path = makeCovers(jpeg ? "alone_jpg" : "alone_png", size, jpeg) + (jpeg ? "_a.jpg" : "_a.png");
    for (auto _ : state) {
        SDL_Surface* image = IMG_Load(path.c_str());
        benchmark::DoNotOptimize(image);
        SDL_FreeSurface(image);
    }
    state.SetLabel(std::to_string(size) + (jpeg ? " JPEG" : " PNG") + " IMG_Load");
}

void LoaderAlone(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bool jpeg = state.range(1) != 0;
    std::string path = makeCovers(jpeg ? "loader_jpg" : "loader_png", size, jpeg) + (jpeg ? "_a.jpg" : "_a.png");
    for (auto _ : state) {
        ZelmorSurface* surface = LoadZelmorSurface(nullptr, "./", path.c_str());
        benchmark::DoNotOptimize(surface);
        delete surface;
    }
    state.SetLabel(std::to_string(size) + (jpeg ? " JPEG" : " PNG") + " LoadZelmorSurface (decode + upload)");
}

} // namespace

BENCHMARK(NowPlayingFrame)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(TrackChangeFrame)
    ->Args({500, 1, 0})
    ->Args({3000, 1, 0})
    ->Args({1500, 0, 0})
    ->Args({3000, 1, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ImgLoadAlone)->Args({500, 1})->Args({3000, 1})->Args({1500, 0})->Unit(benchmark::kMillisecond);
BENCHMARK(LoaderAlone)->Args({500, 1})->Args({3000, 1})->Args({1500, 0})->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    tprintfToStderr(false);
    setenv("SDL_VIDEODRIVER", "dummy", 0);
    if (SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER) != 0 || TTF_Init() != 0 ||
        !ScreenInit(1280, 720, 32, 0)) {
        fprintf(stderr, "no screen: %s\n", SDL_GetError());
        return 1;
    }
    SDL_RendererInfo info;
    SDL_GetRendererInfo(gZwRenderer, &info);
    fprintf(stderr, "renderer: %s\n", info.name);
    appendDefaultStrings();
    initLang();
    gThemePath = const_cast<char*>(MP_TEST_SOURCE_DIR "/");
    init_shared_skin();
    ScratchDir work("bench-play");
    sWork = work.path();
    makeDirs(MP_VIS_DIR "/fft1");
    // A steady sound in the tap, so that the spectrum has bars to draw.
    std::string tap(kTapMapBytes, '\0');
    for (int n = 0; n < kTapSamples; ++n) {
        double v = 0;
        for (int bin = 1; bin < 49; ++bin)
            v += 900.0 / (1 + bin / 10.0) * std::sin(2 * M_PI * bin * n / kTapSamples + bin * 2.399);
        auto s = static_cast<int16_t>(std::lround(std::max(-32768.0, std::min(32767.0, v))));
        tap[2 * n] = static_cast<char>(s & 0xff);
        tap[2 * n + 1] = static_cast<char>((s >> 8) & 0xff);
    }
    makeDirs(MP_SERVICE_DIR);
    writeFile(MP_WAVE_TAP_FILE, tap);
    makeDirs(MP_DEVICE_ROOT "/tmp");
    gVisualization = true;
    gCoverBackground = true;
    s_curEffectIndex = 0;
    FakeService service;
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 1}"});
    sService = &service;

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    uninit_shared_skin();
    ScreenUninit();
    TTF_Quit();
    SDL_Quit();
    return 0;
}
