// Arbitrary text through the dump's line rules, then the applicability test and merges.
#include "status/track_dump.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Failed repairs print with puts; keep them out of the fuzzer's output.
    if (!freopen("/dev/null", "w", stdout))
        perror("freopen");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TrackDump dump;
    parseMusicInfoText(reinterpret_cast<const char*>(data), size, &dump);
    // Values lose their leading blanks, and none reaches across a line end.
    for (const std::string* value : {&dump.title, &dump.artist, &dump.album, &dump.date, &dump.genre}) {
        if (value->find_first_of(" \t\n\r\f\v") == 0 || value->find('\n') != std::string::npos)
            abort();
    }
    if (dump.inputPath.find('\n') != std::string::npos)
        abort();
    bool applies = dumpApplies("/mnt/SDCARD/Music/a/song.flac", dump);
    std::string title = "???", year;
    mergeTagText(title, dump.title, applies);
    mergeTagPlain(year, dump.date, applies);
    dumpApplies(dump.inputPath.c_str(), dump);
    return 0;
}
