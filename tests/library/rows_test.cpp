// Which folder entries become rows, with what action, the row icon that follows the
// playback status, and the loader that puts the current track in the middle of the
// page without holding up the first frame.
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "service/music_file_action.h"

#include <fcntl.h>

namespace {

std::vector<std::string> labels(FileBrowserMenu& menu) {
    std::vector<std::string> names;
    for (int i = 0; i < menu.getListNum(); ++i)
        names.push_back(menu.getItemByIndex(i)->getLabel());
    return names;
}

MusicTextMenuItem* row(FileBrowserMenu& menu, int index) {
    return static_cast<MusicTextMenuItem*>(menu.getItemByIndex(index));
}

// Records what the loader asks of the list.
class RecordingMenu : public MusicBrowserMenu {
public:
    using MusicBrowserMenu::MusicBrowserMenu;
    void restorePos(int selected, int first, int last) override {
        calls.push_back({selected, first, last});
        MusicBrowserMenu::restorePos(selected, first, last);
    }
    std::vector<std::vector<int>> calls;
};

using Calls = std::vector<std::vector<int>>;

class RowsTest : public PlayerTest {
protected:
    void makeTracks(int count) {
        for (int i = 0; i < count; ++i)
            writeFile(library + "/t" + std::to_string(i) + ".mp3", "");
    }
    // What the loader asked of a list with that track current; the view it left.
    Calls loadWith(const std::string& current) {
        setStatus(current, "playing");
        RecordingMenu menu(nullptr);
        prepare_file_browser_thread(&menu);
        view = {menu.mSelected, menu.mFirstVisible, menu.mLastVisible};
        return menu.calls;
    }
    std::vector<int> view;
};

} // namespace

TEST_F(RowsTest, SuffixesDecideFilesAndEveryFolderGetsARow) {
    makeEntries(library, {"a.flac", "a.b.dsf", "a.FLAC", "a.mp3.txt", "noextension", "b.mp3x", "end.",
                          "c.wav", "d.ape", "e.wma", ".hidden.mp3", "x.mp3/", "Folder/", ".git/"});
    MusicBrowserMenu menu(nullptr);
    menu.LoadDir();
    EXPECT_EQ(labels(menu),
              (std::vector<std::string>{"Folder", "x.mp3", "a.b.dsf", "a.flac", "c.wav", "d.ape", "e.wma"}));

    auto* folderAction = static_cast<MusicFileAction*>(row(menu, 1)->getAction());
    EXPECT_EQ(row(menu, 1)->mItemPath, library + "/x.mp3");
    EXPECT_EQ(folderAction->mPath, library + "/x.mp3");
    EXPECT_EQ(folderAction->mType, kActionTypeFolder);
    EXPECT_EQ(row(menu, 1)->getLabelIcon(), gIconFolder);
    auto* fileAction = static_cast<MusicFileAction*>(row(menu, 3)->getAction());
    EXPECT_EQ(fileAction->mType, kActionTypeFile) << "a file is 100 in the action, not the handler's 101";
    EXPECT_EQ(fileAction->mListKind, ListTypeDir);
    EXPECT_FALSE(fileAction->mAsPopup);
    EXPECT_EQ(row(menu, 3)->getLabelIcon(), gIconAudio);
}

TEST_F(RowsTest, TheCurrentRowShowsPlayingOrPausedAndNoOtherRowDoes) {
    makeEntries(library, {"song.mp3", "song.mp3.flac"});
    const std::string song = library + "/song.mp3";
    MusicBrowserMenu menu(nullptr);
    menu.LoadDir();
    MusicTextMenuItem *current = row(menu, 0), *longer = row(menu, 1);
    ASSERT_EQ(current->mItemPath, song);
    // {current path, state, icon of the song's row}
    const struct {
        std::string path, state;
        ZelmorSurface* icon;
    } cases[] = {{song, "playing", gIsPlaying},
                 {song, "paused", gIsPaused},
                 {song, "stopped", gIconAudio},
                 {library + "/song.mp", "playing", gIconAudio}}; // the row's path is a proper prefix
    for (const auto& c : cases) {
        setStatus(c.path, c.state);
        EXPECT_EQ(current->getLabelIcon(), c.icon) << c.path << " " << c.state;
        EXPECT_EQ(longer->getLabelIcon(), gIconAudio) << "the current path is a proper prefix of this row's";
    }
    // Without the skin's icon the row keeps its own.
    setStatus(song, "playing");
    ZelmorSurface* playing = gIsPlaying;
    gIsPlaying = nullptr;
    EXPECT_EQ(current->getLabelIcon(), gIconAudio);
    gIsPlaying = playing;
}

// The icon is looked up on every frame: a change of the status shows on the next one.
TEST_F(RowsTest, TheIconChangesOnTheFrameAfterTheStatus) {
    makeEntries(library, {"one.mp3", "two.mp3"});
    auto* album = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(album);
    album->mMenu.LoadDir();
    auto iconAfter = [&](const char* state) {
        setStatus(library + "/one.mp3", state);
        tick();
        step();
        return readTargetPixels(40, 80, 64, 88); // the first row's icon
    };
    std::vector<Uint32> plain = iconAfter(""), playing = iconAfter("playing"), paused = iconAfter("paused");
    EXPECT_NE(plain, playing);
    EXPECT_NE(playing, paused);
    EXPECT_EQ(iconAfter(""), plain);
}

TEST_F(RowsTest, TheLoaderBringsTheCurrentTrackToTheMiddleOfThePage) {
    makeTracks(3);
    EXPECT_EQ(loadWith(library + "/t2.mp3"), (Calls{{2, 0, 2}})) << "a short list shows all its rows";
    removeTree(library);
    makeDirs(library);
    makeTracks(20);
    EXPECT_EQ(loadWith(library + "/t1.mp3"), (Calls{{1, 0, 5}}));
    EXPECT_EQ(loadWith(library + "/t10.mp3"), (Calls{{10, 7, 12}}));
    // Near the end the page would reach past the list: accepted, and the page stays full.
    EXPECT_EQ(loadWith(library + "/t19.mp3"), (Calls{{19, 16, 21}}));
    EXPECT_EQ(view, (std::vector<int>{19, 14, 19}));
    EXPECT_EQ(loadWith(library + "/elsewhere/t5.mp3"), Calls{}) << "no match: the cursor stays";
    EXPECT_EQ(loadWith(""), Calls{});
    gUserFile = library + "/t15.mp3";
    EXPECT_EQ(loadWith(library + "/t3.mp3"), (Calls{{15, 12, 17}}))
        << "the file named on the command line wins";
}

// A folder of 100,000 tracks: the screen comes up with the empty list (or the first
// rows), the rows follow, and then the cursor goes to the track that plays.
TEST_F(RowsTest, TheFirstFrameIsDrawnBeforeAHugeFolderIsLoaded) {
    const int count = 100000;
    for (int i = 0; i < count; ++i) {
        int fd = open((library + "/t" + std::to_string(i) + ".mp3").c_str(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        close(fd);
    }
    setStatus(library + "/t99990.mp3", "playing");
    auto* album = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(album);
    album->init();
    tick();
    step();
    EXPECT_LT(album->mMenu.getListNum(), count) << "the first frame waited for the whole folder";
    ASSERT_TRUE(runUntil([] { return sLoading.load() == 0; }));
    EXPECT_EQ(album->mMenu.getListNum(), count);
    EXPECT_EQ(album->mMenu.getItemByIndex(album->mMenu.mSelected)->getLabel(), "t99990.mp3");
    EXPECT_EQ(album->mMenu.mFirstVisible, album->mMenu.mSelected - 3);
}
