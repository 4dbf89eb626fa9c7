// The names that the window toolkit and the shared key table expect the program to
// define: the key table's handle, filled by InitKeyShm; the theme's folder, set by
// loadSystemState (or to "./" at start-up); and initJoyStick, which main calls once and
// the toolkit again when a pad is plugged in. All of them belong to the window thread.
#include "app/shared/joystick.h"
#include "shmvar.h"
#include "zcommon.h"

ShmInfo gShmInfo = {nullptr, 0};
char* gThemePath = nullptr;
SDL_Joystick* gJoystick = nullptr;

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
