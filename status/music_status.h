// The status monitor: a thread that reads the service's status file and metadata dump
// ten times a second into one record, and wakes the window loop after each good read.
#pragma once

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

extern MusicPlayingStatus sMusicPlayingStatus;
// Guards sMusicPlayingStatus except seekTarget and seekHold. Readers lock, copy, unlock.
extern pthread_mutex_t sMusicPlayingStatusLock;
extern std::atomic<bool> sMusicThreadRunning;

// Stores one parsed status object into the record, merging the dump's tags (the caller
// holds the lock when the record is the shared one).
void storeStatusRecord(const cJSON* status, const TrackDump& dump, MusicPlayingStatus* record);

// One cycle without the sleep: reads both files, updates the record under the lock and
// pushes the tick event. 1 when the status file parsed, 0 when the record was kept.
int musicStatusCycle(char** text);

void* music_thread(void* unused);

// Whether the service reports "playing".
bool is_music_playing();
