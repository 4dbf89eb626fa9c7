// The window loop's results, the wait for input, key mapping, the shared key table and
// the language table.
#include "base/user_events.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "shmvar.h"

#include <chrono>
#include <cstdlib>

extern int gZwLanguage;

namespace {

struct ScriptedWindow : ZelmorWindow {
    ScriptedWindow(int kind, std::vector<int> results, int* deleted, int* refreshed)
        : ZelmorWindow(8, kind), mResults(std::move(results)), mDeleted(deleted), mRefreshed(refreshed) {}
    ~ScriptedWindow() override { ++*mDeleted; }
    int eventHandling() override {
        if (mNext >= mResults.size())
            return 0;
        return mResults[mNext++];
    }
    void refresh() override { ++*mRefreshed; }
    std::vector<int> mResults;
    size_t mNext = 0;
    int* mDeleted;
    int* mRefreshed;
};

SDL_Event keyDown(SDL_Keycode key) {
    SDL_Event event;
    SDL_zero(event);
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = key;
    return event;
}

SDL_Event buttonDown(Uint8 button) {
    SDL_Event event;
    SDL_zero(event);
    event.type = SDL_CONTROLLERBUTTONDOWN;
    event.cbutton.button = button;
    return event;
}

long elapsedMs(std::chrono::steady_clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count());
}

} // namespace

TEST_F(ScreenTest, LoopResults) {
    int deleted = 0, refreshed = 0;
    std::vector<ZelmorWindow*> windows;
    windows.push_back(new ScriptedWindow(0, {}, &deleted, &refreshed));
    std::vector<int> results;
    for (int key = 1; key <= 15; ++key)
        results.push_back(key);
    results.push_back(kWinResultPopup);
    results.push_back(kWinResultClose);
    windows.push_back(new ScriptedWindow(1, results, &deleted, &refreshed));
    for (int key = 1; key <= 15; ++key) {
        EXPECT_EQ(runWindowsStep(windows), key);
        EXPECT_EQ(windows.size(), 2u) << "result " << key << " changes nothing";
    }
    // A popup queued during the step comes up on the popup result.
    add2PopupList(new ScriptedWindow(-1, {kWinResultClose}, &deleted, &refreshed));
    EXPECT_EQ(runWindowsStep(windows), kWinResultPopup);
    ASSERT_EQ(windows.size(), 3u);
    EXPECT_EQ(windows.back()->mKind, -1);
    // The popup closes: deleted, and the window under it is refreshed.
    EXPECT_EQ(runWindowsStep(windows), kWinResultClose);
    EXPECT_EQ(windows.size(), 2u);
    EXPECT_EQ(deleted, 1);
    EXPECT_EQ(refreshed, 1);
    EXPECT_EQ(runWindowsStep(windows), kWinResultClose);
    EXPECT_EQ(windows.size(), 1u);
    EXPECT_EQ(deleted, 2);

    windows.push_back(new ScriptedWindow(1, {kWinResultQuit}, &deleted, &refreshed));
    runWindows(windows);
    // Quit leaves the loop without closing a window; the loop then deletes those left.
    EXPECT_EQ(refreshed, 2) << "no refresh: nothing was closed";
    EXPECT_TRUE(windows.empty());
    EXPECT_EQ(deleted, 4);
}

TEST_F(ScreenTest, WaitEndsOnTickAndKeysAndKeepsTheFrameRate) {
    setZelmorWindowFps(1, 1);
    wait_event(nullptr); // start a frame
    SDL_Event tick;
    SDL_zero(tick);
    tick.type = SDL_USEREVENT;
    tick.user.code = USER_EVENT_STATUS_TICK;
    SDL_PushEvent(&tick);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait_event(nullptr), kKeyNone);
    EXPECT_LT(elapsedMs(start), 500) << "the status tick ends the wait";

    SDL_Event key = keyDown(SDLK_RETURN);
    SDL_PushEvent(&key);
    EXPECT_EQ(wait_event(nullptr), kKeyPrimary);
    SDL_Event up = key;
    up.type = SDL_KEYUP;
    SDL_PushEvent(&up);

    setZelmorWindowFps(60, 60);
    wait_event(nullptr);
    start = std::chrono::steady_clock::now();
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ(wait_event(nullptr), kKeyNone);
    double period = elapsedMs(start) / 30.0;
    EXPECT_GT(period, 12.0);
    EXPECT_LT(period, 100.0) << "the loop keeps to the frame rate, within what a loaded machine allows";
}

