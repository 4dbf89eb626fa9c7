#include "popups/popup_menu.h"

#include "app/shared/screen_state.h"
#include "base/device_paths.h"
#include "popups/music_info_window.h"
#include "popups/music_setting_window.h"
#include "service/actions/transport_rows.h"
#include "zmenu.h"

#include <unistd.h>

void openPopupMenu(int (*playPause)(void*), void* playPauseArg) {
    auto* menu = new TextMenu("skin/bg-menu-item.png", nullptr, 6, 0);
    menu->mRowSetting = 20;
    menu->mRowFlag = true;

    // With a headset connected there is no quitting with the music left on.
    const bool headset = access(MP_BTDEV_ADDR_FILE, F_OK) == 0;
    struct RowSpec {
        int textId;
        int (*function)(void*);
        void* argument;
    };
    const RowSpec rows[] = {
        {31, quit_player, nullptr},
        {32, stop_quit_player, nullptr},
        {20, playPause, playPauseArg},
        {21, popup_info_window, nullptr},
        {10, popup_setting_window, nullptr},
    };
    int count = 0;
    for (const RowSpec& row : rows) {
        if (row.textId == 31 && headset)
            continue;
        menu->insertItem(new TextMenuItem(getLangStr(row.textId), nullptr,
                                          new GeneralAction(row.function, row.argument), true));
        ++count;
    }
    menu->mDisplayFlags[0] = menu->mDisplayFlags[1] = menu->mDisplayFlags[2] = 0;
    // Centred on the screen: 50 pixels a row and the panel's margins.
    SDL_Rect rect = count == 5 ? SDL_Rect{338, 208, 604, 304} : SDL_Rect{338, 233, 604, 254};
    menu->updateRectAndNum(rect, count);

    auto* popup = new PopUpWindow(21, menu, "skin/bg-menu-06.png");
    popup->FloatWindow::init();
    std::vector<ZelmorWindow*>* windows = gWinList ? gWinList : &gUIWindows;
    windows->push_back(popup);
}
