// What a pressed row sends to the service and when the now-playing screen opens, against
// the service double on the real socket.
#include "player_fixture.h"
#include "service/file_actions/music_file_action.h"
#include "service/actions/transport_rows.h"

namespace {

class TransportTest : public PlayerTest {
protected:
    // Runs a row's action. A now-playing screen it opens is counted and let go, since
    // only one analysis runs at a time, as on the device.
    int activate(const std::string& path, int listKind = ListTypeDir) {
        MusicFileAction action(path, kActionTypeFile, listKind, false);
        size_t before = gUIWindows.size();
        int result = action.dowork(nullptr);
        while (gUIWindows.size() > before) {
            EXPECT_EQ(gUIWindows.back()->mKind, 1) << "the now-playing screen";
            closeTop();
            ++opened;
        }
        return result;
    }
    size_t opened = 0;
};

} // namespace

// The library's own walk into a folder and back to "stop and quit" is in the flow
// test; these are the branches it does not take.
TEST_F(TransportTest, DirectoryRowsSendTheFolderOnlyWhenItChangesAndReplayOnlyWhenNeeded) {
    EXPECT_EQ(activate("/music/a/one.mp3"), 0);
    EXPECT_TRUE(gNeedToRefreshIndex);
    activate("/music/a/two.mp3"); // the same folder: the file alone
    setStatus("/music/a/two.mp3", "playing");
    activate("/music/a/two.mp3"); // what was asked for last still plays: only shown again
    setStatus("/music/a/two.mp3", "paused");
    activate("/music/a/two.mp3"); // a paused one is asked for again
    EXPECT_EQ(sent(nullptr, "path"),
              (Words{"/music/a", "/music/a/one.mp3", "/music/a/two.mp3", "/music/a/two.mp3"}));
    EXPECT_EQ(opened, 4u);
    // A folder the service refuses opens nothing and is not remembered.
    service.stop();
    gNeedToRefreshIndex = false;
    EXPECT_EQ(activate("/music/b/two.mp3"), 0);
    EXPECT_EQ(sLastPlayPath + "|" + sLastPlayDir, "/music/a/two.mp3|/music/a");
    EXPECT_EQ(opened, 4u);
    EXPECT_FALSE(gNeedToRefreshIndex);
}

TEST_F(TransportTest, OtherListsPathsWithoutDotOrSlashPopupsAndPlayPause) {
    EXPECT_EQ(activate("/music/folder/noextension"), -1);
    EXPECT_EQ(activate("bare.mp3"), 0);
    EXPECT_EQ(opened, 0u) << "no dot or no slash: nothing sent, no screen";
    activate("/music/v1.0/noextension", ListTypeRecent); // a dot in a folder's name counts
    activate("/p/x.mp3", ListTypePlaylist);
    activate("/f/x.mp3", ListTypeFavorite);
    EXPECT_EQ(opened, 3u);
    setStatus("/m/a.mp3", "paused");
    EXPECT_EQ(stop_quit_player(nullptr), kWinResultQuit); // paused is not playing: no stop
    EXPECT_EQ(play_pause_player_in_playwindow(nullptr), kWinResultClose);
    setStatus("/m/a.mp3", "playing");
    EXPECT_EQ(play_pause_player_in_playwindow(nullptr), kWinResultClose);
    EXPECT_EQ(sent(), (Words{"play_file_in_recent_list", "play_file_in_playlist", "play_file_in_favorite",
                             "resume", "pause"}));

    MusicFileAction popup("/p/z.mp3", kActionTypeFile, ListTypePlaylist, true);
    EXPECT_EQ(popup.dowork(nullptr), kWinResultPopup);
    EXPECT_EQ(opened, 3u) << "the screen went to the popup queue";
    gUIWindows.push_back(new Opener);
    EXPECT_EQ(step(), kWinResultPopup);
    EXPECT_EQ(gUIWindows.back()->mKind, 1) << "and shows when the loop takes the result";
}
