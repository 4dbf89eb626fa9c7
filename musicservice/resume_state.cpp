#include "musicservice/resume_state.h"

#include "musicservice/file_replace.h"
#include "musicservice/key_value_file.h"
#include "musicservice/music_folder.h"
#include "musicservice/playlist.h"
#include "zcommon.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr long kPlayingSaveMs = 5000;
constexpr size_t kStateMaxBytes = 64 * 1024;

const char* const kListWords[] = {"dir", "recent", "playlist", "favorite"}; // ListTypeDir ...
const char* const kModeWords[] = {"sequence", "random", "repeat_one"};      // PlayModeSequence ...

// Set by resumeRestore before the reporter starts; then the reporter thread's own.
std::string sFile;
std::string sSavedText;
uint64_t sSavedSerial = 0;
PlayerState sSavedState = kPlayerStopped;
int sSavedMode = -1;
long sSavedAtMs = 0;
bool sFailed = false;
// The last position heard of a track before it stopped.
uint64_t sHeardSerial = 0;
int64_t sHeardMs = 0;

int wordIndex(const char* const* words, int count, const std::string& word) {
    for (int i = 0; i < count; ++i) {
        if (word == words[i])
            return i;
    }
    return -1;
}

bool isTrackPath(const std::string& path) {
    return !path.empty() && path[0] == '/' && path.find('\n') == std::string::npos;
}

} // namespace

std::string resumeStateText(const ResumeState& state) {
    std::string text = "list=" + std::string(kListWords[state.listType - ListTypeDir]) + "\n";
    if (state.listType == ListTypeDir)
        text += "folder=" + state.folder + "\n";
    text += "file=" + state.path + "\n";
    text += "mode=" + std::string(kModeWords[state.mode]) + "\n";
    text += "position_ms=" + std::to_string(state.positionMs) + "\n";
    return text;
}

int resumeStateRead(const char* file, ResumeState* state) {
    std::vector<KeyValue> entries;
    int badLine = 0;
    if (readKeyValueFile(file, kStateMaxBytes, &entries, &badLine) <= 0)
        return -1;
    int listIndex = -1;
    state->mode = -1;
    state->positionMs = -1;
    for (const KeyValue& entry : entries) {
        if (entry.key == "list") {
            listIndex = wordIndex(kListWords, 4, entry.value);
        } else if (entry.key == "folder") {
            state->folder = entry.value;
        } else if (entry.key == "file") {
            state->path = entry.value;
        } else if (entry.key == "mode") {
            state->mode = wordIndex(kModeWords, 3, entry.value);
        } else if (entry.key == "position_ms") {
            char* end = nullptr;
            errno = 0;
            long long ms = strtoll(entry.value.c_str(), &end, 10);
            state->positionMs = end != entry.value.c_str() && *end == '\0' && errno == 0 && ms >= 0 ? ms : -1;
        } else {
            return -1;
        }
    }
    state->listType = ListTypeDir + listIndex;
    bool folderKnown = state->listType != ListTypeDir || isTrackPath(state->folder);
    bool complete = listIndex >= 0 && folderKnown && isTrackPath(state->path) && state->mode >= 0;
    return complete && state->positionMs >= 0 ? 0 : -1;
}

void resumeRestore(const char* dataDir) {
    sFile = std::string(dataDir) + "/resume_state";
    ResumeState state;
    if (access(sFile.c_str(), F_OK) != 0)
        return;
    if (resumeStateRead(sFile.c_str(), &state) < 0) {
        tprintf("musicservice: %s is broken; ignored, and replaced at the next save\n", sFile.c_str());
        unlink(sFile.c_str());
        return;
    }
    playlistSetMode(state.mode);
    sSavedText = resumeStateText(state);
    struct stat info;
    if (stat(state.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        tprintf("musicservice: the remembered track %s has gone; skipped\n", state.path.c_str());
        return;
    }
    if (state.listType == ListTypeDir)
        playlistSetDir(state.folder.c_str());
    tprintf("musicservice: picking up %s at %lld ms, paused\n", state.path.c_str(),
            static_cast<long long>(state.positionMs));
    playerRestore(state.listType, state.path, state.positionMs);
}

void resumeNote(const PlayerSnapshot& snapshot, long nowMs) {
    if (!snapshot.info)
        return;
    if (snapshot.state != kPlayerStopped) {
        sHeardSerial = snapshot.trackSerial;
        sHeardMs = snapshot.positionMs;
    }
    bool due = snapshot.trackSerial != sSavedSerial || playlistMode() != sSavedMode ||
               (snapshot.state != sSavedState && snapshot.state != kPlayerPlaying) ||
               (snapshot.state == kPlayerPlaying && nowMs - sSavedAtMs >= kPlayingSaveMs);
    if (due)
        resumeSave(snapshot, nowMs);
}

void resumeSave(const PlayerSnapshot& snapshot, long nowMs) {
    if (!snapshot.info || sFile.empty())
        return;
    ResumeState state;
    state.listType = playlistCurrentType();
    state.path = snapshot.info->path;
    state.mode = playlistMode();
    state.positionMs = snapshot.positionMs;
    if (snapshot.state == kPlayerStopped) {
        // A stopped track is taken up where it was stopped (the player sends "stop" when
        // it quits); one heard to its end, from its start.
        bool heard = snapshot.trackSerial == sHeardSerial && sHeardMs < snapshot.info->durationMs - 1000;
        state.positionMs = heard ? sHeardMs : 0;
    }
    if (state.listType == ListTypeDir)
        state.folder = folderOf(state.path);
    sSavedSerial = snapshot.trackSerial;
    sSavedState = snapshot.state;
    sSavedMode = state.mode;
    sSavedAtMs = nowMs;
    if (!isTrackPath(state.path) || state.listType < ListTypeDir || state.listType > ListTypeFavorite ||
        state.mode < 0 || state.mode > 2)
        return;
    std::string text = resumeStateText(state);
    if (text == sSavedText)
        return;
    bool failed = replaceFile(sFile.c_str(), text.data(), text.size(), true) < 0;
    if (failed && !sFailed)
        tprintf("musicservice: cannot save %s: %s\n", sFile.c_str(), strerror(errno));
    sFailed = failed;
    if (!failed)
        sSavedText = text;
}
