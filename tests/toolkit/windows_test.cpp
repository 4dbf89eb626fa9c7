// Setting rows through their handlers, the popup and dialog flows, and the list, popup,
// dialog and settings screens against their committed pictures.
#include "app/language_table.h"
#include "menu_glue.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "screenshot.h"
#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

struct CountingValue : ValueHandler {
    int changeValue(int key) override {
        keys.push_back(key);
        return 1;
    }
    int saveValue() override { return 1; }
    char* getShowValue() override {
        snprintf(text, sizeof(text), "%d/10", static_cast<int>(keys.size()));
        return text;
    }
    std::vector<int> keys;
    char text[32];
};

struct FlagSwitch : SwitchHandler {
    explicit FlagSwitch(bool* flag) : mFlag(flag) {}
    bool getValue() override { return *mFlag; }
    int setValue(bool value) override {
        *mFlag = value;
        ++sets;
        return 1;
    }
    int saveValue() override { return 1; }
    bool* mFlag;
    int sets = 0;
};

int returnsPopup(void*) {
    return kWinResultPopup;
}
int returnsQuit(void*) {
    return kWinResultQuit;
}
ZelmorWindow* sOpened = nullptr;
int opensWindow(void*) {
    add2PopupList(sOpened);
    return kWinResultPopup;
}

} // namespace

TEST(SettingRows, ValuesStepAndSwitchesToggleThroughTheirHandlers) {
    SettingMenu menu;
    auto* value = new CountingValue;
    bool flag = true;
    auto* toggle = new FlagSwitch(&flag);
    menu.insertSettingItem(new SettingValueItem(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                28, nullptr, value));
    menu.insertSettingItem(new SettingSwitchItem(nullptr, nullptr, nullptr, nullptr, 30, toggle));
    char buffer[16];
    strcpy(buffer, "Album");
    menu.insertSettingItem(new SettingItem(nullptr, nullptr, 24, buffer, nullptr));
    strcpy(buffer, "gone");

    EXPECT_EQ(menu.handleKey(kKeyLeft), 0);
    EXPECT_EQ(menu.handleKey(kKeyRight), 0);
    EXPECT_EQ(value->keys, (std::vector<int>{kKeyLeft, kKeyRight}));
    EXPECT_STREQ(value->getShowValue(), "2/10");

    menu.handleKey(kKeyDown);
    menu.handleKey(kKeyPrimary);
    EXPECT_FALSE(flag);
    menu.handleKey(kKeyRight);
    EXPECT_TRUE(flag);
    menu.handleKey(kKeyLeft);
    EXPECT_FALSE(flag);
    EXPECT_EQ(toggle->sets, 3);

    menu.handleKey(kKeyDown);
    menu.handleKey(kKeyDown);
    EXPECT_EQ(menu.mSelected, 0) << "down from the last row wraps";
    EXPECT_EQ(menu.handleKey(kKeySecondary), kWinResultClose);
}

TEST(FloatingWindows, PopupRunsTheRowAndDialogConfirmsOrDeclines) {
    auto* list = new TextMenu(nullptr, nullptr, 6, 0);
    list->insertItem(new TextMenuItem("Settings", nullptr, new GeneralAction(returnsPopup, nullptr), true));
    list->insertItem(new TextMenuItem("Quit", nullptr, new GeneralAction(returnsQuit, nullptr), true));
    PopUpWindow popup(21, list, "skin/none.png");
    EXPECT_TRUE(popup.isFloating());
    popup.handleKey(kKeyDown);
    EXPECT_EQ(popup.handleKey(kKeyPrimary), kWinResultQuit);
    EXPECT_EQ(popup.handleKey(kKeyX), 0);
    EXPECT_EQ(popup.handleKey(kKeySecondary), kWinResultClose);

    // A row that opens a window: the popup gives way to it, and once that window has
    // closed the loop comes back to the screen under the popup, not to the popup.
    struct Screen : ZelmorWindow {
        Screen(int kind) : ZelmorWindow(8, kind) {}
        int eventHandling() override { return kWinResultClose; }
    };
    sOpened = new Screen(-1);
    auto* rows = new TextMenu(nullptr, nullptr, 6, 0);
    rows->insertItem(new TextMenuItem("Settings", nullptr, new GeneralAction(opensWindow, nullptr), true));
    Screen* library = new Screen(0);
    std::vector<ZelmorWindow*> stack = {library, new PopUpWindow(21, rows, nullptr)};
    SDL_Event confirm;
    SDL_zero(confirm);
    confirm.type = SDL_KEYDOWN;
    confirm.key.keysym.sym = SDLK_RETURN;
    ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
    SDL_PushEvent(&confirm);
    EXPECT_EQ(runWindowsStep(stack), kWinResultPopup);
    ASSERT_EQ(stack.size(), 3u);
    EXPECT_EQ(stack.back(), sOpened);
    runWindowsStep(stack); // the opened window closes
    runWindowsStep(stack); // and the popup follows it
    EXPECT_EQ(stack, std::vector<ZelmorWindow*>{library});
    delete library;
    SDL_Quit();

    static int ran = 0;
    struct CountingAction : Action {
        int dowork(void*) override {
            ++ran;
            return kWinResultQuit;
        }
    };
    DialogWindow dialog(8, 11, false, new CountingAction, nullptr);
    dialog.init();
    EXPECT_EQ(dialog.handleKey(kKeySecondary), kWinResultClose);
    EXPECT_EQ(ran, 0) << "declining runs no action";
    EXPECT_EQ(dialog.handleKey(kKeyPrimary), kWinResultQuit);
    EXPECT_EQ(ran, 1);
}

