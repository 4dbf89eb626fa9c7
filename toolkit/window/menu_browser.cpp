// The file browser list: folders first, then accepted files, each in natural order.
//
// Rows live in mRows under mCursorLock. A load reads the folder's names into one block
// and sorts them on precomputed keys, off the lock, then makes and publishes the rows
// in growing chunks, so that a folder of 100,000 entries shows its top rows early and
// never holds up drawing; a later load (the user entering a folder while another is
// still read) makes an earlier one give up. Folders entered or left from the keys are
// read on the menu's loader thread, so the window thread never waits for a folder: the
// old rows stay on screen until the first chunk of the new ones replaces them, and the
// cursor lands where it belongs (on the folder left, when going back) in that same step.
//
// Replaced rows are retired, not deleted: the window thread releases them before its
// next wait for input, when it holds no row, unless a pointer into them went to another
// thread that has not released it yet or a folder event in the queue still points into
// one of their actions. Large sets are freed on the loader thread.
#include "zinternal.h"
#include "zmenu.h"

#include "base/natural_order.h"
#include "base/user_events.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

// Rows published at once: a first screenful early, then larger steps.
const size_t kFirstChunk = 64;
const size_t kLargestChunk = 8192;
// How many rows ahead a load fetches the name of the row it will make.
const size_t kNamePrefetch = 16;
// How long a loader waits for the screen's first frame before it reads all the same.
const int kFirstFrameWaitMs = 250;
// Replaced sets up to this size are freed on the window thread itself.
const size_t kInlineFreeLimit = 4096;

// The path of the folder event taken during the current wait; window thread only.
std::string sPendingFolder;
bool sFolderPending = false;

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

// An accepted entry: its name in the load's name block, and whether it is a folder.
struct Entry {
    uint32_t offset;
    uint32_t length;
    bool folder;
};

// Appends the entries of group to sorted in natural order of their names.
void appendSorted(const std::string& names, const std::vector<Entry>& group, std::vector<Entry>* sorted) {
    std::vector<std::string_view> views;
    views.reserve(group.size());
    for (const Entry& entry : group)
        views.emplace_back(names.data() + entry.offset, entry.length);
    std::vector<uint32_t> order;
    naturalSortOrder(views, &order);
    for (uint32_t index : order)
        sorted->push_back(group[index]);
}

} // namespace

FileBrowserMenu::FileBrowserMenu(const char* root, const char* startDir, const char* activeImage,
                                 const char* normalImage, int visibleRows, int reserved)
    : TextMenuDrawer(activeImage, normalImage, visibleRows), mItemVector(new std::vector<TextMenuItem*>()),
      mRoot(trimDir(root)), mGeneration(0), mLoadSerial(0), mWindowThreadKnown(false), mClosing(false),
      mItemVectorGeneration(0), mLoaderStarted(false), mLoaderStop(false), mLoaderBusy(false),
      mRequestPending(false) {
    (void)reserved;
    if (mRoot.empty())
        mRoot = "/";
    mCurrentDir = trimDir(startDir);
    if (mCurrentDir.empty())
        mCurrentDir = mRoot;
    mMadeOn = pthread_self();
    mFramesDrawn = gZwRenderer != nullptr;
    mFrameAtStart = zwFrameSerial();
    pthread_mutex_init(&mLoaderLock, nullptr);
    pthread_cond_init(&mLoaderSignal, nullptr);
}

FileBrowserMenu::~FileBrowserMenu() {
    zwForgetTrailOwner(this, nullptr);
    cancelLoads();
    for (Row& row : mRows)
        delete row.item;
    for (RetiredRows& retired : mRetired) {
        for (Row& row : retired.rows)
            delete row.item;
    }
    for (TextMenuItem* item : mTrash)
        delete item;
    pthread_cond_destroy(&mLoaderSignal);
    pthread_mutex_destroy(&mLoaderLock);
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
    if (!mRows.empty()) {
        RetiredRows retired;
        retired.rows.swap(mRows);
        retired.holders.swap(mGenerationHolders);
        mRetired.push_back(std::move(retired));
    }
    mRows.clear();
    mGenerationHolders.clear();
    ++mGeneration;
}

