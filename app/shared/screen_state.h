// What the screens share besides the settings: the window stack, the row icons and the
// secondary text colour of the skin, and the library's root and -f file. All of it is
// touched by the window thread alone, apart from gUserPath and gUserFile, which main
// sets before any other thread starts and the folder loader only reads.
#pragma once

#include "zwindow.h"

#include <string>
#include <vector>

// The window stack that runWindows drives; the last element is the top window.
extern std::vector<ZelmorWindow*> gUIWindows;

// Row icons of the library, loaded at start-up; null until then or when missing: a music
// file, the file that plays, the file that is paused.
extern ZelmorSurface* gIconAudio;
extern ZelmorSurface* gIsPlaying;
extern ZelmorSurface* gIsPaused;

// Secondary text on the now-playing screen: white, half transparent.
extern SDL_Color gListColorSubtxt2;

// Root of the library browser; "/mnt/SDCARD/Music" unless -d or -f say otherwise.
extern std::string gUserPath;
// The single file named with -f, empty without it.
extern std::string gUserFile;
