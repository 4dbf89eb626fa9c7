// Names the program defines for the window toolkit and the shared key table.
#pragma once

#include "shmvar.h"
#include "zwindow.h"

extern SDL_Joystick* gJoystick;