void FileBrowserMenu::LoadDir() {
    // A loader started beside the screen lets the screen's first frame go first: read at
    // the same time, a large folder made that frame half as slow again.
    if (mFramesDrawn && !pthread_equal(pthread_self(), mMadeOn))
        zwWaitForFrameAfter(mFrameAtStart, kFirstFrameWaitMs, mStopWaiting);
    LoadRequest request;
    {
        ZwLock guard(&mCursorLock);
        if (mClosing)
            return;
        request.dir = mCurrentDir;
        request.serial = ++mLoadSerial;
    }
    runLoad(request);
}

void FileBrowserMenu::runLoad(const LoadRequest& request) {
    const std::string& dir = request.dir;
    // The names of the accepted entries, one block for all, each followed by a zero byte.
    auto names = std::make_shared<std::string>();
    std::vector<Entry> folders, files;
    if (DIR* folder = opendir(dir.c_str())) {
        const int folderFd = dirfd(folder);
        // A folder's own size bounds the bytes of its names on the usual file systems:
        // reserving it spares the copies of a growing block.
        struct stat self;
        if (fstat(folderFd, &self) == 0 && self.st_size > 0)
            names->reserve(static_cast<size_t>(std::min<off_t>(self.st_size, off_t(64) << 20)));
        while (struct dirent* entry = readdir(folder)) {
            const char* name = entry->d_name;
            if (name[0] == '.')
                continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
                struct stat info;
                isFolder = fstatat(folderFd, name, &info, 0) == 0 && S_ISDIR(info.st_mode);
            }
            // Folders always reach the handler: their names carry no music suffix.
            if (!isFolder && !file_filter(name, nullptr))
                continue;
            size_t length = strlen(name);
            Entry accepted = {static_cast<uint32_t>(names->size()), static_cast<uint32_t>(length), isFolder};
            names->append(name, length + 1);
            (isFolder ? folders : files).push_back(accepted);
        }
        closedir(folder);
    }
    {
        ZwLock guard(&mCursorLock);
        if (request.serial != mLoadSerial || mClosing)
            return; // someone asked for another folder meanwhile
    }
    std::vector<Entry> sorted;
    sorted.reserve(folders.size() + files.size());
    appendSorted(*names, folders, &sorted);
    appendSorted(*names, files, &sorted);

    // The entry that gets the cursor: the first publish waits until its row is made,
    // so that the rows and the cursor appear together.
    long focusEntry = -1;
    if (!request.focusName.empty()) {
        for (size_t i = 0; i < sorted.size(); ++i) {
            const Entry& entry = sorted[i];
            if ((!request.focusFolderOnly || entry.folder) && entry.length == request.focusName.size() &&
                memcmp(names->data() + entry.offset, request.focusName.data(), entry.length) == 0) {
                focusEntry = static_cast<long>(i);
                break;
            }
        }
    }
    std::shared_ptr<const std::string> sharedNames = names;

    // The first publish replaces the old rows, even when the folder gives none.
    std::vector<Row> pending;
    size_t published = 0;
    long focusRow = -1;
    bool focusApplied = false;
    bool replaced = false;
    auto publishLocked = [&]() -> bool {
        if (request.serial != mLoadSerial || mClosing)
            return false; // a later load owns the list now
        if (!replaced) {
            retireRowsLocked();
            mRows.reserve(sorted.size());
            mRowNames = sharedNames;
            mShownDir = dir;
            mSelected = 0;
            mFirstVisible = 0;
            replaced = true;
        }
        mRows.insert(mRows.end(), pending.begin(), pending.end());
        published += pending.size();
        pending.clear();
        if (focusRow >= 0 && !focusApplied) {
            int index = static_cast<int>(focusRow);
            mSelected = index;
            mFirstVisible = request.savedSelected == index ? request.savedFirst
                                                          : std::max(0, index - mVisibleRows / 2);
            focusApplied = true;
        }
        clampView(static_cast<int>(mRows.size()));
        return true;
    };
    auto publish = [&]() -> bool {
        bool published, seen;
        {
            ZwLock guard(&mCursorLock);
            published = publishLocked();
            seen = onWindowThreadLocked();
        }
        if (published && !seen)
            zwWakeLoop(); // the window thread shows the rows at its next pass
        return published;
    };

    std::string path = dir == "/" ? std::string("/") : dir + "/";
    const size_t prefix = path.size();
    size_t chunk = kFirstChunk;
    bool abandoned = false;
    ZwRowBlock* block = zwOpenRowBlock(); // the folder's rows own it
    for (size_t i = 0; i < sorted.size(); ++i) {
        const Entry& entry = sorted[i];
        const char* name = names->data() + entry.offset;
        // The names lie in the order the folder gave them, the rows go in sorted order:
        // fetch a name some rows ahead, so that it is in the cache when its row is made.
        if (i + kNamePrefetch < sorted.size())
            __builtin_prefetch(names->data() + sorted[i + kNamePrefetch].offset);
        path.resize(prefix);
        path.append(name, entry.length);
        TextMenuItem* item = file_handler(name, path.c_str(), entry.folder ? 102 : 101);
        if (!item)
            continue;
        if (static_cast<long>(i) == focusEntry)
            focusRow = static_cast<long>(published + pending.size());
        pending.push_back(Row{item, entry.offset, entry.length, entry.folder});
        if (pending.size() >= chunk && static_cast<long>(i) >= focusEntry) {
            if (!publish()) {
                abandoned = true;
                break;
            }
            chunk = std::min(chunk * 2, kLargestChunk);
        }
    }
    zwCloseRowBlock(block);
    if (!abandoned && (!replaced || !pending.empty()) && publish())
        return;
    for (Row& row : pending)
        delete row.item;
}

