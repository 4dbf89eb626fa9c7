// The file browser against real folders: order, filtering, entering a folder through
// the row's event and coming back, and a loader thread filling a huge folder while the
// window thread draws and moves.
#include "menu_glue.h"
#include "scratch_dir.h"
#include "wait_until.h"

#include <SDL2/SDL.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

class BrowserTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        setZelmorWindowFps(60, 60);
    }
    void TearDown() override { SDL_Quit(); }
    ScratchDir dir{"browser"};
};

void touch(const std::string& path) {
    writeFile(path, "");
}

std::vector<std::string> labels(FileBrowserMenu& menu) {
    std::vector<std::string> names;
    for (int i = 0; i < menu.getListNum(); ++i)
        names.push_back(menu.getItemByIndex(i)->getLabel());
    return names;
}

void pressKey(SDL_Keycode key) {
    SDL_Event event;
    SDL_zero(event);
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = key;
    SDL_PushEvent(&event);
    event.type = SDL_KEYUP;
    SDL_PushEvent(&event);
}

// Runs eventHandling until it reports something other than an idle frame.
int nextResult(FileBrowserMenu& menu) {
    for (int i = 0; i < 20; ++i) {
        int result = menu.eventHandling();
        if (result != kKeyNone)
            return result;
    }
    return kKeyNone;
}

} // namespace

TEST_F(BrowserTest, FoldersFirstThenFilesInNaturalOrder) {
    const std::string root = dir.path();
    for (const char* name :
         {"track10.mp3", "Track2.MP3", "track1.mp3", "notes.txt", ".hidden.mp3", "skipme.mp3", "noextension"})
        touch(root + "/" + name);
    for (const char* name : {"b folder", "A folder", ".git", "x.mp3", "skipme-folder"})
        makeDirs(root + "/" + name);
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    EXPECT_EQ(menu.getListNum(), 0);
    menu.LoadDir();
    EXPECT_EQ(labels(menu), (std::vector<std::string>{"A folder", "b folder", "x.mp3", "track1.mp3",
                                                      "Track2.MP3", "track10.mp3"}));
    EXPECT_STREQ(menu.getCurrentDir(), root.c_str());
    EXPECT_EQ(menu.getItemByIndex(6), nullptr);
    EXPECT_EQ(menu.getItemByIndex(-1), nullptr);
}

TEST_F(BrowserTest, EnterAFolderByItsEventAndComeBackToIt) {
    const std::string root = dir.path();
    for (int i = 0; i < 9; ++i)
        makeDirs(root + "/folder" + std::to_string(i));
    touch(root + "/folder7/song.mp3");
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.LoadDir();
    menu.restorePos(7, 2, 7);

    pressKey(SDLK_RETURN); // confirm: the folder row pushes its event
    EXPECT_EQ(nextResult(menu), kKeyNone);
    // The event is taken and the folder read on the loader thread.
    ASSERT_TRUE(waitUntil([&] {
        menu.eventHandling();
        return menu.getListNum() == 1 && !menu.isLoading();
    }));
    EXPECT_EQ(std::string(menu.getCurrentDir()), root + "/folder7");
    ASSERT_EQ(labels(menu), (std::vector<std::string>{"song.mp3"}));

    pressKey(SDLK_RETURN);
    int before = gFilesActivated;
    EXPECT_EQ(nextResult(menu), kKeyNone);
    EXPECT_EQ(gFilesActivated, before + 1) << "confirm runs the file row's action";

    pressKey(SDLK_ESCAPE); // back: the parent, with the cursor on the folder we left
    nextResult(menu);
    ASSERT_TRUE(waitUntil([&] { return !menu.isLoading(); }));
    EXPECT_STREQ(menu.getCurrentDir(), root.c_str());
    EXPECT_EQ(menu.mSelected, 7);
    EXPECT_LE(menu.mFirstVisible, 7);
    EXPECT_GE(menu.mLastVisible, 7);

    pressKey(SDLK_ESCAPE);
    EXPECT_EQ(nextResult(menu), kWinResultClose) << "back at the root";
    pressKey(SDLK_TAB);
    EXPECT_EQ(nextResult(menu), kKeySelect) << "other keys reach the window";
}

