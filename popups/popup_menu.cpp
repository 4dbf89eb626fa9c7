#include "popups/popup_menu.h"

#include "app/shared/language_table.h"
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
        bool leavesMusicOn; // quitting with the music going on
    };
    const RowSpec rows[] = {
        {kLangBackgroundPlay, quit_player, nullptr, true},
        {kLangStopAndQuit, stop_quit_player, nullptr, false},
        {kLangPlayPause, playPause, playPauseArg, false},
        {kLangMusicInformation, popup_info_window, nullptr, false},
        {kLangSettings, popup_setting_window, nullptr, false},
    };
    int count = 0;
    for (const RowSpec& row : rows) {
        if (row.leavesMusicOn && headset)
            continue;
        menu->insertItem(new TextMenuItem(getLangStr(row.textId), nullptr,
                                          new GeneralAction(row.function, row.argument), true));
        ++count;
    }
    menu->mDisplayFlags[0] = menu->mDisplayFlags[1] = menu->mDisplayFlags[2] = 0;
    // Centred on the screen: 50 pixels a row and the panel's margins.
    SDL_Rect rect = count == 5 ? SDL_Rect{338, 208, 604, 304} : SDL_Rect{338, 233, 604, 254};
    menu->updateRectAndNum(rect, count);

    auto* popup = new PopUpWindow(kLangMusicInformation, menu, "skin/bg-menu-06.png");
    popup->FloatWindow::init();
    std::vector<ZelmorWindow*>* windows = gWinList ? gWinList : &gUIWindows;
    windows->push_back(popup);
}
