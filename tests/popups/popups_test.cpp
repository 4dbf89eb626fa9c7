// The popup menu of both main screens, the settings rows acting and saving at once, and
// the information rows of the current track.
#include "player_fixture.h"
#include "popups/music_info_window.h"
#include "popups/music_setting_window.h"
#include "popups/popup_menu.h"

#include <cjson/cJSON.h>

namespace {

class PopupsTest : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        gUIWindows.push_back(new BaseScreen);
    }
    // Runs a popup row's function and lets the loop show the window it queued.
    template <typename Window> Window* show(int (*open)(void*)) {
        EXPECT_EQ(open(nullptr), kWinResultPopup);
        gUIWindows.push_back(new Opener);
        step();
        return dynamic_cast<Window*>(gUIWindows.back());
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

// With a headset the background play row goes. (The five rows without one, and what they
// do, are seen where the library and the now-playing screen use them.)
TEST_F(PopupsTest, WithAHeadsetTheBackgroundPlayRowGoes) {
    writeFile(MP_BTDEV_ADDR_FILE, "00:11:22:33:44:55");
    openPopupMenu(nullptr, nullptr);
    auto* popup = dynamic_cast<PopUpWindow*>(gUIWindows.back());
    ASSERT_NE(popup, nullptr);
    EXPECT_EQ(rowLabels(*popup->getMenu()),
              (Words{"Stop And Quit Player", "Play/Pause", "Music Information", "Settings"}));
}

// The file's name, then the tags there are (the title is not among them); no window at
// all without a track.
TEST_F(PopupsTest, InformationRowsShowTheFileNameAndTheTagsThereAre) {
    setStatus("/m/a.mp3", "stopped");
    EXPECT_EQ(popup_info_window(nullptr), kWinResultClose);
    // A title, an artist, no album, a genre and a year.
    setStatus("/music/b.mp3", "paused", 0, 0, "never shown", "Artist Name", "", "Jazz", "1999");
    auto* window = show<MusicInfoWindow>(popup_info_window);
    ASSERT_NE(window, nullptr);
    std::vector<std::string> texts;
    for (ItemDrawable* item : window->mSettingMenu.mItems) {
        auto* row = static_cast<SettingItem*>(item);
        texts.push_back(std::string(getLangStr(row->labelId())) + ": " + row->value());
    }
    EXPECT_EQ(texts, (Words{"Music Name: b.mp3", "Artist: Artist Name", "Genre: Jazz", "Year: 1999"}));
}

// Every change acts at once: the volume in steps of ten, each step sent (the bottom as 1),
// and each switch by its own key; the file holds all five settings after each.
TEST_F(PopupsTest, SettingsActAndSaveWholeAtOnce) {
    gMusicVolume = 70;
    gBackgroundPlay = true;
    s_curEffectIndex = 2;
    ASSERT_NE(show<MusicSettingWindow>(popup_setting_window), nullptr);
    press(SDLK_RIGHT);
    EXPECT_EQ(saved(), "1|1|1|2|80|");
    press(SDLK_LEFT);
    press(SDLK_LEFT);
    EXPECT_EQ(saved(), "1|1|1|2|60|");
    // Cover background, visualisation and background play off.
    for (SDL_Keycode key : {SDLK_DOWN, SDLK_RETURN, SDLK_DOWN, SDLK_RIGHT, SDLK_DOWN, SDLK_LEFT})
        press(key);
    EXPECT_EQ(saved(), "0|0|0|2|60|");

    gMusicVolume = 0;
    VolumeValueHandler().changeValue(kKeyLeft);
    EXPECT_EQ(gMusicVolume, 0);
    EXPECT_EQ(sent("set_volume", "volume"), (Words{"80", "70", "60", "1"}));
}
