// Input as key codes: the keyboard, gamepads that SDL knows (through its game
// controller mapping) and raw pads it does not know (buttons, hat and axes), with one
// repeat for every held direction whatever it came from.
#include "zinternal.h"

#include <cstdlib>

namespace {

// A held direction repeats after a pause, then steadily.
constexpr Uint32 kRepeatDelayMs = 400;
constexpr Uint32 kRepeatIntervalMs = 80;
int sHeldKey = kKeyNone;
Uint32 sNextRepeat = 0;

// A stick or trigger counts as pressed past half way and as released below a quarter,
// so that a stick resting near the threshold does not chatter.
constexpr int kAxisPress = 16384;
constexpr int kAxisRelease = 8192;

bool isDirection(int key) {
    return key >= kKeyUp && key <= kKeyRight;
}

void startHold(int key) {
    if (isDirection(key)) {
        sHeldKey = key;
        sNextRepeat = SDL_GetTicks() + kRepeatDelayMs;
    }
}

void endHold(int key) {
    if (key != kKeyNone && key == sHeldKey)
        sHeldKey = kKeyNone;
}

// A press: the key, its hold started. A release: no key, its hold ended.
int press(int key) {
    startHold(key);
    return key;
}

int release(int key) {
    endHold(key);
    return kKeyNone;
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

// Pads without a mapping: the layout most generic pads share.
int keyFromRawButton(Uint8 button) {
    static const int kRawButtons[] = {kKeyPrimary, kKeySecondary, kKeyX,      kKeyY,    kKeyL, kKeyR,
                                      kKeySelect,  kKeyStart,     kKeyMenu,   kKeyL2,   kKeyR2};
    return button < sizeof(kRawButtons) / sizeof(kRawButtons[0]) ? kRawButtons[button] : kKeyNone;
}

int keyFromHat(Uint8 value) {
    if (value & SDL_HAT_UP)
        return kKeyUp;
    if (value & SDL_HAT_DOWN)
        return kKeyDown;
    if (value & SDL_HAT_LEFT)
        return kKeyLeft;
    if (value & SDL_HAT_RIGHT)
        return kKeyRight;
    return kKeyNone;
}

// The key an axis stands for in each direction: a stick's x and y give directions, a
// trigger gives L2 or R2 (pulled only one way).
struct AxisKeys {
    int negative;
    int positive;
};

// What each axis of each device last reported, so that a move is one press and one
// release however many motion events it makes.
struct AxisState {
    SDL_JoystickID device;
    Uint8 axis;
    bool controller;
    int key; // the key held by this axis, or kKeyNone
};
AxisState sAxes[32];
int sAxisCount = 0;

AxisState* axisState(SDL_JoystickID device, Uint8 axis, bool controller) {
    for (int i = 0; i < sAxisCount; ++i) {
        if (sAxes[i].device == device && sAxes[i].axis == axis && sAxes[i].controller == controller)
            return &sAxes[i];
    }
    if (sAxisCount == static_cast<int>(sizeof(sAxes) / sizeof(sAxes[0])))
        return nullptr;
    sAxes[sAxisCount] = AxisState{device, axis, controller, kKeyNone};
    return &sAxes[sAxisCount++];
}

int keyFromAxis(SDL_JoystickID device, Uint8 axis, bool controller, Sint16 value, AxisKeys keys) {
    AxisState* state = axisState(device, axis, controller);
    if (!state)
        return kKeyNone;
    int wanted = value >= kAxisPress ? keys.positive : (value <= -kAxisPress ? keys.negative : kKeyNone);
    if (wanted == kKeyNone && state->key != kKeyNone && std::abs(static_cast<int>(value)) >= kAxisRelease)
        return kKeyNone; // between the two thresholds: no change
    if (wanted == state->key)
        return kKeyNone;
    endHold(state->key);
    state->key = wanted;
    return press(wanted);
}

AxisKeys controllerAxisKeys(Uint8 axis) {
    switch (axis) {
    case SDL_CONTROLLER_AXIS_LEFTX:
        return {kKeyLeft, kKeyRight};
    case SDL_CONTROLLER_AXIS_LEFTY:
        return {kKeyUp, kKeyDown};
    case SDL_CONTROLLER_AXIS_TRIGGERLEFT:
        return {kKeyNone, kKeyL2};
    case SDL_CONTROLLER_AXIS_TRIGGERRIGHT:
        return {kKeyNone, kKeyR2};
    default:
        return {kKeyNone, kKeyNone};
    }
}

AxisKeys rawAxisKeys(Uint8 axis) {
    if (axis == 0)
        return {kKeyLeft, kKeyRight};
    if (axis == 1)
        return {kKeyUp, kKeyDown};
    return {kKeyNone, kKeyNone};
}

// The hat each device last reported.
struct HatState {
    SDL_JoystickID device;
    int key;
};
HatState sHats[8];
int sHatCount = 0;

int keyFromHatMotion(SDL_JoystickID device, Uint8 value) {
    HatState* state = nullptr;
    for (int i = 0; i < sHatCount && !state; ++i) {
        if (sHats[i].device == device)
            state = &sHats[i];
    }
    if (!state) {
        if (sHatCount == static_cast<int>(sizeof(sHats) / sizeof(sHats[0])))
            return kKeyNone;
        state = &sHats[sHatCount++];
        *state = HatState{device, kKeyNone};
    }
    int key = keyFromHat(value);
    if (key == state->key)
        return kKeyNone;
    endHold(state->key);
    state->key = key;
    return press(key);
}

// A pad that goes away ends the directions it held, so that nothing repeats for ever.
void forgetDevice(SDL_JoystickID device) {
    for (int i = 0; i < sAxisCount; ++i) {
        if (sAxes[i].device == device) {
            endHold(sAxes[i].key);
            sAxes[i].key = kKeyNone;
        }
    }
    for (int i = 0; i < sHatCount; ++i) {
        if (sHats[i].device == device) {
            endHold(sHats[i].key);
            sHats[i].key = kKeyNone;
        }
    }
}

// Raw events of a pad that is open as a game controller come twice: once mapped, once
// raw. Only the mapped ones count.
bool isMappedPad(SDL_JoystickID device) {
    return SDL_WasInit(SDL_INIT_GAMECONTROLLER) && SDL_GameControllerFromInstanceID(device) != nullptr;
}

bool isOpenJoystick(int deviceIndex) {
    return SDL_JoystickFromInstanceID(SDL_JoystickGetDeviceInstanceID(deviceIndex)) != nullptr;
}

} // namespace

void zwStartGamepads() {
    // The program starts the joystick subsystem and opens the pads; the mapping of known
    // pads is the toolkit's affair. Starting it queues an added event for each known pad.
    if (SDL_WasInit(SDL_INIT_JOYSTICK) && !SDL_WasInit(SDL_INIT_GAMECONTROLLER))
        SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER);
}

