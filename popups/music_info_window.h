// The track information screen: label and value rows of the current track's file name
// and tags, as the status monitor knew them when it opened.
#pragma once

#include "zmenu.h"

class MusicInfoWindow : public ZelmorWindow {
public:
    MusicInfoWindow();
    ~MusicInfoWindow() override;
    int eventHandling() override;
    int draw() override;

    ZelmorSurface* mRowA;
    ZelmorSurface* mRowN;
    SettingMenu mSettingMenu;
};

// The popup menu's "Music Information" row: kWinResultClose when nothing is playing or
// paused, else opens the window and gives kWinResultPopup.
int popup_info_window(void* unused);
