// The window loop: the stack of windows, when a pass runs, waiting for input, popups.
//
// A pass (the top window's input, then a frame) runs only when something may have
// changed what the screen shows: a key or pad event, a user event (the status tick, a
// folder to enter), a row loader that published or moved the cursor, a held key's
// repeat, the minute of the status bar's clock, a window exposed again. A window that
// animates asks for frames with setZelmorWindowFps and gets a pass at that rate while it
// is drawn. Between passes the loop sleeps in SDL's wait, and a pass whose frame is the
// one on screen presents nothing (zframe.cpp).
#include "zinternal.h"

#include "base/user_events.h"

#include <algorithm>
#include <ctime>
#include <string>

std::vector<ZelmorWindow*>* gWinList = nullptr;

namespace {

std::vector<ZelmorWindow*> sPopupQueue;
// The rate of a wait outside the loop's passes (a window's eventHandling called by
// itself) and of a rate set while no window is being made.
int sFrameMs = 33;
Uint32 sFrameStart = 0;

// Set when the desktop window is closed: the loop ends through the normal shutdown.
bool sQuitRequested = false;

// The windows that asked for frames, with the time between two of their frames.
struct WindowRate {
    const ZelmorWindow* window;
    int frameMs;
};
std::vector<WindowRate> sWindowRates;
// The window made last, until the loop next runs a pass: a window's base constructor
// runs before the screen's own, so a rate set meanwhile is set by that screen's
// constructor (the now-playing screen asks for 60 frames a second there) and belongs to
// that window alone, while the screens that stand still ask for nothing.
const ZelmorWindow* sNewestWindow = nullptr;
// The stack of the pass whose top window waits for input, while it does.
const std::vector<ZelmorWindow*>* sPassWindows = nullptr;

// A folder event that came while no browser waited (a key queued before it opened a
// window above the list): its path, copied since the row that holds the text may go,
// until a browser waits again.
std::string sHeldFolder;
bool sFolderHeld = false;

// The status bar's clock shows minutes: a still screen needs a pass when one begins.
// A little after the turn, so that the coarse clock behind time() has turned as well.
constexpr Sint32 kClockTurnMarginMs = 20;

Sint32 msToNextMinute() {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    long into = static_cast<long>(now.tv_sec % 60) * 1000 + now.tv_nsec / 1000000;
    return static_cast<Sint32>(60000 - into) + kClockTurnMarginMs;
}

// The program pushes its events as SDL_USEREVENT without registering them, and that is
// the first type SDL hands out: the loop's own wake-up takes the next.
Uint32 wakeEventType() {
    static const Uint32 type = [] {
        Uint32 first = SDL_RegisterEvents(2);
        return first == SDL_USEREVENT ? first + 1 : first;
    }();
    return type;
}

// The first window drawn in a pass: the top one, or the one under the floating windows
// on top.
size_t firstDrawn(const std::vector<ZelmorWindow*>& windows) {
    size_t base = windows.size() - 1;
    while (base > 0 && windows[base]->isFloating())
        --base;
    return base;
}

// The time between frames that the windows drawn in a pass ask for; 0 when none does.
int passFrameMs(const std::vector<ZelmorWindow*>& windows) {
    int frameMs = 0;
    if (windows.empty())
        return 0;
    for (size_t i = firstDrawn(windows); i < windows.size(); ++i) {
        for (const WindowRate& rate : sWindowRates) {
            if (rate.window == windows[i] && (frameMs == 0 || rate.frameMs < frameMs))
                frameMs = rate.frameMs;
        }
    }
    return frameMs;
}

// Events after which the screen may not show the last frame any more.
bool showsWindowAnew(const SDL_Event& event) {
    if (event.type == SDL_RENDER_TARGETS_RESET || event.type == SDL_RENDER_DEVICE_RESET)
        return true;
    if (event.type != SDL_WINDOWEVENT)
        return false;
    switch (event.window.event) {
    case SDL_WINDOWEVENT_SHOWN:
    case SDL_WINDOWEVENT_EXPOSED:
    case SDL_WINDOWEVENT_SIZE_CHANGED:
    case SDL_WINDOWEVENT_RESTORED:
        return true;
    default:
        return false;
    }
}

} // namespace

void setZelmorWindowFps(int fps, int maxFps) {
    int rate = std::max(1, std::min(fps > 0 ? fps : maxFps, 240));
    const int frameMs = 1000 / rate;
    if (!sNewestWindow) {
        sFrameMs = frameMs;
        return;
    }
    for (WindowRate& known : sWindowRates) {
        if (known.window == sNewestWindow) {
            known.frameMs = frameMs;
            return;
        }
    }
    sWindowRates.push_back(WindowRate{sNewestWindow, frameMs});
}

void zwWakeLoop() {
    if (!SDL_WasInit(SDL_INIT_EVENTS) || wakeEventType() == static_cast<Uint32>(-1))
        return;
    SDL_Event event;
    SDL_zero(event);
    event.type = wakeEventType();
    SDL_PushEvent(&event);
}

