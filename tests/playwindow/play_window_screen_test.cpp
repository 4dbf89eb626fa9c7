// What a frame of the now-playing screen puts where, read back from the pixels on a
// theme of solid test images so that each piece can be told apart; the spectrum on its
// canvas; the screen's lifetime; and screenshots of the committed skin compared with
// references (which also show the waveform).
#include "player_fixture.h"
#include "playwindow/screen/music_play_window.h"
#include "playwindow/screen/play_window_internal.h"

#include <filesystem>

namespace {

// Band 41 holds bins 42 and 43; a tone on bin 43 is 1007.8125 Hz at 48 kHz.
const std::vector<std::pair<double, double>> kTone = {{43.0, 32000.0}};

class PlayScreen : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        // A red default cover, a grey bar track with red, green and blue caps and pieces;
        // no background, no veil. Spectrum: a green lit image, a mask whose upper half is
        // opaque, white markers.
        std::string skin = theme.path() + "/skin/";
        solidPng(skin + "cover-default.png", 400, 400, kRed);
        solidPng(skin + "progress-bg-n.png", 670, 8, kGrey);
        solidPng(skin + "progress-slider-left-n.png", 6, 8, kRed);
        solidPng(skin + "progress-slider-middle-n.png", 4, 8, kGreen);
        solidPng(skin + "progress-slider-right-n.png", 6, 8, kBlue);
        solidPng(skin + "vis/fft_test/fg.png", 1200, 200, kGreen);
        std::vector<Uint32> mask(25 * 400, 0);
        std::fill(mask.begin(), mask.begin() + 25 * 200, 0xff102030);
        savePng(skin + "vis/fft_test/mask.png", 25, 400, mask);
        solidPng(skin + "vis/fft_test/peak.png", 21, 4, kWhite);
        useTheme(theme.path());
    }
    // A now-playing screen over a stand-in of the library, in place of any before it:
    // one analysis runs at a time, as on the device.
    MusicPlayWindow& open(bool idleMessage = false) {
        while (!gUIWindows.empty())
            closeTop();
        gUIWindows = {new BaseScreen, new MusicPlayWindow(1, true, idleMessage)};
        return *static_cast<MusicPlayWindow*>(gUIWindows.back());
    }
    ScratchDir theme{"play-theme"};
    std::string music = scratch.path() + "/music";
};

} // namespace

// A wide cover is letterboxed in the cover box, which moves 80 pixels down without the
// visualiser (with it, the references and the default cover's corner show the box).
// Its blurred background is its centred part with the screen's shape.
TEST_F(PlayScreen, AWideCoverIsLetterboxedInTheBoxBelowWithoutTheVisualiser) {
    solidPng(music + "/wide.png", 800, 400, kYellow);
    gCoverBackground = gVisualization = false;
    setStatus(music + "/wide.flac", "playing", 10, 100);
    frame(open());
    EXPECT_TRUE(pixel(80, 260) == kYellow && pixel(479, 459) == kYellow);
    EXPECT_TRUE(pixel(80, 259) != kYellow && pixel(479, 460) != kYellow && pixel(79, 260) != kYellow &&
                pixel(480, 459) != kYellow);
    SDL_Rect wide = playWindowBlurCrop(2000, 500);
    EXPECT_EQ(std::vector<int>({wide.x, wide.y, wide.w, wide.h}), std::vector<int>({556, 0, 888, 500}));
}

TEST_F(PlayScreen, ProgressBarTimesAndAPendingSeek) {
    MusicPlayWindow& window = open();
    gVisualization = false;
    const int y = 274 + 80;
    // The track is 670 wide: caps of 6 leave 658 for pieces of 4, from x 536.
    const struct {
        int position;
        std::vector<std::pair<int, Uint32>> pixels;
    } cases[] = {
        {0, {{530, kRed}, {536, kGrey}}},                     // the left cap even at 0
        {99, {{1183, kGreen}, {1184, kGrey}, {1194, kGrey}}}, // no right cap below 100
        {100, {{1191, kGreen}, {1192, kBlue}, {1197, kBlue}}},
    };
    for (const auto& c : cases) {
        setStatus("/m/song.flac", "playing", c.position, 100);
        frame(window);
        for (auto [x, colour] : c.pixels)
            EXPECT_EQ(pixel(x, y), colour) << c.position << "% at x " << x;
    }
    // A seek target leads the bar until its hold runs out; the last hold frame ends the
    // seek and already shows the position.
    setStatus("/m/song.flac", "playing", 0, 100);
    sMusicPlayingStatus.seekTarget.store(50);
    sMusicPlayingStatus.seekHold.store(2);
    frame(window);
    EXPECT_EQ(pixel(863, y), kGreen);
    frame(window);
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1);
    EXPECT_EQ(pixel(537, y), kGrey);

    setStatus("/m/song.flac", "playing", 3725, 3725);
    frame(window);
    EXPECT_STREQ(window.mTimeText, "62:05");
    setStatus("/m/song.flac", "paused", 10, 20);
    frame(window);
    EXPECT_EQ(std::vector<int>({window.mPosition, window.mDuration}), std::vector<int>({3725, 3725}))
        << "times are read only while playing";
}

