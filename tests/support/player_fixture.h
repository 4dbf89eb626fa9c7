// A headless player for the screen tests: the skin, the program's texts and row icons,
// the playback service double on the real socket (answering play mode 0), the service's
// files under the device root (a silent tap, one effect folder, no cover, no markers), a
// library folder under the build's scratch area, and helpers to set the status record,
// press keys and read what the service received. Header only: a test binary that
// includes it links the screens' libraries itself.
#pragma once

#include "app/shared/config.h"
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "base/device_paths.h"
#include "base/files.h"
#include "fake_service.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "service/client/commands.h"
#include "service/file_actions/library_refresh.h"
#include "service/file_actions/play_request.h"
#include "shmvar.h"
#include "status/music_status.h"
#include "visualiser/effects/effect_catalogue.h"
#include "visualiser/spectrum/spectrum.h"
#include "wait_until.h"
#include "zmenu.h"

#include <SDL2/SDL_image.h>
#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <unistd.h>
#include <vector>

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

// Effect folders named in the catalogue (under the effects directory).
inline void listEffects(const std::vector<std::string>& names) {
    removeTree(MP_VIS_DIR);
    for (auto& name : names)
        makeDirs(std::string(MP_VIS_DIR "/") + name);
}

class PlayerTest : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        tprintfToStderr(false);
        gDefaultStringList.resize(8);
        appendDefaultStrings();
        initLang();
        gIconAudio = LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png");
        gIsPlaying = LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png");
        gIsPaused = LoadZelmorSurface(gThemePath, "./", "skin/ic-paused.png");
        setZelmorWindowFps(60, 60);
        library = scratch.path() + "/Music";
        makeDirs(library);
        gUserPath = library;
        gUserFile.clear();
        sLastPlayPath.clear();
        sLastPlayDir.clear();
        gNeedToRefreshIndex = false;
        gVisualization = gCoverBackground = true;
        gMusicVolume = 50;
        s_curEffectIndex = 0;
        s_triggerVisLoad = 0;
        setStatus("", "");
        sMusicPlayingStatus.seekTarget.store(-1);
        sMusicPlayingStatus.seekHold.store(0);
        makeParentDirs(MP_BTDEV_ADDR_FILE);
        makeParentDirs(MP_CONFIG_FILE);
        for (const char* file :
             {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE, MP_MUSIC_COVER_FILE})
            removeTree(file);
        listEffects({"fft1"});
        writeTap({});
        gUIWindows.clear();
        gWinList = &gUIWindows;
        ASSERT_TRUE(service.start()) << "the socket name is taken: run the tests in a network namespace";
        service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 0}"});
    }

    void TearDown() override {
        service.stop();
        // Top first, as the loop would close them.
        while (!gUIWindows.empty()) {
            delete gUIWindows.back();
            gUIWindows.pop_back();
        }
        gWinList = nullptr;
        if (gShmInfo.table)
            SetKeyShm(&gShmInfo, kShmKeySwapButtons, 0);
        for (const char* file : {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE, MP_VIS_DIR})
            removeTree(file);
        for (ZelmorSurface** icon : {&gIconAudio, &gIsPlaying, &gIsPaused}) {
            delete *icon;
            *icon = nullptr;
        }
        gDefaultStringList.resize(8);
        ScreenTest::TearDown();
    }

    static void setStatus(const std::string& path, const std::string& state, int position = 0,
                          int duration = 0, const std::string& title = "", const std::string& artist = "") {
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        MusicPlayingStatus& s = sMusicPlayingStatus;
        s.filename = path;
        s.status = state;
        s.position = position;
        s.duration = duration;
        s.title = title;
        s.artist = artist;
        s.album.clear();
        s.genre.clear();
        s.year.clear();
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
    }
    // Key 19 of the shared table: confirm and back change places.
    static void swapKeys(bool swapped) {
        InitKeyShm(&gShmInfo);
        SetKeyShm(&gShmInfo, kShmKeySwapButtons, swapped);
    }

    // Music files (empty) and folders under the library; names ending in "/" are folders.
    void makeEntries(const std::string& folder, const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            if (!name.empty() && name.back() == '/')
                makeDirs(folder + "/" + name.substr(0, name.size() - 1));
            else
                writeFile(folder + "/" + name, "");
        }
    }

    // The command words the service received so far, in order: a last command of our
    // own, once it has arrived, shows that every earlier one has been taken in. The play
    // mode query of each now-playing frame is left out.
    std::vector<std::string> sent() {
        noarg_cmd("test-mark");
        ++marks;
        std::vector<std::string> words;
        EXPECT_TRUE(waitUntil([&] {
            words = service.commands();
            return std::count(words.begin(), words.end(), std::string("test-mark")) == marks;
        })) << "the service double did not answer";
        words.erase(
            std::remove_if(words.begin(), words.end(),
                           [](const std::string& w) { return w == "test-mark" || w == "get_play_mode"; }),
            words.end());
        return words;
    }
    size_t count(const std::string& cmd) {
        auto words = service.commands();
        return static_cast<size_t>(std::count(words.begin(), words.end(), cmd));
    }
    // The body of the last frame with that command word, or empty.
    std::string lastBody(const std::string& cmd) {
        std::string body;
        for (const RecordedFrame& frame : service.frames())
            body = frame.cmd == cmd ? frame.body : body;
        return body;
    }
    // The number member of every frame with that command word received so far, in order
    // (-999: none).
    std::vector<int> numbers(const std::string& cmd, const char* member) {
        sent();
        std::vector<int> values;
        for (auto& frame : service.frames()) {
            if (frame.cmd != cmd)
                continue;
            cJSON* root = cJSON_Parse(frame.body.c_str());
            cJSON* item = root ? cJSON_GetObjectItem(root, member) : nullptr;
            values.push_back(cJSON_IsNumber(item) ? item->valueint : -999);
            cJSON_Delete(root);
        }
        return values;
    }

    static SDL_Event keyEvent(SDL_Keycode key, Uint32 type = SDL_KEYDOWN) {
        SDL_Event event;
        SDL_zero(event);
        event.type = type;
        event.key.keysym.sym = key;
        return event;
    }
    static void press(SDL_Keycode key) {
        SDL_Event down = keyEvent(key), up = keyEvent(key, SDL_KEYUP);
        SDL_PushEvent(&down);
        SDL_PushEvent(&up);
    }
    static bool keyDownQueued() {
        SDL_PumpEvents();
        return SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_KEYDOWN, SDL_KEYDOWN) > 0;
    }
    // A wake-up as the status monitor sends it: the next wait for input ends at once.
    static void tick() {
        SDL_Event event;
        SDL_zero(event);
        event.type = SDL_USEREVENT;
        event.user.code = 25;
        SDL_PushEvent(&event);
    }
    // One pass of the window loop on the player's stack.
    static int step() { return runWindowsStep(gUIWindows); }
    // Runs the loop, a status tick each pass, until the condition holds.
    template <typename Condition> static bool runUntil(Condition condition) {
        return waitUntil([&] {
            tick();
            step();
            return condition();
        });
    }
    // Presses a key and runs the loop until the key has been taken; the result is that
    // of the pass that took it. A pass may end on a frame before it reaches the key.
    static int pressAndStep(SDL_Keycode key) {
        press(key);
        int result = 0;
        EXPECT_TRUE(waitUntil([&] {
            result = step();
            return !keyDownQueued();
        })) << "the key was never taken";
        return result;
    }
    // The same, straight to one window's eventHandling; the release goes to the key
    // mapper at once, so that no repeat follows.
    static int pressOn(ZelmorWindow& window, SDL_Keycode key) {
        SDL_Event down = keyEvent(key);
        SDL_PushEvent(&down);
        int result = 0;
        for (int pass = 0; pass < 100; ++pass) {
            result = window.eventHandling();
            if (!keyDownQueued())
                break;
        }
        zwKeyFromEvent(keyEvent(key, SDL_KEYUP));
        return result;
    }
    // One frame as the loop draws it: the screen cleared, then the window.
    static void frame(ZelmorWindow& window) {
        SetRenderTarget(nullptr);
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        window.draw();
    }

    ScratchDir scratch{"player"};
    std::string library;
    FakeService service;
    long marks = 0;
};

// A window that keeps the loop going and never closes, as the screen under a popup.
struct BaseScreen : ZelmorWindow {
    BaseScreen() : ZelmorWindow(8, 0) {}
    int eventHandling() override { return wait_event(nullptr); }
};

// A window whose every pass asks the loop to show the popups queued meanwhile.
struct Opener : ZelmorWindow {
    Opener() : ZelmorWindow(8, 0) {}
    int eventHandling() override { return kWinResultPopup; }
};
