// The whole player by keys, from the library into a folder, a track played, the
// now-playing screen and back, the popup menu, settings, information and quitting, with
// screenshots of each screen compared with the committed references.
#include "library/music_album_window.h"
#include "player_fixture.h"

namespace {

class FlowTest : public PlayerTest {
protected:
    // The commands that change playback, leaving out the queries a screen may make.
    std::vector<std::string> sentCommands() {
        std::vector<std::string> words = sent();
        words.erase(
            std::remove_if(words.begin(), words.end(), [](auto& w) { return w.compare(0, 4, "get_") == 0; }),
            words.end());
        return words;
    }
    // Opens a row of the popup menu over the library.
    void popupRow(int row) {
        press(SDLK_m);
        for (int i = 0; i < row; ++i)
            press(SDLK_DOWN);
    }
};

} // namespace

TEST_F(FlowTest, BrowsePlayComeBackAndUseEveryPopupScreen) {
    makeEntries(library, {"Albums/", "Live Recordings/", "Intro.mp3", "Outro.flac"});
    const std::string albums = library + "/Albums";
    makeEntries(albums, {"01 - Morning Light.flac", "02 - Harbour Walk.mp3", "03 - Paper Boats.mp3",
                         "04 - Night Train.ape", "05 - Long Way Home.wav", "06 - Salt and Cedar.mp3",
                         "07 - Lanterns.mp3", "08 - The Slow Tide.flac", "09 - Crossing.mp3",
                         "10 - Last Ferry.mp3", "11 - Coda.dsf", "cover.jpg"});
    auto* album = new MusicAlbumWindow(nullptr);
    album->init();
    gUIWindows.push_back(album);
    ASSERT_TRUE(runUntil([] { return sLoading.load() == 0; }));
    expectScreen(gUIWindows, "library_root");

    // Into "Albums" (the first row), read on the loader thread.
    press(SDLK_RETURN);
    ASSERT_TRUE(runUntil([&] { return album->mMenu.getListNum() == 11 && !album->mMenu.isLoading(); }));

    // The second track plays and the now-playing screen opens.
    press(SDLK_DOWN);
    press(SDLK_RETURN);
    ASSERT_EQ(gUIWindows.size(), 2u);
    EXPECT_EQ(gUIWindows.back()->mKind, 1);
    EXPECT_EQ(sentCommands(), (Words{"set_play_dir", "play_file_in_dir"}));
    // No title; artist, album and year.
    setStatus(albums + "/02 - Harbour Walk.mp3", "playing", 0, 0, "", "The Quiet Harbour", "Albums", "",
              "2021");

    // Meanwhile the list went to its end; back on the library the track is in view again,
    // as the first row of the page, under the cursor (the reference shows where).
    album->mMenu.restorePos(10, 5, 10);
    press(SDLK_ESCAPE);
    expectScreen(gUIWindows, "library_playing");

    press(SDLK_m);
    expectScreen(gUIWindows, "popup_menu");
    press(SDLK_ESCAPE);

    // Settings, and back to the library: the popup goes with the window it opened.
    popupRow(4);
    press(SDLK_RETURN);
    gMusicVolume = 70;
    gVisualization = false;
    gBackgroundPlay = true;
    expectScreen(gUIWindows, "settings");
    press(SDLK_ESCAPE);
    ASSERT_TRUE(runUntil([] { return gUIWindows.size() == 1; }));

    // Information about the track.
    popupRow(3);
    press(SDLK_RETURN);
    expectScreen(gUIWindows, "information");
    press(SDLK_ESCAPE);
    ASSERT_TRUE(runUntil([] { return gUIWindows.size() == 1; }));

    // Stop and quit: "stop" goes out while the track plays, and the loop ends.
    popupRow(1);
    EXPECT_EQ(press(SDLK_RETURN), kWinResultQuit);
    EXPECT_EQ(sentCommands(), (Words{"set_play_dir", "play_file_in_dir", "stop"}));
}
