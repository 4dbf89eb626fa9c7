// The lists: cursor movement and paging on a long and an empty list, and restoring a
// position on lists shorter than a page. The file browser against real folders: coming
// back to a folder, a start outside the library, the title bar's folder trail, and its
// loader threads: a huge folder filled while the window thread draws and moves, a late
// loader, rows held by other threads or by a queued event, and the storage block that a
// folder's rows give back.
#include "menu_glue.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "wait_until.h"

#include <atomic>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <unistd.h>

namespace {

std::unique_ptr<TextMenu> listOf(int rows) {
    // No row images: the second may be null, and so may the first.
    auto menu = std::make_unique<TextMenu>(nullptr, nullptr, 6, 0);
    for (int i = 0; i < rows; ++i)
        menu->insertItem(new TextMenuItem(("row " + std::to_string(i)).c_str(), nullptr, nullptr, true));
    return menu;
}

std::vector<int> view(const ListMenu& menu) {
    return {menu.mSelected, menu.mFirstVisible, menu.mLastVisible};
}

class BrowserTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        setZelmorWindowFps(60, 60);
    }
    void TearDown() override { SDL_Quit(); }
    void make(const std::vector<std::string>& names) { makeEntries(root, names); }
    ScratchDir dir{"browser"};
    std::string root = dir.path();
};

// Runs the menu's loop passes until the folder has been entered and read.
bool reachFolder(FileBrowserMenu& menu, const std::string& folder) {
    return waitUntil([&] {
        menu.eventHandling();
        return menu.getCurrentDir() == folder && !menu.isLoading();
    });
}

// Reaches into the list as the window thread does: the freeing of replaced rows that
// eventHandling does before each wait, and the rows on screen read under the list's
// lock, as the screens read them.
class Probe : public FileBrowserMenu {
public:
    using FileBrowserMenu::FileBrowserMenu;
    void reclaimNow() {
        noteWindowThread();
        syncItemVector();
        reclaimRetired();
    }
    // 0 when the cursor is on a row and every row of the page has its label.
    int strayRows() {
        ZwLock guard(&mCursorLock);
        int rows = getListNum(), stray = rows > 0 && (mSelected < 0 || mSelected >= rows);
        for (int i = mFirstVisible; i <= mLastVisible; ++i)
            if (TextMenuItem* row = getItemByIndex(i))
                stray += row->getLabel().empty();
        return stray;
    }
    TextMenuItem* selectedRow() {
        ZwLock guard(&mCursorLock);
        return getItemByIndex(mSelected);
    }
};

} // namespace

TEST(ListCursor, MovesWrapPagesStopAtTheEndsAndPositionsAreRestored) {
    std::unique_ptr<TextMenu> menu = listOf(20);
    const std::function<void()> up = [&] { menu->moveBackward(); }, down = [&] { menu->moveForward(); },
                                pageUp = [&] { menu->pageUp(); }, pageDown = [&] { menu->pageDown(); };
    // {move, times, view after}
    const struct {
        std::function<void()> move;
        int times;
        std::vector<int> after;
    } steps[] = {{up, 1, {19, 14, 19}},                             // up from the first row wraps to the last
                 {down, 1, {0, 0, 5}},        {down, 6, {6, 1, 6}}, // the page follows one row at a time
                 {pageUp, 1, {0, 0, 5}},      {pageDown, 1, {6, 6, 11}}, {pageDown, 2, {18, 14, 19}},
                 {pageDown, 1, {19, 14, 19}}, {pageUp, 1, {13, 8, 13}},  {pageUp, 4, {0, 0, 5}}};
    for (const auto& s : steps) {
        for (int i = 0; i < s.times; ++i)
            s.move();
        EXPECT_EQ(view(*menu), s.after) << "step to " << s.after[0];
    }
    menu->restorePos(50, 0, 5);
    EXPECT_EQ(view(*menu), (std::vector<int>{19, 14, 19})) << "a row beyond the end takes the last";
    std::unique_ptr<TextMenu> empty = listOf(0), four = listOf(4);
    empty->pageDown();
    empty->moveForward();
    EXPECT_EQ(view(*empty), (std::vector<int>{0, 0, -1}));
    four->restorePos(1, 1, 3);
    EXPECT_EQ(view(*four), (std::vector<int>{1, 0, 3})) << "fewer rows than fit: all shown";
}

