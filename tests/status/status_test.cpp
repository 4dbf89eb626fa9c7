// The status monitor against real files under the device root: what it stores, what it
// keeps, when it wakes the window loop, and that readers never see a torn record.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "status/music_status.h"
#include "wait_until.h"

#include <SDL2/SDL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace {

// filename|status|title|artist|year|genre|track|duration|position, copied under the lock.
std::string record() {
    std::string text;
    readMusicStatus([&](const MusicPlayingStatus& r) {
        text = r.filename + "|" + r.status + "|" + r.title + "|" + r.artist + "|" + r.year + "|" + r.genre +
               "|" + r.track + "|" + std::to_string(r.duration) + "|" + std::to_string(r.position);
    });
    return text;
}

// Status ticks (user event code 25) waiting in the queue, taken out of it.
long tickEvents() {
    SDL_Event events[1024];
    SDL_PumpEvents();
    int got = std::max(SDL_PeepEvents(events, 1024, SDL_GETEVENT, SDL_USEREVENT, SDL_USEREVENT), 0);
    return std::count_if(events, events + got, [](const SDL_Event& e) { return e.user.code == 25; });
}

class MonitorTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS), 0);
        makeDirs(MP_SERVICE_DIR);
        remove(MP_STATUS_FILE);
        remove(MP_MUSIC_INFO_FILE);
        sMusicPlayingStatus.duration = sMusicPlayingStatus.position = 0;
    }
    void TearDown() override { SDL_Quit(); }
    int cycle(const std::string& status) {
        writeFile(MP_STATUS_FILE, status);
        return musicStatusCycle(&mText);
    }
    char* mText = nullptr;
};

} // namespace

TEST_F(MonitorTest, StoresTheStatusFileKeepsTheRecordOnBadCyclesAndWakesTheLoop) {
    EXPECT_EQ(cycle(R"({"filename": "/m/a/song.flac", "status": "playing", "duration": 300, "position": 42,
        "title": "Song", "artist": "Band", "year": "1999", "genre": "Jazz", "track": "3", "extra": 1})"),
              1);
    EXPECT_EQ(tickEvents(), 1);
    EXPECT_EQ(record(), "/m/a/song.flac|playing|Song|Band|1999|Jazz|3|300|42");

    // Strings clear when absent, numbers keep their values, and a year or a position of
    // the wrong JSON type counts as absent.
    EXPECT_EQ(cycle(R"({"filename": "/m/a/b.mp3", "status": "paused", "year": 2001, "position": "9"})"), 1);
    EXPECT_EQ(record(), "/m/a/b.mp3|paused||||||300|42");

    // A half-written file and then a vanished one keep the record and send no event.
    tickEvents();
    EXPECT_EQ(cycle(R"({"filename": "/m/a/c.mp3", "sta)"), 0);
    remove(MP_STATUS_FILE);
    EXPECT_EQ(musicStatusCycle(&mText), 0);
    EXPECT_EQ(tickEvents(), 0);
    EXPECT_EQ(record(), "/m/a/b.mp3|paused||||||300|42");

    // The dump fills bad tags while it names the playing file.
    writeFile(MP_MUSIC_INFO_FILE, "Input #0, flac, from '/m/a/song.flac':\n"
                                  "    title           : Dump Title\n"
                                  "    genre           : Dump Genre\n");
    cycle(R"({"filename": "/m/a/song.flac", "title": "???", "genre": "", "year": "1999"})");
    EXPECT_EQ(record(), "/m/a/song.flac||Dump Title||1999|Dump Genre||300|42");
}

// The thread follows the file, wakes the loop after each good cycle, clears a stale
// seek at its start, stops when told, and readers never see a torn record.
TEST_F(MonitorTest, ThreadFollowsTheFileWithoutTornRecords) {
    const std::string a = R"({"filename": "/m/a.mp3", "title": "Title A", "artist": "A"})";
    const std::string b = R"({"filename": "/m/b.mp3", "title": "Title B", "artist": "B"})";
    // Each file is put in place in one step, as the service does.
    auto replace = [](const std::string& content) {
        writeFile(MP_STATUS_FILE ".part", content);
        rename(MP_STATUS_FILE ".part", MP_STATUS_FILE);
    };
    replace(a);
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        for (bool flip = false; writing.load(); flip = !flip)
            replace(flip ? a : b);
    });
    sMusicPlayingStatus.seekTarget = 5;
    sMusicThreadRunning.store(true, std::memory_order_release);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, music_thread, nullptr), 0);
    // Until the record has switched between the two files many times; once one of them
    // has shown, anything else is a torn record.
    int switches = 0;
    std::string last, torn;
    waitUntil([&] {
        std::string now = record();
        bool whole = now == "/m/a.mp3||Title A|A||||0|0" || now == "/m/b.mp3||Title B|B||||0|0";
        if (!whole && !last.empty())
            torn = now;
        switches += whole && !last.empty() && now != last;
        last = whole ? now : last;
        return switches >= 6 || !torn.empty();
    });
    EXPECT_GE(switches, 6);
    EXPECT_EQ(torn, "");
    sMusicThreadRunning.store(false, std::memory_order_release);
    pthread_join(thread, nullptr);
    writing.store(false);
    writer.join();
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1);
    EXPECT_GE(tickEvents(), 6);
}
