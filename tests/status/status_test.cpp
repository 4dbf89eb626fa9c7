// The status side against real files under the device root: what the monitor stores,
// what it keeps, when it wakes the window loop, and that readers never see a torn
// record. Then the tag sources besides the status file: the service's dump with its line
// rules and whether it applies to the playing file, the tag merges, and the repair of
// text that arrives double encoded.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "status/music_status.h"
#include "status/text_repair.h"
#include "status/track_dump.h"
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

TrackDump parse(const std::string& text) {
    TrackDump dump;
    parseMusicInfoText(text.data(), text.size(), &dump);
    return dump;
}

} // namespace

TEST_F(MonitorTest, StoresTheStatusFileKeepsTheRecordOnBadCyclesAndWakesTheLoop) {
    EXPECT_EQ(cycle(R"({"filename": "/m/a/song.flac", "status": "playing", "duration": 300, "position": 42,
        "title": "Song", "artist": "Band", "year": "1999", "genre": "Jazz", "track": "3", "extra": 1})"),
              1);
    EXPECT_EQ(tickEvents(), 1);

    // Strings clear when absent, numbers keep their values, and a year or a position of
    // the wrong JSON type counts as absent. (What a whole status file gives, the protocol
    // test reads back from the service through the same record.)
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

TEST(TrackDump, LineRulesAndWhetherItAppliesToThePlayingFile) {
    // Keys count inside an input section only, up to its first "Stream #" line (not on
    // that line either); blanks go on the left only, a CR stays; a key with nothing
    // behind it overwrites; a last line without newline counts.
    auto dump = parse("title           : before any input\n"
                      "Input #0, flac, from '/music/a/one.flac':  title           : on input line\n"
                      "    artist          : Someone\r\n"
                      "    album_artist    : not an album key\n"
                      "    date            : 1999\n"
                      "    date            :\n"
                      "    Stream #0:0: Audio: flac  genre           : on stream line\n"
                      "    genre           : after stream\n"
                      "Input #1, mp3, from '/music/b/two.mp3':\n"
                      "    title           : \t Second \n"
                      "    album           : Album Two");
    EXPECT_EQ(dump.inputPath + "|" + dump.title + "|" + dump.artist + "|" + dump.album + "|" + dump.date +
                  "|" + dump.genre,
              "/music/b/two.mp3|Second |Someone\r|Album Two||");
    EXPECT_EQ(parse("Input #0, wav\n  title           : t\n").title, "t") << "a section opens without from '";
    EXPECT_EQ(parse("Input #0, from '/a/b.mp3\n").inputPath, "/a/b.mp3") << "no closing quote";

    // The file's name within the dump's path: a lagging dump does not apply, nor does one
    // for a ".wav..." file in any case; a name without a dot is no wav file.
    dump.inputPath = "/m/a/01 - song.flac /m/a/track.WAV /m/a/track.wave /m/a/noext";
    std::string applies;
    for (const char* name :
         {"/other/dir/song.flac", "/m/a/02 - song.flac", "/m/a/track.WAV", "/m/a/track.wave", "/m/a/noext",
          "no-slash.flac", static_cast<const char*>(nullptr)})
        applies += dumpApplies(name, dump) ? "1" : "0";
    EXPECT_EQ(applies, "1000100");
}

TEST(TagMerge, BadFieldsTakeTheDumpOnlyWhenItAppliesAndDenseLatin1TextsAreRepaired) {
    std::string merged;
    for (const char* start : {"", "\xff\xfe", "???", "Good?"}) {
        for (bool applies : {true, false}) {
            std::string field = start;
            mergeTagText(field, "D", applies);
            merged += field + "|";
        }
    }
    EXPECT_EQ(merged, "D||D|\xff\xfe|D|???|Good?|Good?|") << "no dump: bad bytes stay, no repair";
    // The plain merge refuses an invalid dump value; an empty one replaces a bad field.
    std::string year, genre = "???";
    mergeTagPlain(year, "\xff\xfe", true);
    mergeTagPlain(genre, "", true);
    EXPECT_EQ(year + "|" + genre, "|");

    testing::internal::CaptureStdout();
    const std::string doubled = "\xC3\x92\xC3\xB4\xC3\x80\xC3\x96";
    std::string title = doubled, cafe = "Caf\xC3\xA9";
    genre = doubled;
    mergeTagText(title, "", false);
    mergeTagText(cafe, "", false); // one accented letter in five bytes: not dense enough
    mergeTagPlain(genre, "", false);
    EXPECT_EQ(title, "\xE9\x9F\xB3\xE4\xB9\x90");
    EXPECT_EQ(cafe, "Caf\xC3\xA9");
    EXPECT_EQ(genre, doubled) << "plain merges never repair";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a repair that works prints nothing";
}

TEST(TextRepair, Utf8TestWithItsLatin1CountAndFailedRepairs) {
    // The Latin-1 count of a valid text, -1 for an invalid one: truncated, a stray
    // continuation, a byte that leads nothing, a bad follower.
    std::string counts;
    for (const std::string& text :
         {std::string("Caf\xC3\xA9"), std::string("\xC3\x92\xC3\xB4\xC3\x80\xC3\x96"),
          std::string("\xE4\xB8\xAD"), std::string("a\0b", 3), std::string("\xC3"), std::string("\x80"),
          std::string("\xF8\x80\x80\x80"), std::string("\xE4\xB8\x41")}) {
        int n = -1;
        counts += std::to_string(is_valid_utf8(text, &n) ? n : -1) + " ";
    }
    EXPECT_EQ(counts, "1 4 0 0 -1 -1 -1 -1 ");
    // A character above U+00FF cannot go to Latin-1, a lone GBK lead byte 0x81 ends the
    // second text: the output stays as it was.
    std::string out = "keep me";
    testing::internal::CaptureStdout();
    EXPECT_EQ(fix_double_encoding("A\xE4\xB8\xAD", out), -1);
    EXPECT_EQ(fix_double_encoding("A\xC2\x81", out), -1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "keep me");
    EXPECT_EQ(iconv_convert("UTF-8", "", "LATIN1", out), 0) << "an empty input gets no buffer and no failure";
    EXPECT_EQ(out, "");
}
