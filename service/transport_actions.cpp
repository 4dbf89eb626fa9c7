#include "service/transport_actions.h"

#include "base/device_paths.h"
#include "service/commands.h"
#include "status/music_status.h"
#include "zcommon.h"

#include <unistd.h>

bool gNeedToRefreshIndex = false;

namespace {

std::string copyStatusWord() {
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    std::string status = sMusicPlayingStatus.status;
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    return status;
}

} // namespace

int quit_player(void*) {
    // Whether the music goes on is decided at shutdown, by the background play setting.
    return kWinResultQuit;
}

int stop_quit_player(void*) {
    if (copyStatusWord() == "playing")
        noarg_cmd("stop");
    return kWinResultQuit;
}

int play_pause_player_in_playwindow(void*) {
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    std::string filename = sMusicPlayingStatus.filename;
    std::string status = sMusicPlayingStatus.status;
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    tprintf("play_pause_player_in_playwindow status %s\n", status.c_str());
    noarg_cmd(status == "playing" ? "pause" : "resume");
    return kWinResultClose;
}

QuitAction::QuitAction() : mReserved(nullptr) {}

QuitAction::~QuitAction() {}

int QuitAction::dowork(void*) {
    // With a headset connected the music must not go on after the player is gone.
    if (access(MP_BTDEV_ADDR_FILE, F_OK) == 0)
        noarg_cmd("stop");
    tprintf("quit mediaplayer\n");
    return kWinResultQuit;
}

FileAction::FileAction(const std::string& path, int type) : mPath(path), mType(type) {}

FileAction::~FileAction() {}

int FileAction::dowork(void*) {
    tprintf("FileAction::dowork, should not be called here\n");
    return 0;
}
