// The popup menu of both main screens, the settings rows acting and saving at once, and
// the information rows of the current track.
#include "app/config.h"
#include "player_fixture.h"
#include "popups/music_info_window.h"
#include "popups/music_setting_window.h"
#include "popups/popup_menu.h"

#include <cjson/cJSON.h>

namespace {

int sPlayPauseRuns = 0;
int countingPlayPause(void*) {
    ++sPlayPauseRuns;
    return kWinResultClose;
}

// The screen the popup opens over: it keeps the loop going and never closes.
struct BaseScreen : ZelmorWindow {
    BaseScreen() : ZelmorWindow(8, 0) {}
    int eventHandling() override { return wait_event(nullptr); }
};

class PopupsTest : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        gUIWindows.push_back(new BaseScreen);
        sPlayPauseRuns = 0;
    }
    PopUpWindow* popup() { return dynamic_cast<PopUpWindow*>(gUIWindows.back()); }
    std::vector<std::string> rowLabels() {
        std::vector<std::string> labels;
        TextMenuDrawer* menu = popup()->getMenu();
        for (int i = 0; i < menu->getListNum(); ++i)
            labels.push_back(menu->getItemByIndex(i)->getLabel());
        return labels;
    }
    // The saved configuration, as a JSON tree; null when it is not whole.
    cJSON* savedConfig() { return cJSON_Parse(readFile(MP_CONFIG_FILE).c_str()); }
};

int member(cJSON* root, const char* name) {
    cJSON* item = cJSON_GetObjectItem(root, name);
    return item && cJSON_IsNumber(item) ? item->valueint : -1;
}

} // namespace

TEST_F(PopupsTest, FiveRowsWithoutAHeadsetAndFourWithOne) {
    int argument = 0;
    openPopupMenu(countingPlayPause, &argument);
    ASSERT_NE(popup(), nullptr);
    EXPECT_EQ(rowLabels(), (std::vector<std::string>{"Background Play", "Stop And Quit Player", "Play/Pause",
                                                     "Music Information", "Settings"}));
    SDL_Rect rect = popup()->getMenu()->mRect;
    EXPECT_EQ(std::vector<int>({rect.x, rect.y, rect.w, rect.h}), std::vector<int>({338, 208, 604, 304}));
    auto* playPause = static_cast<GeneralAction*>(popup()->getMenu()->getItemByIndex(2)->getAction());
    EXPECT_EQ(playPause->mArg, &argument);
    pressAndStep(SDLK_ESCAPE);
    EXPECT_EQ(gUIWindows.size(), 1u);

    writeFile(MP_BTDEV_ADDR_FILE, "00:11:22:33:44:55");
    openPopupMenu(countingPlayPause, nullptr);
    EXPECT_EQ(rowLabels(),
              (std::vector<std::string>{"Stop And Quit Player", "Play/Pause", "Music Information", "Settings"}));
    rect = popup()->getMenu()->mRect;
    EXPECT_EQ(std::vector<int>({rect.x, rect.y, rect.w, rect.h}), std::vector<int>({338, 233, 604, 254}));
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    EXPECT_EQ(sPlayPauseRuns, 1);
    EXPECT_EQ(gUIWindows.size(), 1u) << "play/pause closes the menu";
}

TEST_F(PopupsTest, InformationWithNothingPlayingOnlyClosesTheMenu) {
    setStatus("/m/a.mp3", "stopped");
    openPopupMenu(countingPlayPause, nullptr);
    for (int i = 0; i < 3; ++i)
        pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    EXPECT_EQ(gUIWindows.size(), 1u);
    setStatus("", "playing");
    EXPECT_EQ(popup_info_window(nullptr), kWinResultClose);
}

