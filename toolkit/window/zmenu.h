// Menu widgets of the window toolkit: row actions and value handlers, list rows, the
// scrolling list with its text-menu and file-browser forms, the settings list with its
// row types, and the floating popup and dialog windows. Virtual operations and the
// members the program touches keep the device toolkit's order.
#pragma once

#include "zwindow.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

// What a row runs when it is activated; dowork returns a window result or 0.
class Action {
public:
    Action() : mId(-1) {}
    virtual ~Action() {}
    virtual int dowork(void* arg) {
        (void)arg;
        return 0;
    }
    virtual int dowork2(void* arg) {
        (void)arg;
        return 0;
    }
    virtual int showdetail(void* arg, int kind) {
        (void)arg;
        (void)kind;
        return -1;
    }
    virtual int showmenu() { return 0; }
    // An action made while a folder loads lives in that folder's block, as its row does.
    static void* operator new(std::size_t size);
    static void operator delete(void* action, std::size_t size);
    int mId;
};

// Calls a plain function with a stored argument.
class GeneralAction : public Action {
public:
    GeneralAction() : mCallback(nullptr), mArg(nullptr), mFlag(false) {}
    GeneralAction(int (*callback)(void*), void* arg) : mCallback(callback), mArg(arg), mFlag(false) {}
    int dowork(void*) override { return mCallback ? mCallback(mArg) : 0; }
    int (*mCallback)(void*);
    void* mArg;
    bool mFlag;
};

// Model of a setting row whose value steps with left and right.
class ValueHandler {
public:
    virtual ~ValueHandler() {}
    virtual int changeValue(int key) = 0;
    virtual int saveValue() = 0;
    virtual char* getShowValue() = 0;
};

// Model of a setting row with an on/off switch.
class SwitchHandler {
public:
    virtual ~SwitchHandler() {}
    virtual bool getValue() = 0;
    virtual int setValue(bool value) = 0;
    virtual int saveValue() = 0;
};

// A row of the settings list.
class ItemDrawable {
public:
    virtual ~ItemDrawable() {}
    virtual void drawItem(const SDL_Rect& row, bool active) = 0;
    // A key while the row has the cursor; 0 or a window result.
    virtual int handleKey(int key) {
        (void)key;
        return 0;
    }
};

class MenuItemBase {
public:
    virtual ~MenuItemBase() {}
};

// A list row: label, icon and action; owns the action when constructed with true.
class TextMenuItem : public MenuItemBase {
public:
    TextMenuItem(const char* label, ZelmorSurface* icon, Action* action, bool owned);
    ~TextMenuItem() override;
    virtual Action* getAction();
    virtual std::string getFileName();
    virtual std::string getPinyin();
    virtual std::string getOriginalPinyin();
    virtual std::string getLabel();
    virtual std::string getSubLabel();
    virtual ZelmorSurface* getLabelIcon();
    virtual SDL_Rect* getLabelIconDisplayRect();
    virtual bool isFavourite();
    virtual std::string getThemePath();
    // A row made while a folder loads lives in the block of storage that the folder's
    // rows own, freed whole when the last of them goes; others live on the heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* row, std::size_t size);

    Action* mAction;
    bool mFavourite;
    ZelmorSurface* mIcon;
    std::string mPinyin;
    std::string mFileName;
    std::string mOriginalPinyin;
    bool mOwnsAction;
};

