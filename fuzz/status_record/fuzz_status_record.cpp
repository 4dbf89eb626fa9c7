// Arbitrary bytes through the status side's text handling: the whole input through the
// UTF-8 test and the repair; then a status text (before the first NUL) and a dump (after
// it) into a record: the dump by its line rules, then parse, store and merge as one
// monitor cycle does.
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
    if ((result < 0 && repaired != "sentinel") || (result == 0 && !is_valid_utf8(repaired, nullptr)) ||
        ltrim(bytes).size() > size)
        abort();

    const std::string status(text, strnlen(text, size));
    TrackDump dump;
    if (status.size() < size)
        parseMusicInfoText(text + status.size() + 1, size - status.size() - 1, &dump);
    // Dump values lose their leading blanks, and none reaches across a line end.
    for (const std::string* value : {&dump.title, &dump.artist, &dump.album, &dump.date, &dump.genre}) {
        if (value->find_first_of(" \t\n\r\f\v") == 0 || value->find('\n') != std::string::npos)
            abort();
    }
    if (dump.inputPath.find('\n') != std::string::npos)
        abort();
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
    count = 0;
    if (!title.empty() && is_valid_utf8(title, &count) && title.find_first_not_of('?') != std::string::npos &&
        count <= static_cast<int>(title.size() / 4) && record.title != title)
        abort();
    cJSON_Delete(root);
    return 0;
}
