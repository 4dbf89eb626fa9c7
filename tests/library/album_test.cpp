// The library screen's keys through the real window loop: transport, the ways up to the
// now-playing screen and back, refocusing, the popup menu, the quit dialog, suspend.
#include "library/music_album_window.h"
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
    std::string track(int i) { return library + "/t" + std::to_string(i) + ".mp3"; }
    bool playWindowOnTop() { return gUIWindows.size() == 2 && gUIWindows.back()->mKind == 1; }
    void closeTop() {
        delete gUIWindows.back();
        gUIWindows.pop_back();
    }
    // Selected, first and last row of the page.
    std::vector<int> view() {
        return {album->mMenu.mSelected, album->mMenu.mFirstVisible, album->mMenu.mLastVisible};
    }
    MusicAlbumWindow* album = nullptr;
};

} // namespace

TEST_F(AlbumTest, StartPausesOrResumesOnlyWhenThereIsATrack) {
    const std::pair<std::string, std::string> statuses[] = {
        {"", ""}, {track(3), "playing"}, {track(3), "paused"}, {track(3), ""}};
    for (const auto& [path, state] : statuses) {
        setStatus(path, state);
        pressAndStep(SDLK_SPACE);
    }
    EXPECT_EQ(sent(), (std::vector<std::string>{"pause", "resume", "resume"}))
        << "nothing plays: nothing to resume";
    EXPECT_EQ(gUIWindows.size(), 1u);
}

TEST_F(AlbumTest, SelectOpensTheNowPlayingScreenOnlyOverALoneLibraryWithATrack) {
    setStatus(track(1), "stopped");
    pressAndStep(SDLK_TAB);
    EXPECT_EQ(gUIWindows.size(), 1u) << "no screen for nothing playing";
    for (const char* state : {"playing", "paused"}) {
        setStatus(track(1), state);
        pressAndStep(SDLK_TAB);
        ASSERT_TRUE(playWindowOnTop()) << state;
        EXPECT_TRUE(gNeedToRefreshIndex);
        // A second SELECT from the library (as if it were on top) opens no second one.
        press(SDLK_TAB);
        EXPECT_EQ(album->eventHandling(), 0);
        EXPECT_EQ(gUIWindows.size(), 2u);
        closeTop();
    }
    // Back from the screen, the cursor is on the track the service has moved on to.
    pressAndStep(SDLK_TAB);
    setStatus(track(27), "playing");
    pressAndStep(SDLK_ESCAPE);
    ASSERT_EQ(gUIWindows.size(), 1u);
    EXPECT_EQ(album->mMenu.mSelected, 27);
    EXPECT_FALSE(gNeedToRefreshIndex);

    gUIWindows.push_back(new MusicAlbumWindow(nullptr)); // two windows: the library is not alone
    press(SDLK_TAB);
    album->eventHandling();
    EXPECT_EQ(gUIWindows.size(), 2u);
    EXPECT_EQ(sent(), std::vector<std::string>(3, "get_current_list_type"));
}

// L and R leave the screen where it is; once the now-playing screen has gone, the list
// shows the track that plays now.
TEST_F(AlbumTest, PreviousAndNextRefocusTheListOnReturn) {
    album->mMenu.restorePos(11, 10, 15);
    pressAndStep(SDLK_w);
    EXPECT_EQ(album->mMenu.mSelected, 11) << "the list does not move by itself";
    EXPECT_TRUE(gNeedToRefreshIndex);
    setStatus(track(25), "playing");
    album->refresh();
    EXPECT_EQ(view(), (std::vector<int>{25, 20, 25})) << "the track below the page becomes its last row";
    EXPECT_FALSE(gNeedToRefreshIndex);
    pressAndStep(SDLK_q);
    EXPECT_TRUE(gNeedToRefreshIndex);
    setStatus(track(3), "playing");
    album->refresh();
    EXPECT_EQ(view(), (std::vector<int>{3, 3, 8})) << "the track above the page becomes its first row";
    EXPECT_EQ(sent(), (std::vector<std::string>{"next", "previous"}));
}

