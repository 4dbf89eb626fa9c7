// Arbitrary bytes through the status side's text handling: the whole input through the
// UTF-8 test and the repair; then a status text (before the first NUL) and a dump (after
// it) into a record, parsed, stored and merged as one monitor cycle does. What each field
// of the record and of the dump holds is the status tests' to check.
#include "status/music_status.h"
#include "status/text_repair.h"
#include "status/track_dump.h"

#include <cjson/cJSON.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

static std::string member(const cJSON* root, const char* name) {
    const cJSON* item = cJSON_GetObjectItem(root, name);
    return cJSON_IsString(item) && item->valuestring ? item->valuestring : "";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The repair reports failures with puts; keep them out of the fuzzer's output.
    if (!freopen("/dev/null", "w", stdout))
        perror("freopen");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    // Each counted character takes two bytes of a valid text. A failed repair leaves the
    // output alone; a successful one yields valid UTF-8.
    const std::string bytes(text, size);
    std::string repaired = "sentinel";
    int count = 0;
    if (is_valid_utf8(bytes, &count) && static_cast<size_t>(count) * 2 > size)
        abort();
    int result = fix_double_encoding(bytes, repaired);
    if ((result < 0 && repaired != "sentinel") || (result == 0 && !is_valid_utf8(repaired, nullptr)))
        abort();

    const std::string status(text, strnlen(text, size));
    TrackDump dump;
    if (status.size() < size)
        parseMusicInfoText(text + status.size() + 1, size - status.size() - 1, &dump);
    cJSON* root = cJSON_Parse(status.c_str());
    if (!root)
        return 0;
    MusicPlayingStatus record;
    storeStatusRecord(root, dump, &record);
    // A sound title with few Latin-1 characters passes through untouched.
    std::string title = member(root, "title");
    count = 0;
    if (!title.empty() && is_valid_utf8(title, &count) && title.find_first_not_of('?') != std::string::npos &&
        count <= static_cast<int>(title.size() / 4) && record.title != title)
        abort();
    cJSON_Delete(root);
    return 0;
}
