// Arbitrary bytes through the UTF-8 test and, where it would run, the repair.
#include "status/text_repair.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The repair reports failures with puts; keep them out of the fuzzer's output.
    if (!freopen("/dev/null", "w", stdout))
        perror("freopen");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    int count = 0;
    // Each counted character takes two bytes of a valid text.
    if (is_valid_utf8(text, &count) && static_cast<size_t>(count) * 2 > size)
        abort();
    // A failed repair leaves the output alone; a successful one yields valid UTF-8.
    std::string out = "sentinel";
    int result = fix_double_encoding(text, out);
    if ((result < 0 && out != "sentinel") || (result == 0 && !is_valid_utf8(out, nullptr)))
        abort();
    if (ltrim(text).size() > size)
        abort();
    return 0;
}
