#include "service/actions/transport_rows.h"

#include "service/client/commands.h"
#include "status/music_status.h"
#include "zcommon.h"
#include "zwindow.h"

int sendPauseOrResume(const std::string& status) {
    return noarg_cmd(isPlayingState(status) ? kCmdPause : kCmdResume);
}

int quit_player(void*) {
    // Whether the music goes on is decided at shutdown, by the background play setting.
    return kWinResultQuit;
}

int stop_quit_player(void*) {
    if (is_music_playing())
        noarg_cmd(kCmdStop);
    return kWinResultQuit;
}

int play_pause_player_in_playwindow(void*) {
    std::string status;
    readMusicStatus([&](const MusicPlayingStatus& record) { status = record.status; });
    tprintf("play_pause_player_in_playwindow status %s\n", status.c_str());
    sendPauseOrResume(status);
    return kWinResultClose;
}
