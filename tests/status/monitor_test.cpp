// The status monitor against real files under the device root: what it stores, what it
// keeps, when it wakes the window loop, and that readers never see a torn record.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "wait_until.h"
#include "status/music_status.h"

#include <SDL2/SDL.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

long msSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// Replaces the file in one step, as a well-behaved service would.
void replaceFile(const std::string& path, const std::string& content) {
    std::string temp = path + ".part";
    writeFile(temp, content);
    rename(temp.c_str(), path.c_str());
}

class MonitorTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(SDL_Init(SDL_INIT_EVENTS), 0);
        makeDirs(MP_SERVICE_DIR);
        remove(MP_STATUS_FILE);
        remove(MP_MUSIC_INFO_FILE);
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        sMusicPlayingStatus.filename = sMusicPlayingStatus.status = sMusicPlayingStatus.title = "";
        sMusicPlayingStatus.duration = sMusicPlayingStatus.position = 0;
        sMusicPlayingStatus.volume = sMusicPlayingStatus.audiotrack = 0;
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
        SDL_FlushEvents(SDL_FIRSTEVENT, SDL_LASTEVENT);
    }
    void TearDown() override {
        stopThread();
        SDL_Quit();
    }
    void startThread() {
        sMusicThreadRunning.store(true, std::memory_order_release);
        ASSERT_EQ(pthread_create(&mThread, nullptr, music_thread, nullptr), 0);
        mStarted = true;
    }
    void stopThread() {
        if (!mStarted)
            return;
        sMusicThreadRunning.store(false, std::memory_order_release);
        pthread_join(mThread, nullptr);
        mStarted = false;
    }
    int tickEvents() {
        SDL_Event events[64];
        int total = 0, got;
        SDL_PumpEvents();
        while ((got = SDL_PeepEvents(events, 64, SDL_GETEVENT, SDL_USEREVENT, SDL_USEREVENT)) > 0) {
            for (int i = 0; i < got; ++i)
                total += events[i].user.code == 25;
        }
        return total;
    }
    struct Snapshot {
        std::string filename, status, title, artist, year, genre, track;
        int duration = 0, position = 0;
    };
    Snapshot copy() {
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        Snapshot record;
        record.filename = sMusicPlayingStatus.filename;
        record.status = sMusicPlayingStatus.status;
        record.duration = sMusicPlayingStatus.duration;
        record.position = sMusicPlayingStatus.position;
        record.title = sMusicPlayingStatus.title;
        record.artist = sMusicPlayingStatus.artist;
        record.year = sMusicPlayingStatus.year;
        record.genre = sMusicPlayingStatus.genre;
        record.track = sMusicPlayingStatus.track;
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
        return record;
    }
    pthread_t mThread{};
    bool mStarted = false;
    char* mText = nullptr;
};

} // namespace

TEST_F(MonitorTest, StoresTheStatusFileAndWakesTheLoop) {
    EXPECT_EQ(musicStatusCycle(&mText), 0) << "no status file";
    EXPECT_EQ(tickEvents(), 0);
    writeFile(MP_STATUS_FILE, R"({"filename": "/m/a/song.flac", "status": "playing", "duration": 300,
        "position": 42, "volume": 80, "audiotrack": 1, "title": "Song", "artist": "Band",
        "album": "Record", "year": "1999", "comment": "c", "track": "3", "genre": "Jazz", "extra": 1})");
    EXPECT_EQ(musicStatusCycle(&mText), 1);
    EXPECT_EQ(tickEvents(), 1);
    auto record = copy();
    EXPECT_EQ(record.filename, "/m/a/song.flac");
    EXPECT_EQ(record.status, "playing");
    EXPECT_EQ(record.duration, 300);
    EXPECT_EQ(record.position, 42);
    EXPECT_EQ(record.title, "Song");
    EXPECT_EQ(record.year, "1999");
    EXPECT_TRUE(is_music_playing());

    // Only filename and status: string fields clear, numbers keep their values, and a
    // year given as a number counts as absent.
    writeFile(MP_STATUS_FILE,
              R"({"filename": "/m/a/b.mp3", "status": "paused", "year": 2001, "position": "9"})");
    EXPECT_EQ(musicStatusCycle(&mText), 1);
    record = copy();
    EXPECT_EQ(record.status, "paused");
    EXPECT_EQ(record.title, "");
    EXPECT_EQ(record.year, "");
    EXPECT_EQ(record.track, "");
    EXPECT_EQ(record.duration, 300);
    EXPECT_EQ(record.position, 42);
    EXPECT_FALSE(is_music_playing());

    // A half-written file keeps the record and sends no event.
    tickEvents();
    writeFile(MP_STATUS_FILE, R"({"filename": "/m/a/c.mp3", "sta)");
    EXPECT_EQ(musicStatusCycle(&mText), 0);
    EXPECT_EQ(tickEvents(), 0);
    EXPECT_EQ(copy().filename, "/m/a/b.mp3");

    writeFile(MP_STATUS_FILE, R"({"status": "playing"})");
    EXPECT_EQ(musicStatusCycle(&mText), 1);
    EXPECT_EQ(copy().filename, "");
}

