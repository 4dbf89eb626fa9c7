// List rows, the scrolling list, and its text-menu form.
#include "zmenu.h"
#include "zinternal.h"
#include "shmvar.h"

#include <algorithm>

bool zwIsConfirmKey(int key) {
    bool swapped = GetKeyShm(&gShmInfo, kShmKeySwapButtons) != 0;
    return key == (swapped ? kKeySecondary : kKeyPrimary);
}

bool zwIsBackKey(int key) {
    bool swapped = GetKeyShm(&gShmInfo, kShmKeySwapButtons) != 0;
    return key == (swapped ? kKeyPrimary : kKeySecondary);
}

TextMenuItem::TextMenuItem(const char* label, ZelmorSurface* icon, Action* action, bool owned)
    : mAction(action), mFavourite(false), mIcon(icon), mFileName(label ? label : ""), mOwnsAction(owned) {}

TextMenuItem::~TextMenuItem() {
    if (mOwnsAction)
        delete mAction;
}

Action* TextMenuItem::getAction() {
    return mAction;
}
std::string TextMenuItem::getFileName() {
    return mFileName;
}
std::string TextMenuItem::getPinyin() {
    return mPinyin;
}
std::string TextMenuItem::getOriginalPinyin() {
    return mOriginalPinyin;
}
std::string TextMenuItem::getLabel() {
    return mFileName;
}
std::string TextMenuItem::getSubLabel() {
    return std::string();
}
ZelmorSurface* TextMenuItem::getLabelIcon() {
    return mIcon;
}
SDL_Rect* TextMenuItem::getLabelIconDisplayRect() {
    return nullptr;
}
bool TextMenuItem::isFavourite() {
    return mFavourite;
}
std::string TextMenuItem::getThemePath() {
    return gThemePath ? gThemePath : "./";
}

ListMenu::ListMenu(int visibleRows)
    : mSelected(0), mFirstVisible(0), mLastVisible(-1), mRect{0, 0, kZwScreenWidth, kZwScreenHeight}, mRowHeight(88),
      mRowGap(0), mDisplayFlags{1, 1, 1}, mVisibleRows(visibleRows > 0 ? visibleRows : 1) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mCursorLock, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

ListMenu::~ListMenu() {
    pthread_mutex_destroy(&mCursorLock);
}

void ListMenu::setRect(SDL_Rect& rect) {
    ZwLock guard(&mCursorLock);
    mRect = rect;
    mRowGap = mVisibleRows > 1 ? std::max(0, (rect.h - mVisibleRows * mRowHeight) / (mVisibleRows - 1)) : 0;
}

void ListMenu::clampView(int count) {
    if (count <= 0) {
        mSelected = 0;
        mFirstVisible = 0;
        mLastVisible = -1;
        return;
    }
    int selected = std::max(0, std::min<int>(mSelected, count - 1));
    int first = mFirstVisible;
    if (selected < first)
        first = selected;
    if (selected > first + mVisibleRows - 1)
        first = selected - mVisibleRows + 1;
    first = std::max(0, std::min(first, count - mVisibleRows));
    mSelected = selected;
    mFirstVisible = first;
    mLastVisible = std::min(count - 1, first + mVisibleRows - 1);
}

void ListMenu::restorePos(int selected, int first, int last) {
    ZwLock guard(&mCursorLock);
    int count = getListNum();
    mSelected = selected;
    // A last row beyond the end pulls the page back so that it stays full.
    if (count > 0 && last > count - 1)
        first -= last - (count - 1);
    mFirstVisible = std::max(0, first);
    clampView(count);
}

int ListMenu::eventHandling() {
    int key = wait_event(nullptr);
    if (key == kKeyUp)
        moveBackward();
    else if (key == kKeyDown)
        moveForward();
    else
        return key;
    return 0;
}

void ListMenu::moveForward() {
    ZwLock guard(&mCursorLock);
    int count = getListNum();
    mSelected = zwWrapStep(mSelected, 1, count);
    clampView(count);
}

void ListMenu::moveBackward() {
    ZwLock guard(&mCursorLock);
    int count = getListNum();
    mSelected = zwWrapStep(mSelected, -1, count);
    clampView(count);
}

void ListMenu::pageUp() {
    ZwLock guard(&mCursorLock);
    int count = getListNum();
    mSelected = std::max(0, mSelected - mVisibleRows);
    mFirstVisible = std::max(0, mFirstVisible - mVisibleRows);
    clampView(count);
}

