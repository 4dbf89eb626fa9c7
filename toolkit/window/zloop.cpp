// The window loop: the stack of windows, frame pacing, waiting for input, popups.
#include "zinternal.h"

#include "base/user_events.h"

#include <algorithm>

std::vector<ZelmorWindow*>* gWinList = nullptr;

namespace {

std::vector<ZelmorWindow*> sPopupQueue;
int sFrameMs = 33; // a modest rate until a window asks for more
Uint32 sFrameStart = 0;

// Set when the desktop window is closed: the loop ends through the normal shutdown.
bool sQuitRequested = false;

} // namespace

void setZelmorWindowFps(int fps, int maxFps) {
    int rate = std::max(1, std::min(fps > 0 ? fps : maxFps, 240));
    sFrameMs = 1000 / rate;
}

int wait_event(SDL_Event* out) {
    zwStartGamepads();
    // Without this SDL's poll reports an empty queue once per pump, so that a key pushed
    // just before the frame would wait for the next one.
    // SDL_Quit clears hints, so it is set again whenever it is missing.
    if (!SDL_GetHint(SDL_HINT_POLL_SENTINEL))
        SDL_SetHint(SDL_HINT_POLL_SENTINEL, "0");
    const Uint32 deadline = sFrameStart + static_cast<Uint32>(sFrameMs);
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
        if (event.type == SDL_USEREVENT) {
            if (event.user.code == USER_EVENT_STATUS_TICK)
                return kKeyNone;
            if (event.user.code == USER_EVENT_OPEN_FOLDER && gFolderEventHandler && event.user.data1) {
                gFolderEventHandler(static_cast<const char*>(event.user.data1));
                return kKeyNone;
            }
            continue;
        }
        int key = zwKeyFromEvent(event);
        if (key != kKeyNone)
            return key;
    }
}

int (*gFolderEventHandler)(const char* path) = nullptr;

void add2PopupList(ZelmorWindow* window) {
    if (window)
        sPopupQueue.push_back(window);
}

ZelmorWindow::ZelmorWindow(int titleId, int kind) : mTitleId(titleId), mKind(kind) {}
ZelmorWindow::~ZelmorWindow() {
    zwForgetTrailOwner(nullptr, this);
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
    size_t base = windows.size() - 1;
    while (base > 0 && windows[base]->isFloating())
        --base;
    for (size_t i = base; i < windows.size(); ++i) {
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
    int result = top->eventHandling();
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
        SDL_SetRenderTarget(gZwRenderer, nullptr);
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        drawStack(windows);
        ScreenUpdateAndFlip();
    }
    return result;
}

void runWindows(std::vector<ZelmorWindow*>& windows) {
    gWinList = &windows;
    sQuitRequested = false;
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
