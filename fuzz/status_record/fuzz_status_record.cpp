// A status text (before the first NUL) and a dump (after it) into a record: parse,
// store and merge, as one monitor cycle does.
#include "status/music_status.h"
#include "status/text_repair.h"
#include "status/track_dump.h"

#include <cjson/cJSON.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string member(const cJSON* root, const char* name) {
    const cJSON* item = cJSON_GetObjectItem(root, name);
    return cJSON_IsString(item) && item->valuestring ? item->valuestring : "";
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!freopen("/dev/null", "w", stdout))
        perror("freopen");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    const std::string status(text, strnlen(text, size));
    TrackDump dump;
    if (status.size() < size)
        parseMusicInfoText(text + status.size() + 1, size - status.size() - 1, &dump);
    cJSON* root = cJSON_Parse(status.c_str());
    if (!root)
        return 0;
    MusicPlayingStatus record;
    record.duration = 12345;
    storeStatusRecord(root, dump, &record);

    // Fields taken from the status file alone, and numbers kept when absent.
    if (record.filename != member(root, "filename") || record.status != member(root, "status") ||
        record.comment != member(root, "comment") || record.track != member(root, "track") ||
        (!cJSON_IsNumber(cJSON_GetObjectItem(root, "duration")) && record.duration != 12345))
        abort();
    // A sound title with few Latin-1 characters passes through untouched.
    std::string title = member(root, "title");
    int count = 0;
    if (!title.empty() && is_valid_utf8(title, &count) && title.find_first_not_of('?') != std::string::npos &&
        count <= static_cast<int>(title.size() / 4) && record.title != title)
        abort();
    cJSON_Delete(root);
    return 0;
}