void ListMenu::pageDown() {
    ZwLock guard(&mCursorLock);
    int count = getListNum();
    mSelected = std::min(count - 1, mSelected + mVisibleRows);
    mFirstVisible = mFirstVisible + mVisibleRows;
    clampView(count);
}

TextMenuDrawer::TextMenuDrawer(const char* activeImage, const char* normalImage, int visibleRows)
    : ListMenu(visibleRows), mActiveRow(nullptr), mNormalRow(nullptr) {
    if (activeImage)
        mActiveRow = LoadZelmorSurface(gThemePath, "./", activeImage);
    if (normalImage)
        mNormalRow = LoadZelmorSurface(gThemePath, "./", normalImage);
    if (mActiveRow)
        mRowHeight = mActiveRow->getHeight();
}

TextMenuDrawer::~TextMenuDrawer() {
    delete mActiveRow;
    delete mNormalRow;
}

void TextMenuDrawer::updateRectAndNum(SDL_Rect& rect, int rows) {
    ZwLock guard(&mCursorLock);
    mVisibleRows = rows > 0 ? rows : 1;
    setRect(rect);
    clampView(getListNum());
}

void TextMenuDrawer::drawRow(TextMenuItem* item, const SDL_Rect& row, bool active) {
    ZelmorSurface* background = active ? mActiveRow : mNormalRow;
    if (background)
        zwBlitAt(background, row.x + (row.w - background->getWidth()) / 2, row.y);
    int textX = row.x + 48;
    if (ZelmorSurface* icon = item->getLabelIcon()) {
        zwBlitAt(icon, row.x + 48, row.y + (row.h - icon->getHeight()) / 2);
        textX += icon->getWidth() + 20;
    }
    std::string label = item->getLabel();
    DrawString(gListFontTxt, SDL_Rect{textX, row.y, row.x + row.w - 48 - textX, row.h}, label.c_str(),
               gListColorTxt, 0, false, false);
}

void TextMenuDrawer::drawScrollIndicator(int count) {
    if (count <= mVisibleRows || !gZwRenderer)
        return;
    // A thin track on the right edge with a thumb for the visible share of the list.
    const int trackX = mRect.x + mRect.w - 12, trackY = mRect.y + 8, trackH = mRect.h - 16;
    SDL_Rect track = {trackX, trackY, 4, trackH};
    zwRenderFill(&track, SDL_Color{255, 255, 255, 40}, SDL_BLENDMODE_BLEND);
    int thumbH = std::max(24, static_cast<int>(static_cast<long>(trackH) * mVisibleRows / count));
    int range = std::max(1, count - mVisibleRows);
    int thumbY = trackY + static_cast<int>(static_cast<long>(trackH - thumbH) * mFirstVisible / range);
    SDL_Rect thumb = {trackX, thumbY, 4, thumbH};
    zwRenderFill(&thumb, SDL_Color{255, 107, 91, 230}, SDL_BLENDMODE_BLEND);
}

void TextMenuDrawer::draw() {
    // Copy what is on screen under the lock, then draw without it: a loader thread may
    // be filling the list meanwhile.
    TextMenuItem* rows[64];
    int shown = 0, selected, first, count;
    {
        ZwLock guard(&mCursorLock);
        count = getListNum();
        clampView(count);
        selected = mSelected;
        first = mFirstVisible;
        for (int i = mFirstVisible; i <= mLastVisible && shown < 64; ++i)
            rows[shown++] = getItemByIndex(i);
    }
    for (int i = 0; i < shown; ++i) {
        if (!rows[i])
            continue;
        SDL_Rect row = {mRect.x, mRect.y + i * (mRowHeight + mRowGap), mRect.w, mRowHeight};
        drawRow(rows[i], row, first + i == selected);
    }
    drawScrollIndicator(count);
}

TextMenu::TextMenu(const char* activeImage, const char* normalImage, int visibleRows, int reserved)
    : TextMenuDrawer(activeImage, normalImage, visibleRows), mRowSetting(0), mRowFlag(false) {
    (void)reserved;
}

TextMenu::~TextMenu() {
    for (TextMenuItem* item : mItems)
        delete item;
}

TextMenuItem* TextMenu::getItemByIndex(int index) {
    return index >= 0 && static_cast<size_t>(index) < mItems.size() ? mItems[static_cast<size_t>(index)]
                                                                    : nullptr;
}

int TextMenu::getListNum() {
    return static_cast<int>(mItems.size());
}

void TextMenu::insertItem(void* item) {
    if (!item)
        return;
    ZwLock guard(&mCursorLock);
    mItems.push_back(static_cast<TextMenuItem*>(item));
    clampView(getListNum());
}
