#include "musicservice/service_config.h"

#include "musicservice/key_value_file.h"
#include "zcommon.h"

#include <strings.h>

ServiceConfig gServiceConfig;

namespace {

constexpr size_t kConfigMaxBytes = 64 * 1024;

// "on" or "off", any case.
bool parseSwitch(const std::string& value, bool* on) {
    if (strcasecmp(value.c_str(), "on") == 0 || strcasecmp(value.c_str(), "off") == 0) {
        *on = strcasecmp(value.c_str(), "on") == 0;
        return true;
    }
    return false;
}

} // namespace

int serviceConfigLoad(const char* path, ServiceConfig* config) {
    std::vector<KeyValue> entries;
    int badLine = 0;
    int read = readKeyValueFile(path, kConfigMaxBytes, &entries, &badLine);
    if (read == 0) {
        tprintf("musicservice: no %s; using the default settings\n", path);
        return 1;
    }
    bool understood = read > 0;
    if (read < 0 && badLine == 0)
        tprintf("musicservice: cannot read %s; using the default settings\n", path);
    else if (read < 0)
        tprintf("musicservice: %s line %d is not key=value; ignored\n", path, badLine);
    for (const KeyValue& entry : entries) {
        if (entry.key == "replaygain" && parseSwitch(entry.value, &config->replayGain))
            continue;
        tprintf("musicservice: %s line %d: unknown setting \"%s=%s\"; ignored\n", path, entry.line,
                entry.key.c_str(), entry.value.c_str());
        understood = false;
    }
    return understood ? 0 : -1;
}
