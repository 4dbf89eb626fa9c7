// The list and dialog screens on the skin, each against its committed picture. (The
// popup and the settings screen are the program's own, seen in the library's flow test.)
#include "app/shared/language_table.h"
#include "menu_glue.h"
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <memory>

namespace {

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

TEST_F(ScreenTest, MenuGalleryListAndDialog) {
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    std::unique_ptr<ZelmorSurface> audio(LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png")),
        playing(LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png"));
    ScratchDir dir("gallery");
    makeEntries(dir.path(), {"Albums/", "Live Recordings/"});
    for (int i = 1; i <= 14; ++i)
        makeEntries(dir.path(), {std::to_string(i) + " - Track number " + std::to_string(i) + ".mp3"});
    gTestAudioIcon = audio.get();
    FileBrowserMenu files(dir.path().c_str(), nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png",
                          6, 0);
    SDL_Rect listRect = {0, 80, 1280, 560};
    files.setRect(listRect);
    files.LoadDir();
    files.restorePos(2, 0, 5);
    // The track that plays shows the playing icon, as the program's rows do.
    files.getItemByIndex(2)->mIcon = playing.get();
    BarScreen<FileBrowserMenu> list(8, files);
    expectScreen({&list}, "menu_list");

    DialogWindow dialog(8, 11, false, nullptr, nullptr);
    dialog.init();
    expectScreen({&list, &dialog}, "menu_dialog");

    gTestAudioIcon = nullptr;
    gDefaultStringList.resize(8);
}
