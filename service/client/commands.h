// The command words of the playback service and the thin wrappers that send them.
// Each wrapper opens its own connection, so any of them may be called at any time.
#pragma once

#include "service/protocol/protocol.h"

#include <string>
#include <unistd.h>
#include <vector>

// Paths of the service's favourites, fetched once at start by the window thread, which
// alone touches them.
extern std::vector<std::string> sFavoritePathList;

// One-way commands: the byte count the write returned, or -1 when the service is
// unreachable or the frame could not be built.
int setPlayMode(PlayMode mode);
int setvolume(int volume);
int noarg_cmd(const char* cmd);
int filepath_cmd(const char* cmd, const char* path);
// pause() is the service command "pause". The name is that of the C library's pause,
// declared by <unistd.h> with C linkage; the program's definition takes its place.
// "seek" with the target in milliseconds, as the seek timers send it.
int seek_cmd(int ms);

// Queries: the number member of the reply, or -1.
int getCurrentListType();
int getPlayMode();

// Replaces sFavoritePathList with the "path" strings of "get_favorite_list", in order.
// Leaves the list alone when the service does not answer or the reply is not JSON.
void fetchFavoriteList();
