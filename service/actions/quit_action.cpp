#include "service/actions/quit_action.h"

#include "base/device_paths.h"
#include "service/client/commands.h"
#include "zcommon.h"

#include <unistd.h>

QuitAction::QuitAction() : mReserved(nullptr) {}

QuitAction::~QuitAction() {}

int QuitAction::dowork(void*) {
    // With a headset connected the music must not go on after the player is gone.
    if (access(MP_BTDEV_ADDR_FILE, F_OK) == 0)
        noarg_cmd(kCmdStop);
    tprintf("quit mediaplayer\n");
    return kWinResultQuit;
}
