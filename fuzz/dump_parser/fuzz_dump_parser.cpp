// Arbitrary text through the dump's line rules, then the applicability test and merges.
#include "status/track_dump.h"

#include <cstdint>
#include <cstdio>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!freopen("/dev/null", "w", stdout))
        return 0;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TrackDump dump;
    parseMusicInfoText(reinterpret_cast<const char*>(data), size, &dump);
    bool applies = dumpApplies("/mnt/SDCARD/Music/a/song.flac", dump);
    std::string title = "???";
    mergeTagText(title, dump.title, applies);
    std::string year;
    mergeTagPlain(year, dump.date, applies);
    dumpApplies(dump.inputPath.c_str(), dump);
    return 0;
}
