// The language table: the toolkit's eight defaults, the program's appended ones, and the
// translations of the system language, read from its language file.
#include "zinternal.h"

#include <cstdlib>
#include <cstring>
#include <map>

std::vector<std::string> gDefaultStringList = {
    "OK", "Cancel", "Back", "Quitting...", "Loading...", "Confirm", "Yes", "No",
};

int gZwLanguage = 0; // 0 English, 1 Simplified Chinese; set by loadSystemState

namespace {

std::map<int, std::string> sTranslation;

// The language file of each language: none for English, whose texts are the defaults.
const char* languageFile(int language) {
    return language == 1 ? "lang/zh_CN.lang" : nullptr;
}

// Lines "id=text"; '#' starts a comment line. Anything else is skipped.
void readLanguageFile(FILE* file) {
    char line[1024];
    while (fgets(line, sizeof(line), file)) {
        char* end = line + strcspn(line, "\r\n");
        *end = '\0';
        char* equals = strchr(line, '=');
        if (line[0] == '#' || !equals || equals == line)
            continue;
        char* afterId = nullptr;
        long id = strtol(line, &afterId, 10);
        if (afterId != equals || id < 0 || id > 100000)
            continue;
        sTranslation[static_cast<int>(id)] = equals + 1;
    }
}

} // namespace

void initLang() {
    sTranslation.clear();
    const char* name = languageFile(gZwLanguage);
    if (!name)
        return;
    // Searched as the skin images are: the theme's folder, then the application's.
    std::string themed = std::string(gThemePath ? gThemePath : "./") + "/" + name;
    FILE* file = fopen(themed.c_str(), "r");
    if (!file)
        file = fopen(name, "r");
    if (!file) {
        tprintf("language file %s not found\n", name);
        return;
    }
    readLanguageFile(file);
    fclose(file);
}

const char* getLangStr(int id) {
    auto translated = sTranslation.find(id);
    if (translated != sTranslation.end())
        return translated->second.c_str();
    if (id >= 0 && static_cast<size_t>(id) < gDefaultStringList.size())
        return gDefaultStringList[static_cast<size_t>(id)].c_str();
    return "";
}

void rx_wifi_monitor_start() {
    tprintf("wifi monitor: not present on this system\n");
}

void rx_wifi_monitor_stop() {
    tprintf("wifi monitor: stopped\n");
}