// Coming back puts the cursor where it was; if the parent changed meanwhile, on the
// folder wherever it now stands.
TEST_F(BrowserTest, ComingBackRestoresTheViewOrFindsTheMovedFolder) {
    for (int i = 0; i < 12; ++i)
        make({"d" + std::to_string(i) + "/"});
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.LoadDir();
    menu.restorePos(9, 4, 9);
    menu.enterFolder(root + "/d9", std::string());
    EXPECT_EQ(menu.goBack(), 0);
    EXPECT_EQ(view(menu), (std::vector<int>{9, 4, 9}));
    menu.enterFolder(root + "/d9", std::string());
    make({"a-new/"}); // shifts d9 down one row
    EXPECT_EQ(menu.goBack(), 0);
    EXPECT_EQ(menu.getItemByIndex(menu.mSelected)->getLabel(), "d9");
    EXPECT_EQ(menu.goBack(), -1) << "nothing above the root";
    EXPECT_EQ(menu.handleKey(kKeySecondary), kWinResultClose);
    EXPECT_EQ(menu.handleKey(kKeyLeft), kKeyLeft);
}

TEST_F(BrowserTest, BackFromAStartOutsideTheRootLeadsIntoTheLibrary) {
    ScratchDir outside("outside");
    writeFile(outside.path() + "/far.mp3", "");
    make({"near.mp3"});
    FileBrowserMenu menu(root.c_str(), outside.path().c_str(), nullptr, nullptr, 6, 0);
    menu.LoadDir();
    EXPECT_EQ(rowLabels(menu), (std::vector<std::string>{"far.mp3"}));
    EXPECT_EQ(menu.goBack(), 0);
    ASSERT_TRUE(reachFolder(menu, root));
    EXPECT_EQ(rowLabels(menu), (std::vector<std::string>{"near.mp3"}));
}

// The trail names the folders below the root, one step each, and a whole path outside it.
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

// The trail is of the folder whose rows are on screen, not of the one being read.
TEST_F(BrowserTest, TheTrailFollowsTheRowsNotTheFolderBeingRead) {
    const std::string albums = root + "/Albums";
    makeDirs(albums);
    FileBrowserMenu menu(root.c_str(), albums.c_str(), nullptr, nullptr, 6, 0);
    menu.LoadDir();
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
}

// The loader reads the folder twice while this thread (the window thread) draws, moves
// and reads the rows on screen, as a user pressing keys while a folder loads would.
// Where the loader puts the cursor afterwards is the library's rows test's affair.
TEST_F(BrowserTest, LoaderThreadFillsAHugeFolderWhileTheWindowThreadWorks) {
    const int count = 100000;
    for (int i = 0; i < count; ++i)
        close(open((root + "/t" + std::to_string(i) + ".mp3").c_str(), O_CREAT | O_WRONLY, 0644));
    Probe menu(root.c_str(), nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6, 0);
    menu.draw();
    std::atomic<bool> loaded{false};
    std::thread loader([&] {
        menu.LoadDir();
        menu.restorePos(count - 1, count - 4, count + 1);
        menu.LoadDir();
        loaded = true;
    });
    TextMenuItem* held = nullptr;
    int steps = 0, strayRows = 0;
    while (!loaded || steps++ < 50) {
        menu.draw();
        menu.moveForward();
        menu.pageDown();
        if (TextMenuItem* row = menu.selectedRow())
            held = row;
        ASSERT_TRUE(!held || !held->getLabel().empty()) << "a held row stays valid across reloads";
        menu.pageUp();
        strayRows += menu.strayRows();
    }
    loader.join();
    EXPECT_EQ(strayRows, 0);
    EXPECT_EQ(menu.mItemVector->size(), static_cast<size_t>(count));
    EXPECT_LE(menu.mLastVisible - menu.mFirstVisible, menu.mVisibleRows - 1);
}

