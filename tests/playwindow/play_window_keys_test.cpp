// The keys of the now-playing screen against the service double: debounced seeking on
// SDL's timer thread, volume steps, the play mode cycle, toggling, leaving, and the
// keys that a suspended system ignores.
#include "play_window_fixture.h"

#include <algorithm>
#include <chrono>
#include <unistd.h>

using namespace pw;

namespace {

using Clock = std::chrono::steady_clock;

long msSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

class PlayKeys : public PlayWindowTest {
protected:
    void SetUp() override {
        PlayWindowTest::SetUp();
        setStatus("playing", "/m/song.flac", 100, 300);
    }
};

} // namespace

TEST_F(PlayKeys, PressesWithin200msSendOneSeekForTheWholeRun) {
    MusicPlayWindow window(1, true, false);
    long longestGap = 0;
    auto last = Clock::now();
    for (int i = 0; i < 3; ++i) {
        if (i > 0)
            longestGap = std::max(longestGap, msSince(last));
        last = Clock::now();
        press(window, SDLK_RIGHT);
    }
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), 115);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 1; })) << "the seek never went out";
    if (longestGap >= 200)
        GTEST_SKIP() << "the machine stretched a gap between presses to " << longestGap
                     << " ms, so more than one seek is correct here";
    EXPECT_EQ(numbers("seek", "ms"), std::vector<int>{115000});
}

TEST_F(PlayKeys, PressesFurtherApartSendASeekEach) {
    MusicPlayWindow window(1, true, false);
    auto first = Clock::now();
    press(window, SDLK_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 1 && msSince(first) >= 250; }));
    press(window, SDLK_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 2; }));
    EXPECT_EQ(numbers("seek", "ms"), (std::vector<int>{105000, 110000}))
        << "the second press builds on the pending target";
    EXPECT_EQ(sMusicPlayingStatus.seekHold.load(), 30) << "the hold starts again when the seek goes out";
}

TEST_F(PlayKeys, SeekTargetsClampToTheTrackAndBackwardGoesBack) {
    MusicPlayWindow window(1, true, false);
    setStatus("playing", "/m/song.flac", 3, 300);
    press(window, SDLK_LEFT);
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), 0);
    sMusicPlayingStatus.seekTarget.store(-1);
    setStatus("playing", "/m/song.flac", 298, 300);
    press(window, SDLK_RIGHT);
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), 300);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 2; })) << "one seek per direction";
    EXPECT_EQ(numbers("seek", "ms"), (std::vector<int>{300000, 300000}));
}

TEST_F(PlayKeys, SeekWhilePausedDoesNothing) {
    setStatus("paused", "/m/song.flac", 100, 300);
    MusicPlayWindow window(1, true, false);
    press(window, SDLK_RIGHT);
    press(window, SDLK_LEFT);
    EXPECT_EQ(window.mForwardTimer, 0);
    EXPECT_EQ(window.mBackwardTimer, 0) << "no timer, so nothing can be sent later";
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1);
}

TEST_F(PlayKeys, VolumeStepsByTenAndNeverSendsSilence) {
    MusicPlayWindow window(1, true, false);
    gMusicVolume = 55;
    press(window, SDLK_UP);
    EXPECT_EQ(gMusicVolume, 60);
    gMusicVolume = 100;
    press(window, SDLK_UP);
    EXPECT_EQ(gMusicVolume, 100);
    gMusicVolume = 10;
    press(window, SDLK_DOWN);
    EXPECT_EQ(gMusicVolume, 0);
    press(window, SDLK_DOWN);
    EXPECT_EQ(gMusicVolume, 0);
    ASSERT_TRUE(waitUntil([&] { return count("set_volume") >= 4; }));
    EXPECT_EQ(numbers("set_volume", "volume"), (std::vector<int>{60, 100, 1, 1}));
}

TEST_F(PlayKeys, PlayModeCyclesSequenceRandomRepeatOne) {
    MusicPlayWindow window(1, true, false);
    for (int mode : {0, 1, 2}) {
        service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": " + std::to_string(mode) + "}"});
        press(window, SDLK_x);
    }
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": \"1\"}"});
    press(window, SDLK_x);
    ASSERT_TRUE(waitUntil([&] { return count("set_play_mode") >= 3 && count("get_play_mode") >= 4; }));
    EXPECT_EQ(numbers("set_play_mode", "mode"), (std::vector<int>{1, 2, 0})) << "a mode that is no number sends nothing";
}