std::string FileBrowserMenu::rootDir() {
    return mRoot; // set once, at construction
}

std::string FileBrowserMenu::shownDir() {
    ZwLock guard(&mCursorLock);
    return mShownDir;
}

const char* FileBrowserMenu::getCurrentDir() {
    ZwLock guard(&mCursorLock);
    return mCurrentDir.empty() ? nullptr : mCurrentDir.c_str();
}

TextMenuItem* FileBrowserMenu::getItemByIndex(int index) {
    ZwLock guard(&mCursorLock);
    if (index < 0 || static_cast<size_t>(index) >= mRows.size())
        return nullptr;
    if (!mWindowThreadKnown || !pthread_equal(mWindowThread, pthread_self())) {
        pthread_t self = pthread_self();
        bool known = false;
        for (pthread_t holder : mGenerationHolders)
            known = known || pthread_equal(holder, self);
        if (!known)
            mGenerationHolders.push_back(self);
    }
    return mRows[static_cast<size_t>(index)].item;
}

bool FileBrowserMenu::onWindowThreadLocked() const {
    return mWindowThreadKnown && pthread_equal(mWindowThread, pthread_self());
}

bool FileBrowserMenu::holdsOnlyReplacedRowsLocked(pthread_t thread) const {
    auto holds = [&](const std::vector<pthread_t>& holders) {
        for (pthread_t holder : holders) {
            if (pthread_equal(holder, thread))
                return true;
        }
        return false;
    };
    if (holds(mGenerationHolders))
        return false;
    for (const RetiredRows& retired : mRetired) {
        if (holds(retired.holders))
            return true;
    }
    return false;
}