// The user enters a folder while the loader still reads the start folder: the
// loader's late rows must not replace the folder the user is in.
TEST_F(BrowserTest, ALaterLoadWinsOverALoaderStillReading) {
    make({"gate.mp3", "other.mp3", "sub/", "sub/inside.mp3"});
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    armGate("gate.mp3");
    std::thread loader([&] { menu.LoadDir(); });
    EXPECT_TRUE(waitUntil([] { return gGate == 1; }));
    menu.enterFolder(root + "/sub", std::string());
    gGate = 2;
    loader.join();
    gHandlerHook = nullptr;
    EXPECT_STREQ(menu.getCurrentDir(), (root + "/sub").c_str());
    EXPECT_EQ(rowLabels(menu), (std::vector<std::string>{"inside.mp3"}));
}

// Replaced rows stay readable for a thread that was handed them; rows only the
// window thread saw are freed before its next wait. ASan checks both.
TEST_F(BrowserTest, ReplacedRowsStayValidForTheThreadsHoldingThem) {
    make({"inner/", "inner/x.mp3", "a.mp3"});
    Probe menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.reclaimNow(); // this thread is the window thread
    menu.LoadDir();
    TextMenuItem* fromLoader = nullptr;
    std::thread([&] { fromLoader = menu.getItemByIndex(1); }).join();
    ASSERT_NE(fromLoader, nullptr);
    menu.enterFolder(root + "/inner", std::string());
    menu.reclaimNow();
    EXPECT_EQ(static_cast<PathRow*>(fromLoader)->mPath, root + "/a.mp3");
    ASSERT_EQ(menu.mItemVector->size(), 1u) << "the window thread's copy follows the new folder";
    EXPECT_EQ((*menu.mItemVector)[0]->getLabel(), "x.mp3");

    TextMenuItem* windowOnly = menu.getItemByIndex(0);
    menu.goBack(); // replaces rows that never left this thread
    EXPECT_EQ(windowOnly->getLabel(), "x.mp3") << "still valid until the next wait";
    menu.reclaimNow();
    EXPECT_EQ(menu.mItemVector->size(), 2u);
}

// A folder event that still waits in the queue points into a row's action: rows that
// were replaced meanwhile must outlive it.
TEST_F(BrowserTest, AQueuedFolderEventKeepsItsRowAlive) {
    make({"deep/", "deep/song.mp3"});
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.draw();
    menu.LoadDir();
    ASSERT_EQ(menu.handleKey(kKeyPrimary), 0); // the folder row pushes its event
    menu.LoadDir();                            // and its row is replaced before the event is taken
    ASSERT_TRUE(reachFolder(menu, root + "/deep"));
    EXPECT_EQ(rowLabels(menu), (std::vector<std::string>{"song.mp3"}));
}

// The rows of a folder and their actions live in a block of storage of their own, which
// goes back whole once the folder is left and its rows are freed.
TEST_F(BrowserTest, AFolderLeftGivesItsRowsStorageBack) {
    makeDirs(root + "/big");
    for (int i = 0; i < 300; ++i)
        writeFile(root + "/big/" + std::to_string(i) + ".mp3", "");
    const size_t before = zwRowBlockBytes();
    {
        Probe menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
        menu.reclaimNow(); // this thread is the window thread
        menu.enterFolder(root + "/big", std::string());
        const size_t big = zwRowBlockBytes() - before;
        EXPECT_GE(big, 300 * (sizeof(PathRow) + sizeof(Action))) << "each row and its action in the block";
        menu.goBack();
        menu.reclaimNow();
        EXPECT_LT(zwRowBlockBytes() - before, big / 100) << "the folder left took its block along";
        delete new PathRow("made", "outside a load", nullptr, new Action()); // from the heap
    }
    EXPECT_EQ(zwRowBlockBytes(), before);
}
