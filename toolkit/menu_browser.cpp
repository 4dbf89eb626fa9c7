// The file browser list: folders first, then accepted files, each in natural order.
#include "zinternal.h"
#include "zmenu.h"

#include <algorithm>
#include <cctype>
#include <dirent.h>
#include <sys/stat.h>

namespace {

FileBrowserMenu* sActiveBrowser = nullptr;
std::string sPendingFolder;

// Case-insensitive natural order: runs of digits compare by value ("track2" before
// "track10"), everything else by lower-case byte.
bool naturalLess(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        unsigned char ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (isdigit(ca) && isdigit(cb)) {
            size_t si = i, sj = j;
            while (si < a.size() && a[si] == '0')
                ++si;
            while (sj < b.size() && b[sj] == '0')
                ++sj;
            size_t ei = si, ej = sj;
            while (ei < a.size() && isdigit(static_cast<unsigned char>(a[ei])))
                ++ei;
            while (ej < b.size() && isdigit(static_cast<unsigned char>(b[ej])))
                ++ej;
            if (ei - si != ej - sj)
                return ei - si < ej - sj;
            int order = a.compare(si, ei - si, b, sj, ej - sj);
            if (order != 0)
                return order < 0;
            i = ei;
            j = ej;
            continue;
        }
        int la = tolower(ca), lb = tolower(cb);
        if (la != lb)
            return la < lb;
        ++i;
        ++j;
    }
    if ((a.size() - i) != (b.size() - j))
        return a.size() - i < b.size() - j;
    return a < b;
}

struct LoadedRow {
    TextMenuItem* item;
    std::string name;
    bool folder;
};

// wait_event hands the folder event's path here; it is copied at once, before any row
// (which owns the text) can be rebuilt.
int takeFolderEvent(const char* path) {
    sPendingFolder = path ? path : "";
    return 0;
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
      mRoot(root ? root : "/"), mCurrentDir(startDir && *startDir ? startDir : mRoot) {
    (void)reserved;
    while (mRoot.size() > 1 && mRoot.back() == '/')
        mRoot.pop_back();
}

FileBrowserMenu::~FileBrowserMenu() {
    if (sActiveBrowser == this) {
        sActiveBrowser = nullptr;
        gFolderEventHandler = nullptr;
    }
    for (TextMenuItem* item : *mItemVector)
        delete item;
    for (TextMenuItem* item : mRetired)
        delete item;
    delete mItemVector;
}

void FileBrowserMenu::LoadDir() {
    std::string dir;
    {
        std::lock_guard<std::recursive_mutex> guard(mCursorLock);
        dir = mCurrentDir;
    }
    // Read and sort without the lock, so drawing goes on meanwhile.
    std::vector<LoadedRow> loaded;
    if (DIR* folder = opendir(dir.c_str())) {
        while (struct dirent* entry = readdir(folder)) {
            if (entry->d_name[0] == '.')
                continue;
            std::string path = dir == "/" ? "/" + std::string(entry->d_name) : dir + "/" + entry->d_name;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
                struct stat info;
                isFolder = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
            }
            // Folders always reach the handler: their names carry no music suffix.
            if (!isFolder && !file_filter(entry->d_name, nullptr))
                continue;
            TextMenuItem* item = file_handler(entry->d_name, path.c_str(), isFolder ? 102 : 101);
            if (item)
                loaded.push_back({item, entry->d_name, isFolder});
        }
        closedir(folder);
    }
    std::sort(loaded.begin(), loaded.end(), [](const LoadedRow& a, const LoadedRow& b) {
        if (a.folder != b.folder)
            return a.folder;
        return naturalLess(a.name, b.name);
    });
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    mRetired.insert(mRetired.end(), mItemVector->begin(), mItemVector->end());
    mItemVector->clear();
    mItemVector->reserve(loaded.size());
    for (const LoadedRow& row : loaded)
        mItemVector->push_back(row.item);
    mSelected = 0;
    mFirstVisible = 0;
    clampView(getListNum());
}

const char* FileBrowserMenu::getCurrentDir() {
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    return mCurrentDir.empty() ? nullptr : mCurrentDir.c_str();
}

void FileBrowserMenu::enterFolder(const std::string& path, const std::string& focusPath) {
    {
        std::lock_guard<std::recursive_mutex> guard(mCursorLock);
        mCurrentDir = path;
    }
    LoadDir();
    if (focusPath.empty())
        return;
    std::string focusName = baseName(focusPath);
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    for (size_t i = 0; i < mItemVector->size(); ++i) {
        if ((*mItemVector)[i]->getLabel() == focusName) {
            int index = static_cast<int>(i);
            restorePos(index, index - mVisibleRows / 2, index - mVisibleRows / 2 + mVisibleRows - 1);
            break;
        }
    }
}

void FileBrowserMenu::restorePos(int selected, int first, int last) {
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    ListMenu::restorePos(selected, first, last);
}

TextMenuItem* FileBrowserMenu::getItemByIndex(int index) {
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    if (index < 0 || static_cast<size_t>(index) >= mItemVector->size())
        return nullptr;
    return (*mItemVector)[static_cast<size_t>(index)];
}

int FileBrowserMenu::getListNum() {
    std::lock_guard<std::recursive_mutex> guard(mCursorLock);
    return static_cast<int>(mItemVector->size());
}

void FileBrowserMenu::draw() {
    TextMenuDrawer::draw();
}

void FileBrowserMenu::pageUp() {
    ListMenu::pageUp();
}

void FileBrowserMenu::pageDown() {
    ListMenu::pageDown();
}

int FileBrowserMenu::eventHandling() {
    sActiveBrowser = this;
    gFolderEventHandler = takeFolderEvent;
    sPendingFolder.clear();
    int key = wait_event(nullptr);
    if (!sPendingFolder.empty()) {
        std::string folder;
        folder.swap(sPendingFolder);
        enterFolder(folder, std::string());
        return 0;
    }
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
    if (zwIsBackKey(key)) {
        std::string current = getCurrentDir() ? getCurrentDir() : mRoot;
        if (current == mRoot || current == "/")
            return kWinResultClose;
        // A folder outside the library goes back to the library's root.
        std::string parent = isUnder(current, mRoot) ? parentOf(current) : mRoot;
        enterFolder(parent, current);
        return 0;
    }
    return key;
}
