// The rows of a folder and their actions live in a block of storage of their own, which
// goes back whole once the folder is left and its rows are freed.
#include "menu_glue.h"
#include "push_event.h"
#include "scratch_dir.h"
#include "zinternal.h"

#include <gtest/gtest.h>

namespace {

// A pass of the list's input, ended at once by a status tick: the list frees the rows
// it replaced before it waits.
void passOfInput(FileBrowserMenu& menu) {
    pushEvent(SDL_USEREVENT);
    menu.eventHandling();
}

} // namespace

TEST(RowBlocks, AFolderLeftGivesItsRowsStorageBack) {
    ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS), 0);
    ScratchDir dir("rowblock");
    makeDirs(dir.path() + "/big");
    for (int i = 0; i < 300; ++i)
        writeFile(dir.path() + "/big/" + std::to_string(i) + ".mp3", "");
    const size_t before = zwRowBlockBytes();
    {
        FileBrowserMenu menu(dir.path().c_str(), nullptr, nullptr, nullptr, 6, 0);
        passOfInput(menu); // this thread is the window thread
        menu.enterFolder(dir.path() + "/big", std::string());
        const size_t big = zwRowBlockBytes() - before;
        EXPECT_GE(big, 300 * (sizeof(PathRow) + sizeof(Action))) << "each row and its action in the block";
        menu.goBack();
        passOfInput(menu);
        EXPECT_LT(zwRowBlockBytes() - before, big / 100) << "the folder left took its block along";
        delete new PathRow("made", "outside a load", nullptr, new Action()); // from the heap
    }
    EXPECT_EQ(zwRowBlockBytes(), before);
    SDL_Quit();
}
