// The list inside the library screen: which folder entries become rows and with what
// action, the row icon that follows the playback status, the empty-library text, and the
// loader thread that fills the list and puts the cursor on the current track.
#pragma once

#include "zmenu.h"

#include <atomic>
#include <string>

// One row: a folder or a music file, with its full path.
class MusicTextMenuItem : public TextMenuItem {
public:
    MusicTextMenuItem(const char* name, const char* path, ZelmorSurface* icon, Action* action);
    ~MusicTextMenuItem() override;
    // The playing or paused icon while the row's file is the current one.
    ZelmorSurface* getLabelIcon() override;

    std::string mItemPath;
};

class MusicBrowserMenu : public FileBrowserMenu {
public:
    explicit MusicBrowserMenu(const char* startDir);
    ~MusicBrowserMenu() override;
    int eventHandling() override;
    void draw() override;
    // The loader thread moves the cursor and the view while it publishes rows: these
    // read them together under the list's lock.
    void visibleRange(int* first, int* last);
    TextMenuItem* selectedRow();

    std::string mMarkDir;
    int mMarkRow;
    ZelmorSurface* mShowPlayer;
    ZelmorSurface* mShowPause;
};

// 1 while a loader thread "rombrowser" fills a list: set by the window thread before it
// starts one, cleared by the loader when done (release store, acquire load).
extern std::atomic<unsigned char> sLoading;

// Body of the loader thread "rombrowser": fills the menu and centres the current track.
int prepare_file_browser_thread(void* menu);

// The library popup menu's "Play/Pause" row for the row under the cursor (may be null).
int play_pause_player(void* row);
