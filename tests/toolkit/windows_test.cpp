// The list, popup, dialog and settings screens on the skin, each against its committed
// picture.
#include "app/language_table.h"
#include "menu_glue.h"
#include "scratch_dir.h"
#include "screen_fixture.h"

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

// A screen with the skin's background and bars, as the program's screens draw them
// under their lists.
struct BarScreen : ZelmorWindow {
    explicit BarScreen(int title) : ZelmorWindow(title, 0) {}
    void drawBars() {
        gBackground->blit(nullptr, nullptr, 1, nullptr);
        drawNavBar(0);
        drawStatBar(0);
    }
};

struct ListScreen : BarScreen {
    explicit ListScreen(const char* root)
        : BarScreen(8), menu(root, nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6, 0) {
        SDL_Rect rect = {0, 80, 1280, 560};
        menu.setRect(rect);
        menu.LoadDir();
        menu.restorePos(2, 0, 5);
    }
    int draw() override {
        drawBars();
        menu.draw();
        return 0;
    }
    FileBrowserMenu menu;
};

} // namespace

TEST_F(ScreenTest, MenuGalleryListPopupDialogAndSettings) {
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    ScratchDir dir("gallery");
    for (const char* name : {"Albums", "Live Recordings"})
        makeDirs(dir.path() + "/" + name);
    for (int i = 1; i <= 14; ++i)
        writeFile(dir.path() + "/" + std::to_string(i) + " - Track number " + std::to_string(i) + ".mp3", "");
    gTestAudioIcon = LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png");
    ListScreen list(dir.path().c_str());
    // The track that plays shows the playing icon, as the program's rows do.
    ZelmorSurface* playing = LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png");
    list.menu.getItemByIndex(2)->mIcon = playing;
    EXPECT_EQ(list.menu.getListNum(), 16);
    expectScreen({&list}, "menu_list");

    auto* rows = new TextMenu("skin/bg-menu-item.png", nullptr, 6, 0);
    for (int id : {31, 32, 20, 21, 10})
        rows->insertItem(
            new TextMenuItem(getLangStr(id), nullptr, new GeneralAction(returnsPopup, nullptr), true));
    rows->mDisplayFlags[0] = rows->mDisplayFlags[1] = rows->mDisplayFlags[2] = 0;
    SDL_Rect rect = {338, 208, 604, 304};
    rows->updateRectAndNum(rect, 5);
    PopUpWindow popup(21, rows, "skin/bg-menu-06.png");
    popup.init();
    expectScreen({&list, &popup}, "menu_popup");

    DialogWindow dialog(8, 11, false, nullptr, nullptr);
    dialog.init();
    expectScreen({&list, &dialog}, "menu_dialog");

    struct SettingsScreen : BarScreen {
        SettingsScreen() : BarScreen(10) {
            auto load = [this](const char* file) {
                images.push_back(LoadZelmorSurface(gThemePath, "./", file));
                return images.back();
            };
            ZelmorSurface *rowA = load("skin/bg-list-long-a.png"), *rowN = load("skin/bg-list-long-n.png");
            menu.insertSettingItem(new SettingValueItem(
                rowA, rowN, load("skin/ic-left-arrow-a.png"), load("skin/ic-left-arrow-n.png"),
                load("skin/ic-right-arrow-a.png"), load("skin/ic-right-arrow-n.png"),
                load("skin/bg-setting-textfield.png"), 28, nullptr, new CountingValue));
            ZelmorSurface *on = load("skin/sw-on.png"), *off = load("skin/sw-off.png");
            for (int id : {29, 30, 31})
                menu.insertSettingItem(
                    new SettingSwitchItem(rowA, rowN, on, off, id, new FlagSwitch(&flags[id - 29])));
        }
        ~SettingsScreen() override {
            for (ZelmorSurface* image : images)
                delete image;
        }
        int draw() override {
            drawBars();
            menu.draw();
            return 0;
        }
        bool flags[3] = {true, false, true};
        std::vector<ZelmorSurface*> images;
        SettingMenu menu;
    } settings;
    expectScreen({&settings}, "menu_settings");
    EXPECT_NE(readTargetPixels(640, 80 + 44, 1, 1), readTargetPixels(640, 80 + 3 * 92 + 44, 1, 1))
        << "the row under the cursor looks different";
    delete playing;
    delete gTestAudioIcon;
    gTestAudioIcon = nullptr;
    gDefaultStringList.resize(8);
}
