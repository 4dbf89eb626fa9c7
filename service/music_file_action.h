// The action of a library row: a folder row asks the browser to enter the folder, a file
// row has the service play the file (changing the service's folder first when needed)
// and opens the now-playing screen.
#pragma once

#include "service/transport_actions.h"

class MusicFileAction : public FileAction {
public:
    // listKind: the list type the file is played in (1 for the library's folders);
    // asPopup: show the now-playing screen through add2PopupList.
    MusicFileAction(const std::string& path, int type, int listKind, bool asPopup);
    ~MusicFileAction() override;
    // 0, -1 for a path without a suffix, or kWinResultPopup.
    int dowork(void* arg) override;

    int mListKind;
    bool mAsPopup;
};

// Has the service play path from its folder dir: "play_file_in_dir" alone when dir is the
// folder last handed over, else "set_play_dir" first (recorded in sLastPlayDir once the
// service took it). False when the service did not take the folder; nothing was played.
bool playFileInFolder(const std::string& path, const std::string& dir);
