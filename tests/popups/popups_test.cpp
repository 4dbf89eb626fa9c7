// The popup menu of both main screens, the settings rows acting and saving at once, and
// the information rows of the current track.
#include "player_fixture.h"
#include "popups/music_info_window.h"
#include "popups/music_setting_window.h"
#include "popups/popup_menu.h"

namespace {

int sPlayPauseRuns = 0;
int countingPlayPause(void*) {
    ++sPlayPauseRuns;
    return kWinResultClose;
}

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
        for (int i = 0; i < popup()->getMenu()->getListNum(); ++i)
            labels.push_back(popup()->getMenu()->getItemByIndex(i)->getLabel());
        return labels;
    }
    std::vector<int> menuRect() {
        SDL_Rect r = popup()->getMenu()->mRect;
        return {r.x, r.y, r.w, r.h};
    }
    // The settings screen as the popup menu's row opens it, over a stand-in of the menu.
    void openSettings() {
        ASSERT_EQ(popup_setting_window(nullptr), kWinResultPopup);
        gUIWindows.push_back(new Opener);
        step();
        ASSERT_NE(dynamic_cast<MusicSettingWindow*>(gUIWindows.back()), nullptr);
    }
    // The saved configuration: cover|visualisation|background|index|volume, or "not
    // whole" when a member is missing or the text is no JSON.
    static std::string saved() {
        cJSON* root = cJSON_Parse(readFile(MP_CONFIG_FILE).c_str());
        std::string text;
        for (const char* name : {"cover_as_background", "music_visualization", "background_play",
                                 "visualization_index", "music_volume"}) {
            cJSON* item = cJSON_GetObjectItem(root, name);
            text += cJSON_IsNumber(item) ? std::to_string(item->valueint) + "|" : "not whole|";
        }
        cJSON_Delete(root);
        return text;
    }
};

} // namespace

TEST_F(PopupsTest, FiveRowsWithoutAHeadsetAndFourWithOne) {
    int argument = 0;
    openPopupMenu(countingPlayPause, &argument);
    ASSERT_NE(popup(), nullptr);
    EXPECT_EQ(rowLabels(), (std::vector<std::string>{"Background Play", "Stop And Quit Player", "Play/Pause",
                                                     "Music Information", "Settings"}));
    EXPECT_EQ(menuRect(), std::vector<int>({338, 208, 604, 304}));
    EXPECT_EQ(static_cast<GeneralAction*>(popup()->getMenu()->getItemByIndex(2)->getAction())->mArg,
              &argument);
    pressAndStep(SDLK_ESCAPE);
    EXPECT_EQ(gUIWindows.size(), 1u);

    writeFile(MP_BTDEV_ADDR_FILE, "00:11:22:33:44:55");
    openPopupMenu(countingPlayPause, nullptr);
    EXPECT_EQ(rowLabels(), (std::vector<std::string>{"Stop And Quit Player", "Play/Pause",
                                                     "Music Information", "Settings"}));
    EXPECT_EQ(menuRect(), std::vector<int>({338, 233, 604, 254}));
    pressAndStep(SDLK_DOWN);
    pressAndStep(SDLK_RETURN);
    EXPECT_EQ(sPlayPauseRuns, 1);
    EXPECT_EQ(gUIWindows.size(), 1u) << "play/pause closes the menu";
}

TEST_F(PopupsTest, InformationRowsShowTheFileNameAndTheTagsThereAre) {
    // The rows the information window shows for the current record; none when the menu's
    // row opened nothing.
    auto rows = [&]() {
        openPopupMenu(countingPlayPause, nullptr);
        for (SDL_Keycode key : {SDLK_DOWN, SDLK_DOWN, SDLK_DOWN, SDLK_RETURN})
            pressAndStep(key);
        std::vector<std::string> texts;
        if (auto* window = dynamic_cast<MusicInfoWindow*>(gUIWindows.back())) {
            for (ItemDrawable* item : window->mSettingMenu.mItems) {
                auto* row = static_cast<SettingItem*>(item);
                texts.push_back(std::string(getLangStr(row->labelId())) + ": " + row->value());
            }
            pressAndStep(SDLK_ESCAPE); // the window, then the menu under it goes by itself
            step();
        }
        EXPECT_EQ(gUIWindows.size(), 1u);
        return texts;
    };
    setStatus("/m/a.mp3", "stopped");
    EXPECT_EQ(rows(), std::vector<std::string>{}) << "nothing playing: the menu only closes";
    setStatus("", "playing");
    EXPECT_EQ(popup_info_window(nullptr), kWinResultClose);

    setStatus("/music/Some Band/01 - Opening.flac", "playing");
    EXPECT_EQ(rows(), std::vector<std::string>{"Music Name: 01 - Opening.flac"}) << "no tags";
    setStatus("/music/b.mp3", "paused", 0, 0, "never shown", "Artist Name");
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    sMusicPlayingStatus.genre = "Jazz";
    sMusicPlayingStatus.year = "1999";
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    EXPECT_EQ(rows(), (std::vector<std::string>{"Music Name: b.mp3", "Artist: Artist Name", "Genre: Jazz",
                                                "Year: 1999"}));
    setStatus("no-slash.mp3", "playing");
    EXPECT_EQ(rows(), std::vector<std::string>{});
    setStatus("/music/folder/", "playing");
    EXPECT_EQ(rows(), std::vector<std::string>{"Music Name: "});
}

TEST_F(PopupsTest, VolumeStepsByTenAndEveryChangeIsSentAndSavedWhole) {
    gMusicVolume = 70;
    gBackgroundPlay = false;
    s_curEffectIndex = 2;
    openSettings();
    EXPECT_STREQ(VolumeValueHandler().getShowValue(), "7/10");
    pressAndStep(SDLK_RIGHT);
    EXPECT_EQ(gMusicVolume, 80);
    EXPECT_EQ(saved(), "1|1|0|2|80|");
    pressAndStep(SDLK_LEFT);
    pressAndStep(SDLK_LEFT);
    EXPECT_EQ(gMusicVolume, 60);
    EXPECT_EQ(saved(), "1|1|0|2|60|");
    EXPECT_EQ(numbers("set_volume", "volume"), (std::vector<int>{80, 70, 60}));

    // The bottom position is stored as 0 and sent as 1, again on every press.
    gMusicVolume = 0;
    VolumeValueHandler bottom;
    bottom.changeValue(kKeyLeft);
    EXPECT_EQ(gMusicVolume, 0);
    EXPECT_STREQ(bottom.getShowValue(), "0/10");
    EXPECT_EQ(numbers("set_volume", "volume"), (std::vector<int>{80, 70, 60, 1}));
}

TEST_F(PopupsTest, SwitchesActAndSaveAtOnce) {
    gBackgroundPlay = true;
    openSettings();
    // Cover background, visualisation and background play off, each by another key.
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_RETURN, SDLK_DOWN, SDLK_RIGHT, SDLK_DOWN, SDLK_LEFT})
        pressAndStep(key);
    EXPECT_FALSE(gCoverBackground || gVisualization || gBackgroundPlay);
    EXPECT_EQ(saved(), "0|0|0|0|50|");
    EXPECT_EQ(pressAndStep(SDLK_ESCAPE), kWinResultClose);
}
