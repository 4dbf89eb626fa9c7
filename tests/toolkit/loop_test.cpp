// The wait for input, the shared key table, and gamepads through SDL's virtual joystick.
// The loop's results are exercised by every screen test that steps the real loop, its
// frame rate by the library's loop frames test, and closing the window by the lifecycle
// tests, which end the program with SIGTERM.
#include "push_event.h"
#include "screen_fixture.h"
#include "shmvar.h"
#include "wait_until.h"

#include <cstdlib>

namespace {

// The next key that wait_event reports within the deadline, or kKeyNone.
int nextKey(int timeoutMs = 5000) {
    int key = kKeyNone;
    waitUntil([&] { return (key = wait_event(nullptr)) != kKeyNone; }, timeoutMs);
    return key;
}

} // namespace

// The keyboard aliases that no screen test presses are checked here on the way.
TEST_F(ScreenTest, WaitEndsOnTickAndKeys) {
    setZelmorWindowFps(1, 1);
    wait_event(nullptr); // start a frame
    pushEvent(SDL_USEREVENT);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait_event(nullptr), kKeyNone);
    EXPECT_LT(msSince(start), 500) << "the status tick ends the wait of a one-second frame";
    for (auto [key, code] : {std::pair{SDLK_RETURN, kKeyPrimary},
                             {SDLK_BACKSPACE, kKeySecondary},
                             {SDLK_1, kKeyL2},
                             {SDLK_y, kKeyY}}) {
        pushEvent(SDL_KEYDOWN, key);
        EXPECT_EQ(wait_event(nullptr), code) << SDL_GetKeyName(key);
        pushEvent(SDL_KEYUP, key);
    }
}

TEST(SharedKeys, AnotherProcessSetsTheSwapKey) {
    ASSERT_EQ(InitKeyShm(&gShmInfo), 0);
    for (int value : {1, 0}) {
        ASSERT_EQ(system((MP_SHMKEY_BINARY " set 19 " + std::to_string(value)).c_str()), 0);
        EXPECT_EQ(GetKeyShm(&gShmInfo, kShmKeySwapButtons), value);
    }
    EXPECT_EQ(GetKeyShm(&gShmInfo, 999), 0);
}

namespace {

// Pads made by SDL's virtual joystick driver: their state changes reach the program as
// the same events a real pad makes.
class GamepadTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 0);
        ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_JOYSTICK | SDL_INIT_TIMER), 0);
        setZelmorWindowFps(60, 60);
    }
    void TearDown() override { SDL_Quit(); }
    // Attaches a pad and lets the program open it as it does at start-up.
    SDL_Joystick* attach(SDL_JoystickType type) {
        int index = SDL_JoystickAttachVirtual(type, 6, 15, 1);
        EXPECT_GE(index, 0) << SDL_GetError();
        testing::internal::CaptureStderr();
        initJoyStick();
        testing::internal::GetCapturedStderr();
        wait_event(nullptr); // the toolkit starts the controller mapping and opens known pads
        wait_event(nullptr);
        return SDL_JoystickFromInstanceID(SDL_JoystickGetDeviceInstanceID(index));
    }
    // Each button pressed gives its key once; released, nothing more.
    void expectButtons(SDL_Joystick* pad, const std::vector<std::pair<int, int>>& buttons) {
        for (auto [button, key] : buttons) {
            SDL_JoystickSetVirtualButton(pad, button, SDL_PRESSED);
            EXPECT_EQ(nextKey(), key) << "button " << button;
            SDL_JoystickSetVirtualButton(pad, button, SDL_RELEASED);
            EXPECT_EQ(nextKey(150), kKeyNone) << "button " << button << ": one press";
        }
    }
};

} // namespace

TEST_F(GamepadTest, AKnownPadGivesEachKeyOnceThroughItsMapping) {
    SDL_Joystick* pad = attach(SDL_JOYSTICK_TYPE_GAMECONTROLLER);
    ASSERT_TRUE(pad && SDL_IsGameController(0));
    expectButtons(pad, {{SDL_CONTROLLER_BUTTON_A, kKeyPrimary},
                        {SDL_CONTROLLER_BUTTON_B, kKeySecondary},
                        {SDL_CONTROLLER_BUTTON_START, kKeyStart},
                        {SDL_CONTROLLER_BUTTON_BACK, kKeySelect},
                        {SDL_CONTROLLER_BUTTON_GUIDE, kKeyMenu},
                        {SDL_CONTROLLER_BUTTON_LEFTSHOULDER, kKeyL}});
    // The right trigger pulled past half way is R2, once while held; the left stick
    // pushed down is down, and repeats while held, like a held key.
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 30000);
    EXPECT_EQ(nextKey(), kKeyR2);
    EXPECT_EQ(nextKey(600), kKeyNone) << "a held trigger is one press";
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 0);
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_LEFTY, 32000);
    EXPECT_EQ(nextKey(), kKeyDown);
    EXPECT_EQ(nextKey(), kKeyDown) << "the held stick repeats";
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_LEFTY, 0);
    EXPECT_EQ(nextKey(600), kKeyNone) << "released: the repeat stops";
}

TEST_F(GamepadTest, AnUnknownPadGivesKeysFromButtonsHatAndAxes) {
    SDL_Joystick* pad = attach(SDL_JOYSTICK_TYPE_UNKNOWN);
    ASSERT_TRUE(pad && !SDL_IsGameController(0));
    expectButtons(
        pad,
        {{0, kKeyPrimary}, {1, kKeySecondary}, {6, kKeySelect}, {7, kKeyStart}, {8, kKeyMenu}, {10, kKeyR2}});
    SDL_JoystickSetVirtualHat(pad, 0, SDL_HAT_LEFT);
    EXPECT_EQ(nextKey(), kKeyLeft);
    EXPECT_EQ(nextKey(), kKeyLeft) << "the held hat repeats";
    SDL_JoystickSetVirtualHat(pad, 0, SDL_HAT_CENTERED);
    SDL_JoystickSetVirtualAxis(pad, 0, 20000);
    EXPECT_EQ(nextKey(), kKeyRight);
    SDL_JoystickSetVirtualAxis(pad, 0, 12000); // between the thresholds: still held, no new press
    SDL_JoystickSetVirtualAxis(pad, 0, 0);
    SDL_JoystickSetVirtualAxis(pad, 1, -20000);
    EXPECT_EQ(nextKey(), kKeyUp);
    // Unplugged while held: the direction does not repeat on.
    SDL_JoystickDetachVirtual(0);
    EXPECT_EQ(nextKey(1000), kKeyNone);
}
