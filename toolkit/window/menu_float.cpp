// Windows that float over the screen beneath them: the popup menu and the dialog.
#include "zinternal.h"
#include "zmenu.h"

namespace {

// A dark veil over the window beneath, so the floating panel stands out.
void dimBeneath() {
    if (!gZwRenderer)
        return;
    zwRenderFill(nullptr, SDL_Color{0, 0, 0, 120}, SDL_BLENDMODE_BLEND);
}

} // namespace

FloatWindow::FloatWindow(int titleId) : ZelmorWindow(titleId, -1) {}

void FloatWindow::init() {}

PopUpWindow::PopUpWindow(int titleId, TextMenuDrawer* menu, const char* background)
    : FloatWindow(titleId), mMenu(menu), mBackground(LoadZelmorSurface(gThemePath, "./", background)),
      mDismissed(false) {}

PopUpWindow::~PopUpWindow() {
    delete mMenu;
    delete mBackground;
}

int PopUpWindow::draw() {
    if (mDismissed)
        return 0; // on its way out: only the screen beneath shows
    dimBeneath();
    if (!mMenu)
        return 0;
    const SDL_Rect& rect = mMenu->mRect;
    // The panel is centred on the menu's rectangle, with the title above the rows.
    int panelW = mBackground ? mBackground->getWidth() : rect.w + 56;
    int panelH = mBackground ? mBackground->getHeight() : rect.h + 116;
    int panelX = rect.x + (rect.w - panelW) / 2;
    int panelY = rect.y + rect.h / 2 - panelH / 2 - 24;
    zwBlitAt(mBackground, panelX, panelY);
    DrawString(gNavFont, SDL_Rect{rect.x, panelY, rect.w, rect.y - panelY - 4}, getTitle(), gListColorTxt, 1,
               false, false);
    mMenu->draw();
    return 0;
}

int PopUpWindow::handleKey(int key) {
    if (!mMenu || mDismissed)
        return kWinResultClose;
    if (key == kKeyUp) {
        mMenu->moveBackward();
        return 0;
    }
    if (key == kKeyDown) {
        mMenu->moveForward();
        return 0;
    }
    if (zwIsBackKey(key) || key == kKeyMenu)
        return kWinResultClose;
    if (zwIsConfirmKey(key)) {
        TextMenuItem* item = mMenu->getItemByIndex(mMenu->mSelected);
        if (item && item->getAction()) {
            int result = item->getAction()->dowork(nullptr);
            mDismissed = result == kWinResultPopup;
            return result;
        }
    }
    return 0;
}

int PopUpWindow::eventHandling() {
    if (mDismissed)
        return kWinResultClose; // back on top after the window a row opened
    return handleKey(wait_event(nullptr));
}

DialogWindow::DialogWindow(int titleId, int textId, bool flag, Action* action, void (*onClose)())
    : FloatWindow(titleId), mTextId(textId), mAction(action), mOnClose(onClose), mPanel(nullptr) {
    (void)flag;
}

DialogWindow::~DialogWindow() {
    delete mAction;
    delete mPanel;
}

void DialogWindow::init() {
    if (!mPanel)
        mPanel = LoadZelmorSurface(gThemePath, "./", "skin/bg-dialog.png");
}

int DialogWindow::draw() {
    dimBeneath();
    const int w = mPanel ? mPanel->getWidth() : 640, h = mPanel ? mPanel->getHeight() : 300;
    const int x = (kZwScreenWidth - w) / 2, y = (kZwScreenHeight - h) / 2;
    zwBlitAt(mPanel, x, y);
    DrawString(gNavFont, SDL_Rect{x, y + 20, w, 50}, getTitle(), gListColorTxt, 1, false, false);
    DrawString(gListFontTxt, SDL_Rect{x + 30, y + 90, w - 60, 90}, getLangStr(mTextId), gListColorTxt, 1,
               false, false);
    // Which button confirms follows the swap key; the hints say so.
    std::string hints = std::string(zwIsConfirmKey(kKeyPrimary) ? "A " : "B ") + getLangStr(0) + "      " +
                        (zwIsConfirmKey(kKeyPrimary) ? "B " : "A ") + getLangStr(1);
    SDL_Color dim = {gListColorTxt.r, gListColorTxt.g, gListColorTxt.b, 170};
    DrawString(gStatFont, SDL_Rect{x, y + h - 70, w, 50}, hints.c_str(), dim, 1, false, false);
    return 0;
}

int DialogWindow::handleKey(int key) {
    if (zwIsConfirmKey(key))
        return mAction ? mAction->dowork(nullptr) : kWinResultClose;
    if (zwIsBackKey(key)) {
        if (mOnClose)
            mOnClose();
        return kWinResultClose;
    }
    return 0;
}

int DialogWindow::eventHandling() {
    return handleKey(wait_event(nullptr));
}
