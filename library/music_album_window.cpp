#include "library/music_album_window.h"

#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "base/device_paths.h"
#include "playwindow/screen/music_play_window.h"
#include "popups/popup_menu.h"
#include "service/actions/quit_action.h"
#include "service/actions/transport_rows.h"
#include "service/client/commands.h"
#include "service/file_actions/library_refresh.h"
#include "status/music_status.h"
#include "zcommon.h"

#include <cstdlib>
#include <unistd.h>

namespace {

// Results of the browser that stand for nothing on this screen.
enum { kBrowserResultSwallowedA = 49, kBrowserResultSwallowedB = 50 };

bool libraryIsAlone() {
    return gUIWindows.size() == 1;
}

// The now-playing screen above the library, in the list the service plays from.
void openPlayWindow() {
    int list = getCurrentListType();
    gNeedToRefreshIndex = true;
    gUIWindows.push_back(new MusicPlayWindow(list, true, true));
}

void openQuitDialog() {
    auto* dialog = new DialogWindow(kLangMusic, kLangQuitQuestion, false, new QuitAction(), nullptr);
    dialog->init();
    std::vector<ZelmorWindow*>* windows = gWinList ? gWinList : &gUIWindows;
    windows->push_back(dialog);
}

bool rowIsFile(TextMenuItem* item, const std::string& filename) {
    return item && static_cast<MusicTextMenuItem*>(item)->mItemPath == filename;
}

} // namespace

MusicAlbumWindow::MusicAlbumWindow(const char* startDir) : ZelmorWindow(kLangMusic, 0), mMenu(startDir) {
    SDL_Rect rect = {0, 80, 1280, 560};
    mMenu.setRect(rect);
    mMenu.mDisplayFlags[0] = 0;
    mTipsSelect = LoadZelmorSurface(gThemePath, "./", "skin/tips-SELECT.png");
}

MusicAlbumWindow::~MusicAlbumWindow() {
    // The loader started by init works on mMenu until it clears sLoading: stop it from
    // publishing more and let it finish before the menu goes.
    mMenu.cancelLoads();
    while (sLoading.load(std::memory_order_acquire))
        usleep(1000);
    delete mTipsSelect;
}

void MusicAlbumWindow::init() {
    sLoading.store(1, std::memory_order_release);
    SDL_Thread* loader = SDL_CreateThread(prepare_file_browser_thread, "rombrowser", &mMenu);
    if (loader)
        SDL_DetachThread(loader);
    else
        sLoading.store(0, std::memory_order_release);
}

int MusicAlbumWindow::draw() {
    if (gBackground)
        gBackground->blit(nullptr, nullptr, 1, nullptr);
    drawNavBar(0);
    int x = drawStatBar(0);
    draw_stat_icon_item_left(mTipsSelect, x, 650, getLangStr(kLangPlaying));
    mMenu.draw();
    return 0;
}

void MusicAlbumWindow::refresh() {
    if (!gNeedToRefreshIndex)
        return;
    std::string filename;
    readMusicStatus([&](const MusicPlayingStatus& record) { filename = record.filename; });

    int first = 0, last = -1;
    mMenu.visibleRange(&first, &last);
    bool visible = false;
    for (int i = first; i <= last && !visible; ++i)
        visible = rowIsFile(mMenu.getItemByIndex(i), filename);
    if (!visible) {
        int count = mMenu.getListNum();
        for (int i = 0; i < count; ++i) {
            if (!rowIsFile(mMenu.getItemByIndex(i), filename))
                continue;
            if (i < first) // the row becomes the first on the screen
                mMenu.restorePos(i, i, i + 5 >= count ? count - 1 : i + 5);
            else if (i > last) // the row becomes the last on the screen
                mMenu.restorePos(i, i - 5 < 0 ? 0 : i - 5, i);
            break;
        }
    }
    gNeedToRefreshIndex = false;
}

int MusicAlbumWindow::eventHandling() {
    int result = mMenu.FileBrowserMenu::eventHandling();
    if (result == kKeyLeft)
        mMenu.ListMenu::pageUp();
    else if (result == kKeyRight)
        mMenu.ListMenu::pageDown();

    // While the system goes to sleep, the now-playing screen takes over if music plays.
    if (access(MP_SYSTEM_SUSPEND_FILE, F_OK) == 0) {
        if (!is_music_playing())
            system(MP_CMD_STAY_ALIVE_OFF);
        else if (libraryIsAlone() && is_music_playing())
            openPlayWindow();
    }

    switch (result) {
    case kKeyLeft:
    case kKeyRight:
        return result;
    case kKeyStart: {
        std::string filename, status;
        readMusicStatus([&](const MusicPlayingStatus& record) {
            filename = record.filename;
            status = record.status;
        });
        if (!filename.empty())
            sendPauseOrResume(status);
        return 0;
    }
    case kKeySelect:
        if (libraryIsAlone()) {
            std::string status;
            readMusicStatus([&](const MusicPlayingStatus& record) { status = record.status; });
            if (isPlayingState(status) || isPausedState(status))
                openPlayWindow();
        }
        return 0;
    case kKeyMenu:
        // The "Play/Pause" row works on the row under the cursor at this moment.
        openPopupMenu(play_pause_player, mMenu.selectedRow());
        return 0;
    case kKeyL:
        noarg_cmd(kCmdPrevious);
        gNeedToRefreshIndex = true;
        return 0;
    case kKeyR:
        noarg_cmd(kCmdNext);
        gNeedToRefreshIndex = true;
        return 0;
    case kKeyY:
    case kKeyUp:
    case kKeyDown:
    case kBrowserResultSwallowedA:
    case kBrowserResultSwallowedB:
        return 0;
    case kWinResultClose:
        // Back at the root: this window never closes; the user is asked instead.
        openQuitDialog();
        return 0;
    default:
        return result;
    }
}

void MusicAlbumWindow::quit() {}

void MusicAlbumWindow::saveState(cJSON*) {}

int MusicAlbumWindow::restoreState(cJSON*) {
    return 0;
}

void MusicAlbumWindow::enterAnim() {}

void MusicAlbumWindow::exitAnim() {}

const char* MusicAlbumWindow::getTitle() {
    return ZelmorWindow::getTitle();
}
