// Process-wide state of the program that the screens share, and the names the program
// defines for the window toolkit and the shared key table.
#pragma once

#include "shmvar.h"
#include "zwindow.h"

#include <vector>

// The window stack that runWindows drives; the last element is the top window.
extern std::vector<ZelmorWindow*> gUIWindows;
// The last gamepad that initJoyStick opened.
extern SDL_Joystick* gJoystick;
