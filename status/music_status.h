// The status monitor: a thread that reads the service's status file and metadata dump
// ten times a second into one record, and wakes the window loop after each good read.
#pragma once

#include "service/protocol/protocol.h"

#include <atomic>
#include <pthread.h>
#include <string>

struct cJSON;
struct TrackDump;

struct MusicPlayingStatus {
    std::string filename;
    std::string status;
    int duration = 0;
    int position = 0;
    int volume = 0;
    int audiotrack = 0;
    // Pending seek in seconds (-1: none) and the frames the bar keeps showing it. Shared
    // with the seek timer thread without the lock.
    std::atomic<int> seekTarget{-1};
    std::atomic<int> seekHold{0};
    std::string title;
    std::string artist;
    std::string album;
    std::string year;
    std::string comment;
    std::string track;
    std::string genre;
};

// Written by the monitor thread under sMusicPlayingStatusLock, held for one whole
// update; read by the window thread, the folder loader and the seek timer through
// readMusicStatus. seekTarget and seekHold are atomics outside the lock.
extern MusicPlayingStatus sMusicPlayingStatus;
extern pthread_mutex_t sMusicPlayingStatusLock;
// Set by main before it starts the monitor, cleared before it joins it (release stores,
// acquire loads).
extern std::atomic<bool> sMusicThreadRunning;

// Lock, copy, unlock: runs copy(record) with the lock held. copy takes what the caller
// needs and nothing more; the caller decides and acts after the lock is released.
template <typename Copy> void readMusicStatus(Copy copy) {
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    copy(static_cast<const MusicPlayingStatus&>(sMusicPlayingStatus));
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
}

// The state words: "playing" and "paused", compared exactly; any other text means that
// no track is active.
inline bool isPlayingState(const std::string& status) {
    return status == kStatePlaying;
}
inline bool isPausedState(const std::string& status) {
    return status == kStatePaused;
}

// Stores one parsed status object into the record, merging the dump's tags (the caller
// holds the lock when the record is the shared one).
void storeStatusRecord(const cJSON* status, const TrackDump& dump, MusicPlayingStatus* record);

// One cycle without the sleep: reads both files, updates the record under the lock and
// pushes the tick event. 1 when the status file parsed, 0 when the record was kept.
int musicStatusCycle(char** text);

void* music_thread(void* unused);

// Whether the service reports "playing" (reads the record under its lock).
bool is_music_playing();
