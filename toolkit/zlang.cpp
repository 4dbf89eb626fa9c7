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

const char* const kSimplifiedChinese[] = {
    "确定",
    "取消",
    "返回",
    "正在退出...",
    "加载中...",
    "确认",
    "是",
    "否",
    "音乐",
    "请将音乐文件放入SD卡的Music目录",
    "设置",
    "退出音乐播放器？",
    "退出",
    "音轨",
    "播放列表",
    "收藏",
    "音乐库",
    "最近播放",
    "当前没有播放",
    "未知",
    "播放/暂停",
    "音乐信息",
    "歌曲名",
    "艺术家",
    "专辑",
    "流派",
    "年份",
    "正在播放",
    "音量",
    "封面背景",
    "可视化效果",
    "后台播放",
    "停止并退出播放器",
};

} // namespace

void initLang() {
    sTranslation.clear();
    if (gZwLanguage == 1) {
        int id = 0;
        for (const char* text : kSimplifiedChinese)
            sTranslation[id++] = text;
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
