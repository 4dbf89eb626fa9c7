// The names the program defines for the toolkit, as a test program provides them.
#include "shmvar.h"
#include "zwindow.h"

ShmInfo gShmInfo = {nullptr, 0};
char* gThemePath = nullptr;
int gJoystickInits = 0;

void initJoyStick() {
    ++gJoystickInits;
}
