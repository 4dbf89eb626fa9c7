// The library screen's keys through the real window loop: transport, the ways up to the
// now-playing screen and back, refocusing, the popup menu, the quit dialog, suspend.
#include "library/music_album_window.h"
#include "player_fixture.h"

namespace {

class AlbumTest : public PlayerTest {
protected:
    // A library of 30 tracks t0 .. t29, loaded, with the album alone on the stack.
    MusicAlbumWindow* openLibrary(int tracks = 30) {
        for (int i = 0; i < tracks; ++i)
            writeFile(library + "/t" + std::to_string(i) + ".mp3", "");
        auto* album = new MusicAlbumWindow(nullptr);
        album->mMenu.LoadDir();
        gUIWindows.push_back(album);
        return album;
    }
    std::string track(int i) { return library + "/t" + std::to_string(i) + ".mp3"; }
    bool playWindowOnTop() { return gUIWindows.size() == 2 && gUIWindows.back()->mKind == 1; }
};

} // namespace

TEST_F(AlbumTest, StartPausesOrResumesOnlyWhenThereIsATrack) {
    openLibrary();
    pressAndStep(SDLK_SPACE);
    EXPECT_EQ(sent(), std::vector<std::string>{}) << "nothing plays: nothing to resume";
    setStatus(track(3), "playing");
    pressAndStep(SDLK_SPACE);
    setStatus(track(3), "paused");
    pressAndStep(SDLK_SPACE);
    setStatus(track(3), "");
    pressAndStep(SDLK_SPACE);
    EXPECT_EQ(sent(), (std::vector<std::string>{"pause", "resume", "resume"}));
    EXPECT_EQ(gUIWindows.size(), 1u);
}

TEST_F(AlbumTest, SelectOpensTheNowPlayingScreenOnlyOverALoneLibraryWithATrack) {
    openLibrary();
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
        EXPECT_EQ(gUIWindows[0]->eventHandling(), 0);
        EXPECT_EQ(gUIWindows.size(), 2u);
        delete gUIWindows.back();
        gUIWindows.pop_back();
    }
    press(SDLK_TAB);
    ZelmorWindow* other = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(other); // two windows: the library is not alone
    gUIWindows[0]->eventHandling();
    EXPECT_EQ(gUIWindows.size(), 2u);
    EXPECT_EQ(sent(), (std::vector<std::string>{"get_current_list_type", "get_current_list_type"}));
}

// L and R leave the screen where it is; once the now-playing screen has gone, the list
// shows the track that plays now.
TEST_F(AlbumTest, PreviousAndNextRefocusTheListOnReturn) {
    MusicAlbumWindow* album = openLibrary();
    album->mMenu.restorePos(11, 10, 15);
    pressAndStep(SDLK_w);
    EXPECT_EQ(album->mMenu.mSelected, 11) << "the list does not move by itself";
    EXPECT_TRUE(gNeedToRefreshIndex);
    setStatus(track(25), "playing");
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 25) << "the track below the page becomes its last row";
    EXPECT_EQ(album->mMenu.mFirstVisible, 20);
    EXPECT_FALSE(gNeedToRefreshIndex);

    pressAndStep(SDLK_q);
    EXPECT_TRUE(gNeedToRefreshIndex);
    setStatus(track(3), "playing");
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 3) << "the track above the page becomes its first row";
    EXPECT_EQ(album->mMenu.mFirstVisible, 3);
    EXPECT_EQ(sent(), (std::vector<std::string>{"next", "previous"}));
}

