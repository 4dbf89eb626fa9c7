// The file browser list: folders first, then accepted files, each in natural order.
//
// Rows live in mRows under mCursorLock. A LoadDir reads and sorts the folder off the
// lock, then makes and publishes the rows in chunks, so that a folder of 100,000
// entries shows its top rows early and never holds up drawing; a later LoadDir (the
// user entering a folder while the loader still reads) makes an earlier one give up.
// Replaced rows are retired, not deleted: the window thread frees them before its
// next wait for input, when it holds no row, unless a pointer into them went to
// another thread (then they stay until the menu goes) or a folder event in the queue
// still points into one of their actions.
#include "zinternal.h"
#include "zmenu.h"

#include "base/natural_order.h"
#include "base/user_events.h"

#include <algorithm>
#include <cctype>
#include <dirent.h>
#include <sys/stat.h>

namespace {

const size_t kPublishChunk = 512;

// The path of the folder event taken during the current wait; window thread only.
std::string sPendingFolder;
bool sFolderPending = false;

struct LoadedRow {
    TextMenuItem* item;
    std::string name;
    bool folder;
};

// wait_event hands the folder event's path here; it is copied at once, before any row
// (which owns the text) can be rebuilt.
int takeFolderEvent(const char* path) {
    sPendingFolder = path ? path : "";
    sFolderPending = true;
    return 0;
}

// True while a folder event waits in the queue: its text points into some row's action.
bool folderEventQueued() {
    if (!SDL_WasInit(SDL_INIT_EVENTS))
        return false;
    SDL_Event events[32];
    int count = SDL_PeepEvents(events, 32, SDL_PEEKEVENT, SDL_USEREVENT, SDL_USEREVENT);
    if (count >= 32)
        return true; // cannot see them all: assume the worst
    for (int i = 0; i < count; ++i) {
        if (events[i].user.code == USER_EVENT_OPEN_FOLDER)
            return true;
    }
    return false;
}

std::string trimDir(const char* path) {
    std::string dir = path ? path : "";
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    return dir;
}

std::string parentOf(const std::string& dir) {
    size_t slash = dir.find_last_of('/');
    if (slash == std::string::npos)
        return dir;
    return slash == 0 ? "/" : dir.substr(0, slash);
}

std::string baseName(const std::string& path) {
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool isUnder(const std::string& dir, const std::string& root) {
    return dir == root || (dir.size() > root.size() && dir.compare(0, root.size(), root) == 0 &&
                           (root.back() == '/' || dir[root.size()] == '/'));
}

} // namespace

FileBrowserMenu::FileBrowserMenu(const char* root, const char* startDir, const char* activeImage,
                                 const char* normalImage, int visibleRows, int reserved)
    : TextMenuDrawer(activeImage, normalImage, visibleRows), mItemVector(new std::vector<TextMenuItem*>()),
      mRoot(trimDir(root)), mGeneration(0), mLoadSerial(0), mGenerationShared(false),
      mWindowThreadKnown(false), mItemVectorGeneration(0) {
    (void)reserved;
    if (mRoot.empty())
        mRoot = "/";
    mCurrentDir = trimDir(startDir);
    if (mCurrentDir.empty())
        mCurrentDir = mRoot;
}

FileBrowserMenu::~FileBrowserMenu() {
    for (Row& row : mRows)
        delete row.item;
    for (RetiredRows& retired : mRetired) {
        for (TextMenuItem* item : retired.items)
            delete item;
    }
    delete mItemVector;
}

void FileBrowserMenu::noteWindowThread() {
    ZwLock guard(&mCursorLock);
    if (!mWindowThreadKnown) {
        mWindowThread = pthread_self();
        mWindowThreadKnown = true;
    }
}

void FileBrowserMenu::retireRowsLocked() {
    RetiredRows retired;
    retired.shared = mGenerationShared;
    retired.items.reserve(mRows.size());
    for (Row& row : mRows)
        retired.items.push_back(row.item);
    mRows.clear();
    if (!retired.items.empty())
        mRetired.push_back(std::move(retired));
    ++mGeneration;
    mGenerationShared = false;
}

void FileBrowserMenu::LoadDir() {
    std::string dir;
    uint64_t serial;
    {
        ZwLock guard(&mCursorLock);
        dir = mCurrentDir;
        serial = ++mLoadSerial;
    }
    // Names first, sorted; rows are then made in their final order.
    std::vector<LoadedRow> entries;
    if (DIR* folder = opendir(dir.c_str())) {
        while (struct dirent* entry = readdir(folder)) {
            if (entry->d_name[0] == '.')
                continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
                std::string path = dir == "/" ? "/" + std::string(entry->d_name) : dir + "/" + entry->d_name;
                struct stat info;
                isFolder = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
            }
            // Folders always reach the handler: their names carry no music suffix.
            if (!isFolder && !file_filter(entry->d_name, nullptr))
                continue;
            entries.push_back({nullptr, entry->d_name, isFolder});
        }
        closedir(folder);
    }
    std::sort(entries.begin(), entries.end(), [](const LoadedRow& a, const LoadedRow& b) {
        if (a.folder != b.folder)
            return a.folder;
        return naturalLess(a.name, b.name);
    });

