#include "app/shared/screen_state.h"
#include "app/startup/startup.h"
#include "library/music_album_window.h"
#include "playwindow/screen/music_play_window.h"
#include "status/music_status.h"
#include "zcommon.h"

void resumeDecision(StartState* state) {
    if (state->played)
        return;
    std::string status;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        status = record.status;
        state->currentPath = record.filename;
    });
    // A paused track does not count.
    state->played = isPlayingState(status);
    tprintf("listtype %d, played %d, status %s\n", state->listType, state->played ? 1 : 0, status.c_str());
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
