// The window loop: the stack of windows, frame pacing, input as key codes, popups.
#include "zinternal.h"

#include "base/user_events.h"

#include <algorithm>

std::vector<ZelmorWindow*>* gWinList = nullptr;

namespace {

std::vector<ZelmorWindow*> sPopupQueue;
int sFrameMs = 33; // a modest rate until a window asks for more
Uint32 sFrameStart = 0;

// A held direction repeats after a pause, then steadily.
constexpr Uint32 kRepeatDelayMs = 400;
constexpr Uint32 kRepeatIntervalMs = 80;
int sHeldKey = kKeyNone;
Uint32 sNextRepeat = 0;

bool isDirection(int key) {
    return key >= kKeyUp && key <= kKeyRight;
}

int keyFromKeyboard(SDL_Keycode key) {
    switch (key) {
    case SDLK_UP:
        return kKeyUp;
    case SDLK_DOWN:
        return kKeyDown;
    case SDLK_LEFT:
        return kKeyLeft;
    case SDLK_RIGHT:
        return kKeyRight;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
        return kKeyPrimary;
    case SDLK_ESCAPE:
    case SDLK_BACKSPACE:
        return kKeySecondary;
    case SDLK_x:
        return kKeyX;
    case SDLK_y:
        return kKeyY;
    case SDLK_SPACE:
        return kKeyStart;
    case SDLK_TAB:
        return kKeySelect;
    case SDLK_m:
        return kKeyMenu;
    case SDLK_q:
        return kKeyL;
    case SDLK_w:
        return kKeyR;
    case SDLK_1:
        return kKeyL2;
    case SDLK_2:
        return kKeyR2;
    default:
        return kKeyNone;
    }
}

int keyFromController(Uint8 button) {
    switch (button) {
    case SDL_CONTROLLER_BUTTON_A:
        return kKeyPrimary;
    case SDL_CONTROLLER_BUTTON_B:
        return kKeySecondary;
    case SDL_CONTROLLER_BUTTON_X:
        return kKeyX;
    case SDL_CONTROLLER_BUTTON_Y:
        return kKeyY;
    case SDL_CONTROLLER_BUTTON_DPAD_UP:
        return kKeyUp;
    case SDL_CONTROLLER_BUTTON_DPAD_DOWN:
        return kKeyDown;
    case SDL_CONTROLLER_BUTTON_DPAD_LEFT:
        return kKeyLeft;
    case SDL_CONTROLLER_BUTTON_DPAD_RIGHT:
        return kKeyRight;
    case SDL_CONTROLLER_BUTTON_START:
        return kKeyStart;
    case SDL_CONTROLLER_BUTTON_BACK:
        return kKeySelect;
    case SDL_CONTROLLER_BUTTON_GUIDE:
        return kKeyMenu;
    case SDL_CONTROLLER_BUTTON_LEFTSHOULDER:
        return kKeyL;
    case SDL_CONTROLLER_BUTTON_RIGHTSHOULDER:
        return kKeyR;
    default:
        return kKeyNone;
    }
}

// Triggers are axes: a press is a pull past half way.
int keyFromTrigger(const SDL_ControllerAxisEvent& axis, bool* pressed) {
    static bool held[2] = {false, false};
    int index;
    if (axis.axis == SDL_CONTROLLER_AXIS_TRIGGERLEFT)
        index = 0;
    else if (axis.axis == SDL_CONTROLLER_AXIS_TRIGGERRIGHT)
        index = 1;
    else
        return kKeyNone;
    bool down = axis.value > 16384;
    *pressed = down && !held[index];
    held[index] = down;
    return index == 0 ? kKeyL2 : kKeyR2;
}

void startHold(int key) {
    if (isDirection(key)) {
        sHeldKey = key;
        sNextRepeat = SDL_GetTicks() + kRepeatDelayMs;
    }
}

void endHold(int key) {
    if (key == sHeldKey)
        sHeldKey = kKeyNone;
}

} // namespace

int zwKeyFromEvent(const SDL_Event& event) {
    switch (event.type) {
    case SDL_KEYDOWN: {
        if (event.key.repeat)
            return kKeyNone; // repeats come from our own timing, for pads and keys alike
        int key = keyFromKeyboard(event.key.keysym.sym);
        startHold(key);
        return key;
    }
    case SDL_KEYUP:
        endHold(keyFromKeyboard(event.key.keysym.sym));
        return kKeyNone;
    case SDL_CONTROLLERBUTTONDOWN: {
        int key = keyFromController(event.cbutton.button);
        startHold(key);
        return key;
    }
    case SDL_CONTROLLERBUTTONUP:
        endHold(keyFromController(event.cbutton.button));
        return kKeyNone;
    case SDL_CONTROLLERAXISMOTION: {
        bool pressed = false;
        int key = keyFromTrigger(event.caxis, &pressed);
        return pressed ? key : kKeyNone;
    }
    case SDL_CONTROLLERDEVICEADDED:
        SDL_GameControllerOpen(event.cdevice.which);
        initJoyStick();
        return kKeyNone;
    default:
        return kKeyNone;
    }
}

void setZelmorWindowFps(int fps, int maxFps) {
    int rate = std::max(1, std::min(fps > 0 ? fps : maxFps, 240));
    sFrameMs = 1000 / rate;
}

int wait_event(SDL_Event* out) {
    const Uint32 deadline = sFrameStart + static_cast<Uint32>(sFrameMs);
    for (;;) {
        Uint32 now = SDL_GetTicks();
        if (sHeldKey != kKeyNone && static_cast<Sint32>(now - sNextRepeat) >= 0) {
            sNextRepeat = now + kRepeatIntervalMs;
            return sHeldKey;
        }
        Sint32 left = static_cast<Sint32>(deadline - now);
        if (sHeldKey != kKeyNone)
            left = std::min(left, static_cast<Sint32>(sNextRepeat - now));
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
        if (event.type == SDL_QUIT)
            return kKeySecondary;
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
ZelmorWindow::~ZelmorWindow() {}
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
    for (size_t i = base; i < windows.size(); ++i)
        windows[i]->draw();
}

} // namespace

int runWindowsStep(std::vector<ZelmorWindow*>& windows) {
    if (windows.empty())
        return kWinResultQuit;
    ZelmorWindow* top = windows.back();
    int result = top->eventHandling();
    if (result == kWinResultQuit)
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
    sFrameStart = SDL_GetTicks();
    while (runWindowsStep(windows) != kWinResultQuit) {
    }
    for (ZelmorWindow* window : sPopupQueue)
        delete window;
    sPopupQueue.clear();
}
