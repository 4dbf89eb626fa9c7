// The library screen: the bottom window for the whole run, a full-screen list of the
// folders and music files under the library root, the way up to the now-playing screen
// and back, and the quit dialog.
#pragma once

#include "library/music_browser_menu.h"

class MusicAlbumWindow : public ZelmorWindow {
public:
    // startDir: the folder the list opens in, or null for the library root.
    explicit MusicAlbumWindow(const char* startDir);
    ~MusicAlbumWindow() override;
    int eventHandling() override;
    int draw() override;
    void quit() override;
    // Starts the loader thread.
    void init() override;
    void saveState(cJSON* state) override;
    int restoreState(cJSON* state) override;
    // Brings the current track into view after the now-playing screen has closed.
    void refresh() override;
    void enterAnim() override;
    void exitAnim() override;
    const char* getTitle() override;

    MusicBrowserMenu mMenu;
    ZelmorSurface* mTipsSelect;
};