TEST_F(ScreenTest, HeldDirectionRepeats) {
    setZelmorWindowFps(60, 60);
    SDL_Event down = keyDown(SDLK_DOWN);
    SDL_PushEvent(&down);
    EXPECT_EQ(wait_event(nullptr), kKeyDown);
    auto start = std::chrono::steady_clock::now();
    int repeats = 0;
    while (elapsedMs(start) < 700)
        repeats += wait_event(nullptr) == kKeyDown;
    // After ~400 ms, one every ~80 ms: about 3 to 4 in 700 ms.
    EXPECT_GE(repeats, 2);
    EXPECT_LE(repeats, 6);
    SDL_Event up = down;
    up.type = SDL_KEYUP;
    SDL_PushEvent(&up);
    wait_event(nullptr);
    start = std::chrono::steady_clock::now();
    repeats = 0;
    while (elapsedMs(start) < 300)
        repeats += wait_event(nullptr) == kKeyDown;
    EXPECT_EQ(repeats, 0);
}

TEST(KeyMapping, KeyboardAndController) {
    const std::pair<SDL_Keycode, int> keys[] = {{SDLK_UP, kKeyUp},
                                                {SDLK_DOWN, kKeyDown},
                                                {SDLK_LEFT, kKeyLeft},
                                                {SDLK_RIGHT, kKeyRight},
                                                {SDLK_RETURN, kKeyPrimary},
                                                {SDLK_ESCAPE, kKeySecondary},
                                                {SDLK_BACKSPACE, kKeySecondary},
                                                {SDLK_x, kKeyX},
                                                {SDLK_y, kKeyY},
                                                {SDLK_SPACE, kKeyStart},
                                                {SDLK_TAB, kKeySelect},
                                                {SDLK_m, kKeyMenu},
                                                {SDLK_q, kKeyL},
                                                {SDLK_w, kKeyR},
                                                {SDLK_1, kKeyL2},
                                                {SDLK_2, kKeyR2},
                                                {SDLK_z, kKeyNone}};
    for (auto [key, code] : keys) {
        EXPECT_EQ(zwKeyFromEvent(keyDown(key)), code) << SDL_GetKeyName(key);
        SDL_Event up = keyDown(key);
        up.type = SDL_KEYUP;
        zwKeyFromEvent(up);
    }
    const std::pair<Uint8, int> buttons[] = {{SDL_CONTROLLER_BUTTON_A, kKeyPrimary},
                                             {SDL_CONTROLLER_BUTTON_B, kKeySecondary},
                                             {SDL_CONTROLLER_BUTTON_X, kKeyX},
                                             {SDL_CONTROLLER_BUTTON_Y, kKeyY},
                                             {SDL_CONTROLLER_BUTTON_DPAD_UP, kKeyUp},
                                             {SDL_CONTROLLER_BUTTON_DPAD_LEFT, kKeyLeft},
                                             {SDL_CONTROLLER_BUTTON_START, kKeyStart},
                                             {SDL_CONTROLLER_BUTTON_BACK, kKeySelect},
                                             {SDL_CONTROLLER_BUTTON_GUIDE, kKeyMenu},
                                             {SDL_CONTROLLER_BUTTON_LEFTSHOULDER, kKeyL},
                                             {SDL_CONTROLLER_BUTTON_RIGHTSHOULDER, kKeyR}};
    for (auto [button, code] : buttons) {
        SDL_Event event = buttonDown(button);
        EXPECT_EQ(zwKeyFromEvent(event), code) << static_cast<int>(button);
        event.type = SDL_CONTROLLERBUTTONUP;
        zwKeyFromEvent(event); // a held direction would go on repeating into later tests
    }
    SDL_Event trigger;
    SDL_zero(trigger);
    trigger.type = SDL_CONTROLLERAXISMOTION;
    trigger.caxis.axis = SDL_CONTROLLER_AXIS_TRIGGERRIGHT;
    trigger.caxis.value = 30000;
    EXPECT_EQ(zwKeyFromEvent(trigger), kKeyR2);
    EXPECT_EQ(zwKeyFromEvent(trigger), kKeyNone) << "a held trigger is one press";
    trigger.caxis.value = 0;
    zwKeyFromEvent(trigger);
}

