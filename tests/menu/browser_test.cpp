// The file browser against real folders: order, filtering, entering a folder through
// the row's event and coming back, and a loader thread filling a huge folder while the
// window thread draws and moves.
#include "menu_glue.h"
#include "scratch_dir.h"

#include <SDL2/SDL.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
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
    menu.eventHandling(); // the event is taken and the folder entered
    for (int i = 0; i < 5 && menu.getListNum() != 1; ++i)
        menu.eventHandling();
    EXPECT_EQ(std::string(menu.getCurrentDir()), root + "/folder7");
    ASSERT_EQ(labels(menu), (std::vector<std::string>{"song.mp3"}));

    pressKey(SDLK_RETURN);
    int before = gFilesActivated;
    EXPECT_EQ(nextResult(menu), kKeyNone);
    EXPECT_EQ(gFilesActivated, before + 1) << "confirm runs the file row's action";

    pressKey(SDLK_ESCAPE); // back: the parent, with the cursor on the folder we left
    nextResult(menu);
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
    FileBrowserMenu menu(dir.path().c_str(), nullptr, nullptr, nullptr, 6, 0);
    std::atomic<bool> loaded{false};
    std::thread loader([&] {
        menu.LoadDir();
        int n = menu.getListNum();
        menu.restorePos(n - 1, n - 4, n + 1);
        menu.LoadDir();
        loaded = true;
    });
    TextMenuItem* held = nullptr;
    int steps = 0;
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
        ++steps;
    }
    loader.join();
    EXPECT_EQ(menu.getListNum(), count);
    EXPECT_EQ(menu.getItemByIndex(0)->getLabel(), "t0.mp3");
    EXPECT_EQ(menu.getItemByIndex(count - 1)->getLabel(), "t99999.mp3");
}
