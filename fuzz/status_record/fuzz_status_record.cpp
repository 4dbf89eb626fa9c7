// A status text (before the first NUL) and a dump (after it) into a record: parse,
// store and merge, as one monitor cycle does.
#include "status/music_status.h"
#include "status/track_dump.h"

#include <cjson/cJSON.h>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!freopen("/dev/null", "w", stdout))
        return 0;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    const void* nul = memchr(data, 0, size);
    size_t statusSize = nul ? static_cast<size_t>(static_cast<const uint8_t*>(nul) - data) : size;
    std::string status(text, statusSize);
    TrackDump dump;
    if (nul)
        parseMusicInfoText(text + statusSize + 1, size - statusSize - 1, &dump);
    cJSON* root = cJSON_Parse(status.c_str());
    if (!root)
        return 0;
    MusicPlayingStatus record;
    storeStatusRecord(root, dump, &record);
    cJSON_Delete(root);
    return 0;
}