// The scrolling list: cursor, visible range, paging.
class ListMenu {
public:
    explicit ListMenu(int visibleRows);
    virtual ~ListMenu();
    virtual void restorePos(int selected, int first, int last);
    virtual int eventHandling();
    virtual void select() {}
    virtual TextMenuItem* getItemByIndex(int index) {
        (void)index;
        return nullptr;
    }
    virtual void* getImgByIndex(int index) {
        (void)index;
        return nullptr;
    }
    virtual void draw() {}
    virtual int getListNum() { return 0; }
    virtual void moveForward();
    virtual void moveBackward();
    virtual void xselect() {}
    virtual void refresh() {}
    virtual void removeItem(int index) { (void)index; }
    virtual void clearItemList() {}
    virtual void activate(bool on) { (void)on; }
    virtual void search(const char* text) { (void)text; }
    virtual void pageUp();
    virtual void pageDown();
    virtual void drawListNum(int count, SDL_Rect& rect, _TTF_Font* font) {
        (void)count;
        (void)rect;
        (void)font;
    }

    void setRect(SDL_Rect& rect);

    // Atomics, since a loader thread's restorePos writes them while the window thread
    // reads them without a lock; they convert to int wherever an index is needed.
    std::atomic<int> mSelected;
    std::atomic<int> mFirstVisible;
    std::atomic<int> mLastVisible;
    SDL_Rect mRect;
    int mRowHeight;
    int mRowGap;
    unsigned char mDisplayFlags[3];
    int mVisibleRows;

protected:
    // Keeps the cursor inside the list and the visible range around it; the caller
    // holds the rows' lock where there is one.
    void clampView(int count);
    // Guards the cursor fields against a loader thread's restorePos; recursive.
    pthread_mutex_t mCursorLock;
};

// Draws rows of TextMenuItems with their row images, icons and labels.
class TextMenuDrawer : public ListMenu {
public:
    TextMenuDrawer(const char* activeImage, const char* normalImage, int visibleRows);
    ~TextMenuDrawer() override;
    void draw() override;
    void updateRectAndNum(SDL_Rect& rect, int rows);

protected:
    void drawRow(TextMenuItem* item, const SDL_Rect& row, bool active);
    void drawScrollIndicator(int count);
    ZelmorSurface* mActiveRow;
    ZelmorSurface* mNormalRow;
};

// A fixed list of rows, as the popup menu uses it.
class TextMenu : public TextMenuDrawer {
public:
    TextMenu(const char* activeImage, const char* normalImage, int visibleRows, int reserved);
    ~TextMenu() override;
    TextMenuItem* getItemByIndex(int index) override;
    int getListNum() override;
    void insertItem(void* item);

    std::vector<TextMenuItem*> mItems;
    int mRowSetting;
    bool mRowFlag;
};

// The file list: folders and the files the program accepts, in natural order.
// LoadDir, getListNum, getItemByIndex and restorePos may run on a loader thread while
// the window thread draws and handles keys. Rows live under mCursorLock; a LoadDir
// publishes them in chunks and gives way to any later LoadDir. A folder entered or left
// from the keys is read on the menu's own loader thread, the old rows staying on screen
// until the new ones are published. A replaced row stays valid while a thread may hold
// it (see reclaimRetired).
class FileBrowserMenu : public TextMenuDrawer {
public:
    FileBrowserMenu(const char* root, const char* startDir, const char* activeImage, const char* normalImage,
                    int visibleRows, int reserved);
    ~FileBrowserMenu() override;
    // Ignored from a thread whose rows have all been replaced since it read them.
    void restorePos(int selected, int first, int last) override;
    int eventHandling() override;
    TextMenuItem* getItemByIndex(int index) override;
    void draw() override;
    int getListNum() override;

    void LoadDir();
    const char* getCurrentDir();
    // The library's root, and the folder whose rows are shown now (empty before the
    // first rows): what the title bar's trail names.
    std::string rootDir();
    std::string shownDir();
    // Enters a folder and reads it on the calling thread; the cursor goes to the row of
    // focusPath when given.
    void enterFolder(const std::string& path, const std::string& focusPath);
    // Goes up on the calling thread: to the parent, or from outside the root to the
    // root, with the cursor on the folder left. Negative at the root, where nothing
    // changes.
    int goBack();
    // What eventHandling does with a key once it has it: kWinResultClose for back at
    // the root, the action's result for confirm, other keys as their codes. Back below
    // the root starts reading the parent on the loader thread.
    int handleKey(int key);

