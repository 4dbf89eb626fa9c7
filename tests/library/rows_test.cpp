// Which folder entries become rows, the row icon that follows the playback status, and
// the loader that puts the current track in the middle of the page without holding up
// the first frame.
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "service/file_actions/music_file_action.h"

#include <fcntl.h>

namespace {

// Records what the loader asks of the list.
struct RecordingMenu : MusicBrowserMenu {
    using MusicBrowserMenu::MusicBrowserMenu;
    void restorePos(int selected, int first, int last) override {
        calls.push_back({selected, first, last});
        MusicBrowserMenu::restorePos(selected, first, last);
    }
    std::vector<std::vector<int>> calls;
};

using Calls = std::vector<std::vector<int>>;

MusicTextMenuItem* row(FileBrowserMenu& menu, int index) {
    return static_cast<MusicTextMenuItem*>(menu.getItemByIndex(index));
}

class RowsTest : public PlayerTest {
protected:
    // What the loader asked of a list with that track current.
    Calls loadWith(const std::string& current) {
        setStatus(current, "playing");
        RecordingMenu menu(nullptr);
        prepare_file_browser_thread(&menu);
        return menu.calls;
    }
};

} // namespace

TEST_F(RowsTest, SuffixesDecideFilesAndEveryFolderGetsARow) {
    makeEntries(library, {"a.flac", "a.b.dsf", "a.FLAC", "a.mp3.txt", "noextension", "b.mp3x", "end.",
                          "c.wav", "d.ape", "e.wma", ".hidden.mp3", "x.mp3/", "Folder/", ".git/"});
    MusicBrowserMenu menu(nullptr);
    menu.LoadDir();
    EXPECT_EQ(rowLabels(menu), (Words{"Folder", "x.mp3", "a.b.dsf", "a.flac", "c.wav", "d.ape", "e.wma"}));
    // The folder named like a track is entered, not played.
    EXPECT_EQ(static_cast<MusicFileAction*>(row(menu, 1)->getAction())->mType, kActionTypeFolder);
    EXPECT_EQ(row(menu, 1)->getLabelIcon(), gIconFolder);
}

// The icon is looked up on every frame, so a change of the status shows on the next one;
// a row is current only when its path is the playing file's, not a part of it or more.
TEST_F(RowsTest, TheCurrentRowShowsPlayingOrPausedFromTheNextFrame) {
    makeEntries(library, {"song.mp3", "song.mp3.flac"});
    auto* album = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(album);
    album->mMenu.LoadDir();
    const std::string song = library + "/song.mp3";
    const struct {
        std::string path, state;
        ZelmorSurface* icon; // of the song's row
    } cases[] = {{song, "playing", gIsPlaying},
                 {song, "paused", gIsPaused},
                 {song, "stopped", gIconAudio},
                 {library + "/song.mp", "playing", gIconAudio},
                 {song + ".x", "playing", gIconAudio}};
    std::vector<std::vector<Uint32>> shown;
    for (const auto& c : cases) {
        setStatus(c.path, c.state);
        tick();
        step();
        shown.push_back(readTargetPixels(40, 80, 64, 88)); // the first row's icon
        EXPECT_EQ(row(album->mMenu, 0)->getLabelIcon(), c.icon) << c.path << " " << c.state;
        EXPECT_EQ(row(album->mMenu, 1)->getLabelIcon(), gIconAudio) << c.path;
    }
    EXPECT_TRUE(shown[0] != shown[1] && shown[1] != shown[2] && shown[0] != shown[2]);
    EXPECT_TRUE(shown[2] == shown[3] && shown[3] == shown[4]);
}

TEST_F(RowsTest, TheLoaderBringsTheCurrentTrackToTheMiddleOfThePage) {
    makeEntries(library, {"t0.mp3", "t1.mp3", "t2.mp3"});
    EXPECT_EQ(loadWith(track(2)), (Calls{{2, 0, 2}})) << "a short list shows all its rows";
    for (int i = 3; i < 20; ++i)
        makeEntries(library, {"t" + std::to_string(i) + ".mp3"});
    EXPECT_EQ(loadWith(track(1)), (Calls{{1, 0, 5}}));
    EXPECT_EQ(loadWith(track(10)), (Calls{{10, 7, 12}}));
    EXPECT_EQ(loadWith(track(19)), (Calls{{19, 16, 21}})) << "past the end: the list keeps the page full";
    EXPECT_EQ(loadWith(library + "/elsewhere/t5.mp3"), Calls{}) << "no match: the cursor stays";
    gUserFile = track(15);
    EXPECT_EQ(loadWith(track(3)), (Calls{{15, 12, 17}})) << "the file named on the command line wins";
}

// A folder of 100,000 tracks: the screen comes up with the empty list (or the first
// rows), the rows follow, and then the cursor goes to the track that plays.
TEST_F(RowsTest, TheFirstFrameIsDrawnBeforeAHugeFolderIsLoaded) {
    const int count = 100000;
    for (int i = 0; i < count; ++i)
        close(open((library + "/t" + std::to_string(i) + ".mp3").c_str(), O_CREAT | O_WRONLY, 0644));
    setStatus(track(99990), "playing");
    auto* album = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(album);
    album->init();
    tick();
    step();
    EXPECT_LT(album->mMenu.getListNum(), count) << "the first frame waited for the whole folder";
    ASSERT_TRUE(runUntil([] { return sLoading.load() == 0; }));
    EXPECT_EQ(album->mMenu.getListNum(), count);
    EXPECT_EQ(album->mMenu.getItemByIndex(album->mMenu.mSelected)->getLabel(), "t99990.mp3");
}
