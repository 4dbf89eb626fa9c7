// The loader that fills the library and puts the current track in the middle of the
// page, and the first frame that does not wait for it.
#include "library/music_album_window.h"
#include "player_fixture.h"

#include <fcntl.h>

namespace {

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

class LoaderTest : public PlayerTest {
protected:
    void makeTracks(int count) {
        for (int i = 0; i < count; ++i)
            writeFile(library + "/t" + std::to_string(i) + ".mp3", "");
    }
    std::vector<std::vector<int>> loadWith(const std::string& current) {
        setStatus(current, "playing");
        RecordingMenu menu(nullptr);
        prepare_file_browser_thread(&menu);
        if (!menu.calls.empty()) {
            selected = menu.mSelected;
            first = menu.mFirstVisible;
            last = menu.mLastVisible;
        }
        return menu.calls;
    }
    int selected = -1, first = -1, last = -1;
};

using Calls = std::vector<std::vector<int>>;

} // namespace

TEST_F(LoaderTest, TheCurrentTrackComesToTheMiddleOfThePage) {
    makeTracks(3);
    EXPECT_EQ(loadWith(library + "/t2.mp3"), (Calls{{2, 0, 2}})) << "a short list shows all its rows";
    removeTree(library);
    makeDirs(library);
    makeTracks(20);
    EXPECT_EQ(loadWith(library + "/t1.mp3"), (Calls{{1, 0, 5}}));
    EXPECT_EQ(loadWith(library + "/t10.mp3"), (Calls{{10, 7, 12}}));
    // Near the end the page would reach past the list: accepted, and the page stays full.
    EXPECT_EQ(loadWith(library + "/t19.mp3"), (Calls{{19, 16, 21}}));
    EXPECT_EQ(selected, 19);
    EXPECT_EQ(last, 19);
    EXPECT_EQ(first, 14);
    EXPECT_EQ(loadWith(library + "/elsewhere/t5.mp3"), Calls{}) << "no match: the cursor stays";
    EXPECT_EQ(loadWith(""), Calls{});
}

TEST_F(LoaderTest, TheFileNamedOnTheCommandLineWinsOverTheService) {
    makeTracks(20);
    gUserFile = library + "/t15.mp3";
    EXPECT_EQ(loadWith(library + "/t3.mp3"), (Calls{{15, 12, 17}}));
}

// A folder of 100,000 tracks: the screen comes up with the empty list (or the first
// rows), the rows follow, and then the cursor goes to the track that plays.
TEST_F(LoaderTest, TheFirstFrameIsDrawnBeforeAHugeFolderIsLoaded) {
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
    ASSERT_TRUE(waitUntil([&] {
        tick();
        step();
        return sLoading.load() == 0;
    }));
    EXPECT_EQ(album->mMenu.getListNum(), count);
    TextMenuItem* current = album->mMenu.getItemByIndex(album->mMenu.mSelected);
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(current->getLabel(), "t99990.mp3");
    EXPECT_EQ(album->mMenu.mFirstVisible, album->mMenu.mSelected - 3);
}
