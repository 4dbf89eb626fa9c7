// The settings list and its three row types.
#include "zinternal.h"
#include "zmenu.h"

namespace {

// Vertical position that centres a surface of height h in a row.
int centred(const SDL_Rect& row, ZelmorSurface* surface) {
    return row.y + (row.h - (surface ? surface->getHeight() : 0)) / 2;
}

} // namespace

SettingMenu::SettingMenu() : mSelected(0), mRect{0, 80, kZwScreenWidth, 560}, mRowHeight(88) {}

SettingMenu::~SettingMenu() {
    for (ItemDrawable* item : mItems)
        delete item;
}

void SettingMenu::insertSettingItem(ItemDrawable* item) {
    if (item)
        mItems.push_back(item);
}

void SettingMenu::draw() {
    for (size_t i = 0; i < mItems.size(); ++i) {
        SDL_Rect row = {mRect.x, mRect.y + static_cast<int>(i) * (mRowHeight + 4), mRect.w, mRowHeight};
        if (row.y + row.h > mRect.y + mRect.h)
            break;
        mItems[i]->drawItem(row, static_cast<int>(i) == mSelected);
    }
}

int SettingMenu::handleKey(int key) {
    const int count = static_cast<int>(mItems.size());
    if (zwIsBackKey(key))
        return kWinResultClose;
    if (count == 0)
        return 0;
    if (key == kKeyUp || key == kKeyDown) {
        mSelected = zwWrapStep(mSelected, key == kKeyUp ? -1 : 1, count);
        return 0;
    }
    if (key == kKeyNone)
        return 0;
    return mItems[static_cast<size_t>(mSelected)]->handleKey(key);
}

int SettingMenu::eventHandling() {
    return handleKey(wait_event(nullptr));
}

SettingItem::SettingItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow, int labelId, const char* value,
                         Action* action)
    : mActiveRow(activeRow), mNormalRow(normalRow), mLabelId(labelId), mValue(value ? value : ""),
      mAction(action) {}

// The row images belong to the window that loaded them; only the action is the row's.
SettingItem::~SettingItem() {
    delete mAction;
}

void SettingItem::drawItem(const SDL_Rect& row, bool active) {
    zwBlitAt(active ? mActiveRow : mNormalRow, row.x, row.y);
    DrawString(gListFontTxt, SDL_Rect{row.x + 72, row.y, 560, row.h}, getLangStr(mLabelId), gListColorTxt, 0,
               false, false);
    if (!mValue.empty()) {
        SDL_Color dim = {gListColorTxt.r, gListColorTxt.g, gListColorTxt.b, 170};
        DrawString(gListFontTxt, SDL_Rect{row.x + 640, row.y, row.w - 640 - 72, row.h}, mValue.c_str(), dim,
                   0, false, false);
    }
}

int SettingItem::handleKey(int key) {
    if (zwIsConfirmKey(key) && mAction)
        return mAction->dowork(nullptr);
    return 0;
}

SettingValueItem::SettingValueItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow,
                                   ZelmorSurface* leftActive, ZelmorSurface* leftNormal,
                                   ZelmorSurface* rightActive, ZelmorSurface* rightNormal,
                                   ZelmorSurface* textField, int labelId, Action* action,
                                   ValueHandler* handler)
    : SettingItem(activeRow, normalRow, labelId, nullptr, action), mLeftActive(leftActive),
      mLeftNormal(leftNormal), mRightActive(rightActive), mRightNormal(rightNormal), mTextField(textField),
      mHandler(handler) {}

SettingValueItem::~SettingValueItem() {
    delete mHandler;
}

void SettingValueItem::drawItem(const SDL_Rect& row, bool active) {
    SettingItem::drawItem(row, active);
    // Left arrow, the value in its field, right arrow, at the row's right end.
    const int fieldW = mTextField ? mTextField->getWidth() : 200;
    const int fieldX = row.x + row.w - 72 - 48 - fieldW;
    ZelmorSurface* left = active ? mLeftActive : mLeftNormal;
    ZelmorSurface* right = active ? mRightActive : mRightNormal;
    zwBlitAt(left, fieldX - 8 - (left ? left->getWidth() : 32), centred(row, left));
    zwBlitAt(mTextField, fieldX, centred(row, mTextField));
    zwBlitAt(right, fieldX + fieldW + 8, centred(row, right));
    if (mHandler) {
        const char* value = mHandler->getShowValue();
        DrawString(gListFontTxt, SDL_Rect{fieldX, row.y, fieldW, row.h}, value ? value : "", gListColorTxt, 1,
                   false, false);
    }
}

int SettingValueItem::handleKey(int key) {
    if (mHandler && (key == kKeyLeft || key == kKeyRight)) {
        mHandler->changeValue(key);
        return 0;
    }
    return SettingItem::handleKey(key);
}

SettingSwitchItem::SettingSwitchItem(ZelmorSurface* activeRow, ZelmorSurface* normalRow,
                                     ZelmorSurface* switchOn, ZelmorSurface* switchOff, int labelId,
                                     SwitchHandler* handler)
    : SettingItem(activeRow, normalRow, labelId, nullptr, nullptr), mSwitchOn(switchOn),
      mSwitchOff(switchOff), mHandler(handler) {}

SettingSwitchItem::~SettingSwitchItem() {
    delete mHandler;
}

void SettingSwitchItem::drawItem(const SDL_Rect& row, bool active) {
    SettingItem::drawItem(row, active);
    ZelmorSurface* image = mHandler && mHandler->getValue() ? mSwitchOn : mSwitchOff;
    zwBlitAt(image, row.x + row.w - 72 - (image ? image->getWidth() : 80), centred(row, image));
}

int SettingSwitchItem::handleKey(int key) {
    if (mHandler && (zwIsConfirmKey(key) || key == kKeyLeft || key == kKeyRight)) {
        mHandler->setValue(!mHandler->getValue());
        return 0;
    }
    return 0;
}
