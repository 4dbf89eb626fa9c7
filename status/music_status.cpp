#include "status/music_status.h"

#include "base/device_paths.h"
#include "base/json_members.h"
#include "base/user_events.h"
#include "status/track_dump.h"
#include "zcommon.h"

#include <SDL2/SDL.h>
#include <cjson/cJSON.h>
#include <cstdio>
#include <unistd.h>

MusicPlayingStatus sMusicPlayingStatus;
pthread_mutex_t sMusicPlayingStatusLock = PTHREAD_MUTEX_INITIALIZER;
std::atomic<bool> sMusicThreadRunning{false};

void storeStatusRecord(const cJSON* status, const TrackDump& dump, MusicPlayingStatus* record) {
    const char* filename = jsonStringMember(status, kStatusFilename);
    record->filename = filename ? filename : "";
    bool applies = dumpApplies(filename, dump);
    record->status = jsonStringOrEmpty(status, kStatusState);
    jsonIntMember(status, kStatusDuration, &record->duration);
    jsonIntMember(status, kStatusPosition, &record->position);
    jsonIntMember(status, kStatusVolume, &record->volume);
    jsonIntMember(status, kStatusAudiotrack, &record->audiotrack);
    auto tag = [status](StatusTag which) { return jsonStringOrEmpty(status, kStatusTagMembers[which]); };
    record->title = tag(kTagTitle);
    mergeTagText(record->title, dump.title, applies);
    record->artist = tag(kTagArtist);
    mergeTagText(record->artist, dump.artist, applies);
    record->album = tag(kTagAlbum);
    mergeTagText(record->album, dump.album, applies);
    record->year = tag(kTagYear);
    mergeTagPlain(record->year, dump.date, applies);
    record->comment = tag(kTagComment);
    record->track = tag(kTagTrack);
    record->genre = tag(kTagGenre);
    mergeTagPlain(record->genre, dump.genre, applies);
}

int musicStatusCycle(char** text) {
    FILE* file = fopen(MP_STATUS_FILE, "r");
    if (!file)
        return 0;
    int stored = 0;
    cJSON* root = nullptr;
    if (loadContent(MP_STATUS_FILE, file, text) >= 0)
        root = cJSON_Parse(*text);
    if (root) {
        TrackDump dump;
        parseMusicInfo(&dump);
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        storeStatusRecord(root, dump, &sMusicPlayingStatus);
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
        cJSON_Delete(root);
        SDL_Event event;
        SDL_zero(event);
        event.type = SDL_USEREVENT;
        event.user.code = USER_EVENT_STATUS_TICK;
        if (SDL_PushEvent(&event) < 0)
            tprintf("Failed to push play SDL event\n");
        stored = 1;
    }
    fclose(file);
    return stored;
}

void* music_thread(void*) {
    sMusicPlayingStatus.seekTarget = -1;
    char* text = nullptr;
    while (sMusicThreadRunning.load(std::memory_order_acquire)) {
        musicStatusCycle(&text);
        usleep(100000);
    }
    return nullptr;
}

bool is_music_playing() {
    bool playing = false;
    readMusicStatus([&](const MusicPlayingStatus& record) { playing = isPlayingState(record.status); });
    return playing;
}
