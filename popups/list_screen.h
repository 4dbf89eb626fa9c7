// The frame of the two full-screen list windows of the popups (settings, information):
// the skin's background, both bars with the window's title, then the rows.
#pragma once

#include "zmenu.h"

inline int drawListScreen(ZelmorWindow* window, SettingMenu& menu) {
    if (gBackground)
        gBackground->blit(nullptr, nullptr, 1, nullptr);
    window->drawNavBar(0);
    window->drawStatBar(0);
    menu.draw();
    return 0;
}
