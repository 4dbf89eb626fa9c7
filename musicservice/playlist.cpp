#include "musicservice/playlist.h"

#include "base/files.h"
#include "musicservice/m3u.h"
#include "musicservice/music_folder.h"
#include "zcommon.h"

#include <algorithm>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

namespace {

pthread_mutex_t sListLock = PTHREAD_MUTEX_INITIALIZER;

std::string sDataDir;
std::vector<std::string> sFolder;
std::vector<std::string> sRecent;
// The recent list changed since it was last saved.
bool sRecentChanged = false;

// The list that plays, a copy taken when a file was chosen in it.
std::vector<std::string> sPlaying;
int sPlayingType = ListTypeDir;
int sIndex = -1;
int sMode = PlayModeSequence;

// Random order: a permutation of the playing list, the cursor's place in it, and the
// next permutation once the end of this one has been looked past.
std::vector<int> sOrder;
int sOrderPos = -1;
std::vector<int> sNextOrder;

// Raised by every change of the playing list, the cursor or the mode.
uint64_t sVersion = 1;
uint64_t sRandomState = 0;

uint64_t nextRandom() {
    // splitmix64: small, fast, and good enough to shuffle a list.
    if (sRandomState == 0) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        sRandomState = static_cast<uint64_t>(now.tv_nsec) ^ (static_cast<uint64_t>(getpid()) << 32) ^ 0x9E3779B97F4A7C15ull;
    }
    uint64_t z = (sRandomState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

std::vector<int> shuffled(int count) {
    std::vector<int> order(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        order[static_cast<size_t>(i)] = i;
    for (int i = count - 1; i > 0; --i)
        std::swap(order[static_cast<size_t>(i)], order[nextRandom() % static_cast<uint64_t>(i + 1)]);
    return order;
}

// A fresh random order that starts with the current track.
void rebuildOrder() {
    int count = static_cast<int>(sPlaying.size());
    sOrder = shuffled(count);
    sNextOrder.clear();
    sOrderPos = -1;
    if (sIndex < 0)
        return;
    auto at = std::find(sOrder.begin(), sOrder.end(), sIndex);
    std::iter_swap(sOrder.begin(), at);
    sOrderPos = 0;
}

// The order that follows an exhausted one; it does not start with the track that has
// just played, so no track comes twice in a row.
const std::vector<int>& followingOrder() {
    if (sNextOrder.empty()) {
        int count = static_cast<int>(sPlaying.size());
        sNextOrder = shuffled(count);
        if (count > 1 && sNextOrder[0] == sIndex)
            std::swap(sNextOrder[0], sNextOrder[1 + nextRandom() % static_cast<uint64_t>(count - 1)]);
    }
    return sNextOrder;
}

// Where the step leads: the index, or -1 for nowhere. With commit the random order
// moves along too; without it only a following order may be prepared.
int stepTarget(PlaylistStep step, bool commit) {
    int count = static_cast<int>(sPlaying.size());
    if (count == 0)
        return -1;
    if (sMode == PlayModeRandom) {
        if (sOrder.size() != sPlaying.size())
            rebuildOrder();
        if (step == kStepPrevious) {
            int pos = sOrderPos <= 0 ? count - 1 : sOrderPos - 1;
            if (commit)
                sOrderPos = pos;
            return sOrder[static_cast<size_t>(pos)];
        }
        if (sOrderPos + 1 < count) {
            if (commit)
                ++sOrderPos;
            return sOrder[static_cast<size_t>(commit ? sOrderPos : sOrderPos + 1)];
        }
        int target = followingOrder()[0];
        if (commit) {
            sOrder.swap(sNextOrder);
            sNextOrder.clear();
            sOrderPos = 0;
        }
        return target;
    }
    switch (step) {
    case kStepNext:
        return sIndex + 1 < count ? sIndex + 1 : 0;
    case kStepPrevious:
        return sIndex <= 0 ? count - 1 : sIndex - 1;
    case kStepAuto:
        if (sMode == PlayModeSingleCycle && sIndex >= 0)
            return sIndex;
        return sIndex + 1 < count ? sIndex + 1 : -1;
    case kStepSkip:
        return sIndex + 1 < count ? sIndex + 1 : -1;
    }
    return -1;
}

void moveTo(int index) {
    sIndex = index;
    if (sMode == PlayModeRandom && !sOrder.empty() && sOrderPos >= 0 &&
        sOrder[static_cast<size_t>(sOrderPos)] != index)
        rebuildOrder();
    ++sVersion;
}

std::string listFile(const char* name) {
    return sDataDir + "/" + name;
}

std::string trimmedDir(const char* dir) {
    std::string result = dir ? dir : "";
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
}

int indexOf(const std::vector<std::string>& list, const char* path) {
    auto at = std::find(list.begin(), list.end(), path);
    return at == list.end() ? -1 : static_cast<int>(at - list.begin());
}

} // namespace

int playlistInit(const char* dataDir) {
    pthread_mutex_lock(&sListLock);
    sDataDir = trimmedDir(dataDir);
    makeParentDirs((sDataDir + "/recent.m3u").c_str());
    if (m3uLoad(listFile("recent.m3u"), &sRecent) > static_cast<int>(kRecentMax))
        sRecent.resize(kRecentMax);
    pthread_mutex_unlock(&sListLock);
    return 0;
}

void playlistReset() {
    pthread_mutex_lock(&sListLock);
    sFolder.clear();
    sRecent.clear();
    sPlaying.clear();
    sPlayingType = ListTypeDir;
    sIndex = -1;
    sMode = PlayModeSequence;
    sOrder.clear();
    sNextOrder.clear();
    sOrderPos = -1;
    ++sVersion;
    pthread_mutex_unlock(&sListLock);
}

int playlistSetDir(const char* dir) {
    std::vector<std::string> paths;
    int count = scanMusicFolder(trimmedDir(dir), &paths);
    pthread_mutex_lock(&sListLock);
    sFolder.swap(paths);
    pthread_mutex_unlock(&sListLock);
    return count;
}

int playlistSelect(int listType, const char* path) {
    std::vector<std::string> list;
    // File reads and folder scans happen before the lock is taken.
    if (listType == ListTypePlaylist) {
        m3uLoad(listFile("playlist.m3u"), &list);
    } else if (listType == ListTypeFavorite) {
        m3uLoad(listFile("favorite.m3u"), &list);
    } else if (listType == ListTypeDir) {
        pthread_mutex_lock(&sListLock);
        bool known = indexOf(sFolder, path) >= 0;
        if (known)
            list = sFolder;
        pthread_mutex_unlock(&sListLock);
        if (!known) {
            scanMusicFolder(folderOf(path), &list);
            pthread_mutex_lock(&sListLock);
            sFolder = list;
            pthread_mutex_unlock(&sListLock);
        }
    } else if (listType != ListTypeRecent) {
        return -1;
    }
    pthread_mutex_lock(&sListLock);
    if (listType == ListTypeRecent)
        list = sRecent;
    int index = indexOf(list, path);
    if (index >= 0) {
        sPlaying.swap(list);
        sPlayingType = listType;
        sIndex = index;
        rebuildOrder();
        ++sVersion;
    }
    pthread_mutex_unlock(&sListLock);
    return index >= 0 ? 0 : -1;
}

int playlistCurrent(std::string* path) {
    pthread_mutex_lock(&sListLock);
    int result = -1;
    if (sIndex >= 0 && sIndex < static_cast<int>(sPlaying.size())) {
        *path = sPlaying[static_cast<size_t>(sIndex)];
        result = 0;
    }
    pthread_mutex_unlock(&sListLock);
    return result;
}

int playlistStep(PlaylistStep step, std::string* path) {
    pthread_mutex_lock(&sListLock);
    int target = stepTarget(step, true);
    if (target >= 0) {
        moveTo(target);
        *path = sPlaying[static_cast<size_t>(target)];
    }
    pthread_mutex_unlock(&sListLock);
    return target >= 0 ? 0 : -1;
}

int playlistReturnTo(const std::string& path) {
    pthread_mutex_lock(&sListLock);
    int count = static_cast<int>(sPlaying.size());
    int index = -1;
    // The track was the cursor's a moment ago: look back from the cursor first.
    for (int back = 0; back < count && index < 0; ++back) {
        int candidate = ((sIndex < 0 ? 0 : sIndex) - back + count) % count;
        if (sPlaying[static_cast<size_t>(candidate)] == path)
            index = candidate;
    }
    if (index >= 0 && index != sIndex) {
        sIndex = index;
        auto at = std::find(sOrder.begin(), sOrder.end(), index);
        if (sMode == PlayModeRandom && at != sOrder.end())
            sOrderPos = static_cast<int>(at - sOrder.begin());
        else if (sMode == PlayModeRandom)
            rebuildOrder();
        sNextOrder.clear();
        ++sVersion;
    }
    pthread_mutex_unlock(&sListLock);
    return index >= 0 ? 0 : -1;
}

int playlistPeekAuto(std::string* path, uint64_t* version) {
    pthread_mutex_lock(&sListLock);
    int target = stepTarget(kStepAuto, false);
    if (target >= 0)
        *path = sPlaying[static_cast<size_t>(target)];
    *version = sVersion;
    pthread_mutex_unlock(&sListLock);
    return target >= 0 ? 0 : -1;
}

int playlistCommitAuto(uint64_t version) {
    pthread_mutex_lock(&sListLock);
    int result = -1;
    if (version == sVersion) {
        int target = stepTarget(kStepAuto, true);
        if (target >= 0) {
            moveTo(target);
            result = 0;
        }
    }
    pthread_mutex_unlock(&sListLock);
    return result;
}

int playlistSetMode(int mode) {
    if (mode < PlayModeSequence || mode > PlayModeSingleCycle)
        return -1;
    pthread_mutex_lock(&sListLock);
    if (mode != sMode) {
        sMode = mode;
        if (mode == PlayModeRandom)
            rebuildOrder();
        ++sVersion;
    }
    pthread_mutex_unlock(&sListLock);
    return 0;
}

int playlistMode() {
    pthread_mutex_lock(&sListLock);
    int mode = sMode;
    pthread_mutex_unlock(&sListLock);
    return mode;
}

int playlistCurrentType() {
    pthread_mutex_lock(&sListLock);
    int type = sPlayingType;
    pthread_mutex_unlock(&sListLock);
    return type;
}

int playlistPlayingCount() {
    pthread_mutex_lock(&sListLock);
    int count = static_cast<int>(sPlaying.size());
    pthread_mutex_unlock(&sListLock);
    return count;
}

int playlistPlayingIndex() {
    pthread_mutex_lock(&sListLock);
    int index = sIndex;
    pthread_mutex_unlock(&sListLock);
    return index;
}

std::string playlistFavoritesFile() {
    pthread_mutex_lock(&sListLock);
    std::string file = listFile("favorite.m3u");
    pthread_mutex_unlock(&sListLock);
    return file;
}

int playlistFavorites(std::vector<std::string>* paths) {
    pthread_mutex_lock(&sListLock);
    std::string file = listFile("favorite.m3u");
    pthread_mutex_unlock(&sListLock);
    int count = m3uLoad(file, paths);
    return count < 0 ? 0 : count;
}

std::vector<std::string> playlistRecent() {
    pthread_mutex_lock(&sListLock);
    std::vector<std::string> copy = sRecent;
    pthread_mutex_unlock(&sListLock);
    return copy;
}

void playlistNoteStarted(const std::string& path) {
    pthread_mutex_lock(&sListLock);
    if (sRecent.empty() || sRecent.front() != path) {
        auto at = std::find(sRecent.begin(), sRecent.end(), path);
        if (at != sRecent.end())
            sRecent.erase(at);
        sRecent.insert(sRecent.begin(), path);
        if (sRecent.size() > kRecentMax)
            sRecent.resize(kRecentMax);
        sRecentChanged = true;
    }
    pthread_mutex_unlock(&sListLock);
}

int playlistSaveRecent() {
    pthread_mutex_lock(&sListLock);
    bool save = sRecentChanged && !sDataDir.empty();
    sRecentChanged = false;
    std::vector<std::string> copy = sRecent;
    std::string file = listFile("recent.m3u");
    pthread_mutex_unlock(&sListLock);
    if (!save)
        return 0;
    if (m3uSave(file, copy) < 0) {
        tprintf("musicservice: cannot save %s\n", file.c_str());
        return -1;
    }
    return 1;
}