    // Whether a folder that the keys asked for is still being read.
    bool isLoading();
    // Makes every LoadDir, running or to come, give up, and ends the loader thread.
    // Called before the menu goes; the rows stay.
    void cancelLoads();
    // The calling thread declares that it holds none of the rows it took with
    // getItemByIndex any more, so that replaced ones can be freed.
    void releaseRows();

    // The rows as the window thread last saw them, brought up to date by draw and
    // eventHandling; read it on the window thread only.
    std::vector<TextMenuItem*>* mItemVector;

protected:
    // A row and its entry's name, which lies in mRowNames.
    struct Row {
        TextMenuItem* item;
        uint32_t nameOffset;
        uint32_t nameLength;
        bool folder;
    };
    struct RetiredRows {
        std::vector<Row> rows;
        // Threads other than the window thread that took rows of this set; it is kept
        // until every one of them has released them.
        std::vector<pthread_t> holders;
    };
    struct SavedPos {
        std::string dir;
        int selected;
        int first;
    };
    // What a load reads, and where the cursor goes once the rows are there.
    struct LoadRequest {
        std::string dir;
        uint64_t serial = 0;
        std::string focusName;   // entry to put the cursor on; empty: the top row
        bool focusFolderOnly = false;
        int savedSelected = -1;  // restored, with savedFirst, when that row is the entry
        int savedFirst = 0;
    };

    void noteWindowThread();
    bool onWindowThreadLocked() const;
    // True when thread holds rows of replaced sets and none of the current one.
    bool holdsOnlyReplacedRowsLocked(pthread_t thread) const;
    void syncItemVector();
    // Frees replaced rows that no thread can hold any more; window thread only. Large
    // sets are handed to the loader thread to free.
    void reclaimRetired();
    void retireRowsLocked();
    bool focusRowLocked(const std::string& name, bool folderOnly);
    std::string rowName(const Row& row) const;
    // The request for entering dir or for going up; false when there is nothing to do.
    bool prepareEnter(const std::string& path, const std::string& focusPath, LoadRequest* request);
    bool prepareBack(LoadRequest* request);
    // Reads the folder of the request and publishes its rows unless a later load or
    // cancelLoads came first.
    void runLoad(const LoadRequest& request);
    // Hands the request to the loader thread, starting it when needed.
    void queueLoad(LoadRequest request);
    static void* loaderMain(void* menu);
    void serveLoads();

    std::string mRoot;
    std::string mCurrentDir;
    std::string mShownDir; // the folder of mRows
    std::vector<Row> mRows;
    // Names of the entries of the current rows' folder; shared with the load that made
    // them, which reads it without the lock.
    std::shared_ptr<const std::string> mRowNames;
    std::vector<RetiredRows> mRetired;
    std::vector<SavedPos> mHistory;
    uint64_t mGeneration;   // bumped whenever mRows is replaced
    uint64_t mLoadSerial;   // the latest LoadDir; older ones stop publishing
    std::vector<pthread_t> mGenerationHolders; // other threads holding current rows
    pthread_t mWindowThread;
    bool mWindowThreadKnown;
    bool mClosing; // cancelLoads has run
    // The thread that made the menu, whether frames are drawn at all, and the frames
    // shown before it was made: a loader on another thread waits for the next one.
    pthread_t mMadeOn;
    bool mFramesDrawn;
    unsigned long mFrameAtStart;
    std::atomic<bool> mStopWaiting{false};
    uint64_t mItemVectorGeneration; // window thread only

    // The loader thread's queue: one pending request (a newer one replaces it) and rows
    // to free. Guarded by mLoaderLock, which is never taken inside mCursorLock.
    pthread_mutex_t mLoaderLock;
    pthread_cond_t mLoaderSignal;
    pthread_t mLoaderThread;
    bool mLoaderStarted;
    bool mLoaderStop;
    bool mLoaderBusy;
    bool mRequestPending;
    LoadRequest mPendingRequest;
    std::vector<TextMenuItem*> mTrash;
};