TEST_F(PopupsTest, InformationRowsShowTheFileNameAndTheTagsThereAre) {
    auto rowsFor = [&](const std::string& filename) {
        openPopupMenu(countingPlayPause, nullptr);
        for (int i = 0; i < 3; ++i)
            pressAndStep(SDLK_DOWN);
        pressAndStep(SDLK_RETURN);
        std::vector<std::string> rows;
        auto* window = dynamic_cast<MusicInfoWindow*>(gUIWindows.back());
        EXPECT_NE(window, nullptr) << filename;
        if (!window)
            return rows;
        for (ItemDrawable* item : window->mSettingMenu.mItems) {
            auto* row = static_cast<SettingItem*>(item);
            rows.push_back(std::string(getLangStr(row->labelId())) + ": " + row->value());
        }
        pressAndStep(SDLK_ESCAPE); // the window, then the menu under it goes by itself
        step();
        EXPECT_EQ(gUIWindows.size(), 1u);
        return rows;
    };
    setStatus("/music/Some Band/01 - Opening.flac", "playing");
    EXPECT_EQ(rowsFor("no tags"), std::vector<std::string>{"Music Name: 01 - Opening.flac"});

    setStatus("/music/b.mp3", "paused");
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    sMusicPlayingStatus.artist = "Artist Name";
    sMusicPlayingStatus.genre = "Jazz";
    sMusicPlayingStatus.year = "1999";
    sMusicPlayingStatus.title = "never shown";
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    EXPECT_EQ(rowsFor("tags"), (std::vector<std::string>{"Music Name: b.mp3", "Artist: Artist Name", "Genre: Jazz",
                                                         "Year: 1999"}));
    setStatus("no-slash.mp3", "playing");
    EXPECT_EQ(rowsFor("no slash"), std::vector<std::string>{});
    setStatus("/music/folder/", "playing");
    EXPECT_EQ(rowsFor("ends in a slash"), std::vector<std::string>{"Music Name: "});
}

TEST_F(PopupsTest, VolumeStepsByTenAndEveryChangeIsSentAndSavedWhole) {
    gMusicVolume = 70;
    gCoverBackground = true;
    gVisualization = true;
    gBackgroundPlay = false;
    s_curEffectIndex = 2;
    ASSERT_EQ(popup_setting_window(nullptr), kWinResultPopup);
    gUIWindows.push_back(new BaseScreen); // stands for the popup menu the row was in
    struct Opener : ZelmorWindow {
        Opener() : ZelmorWindow(8, 0) {}
        int eventHandling() override { return kWinResultPopup; }
    };
    gUIWindows.push_back(new Opener);
    step();
    auto* settings = dynamic_cast<MusicSettingWindow*>(gUIWindows.back());
    ASSERT_NE(settings, nullptr);
    auto* handler = new VolumeValueHandler();
    EXPECT_STREQ(handler->getShowValue(), "7/10");
    delete handler;

    pressAndStep(SDLK_RIGHT);
    EXPECT_EQ(gMusicVolume, 80);
    cJSON* saved = savedConfig();
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(member(saved, "music_volume"), 80);
    EXPECT_EQ(member(saved, "cover_as_background"), 1);
    EXPECT_EQ(member(saved, "music_visualization"), 1);
    EXPECT_EQ(member(saved, "background_play"), 0);
    EXPECT_EQ(member(saved, "visualization_index"), 2);
    cJSON_Delete(saved);
    pressAndStep(SDLK_LEFT);
    pressAndStep(SDLK_LEFT);
    EXPECT_EQ(gMusicVolume, 60);
    saved = savedConfig();
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(member(saved, "music_volume"), 60);
    cJSON_Delete(saved);
    EXPECT_EQ(sent(), (std::vector<std::string>{"set_volume", "set_volume", "set_volume"}));
    EXPECT_NE(lastBody("set_volume").find("60"), std::string::npos);

    // The bottom position is stored as 0 and sent as 1, again on every press.
    gMusicVolume = 0;
    VolumeValueHandler bottom;
    bottom.changeValue(kKeyLeft);
    EXPECT_EQ(gMusicVolume, 0);
    EXPECT_STREQ(bottom.getShowValue(), "0/10");
    EXPECT_EQ(sent().size(), 4u);
    EXPECT_NE(lastBody("set_volume").find("\t1\n"), std::string::npos) << lastBody("set_volume");
}

TEST_F(PopupsTest, SwitchesActAndSaveAtOnce) {
    gVisualization = true;
    gBackgroundPlay = true;
    gCoverBackground = true;
    popup_setting_window(nullptr);
    struct Opener : ZelmorWindow {
        Opener() : ZelmorWindow(8, 0) {}
        int eventHandling() override { return kWinResultPopup; }
    };
    gUIWindows.push_back(new Opener);
    step();
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN); // cover background off
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RIGHT); // visualisation off
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_LEFT); // background play off
    EXPECT_FALSE(gCoverBackground);
    EXPECT_FALSE(gVisualization);
    EXPECT_FALSE(gBackgroundPlay);
    cJSON* saved = savedConfig();
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(member(saved, "background_play"), 0);
    EXPECT_EQ(member(saved, "music_visualization"), 0);
    EXPECT_EQ(member(saved, "cover_as_background"), 0);
    cJSON_Delete(saved);
    EXPECT_EQ(pressAndStep(SDLK_ESCAPE), kWinResultClose);
}