TEST_F(PlayKeys, ToggleFollowsTheStatusAndTheMarker) {
    MusicPlayWindow window(1, true, false);
    EXPECT_EQ(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "written on entry";
    EXPECT_EQ(press(window, SDLK_SPACE), 0);
    ASSERT_TRUE(waitUntil([&] { return count("pause") == 1; }));
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0);
    EXPECT_FALSE(window.mPlaying);
    setStatus("paused", "/m/song.flac", 100, 300);
    EXPECT_EQ(press(window, SDLK_RETURN), 0);
    ASSERT_TRUE(waitUntil([&] { return count("resume") == 1; }));
    EXPECT_EQ(access(MP_STAY_ALIVE_FILE, F_OK), 0);
}

TEST_F(PlayKeys, LeavingClosesOverTheLibraryAndQuitsAlone) {
    MusicPlayWindow window(1, true, false);
    gUIWindows = {&library, &window};
    EXPECT_EQ(press(window, SDLK_ESCAPE), kWinResultClose);
    EXPECT_EQ(press(window, SDLK_TAB), kWinResultClose);
    // Shown through the popup list: the play window alone on the stack.
    gUIWindows = {&window};
    EXPECT_EQ(press(window, SDLK_TAB), 0) << "select never ends the application";
    EXPECT_EQ(press(window, SDLK_ESCAPE), kWinResultQuit);
    gUIWindows.clear();
    EXPECT_EQ(press(window, SDLK_ESCAPE), kWinResultQuit);
    EXPECT_EQ(count("pause") + count("resume"), 0u) << "leaving sends nothing";

    // Key 19 swaps the roles: confirm leaves, back toggles.
    SetKeyShm(&gShmInfo, kShmKeySwapButtons, 1);
    gUIWindows = {&library, &window};
    EXPECT_EQ(press(window, SDLK_RETURN), kWinResultClose);
    EXPECT_EQ(press(window, SDLK_ESCAPE), 0);
    ASSERT_TRUE(waitUntil([&] { return count("pause") == 1; }));
}

TEST_F(PlayKeys, SuspendedSystemIgnoresLeaveMenuAndVolume) {
    MusicPlayWindow window(1, true, false);
    gUIWindows = {&library, &window};
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    gMusicVolume = 50;
    for (SDL_Keycode key : {SDLK_ESCAPE, SDLK_TAB, SDLK_m, SDLK_UP, SDLK_DOWN})
        EXPECT_EQ(press(window, key), 0) << SDL_GetKeyName(key);
    SetKeyShm(&gShmInfo, kShmKeySwapButtons, 1);
    EXPECT_EQ(press(window, SDLK_RETURN), 0) << "the swapped leave key too";
    EXPECT_EQ(gMusicVolume, 50);
    // Toggle, previous and next stay live.
    press(window, SDLK_SPACE);
    press(window, SDLK_q);
    press(window, SDLK_w);
    ASSERT_TRUE(waitUntil([&] { return service.commands().size() >= 3; }));
    auto sent = service.commands();
    std::sort(sent.begin(), sent.end());
    EXPECT_EQ(sent, (std::vector<std::string>{"next", "pause", "previous"}));
}

TEST_F(PlayKeys, PreviousAndNextResetTheTimeLabels) {
    MusicPlayWindow window(1, true, false);
    window.mPosition = 40;
    window.mDuration = 200;
    press(window, SDLK_w);
    EXPECT_EQ(window.mPosition, 0);
    EXPECT_EQ(window.mDuration, 0);
    ASSERT_TRUE(waitUntil([&] { return count("next") == 1; }));
}

TEST_F(PlayKeys, MenuKeyOpensThePopupWhosePlayPauseRowTogglesThisScreensTrack) {
    MusicPlayWindow window(1, true, false);
    gUIWindows = {&library, &window};
    gWinList = &gUIWindows;
    EXPECT_EQ(press(window, SDLK_m), 0);
    ASSERT_EQ(gUIWindows.size(), 3u);
    ZelmorWindow* popup = gUIWindows.back();
    EXPECT_TRUE(popup->isFloating());
    // The third of five rows is play and pause; the track plays, so it pauses it.
    int result = 0;
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_DOWN, SDLK_RETURN}) {
        SDL_Event down = {};
        down.type = SDL_KEYDOWN;
        down.key.keysym.sym = key;
        SDL_PushEvent(&down);
        ASSERT_TRUE(waitUntil([&] { return (result = popup->eventHandling()) != 0 || key != SDLK_RETURN; }));
        down.type = SDL_KEYUP;
        SDL_PushEvent(&down);
    }
    EXPECT_EQ(result, kWinResultClose);
    ASSERT_TRUE(waitUntil([&] { return count("pause") == 1; }));
    delete popup;
    gUIWindows.pop_back();
    gWinList = nullptr;
}
