// The last gamepad that initJoyStick opened (see toolkit_names.cpp); the window thread
// alone touches it.
#pragma once

#include "zwindow.h"

extern SDL_Joystick* gJoystick;
