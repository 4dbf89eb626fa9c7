// Playback: a decode thread that keeps a ring of output samples filled for SDL's audio
// callback (output.h), which hands them to the device.
//
// The decode thread owns the open files. When a track nears its end it opens the track
// that follows and decodes its first frames, so that at the end it writes the next
// track's samples straight behind the last ones of this one, with nothing in between.
// Each track begins at a mark in the ring; what the device is playing (for the status
// file) is found from the callback's read position and those marks.
//
// Commands are queued and carried out in order by the decode thread.
#pragma once

#include "musicservice/media_info.h"
#include "musicservice/output.h"
#include "musicservice/playlist.h"

#include <cstdint>
#include <memory>
#include <string>

struct PlayerOptions {
    // Raw file that receives every buffer handed to the audio device, silence while
    // paused included (48 kHz stereo s16le), or null.
    const char* recordPath = nullptr;
};

struct PlayerSnapshot {
    PlayerState state = kPlayerStopped;
    // The track being heard (or, when stopped, the last one), null before the first.
    std::shared_ptr<const TrackInfo> info;
    // Changes whenever another track (or the same file anew) begins to be heard.
    uint64_t trackSerial = 0;
    int64_t positionMs = 0;
    int volume = 0;
};

// Opens the audio device (SDL's dummy driver when no other works) and starts the
// decode thread: 0 or negative. A device that goes away later pauses playback (logged)
// and the default device is opened again.
int playerStart(const PlayerOptions& options);
// Ends the decode thread and closes the device: 0, or -1 when the thread did not end
// within a second (stuck in a file read); the process must then end without cleanup.
int playerShutdown();

// Makes the list of that type the playing one at the path (see playlistSelect) and
// plays the file from its start; a path that is not in the list is logged and changes
// nothing. When the file cannot be played the list moves on until one plays or the list
// is exhausted. The list changes when the command's turn comes, so that commands sent
// in a row act in the order they were sent.
void playerPlayFromList(int listType, const std::string& path);
// The same, loaded paused at ms: the state the service was left in, taken up again.
void playerRestore(int listType, const std::string& path, int64_t ms);
// Moves the playing list by kStepNext or kStepPrevious from the track being heard, and
// plays where it leads.
void playerStep(PlaylistStep step);
void playerPause();
// Resumes a paused track; when stopped, plays the playing list's current track.
void playerResume();
void playerStop();
// Target in milliseconds, clamped to the track.
void playerSeek(int64_t ms);

void playerSnapshot(PlayerSnapshot* snapshot);

// Called whenever what the status file shows may have changed.
void playerSetChangeHook(void (*hook)());