TEST_F(AlbumTest, RefreshMovesOnlyWhenTheTrackIsOutOfViewAndAlwaysClearsTheFlag) {
    album->mMenu.restorePos(12, 10, 15);
    setStatus(track(14), "playing");
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 12) << "nothing pending: nothing looked at";
    // {current track, view before, view after}: on screen, elsewhere, and at the top
    // with a short page at the end before.
    const struct {
        std::string current;
        std::vector<int> before, after;
    } cases[] = {{track(14), {12, 10, 15}, {12, 10, 15}},
                 {library + "/elsewhere/t1.mp3", {12, 10, 15}, {12, 10, 15}},
                 {track(0), {28, 24, 29}, {0, 0, 5}}};
    for (const auto& c : cases) {
        gNeedToRefreshIndex = true;
        setStatus(c.current, "playing");
        album->mMenu.restorePos(c.before[0], c.before[1], c.before[2]);
        album->refresh();
        EXPECT_EQ(view(), c.after) << c.current;
        EXPECT_FALSE(gNeedToRefreshIndex);
    }
}

TEST_F(AlbumTest, MenuKeyOpensThePopupBoundToTheRowUnderTheCursor) {
    album->mMenu.restorePos(4, 0, 5);
    pressAndStep(SDLK_m);
    auto* popup = dynamic_cast<PopUpWindow*>(gUIWindows.back());
    ASSERT_NE(popup, nullptr);
    auto* playPause = static_cast<GeneralAction*>(popup->getMenu()->getItemByIndex(2)->getAction());
    EXPECT_EQ(playPause->mCallback, play_pause_player);
    EXPECT_EQ(playPause->mArg, album->mMenu.getItemByIndex(4));
    // Play/Pause on a row of another track: that track plays, from its folder.
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_DOWN, SDLK_RETURN})
        pressAndStep(key);
    EXPECT_EQ(gUIWindows.size(), 1u) << "the row closes the popup";
    EXPECT_EQ(sent(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir"}));
    EXPECT_EQ(sLastPlayDir, library);
    EXPECT_NE(lastBody("play_file_in_dir").find("t4.mp3"), std::string::npos);
}

TEST_F(AlbumTest, PlayPauseRowOnTheCurrentTrackAFolderAndAnEmptyList) {
    makeEntries(library, {"sub/"});
    album->mMenu.LoadDir();
    TextMenuItem* t1 = album->mMenu.getItemByIndex(2); // sub, t0, t1, ...
    setStatus(track(1), "");
    EXPECT_EQ(play_pause_player(t1), kWinResultClose);
    setStatus(track(1), "playing");
    EXPECT_EQ(play_pause_player(t1), kWinResultClose);
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(0)), kWinResultClose) << "a folder only logs";
    EXPECT_EQ(play_pause_player(nullptr), kWinResultClose) << "an empty list gives no row";
    EXPECT_EQ(sent(), (std::vector<std::string>{"resume", "pause"}));
    EXPECT_TRUE(sLastPlayPath.empty()) << "the popup's row does not count as opening the track";
}

TEST_F(AlbumTest, BackAtTheRootAsksBeforeQuitting) {
    EXPECT_EQ(pressAndStep(SDLK_ESCAPE), 0);
    ASSERT_EQ(gUIWindows.size(), 2u) << "the library never closes";
    ASSERT_NE(dynamic_cast<DialogWindow*>(gUIWindows.back()), nullptr);
    pressAndStep(SDLK_ESCAPE); // declined
    EXPECT_EQ(gUIWindows.size(), 1u);
    setStatus(track(1), "playing");
    pressAndStep(SDLK_ESCAPE);
    EXPECT_EQ(pressAndStep(SDLK_RETURN), kWinResultQuit);
    EXPECT_EQ(sent(), std::vector<std::string>{}) << "without a headset the music is left to shutdown";
    writeFile(MP_BTDEV_ADDR_FILE, "00:11:22:33:44:55");
    EXPECT_EQ(QuitAction().dowork(nullptr), kWinResultQuit);
    EXPECT_EQ(sent(), std::vector<std::string>{"stop"});
}

TEST_F(AlbumTest, WhileSuspendingThePlayingTrackTakesTheScreen) {
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    writeFile(MP_STAY_ALIVE_FILE, "1");
    setStatus(track(0), "paused");
    pressAndStep(SDLK_y);
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "nothing plays: the device may sleep";
    EXPECT_EQ(gUIWindows.size(), 1u);
    // The next pass of the library, for a key or a frame, hands over.
    setStatus(track(0), "playing");
    pressAndStep(SDLK_y);
    ASSERT_TRUE(playWindowOnTop());
    closeTop();
    pressAndStep(SDLK_TAB); // SELECT opens it first; the check then finds two windows
    EXPECT_TRUE(playWindowOnTop());
}