void FileBrowserMenu::restorePos(int selected, int first, int last) {
    bool seen;
    {
        ZwLock guard(&mCursorLock);
        // A thread that found the index in rows since replaced by another folder's would
        // put the cursor on a row of that folder: the new rows keep the cursor their own
        // load gave them.
        if (holdsOnlyReplacedRowsLocked(pthread_self()))
            return;
        ListMenu::restorePos(selected, first, last);
        seen = onWindowThreadLocked();
    }
    if (!seen)
        zwWakeLoop();
}

int FileBrowserMenu::getListNum() {
    ZwLock guard(&mCursorLock);
    return static_cast<int>(mRows.size());
}

void FileBrowserMenu::releaseRows() {
    pthread_t self = pthread_self();
    auto drop = [&](std::vector<pthread_t>& holders) {
        holders.erase(std::remove_if(holders.begin(), holders.end(),
                                     [&](pthread_t holder) { return pthread_equal(holder, self) != 0; }),
                      holders.end());
    };
    ZwLock guard(&mCursorLock);
    drop(mGenerationHolders);
    for (RetiredRows& retired : mRetired)
        drop(retired.holders);
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
            anyFree = anyFree || retired.holders.empty();
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
            if (!retired.holders.empty()) {
                kept.push_back(std::move(retired));
                continue;
            }
            for (const Row& row : retired.rows)
                gone.push_back(row.item);
        }
        mRetired.swap(kept);
    }
    if (gone.size() > kInlineFreeLimit) {
        // Freeing a large folder's rows takes a while: the loader thread does it.
        pthread_mutex_lock(&mLoaderLock);
        bool handed = mLoaderStarted && !mLoaderStop;
        if (handed) {
            mTrash.insert(mTrash.end(), gone.begin(), gone.end());
            pthread_cond_signal(&mLoaderSignal);
        }
        pthread_mutex_unlock(&mLoaderLock);
        if (handed)
            return;
    }
    for (TextMenuItem* item : gone)
        delete item;
}

bool FileBrowserMenu::focusRowLocked(const std::string& name, bool folderOnly) {
    for (size_t i = 0; i < mRows.size(); ++i) {
        if ((!folderOnly || mRows[i].folder) && rowName(mRows[i]) == name) {
            int index = static_cast<int>(i);
            mSelected = index;
            mFirstVisible = std::max(0, index - mVisibleRows / 2);
            clampView(static_cast<int>(mRows.size()));
            return true;
        }
    }
    return false;
}

std::string FileBrowserMenu::rowName(const Row& row) const {
    if (!mRowNames)
        return std::string();
    return mRowNames->substr(row.nameOffset, row.nameLength);
}

bool FileBrowserMenu::prepareEnter(const std::string& path, const std::string& focusPath, LoadRequest* request) {
    std::string dir = trimDir(path.c_str());
    if (dir.empty())
        return false;
    ZwLock guard(&mCursorLock);
    if (mClosing)
        return false;
    if (focusPath.empty())
        mHistory.push_back(SavedPos{mCurrentDir, mSelected, mFirstVisible});
    mCurrentDir = dir;
    request->dir = dir;
    request->serial = ++mLoadSerial;
    if (!focusPath.empty())
        request->focusName = baseName(focusPath);
    return true;
}

bool FileBrowserMenu::prepareBack(LoadRequest* request) {
    ZwLock guard(&mCursorLock);
    const std::string current = mCurrentDir;
    if (mClosing || current == mRoot || current == "/")
        return false;
    // A folder outside the library goes back to the library's root.
    std::string parent = isUnder(current, mRoot) ? parentOf(current) : mRoot;
    if (!mHistory.empty() && mHistory.back().dir == parent) {
        // The cursor where it was, if the row there is still the folder we left; else
        // wherever that folder stands now.
        request->savedSelected = mHistory.back().selected;
        request->savedFirst = mHistory.back().first;
        mHistory.pop_back();
    } else {
        mHistory.clear(); // the way up is not the way we came
    }
    mCurrentDir = parent;
    request->dir = parent;
    request->serial = ++mLoadSerial;
    request->focusName = baseName(current);
    request->focusFolderOnly = true;
    return true;
}

