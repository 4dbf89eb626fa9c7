// The two real programs together: the companion service (its binary, the dummy audio
// driver, the demo library) and the player's window loop headless in this process, with
// its status monitor, driven by keys through SDL's event queue.
#include "app/startup/startup.h"
#include "library/music_album_window.h"
#include "player_fixture.h"
#include "playwindow/screen/music_play_window.h"
#include "service_runner.h"

#include <algorithm>

namespace {

// The headless player with the real service in place of the double, and the library.
class EndToEnd : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        service.stop(); // the real service takes the socket's name
        // No state of an earlier run: a remembered track would start the service paused.
        removeTree(MP_SERVICE_DIR);
        removeTree(MP_SERVICE_DATA_DIR);
        gUserPath = demoLibraryDir();
        ASSERT_EQ(startMusicService(&real), 0) << serviceLog(real);
        sMusicThreadRunning.store(true, std::memory_order_release);
        ASSERT_EQ(pthread_create(&monitor, nullptr, music_thread, nullptr), 0);
        auto* library = new MusicAlbumWindow(nullptr);
        library->init();
        gUIWindows = {library};
    }
    void TearDown() override {
        sMusicThreadRunning.store(false, std::memory_order_release);
        pthread_join(monitor, nullptr);
        stopMusicService(&real);
        PlayerTest::TearDown();
    }
    FileBrowserMenu& rows() { return static_cast<MusicAlbumWindow*>(gUIWindows.front())->mMenu; }
    MusicPlayWindow* playWindow() {
        return gUIWindows.size() == 2 ? dynamic_cast<MusicPlayWindow*>(gUIWindows.back()) : nullptr;
    }
    // Moves the library's cursor to the row of that name and confirms it.
    void choose(const std::string& label) {
        ASSERT_TRUE(runUntil([&] { return rows().getListNum() > 0 && !rows().isLoading(); }));
        auto selected = [&] { return rows().getItemByIndex(rows().mSelected)->getLabel(); };
        for (int i = 0; i < rows().getListNum() && selected() != label; ++i)
            press(SDLK_DOWN);
        ASSERT_EQ(selected(), label);
        press(SDLK_RETURN);
    }
    // The title and the state of the status record.
    static std::string titleAndState() {
        std::string text;
        readMusicStatus([&](const MusicPlayingStatus& s) { text = s.title + "|" + s.status; });
        return text;
    }
    // Whether the title line of the now-playing screen holds text (bright pixels).
    bool titleDrawn() {
        auto pixels = readTargetPixels(530, 142, 600, 50);
        return std::any_of(pixels.begin(), pixels.end(), [](Uint32 p) { return (p & 0xff) > 200; });
    }

    ServiceProcess real;
    pthread_t monitor{};
};

} // namespace

TEST_F(EndToEnd, AToneChosenInTheLibraryPlaysWithItsTitleTimeAndSpectrum) {
    choose("Tones");
    choose("02 Tone 1007.8125 Hz.flac");
    ASSERT_TRUE(runUntil([&] { return playWindow() && titleAndState() == "Tone 1007.8125 Hz|playing"; }))
        << serviceLog(real);
    // The position moves on the screen, and band 41 (984 to 1008 Hz) stands highest.
    const int first = playWindow()->mPosition;
    ASSERT_TRUE(runUntil([&] { return playWindow()->mPosition > first; })) << "from " << first;
    ASSERT_TRUE(runUntil([&] {
        const double* bands = playWindow()->mFftValue;
        return std::max_element(bands, bands + 48) - bands == 41 && bands[41] > 2.0;
    })) << "band 41 of the service's tap at "
        << playWindow()->mFftValue[41];

    // Three presses forward: one seek, and the service reports the new position.
    const int before = playWindow()->mPosition;
    for (int i = 0; i < 3; ++i)
        press(SDLK_RIGHT);
    MusicPlayingStatus reported;
    EXPECT_TRUE(waitUntil([&] { return readStatusRecord(&reported) && reported.position >= before + 12; }))
        << "from " << before;
}

TEST_F(EndToEnd, ADoubleEncodedTitleIsShownRepaired) {
    choose("Encodings");
    choose("01 Double-encoded title.mp3");
    // The service writes the tag as it stands in the file; the player repairs it.
    // The record can change after a pass has drawn: wait for a frame that shows it.
    ASSERT_TRUE(runUntil([&] {
        return playWindow() &&
               titleAndState() == "\xE9\x9F\xB3\xE4\xB9\x90\xE6\xB5\x8B\xE8\xAF\x95|playing" && titleDrawn();
    })) << titleAndState();
    EXPECT_NE(readFile(MP_STATUS_FILE).find("\xC3\x92\xC3\xB4"), std::string::npos)
        << "the file holds the broken text";
}

TEST_F(EndToEnd, ThePlayerOutlivesItsServiceAndPicksUpItsReturn) {
    choose("Tones");
    choose("01 Tone 440 Hz.flac");
    ASSERT_TRUE(runUntil([&] { return playWindow() && titleAndState() == "Tone 440 Hz|playing"; }));
    killMusicService(&real);
    // Keys reach nothing, frames go on, nothing ends.
    for (SDL_Keycode key : {SDLK_SPACE, SDLK_RIGHT, SDLK_x, SDLK_w, SDLK_UP})
        press(key);
    EXPECT_TRUE(playWindow() != nullptr);
    press(SDLK_ESCAPE);
    ASSERT_EQ(gUIWindows.size(), 1u) << "back in the library";

    ASSERT_EQ(startMusicService(&real), 0) << serviceLog(real);
    choose("03 Tone 2000 Hz.mp3");
    EXPECT_TRUE(runUntil([&] { return titleAndState() == "Tone 2000 Hz|playing"; }))
        << "the next command after the restart works; " << serviceLog(real);
}
