// The settings screen: the volume row and three switches (cover background,
// visualisation, background play), each acting and saving at once.
#pragma once

#include "zmenu.h"

class MusicSettingWindow : public ZelmorWindow {
public:
    MusicSettingWindow();
    ~MusicSettingWindow() override;
    int eventHandling() override;
    int draw() override;

    ZelmorSurface* mLeftArrowA;
    ZelmorSurface* mLeftArrowN;
    ZelmorSurface* mRightArrowA;
    ZelmorSurface* mRightArrowN;
    ZelmorSurface* mTextField;
    ZelmorSurface* mRowA;
    ZelmorSurface* mRowN;
    ZelmorSurface* mSwitchOn;
    ZelmorSurface* mSwitchOff;
    SettingMenu mSettingMenu;
};

// The volume row's model: eleven positions in steps of 10.
class VolumeValueHandler : public ValueHandler {
public:
    VolumeValueHandler();
    int changeValue(int key) override;
    int saveValue() override;
    char* getShowValue() override;

    char mShowValue[32];
    int mStep;
};

class CoverBackgroundHandler : public SwitchHandler {
public:
    bool getValue() override;
    int setValue(bool value) override;
    int saveValue() override;
};

class VisualizationHandler : public SwitchHandler {
public:
    bool getValue() override;
    int setValue(bool value) override;
    int saveValue() override;
};

class BackgroundPlayHandler : public SwitchHandler {
public:
    bool getValue() override;
    int setValue(bool value) override;
    int saveValue() override;
};

// The popup menu's "Settings" row: opens the window; kWinResultPopup.
int popup_setting_window(void* unused);
