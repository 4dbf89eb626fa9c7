// When the window loop shows a frame, counted by the toolkit's presents: a still library
// shows one only for a change, the now-playing screen keeps its rate (which also runs
// down a seek's hold, a frame at a time), and a suspended one keeps its last frame.
// Also two races of the library's loop: a folder event behind a key that opens a popup,
// and rows replaced under the loader.
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "playwindow/screen/music_play_window.h"

#include <ctime>

namespace {

using Clock = std::chrono::steady_clock;

// A key pressed and released, queued for the loop.
void queueKey(SDL_Keycode key) {
    pushEvent(SDL_KEYDOWN, key);
    pushEvent(SDL_KEYUP, key);
}

// The screen outside the status bar's clock.
std::vector<Uint32> screenWithoutClock() {
    std::vector<Uint32> pixels = readTargetPixels(0, 0, 1280, 720);
    for (int y = kClockArea.y; y < kClockArea.y + kClockArea.h; ++y)
        std::fill_n(pixels.begin() + y * 1280 + kClockArea.x, kClockArea.w, 0);
    return pixels;
}

// The library over "sub/" (two files) and t0 .. t9, its first frame shown.
class LoopFrames : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        makeEntries(library, {"sub/", "sub/a.mp3", "sub/b.mp3"});
        for (int i = 0; i < 10; ++i)
            writeFile(track(i), "");
        album = new MusicAlbumWindow(nullptr);
        frame(*album); // the test's thread is the window thread
        album->mMenu.LoadDir();
        gUIWindows.push_back(album);
        SDL_FlushEvents(SDL_FIRSTEVENT, SDL_LASTEVENT);
        tick();
        step();
    }
    // The frame the loop showed last has the pixels of the window, and of a popup over it,
    // drawn straight away.
    void expectLoopFrameAsDrawn(ZelmorWindow& window, ZelmorWindow* popup = nullptr) {
        std::vector<Uint32> shown = screenWithoutClock();
        frame(window);
        if (popup)
            popup->draw();
        EXPECT_TRUE(screenWithoutClock() == shown);
    }
    MusicAlbumWindow* album = nullptr;
};

} // namespace

TEST_F(LoopFrames, AStillLibraryShowsAFrameOnlyForAKeyOrNewRows) {
    // Clear of the clock's next minute, which is a change of its own.
    ASSERT_TRUE(waitUntil([] { return time(nullptr) % 60 < 55; }, 10000));
    tick();
    step(); // a minute that turned meanwhile shows its frame here
    int shown = zwFramesShown;
    auto start = Clock::now();
    SDL_TimerID timer = SDL_AddTimer(
        1000, [](Uint32, void*) -> Uint32 { return tick(), 0; }, nullptr);
    step();
    SDL_RemoveTimer(timer);
    EXPECT_GE(msSince(start), 990) << "nothing but the tick a second later ends the wait";
    EXPECT_EQ(zwFramesShown, shown) << "a tick that changes nothing shows nothing";

    press(SDLK_DOWN);
    EXPECT_EQ(zwFramesShown, shown + 1) << "the cursor moved";
    expectLoopFrameAsDrawn(*album);

    press(SDLK_UP);
    queueKey(SDLK_RETURN); // the folder row: its event, then the loader's rows
    shown = zwFramesShown;
    ASSERT_TRUE(waitUntil([&] {
        step();
        return album->mMenu.shownDir() == library + "/sub";
    }));
    if (SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0)
        step(); // the loader's wake-up, when its rows came in the pass before
    EXPECT_EQ(zwFramesShown, shown + 1);
}

TEST_F(LoopFrames, TheNowPlayingScreenKeepsItsRateAndWhileSuspendingItsLastFrame) {
    setStatus(track(0), "playing", 100, 300);
    auto* playing = new MusicPlayWindow(1, true, false);
    gUIWindows.push_back(playing);
    int shown = zwFramesShown;
    auto start = Clock::now();
    for (int i = 0; i < 30; ++i)
        step();
    EXPECT_EQ(zwFramesShown, shown + 30);
    EXPECT_GE(msSince(start), 29 * 16) << "60 frames a second, no more";
    expectLoopFrameAsDrawn(*playing);

    // Suspended, it paints nothing (PlayScreen.IdleAndSuspendedFramesEndEarly), and the
    // loop shows no frame: the screen keeps the last one.
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    shown = zwFramesShown;
    for (int i = 0; i < 5; ++i)
        step();
    EXPECT_EQ(zwFramesShown, shown);
}

// MENU queued right behind the confirm key on a folder row: the popup opens before the
// folder event is taken, and the folder is entered once the list waits again.
TEST_F(LoopFrames, ConfirmThenMenuInOneFrameStillEntersTheFolder) {
    queueKey(SDLK_RETURN);
    queueKey(SDLK_m);
    step();
    step();
    ASSERT_NE(dynamic_cast<PopUpWindow*>(gUIWindows.back()), nullptr);
    expectLoopFrameAsDrawn(*album, gUIWindows.back());
    queueKey(SDLK_ESCAPE);
    ASSERT_TRUE(runUntil([&] { return album->mMenu.shownDir() == library + "/sub"; }));
    EXPECT_EQ(gUIWindows.size(), 1u);
}

namespace {

// Publishes another folder on the loader's thread right after the loader has taken the
// row of the current track, before it moves the cursor there.
class RacedMenu : public MusicBrowserMenu {
public:
    using MusicBrowserMenu::MusicBrowserMenu;
    TextMenuItem* getItemByIndex(int index) override {
        TextMenuItem* row = MusicBrowserMenu::getItemByIndex(index);
        if (row && !raced && static_cast<MusicTextMenuItem*>(row)->mItemPath == target) {
            raced = true;
            enterFolder(other, std::string());
        }
        return row;
    }
    std::string target, other;
    bool raced = false;
};

} // namespace

TEST_F(LoopFrames, AFolderPublishedBeforeTheLoaderMovesTheCursorKeepsItsOwnCursor) {
    setStatus(track(8), "playing");
    RacedMenu menu(nullptr);
    menu.draw(); // the test's thread is the window thread
    menu.target = track(8);
    menu.other = library + "/sub";
    std::thread(prepare_file_browser_thread, &menu).join();
    ASSERT_TRUE(menu.raced);
    EXPECT_EQ(menu.shownDir(), library + "/sub");
    EXPECT_EQ(menu.mSelected, 0) << "the track's index was one of the other folder's rows";
}
