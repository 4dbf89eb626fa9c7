#include "service/file_actions/music_file_action.h"

#include "app/shared/screen_state.h"
#include "base/user_events.h"
#include "playwindow/screen/music_play_window.h"
#include "service/client/commands.h"
#include "service/file_actions/library_refresh.h"
#include "service/file_actions/play_request.h"
#include "status/music_status.h"
#include "zcommon.h"

#include <cstring>
#include <unistd.h>

MusicFileAction::MusicFileAction(const std::string& path, int type, int listKind, bool asPopup)
    : FileAction(path, type), mListKind(listKind), mAsPopup(asPopup) {}

MusicFileAction::~MusicFileAction() {}

int MusicFileAction::dowork(void*) {
    if (mType == kActionTypeFolder) {
        // The browser enters the folder when it takes the event; the text stays ours.
        SDL_Event event;
        SDL_zero(event);
        event.type = SDL_USEREVENT;
        event.user.code = USER_EVENT_OPEN_FOLDER;
        event.user.data1 = const_cast<char*>(mPath.c_str());
        if (SDL_PushEvent(&event) < 0)
            tprintf("Failed to push SDL event\n");
        return 0;
    }
    if (mType != kActionTypeFile)
        return 0;

    // A dot anywhere counts, also one in a folder's name.
    if (!strrchr(mPath.c_str(), '.')) {
        tprintf("openfile_action no suffix %s\n", mPath.c_str());
        return -1;
    }
    // The file asked for last still plays: only show it. A paused one is asked for again.
    if (!(is_music_playing() && mPath == sLastPlayPath)) {
        size_t slash = mPath.rfind('/');
        if (slash == std::string::npos)
            return 0;
        std::string dir = mPath.substr(0, slash);
        tprintf("set dir path %s\n", dir.c_str());
        switch (mListKind) {
        case ListTypeDir:
            if (!playFileInFolder(mPath, dir))
                return 0; // the service did not take the folder: stay on the list
            break;
        case ListTypeRecent:
            filepath_cmd(kCmdPlayInRecent, mPath.c_str());
            break;
        case ListTypePlaylist:
            filepath_cmd(kCmdPlayInPlaylist, mPath.c_str());
            break;
        case ListTypeFavorite:
            filepath_cmd(kCmdPlayInFavorite, mPath.c_str());
            break;
        default:
            return 0;
        }
    }
    sLastPlayPath = mPath;
    // As long as the monitor's sleep, so that the now-playing screen starts on the new
    // track rather than on the one before.
    usleep(100000);
    gNeedToRefreshIndex = true;
    MusicPlayWindow* window = new MusicPlayWindow(mListKind, true, false);
    if (mAsPopup) {
        add2PopupList(window);
        return kWinResultPopup;
    }
    gUIWindows.push_back(window);
    return 0;
}
