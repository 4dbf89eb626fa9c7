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
// Row icons of a music file, of the file that plays and of the file that is paused;
// loaded at start-up, null when an image is missing.
extern ZelmorSurface* gIconAudio;
extern ZelmorSurface* gIsPlaying;
extern ZelmorSurface* gIsPaused;
// Secondary text on the now-playing screen: white, half transparent.
extern SDL_Color gListColorSubtxt2;
