// The language table: the toolkit's eight defaults, the program's appended ones, and a
// translation chosen by the system language.
#include "zinternal.h"

#include <map>

std::vector<std::string> gDefaultStringList = {
    "OK", "Cancel", "Back", "Quitting...", "Loading...", "Confirm", "Yes", "No",
};

int gZwLanguage = 0; // 0 English, 1 Simplified Chinese; set by loadSystemState

namespace {

std::map<int, std::string> sTranslation;
// Texts that the program registered for a language, by language and id.
std::map<std::pair<int, int>, std::string> sRegistered;

// The toolkit's own ids 0 to 7 in Simplified Chinese.
const char* const kToolkitChinese[] = {
    "确定", "取消", "返回", "正在退出...", "加载中...", "确认", "是", "否",
};

} // namespace

void addLangTranslation(int language, int id, const char* text) {
    if (text)
        sRegistered[{language, id}] = text;
}

void initLang() {
    sTranslation.clear();
    if (gZwLanguage == 1) {
        int id = 0;
        for (const char* text : kToolkitChinese)
            sTranslation[id++] = text;
    }
    for (const auto& entry : sRegistered) {
        if (entry.first.first == gZwLanguage)
            sTranslation[entry.first.second] = entry.second;
    }
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