// The settings list.
class SettingMenu {
public:
    SettingMenu();
    virtual ~SettingMenu();
    void insertSettingItem(ItemDrawable* item);
    void draw();
    int eventHandling();
    // The same key handling without waiting, for a key already read.
    int handleKey(int key);

    std::vector<ItemDrawable*> mItems;
    int mSelected;
    SDL_Rect mRect;
    int mRowHeight;
};

// A setting row with a fixed value text.
class SettingItem : public ItemDrawable {
public:
    SettingItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow, int labelId, const char* value,
                Action* action);
    ~SettingItem() override;
    void drawItem(const SDL_Rect& row, bool active) override;
    int handleKey(int key) override;
    int labelId() const { return mLabelId; }
    const std::string& value() const { return mValue; }

protected:
    ZelmorSurface* mActiveRow;
    ZelmorSurface* mNormalRow;
    int mLabelId;
    std::string mValue;
    Action* mAction;
};

// A setting row whose value steps with left and right between two arrows.
class SettingValueItem : public SettingItem {
public:
    SettingValueItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow, ZelmorSurface* leftActive,
                     ZelmorSurface* leftNormal, ZelmorSurface* rightActive, ZelmorSurface* rightNormal,
                     ZelmorSurface* textField, int labelId, Action* action, ValueHandler* handler);
    ~SettingValueItem() override;
    void drawItem(const SDL_Rect& row, bool active) override;
    int handleKey(int key) override;

private:
    ZelmorSurface* mLeftActive;
    ZelmorSurface* mLeftNormal;
    ZelmorSurface* mRightActive;
    ZelmorSurface* mRightNormal;
    ZelmorSurface* mTextField;
    ValueHandler* mHandler;
};

// A setting row with an on/off switch, toggled by confirm, left and right.
class SettingSwitchItem : public SettingItem {
public:
    SettingSwitchItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow, ZelmorSurface* switchOn,
                      ZelmorSurface* switchOff, int labelId, SwitchHandler* handler);
    ~SettingSwitchItem() override;
    void drawItem(const SDL_Rect& row, bool active) override;
    int handleKey(int key) override;

private:
    ZelmorSurface* mSwitchOn;
    ZelmorSurface* mSwitchOff;
    SwitchHandler* mHandler;
};

// A window that floats over the one beneath it, which stays visible.
class FloatWindow : public ZelmorWindow {
public:
    FloatWindow(int titleId);
    bool isFloating() override { return true; }
    void init() override;
};

// A small menu with a title over a panel image; confirm runs the row's action.
class PopUpWindow : public FloatWindow {
public:
    PopUpWindow(int titleId, TextMenuDrawer* menu, const char* background);
    ~PopUpWindow() override;
    int eventHandling() override;
    int draw() override;
    int handleKey(int key);
    TextMenuDrawer* getMenu() { return mMenu; }

private:
    TextMenuDrawer* mMenu;
    ZelmorSurface* mBackground;
    // A row opened another window above: once that closes, so does the popup, so that
    // the screen under it comes back.
    bool mDismissed;
};

// A question with a confirm action; declining closes it with no action.
class DialogWindow : public FloatWindow {
public:
    DialogWindow(int titleId, int textId, bool flag, Action* action, void (*onClose)());
    ~DialogWindow() override;
    int eventHandling() override;
    int draw() override;
    void init() override;
    int handleKey(int key);

private:
    int mTextId;
    Action* mAction;
    void (*mOnClose)();
    ZelmorSurface* mPanel;
};

// Confirm and back as the shared key table sets them (key 19 swaps the two).
bool zwIsConfirmKey(int key);
bool zwIsBackKey(int key);
