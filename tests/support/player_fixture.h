// A headless player for the screen tests: the dummy video driver with the skin, the
// program's texts and row icons, the playback service double on the real socket, a
// library folder under the build's scratch area, and helpers to set the status record,
// press keys and read what the service received. Header only: a test binary that
// includes it links the screens' libraries itself.
#pragma once

#include "app/globals.h"
#include "app/language_table.h"
#include "base/device_paths.h"
#include "base/files.h"
#include "fake_service.h"
#include "scratch_dir.h"
#include "service/commands.h"
#include "service/transport_actions.h"
#include "status/music_status.h"
#include "wait_until.h"
#include "zinternal.h"
#include "zmenu.h"

#include <SDL2/SDL_ttf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

class PlayerTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 0);
        tprintfToStderr(false);
        ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        ASSERT_EQ(TTF_Init(), 0);
        ASSERT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
        gThemePath = const_cast<char*>(MP_TEST_SOURCE_DIR "/");
        init_shared_skin();
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
        setStatus("", "");
        makeParentDirs(MP_BTDEV_ADDR_FILE);
        makeParentDirs(MP_CONFIG_FILE);
        for (const char* marker : {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE})
            unlink(marker);
        gUIWindows.clear();
        gWinList = &gUIWindows;
        ASSERT_TRUE(service.start());
    }

    void TearDown() override {
        service.stop();
        // Top first, as the loop would close them.
        while (!gUIWindows.empty()) {
            delete gUIWindows.back();
            gUIWindows.pop_back();
        }
        gWinList = nullptr;
        for (const char* marker : {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE})
            unlink(marker);
        for (ZelmorSurface** icon : {&gIconAudio, &gIsPlaying, &gIsPaused}) {
            delete *icon;
            *icon = nullptr;
        }
        gDefaultStringList.resize(8);
        uninit_shared_skin();
        gThemePath = nullptr;
        ScreenUninit();
        TTF_Quit();
        SDL_Quit();
    }

    static void setStatus(const std::string& filename, const std::string& status) {
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        sMusicPlayingStatus.filename = filename;
        sMusicPlayingStatus.status = status;
        sMusicPlayingStatus.artist.clear();
        sMusicPlayingStatus.album.clear();
        sMusicPlayingStatus.genre.clear();
        sMusicPlayingStatus.year.clear();
        sMusicPlayingStatus.title.clear();
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
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
    // own, once it has arrived, shows that every earlier one has been taken in.
    std::vector<std::string> sent() {
        noarg_cmd("test-mark");
        ++marks;
        std::vector<std::string> words;
        EXPECT_TRUE(waitUntil([&] {
            words = service.commands();
            return std::count(words.begin(), words.end(), std::string("test-mark")) == marks;
        })) << "the service double did not answer";
        // The now-playing screen asks for the play mode on every frame it draws: that is
        // not what the tests count.
        words.erase(std::remove_if(words.begin(), words.end(),
                                   [](const std::string& w) { return w == "test-mark" || w == "get_play_mode"; }),
                    words.end());
        return words;
    }
    // The body of the last frame with that command word, or empty.
    std::string lastBody(const std::string& cmd) {
        std::string body;
        for (const RecordedFrame& frame : service.frames()) {
            if (frame.cmd == cmd)
                body = frame.body;
        }
        return body;
    }

    static void press(SDL_Keycode key) {
        SDL_Event event;
        SDL_zero(event);
        event.type = SDL_KEYDOWN;
        event.key.keysym.sym = key;
        SDL_PushEvent(&event);
        event.type = SDL_KEYUP;
        SDL_PushEvent(&event);
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
    static bool keyDownQueued() {
        SDL_Event events[8];
        return SDL_PeepEvents(events, 8, SDL_PEEKEVENT, SDL_KEYDOWN, SDL_KEYDOWN) > 0;
    }

    ScratchDir scratch{"player"};
    std::string library;
    FakeService service;
    long marks = 0;
};
