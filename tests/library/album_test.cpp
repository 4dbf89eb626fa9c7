// The library screen's keys through the real window loop: transport, the ways up to the
// now-playing screen and back, refocusing, the popup menu, the quit dialog, suspend.
#include "library/music_album_window.h"
#include "service/actions/quit_action.h"
#include "player_fixture.h"

namespace {

class AlbumTest : public PlayerTest {
protected:
    // A library of tracks t0 .. t29 (and whatever else is there), loaded, with the album
    // alone on the stack.
    void SetUp() override {
        PlayerTest::SetUp();
        for (int i = 0; i < 30; ++i)
            writeFile(track(i), "");
        album = new MusicAlbumWindow(nullptr);
        album->mMenu.LoadDir();
        gUIWindows.push_back(album);
    }
    bool playWindowOnTop() { return gUIWindows.size() == 2 && gUIWindows.back()->mKind == 1; }
    // Selected, first and last row of the page.
    std::vector<int> view() {
        return {album->mMenu.mSelected, album->mMenu.mFirstVisible, album->mMenu.mLastVisible};
    }
    MusicAlbumWindow* album = nullptr;
};

} // namespace

// START pauses or resumes only with a track; SELECT opens the now-playing screen only for
// a playing or paused one (and a second SELECT from the library under it no second one);
// L and R step and leave a refresh for the return. None of them moves the list.
TEST_F(AlbumTest, KeysSendTheirCommandsAndOpenTheNowPlayingScreen) {
    const struct {
        SDL_Keycode key;
        std::string path, state;
        std::vector<std::string> sent;
        bool opens, pending;
    } cases[] = {{SDLK_SPACE, "", "", {}, false, false},
                 {SDLK_SPACE, track(3), "playing", {"pause"}, false, false},
                 {SDLK_SPACE, track(3), "paused", {"resume"}, false, false},
                 {SDLK_SPACE, track(3), "", {"resume"}, false, false},
                 {SDLK_TAB, track(3), "stopped", {}, false, false},
                 {SDLK_TAB, track(3), "playing", {"get_current_list_type"}, true, true},
                 {SDLK_TAB, track(3), "paused", {"get_current_list_type"}, true, true},
                 {SDLK_w, track(3), "playing", {"next"}, false, true},
                 {SDLK_q, track(3), "playing", {"previous"}, false, true}};
    album->mMenu.restorePos(11, 10, 15);
    size_t earlier = 0;
    for (const auto& c : cases) {
        setStatus(c.path, c.state);
        gNeedToRefreshIndex = false;
        press(c.key);
        const std::string which = SDL_GetKeyName(c.key) + (" " + c.state);
        EXPECT_EQ(gUIWindows.size(), c.opens ? 2u : 1u) << which;
        if (c.opens) {
            EXPECT_TRUE(playWindowOnTop());
            EXPECT_EQ(press(SDLK_TAB, album), 0);
            EXPECT_EQ(gUIWindows.size(), 2u) << which;
            closeTop();
        }
        std::vector<std::string> words = sent();
        EXPECT_EQ(Words(words.begin() + earlier, words.end()), c.sent) << which;
        earlier = words.size();
        EXPECT_EQ(gNeedToRefreshIndex, c.pending) << which;
        EXPECT_EQ(view(), (std::vector<int>{11, 10, 15})) << which;
    }
}

// The refresh on return moves the list only when the track that plays is out of view,
// and always clears the flag.
TEST_F(AlbumTest, RefreshBringsTheTrackIntoViewOnReturn) {
    const struct {
        bool pending;
        std::string current;
        std::vector<int> before, after;
    } cases[] = {{false, track(0), {12, 10, 15}, {12, 10, 15}}, // nothing pending: nothing looked at
                 {true, track(14), {12, 10, 15}, {12, 10, 15}}, // in view
                 {true, library + "/elsewhere/t1.mp3", {12, 10, 15}, {12, 10, 15}},
                 {true, track(25), {11, 10, 15}, {25, 20, 25}}, // below the page: its last row
                 {true, track(3), {11, 10, 15}, {3, 3, 8}},     // above the page: its first row
                 {true, track(0), {28, 24, 29}, {0, 0, 5}}};
    for (const auto& c : cases) {
        gNeedToRefreshIndex = c.pending;
        setStatus(c.current, "playing");
        album->mMenu.restorePos(c.before[0], c.before[1], c.before[2]);
        album->refresh();
        EXPECT_EQ(view(), c.after) << c.current;
        EXPECT_FALSE(gNeedToRefreshIndex);
    }
}

// The popup's Play/Pause row works on the row under the cursor when MENU was pressed:
// another track plays from its folder, the current one pauses, a folder or no row at all
// sends nothing.
TEST_F(AlbumTest, MenuPlayPauseActsOnTheRowUnderTheCursor) {
    makeEntries(library, {"sub/"});
    album->mMenu.LoadDir(); // sub, t0, t1, ...
    album->mMenu.restorePos(4, 0, 5);
    press(SDLK_m); // keys that reached the list instead would play t5
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_DOWN, SDLK_RETURN})
        press(key);
    EXPECT_EQ(gUIWindows.size(), 1u) << "the row closes the popup";
    EXPECT_EQ(sent("play_file_in_dir", "path"), Words{track(3)});
    setStatus(track(3), "playing");
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(4)), kWinResultClose);
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(0)), kWinResultClose);
    EXPECT_EQ(play_pause_player(nullptr), kWinResultClose);
    EXPECT_EQ(sent(), (Words{"set_play_dir", "play_file_in_dir", "pause"}));
}

TEST_F(AlbumTest, BackAtTheRootAsksBeforeQuitting) {
    EXPECT_EQ(press(SDLK_ESCAPE), 0);
    ASSERT_EQ(gUIWindows.size(), 2u) << "the library never closes";
    ASSERT_NE(dynamic_cast<DialogWindow*>(gUIWindows.back()), nullptr);
    press(SDLK_ESCAPE); // declined
    EXPECT_EQ(gUIWindows.size(), 1u);
    setStatus(track(1), "playing");
    press(SDLK_ESCAPE);
    EXPECT_EQ(press(SDLK_RETURN), kWinResultQuit);
    EXPECT_EQ(sent(), Words{}) << "without a headset the music is left to shutdown";
    writeFile(MP_BTDEV_ADDR_FILE, "00:11:22:33:44:55");
    EXPECT_EQ(QuitAction().dowork(nullptr), kWinResultQuit);
    EXPECT_EQ(sent(), Words{"stop"});
}

TEST_F(AlbumTest, WhileSuspendingThePlayingTrackTakesTheScreen) {
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    writeFile(MP_STAY_ALIVE_FILE, "1");
    setStatus(track(0), "paused");
    press(SDLK_y);
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "nothing plays: the device may sleep";
    EXPECT_EQ(gUIWindows.size(), 1u);
    // The next pass of the library, for a key or a frame, hands over.
    setStatus(track(0), "playing");
    press(SDLK_y);
    ASSERT_TRUE(playWindowOnTop());
    closeTop();
    press(SDLK_TAB); // SELECT opens it first; the check then finds two windows
    EXPECT_TRUE(playWindowOnTop());
}
