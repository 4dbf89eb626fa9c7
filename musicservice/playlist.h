// The lists the service plays from and the play order: the folder list set by
// "set_play_dir", the recent list (kept across restarts), the playlist and the
// favourites (M3U files in the service's data folder), and the three play modes.
//
// A "play_file_in_*" command copies its list into the playing list, so that a later
// "set_play_dir" or a change of the recent list does not pull the tracks from under
// what plays. All functions are safe from any thread: one lock guards the state.
#pragma once

#include "service/protocol/protocol.h"

#include <cstdint>
#include <string>
#include <vector>

// List types (ListTypeDir ...) and play modes (PlayModeSequence ...) are the
// protocol's numbers.

// How the playing list moves on.
enum PlaylistStep {
    kStepNext,     // the user asked for the next track
    kStepPrevious, // the user asked for the previous track
    kStepAuto,     // the track ended
    kStepSkip,     // the track could not be played: like kStepAuto, but never the same track
};

constexpr size_t kRecentMax = 100;

// The data folder holds recent.m3u, playlist.m3u and favorite.m3u; the recent list is
// loaded from it. Creates the folder when missing. 0 or -1.
int playlistInit(const char* dataDir);
// Forgets every list (tests).
void playlistReset();

// Replaces the folder list with the music files of dir: their count, or -1 when the
// folder cannot be read (the folder list is then empty).
int playlistSetDir(const char* dir);

// Makes the list of that type the playing one, at the path, and returns 0; -1 when the
// path is not in that list (nothing changes). For ListTypeDir a path outside the folder
// list first makes its own folder the folder list; the playlist and the favourites
// are read anew from their files.
int playlistSelect(int listType, const char* path);

// The track under the cursor: 0 with *path, or -1 when there is none.
int playlistCurrent(std::string* path);

// Moves the cursor: 0 with the new track in *path, or -1 when there is none to go to
// (an empty list, or the end of the list in sequence order), leaving the cursor.
int playlistStep(PlaylistStep step, std::string* path);

// Puts the cursor back on a track of the playing list (the one still being heard when
// the cursor has already moved on to the next): 0, or -1 when it is not in the list.
int playlistReturnTo(const std::string& path);

// The track that kStepAuto would give, without moving, and the version it holds for;
// -1 when the list would end. playlistCommitAuto makes that step when nothing has
// changed since (0), else does nothing (-1): the caller asks again.
int playlistPeekAuto(std::string* path, uint64_t* version);
int playlistCommitAuto(uint64_t version);

// 0, 1 or 2; anything else is refused with -1.
int playlistSetMode(int mode);
int playlistMode();
int playlistCurrentType();
// Size of the playing list and the cursor's index in it (-1: none).
int playlistPlayingCount();
int playlistPlayingIndex();

// The favourites' file, and the favourites as it holds them now: their count (0
// without a file).
std::string playlistFavoritesFile();
int playlistFavorites(std::vector<std::string>* paths);
// The recent list, newest first.
std::vector<std::string> playlistRecent();

// A track began: it goes to the front of the recent list. Nothing is written here,
// since this runs on the decode thread.
void playlistNoteStarted(const std::string& path);
// Saves the recent list when it changed since the last save, durably: 1 when written, 0
// when there was nothing to write, -1 when it could not be written (logged).
int playlistSaveRecent();
