#include "musicservice/status_writer.h"

#include "base/device_paths.h"
#include "musicservice/file_replace.h"
#include "zcommon.h"

#include <cerrno>
#include <cjson/cJSON.h>
#include <cstdlib>
#include <unistd.h>

namespace {

const char* stateWord(PlayerState state) {
    switch (state) {
    case kPlayerPlaying:
        return kStatePlaying;
    case kPlayerPaused:
        return kStatePaused;
    case kPlayerStopped:
        break;
    }
    return kStateStopped;
}

} // namespace

std::string statusText(const PlayerSnapshot& snapshot) {
    static const TrackInfo kNoTrack;
    const TrackInfo& info = snapshot.info ? *snapshot.info : kNoTrack;
    cJSON* root = cJSON_CreateObject();
    if (!root)
        return std::string();
    cJSON_AddStringToObject(root, kStatusFilename, info.path.c_str());
    cJSON_AddStringToObject(root, kStatusState, stateWord(snapshot.state));
    // Whole seconds, both cut the same way, so that the position at the end of a track
    // is its duration (rounding the duration alone made 3:00.6 end at 3:00 of 3:01).
    cJSON_AddNumberToObject(root, kStatusDuration, static_cast<double>(info.durationMs / 1000));
    cJSON_AddNumberToObject(root, kStatusPosition, static_cast<double>(snapshot.positionMs / 1000));
    cJSON_AddNumberToObject(root, kStatusVolume, snapshot.volume);
    cJSON_AddNumberToObject(root, kStatusAudiotrack, info.audioStream);
    for (int tag = 0; tag < kTagCount; ++tag)
        cJSON_AddStringToObject(root, kStatusTagMembers[tag], info.tags[tag].c_str());
    std::string text;
    if (char* printed = cJSON_PrintUnformatted(root)) {
        text = printed;
        free(printed);
    }
    cJSON_Delete(root);
    return text;
}

int writeStatusText(const std::string& text) {
    return replaceFile(MP_STATUS_FILE, text.data(), text.size());
}

void writeTrackFiles(const TrackInfo& info, const std::string& coverPng) {
    if (replaceFile(MP_MUSIC_INFO_FILE, info.dump.data(), info.dump.size()) < 0)
        tprintf("musicservice: cannot write %s\n", MP_MUSIC_INFO_FILE);
    if (coverPng.empty()) {
        if (unlink(MP_MUSIC_COVER_FILE) < 0 && errno != ENOENT)
            tprintf("musicservice: cannot remove %s\n", MP_MUSIC_COVER_FILE);
    } else if (replaceFile(MP_MUSIC_COVER_FILE, coverPng.data(), coverPng.size()) < 0) {
        tprintf("musicservice: cannot write %s\n", MP_MUSIC_COVER_FILE);
    }
}
