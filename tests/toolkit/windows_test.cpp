// The list, popup, dialog and settings screens on the skin, each against its committed
// picture.
#include "app/shared/language_table.h"
#include "menu_glue.h"
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <memory>

namespace {

struct CountingValue : ValueHandler {
    int changeValue(int) override { return 1; }
    int saveValue() override { return 1; }
    char* getShowValue() override { return text; }
    char text[8] = "0/10";
};

struct FlagSwitch : SwitchHandler {
    explicit FlagSwitch(bool* flag) : mFlag(flag) {}
    bool getValue() override { return *mFlag; }
    int setValue(bool value) override { return *mFlag = value, 1; }
    int saveValue() override { return 1; }
    bool* mFlag;
};

int returnsPopup(void*) {
    return kWinResultPopup;
}

// A menu on the skin's background and bars, as the program's screens draw their lists.
template <typename Menu> struct BarScreen : ZelmorWindow {
    BarScreen(int title, Menu& menu) : ZelmorWindow(title, 0), mMenu(menu) {}
    int draw() override {
        gBackground->blit(nullptr, nullptr, 1, nullptr);
        drawNavBar(0);
        drawStatBar(0);
        mMenu.draw();
        return 0;
    }
    Menu& mMenu;
};

} // namespace

TEST_F(ScreenTest, MenuGalleryListPopupDialogAndSettings) {
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    std::vector<std::unique_ptr<ZelmorSurface>> images;
    auto load = [&](const char* file) {
        images.emplace_back(LoadZelmorSurface(gThemePath, "./", file));
        return images.back().get();
    };
    ScratchDir dir("gallery");
    makeEntries(dir.path(), {"Albums/", "Live Recordings/"});
    for (int i = 1; i <= 14; ++i)
        makeEntries(dir.path(), {std::to_string(i) + " - Track number " + std::to_string(i) + ".mp3"});
    gTestAudioIcon = load("skin/ic-video.png");
    FileBrowserMenu files(dir.path().c_str(), nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png",
                          6, 0);
    SDL_Rect listRect = {0, 80, 1280, 560}, popupRect = {338, 208, 604, 304};
    files.setRect(listRect);
    files.LoadDir();
    files.restorePos(2, 0, 5);
    // The track that plays shows the playing icon, as the program's rows do.
    files.getItemByIndex(2)->mIcon = load("skin/ic-playing.png");
    BarScreen<FileBrowserMenu> list(8, files);
    expectScreen({&list}, "menu_list");

    auto* rows = new TextMenu("skin/bg-menu-item.png", nullptr, 6, 0);
    for (int id : {31, 32, 20, 21, 10})
        rows->insertItem(
            new TextMenuItem(getLangStr(id), nullptr, new GeneralAction(returnsPopup, nullptr), true));
    rows->mDisplayFlags[0] = rows->mDisplayFlags[1] = rows->mDisplayFlags[2] = 0;
    rows->updateRectAndNum(popupRect, 5);
    PopUpWindow popup(21, rows, "skin/bg-menu-06.png");
    popup.init();
    expectScreen({&list, &popup}, "menu_popup");

    DialogWindow dialog(8, 11, false, nullptr, nullptr);
    dialog.init();
    expectScreen({&list, &dialog}, "menu_dialog");

    SettingMenu settingMenu;
    ZelmorSurface *rowA = load("skin/bg-list-long-a.png"), *rowN = load("skin/bg-list-long-n.png");
    settingMenu.insertSettingItem(
        new SettingValueItem(rowA, rowN, load("skin/ic-left-arrow-a.png"), load("skin/ic-left-arrow-n.png"),
                             load("skin/ic-right-arrow-a.png"), load("skin/ic-right-arrow-n.png"),
                             load("skin/bg-setting-textfield.png"), 28, nullptr, new CountingValue));
    ZelmorSurface *on = load("skin/sw-on.png"), *off = load("skin/sw-off.png");
    bool flags[3] = {true, false, true};
    for (int id : {29, 30, 31})
        settingMenu.insertSettingItem(
            new SettingSwitchItem(rowA, rowN, on, off, id, new FlagSwitch(&flags[id - 29])));
    BarScreen<SettingMenu> settings(10, settingMenu);
    expectScreen({&settings}, "menu_settings");
    gTestAudioIcon = nullptr;
    gDefaultStringList.resize(8);
}
