// The transport rows of the popup menu: quitting with or without the music, and play and
// pause from the now-playing screen. Each takes an argument it does not use and returns
// a window result. Window thread only.
#pragma once

#include <string>

int quit_player(void* unused);      // kWinResultQuit
int stop_quit_player(void* unused); // "stop" when playing, then kWinResultQuit
int play_pause_player_in_playwindow(void* unused); // "pause" or "resume", kWinResultClose

// "pause" when the state word says playing, else "resume"; the result of the send.
int sendPauseOrResume(const std::string& status);
