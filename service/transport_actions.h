// What a pressed row means to the playback service: the quit actions, play and pause
// from the now-playing screen's popup menu, and the action of a file or folder row of
// the library (service/music_file_action.h).
#pragma once

#include "zmenu.h"

#include <string>

// Tells the library to bring the playing row into view when it is on top again.
extern bool gNeedToRefreshIndex;

// Kinds of a row's action.
enum { kActionTypeFile = 100, kActionTypeFolder = 102 };

// Popup menu rows; the argument is not used.
int quit_player(void* unused);      // kWinResultQuit
int stop_quit_player(void* unused); // "stop" when playing, then kWinResultQuit
int play_pause_player_in_playwindow(void* unused); // "pause" or "resume", kWinResultClose

// The confirm action of the quit dialog: "stop" when "/tmp/btdev_addr" exists, then
// kWinResultQuit.
class QuitAction : public Action {
public:
    QuitAction();
    ~QuitAction() override;
    int dowork(void* arg) override;

    void* mReserved;
};

// The action of a file row: its path and kind.
class FileAction : public Action {
public:
    FileAction(const std::string& path, int type);
    ~FileAction() override;
    int dowork(void* arg) override;

    std::string mPath;
    int mType;
};