TEST_F(MonitorTest, AFailedPushIsLoggedAndTheCycleStillCounts) {
    writeFile(MP_STATUS_FILE, R"({"filename": "/m/a/d.mp3", "status": "playing"})");
    SDL_QuitSubSystem(SDL_INIT_EVENTS);
    testing::internal::CaptureStderr();
    EXPECT_EQ(musicStatusCycle(&mText), 1);
    std::string logged = testing::internal::GetCapturedStderr();
    EXPECT_NE(logged.find("Failed to push play SDL event\n"), std::string::npos) << logged;
    EXPECT_EQ(copy().filename, "/m/a/d.mp3");
}

TEST_F(MonitorTest, DumpFillsBadTagsOnlyWhenItNamesThePlayingFile) {
    writeFile(MP_MUSIC_INFO_FILE, "Input #0, flac, from '/m/a/song.flac':\n"
                                  "  Metadata:\n"
                                  "    title           : Dump Title\n"
                                  "    genre           : Dump Genre\n"
                                  "    date            : 2005\n");
    writeFile(MP_STATUS_FILE,
              R"({"filename": "/m/a/song.flac", "title": "???", "genre": "", "year": "1999"})");
    musicStatusCycle(&mText);
    auto record = copy();
    EXPECT_EQ(record.title, "Dump Title");
    EXPECT_EQ(record.genre, "Dump Genre");
    EXPECT_EQ(record.year, "1999");

    // The service has moved on; the dump still describes the previous track.
    writeFile(MP_STATUS_FILE, R"({"filename": "/m/a/next.flac", "title": "???", "genre": ""})");
    musicStatusCycle(&mText);
    record = copy();
    EXPECT_EQ(record.title, "???");
    EXPECT_EQ(record.genre, "");
}

TEST_F(MonitorTest, ThreadFollowsTheFileAndStops) {
    startThread();
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1);
    replaceFile(MP_STATUS_FILE, R"({"filename": "/m/x.mp3", "status": "playing", "position": 7})");
    ASSERT_TRUE(waitUntil([&] { return copy().filename == "/m/x.mp3"; }));
    int ticks = 0;
    EXPECT_TRUE(waitUntil([&] { return (ticks += tickEvents()) >= 2; })) << "a tick after every good cycle";

    // The service's file goes away: the record keeps the last values.
    remove(MP_STATUS_FILE);
    EXPECT_EQ(copy().position, 7);
    stopThread();
    EXPECT_EQ(copy().filename, "/m/x.mp3");
}

TEST_F(MonitorTest, ReadersNeverSeeATornRecord) {
    const std::string a =
        R"({"filename": "/m/a.mp3", "status": "playing", "title": "Title A", "artist": "A"})";
    const std::string b =
        R"({"filename": "/m/b.mp3", "status": "playing", "title": "Title B", "artist": "B"})";
    replaceFile(MP_STATUS_FILE, a);
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        bool flip = false;
        while (writing.load()) {
            replaceFile(MP_STATUS_FILE, flip ? a : b);
            flip = !flip;
        }
    });
    startThread();
    // Until the record has switched both ways a few times, with a generous deadline.
    auto start = Clock::now();
    int seenA = 0, seenB = 0;
    while ((seenA < 200 || seenB < 200) && msSince(start) < 20000) {
        auto record = copy();
        if (record.filename == "/m/a.mp3") {
            ASSERT_EQ(record.title, "Title A");
            ASSERT_EQ(record.artist, "A");
            ++seenA;
        } else if (record.filename == "/m/b.mp3") {
            ASSERT_EQ(record.title, "Title B");
            ASSERT_EQ(record.artist, "B");
            ++seenB;
        }
    }
    writing.store(false);
    writer.join();
    stopThread();
    EXPECT_GT(seenA, 0);
    EXPECT_GT(seenB, 0) << "the record never switched, so nothing was tested";
}