TEST_F(BrowserTest, StartDirectoryOutsideTheRoot) {
    ScratchDir outside("outside");
    touch(outside.path() + "/far.mp3");
    touch(dir.path() + "/near.mp3");
    FileBrowserMenu menu(dir.path().c_str(), outside.path().c_str(), nullptr, nullptr, 6, 0);
    menu.LoadDir();
    EXPECT_EQ(labels(menu), (std::vector<std::string>{"far.mp3"}));
    pressKey(SDLK_ESCAPE);
    nextResult(menu);
    ASSERT_TRUE(waitUntil([&] { return !menu.isLoading(); }));
    EXPECT_STREQ(menu.getCurrentDir(), dir.path().c_str()) << "back leads into the library";
    EXPECT_EQ(labels(menu), (std::vector<std::string>{"near.mp3"}));
}

TEST_F(BrowserTest, LoaderThreadFillsAHugeFolderWhileTheWindowThreadWorks) {
    const int count = 100000;
    for (int i = 0; i < count; ++i) {
        std::string path = dir.path() + "/t" + std::to_string(i) + ".mp3";
        int fd = open(path.c_str(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        close(fd);
    }
    FileBrowserMenu menu(dir.path().c_str(), nullptr, "skin/bg-list-long-a.png", "skin/bg-list-long-n.png", 6,
                         0);
    menu.draw(); // this thread is the window thread
    std::atomic<bool> loaded{false};
    std::atomic<int> found{-1};
    std::thread loader([&] {
        menu.LoadDir();
        int n = menu.getListNum();
        menu.restorePos(n - 1, n - 4, n + 1);
        menu.LoadDir();
        // What the program's loader does next: look for a row and centre it.
        n = menu.getListNum();
        for (int i = n - 1; i >= 0; --i) {
            TextMenuItem* row = menu.getItemByIndex(i);
            if (row && row->getLabel() == "t99990.mp3") {
                found = i;
                menu.restorePos(i, i - 3, i + 2);
                break;
            }
        }
        loaded = true;
    });
    TextMenuItem* held = nullptr;
    int steps = 0, strayCursors = 0;
    while (!loaded || steps < 50) {
        menu.draw();
        menu.moveForward();
        menu.pageDown();
        if (TextMenuItem* row = menu.getItemByIndex(menu.mSelected))
            held = row;
        if (held) {
            ASSERT_FALSE(held->getLabel().empty()) << "a held row stays valid across reloads";
        }
        menu.pageUp();
        // The album window's refresh: the rows on screen, read through the fields.
        int count = menu.getListNum(), selected = menu.mSelected;
        if (count > 0 && (selected < 0 || selected >= count))
            ++strayCursors;
        for (int i = menu.mFirstVisible; i <= menu.mLastVisible; ++i) {
            if (TextMenuItem* row = menu.getItemByIndex(i))
                strayCursors += row->getLabel().empty();
        }
        ++steps;
    }
    loader.join();
    menu.draw();
    EXPECT_EQ(strayCursors, 0);
    EXPECT_EQ(menu.getListNum(), count);
    EXPECT_EQ(menu.mItemVector->size(), static_cast<size_t>(count));
    EXPECT_EQ(menu.getItemByIndex(0)->getLabel(), "t0.mp3");
    EXPECT_EQ(menu.getItemByIndex(9)->getLabel(), "t9.mp3");
    EXPECT_EQ(menu.getItemByIndex(10)->getLabel(), "t10.mp3");
    EXPECT_EQ(menu.getItemByIndex(count - 1)->getLabel(), "t99999.mp3");
    ASSERT_GE(found, 0);
    EXPECT_EQ(menu.getItemByIndex(found)->getLabel(), "t99990.mp3");
    EXPECT_LE(menu.mLastVisible - menu.mFirstVisible, menu.mVisibleRows - 1);
}

namespace {

// Holds the loader inside file_handler at "gate.mp3" until the window thread is done.
std::mutex sGateLock;
std::condition_variable sGateSignal;
bool sGateReached = false;
bool sGateOpen = false;

void gate(const char* name) {
    if (strcmp(name, "gate.mp3") != 0)
        return;
    std::unique_lock<std::mutex> lock(sGateLock);
    sGateReached = true;
    sGateSignal.notify_all();
    sGateSignal.wait(lock, [] { return sGateOpen; });
}

// Exposes the freeing of replaced rows that eventHandling does before each wait.
class ProbeMenu : public FileBrowserMenu {
public:
    using FileBrowserMenu::FileBrowserMenu;
    void reclaimNow() {
        noteWindowThread();
        syncItemVector();
        reclaimRetired();
    }
};

} // namespace

// The user enters a folder while the loader still reads the start folder: the
// loader's late rows must not replace the folder the user is in.
TEST_F(BrowserTest, ALaterLoadWinsOverALoaderStillReading) {
    const std::string root = dir.path();
    touch(root + "/gate.mp3");
    touch(root + "/other.mp3");
    makeDirs(root + "/sub");
    touch(root + "/sub/inside.mp3");
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    sGateReached = sGateOpen = false;
    gHandlerHook = gate;
    std::thread loader([&] { menu.LoadDir(); });
    {
        std::unique_lock<std::mutex> lock(sGateLock);
        sGateSignal.wait(lock, [] { return sGateReached; });
    }
    menu.enterFolder(root + "/sub", std::string());
    {
        std::lock_guard<std::mutex> lock(sGateLock);
        sGateOpen = true;
    }
    sGateSignal.notify_all();
    loader.join();
    gHandlerHook = nullptr;
    EXPECT_STREQ(menu.getCurrentDir(), (root + "/sub").c_str());
    EXPECT_EQ(labels(menu), (std::vector<std::string>{"inside.mp3"}));
}

// Coming back puts the cursor where it was; if the parent changed meanwhile, on the
// folder wherever it now stands.
TEST_F(BrowserTest, ComingBackRestoresTheViewOrFindsTheMovedFolder) {
    const std::string root = dir.path();
    for (int i = 0; i < 12; ++i)
        makeDirs(root + "/d" + std::to_string(i));
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.LoadDir();
    menu.restorePos(9, 4, 9);
    menu.enterFolder(root + "/d9", std::string());
    EXPECT_EQ(menu.getListNum(), 0);
    EXPECT_EQ(menu.goBack(), 0);
    EXPECT_EQ(menu.mSelected, 9);
    EXPECT_EQ(menu.mFirstVisible, 4) << "the page is the one we left";

    menu.enterFolder(root + "/d9", std::string());
    makeDirs(root + "/a-new"); // shifts d9 down one row
    EXPECT_EQ(menu.goBack(), 0);
    EXPECT_EQ(menu.getItemByIndex(menu.mSelected)->getLabel(), "d9");
    EXPECT_EQ(menu.goBack(), -1) << "nothing above the root";
    EXPECT_EQ(menu.handleKey(kKeySecondary), kWinResultClose);
    EXPECT_EQ(menu.handleKey(kKeyLeft), kKeyLeft);
}

// Replaced rows stay readable for a thread that was handed them; rows only the
// window thread saw are freed before its next wait. ASan checks both.
TEST_F(BrowserTest, ReplacedRowsStayValidForTheThreadsHoldingThem) {
    const std::string root = dir.path();
    makeDirs(root + "/inner");
    touch(root + "/inner/x.mp3");
    touch(root + "/a.mp3");
    ProbeMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.reclaimNow(); // this thread is the window thread
    menu.LoadDir();
    TextMenuItem* fromLoader = nullptr;
    std::thread loader([&] { fromLoader = menu.getItemByIndex(1); });
    loader.join();
    ASSERT_NE(fromLoader, nullptr);

    menu.enterFolder(root + "/inner", std::string());
    menu.reclaimNow();
    EXPECT_EQ(fromLoader->getLabel(), "a.mp3");
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
    const std::string root = dir.path();
    makeDirs(root + "/deep");
    touch(root + "/deep/song.mp3");
    FileBrowserMenu menu(root.c_str(), nullptr, nullptr, nullptr, 6, 0);
    menu.draw();
    menu.LoadDir();
    ASSERT_EQ(menu.handleKey(kKeyPrimary), 0); // the folder row pushes its event
    menu.LoadDir();                            // and its row is replaced before the event is taken
    nextResult(menu);
    ASSERT_TRUE(waitUntil([&] {
        menu.eventHandling();
        return menu.getListNum() == 1 && !menu.isLoading();
    }));
    EXPECT_STREQ(menu.getCurrentDir(), (root + "/deep").c_str());
    EXPECT_EQ(labels(menu), (std::vector<std::string>{"song.mp3"}));
}
