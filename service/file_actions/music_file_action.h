// The action of a library row: a folder row asks the browser to enter the folder, a file
// row has the service play the file (changing the service's folder first when needed)
// and opens the now-playing screen. Window thread only.
#pragma once

#include "service/file_actions/file_action.h"

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
