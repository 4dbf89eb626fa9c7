#include "status/music_status.h"

#include "app/device_paths.h"
#include "status/track_dump.h"
#include "zwindow.h"

#include <SDL2/SDL.h>
#include <cjson/cJSON.h>
#include <cstdio>
#include <unistd.h>

MusicPlayingStatus sMusicPlayingStatus;
pthread_mutex_t sMusicPlayingStatusLock = PTHREAD_MUTEX_INITIALIZER;
std::atomic<bool> sMusicThreadRunning{false};

namespace {

// The string member, or empty when it is absent or not a string.
std::string stringMember(const cJSON* object, const char* name) {
    const cJSON* item = cJSON_GetObjectItem(object, name);
    return item && cJSON_IsString(item) && item->valuestring ? item->valuestring : "";
}

// The number member's integer value into field; an absent member keeps the field.
void numberMember(const cJSON* object, const char* name, int* field) {
    const cJSON* item = cJSON_GetObjectItem(object, name);
    if (item && cJSON_IsNumber(item))
        *field = item->valueint;
}

} // namespace

void storeStatusRecord(const cJSON* status, const TrackDump& dump, MusicPlayingStatus* record) {
    const cJSON* filename = cJSON_GetObjectItem(status, "filename");
    bool hasFilename = filename && cJSON_IsString(filename) && filename->valuestring;
    record->filename = hasFilename ? filename->valuestring : "";
    bool applies = dumpApplies(hasFilename ? filename->valuestring : nullptr, dump);
    record->status = stringMember(status, "status");
    numberMember(status, "duration", &record->duration);
    numberMember(status, "position", &record->position);
    numberMember(status, "volume", &record->volume);
    numberMember(status, "audiotrack", &record->audiotrack);
    record->title = stringMember(status, "title");
    mergeTagText(record->title, dump.title, applies);
    record->artist = stringMember(status, "artist");
    mergeTagText(record->artist, dump.artist, applies);
    record->album = stringMember(status, "album");
    mergeTagText(record->album, dump.album, applies);
    record->year = stringMember(status, "year");
    mergeTagPlain(record->year, dump.date, applies);
    record->comment = stringMember(status, "comment");
    record->track = stringMember(status, "track");
    record->genre = stringMember(status, "genre");
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
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    bool playing = sMusicPlayingStatus.status == "playing";
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    return playing;
}