    // The first publish replaces the old rows, even when the folder gives none.
    std::vector<Row> pending;
    bool replaced = false;
    auto publish = [&]() -> bool {
        ZwLock guard(&mCursorLock);
        if (serial != mLoadSerial)
            return false; // a later LoadDir owns the list now
        if (!replaced) {
            retireRowsLocked();
            mSelected = 0;
            mFirstVisible = 0;
            replaced = true;
        }
        for (Row& row : pending)
            mRows.push_back(std::move(row));
        pending.clear();
        clampView(static_cast<int>(mRows.size()));
        return true;
    };
    bool abandoned = false;
    for (LoadedRow& entry : entries) {
        std::string path = dir == "/" ? "/" + entry.name : dir + "/" + entry.name;
        TextMenuItem* item = file_handler(entry.name.c_str(), path.c_str(), entry.folder ? 102 : 101);
        if (!item)
            continue;
        pending.push_back(Row{item, std::move(entry.name), entry.folder});
        if (pending.size() >= kPublishChunk && !publish()) {
            abandoned = true;
            break;
        }
    }
    if (!abandoned && (!replaced || !pending.empty()) && publish())
        return;
    for (Row& row : pending)
        delete row.item;
}

const char* FileBrowserMenu::getCurrentDir() {
    ZwLock guard(&mCursorLock);
    return mCurrentDir.empty() ? nullptr : mCurrentDir.c_str();
}

TextMenuItem* FileBrowserMenu::getItemByIndex(int index) {
    ZwLock guard(&mCursorLock);
    if (index < 0 || static_cast<size_t>(index) >= mRows.size())
        return nullptr;
    if (!mWindowThreadKnown || !pthread_equal(mWindowThread, pthread_self()))
        mGenerationShared = true;
    return mRows[static_cast<size_t>(index)].item;
}

int FileBrowserMenu::getListNum() {
    ZwLock guard(&mCursorLock);
    return static_cast<int>(mRows.size());
}

void FileBrowserMenu::syncItemVector() {
    ZwLock guard(&mCursorLock);
    if (mItemVectorGeneration != mGeneration) {
        mItemVector->clear();
        mItemVectorGeneration = mGeneration;
    }
    for (size_t i = mItemVector->size(); i < mRows.size(); ++i)
        mItemVector->push_back(mRows[i].item);
}

void FileBrowserMenu::reclaimRetired() {
    {
        ZwLock guard(&mCursorLock);
        bool anyFree = false;
        for (const RetiredRows& retired : mRetired)
            anyFree = anyFree || !retired.shared;
        if (!anyFree)
            return;
    }
    if (folderEventQueued())
        return;
    std::vector<TextMenuItem*> gone;
    {
        ZwLock guard(&mCursorLock);
        std::vector<RetiredRows> kept;
        for (RetiredRows& retired : mRetired) {
            if (retired.shared)
                kept.push_back(std::move(retired));
            else
                gone.insert(gone.end(), retired.items.begin(), retired.items.end());
        }
        mRetired.swap(kept);
    }
    for (TextMenuItem* item : gone)
        delete item;
}

