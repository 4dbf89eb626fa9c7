// Process-wide state of the program that the screens share, and the names the program
// defines for the window toolkit and the shared key table.
#pragma once

#include "shmvar.h"
#include "zwindow.h"

#include <string>
#include <vector>

// The window stack that runWindows drives; the last element is the top window.
extern std::vector<ZelmorWindow*> gUIWindows;
// The last gamepad that initJoyStick opened.
extern SDL_Joystick* gJoystick;

// Row icons of the library, loaded at start-up; null until then or when missing: a music
// file, the file that plays, the file that is paused.
extern ZelmorSurface* gIconAudio;
extern ZelmorSurface* gIsPlaying;
extern ZelmorSurface* gIsPaused;

// Root of the library browser; "/mnt/SDCARD/Music" unless -d or -f say otherwise.
extern std::string gUserPath;
// The single file named with -f, empty without it.
extern std::string gUserFile;
// The last file and directory this process told the service to play.
extern std::string sLastPlayPath;
extern std::string sLastPlayDir;
// Secondary text on the now-playing screen: white, half transparent.
extern SDL_Color gListColorSubtxt2;