void FileBrowserMenu::enterFolder(const std::string& path, const std::string& focusPath) {
    LoadRequest request;
    if (prepareEnter(path, focusPath, &request))
        runLoad(request);
}

int FileBrowserMenu::goBack() {
    LoadRequest request;
    if (!prepareBack(&request))
        return -1;
    runLoad(request);
    return 0;
}

void* FileBrowserMenu::loaderMain(void* menu) {
    static_cast<FileBrowserMenu*>(menu)->serveLoads();
    return nullptr;
}

void FileBrowserMenu::serveLoads() {
    pthread_mutex_lock(&mLoaderLock);
    for (;;) {
        while (!mLoaderStop && !mRequestPending && mTrash.empty())
            pthread_cond_wait(&mLoaderSignal, &mLoaderLock);
        if (mLoaderStop)
            break;
        if (mRequestPending) {
            LoadRequest request = std::move(mPendingRequest);
            mRequestPending = false;
            mLoaderBusy = true;
            pthread_mutex_unlock(&mLoaderLock);
            runLoad(request);
            pthread_mutex_lock(&mLoaderLock);
            mLoaderBusy = false;
            continue; // a newer request goes before the freeing
        }
        std::vector<TextMenuItem*> trash;
        trash.swap(mTrash);
        pthread_mutex_unlock(&mLoaderLock);
        for (TextMenuItem* item : trash)
            delete item;
        pthread_mutex_lock(&mLoaderLock);
    }
    pthread_mutex_unlock(&mLoaderLock);
}

void FileBrowserMenu::queueLoad(LoadRequest request) {
    pthread_mutex_lock(&mLoaderLock);
    if (!mLoaderStarted && !mLoaderStop) {
        mLoaderStarted = pthread_create(&mLoaderThread, nullptr, loaderMain, this) == 0;
        if (mLoaderStarted)
            pthread_setname_np(mLoaderThread, "folderloader");
    }
    if (!mLoaderStarted) {
        pthread_mutex_unlock(&mLoaderLock);
        runLoad(request); // no thread to be had: read it here
        return;
    }
    mPendingRequest = std::move(request);
    mRequestPending = true;
    pthread_cond_signal(&mLoaderSignal);
    pthread_mutex_unlock(&mLoaderLock);
}

bool FileBrowserMenu::isLoading() {
    pthread_mutex_lock(&mLoaderLock);
    bool loading = mRequestPending || mLoaderBusy;
    pthread_mutex_unlock(&mLoaderLock);
    return loading;
}

void FileBrowserMenu::cancelLoads() {
    {
        ZwLock guard(&mCursorLock);
        mClosing = true;
        ++mLoadSerial;
    }
    mStopWaiting.store(true, std::memory_order_release);
    zwWakeFrameWaiters();
    pthread_mutex_lock(&mLoaderLock);
    mLoaderStop = true;
    mRequestPending = false;
    bool started = mLoaderStarted;
    mLoaderStarted = false;
    pthread_cond_signal(&mLoaderSignal);
    pthread_mutex_unlock(&mLoaderLock);
    if (started)
        pthread_join(mLoaderThread, nullptr);
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
        TextMenuItem* item = nullptr;
        {
            ZwLock guard(&mCursorLock); // the loader may be moving the cursor
            item = getItemByIndex(mSelected);
        }
        if (item && item->getAction())
            return item->getAction()->dowork(nullptr);
        return 0;
    }
    if (zwIsBackKey(key)) {
        LoadRequest request;
        if (!prepareBack(&request))
            return kWinResultClose;
        queueLoad(std::move(request));
        return 0;
    }
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
        LoadRequest request;
        if (prepareEnter(folder, std::string(), &request))
            queueLoad(std::move(request));
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
    zwNoteBrowserDrawn(this, [](FileBrowserMenu* browser) { return zwNavTrail(browser->rootDir(), browser->shownDir()); });
    TextMenuDrawer::draw();
}
