#include "library/music_browser_menu.h"

#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "service/actions/transport_rows.h"
#include "service/client/commands.h"
#include "service/file_actions/music_file_action.h"
#include "service/file_actions/play_request.h"
#include "status/music_status.h"
#include "zcommon.h"

#include <cstring>
#include <strings.h>

std::atomic<unsigned char> sLoading{0};

namespace {

// The suffixes of music files, in the order they are tried.
const char* const kMusicSuffixes[] = {".mp3", ".wma", ".wav", ".flac", ".ape", ".dsf"};

enum { kEntryFile = 101, kEntryFolder = 102 };

} // namespace

int file_filter(const char* name, const char*) {
    const char* dot = name ? strrchr(name, '.') : nullptr;
    if (!dot)
        return 0;
    for (const char* suffix : kMusicSuffixes) {
        if (strcasecmp(dot, suffix) == 0)
            return 1;
    }
    return 0;
}

// Unlike file_filter, the suffix must match in case: "SONG.MP3" gets no row.
TextMenuItem* file_handler(const char* name, const char* path, int type) {
    ZelmorSurface* icon;
    int kind;
    if (type == kEntryFile) {
        const char* dot = strrchr(name, '.');
        if (!dot)
            return nullptr;
        bool music = false;
        for (const char* suffix : kMusicSuffixes)
            music = music || strcmp(dot, suffix) == 0;
        if (!music)
            return nullptr;
        icon = gIconAudio;
        kind = kActionTypeFile;
    } else if (type == kEntryFolder) {
        icon = gIconFolder;
        kind = kActionTypeFolder;
    } else {
        return nullptr;
    }
    auto* action = new MusicFileAction(path, kind, ListTypeDir, false);
    return new MusicTextMenuItem(name, path, icon, action);
}

MusicTextMenuItem::MusicTextMenuItem(const char* name, const char* path, ZelmorSurface* icon, Action* action)
    : TextMenuItem(name, icon, action, true), mItemPath(path ? path : "") {}

MusicTextMenuItem::~MusicTextMenuItem() {}

ZelmorSurface* MusicTextMenuItem::getLabelIcon() {
    bool current = false;
    std::string status;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        current = record.filename == mItemPath;
        if (current)
            status = record.status;
    });
    if (current && isPlayingState(status) && gIsPlaying)
        return gIsPlaying;
    if (current && isPausedState(status) && gIsPaused)
        return gIsPaused;
    return mIcon;
}

MusicBrowserMenu::MusicBrowserMenu(const char* startDir)
    : FileBrowserMenu(gUserPath.c_str(), startDir, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6, 0),
      mMarkRow(-1), mShowPlayer(LoadZelmorSurface(gThemePath, "./", "skin/show-player.png")),
      mShowPause(LoadZelmorSurface(gThemePath, "./", "skin/show-pause.png")) {}

MusicBrowserMenu::~MusicBrowserMenu() {
    // No loader may still work on the rows while this part of the menu goes.
    cancelLoads();
    delete mShowPlayer;
    delete mShowPause;
}

int MusicBrowserMenu::eventHandling() {
    int result = FileBrowserMenu::eventHandling();
    if (result == kKeyLeft)
        pageUp();
    else if (result == kKeyRight)
        pageDown();
    return result;
}

void MusicBrowserMenu::draw() {
    noteWindowThread(); // rows this thread takes need no release
    int count = getListNum();
    if (count <= 0) {
        // Also while the first rows are still being read.
        DrawString(gListFontTxt, mRect, getLangStr(kLangEmptyLibrary), gListColorTxt, 1, false, false);
        return;
    }
    FileBrowserMenu::draw();
    // A marker beside a row of the folder it belongs to; nothing sets one at present.
    const char* current = getCurrentDir();
    int first = 0, last = -1;
    visibleRange(&first, &last);
    if (mShowPlayer && mMarkRow >= first && mMarkRow <= last &&
        static_cast<size_t>(mMarkRow) < mItemVector->size() &&
        (mMarkDir.empty() || !current || mMarkDir == current)) {
        ZelmorSurface* mark = mShowPause ? mShowPause : mShowPlayer;
        SDL_Rect at = {mRect.x + 560, mRect.y + (mMarkRow - first) * (mRowHeight + mRowGap) + 30, 0, 0};
        mark->blit(nullptr, &at, 1, nullptr);
    }
}

void MusicBrowserMenu::visibleRange(int* first, int* last) {
    pthread_mutex_lock(&mCursorLock);
    *first = mFirstVisible;
    *last = mLastVisible;
    pthread_mutex_unlock(&mCursorLock);
}

TextMenuItem* MusicBrowserMenu::selectedRow() {
    pthread_mutex_lock(&mCursorLock);
    TextMenuItem* row = getItemByIndex(mSelected); // the lock is recursive
    pthread_mutex_unlock(&mCursorLock);
    return row;
}

int prepare_file_browser_thread(void* argument) {
    auto* menu = static_cast<FileBrowserMenu*>(argument);
    menu->LoadDir();

    // The -f file first, else what the service reports.
    std::string target = gUserFile;
    if (target.empty()) {
        readMusicStatus([&](const MusicPlayingStatus& record) { target = record.filename; });
    }
    int match = -1;
    for (int i = 0; i < menu->getListNum(); ++i) {
        auto* row = static_cast<MusicTextMenuItem*>(menu->getItemByIndex(i));
        if (row && row->mItemPath == target) {
            match = i;
            break;
        }
    }
    if (match >= 0) {
        int count = menu->getListNum();
        int page = menu->mVisibleRows;
        if (count <= page) {
            menu->restorePos(match, 0, count - 1);
        } else {
            // The row comes to the middle of the page; near the end the last index may
            // lie past the list, which restorePos accepts.
            int first = match - page / 2;
            if (first < 0)
                first = 0;
            menu->restorePos(match, first, first + page - 1);
        }
    }
    menu->releaseRows();
    sLoading.store(0, std::memory_order_release);
    return 0;
}

int play_pause_player(void* argument) {
    auto* row = static_cast<MusicTextMenuItem*>(argument);
    if (!row)
        return kWinResultClose; // the list was empty when the menu opened
    auto* action = static_cast<MusicFileAction*>(row->getAction());
    int type = action ? action->mType : -1;
    tprintf("play_pause_player %s, type %d\n", row->mItemPath.c_str(), type);
    if (type != kActionTypeFile)
        return kWinResultClose;

    std::string filename, status;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        filename = record.filename;
        status = record.status;
    });

    const std::string& path = row->mItemPath;
    if (path == filename) {
        tprintf("play_pause_player same file %s, status %s\n", path.c_str(), status.c_str());
        sendPauseOrResume(status);
        return kWinResultClose;
    }
    tprintf("play_pause_player different file %s, status %s\n", path.c_str(), status.c_str());
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return kWinResultClose;
    std::string dir = path.substr(0, slash);
    tprintf("set dir path %s\n", dir.c_str());
    playFileInFolder(path, dir);
    return kWinResultClose;
}
