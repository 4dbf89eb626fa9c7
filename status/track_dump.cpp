#include "status/track_dump.h"

#include "base/device_paths.h"
#include "status/text_repair.h"
#include "zcommon.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

namespace {

struct DumpKey {
    const char* pattern; // the word, spaces up to 16 columns, colon: 17 characters
    std::string TrackDump::*field;
};

const DumpKey kDumpKeys[] = {
    {"title           :", &TrackDump::title}, {"artist          :", &TrackDump::artist},
    {"album           :", &TrackDump::album}, {"date            :", &TrackDump::date},
    {"genre           :", &TrackDump::genre},
};
constexpr size_t kKeyLength = 17;

void parseLine(const std::string& line, TrackDump* dump, bool* inSection) {
    size_t input = line.find("Input #");
    if (input != std::string::npos) {
        size_t from = line.find("from '", input + 7);
        if (from != std::string::npos) {
            dump->inputPath = line.substr(from + 6);
            size_t close = dump->inputPath.rfind("':");
            if (close != std::string::npos)
                dump->inputPath.erase(close, 2);
        }
        *inSection = true;
        return;
    }
    if (!*inSection)
        return;
    if (line.find("Stream #") != std::string::npos) {
        *inSection = false;
        return;
    }
    for (const DumpKey& key : kDumpKeys) {
        size_t at = line.find(key.pattern);
        if (at != std::string::npos)
            dump->*key.field = ltrim(line.substr(at + kKeyLength));
    }
}

// Bad: empty, not valid UTF-8, or nothing but question marks.
bool isBadTag(const std::string& text) {
    if (text.empty() || !is_valid_utf8(text, nullptr))
        return true;
    return text.find_first_not_of('?') == std::string::npos;
}

} // namespace

void parseMusicInfoText(const char* text, size_t size, TrackDump* dump) {
    bool inSection = false;
    size_t start = 0;
    while (start < size) {
        size_t end = start;
        while (end < size && text[end] != '\n')
            ++end;
        parseLine(std::string(text + start, end - start), dump, &inSection);
        start = end + 1;
    }
}

void parseMusicInfo(TrackDump* dump) {
    FILE* file = fopen(MP_MUSIC_INFO_FILE, "r");
    if (!file)
        return;
    // Each thread keeps its own block, reused from cycle to cycle.
    thread_local char* text = nullptr;
    int length = loadContent(MP_MUSIC_INFO_FILE, file, &text);
    fclose(file);
    if (length > 0)
        parseMusicInfoText(text, static_cast<size_t>(length), dump);
}

bool dumpApplies(const char* filename, const TrackDump& dump) {
    if (!filename)
        return false;
    const char* slash = strrchr(filename, '/');
    if (!slash)
        return false;
    const char* name = slash + 1;
    // A name without a dot has no extension and is no ".wav" file.
    const char* dot = strrchr(name, '.');
    if (dot && strncasecmp(dot, ".wav", 4) == 0)
        return false;
    return dump.inputPath.find(name) != std::string::npos;
}

void mergeTagText(std::string& field, const std::string& dumpValue, bool applies) {
    if (applies && isBadTag(field))
        field = dumpValue;
    if (field.empty())
        return;
    int count = 0;
    if (!is_valid_utf8(field, &count))
        return;
    if (count <= static_cast<int>(field.size() / 4))
        return;
    std::string repaired;
    if (fix_double_encoding(field, repaired) >= 0)
        field = repaired;
}

void mergeTagPlain(std::string& field, const std::string& dumpValue, bool applies) {
    if (applies && isBadTag(field) && is_valid_utf8(dumpValue, nullptr))
        field = dumpValue;
}