int wait_event(SDL_Event* out) {
    zwStartGamepads();
    // Without this SDL's poll reports an empty queue once per pump, so that a key pushed
    // just before the frame would wait for the next one.
    // SDL_Quit clears hints, so it is set again whenever it is missing.
    if (!SDL_GetHint(SDL_HINT_POLL_SENTINEL))
        SDL_SetHint(SDL_HINT_POLL_SENTINEL, "0");
    if (sFolderHeld && gFolderEventHandler) {
        sFolderHeld = false;
        std::string folder;
        folder.swap(sHeldFolder);
        gFolderEventHandler(folder.c_str());
        return kKeyNone;
    }
    // A pass that animates, and a wait outside the passes, keep the frame rate; any other
    // pass waits for a change, or for the clock's next minute.
    const int frameMs = sPassWindows ? passFrameMs(*sPassWindows) : sFrameMs;
    Uint32 deadline = frameMs > 0 ? sFrameStart + static_cast<Uint32>(frameMs)
                                  : SDL_GetTicks() + static_cast<Uint32>(msToNextMinute());
    if (frameMs == 0 && zwFrameOwed())
        deadline = SDL_GetTicks(); // the first frame, say: input already queued, then the frame
    for (;;) {
        Uint32 now = SDL_GetTicks();
        Sint32 left = static_cast<Sint32>(deadline - now);
        int repeated = zwRepeatKey(now, &left);
        if (repeated != kKeyNone)
            return repeated;
        SDL_Event event;
        if (left <= 0) {
            // Frame time: input already queued still goes first, then the frame.
            if (!SDL_PollEvent(&event)) {
                sFrameStart = now;
                return kKeyNone;
            }
        } else if (!SDL_WaitEventTimeout(&event, left)) {
            // Blocked until an event or the deadline: no spinning between frames.
            continue;
        }
        if (out)
            *out = event;
        if (event.type == SDL_QUIT) {
            sQuitRequested = true;
            return kKeyNone;
        }
        if (event.type == wakeEventType())
            return kKeyNone;
        if (event.type == SDL_USEREVENT) {
            if (event.user.code == USER_EVENT_STATUS_TICK)
                return kKeyNone;
            if (event.user.code == USER_EVENT_OPEN_FOLDER && event.user.data1) {
                const char* path = static_cast<const char*>(event.user.data1);
                if (gFolderEventHandler) {
                    gFolderEventHandler(path);
                    return kKeyNone;
                }
                sHeldFolder = path;
                sFolderHeld = true;
            }
            continue;
        }
        int key = zwKeyFromEvent(event);
        if (key != kKeyNone)
            return key;
        if (showsWindowAnew(event)) {
            zwInvalidateFrame();
            if (frameMs == 0)
                return kKeyNone; // a pass paints it again; a paced one comes soon anyway
        }
    }
}

int (*gFolderEventHandler)(const char* path) = nullptr;

void add2PopupList(ZelmorWindow* window) {
    if (window)
        sPopupQueue.push_back(window);
}

ZelmorWindow::ZelmorWindow(int titleId, int kind) : mTitleId(titleId), mKind(kind) {
    sNewestWindow = this;
}
ZelmorWindow::~ZelmorWindow() {
    zwForgetTrailOwner(nullptr, this);
    if (sNewestWindow == this)
        sNewestWindow = nullptr;
    sWindowRates.erase(std::remove_if(sWindowRates.begin(), sWindowRates.end(),
                                      [this](const WindowRate& rate) { return rate.window == this; }),
                       sWindowRates.end());
}
int ZelmorWindow::eventHandling() {
    return wait_event(nullptr);
}
int ZelmorWindow::draw() {
    return 0;
}
void ZelmorWindow::quit() {}
void ZelmorWindow::init() {}
void ZelmorWindow::saveState(cJSON*) {}
int ZelmorWindow::restoreState(cJSON*) {
    return 0;
}
void ZelmorWindow::refresh() {}
void ZelmorWindow::enterAnim() {}
void ZelmorWindow::exitAnim() {}
const char* ZelmorWindow::getTitle() {
    return getLangStr(mTitleId);
}
bool ZelmorWindow::isFloating() {
    return false;
}

namespace {

// Draws the top window; a floating window first has the windows under it drawn.
void drawStack(std::vector<ZelmorWindow*>& windows) {
    if (windows.empty())
        return;
    for (size_t i = firstDrawn(windows); i < windows.size(); ++i) {
        gZwDrawingWindow = windows[i];
        windows[i]->draw();
    }
    gZwDrawingWindow = nullptr;
}

} // namespace

int runWindowsStep(std::vector<ZelmorWindow*>& windows) {
    if (windows.empty())
        return kWinResultQuit;
    ZelmorWindow* top = windows.back();
    sNewestWindow = nullptr; // the windows on the stack are made
    sPassWindows = &windows;
    int result = top->eventHandling();
    sPassWindows = nullptr;
    if (result == kWinResultQuit || sQuitRequested)
        return kWinResultQuit;
    if (result == kWinResultClose) {
        // The window may have pushed others above itself; remove it where it is.
        auto at = std::find(windows.begin(), windows.end(), top);
        if (at != windows.end())
            windows.erase(at);
        delete top;
        if (windows.empty())
            return kWinResultQuit;
        windows.back()->refresh();
    } else if (result == kWinResultPopup) {
        for (ZelmorWindow* popup : sPopupQueue)
            windows.push_back(popup);
        sPopupQueue.clear();
    }
    if (gZwRenderer) {
        zwStartFrame();
        drawStack(windows);
        zwFinishFrame(passFrameMs(windows) > 0);
    }
    return result;
}

void runWindows(std::vector<ZelmorWindow*>& windows) {
    gWinList = &windows;
    sQuitRequested = false;
    sFolderHeld = false;
    sFrameStart = SDL_GetTicks();
    while (runWindowsStep(windows) != kWinResultQuit) {
    }
    sQuitRequested = false;
    // The loop owns the windows it was given: those left on the stack go with it, top
    // first, so that each finds the ones beneath it still there.
    while (!windows.empty()) {
        ZelmorWindow* top = windows.back();
        windows.pop_back();
        delete top;
    }
    for (ZelmorWindow* window : sPopupQueue)
        delete window;
    sPopupQueue.clear();
}
