#include "app/globals.h"

#include "zcommon.h"

std::vector<ZelmorWindow*> gUIWindows;
ShmInfo gShmInfo = {nullptr, 0};
char* gThemePath = nullptr;
SDL_Joystick* gJoystick = nullptr;
ZelmorSurface* gIconAudio = nullptr;
ZelmorSurface* gIsPlaying = nullptr;
ZelmorSurface* gIsPaused = nullptr;
std::string gUserPath;
std::string gUserFile;
std::string sLastPlayPath;
std::string sLastPlayDir;
SDL_Color gListColorSubtxt2 = {255, 255, 255, 128};

void initJoyStick() {
    if (gJoystick) {
        SDL_JoystickClose(gJoystick);
        gJoystick = nullptr;
    }
    int count = SDL_NumJoysticks();
    tprintf("num of joysticks %d\n", count);
    for (int index = 0; index < count; ++index) {
        gJoystick = SDL_JoystickOpen(index);
        if (gJoystick) {
            tprintf(
                "opened joystick name: %s, number of axes: %d, number of buttons: %d, number of balls: %d\n",
                SDL_JoystickNameForIndex(index), SDL_JoystickNumAxes(gJoystick),
                SDL_JoystickNumButtons(gJoystick), SDL_JoystickNumBalls(gJoystick));
        } else {
            tprintf("open joystick fail: %s\n", SDL_GetError());
        }
    }
}
