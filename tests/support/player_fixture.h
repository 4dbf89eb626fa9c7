// A headless player for the screen tests: the skin, the program's texts and row icons,
// the playback service double on the real socket (answering play mode 0), the service's
// files under the device root (a silent tap, one effect folder, no cover, no markers), a
// library folder under the build's scratch area, and helpers to set the status record,
// press keys and read what the service received. Library mpplayerfixture.
#pragma once

#include "app/shared/config.h"
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "base/device_paths.h"
#include "fake_service.h"
#include "push_event.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "service/file_actions/library_refresh.h"
#include "service/file_actions/play_request.h"
#include "status/music_status.h"
#include "visualiser/effects/effect_catalogue.h"
#include "visualiser/spectrum/spectrum.h"
#include "wait_until.h"
#include "zmenu.h"

#include <string>
#include <utility>
#include <vector>

// The service's wave tap: 2048 samples of a sum of sines on FFT bins (bin, amplitude),
// their phases spread so that the peaks do not pile up, padded to the mapped size.
void writeTap(const std::vector<std::pair<double, double>>& tones);
// A PNG of ARGB pixels, and one of a single colour; their folder is made.
void savePng(const std::string& path, int w, int h, const std::vector<Uint32>& argb);
void solidPng(const std::string& path, int w, int h, Uint32 argb);
// Effect folders named in the catalogue (under the effects directory).
void listEffects(const std::vector<std::string>& names);

// Command words or members of what the service received, in order.
using Words = std::vector<std::string>;

class PlayerTest : public ScreenTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // The status record as the monitor stores it; the tags not given are empty.
    static void setStatus(const std::string& path, const std::string& state, int position = 0,
                          int duration = 0, const std::string& title = "", const std::string& artist = "",
                          const std::string& album = "", const std::string& genre = "",
                          const std::string& year = "");
    // What the service received so far, in order, once a last command of our own has
    // arrived behind it: the member (as text, "" when missing) of each frame with that
    // command word, or of every frame but the play mode query of each now-playing frame.
    // The default is the command words.
    Words sent(const char* cmd = nullptr, const char* member = "cmd");
    // Frames with that command word received so far, without waiting.
    size_t count(const std::string& cmd) { return service.count(cmd); }

    // A wake-up as the status monitor sends it: the next wait for input ends at once.
    static void tick() { pushEvent(SDL_USEREVENT); }
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
    // Presses a key and runs passes of the loop (or of that window alone) until the key
    // has been taken, then releases it; the result is that of the pass that took it. A
    // pass may end on a frame before it reaches the key.
    static int press(SDL_Keycode key, ZelmorWindow* window = nullptr);
    // One frame as the loop draws it: the screen cleared, then the window.
    static void frame(ZelmorWindow& window);
    // Deletes the top window, as the loop closes it.
    static void closeTop() {
        delete gUIWindows.back();
        gUIWindows.pop_back();
    }

    // The library's track t<i>.mp3 (the tests that use it make it).
    std::string track(int i) const { return library + "/t" + std::to_string(i) + ".mp3"; }

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
