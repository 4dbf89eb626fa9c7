// What a pressed row sends to the service and when the now-playing screen opens, against
// the service double on the real socket.
#include "player_fixture.h"
#include "service/music_file_action.h"

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
            delete gUIWindows.back();
            gUIWindows.pop_back();
            ++opened;
        }
        return result;
    }
    size_t opened = 0;
};

} // namespace

TEST_F(TransportTest, AFileOfAnotherFolderChangesTheServicesFolderFirst) {
    EXPECT_EQ(activate("/music/a/one.mp3"), 0);
    EXPECT_EQ(sent(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir"}));
    EXPECT_NE(lastBody("set_play_dir").find("\"/music/a\""), std::string::npos);
    EXPECT_NE(lastBody("play_file_in_dir").find("\"/music/a/one.mp3\""), std::string::npos);
    EXPECT_TRUE(gNeedToRefreshIndex);
    EXPECT_EQ(opened, 1u);
    // The same folder again: the file alone.
    activate("/music/a/two.mp3");
    EXPECT_EQ(sent(), (std::vector<std::string>{"set_play_dir", "play_file_in_dir", "play_file_in_dir"}));
    // What was asked for last still plays: only shown again. A paused one is asked for.
    setStatus("/music/a/two.mp3", "playing");
    EXPECT_EQ(activate("/music/a/two.mp3"), 0);
    EXPECT_EQ(sent().size(), 3u);
    EXPECT_EQ(opened, 3u) << "but the screen opens";
    setStatus("/music/a/two.mp3", "paused");
    activate("/music/a/two.mp3");
    EXPECT_EQ(sent().size(), 4u);
    // A folder the service refuses opens nothing and is not remembered.
    service.stop();
    gNeedToRefreshIndex = false;
    EXPECT_EQ(activate("/music/b/two.mp3"), 0);
    EXPECT_EQ(sLastPlayPath + "|" + sLastPlayDir, "/music/a/two.mp3|/music/a");
    EXPECT_EQ(opened, 4u);
    EXPECT_FALSE(gNeedToRefreshIndex);
}

TEST_F(TransportTest, EachListSendsItsOwnCommandAndPathsWithoutDotOrSlashSendNothing) {
    EXPECT_EQ(activate("/music/folder/noextension"), -1);
    EXPECT_EQ(activate("/music/v1.0/noextension", ListTypeRecent), 0) << "a dot in a folder's name counts";
    EXPECT_EQ(activate("bare.mp3"), 0);
    EXPECT_EQ(opened, 1u) << "no slash: nothing sent, no screen";
    activate("/p/x.mp3", ListTypePlaylist);
    activate("/f/x.mp3", ListTypeFavorite);
    EXPECT_EQ(sent(), (std::vector<std::string>{"play_file_in_recent_list", "play_file_in_playlist",
                                                "play_file_in_favorite"}));
    EXPECT_EQ(opened, 3u);

    MusicFileAction popup("/p/z.mp3", kActionTypeFile, ListTypePlaylist, true);
    EXPECT_EQ(popup.dowork(nullptr), kWinResultPopup);
    EXPECT_EQ(opened, 3u) << "the screen went to the popup queue";
    gUIWindows.push_back(new Opener);
    EXPECT_EQ(step(), kWinResultPopup);
    EXPECT_EQ(gUIWindows.back()->mKind, 1) << "and shows when the loop takes the result";
}

TEST_F(TransportTest, AFolderRowAsksTheBrowserToEnterIt) {
    MusicFileAction folder("/music/albums", kActionTypeFolder, ListTypeDir, false);
    EXPECT_EQ(folder.dowork(nullptr), 0);
    SDL_Event event;
    ASSERT_EQ(SDL_PeepEvents(&event, 1, SDL_GETEVENT, SDL_USEREVENT, SDL_USEREVENT), 1);
    EXPECT_EQ(event.user.code, 26);
    EXPECT_EQ(event.user.data1, folder.mPath.c_str()) << "the text stays the action's";
    EXPECT_EQ(sent(), std::vector<std::string>{});
}

TEST_F(TransportTest, QuittingAndPlayPauseFromTheNowPlayingScreen) {
    setStatus("/m/a.mp3", "paused");
    EXPECT_EQ(stop_quit_player(nullptr), kWinResultQuit);
    EXPECT_EQ(sent(), std::vector<std::string>{}) << "paused is not playing";
    setStatus("/m/a.mp3", "playing");
    EXPECT_EQ(stop_quit_player(nullptr), kWinResultQuit);
    EXPECT_EQ(quit_player(nullptr), kWinResultQuit);
    EXPECT_EQ(play_pause_player_in_playwindow(nullptr), kWinResultClose);
    setStatus("", "");
    EXPECT_EQ(play_pause_player_in_playwindow(nullptr), kWinResultClose);
    EXPECT_EQ(sent(), (std::vector<std::string>{"stop", "pause", "resume"}));
}