namespace {

// The list, popup, dialog and settings screens on the skin, each against its committed
// picture.
class MenuGallery : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        gDefaultStringList.resize(8);
        appendDefaultStrings();
    }
    void TearDown() override {
        gDefaultStringList.resize(8);
        ScreenTest::TearDown();
    }
    // Draws the top window and, under a floating one, the screen beneath it.
    void frame(std::vector<ZelmorWindow*> windows, const char* name) {
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        size_t base = windows.size() - 1;
        while (base > 0 && windows[base]->isFloating())
            --base;
        for (size_t i = base; i < windows.size(); ++i)
            windows[i]->draw();
        EXPECT_EQ(matchesReference(name, {kClockArea}), "");
    }
};

struct ListScreen : ZelmorWindow {
    explicit ListScreen(const char* root)
        : ZelmorWindow(8, 0),
          menu(root, nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6, 0) {
        SDL_Rect rect = {0, 80, 1280, 560};
        menu.setRect(rect);
        menu.LoadDir();
        menu.restorePos(2, 0, 5);
    }
    int draw() override {
        gBackground->blit(nullptr, nullptr, 1, nullptr);
        drawNavBar(0);
        drawStatBar(0);
        menu.draw();
        return 0;
    }
    FileBrowserMenu menu;
};

} // namespace

TEST_F(MenuGallery, ListPopupDialogAndSettings) {
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
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
    frame({&list}, "menu_list");

    auto* rows = new TextMenu("skin/bg-menu-item.png", nullptr, 6, 0);
    for (int id : {31, 32, 20, 21, 10})
        rows->insertItem(
            new TextMenuItem(getLangStr(id), nullptr, new GeneralAction(returnsPopup, nullptr), true));
    rows->mDisplayFlags[0] = rows->mDisplayFlags[1] = rows->mDisplayFlags[2] = 0;
    SDL_Rect rect = {338, 208, 604, 304};
    rows->updateRectAndNum(rect, 5);
    PopUpWindow popup(21, rows, "skin/bg-menu-06.png");
    popup.init();
    frame({&list, &popup}, "menu_popup");

    DialogWindow dialog(8, 11, false, nullptr, nullptr);
    dialog.init();
    frame({&list, &dialog}, "menu_dialog");

    struct SettingsScreen : ZelmorWindow {
        SettingsScreen() : ZelmorWindow(10, -1) {
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
            gBackground->blit(nullptr, nullptr, 1, nullptr);
            drawNavBar(0);
            drawStatBar(0);
            menu.draw();
            return 0;
        }
        bool flags[3] = {true, false, true};
        std::vector<ZelmorSurface*> images;
        SettingMenu menu;
    } settings;
    frame({&settings}, "menu_settings");
    EXPECT_NE(readTargetPixels(640, 80 + 44, 1, 1), readTargetPixels(640, 80 + 3 * 92 + 44, 1, 1))
        << "the row under the cursor looks different";
    delete playing;
    delete gTestAudioIcon;
    gTestAudioIcon = nullptr;
}
