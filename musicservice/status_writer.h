// The files the front end reads about the current track: the status file and, when
// another track begins, the metadata dump and the cover. Each is replaced whole by a rename, so a reader
// never sees half a file.
#pragma once

#include "musicservice/player.h"

#include <string>

// The status object as text: filename, status ("playing", "paused" or "stopped"),
// duration and position in whole seconds, volume, audiotrack, and the tags as strings.
std::string statusText(const PlayerSnapshot& snapshot);

// Replaces the status file with the text: 0, or -1 when it could not be replaced.
int writeStatusText(const std::string& text);

// The dump and the cover (PNG bytes) of a track that begins: the cover file is removed
// when there is none.
void writeTrackFiles(const TrackInfo& info, const std::string& coverPng);
