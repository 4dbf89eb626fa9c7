#include "app/shared/language_table.h"

#include "zwindow.h"

namespace {

// Ids 8 to 32, in order.
const char* const kProgramTexts[] = {
    "Music",                                               // 8
    "Put music files into the Music Directory on SD card", // 9
    "Settings",                                            // 10
    "Quit MusicPlayer?",                                   // 11
    "Quit",                                                // 12
    "AudioTrack",                                          // 13
    "Playlist",                                            // 14
    "Favorite",                                            // 15
    "Library",                                             // 16
    "Recentlist",                                          // 17
    "Nothing is playing",                                  // 18
    "Unkown",                                              // 19
    "Play/Pause",                                          // 20
    "Music Information",                                   // 21
    "Music Name",                                          // 22
    "Artist",                                              // 23
    "Album",                                               // 24
    "Genre",                                               // 25
    "Year",                                                // 26
    "Playing",                                             // 27
    "Volume",                                              // 28
    "Cover Background",                                    // 29
    "Visualization",                                       // 30
    "Background Play",                                     // 31
    "Stop And Quit Player",                                // 32
};

} // namespace

void appendDefaultStrings() {
    for (const char* text : kProgramTexts)
        gDefaultStringList.push_back(text);
}
