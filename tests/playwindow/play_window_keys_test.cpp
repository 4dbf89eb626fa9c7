// The keys of the now-playing screen against the service double: debounced seeking on
// SDL's timer thread, volume steps, the play mode cycle, toggling, leaving, the popup
// menu, and the keys that a paused track or a suspended system ignores.
#include "player_fixture.h"
#include "playwindow/screen/music_play_window.h"
#include "shmvar.h"

namespace {

using Clock = std::chrono::steady_clock;

// The screen over a stand-in of the library, a track at 100 s of 300 playing.
class PlayKeys : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        setStatus("/m/song.flac", "playing", 100, 300);
        mWindow = new MusicPlayWindow(1, true, false);
        gUIWindows = {new BaseScreen, mWindow};
    }
    int press(SDL_Keycode key) { return PlayerTest::press(key, mWindow); }
    static void swapKeys() {
        InitKeyShm(&gShmInfo);
        SetKeyShm(&gShmInfo, kShmKeySwapButtons, 1);
    }
    MusicPlayWindow* mWindow = nullptr;
};

} // namespace

TEST_F(PlayKeys, PressesWithin200msSendOneSeekForTheWholeRun) {
    const auto start = Clock::now();
    for (int i = 0; i < 3; ++i)
        press(SDLK_RIGHT);
    const long run = msSince(start);
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), 115);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 1; })) << "the seek never went out";
    if (run >= 200)
        GTEST_SKIP() << "the machine stretched the run of presses to " << run << " ms";
    EXPECT_EQ(sent("seek", "ms"), Words{"115000"});
}

TEST_F(PlayKeys, PressesFurtherApartSendASeekEachClampedToTheTrack) {
    auto first = Clock::now();
    press(SDLK_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 1 && msSince(first) >= 250; }));
    press(SDLK_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 2; }));
    EXPECT_EQ(sMusicPlayingStatus.seekHold.load(), 30) << "the hold starts again when the seek goes out";

    // {position, key, target}: clamped to the track.
    for (auto [position, key, target] : {std::tuple{3, SDLK_LEFT, 0}, {298, SDLK_RIGHT, 300}}) {
        sMusicPlayingStatus.seekTarget.store(-1);
        setStatus("/m/song.flac", "playing", position, 300);
        press(key);
        EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), target);
    }
    // Each of the first two builds on the pending target; then one seek per direction,
    // each with the target that stands when its timer fires.
    ASSERT_TRUE(waitUntil([&] { return count("seek") >= 4; }));
    EXPECT_EQ(sent("seek", "ms"), (Words{"105000", "110000", "300000", "300000"}));
}

TEST_F(PlayKeys, VolumeStepsByTenWithoutSendingSilenceAndXCyclesThePlayMode) {
    const int cases[][3] = {{55, SDLK_UP, 60}, {100, SDLK_UP, 100}, {10, SDLK_DOWN, 0}, {0, SDLK_DOWN, 0}};
    for (const auto& c : cases) {
        gMusicVolume = c[0];
        press(c[1]);
        EXPECT_EQ(gMusicVolume, c[2]) << c[0];
    }
    EXPECT_EQ(sent("set_volume", "volume"), (Words{"60", "100", "1", "1"}));
    // Sequence, random, repeat one; a mode that is no number sends nothing.
    for (std::string mode : {"0", "1", "2", "\"1\""}) {
        service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": " + mode + "}"});
        press(SDLK_x);
    }
    EXPECT_EQ(sent("set_play_mode", "mode"), (Words{"1", "2", "0"}));
}

// Start and confirm toggle by the status, with the stay-alive marker; back and select
// close over the library, and back alone ends the application. Key 19 swaps the roles
// of confirm and back.
TEST_F(PlayKeys, TogglingLeavingAndTheSwappedKeys) {
    EXPECT_EQ(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "written on entry";
    EXPECT_EQ(press(SDLK_SPACE), 0);
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0);
    setStatus("/m/song.flac", "paused", 100, 300);
    EXPECT_EQ(press(SDLK_RETURN), 0);
    EXPECT_EQ(access(MP_STAY_ALIVE_FILE, F_OK), 0);

    EXPECT_EQ(press(SDLK_ESCAPE), kWinResultClose);
    EXPECT_EQ(press(SDLK_TAB), kWinResultClose);
    // Shown through the popup list: the screen alone on the stack, or no stack at all.
    ZelmorWindow* library = gUIWindows.front();
    gUIWindows.erase(gUIWindows.begin());
    EXPECT_EQ(press(SDLK_TAB), 0) << "select never ends the application";
    EXPECT_EQ(press(SDLK_ESCAPE), kWinResultQuit);
    std::vector<ZelmorWindow*> stack;
    std::swap(stack, gUIWindows);
    EXPECT_EQ(press(SDLK_ESCAPE), kWinResultQuit);
    gUIWindows = {library, stack.back()};

    swapKeys();
    EXPECT_EQ(press(SDLK_RETURN), kWinResultClose);
    EXPECT_EQ(press(SDLK_ESCAPE), 0);
    EXPECT_EQ(sent(), (Words{"pause", "resume", "resume"})) << "leaving sends nothing";
}

TEST_F(PlayKeys, PausedTrackIgnoresSeekingAndSuspendedSystemLeaveMenuAndVolume) {
    setStatus("/m/song.flac", "paused", 100, 300);
    press(SDLK_RIGHT);
    press(SDLK_LEFT);
    EXPECT_TRUE(mWindow->mForwardTimer == 0 && mWindow->mBackwardTimer == 0)
        << "so nothing can be sent later";
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1);

    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    for (SDL_Keycode key : {SDLK_ESCAPE, SDLK_TAB, SDLK_m, SDLK_UP, SDLK_DOWN})
        EXPECT_EQ(press(key), 0) << SDL_GetKeyName(key);
    swapKeys();
    EXPECT_EQ(press(SDLK_RETURN), 0) << "the swapped leave key too";
    EXPECT_EQ(gUIWindows.size(), 2u) << "no popup";
    // Toggle, previous and next stay live; the last two reset the time labels.
    mWindow->mPosition = 40;
    mWindow->mDuration = 200;
    for (SDL_Keycode key : {SDLK_SPACE, SDLK_q, SDLK_w})
        press(key);
    EXPECT_TRUE(mWindow->mPosition == 0 && mWindow->mDuration == 0);
    EXPECT_EQ(sent(), (Words{"resume", "previous", "next"}));
}

TEST_F(PlayKeys, MenuKeyOpensThePopupWhosePlayPauseRowTogglesThisScreensTrack) {
    // The third of five rows is play and pause; the track plays, so it pauses it. (Keys
    // that reached this screen instead would send volume steps.)
    EXPECT_EQ(press(SDLK_m), 0);
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_DOWN, SDLK_RETURN})
        PlayerTest::press(key);
    EXPECT_EQ(gUIWindows.size(), 2u);
    EXPECT_EQ(sent(), Words{"pause"});
}
