// The program's SDL user events (type SDL_USEREVENT), told apart by their code.
#pragma once

enum {
    // Pushed by the status monitor after every cycle that read the status file: ends
    // the window loop's wait so that the top window reads the record again.
    USER_EVENT_STATUS_TICK = 25,
    // Pushed by a folder row; data1 points to the folder's path text, held by the
    // row's action.
    USER_EVENT_OPEN_FOLDER = 26,
};
