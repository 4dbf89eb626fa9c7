#include "app/globals.h"
#include "app/startup.h"
#include "library/music_album_window.h"
#include "playwindow/music_play_window.h"
#include "status/music_status.h"
#include "zcommon.h"

void resumeDecision(StartState* state) {
    if (state->played)
        return;
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    state->played = sMusicPlayingStatus.status == "playing";
    state->currentPath = sMusicPlayingStatus.filename;
    tprintf("listtype %d, played %d, status %s\n", state->listType, state->played ? 1 : 0,
            sMusicPlayingStatus.status.c_str());
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
}

void pushStartScreens(const StartState& state) {
    size_t slash = state.currentPath.rfind('/');
    std::string startDir = slash == std::string::npos ? std::string() : state.currentPath.substr(0, slash);
    auto* album = new MusicAlbumWindow(startDir.empty() ? nullptr : startDir.c_str());
    album->init();
    gUIWindows.push_back(album);
    if (state.played)
        gUIWindows.push_back(new MusicPlayWindow(state.listType, true, false));
}