TEST_F(AlbumTest, RefreshMovesOnlyWhenTheTrackIsOutOfViewAndAlwaysClearsTheFlag) {
    MusicAlbumWindow* album = openLibrary();
    album->mMenu.restorePos(12, 10, 15);
    setStatus(track(14), "playing");
    album->refresh(); // nothing pending: nothing looked at
    EXPECT_EQ(album->mMenu.mSelected, 12);

    gNeedToRefreshIndex = true;
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 12) << "the track is on screen: the cursor stays";
    EXPECT_FALSE(gNeedToRefreshIndex);

    gNeedToRefreshIndex = true;
    setStatus(library + "/elsewhere/t1.mp3", "playing");
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 12);
    EXPECT_EQ(album->mMenu.mFirstVisible, 10);
    EXPECT_FALSE(gNeedToRefreshIndex);

    // A short page at the end: the row becomes the first, the page ends at the list's end.
    gNeedToRefreshIndex = true;
    setStatus(track(0), "playing");
    album->mMenu.restorePos(28, 24, 29);
    album->refresh();
    EXPECT_EQ(album->mMenu.mSelected, 0);
    EXPECT_EQ(album->mMenu.mFirstVisible, 0);
}

// The three ways up all come back to the library with the cursor on the current track.
TEST_F(AlbumTest, BackFromTheNowPlayingScreenFindsTheCurrentTrack) {
    MusicAlbumWindow* album = openLibrary();
    setStatus(track(2), "playing");
    pressAndStep(SDLK_TAB);
    ASSERT_TRUE(playWindowOnTop());
    setStatus(track(27), "playing"); // the service moved on meanwhile
    pressAndStep(SDLK_ESCAPE);
    ASSERT_EQ(gUIWindows.size(), 1u);
    EXPECT_EQ(album->mMenu.mSelected, 27);
    EXPECT_FALSE(gNeedToRefreshIndex);
}

TEST_F(AlbumTest, MenuKeyOpensThePopupBoundToTheRowUnderTheCursor) {
    MusicAlbumWindow* album = openLibrary();
    album->mMenu.restorePos(4, 0, 5);
    pressAndStep(SDLK_m);
    ASSERT_EQ(gUIWindows.size(), 2u);
    auto* popup = dynamic_cast<PopUpWindow*>(gUIWindows.back());
    ASSERT_NE(popup, nullptr);
    auto* playPause = static_cast<GeneralAction*>(popup->getMenu()->getItemByIndex(2)->getAction());
    EXPECT_EQ(playPause->mCallback, play_pause_player);
    EXPECT_EQ(playPause->mArg, album->mMenu.getItemByIndex(4));

    // Play/Pause on a row of another track: that track plays, from its folder.
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    EXPECT_EQ(gUIWindows.size(), 1u) << "the row closes the popup";
    EXPECT_EQ(sent(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir"}));
    EXPECT_EQ(sLastPlayDir, library);
    EXPECT_NE(lastBody("play_file_in_dir").find("t4.mp3"), std::string::npos);
}

TEST_F(AlbumTest, PlayPauseRowOnTheCurrentTrackAFolderAndAnEmptyList) {
    MusicAlbumWindow* album = openLibrary(3);
    makeEntries(library, {"sub/"});
    album->mMenu.LoadDir();
    setStatus(track(1), "");
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(2)), kWinResultClose);
    setStatus(track(1), "playing");
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(2)), kWinResultClose);
    EXPECT_EQ(play_pause_player(album->mMenu.getItemByIndex(0)), kWinResultClose) << "a folder only logs";
    EXPECT_EQ(play_pause_player(nullptr), kWinResultClose) << "an empty list gives no row";
    EXPECT_EQ(sent(), (std::vector<std::string>{"resume", "pause"}));
    EXPECT_TRUE(sLastPlayPath.empty()) << "the popup's row does not count as opening the track";
}

TEST_F(AlbumTest, BackAtTheRootAsksBeforeQuitting) {
    openLibrary();
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
    QuitAction quit;
    EXPECT_EQ(quit.dowork(nullptr), kWinResultQuit);
    EXPECT_EQ(sent(), std::vector<std::string>{"stop"});
}

TEST_F(AlbumTest, WhileSuspendingThePlayingTrackTakesTheScreen) {
    openLibrary();
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
    delete gUIWindows.back();
    gUIWindows.pop_back();

    pressAndStep(SDLK_TAB); // SELECT opens it first; the check then finds two windows
    EXPECT_TRUE(playWindowOnTop());
}
