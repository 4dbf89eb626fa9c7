// The title bar's folder trail: the folders below the browser's root, one step each, of
// the folder whose rows are on screen.
#include "menu_glue.h"
#include "scratch_dir.h"
#include "wait_until.h"
#include "zinternal.h"

#include <gtest/gtest.h>

TEST(NavTrail, NamesTheFoldersBelowTheRootAndAWholePathOutsideIt) {
    const std::string arrow = "\xE2\x80\xBA  ", between = "  \xE2\x80\xBA  ";
    const struct {
        const char* root;
        const char* dir;
        std::string trail;
    } cases[] = {
        {"/m", "/m", ""},
        {"/m", "", ""}, // nothing shown yet
        {"/m", "/m/Albums", arrow + "Albums"},
        {"/m", "/m/a/b c", arrow + "a" + between + "b c"},
        {"/m", "/mx/y", arrow + "mx" + between + "y"}, // a sibling that shares the root's name
        {"/m", "/other/x", arrow + "other" + between + "x"},
        {"/m", "/", arrow + "/"},
        {"/", "/a/b", arrow + "a" + between + "b"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(zwNavTrail(c.root, c.dir), c.trail) << c.root << " " << c.dir;
}

TEST(NavTrail, FollowsTheRowsNotTheFolderBeingRead) {
    ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
    ScratchDir scratch("trail");
    const std::string root = scratch.path(), albums = root + "/Albums";
    makeDirs(albums);
    FileBrowserMenu menu(root.c_str(), albums.c_str(), nullptr, nullptr, 6, 0);
    menu.LoadDir();
    EXPECT_EQ(menu.shownDir(), albums);

    // Going up is read on the loader thread, held here until the test has looked.
    armGate("");
    EXPECT_EQ(menu.handleKey(kKeySecondary), 0);
    ASSERT_TRUE(waitUntil([] { return gGate == 1; }));
    EXPECT_EQ(std::string(menu.getCurrentDir()), root);
    EXPECT_EQ(menu.shownDir(), albums) << "the old rows are still on screen";
    gGate = 2;
    EXPECT_TRUE(waitUntil([&] { return menu.shownDir() == root; }));
    menu.cancelLoads();
    gHandlerHook = nullptr;
    SDL_Quit();
}
