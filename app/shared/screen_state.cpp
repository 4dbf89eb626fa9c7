#include "app/shared/screen_state.h"

std::vector<ZelmorWindow*> gUIWindows;
ZelmorSurface* gIconAudio = nullptr;
ZelmorSurface* gIsPlaying = nullptr;
ZelmorSurface* gIsPaused = nullptr;
SDL_Color gListColorSubtxt2 = {255, 255, 255, 128};
std::string gUserPath;
std::string gUserFile;
