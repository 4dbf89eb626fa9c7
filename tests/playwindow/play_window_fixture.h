// A headless now-playing screen: the dummy video driver and the software renderer, the
// program's texts, the service double on the real socket, the service's files under the
// device root, and a theme folder the test chooses (the committed skin, or images made
// by the test).
#pragma once

#include "app/config.h"
#include "app/globals.h"
#include "app/language_table.h"
#include "base/device_paths.h"
#include "fake_service.h"
#include "playwindow/music_play_window.h"
#include "playwindow/play_window_internal.h"
#include "scratch_dir.h"
#include "screenshot.h"
#include "status/music_status.h"
#include "visualiser/effect_catalogue.h"
#include "visualiser/spectrum.h"
#include "wait_until.h"
#include "zinternal.h"

#include <SDL2/SDL_image.h>
#include <SDL2/SDL_ttf.h>
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace pw {

constexpr Uint32 kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff, kWhite = 0xffffffff;
constexpr Uint32 kGrey = 0xff808080, kMagenta = 0xffff00ff, kYellow = 0xffffff00;

inline void savePng(const std::string& path, int w, int h, const std::vector<Uint32>& argb) {
    makeDirs(path.substr(0, path.rfind('/')));
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormatFrom(const_cast<Uint32*>(argb.data()), w, h, 32, w * 4,
                                                            SDL_PIXELFORMAT_ARGB8888);
    IMG_SavePNG(image, path.c_str());
    SDL_FreeSurface(image);
}

inline void solidPng(const std::string& path, int w, int h, Uint32 argb) {
    savePng(path, w, h, std::vector<Uint32>(static_cast<size_t>(w) * h, argb));
}

// The service's wave tap: 2048 samples of a sum of sines on FFT bins (bin, amplitude),
// their phases spread so that the peaks do not pile up, padded to the mapped size.
inline void writeTap(const std::vector<std::pair<double, double>>& tones) {
    std::string bytes(kTapMapBytes, '\0');
    for (int n = 0; n < kTapSamples; ++n) {
        double v = 0;
        for (auto& tone : tones)
            v += tone.second * std::sin(2.0 * M_PI * tone.first * n / kTapSamples + tone.first * 2.399);
        auto s = static_cast<int16_t>(std::lround(std::max(-32768.0, std::min(32767.0, v))));
        bytes[2 * n] = static_cast<char>(s & 0xff);
        bytes[2 * n + 1] = static_cast<char>((s >> 8) & 0xff);
    }
    makeDirs(MP_SERVICE_DIR);
    writeFile(MP_WAVE_TAP_FILE, bytes);
}

inline void setStatus(const std::string& status, const std::string& path, int position, int duration,
                      const std::string& title = "", const std::string& artist = "") {
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    sMusicPlayingStatus.status = status;
    sMusicPlayingStatus.filename = path;
    sMusicPlayingStatus.position = position;
    sMusicPlayingStatus.duration = duration;
    sMusicPlayingStatus.title = title;
    sMusicPlayingStatus.artist = artist;
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
}

// The library's stand-in at the bottom of the stack.
struct LibraryStandIn : ZelmorWindow {
    LibraryStandIn() : ZelmorWindow(8, 0) {}
};

class PlayWindowTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 0);
        ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        ASSERT_EQ(TTF_Init(), 0);
        ASSERT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
        static bool sTexts = false;
        if (!sTexts) {
            appendDefaultStrings();
            initLang();
            sTexts = true;
        }
        for (const char* file : {MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE, MP_MUSIC_COVER_FILE})
            removeTree(file);
        removeTree(MP_VIS_DIR);
        makeDirs(MP_DEVICE_ROOT "/tmp");
        makeDirs(MP_SERVICE_DIR);
        InitKeyShm(&gShmInfo);
        SetKeyShm(&gShmInfo, kShmKeySwapButtons, 0);
        useTheme(MP_TEST_SOURCE_DIR);
        for (const char* effect : {"fft1"})
            makeDirs(std::string(MP_VIS_DIR "/") + effect);
        writeTap({});
        setStatus("", "", 0, 0);
        sMusicPlayingStatus.seekTarget.store(-1);
        sMusicPlayingStatus.seekHold.store(0);
        gVisualization = true;
        gCoverBackground = true;
        gMusicVolume = 50;
        s_curEffectIndex = 0;
        s_triggerVisLoad = 0;
        ASSERT_TRUE(service.start()) << "the socket name is taken: run the tests in a network namespace";
        service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 0}"});
        gUIWindows = {&library};
    }

    void TearDown() override {
        gUIWindows.clear();
        service.stop();
        SetKeyShm(&gShmInfo, kShmKeySwapButtons, 0);
        uninit_shared_skin();
        gThemePath = nullptr;
        ScreenUninit();
        TTF_Quit();
        SDL_Quit();
        removeTree(MP_VIS_DIR);
    }

    // Skin images and effect files come from dir; the shared skin is loaded anew.
    void useTheme(const std::string& dir) {
        uninit_shared_skin();
        mTheme = dir + "/";
        gThemePath = const_cast<char*>(mTheme.c_str());
        init_shared_skin();
    }

    // Effect folders named in the catalogue (under the effects directory).
    void listEffects(const std::vector<std::string>& names) {
        removeTree(MP_VIS_DIR);
        for (auto& name : names)
            makeDirs(std::string(MP_VIS_DIR "/") + name);
    }

    // One frame as the loop draws it: the screen cleared, then the window.
    void frame(MusicPlayWindow& window) {
        SetRenderTarget(nullptr);
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        window.draw();
    }

    // A key press through SDL's queue and the window's eventHandling; the release goes
    // straight to the key mapper so that no repeat follows. A poll may end at SDL's
    // sentinel before an event pushed after it, so the window runs until the key is
    // taken (the passes before that see no key and do nothing).
    int press(MusicPlayWindow& window, SDL_Keycode sym) {
        SDL_Event down = {};
        down.type = SDL_KEYDOWN;
        down.key.keysym.sym = sym;
        SDL_PushEvent(&down);
        int result = 0;
        for (int pass = 0; pass < 100; ++pass) {
            result = window.eventHandling();
            SDL_PumpEvents();
            if (SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_KEYDOWN, SDL_KEYDOWN) == 0)
                break;
        }
        SDL_Event up = down;
        up.type = SDL_KEYUP;
        zwKeyFromEvent(up);
        return result;
    }

    // Frames the double received with the command word cmd, as parsed numbers of member.
    std::vector<int> numbers(const std::string& cmd, const char* member) {
        std::vector<int> values;
        for (auto& frame : service.frames()) {
            if (frame.cmd != cmd)
                continue;
            cJSON* root = cJSON_Parse(frame.body.c_str());
            cJSON* item = root ? cJSON_GetObjectItem(root, member) : nullptr;
            values.push_back(item && cJSON_IsNumber(item) ? item->valueint : -999);
            cJSON_Delete(root);
        }
        return values;
    }
    size_t count(const std::string& cmd) {
        size_t n = 0;
        for (auto& c : service.commands())
            n += c == cmd;
        return n;
    }
    Uint32 at(int x, int y) { return readTargetPixels(x, y, 1, 1)[0]; }

    FakeService service;
    LibraryStandIn library;
    std::string mTheme;
};

} // namespace pw