bool FileBrowserMenu::focusRowLocked(const std::string& name, bool folderOnly) {
    for (size_t i = 0; i < mRows.size(); ++i) {
        if ((!folderOnly || mRows[i].folder) && mRows[i].name == name) {
            int index = static_cast<int>(i);
            mSelected = index;
            mFirstVisible = std::max(0, index - mVisibleRows / 2);
            clampView(static_cast<int>(mRows.size()));
            return true;
        }
    }
    return false;
}

void FileBrowserMenu::enterFolder(const std::string& path, const std::string& focusPath) {
    std::string dir = trimDir(path.c_str());
    if (dir.empty())
        return;
    {
        ZwLock guard(&mCursorLock);
        if (focusPath.empty())
            mHistory.push_back(SavedPos{mCurrentDir, mSelected, mFirstVisible});
        mCurrentDir = dir;
    }
    LoadDir();
    if (focusPath.empty())
        return;
    ZwLock guard(&mCursorLock);
    focusRowLocked(baseName(focusPath), false);
}

int FileBrowserMenu::goBack() {
    std::string current;
    {
        ZwLock guard(&mCursorLock);
        current = mCurrentDir;
    }
    if (current == mRoot || current == "/")
        return -1;
    // A folder outside the library goes back to the library's root.
    std::string parent = isUnder(current, mRoot) ? parentOf(current) : mRoot;
    SavedPos saved{std::string(), -1, 0};
    {
        ZwLock guard(&mCursorLock);
        if (!mHistory.empty() && mHistory.back().dir == parent) {
            saved = mHistory.back();
            mHistory.pop_back();
        } else {
            mHistory.clear(); // the way up is not the way we came
        }
        mCurrentDir = parent;
    }
    LoadDir();
    // The cursor where it was when the row there is still the folder we left; else
    // wherever that folder stands now.
    std::string name = baseName(current);
    ZwLock guard(&mCursorLock);
    if (saved.selected >= 0 && static_cast<size_t>(saved.selected) < mRows.size() &&
        mRows[static_cast<size_t>(saved.selected)].folder &&
        mRows[static_cast<size_t>(saved.selected)].name == name) {
        mSelected = saved.selected;
        mFirstVisible = saved.first;
        clampView(static_cast<int>(mRows.size()));
    } else {
        focusRowLocked(name, true);
    }
    return 0;
}

int FileBrowserMenu::handleKey(int key) {
    if (key == kKeyUp) {
        moveBackward();
        return 0;
    }
    if (key == kKeyDown) {
        moveForward();
        return 0;
    }
    if (zwIsConfirmKey(key)) {
        TextMenuItem* item = getItemByIndex(mSelected);
        if (item && item->getAction())
            return item->getAction()->dowork(nullptr);
        return 0;
    }
    if (zwIsBackKey(key))
        return goBack() < 0 ? static_cast<int>(kWinResultClose) : 0;
    return key;
}

int FileBrowserMenu::eventHandling() {
    noteWindowThread();
    syncItemVector();
    reclaimRetired();

    // The folder event's text points into a row's action: the hook copies it while the
    // event is being taken, before any row can be rebuilt.
    int (*previous)(const char*) = gFolderEventHandler;
    gFolderEventHandler = takeFolderEvent;
    sFolderPending = false;
    int key = wait_event(nullptr);
    gFolderEventHandler = previous;

    int result;
    if (sFolderPending) {
        sFolderPending = false;
        std::string folder;
        folder.swap(sPendingFolder);
        enterFolder(folder, std::string());
        result = 0;
    } else {
        result = handleKey(key);
    }
    syncItemVector();
    return result;
}

void FileBrowserMenu::draw() {
    noteWindowThread();
    syncItemVector();
    TextMenuDrawer::draw();
}