// The idle message and a suspended system both end the frame early: before the play
// mode query, and (suspended) before anything is painted. An effect chosen meanwhile
// loads with the next frame that is not suspended.
TEST_F(PlayScreen, IdleAndSuspendedFramesEndEarly) {
    listEffects({"fft_test", "wave_test"});
    frame(open(true));
    EXPECT_EQ(count("get_play_mode"), 0u);
    MusicPlayWindow& window = open(false);
    frame(window);
    EXPECT_EQ(pixel(80, 80), kRed) << "without the message an empty path shows the default cover";
    EXPECT_EQ(count("get_play_mode"), 1u);

    setStatus("/m/song.flac", "paused", 10, 100);
    writeFile(MP_STAY_ALIVE_FILE, "1\n");
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    const int kind = s_visType;
    press(SDLK_2, &window);
    SDL_SetRenderDrawColor(gZwRenderer, 255, 0, 255, 255);
    SDL_RenderClear(gZwRenderer);
    window.draw();
    EXPECT_EQ(readTargetPixels(0, 0, 1280, 720), std::vector<Uint32>(1280 * 720, kMagenta));
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "a paused track lets the system sleep";
    EXPECT_EQ(count("get_play_mode"), 1u);
    EXPECT_EQ(s_triggerVisLoad, 1);
    removeTree(MP_SYSTEM_SUSPEND_FILE);
    frame(window);
    EXPECT_EQ(s_triggerVisLoad, 0);
    EXPECT_EQ(s_visType, kind == kVisTypeSpectrum ? kVisTypeWave : kVisTypeSpectrum);
}

TEST_F(PlayScreen, CoverIsSearchedOncePerPathInItsOrder) {
    const std::string base = music + "/song";
    solidPng(base + ".png", 40, 40, kBlue);
    solidPng(base + ".jpg", 40, 40, kGreen);
    EXPECT_EQ(std::string(getUserCoverPath(base + ".flac")), base + ".jpg");
    removeTree(base + ".jpg");
    removeTree(base + ".png");
    EXPECT_EQ(getUserCoverPath(".flac"), nullptr) << "a dot at position 0";
    EXPECT_EQ(getUserCoverPath("/" + std::string(300, 'a') + ".flac"), nullptr) << "does not fit 260 bytes";

    MusicPlayWindow& window = open();
    auto coverOf = [&](const std::string& path) {
        setStatus(path, "playing", 1, 100);
        frame(window);
        return pixel(280, 280);
    };
    solidPng(base + ".PNG", 40, 40, kBlue);
    solidPng(MP_MUSIC_COVER_FILE, 40, 40, kGreen);
    EXPECT_EQ(coverOf(base + ".flac"), kBlue) << "a same-name .PNG goes before the service's picture";
    removeTree(base + ".PNG");
    EXPECT_EQ(coverOf(base + ".flac"), kBlue) << "the loaded cover stays while the path does";
    EXPECT_EQ(coverOf(music + "/other.flac"), kGreen);
    removeTree(MP_MUSIC_COVER_FILE);
    EXPECT_EQ(coverOf(music + "/third.flac"), kRed);
    solidPng(MP_MUSIC_COVER_FILE, 40, 40, kGreen);
    EXPECT_EQ(coverOf(music + "/third.flac"), kRed) << "a cover that turns up later waits for the next track";
    removeTree(MP_MUSIC_COVER_FILE);
    writeFile(music + "/bad.jpg", "not a jpeg at all");
    EXPECT_EQ(coverOf(music + "/bad.flac"), kRed) << "an undecodable cover gives the default";
    EXPECT_TRUE(window.mCover == nullptr && window.mCoverBlur == nullptr);
}

// The tap appears after the screen: a later frame starts the analysis, and the steady
// tone then lights its band highest with its marker just above.
TEST_F(PlayScreen, SteadyToneLightsItsBandHighestWithAMarkerAbove) {
    removeTree(MP_WAVE_TAP_FILE);
    listEffects({"fft_test"});
    setStatus("/m/song.flac", "playing", 1, 100);
    MusicPlayWindow& window = open();
    frame(window);
    EXPECT_FALSE(window.mFftReady) << "no tap yet";
    writeTap(kTone);
    frame(window);
    ASSERT_TRUE(window.mFftReady) << "a later frame brings the analysis up";
    ASSERT_TRUE(waitUntil([] {
        ZwLock guard(&sFFTLock);
        return s_fft_value[41] > 6.5 && s_fft_peak[41] < 7.5;
    })) << "the analysis never settled on the tone";
    frame(window);
    SetRenderTarget(window.mVisCanvas);
    auto pixels = readTargetPixels(0, 0, 1280, 720);
    SetRenderTarget(nullptr);
    // Lit height of each band's middle column over the 200 rows of the foreground.
    std::vector<int> heights(48);
    for (int b = 0; b < 48; ++b)
        for (int y = 520; y < 720; ++y)
            heights[b] += pixels[y * 1280 + 40 + b * 25 + 12] == kGreen;
    EXPECT_EQ(heights[41], 200) << "a value above 6 shows the whole column";
    heights[41] = 0;
    EXPECT_LT(*std::max_element(heights.begin(), heights.end()), 100) << "the tone's band stands highest";
    EXPECT_EQ(pixels[530 * 1280 + 40 + 12] >> 24, 0u) << "the eraser leaves the canvas transparent";
    const int p = static_cast<int>(200 * window.mFftPeak[41] / 6.0);
    ASSERT_GT(p, 200);
    EXPECT_EQ(pixels[(720 - p - 4) * 1280 + 40 + 41 * 25 + 2], kWhite) << "the marker sits above the band";
    EXPECT_EQ(pixels[(720 - p - 5) * 1280 + 40 + 41 * 25 + 2] >> 24, 0u);
}

