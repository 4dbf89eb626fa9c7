#include "app/shared/language_table.h"

#include "zwindow.h"

namespace {

struct ProgramText {
    const char* english;
    const char* simplifiedChinese;
};

// Ids 8 to 32, in order; each row keeps a text and its translation together.
const ProgramText kProgramTexts[] = {
    {"Music", "音乐"},                                                           // 8
    {"Put music files into the Music Directory on SD card", "请将音乐文件放入SD卡的Music目录"}, // 9
    {"Settings", "设置"},                                                        // 10
    {"Quit MusicPlayer?", "退出音乐播放器？"},                                    // 11
    {"Quit", "退出"},                                                            // 12
    {"AudioTrack", "音轨"},                                                      // 13
    {"Playlist", "播放列表"},                                                    // 14
    {"Favorite", "收藏"},                                                        // 15
    {"Library", "音乐库"},                                                       // 16
    {"Recentlist", "最近播放"},                                                  // 17
    {"Nothing is playing", "当前没有播放"},                                      // 18
    {"Unkown", "未知"},                                                          // 19
    {"Play/Pause", "播放/暂停"},                                                 // 20
    {"Music Information", "音乐信息"},                                           // 21
    {"Music Name", "歌曲名"},                                                    // 22
    {"Artist", "艺术家"},                                                        // 23
    {"Album", "专辑"},                                                           // 24
    {"Genre", "流派"},                                                           // 25
    {"Year", "年份"},                                                            // 26
    {"Playing", "正在播放"},                                                     // 27
    {"Volume", "音量"},                                                          // 28
    {"Cover Background", "封面背景"},                                            // 29
    {"Visualization", "可视化效果"},                                             // 30
    {"Background Play", "后台播放"},                                             // 31
    {"Stop And Quit Player", "停止并退出播放器"},                                // 32
};

constexpr int kLanguageSimplifiedChinese = 1;

} // namespace

void appendDefaultStrings() {
    for (const ProgramText& text : kProgramTexts) {
        int id = static_cast<int>(gDefaultStringList.size());
        gDefaultStringList.push_back(text.english);
        addLangTranslation(kLanguageSimplifiedChinese, id, text.simplifiedChinese);
    }
}
