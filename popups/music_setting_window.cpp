#include "popups/music_setting_window.h"

#include "popups/list_screen.h"

#include "app/shared/config.h"
#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "service/client/commands.h"
#include "zcommon.h"

#include <cstdio>
#include <cstring>

namespace {

ZelmorSurface* load(const char* file) {
    return LoadZelmorSurface(gThemePath, "./", file);
}

// A switch takes effect and is saved at once; the window has nothing left to save.
int storeSwitch(bool* setting, bool value) {
    *setting = value;
    savePlayerConfig();
    return 1;
}

} // namespace

MusicSettingWindow::MusicSettingWindow()
    : ZelmorWindow(kLangSettings, -1), mLeftArrowA(nullptr), mLeftArrowN(nullptr), mRightArrowA(nullptr),
      mRightArrowN(nullptr), mTextField(nullptr), mRowA(nullptr), mRowN(nullptr), mSwitchOn(nullptr),
      mSwitchOff(nullptr) {}

MusicSettingWindow::~MusicSettingWindow() {
    // The rows hold these images but do not own them: they go before the menu.
    for (ZelmorSurface* image : {mLeftArrowN, mLeftArrowA, mRightArrowN, mRightArrowA, mTextField, mRowN, mRowA,
                                 mSwitchOn, mSwitchOff})
        delete image;
}

int MusicSettingWindow::eventHandling() {
    return mSettingMenu.eventHandling();
}

int MusicSettingWindow::draw() {
    return drawListScreen(this, mSettingMenu);
}

VolumeValueHandler::VolumeValueHandler() : mStep(gMusicVolume / 10) {
    memset(mShowValue, 0, sizeof(mShowValue));
}

int VolumeValueHandler::changeValue(int key) {
    if (key == kKeyLeft && mStep > 0)
        --mStep;
    else if (key == kKeyRight && mStep < 10)
        ++mStep;
    gMusicVolume = mStep * 10;
    // The lowest position keeps the service's output at its volume 1, not silent.
    sendVolumeSetting("volume handler");
    savePlayerConfig();
    return 1;
}

int VolumeValueHandler::saveValue() {
    return 1; // changeValue has saved already
}

// From the setting itself, so that a change made on the now-playing screen shows too.
char* VolumeValueHandler::getShowValue() {
    snprintf(mShowValue, sizeof(mShowValue), "%d/10", gMusicVolume / 10);
    return mShowValue;
}

bool CoverBackgroundHandler::getValue() {
    return gCoverBackground;
}

int CoverBackgroundHandler::setValue(bool value) {
    return storeSwitch(&gCoverBackground, value);
}

int CoverBackgroundHandler::saveValue() {
    return 1;
}

bool VisualizationHandler::getValue() {
    return gVisualization;
}

int VisualizationHandler::setValue(bool value) {
    return storeSwitch(&gVisualization, value);
}

int VisualizationHandler::saveValue() {
    return 1;
}

bool BackgroundPlayHandler::getValue() {
    return gBackgroundPlay;
}

int BackgroundPlayHandler::setValue(bool value) {
    return storeSwitch(&gBackgroundPlay, value);
}

int BackgroundPlayHandler::saveValue() {
    return 1;
}

int popup_setting_window(void*) {
    auto* window = new MusicSettingWindow();
    window->mLeftArrowN = load("skin/ic-left-arrow-n.png");
    window->mRightArrowN = load("skin/ic-right-arrow-n.png");
    window->mTextField = load("skin/bg-setting-textfield.png");
    window->mLeftArrowA = load("skin/ic-left-arrow-a.png");
    window->mRightArrowA = load("skin/ic-right-arrow-a.png");
    window->mRowN = load("skin/bg-list-long-n.png");
    window->mRowA = load("skin/bg-list-long-a.png");
    window->mSwitchOn = load("skin/sw-on.png");
    window->mSwitchOff = load("skin/sw-off.png");

    window->mSettingMenu.insertSettingItem(new SettingValueItem(
        window->mRowA, window->mRowN, window->mLeftArrowA, window->mLeftArrowN, window->mRightArrowA,
        window->mRightArrowN, window->mTextField, kLangVolume, nullptr, new VolumeValueHandler()));
    struct SwitchRow {
        int labelId;
        SwitchHandler* handler;
    };
    const SwitchRow switches[] = {
        {kLangCoverBackground, new CoverBackgroundHandler()},
        {kLangVisualization, new VisualizationHandler()},
        {kLangBackgroundPlay, new BackgroundPlayHandler()},
    };
    for (const SwitchRow& row : switches)
        window->mSettingMenu.insertSettingItem(new SettingSwitchItem(window->mRowA, window->mRowN, window->mSwitchOn,
                                                                     window->mSwitchOff, row.labelId, row.handler));
    add2PopupList(window);
    return kWinResultPopup;
}