TEST_F(PlayScreen, EnteringAndLeavingFiftyTimesLeavesNothingBehind) {
    // Threads of this process, counted in /proc.
    auto threadCount = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    };
    writeTap(kTone);
    listEffects({"fft_test"});
    setStatus("/m/song.flac", "playing", 100, 300);
    long baseline = -1;
    std::vector<SDL_TimerID> timers;
    for (int i = 0; i < 50; ++i) {
        auto* window = new MusicPlayWindow(1, true, false);
        EXPECT_TRUE(window->mFftReady);
        frame(*window);
        press(SDLK_RIGHT, window);
        press(SDLK_LEFT, window);
        timers.push_back(window->mForwardTimer);
        timers.push_back(window->mBackwardTimer);
        delete window;
        EXPECT_EQ(sFFTThreadRunning.load(), 0);
        if (i == 0)
            baseline = threadCount(); // SDL's timer thread stays once started
    }
    EXPECT_EQ(threadCount(), baseline) << "no analysis thread left running";
    EXPECT_EQ(readFile("/proc/self/maps").find("wave_s16le"), std::string::npos) << "the tap is unmapped";
    for (SDL_TimerID id : timers)
        EXPECT_FALSE(SDL_RemoveTimer(id)) << "no seek timer left pending";
}

// Screenshots of the committed skin, for people to look at and as references.
using PlayGallery = PlayerTest;

TEST_F(PlayGallery, NowPlayingWithSpectrumWithWaveformAndIdle) {
    // A cover with some life: diagonal bands of warm colours and a pale disc.
    const std::string song = scratch.path() + "/Night Drive";
    std::vector<Uint32> cover(600 * 600);
    for (int y = 0; y < 600; ++y)
        for (int x = 0; x < 600; ++x) {
            double t = (x + y) / 1200.0;
            int r = static_cast<int>(230 - 120 * t), g = static_cast<int>(90 + 60 * std::sin(t * 9)),
                b = static_cast<int>(60 + 150 * t);
            if ((x - 380) * (x - 380) + (y - 220) * (y - 220) < 110 * 110)
                r = 250, g = 226, b = 180;
            cover[y * 600 + x] = 0xff000000u | r << 16 | g << 8 | b;
        }
    savePng(song + ".png", 600, 600, cover);
    // A steady sound with energy in every band, louder in the bass, with a few stronger
    // partials.
    std::vector<std::pair<double, double>> tones;
    for (int bin = 1; bin <= 49; ++bin)
        tones.push_back({bin, 2600.0 / (1.0 + bin / 12.0) * (0.55 + 0.45 * std::sin(bin * 0.9)) *
                                  (bin % 7 == 3 ? 2.2 : 1.0)});
    for (int bin = 60; bin < 600; bin += 37)
        tones.push_back({bin, 600.0});
    writeTap(tones);
    // {effect, status, artist, play mode, idle message, reference}: two frames of each
    // screen once every marker is at rest where a steady sound holds it (on its value, or
    // 0.3 above a loud one, never below the ladder's floor), then the comparison.
    const struct {
        const char *effect, *state, *artist, *mode;
        bool idle;
        const char* name;
    } shots[] = {{"fft1", "playing", "The Quiet Hours", "1", false, "play_spectrum"},
                 {"wave1", "paused", "", "0", false, "play_waveform"},
                 {"wave1", "", "", "0", true, "play_idle"}};
    for (const auto& shot : shots) {
        listEffects({shot.effect});
        setStatus(shot.idle ? "" : song + ".flac", shot.state, 83, 241, shot.idle ? "" : "Night Drive",
                  shot.artist);
        service.script("get_play_mode", Reply{ReplyKind::Json, std::string("{\"mode\": ") + shot.mode + "}"});
        MusicPlayWindow window(1, true, shot.idle);
        EXPECT_TRUE(waitUntil([] {
            ZwLock guard(&sFFTLock);
            bool settled = s_fft_value[8] > 2.0;
            for (int b = 0; b < 48 && settled; ++b) {
                double v = s_fft_value[b];
                settled =
                    std::fabs(s_fft_peak[b] - std::max(v + (v > 4.5 ? 0.3 : 0.0), s_gforce_table[0])) < 1e-9;
            }
            return settled;
        })) << "the markers never came to rest";
        frame(window);
        frame(window);
        EXPECT_EQ(matchesReference(shot.name, {kClockArea}), "") << shot.name;
    }
}