TEST(SharedKeys, AnotherProcessSetsTheSwapKey) {
    ASSERT_EQ(InitKeyShm(&gShmInfo), 0);
    ASSERT_EQ(system(MP_SHMKEY_BINARY " set 19 1"), 0);
    EXPECT_EQ(GetKeyShm(&gShmInfo, kShmKeySwapButtons), 1);
    ASSERT_EQ(system(MP_SHMKEY_BINARY " set 19 0"), 0);
    EXPECT_EQ(GetKeyShm(&gShmInfo, kShmKeySwapButtons), 0);
    EXPECT_EQ(GetKeyShm(&gShmInfo, 999), 0);
}


namespace {

// The next key that wait_event reports within the deadline, or kKeyNone.
int nextKey(int timeoutMs = 5000) {
    auto start = std::chrono::steady_clock::now();
    while (elapsedMs(start) < timeoutMs) {
        int key = wait_event(nullptr);
        if (key != kKeyNone)
            return key;
    }
    return kKeyNone;
}

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
};

} // namespace

TEST_F(GamepadTest, AKnownPadGivesEachKeyOnceThroughItsMapping) {
    SDL_Joystick* pad = attach(SDL_JOYSTICK_TYPE_GAMECONTROLLER);
    ASSERT_NE(pad, nullptr);
    ASSERT_TRUE(SDL_IsGameController(0));
    const std::pair<int, int> buttons[] = {{SDL_CONTROLLER_BUTTON_A, kKeyPrimary},
                                           {SDL_CONTROLLER_BUTTON_B, kKeySecondary},
                                           {SDL_CONTROLLER_BUTTON_START, kKeyStart},
                                           {SDL_CONTROLLER_BUTTON_BACK, kKeySelect},
                                           {SDL_CONTROLLER_BUTTON_GUIDE, kKeyMenu},
                                           {SDL_CONTROLLER_BUTTON_LEFTSHOULDER, kKeyL}};
    for (auto [button, key] : buttons) {
        SDL_JoystickSetVirtualButton(pad, button, SDL_PRESSED);
        EXPECT_EQ(nextKey(), key) << "button " << button;
        SDL_JoystickSetVirtualButton(pad, button, SDL_RELEASED);
        EXPECT_EQ(nextKey(150), kKeyNone) << "the raw event of a mapped pad is not a second press";
    }
    // The right trigger pulled past half way is R2; the left stick pushed down is down,
    // and repeats while held, like a held key.
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 30000);
    EXPECT_EQ(nextKey(), kKeyR2);
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 0);
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_LEFTY, 32000);
    EXPECT_EQ(nextKey(), kKeyDown);
    EXPECT_EQ(nextKey(), kKeyDown) << "the held stick repeats";
    SDL_JoystickSetVirtualAxis(pad, SDL_CONTROLLER_AXIS_LEFTY, 0);
    EXPECT_EQ(nextKey(600), kKeyNone) << "released: the repeat stops";
}

TEST_F(GamepadTest, AnUnknownPadGivesKeysFromButtonsHatAndAxes) {
    SDL_Joystick* pad = attach(SDL_JOYSTICK_TYPE_UNKNOWN);
    ASSERT_NE(pad, nullptr);
    ASSERT_FALSE(SDL_IsGameController(0));
    const std::pair<int, int> buttons[] = {{0, kKeyPrimary}, {1, kKeySecondary}, {6, kKeySelect},
                                           {7, kKeyStart},   {8, kKeyMenu},      {10, kKeyR2}};
    for (auto [button, key] : buttons) {
        SDL_JoystickSetVirtualButton(pad, button, SDL_PRESSED);
        EXPECT_EQ(nextKey(), key) << "button " << button;
        SDL_JoystickSetVirtualButton(pad, button, SDL_RELEASED);
    }
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

TEST_F(ScreenTest, ClosingTheDesktopWindowEndsTheLoop) {
    struct Waiting : ZelmorWindow {
        explicit Waiting(int* results) : ZelmorWindow(8, 1), mResults(results) {}
        int eventHandling() override {
            int result = wait_event(nullptr);
            mResults[result == kKeyNone ? 0 : 1]++;
            return result;
        }
        int* mResults;
    };
    int results[2] = {0, 0};
    std::vector<ZelmorWindow*> windows = {new Waiting(results)};
    SDL_Event quit;
    SDL_zero(quit);
    quit.type = SDL_QUIT;
    SDL_PushEvent(&quit);
    runWindows(windows); // returns, rather than waiting for ever
    EXPECT_EQ(results[1], 0) << "the window saw no key: closing is not the back key";
    EXPECT_TRUE(windows.empty());
}
