// Picking up where the listener left off: the playing list (its type and, for a folder
// list, its folder), the track, the play mode and the position, kept in "resume_state"
// in the service's data folder. Started again, the service loads that track paused at
// that position, so that "resume" plays on from there.
//
// Saved durably (written, synced, renamed), and only from the reporter thread, never
// the decode or audio thread: when another track begins, on pause and stop, when the
// play mode changes, every 5 seconds while playing (no more often, which would wear
// the card), and when the service ends.
#pragma once

#include "musicservice/player.h"

#include <string>

struct ResumeState {
    int listType = ListTypeDir;
    std::string folder; // a folder list's folder; empty for the other lists
    std::string path;
    int mode = PlayModeSequence;
    int64_t positionMs = 0;
};

std::string resumeStateText(const ResumeState& state);
// 0, or -1 when the file holds no complete state.
int resumeStateRead(const char* file, ResumeState* state);

// Main thread, at start, once playback runs: restores the state saved in the data
// folder. A track that has gone is logged and nothing is loaded; a broken file is
// logged and removed (the next save writes a good one).
void resumeRestore(const char* dataDir);
// Reporter thread: looks at what plays and saves when one of the moments above has come.
void resumeNote(const PlayerSnapshot& snapshot, long nowMs);
// Reporter thread, or after it has ended: saves what plays now, if it differs from the
// last save.
void resumeSave(const PlayerSnapshot& snapshot, long nowMs);