int zwKeyFromEvent(const SDL_Event& event) {
    switch (event.type) {
    case SDL_KEYDOWN:
        // Repeats come from our own timing, for pads and keys alike.
        return event.key.repeat ? kKeyNone : press(keyFromKeyboard(event.key.keysym.sym));
    case SDL_KEYUP:
        return release(keyFromKeyboard(event.key.keysym.sym));
    case SDL_CONTROLLERBUTTONDOWN:
        return press(keyFromController(event.cbutton.button));
    case SDL_CONTROLLERBUTTONUP:
        return release(keyFromController(event.cbutton.button));
    case SDL_CONTROLLERAXISMOTION:
        return keyFromAxis(event.caxis.which, event.caxis.axis, true, event.caxis.value,
                           controllerAxisKeys(event.caxis.axis));
    case SDL_JOYBUTTONDOWN:
        return isMappedPad(event.jbutton.which) ? kKeyNone : press(keyFromRawButton(event.jbutton.button));
    case SDL_JOYBUTTONUP:
        return isMappedPad(event.jbutton.which) ? kKeyNone : release(keyFromRawButton(event.jbutton.button));
    case SDL_JOYHATMOTION:
        return isMappedPad(event.jhat.which) ? kKeyNone : keyFromHatMotion(event.jhat.which, event.jhat.value);
    case SDL_JOYAXISMOTION:
        return isMappedPad(event.jaxis.which)
                   ? kKeyNone
                   : keyFromAxis(event.jaxis.which, event.jaxis.axis, false, event.jaxis.value,
                                 rawAxisKeys(event.jaxis.axis));
    case SDL_CONTROLLERDEVICEADDED:
        if (!SDL_GameControllerFromInstanceID(SDL_JoystickGetDeviceInstanceID(event.cdevice.which)))
            SDL_GameControllerOpen(event.cdevice.which);
        return kKeyNone;
    case SDL_JOYDEVICEREMOVED:
        forgetDevice(event.jdevice.which);
        return kKeyNone;
    case SDL_WINDOWEVENT:
        // Keys released while the window had no focus never send their release.
        if (event.window.event == SDL_WINDOWEVENT_FOCUS_LOST)
            sHeldKey = kKeyNone;
        return kKeyNone;
    case SDL_JOYDEVICEADDED:
        // A pad plugged in while running: the program's initJoyStick opens the pads.
        if (!isOpenJoystick(event.jdevice.which))
            initJoyStick();
        return kKeyNone;
    default:
        return kKeyNone;
    }
}

int zwRepeatKey(Uint32 now, Sint32* waitMs) {
    if (sHeldKey == kKeyNone)
        return kKeyNone;
    Sint32 left = static_cast<Sint32>(sNextRepeat - now);
    if (left <= 0) {
        sNextRepeat = now + kRepeatIntervalMs;
        return sHeldKey;
    }
    if (left < *waitMs)
        *waitMs = left;
    return kKeyNone;
}
