// Which folder entries become rows, with what action, and the row icon that follows
// the playback status.
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "screenshot.h"
#include "service/music_file_action.h"

namespace {

std::vector<std::string> labels(FileBrowserMenu& menu) {
    std::vector<std::string> names;
    for (int i = 0; i < menu.getListNum(); ++i)
        names.push_back(menu.getItemByIndex(i)->getLabel());
    return names;
}

class RowsTest : public PlayerTest {};

} // namespace

TEST_F(RowsTest, SuffixesDecideFilesAndEveryFolderGetsARow) {
    makeEntries(library, {"a.flac", "a.b.dsf", "a.FLAC", "a.mp3.txt", "noextension", "b.mp3x", "end.", "c.wav",
                          "d.ape", "e.wma", "x.mp3/", "Folder/"});
    MusicBrowserMenu menu(nullptr);
    menu.LoadDir();
    // Upper-case suffixes pass the filter but get no row.
    EXPECT_EQ(labels(menu),
              (std::vector<std::string>{"Folder", "x.mp3", "a.b.dsf", "a.flac", "c.wav", "d.ape", "e.wma"}));
    EXPECT_EQ(file_filter("a.FLAC", nullptr), 1);
    EXPECT_EQ(file_filter("noextension", nullptr), 0);
    EXPECT_EQ(file_filter("b.mp3x", nullptr), 0);

    auto* folder = static_cast<MusicTextMenuItem*>(menu.getItemByIndex(1));
    auto* folderAction = static_cast<MusicFileAction*>(folder->getAction());
    EXPECT_EQ(folder->mItemPath, library + "/x.mp3");
    EXPECT_EQ(folderAction->mPath, folder->mItemPath);
    EXPECT_EQ(folderAction->mType, kActionTypeFolder);
    EXPECT_EQ(folder->getLabelIcon(), gIconFolder);

    auto* file = static_cast<MusicTextMenuItem*>(menu.getItemByIndex(3));
    auto* fileAction = static_cast<MusicFileAction*>(file->getAction());
    EXPECT_EQ(fileAction->mType, kActionTypeFile) << "a file is 100 in the action, not the handler's 101";
    EXPECT_EQ(fileAction->mListKind, ListTypeDir);
    EXPECT_FALSE(fileAction->mAsPopup);
    EXPECT_EQ(file->getLabelIcon(), gIconAudio);

    EXPECT_EQ(file_handler("song.mp3", "/m/song.mp3", 100), nullptr) << "only 101 and 102 make rows";
}

TEST_F(RowsTest, TheCurrentRowShowsPlayingOrPausedAndNoOtherRowDoes) {
    makeEntries(library, {"song.mp3", "song.mp3.flac"});
    const std::string song = library + "/song.mp3";
    MusicBrowserMenu menu(nullptr);
    menu.LoadDir();
    auto* row = static_cast<MusicTextMenuItem*>(menu.getItemByIndex(0));
    auto* longer = static_cast<MusicTextMenuItem*>(menu.getItemByIndex(1));
    ASSERT_EQ(row->mItemPath, song);

    setStatus(song, "playing");
    EXPECT_EQ(row->getLabelIcon(), gIsPlaying);
    EXPECT_EQ(longer->getLabelIcon(), gIconAudio) << "the current path is a proper prefix of this row's";
    setStatus(song, "paused");
    EXPECT_EQ(row->getLabelIcon(), gIsPaused);
    setStatus(song, "stopped");
    EXPECT_EQ(row->getLabelIcon(), gIconAudio);
    setStatus(library + "/song.mp", "playing");
    EXPECT_EQ(row->getLabelIcon(), gIconAudio) << "this row's path is a proper prefix of the current one";

    // Without the skin's icons the row keeps its own.
    setStatus(song, "playing");
    ZelmorSurface* playing = gIsPlaying;
    gIsPlaying = nullptr;
    EXPECT_EQ(row->getLabelIcon(), gIconAudio);
    gIsPlaying = playing;
}

// The icon is looked up on every frame: a change of the status shows on the next one.
TEST_F(RowsTest, TheIconChangesOnTheFrameAfterTheStatus) {
    makeEntries(library, {"one.mp3", "two.mp3"});
    auto* album = new MusicAlbumWindow(nullptr);
    gUIWindows.push_back(album);
    album->mMenu.LoadDir();
    const SDL_Rect icon = {40, 80, 64, 88}; // the first row's icon
    auto frame = [&] {
        tick();
        step();
        return readTargetPixels(icon.x, icon.y, icon.w, icon.h);
    };
    std::vector<Uint32> plain = frame();
    setStatus(library + "/one.mp3", "playing");
    std::vector<Uint32> playing = frame();
    setStatus(library + "/one.mp3", "paused");
    std::vector<Uint32> paused = frame();
    setStatus(library + "/one.mp3", "");
    EXPECT_NE(plain, playing);
    EXPECT_NE(playing, paused);
    EXPECT_EQ(frame(), plain);
}
