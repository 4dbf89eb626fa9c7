// Arbitrary text through the dump's line rules, then the applicability test and merges.
#include "status/track_dump.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

bool startsWithBlank(const std::string& value) {
    return !value.empty() && std::string(" \t\n\r\f\v").find(value[0]) != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Failed repairs print with puts; keep them out of the fuzzer's output.
    if (!freopen("/dev/null", "w", stdout))
        return 0;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TrackDump dump;
    parseMusicInfoText(reinterpret_cast<const char*>(data), size, &dump);
    // Values lose their leading blanks, and none reaches across a line end.
    for (const std::string* value : {&dump.title, &dump.artist, &dump.album, &dump.date, &dump.genre}) {
        if (startsWithBlank(*value) || value->find('\n') != std::string::npos)
            abort();
    }
    if (dump.inputPath.find('\n') != std::string::npos)
        abort();
    bool applies = dumpApplies("/mnt/SDCARD/Music/a/song.flac", dump);
    std::string title = "???";
    mergeTagText(title, dump.title, applies);
    std::string year;
    mergeTagPlain(year, dump.date, applies);
    dumpApplies(dump.inputPath.c_str(), dump);
    return 0;
}
