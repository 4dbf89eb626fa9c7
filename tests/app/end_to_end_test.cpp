// The two real programs together: the companion service (its binary, the dummy audio
// driver, the demo library) and the player's window loop headless in this process, with
// its status monitor, driven by keys through SDL's event queue.
#include "app/shared/screen_state.h"
#include "app/shared/language_table.h"
#include "app/startup/startup.h"
#include "base/device_paths.h"
#include "library/music_album_window.h"
#include "playwindow/screen/music_play_window.h"
#include "scratch_dir.h"
#include "screen_fixture.h"
#include "service/file_actions/play_request.h"
#include "service_runner.h"
#include "status/music_status.h"
#include "wait_until.h"

#include <algorithm>
#include <string>

namespace {

using Status = MusicPlayingStatus;

class EndToEnd : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        gDefaultStringList.resize(8);
        appendDefaultStrings();
        initLang();
        // The effect folders the player lists, as the device has them.
        removeTree(MP_VIS_DIR);
        makeDirs(MP_VIS_DIR "/fft1");
        removeTree(MP_SERVICE_DIR);
        gUserPath = demoLibraryDir();
        sLastPlayDir.clear();
        sLastPlayPath.clear();
        ASSERT_EQ(startMusicService(&service), 0) << serviceLog(service);
        sMusicThreadRunning.store(true, std::memory_order_release);
        ASSERT_EQ(pthread_create(&monitor, nullptr, music_thread, nullptr), 0);
        auto* library = new MusicAlbumWindow(nullptr);
        library->init();
        gUIWindows = {library};
        gWinList = &gUIWindows;
    }
    void TearDown() override {
        while (!gUIWindows.empty()) {
            delete gUIWindows.back();
            gUIWindows.pop_back();
        }
        gWinList = nullptr;
        sMusicThreadRunning.store(false, std::memory_order_release);
        pthread_join(monitor, nullptr);
        stopMusicService(&service);
        ScreenTest::TearDown();
    }

    MusicAlbumWindow* library() { return static_cast<MusicAlbumWindow*>(gUIWindows.front()); }
    MusicPlayWindow* playWindow() {
        return gUIWindows.size() == 2 && gUIWindows.back()->mKind == 1 ? static_cast<MusicPlayWindow*>(gUIWindows.back())
                                                                      : nullptr;
    }
    // One pass of the loop after a key: the key is taken, acted on and the frame drawn.
    void press(SDL_Keycode key) {
        SDL_Event event = {};
        event.type = SDL_KEYDOWN;
        event.key.keysym.sym = key;
        SDL_PushEvent(&event);
        auto taken = [] { return SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_KEYDOWN, SDL_KEYDOWN) == 0; };
        EXPECT_TRUE(stepUntil(taken));
        event.type = SDL_KEYUP;
        SDL_PushEvent(&event);
    }
    // Steps the loop until the condition holds.
    template <typename Condition> bool stepUntil(Condition condition) {
        return waitUntil([&] {
            runWindowsStep(gUIWindows);
            return condition();
        });
    }
    // Moves the library's cursor to the row of that name and confirms it.
    void choose(const std::string& label) {
        ASSERT_TRUE(stepUntil([&] { return library()->mMenu.getListNum() > 0 && !library()->mMenu.isLoading(); }));
        for (int i = 0; i < library()->mMenu.getListNum(); ++i) {
            TextMenuItem* row = library()->mMenu.getItemByIndex(library()->mMenu.mSelected);
            if (row && row->getLabel() == label) {
                press(SDLK_RETURN);
                return;
            }
            press(SDLK_DOWN);
        }
        FAIL() << "no row " << label;
    }
    // A member of the status record, read under its lock.
    template <typename T> static T record(T Status::*member) {
        pthread_mutex_lock(&sMusicPlayingStatusLock);
        T value = sMusicPlayingStatus.*member;
        pthread_mutex_unlock(&sMusicPlayingStatusLock);
        return value;
    }
    // Whether the title line of the now-playing screen holds text (bright pixels).
    bool titleDrawn() {
        auto pixels = readTargetPixels(530, 142, 600, 50);
        return std::any_of(pixels.begin(), pixels.end(), [](Uint32 p) { return (p & 0xff) > 200; });
    }

    ServiceProcess service;
    pthread_t monitor{};
};

} // namespace

TEST_F(EndToEnd, AToneChosenInTheLibraryPlaysWithItsTitleTimeAndSpectrum) {
    choose("Tones");
    choose("02 Tone 1007.8125 Hz.flac");
    ASSERT_TRUE(stepUntil([&] { return playWindow() && record(&Status::title) == "Tone 1007.8125 Hz"; }))
        << serviceLog(service);
    // The position moves on the screen, and band 41 (984 to 1008 Hz) stands highest.
    const int first = playWindow()->mPosition;
    ASSERT_TRUE(stepUntil([&] { return playWindow()->mPosition > first; })) << "from " << first;
    ASSERT_TRUE(stepUntil([&] {
        const double* bands = playWindow()->mFftValue;
        return std::max_element(bands, bands + 48) - bands == 41 && bands[41] > 2.0;
    })) << "band 41 of the service's tap at " << playWindow()->mFftValue[41];
    EXPECT_TRUE(titleDrawn());

    // Three presses forward: one seek, and the service reports the new position.
    int before = record(&Status::position);
    for (int i = 0; i < 3; ++i)
        press(SDLK_RIGHT);
    EXPECT_TRUE(waitUntil([&] {
        MusicPlayingStatus reported;
        return readStatusRecord(&reported) && reported.position >= before + 12;
    })) << "from " << before;
}

TEST_F(EndToEnd, ADoubleEncodedTitleIsShownRepaired) {
    choose("Encodings");
    choose("01 Double-encoded title.mp3");
    // The service writes the tag as it stands in the file; the player repairs it.
    const std::string repaired = "\xE9\x9F\xB3\xE4\xB9\x90\xE6\xB5\x8B\xE8\xAF\x95";
    ASSERT_TRUE(stepUntil([&] { return playWindow() && record(&Status::title) == repaired; }))
        << record(&Status::title);
    EXPECT_NE(readFile(MP_STATUS_FILE).find("\xC3\x92\xC3\xB4"), std::string::npos) << "the file holds the broken text";
    EXPECT_TRUE(titleDrawn());
}

TEST_F(EndToEnd, ThePlayerOutlivesItsServiceAndPicksUpItsReturn) {
    choose("Tones");
    choose("01 Tone 440 Hz.flac");
    ASSERT_TRUE(stepUntil([&] { return playWindow() && record(&Status::status) == "playing"; }));
    killMusicService(&service);
    // Keys reach nothing, frames go on, nothing ends.
    for (SDL_Keycode key : {SDLK_SPACE, SDLK_RIGHT, SDLK_x, SDLK_w, SDLK_UP})
        press(key);
    EXPECT_TRUE(playWindow() != nullptr);
    press(SDLK_ESCAPE);
    ASSERT_EQ(gUIWindows.size(), 1u) << "back in the library";

    ASSERT_EQ(startMusicService(&service), 0) << serviceLog(service);
    choose("03 Tone 2000 Hz.mp3");
    EXPECT_TRUE(stepUntil([&] {
        return record(&Status::title) == "Tone 2000 Hz" && record(&Status::status) == "playing";
    })) << "the next command after the restart works; " << serviceLog(service);
}
