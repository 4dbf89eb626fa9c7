// The whole player by keys, from the library into a folder, a track played, the
// now-playing screen and back, the popup menu, settings, information and quitting, with
// screenshots of each screen compared with the committed references.
#include "app/config.h"
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "popups/music_info_window.h"
#include "popups/music_setting_window.h"
#include "screenshot.h"

#include <functional>

namespace {

class FlowTest : public PlayerTest {
protected:
    // Draws the stack as the loop does: the top window, over the screens under it when it
    // floats. The clock of the status bar is left out of the comparison.
    void expectScreen(const char* name) {
        SDL_SetRenderTarget(gZwRenderer, nullptr);
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        size_t base = gUIWindows.size() - 1;
        while (base > 0 && gUIWindows[base]->isFloating())
            --base;
        for (size_t i = base; i < gUIWindows.size(); ++i)
            gUIWindows[i]->draw();
        EXPECT_EQ(matchesReference(name, {kClockArea}), "") << name;
    }
    // Runs the loop until the condition holds.
    static bool runUntil(const std::function<bool()>& condition) {
        return waitUntil([&] {
            tick();
            step();
            return condition();
        });
    }
    std::string selectedPath(MusicAlbumWindow* album) {
        auto* row = static_cast<MusicTextMenuItem*>(album->mMenu.getItemByIndex(album->mMenu.mSelected));
        return row ? row->mItemPath : std::string();
    }
    // The commands that change playback, leaving out the queries a screen may make.
    std::vector<std::string> sentCommands() {
        std::vector<std::string> words;
        for (const std::string& word : sent()) {
            if (word.compare(0, 4, "get_") != 0)
                words.push_back(word);
        }
        return words;
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
    ASSERT_TRUE(runUntil([&] { return sLoading.load() == 0; }));
    expectScreen("library_root");

    // Into "Albums" (the first row), read on the loader thread.
    pressAndStep(SDLK_RETURN);
    ASSERT_TRUE(runUntil([&] { return album->mMenu.getListNum() == 11 && !album->mMenu.isLoading(); }));
    EXPECT_STREQ(album->mMenu.getCurrentDir(), albums.c_str());

    // The second track plays and the now-playing screen opens.
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    const std::string track = albums + "/02 - Harbour Walk.mp3";
    ASSERT_EQ(gUIWindows.size(), 2u);
    EXPECT_EQ(gUIWindows.back()->mKind, 1);
    EXPECT_EQ(sentCommands(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir"}));
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    sMusicPlayingStatus.filename = track;
    sMusicPlayingStatus.status = "playing";
    sMusicPlayingStatus.artist = "The Quiet Harbour";
    sMusicPlayingStatus.album = "Albums";
    sMusicPlayingStatus.year = "2021";
    pthread_mutex_unlock(&sMusicPlayingStatusLock);

    // Meanwhile the list went to its end; back on the library the track is in view again,
    // as the first row of the page.
    album->mMenu.restorePos(10, 5, 10);
    pressAndStep(SDLK_ESCAPE);
    ASSERT_EQ(gUIWindows.size(), 1u);
    EXPECT_EQ(selectedPath(album), track);
    EXPECT_EQ(album->mMenu.mFirstVisible, 1);
    expectScreen("library_playing");

    // The popup menu over the library.
    pressAndStep(SDLK_m);
    ASSERT_EQ(gUIWindows.size(), 2u);
    expectScreen("popup_menu");

    // Settings, and back to the library.
    for (int i = 0; i < 4; ++i)
        pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    ASSERT_NE(dynamic_cast<MusicSettingWindow*>(gUIWindows.back()), nullptr);
    gMusicVolume = 70;
    gCoverBackground = true;
    gVisualization = false;
    gBackgroundPlay = true;
    expectScreen("settings");
    pressAndStep(SDLK_ESCAPE);
    ASSERT_TRUE(runUntil([&] { return gUIWindows.size() == 1; })) << "the popup goes with the window it opened";

    // Information about the track.
    pressAndStep(SDLK_m);
    for (int i = 0; i < 3; ++i)
        pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    ASSERT_NE(dynamic_cast<MusicInfoWindow*>(gUIWindows.back()), nullptr);
    expectScreen("information");
    pressAndStep(SDLK_ESCAPE);
    ASSERT_TRUE(runUntil([&] { return gUIWindows.size() == 1; }));

    // Stop and quit: "stop" goes out while the track plays, and the loop ends.
    pressAndStep(SDLK_m);
    pressAndStep(SDLK_DOWN);
    EXPECT_EQ(pressAndStep(SDLK_RETURN), kWinResultQuit);
    EXPECT_EQ(sentCommands(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir", "stop"}));
}
