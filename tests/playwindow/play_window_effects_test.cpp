// The visual effects on the now-playing screen (the spectrum of a steady tone, the
// waveform's bars), the analysis coming up late, a theme without images, entering and
// leaving many times, and screenshots of the screen compared with references.
#include "play_window_fixture.h"

#include <dirent.h>
#include <unistd.h>

using namespace pw;

namespace {

// Band 41 holds bins 42 and 43; a tone on bin 43 is 1007.8125 Hz at 48 kHz.
constexpr double kToneBin = 43.0;

class PlayEffects : public PlayWindowTest {
protected:
    void SetUp() override {
        PlayWindowTest::SetUp();
        std::string vis = theme.path() + "/skin/vis/";
        // Spectrum: a green lit image, a mask whose upper half is opaque, white markers.
        solidPng(vis + "fft_test/fg.png", 1200, 200, kGreen);
        std::vector<Uint32> mask(25 * 400, 0);
        for (int i = 0; i < 25 * 200; ++i)
            mask[i] = 0xff102030;
        savePng(vis + "fft_test/mask.png", 25, 400, mask);
        solidPng(vis + "fft_test/peak.png", 21, 4, kWhite);
        // Waveform: a 15-pixel bar whose first column alone is lit.
        std::vector<Uint32> sample(15 * 8, 0);
        for (int y = 0; y < 8; ++y)
            sample[y * 15] = kRed;
        savePng(vis + "wave_test/sample.png", 15, 8, sample);
        useTheme(theme.path());
    }

    // Canvas pixels of the effect after a frame.
    std::vector<Uint32> canvas(MusicPlayWindow& window) {
        SetRenderTarget(window.mVisCanvas);
        auto pixels = readTargetPixels(0, 0, 1280, 720);
        SetRenderTarget(nullptr);
        return pixels;
    }

    ScratchDir theme{"effects-theme"};
};

// Threads of this process, from /proc.
int threadCount() {
    int n = 0;
    if (DIR* dir = opendir("/proc/self/task")) {
        while (dirent* entry = readdir(dir))
            n += entry->d_name[0] != '.';
        closedir(dir);
    }
    return n;
}

int tapMappings() {
    std::string maps = readFile("/proc/self/maps");
    int n = 0;
    for (size_t at = maps.find("wave_s16le"); at != std::string::npos; at = maps.find("wave_s16le", at + 1))
        ++n;
    return n;
}

} // namespace

TEST_F(PlayEffects, SteadyToneLightsItsBandHighestWithAMarkerAbove) {
    writeTap({{kToneBin, 32000.0}});
    listEffects({"fft_test"});
    setStatus("playing", "/m/song.flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    ASSERT_TRUE(window.mFftReady);
    EXPECT_EQ(s_visType, kVisTypeSpectrum);
    ASSERT_TRUE(waitUntil([] {
        pthread_mutex_lock(&sFFTLock);
        bool steady = s_fft_value[41] > 6.5 && s_fft_peak[41] < 7.5;
        pthread_mutex_unlock(&sFFTLock);
        return steady;
    })) << "the analysis never settled on the tone";
    frame(window);
    auto pixels = canvas(window);

    // Lit height of each band's middle column over the 200 rows of the foreground.
    int highest = -1, highestHeight = -1, secondHeight = -1;
    for (int b = 0; b < 48; ++b) {
        int lit = 0;
        for (int y = 520; y < 720; ++y)
            lit += pixels[y * 1280 + 40 + b * 25 + 12] == kGreen;
        if (lit > highestHeight) {
            secondHeight = highestHeight;
            highestHeight = lit;
            highest = b;
        } else {
            secondHeight = std::max(secondHeight, lit);
        }
    }
    EXPECT_EQ(highest, 41);
    EXPECT_EQ(highestHeight, 200) << "a value above 6 shows the whole column";
    EXPECT_LT(secondHeight, 100);
    EXPECT_EQ(pixels[530 * 1280 + 40 + 12] >> 24, 0u) << "the eraser leaves the canvas transparent";

    const int p = static_cast<int>(200 * window.mFftPeak[41] / 6.0);
    ASSERT_GT(p, 200);
    EXPECT_EQ(pixels[(720 - p - 4) * 1280 + 40 + 41 * 25 + 2], kWhite) << "the marker sits above the band";
    EXPECT_EQ(pixels[(720 - p - 5) * 1280 + 40 + 41 * 25 + 2] >> 24, 0u);
}

TEST_F(PlayEffects, WaveformBarsRunFrom40To1225) {
    listEffects({"wave_test"});
    setStatus("playing", "/m/song.flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    EXPECT_EQ(s_visType, kVisTypeWave);
    frame(window);
    auto pixels = canvas(window);
    std::vector<int> starts;
    for (int x = 0; x < 1280; ++x)
        if (pixels[360 * 1280 + x] == kRed)
            starts.push_back(x);
    ASSERT_EQ(starts.size(), 80u);
    EXPECT_EQ(starts.front(), 40);
    EXPECT_EQ(starts.back(), 1225);
    // A silent tap: 4-pixel bars around the centre line at 360.
    EXPECT_EQ(pixels[358 * 1280 + 40], kRed);
    EXPECT_EQ(pixels[361 * 1280 + 40], kRed);
    EXPECT_EQ(pixels[357 * 1280 + 40] >> 24, 0u);
    EXPECT_EQ(pixels[362 * 1280 + 40] >> 24, 0u);
}

TEST_F(PlayEffects, EffectKeysLoadOnTheNextFullFrame) {
    listEffects({"fft_test"});
    makeDirs(MP_VIS_DIR "/wave_test");
    setStatus("playing", "/m/song.flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    const int before = s_curEffectIndex;
    press(window, SDLK_2);
    EXPECT_EQ(s_triggerVisLoad, 1);
    EXPECT_NE(s_curEffectIndex, before);
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    frame(window);
    EXPECT_EQ(s_triggerVisLoad, 1) << "a suspended frame leaves the load pending";
    removeTree(MP_SYSTEM_SUSPEND_FILE);
    frame(window);
    EXPECT_EQ(s_triggerVisLoad, 0);
    EXPECT_EQ(s_visType, visTypeOf(s_curVis));
    press(window, SDLK_1);
    frame(window);
    EXPECT_EQ(s_curEffectIndex, before);
}

TEST_F(PlayEffects, AnalysisComesUpWhenTheTapAppearsLater) {
    removeTree(MP_WAVE_TAP_FILE);
    listEffects({"fft_test"});
    setStatus("playing", "/m/song.flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    EXPECT_FALSE(window.mFftReady);
    frame(window);
    EXPECT_FALSE(window.mFftReady) << "still no tap";
    writeTap({{kToneBin, 32000.0}});
    frame(window);
    EXPECT_TRUE(window.mFftReady) << "a later frame brings the analysis up";
    EXPECT_EQ(sFFTThreadRunning.load(), 1);
    ASSERT_TRUE(waitUntil([] {
        pthread_mutex_lock(&sFFTLock);
        bool up = s_fft_value[41] > 6.5;
        pthread_mutex_unlock(&sFFTLock);
        return up;
    }));
}

TEST_F(PlayEffects, ThemeWithoutImagesStillDraws) {
    ScratchDir empty("empty-theme");
    useTheme(empty.path());
    listEffects({"fft1", "wave1", "bars"});
    writeTap({{kToneBin, 32000.0}});
    setStatus("playing", "/m/song.flac", 1, 100, "Title", "Artist");
    MusicPlayWindow window(1, true, false);
    EXPECT_EQ(window.mProgressBgN, nullptr);
    EXPECT_EQ(window.mVisFg, nullptr);
    for (SDL_Keycode key : {SDLK_2, SDLK_2, SDLK_2, SDLK_RIGHT, SDLK_UP}) {
        press(window, key);
        frame(window);
        frame(window);
    }
    EXPECT_EQ(window.mCoverBlur, nullptr);
}

TEST_F(PlayEffects, EnteringAndLeavingFiftyTimesLeavesNothingBehind) {
    writeTap({{kToneBin, 32000.0}});
    listEffects({"fft_test"});
    setStatus("playing", "/m/song.flac", 100, 300);
    int baseline = -1;
    std::vector<SDL_TimerID> timers;
    for (int i = 0; i < 50; ++i) {
        auto* window = new MusicPlayWindow(1, true, false);
        EXPECT_TRUE(window->mFftReady);
        frame(*window);
        press(*window, SDLK_RIGHT);
        press(*window, SDLK_LEFT);
        timers.push_back(window->mForwardTimer);
        timers.push_back(window->mBackwardTimer);
        delete window;
        EXPECT_EQ(sFFTThreadRunning.load(), 0);
        EXPECT_EQ(s_shm_wave, nullptr);
        EXPECT_EQ(s_in, nullptr);
        EXPECT_EQ(s_out, nullptr);
        if (i == 0)
            baseline = threadCount(); // SDL's timer thread stays once started
    }
    EXPECT_EQ(threadCount(), baseline) << "no analysis thread left running";
    EXPECT_EQ(tapMappings(), 0);
    for (SDL_TimerID id : timers)
        EXPECT_FALSE(SDL_RemoveTimer(id)) << "no seek timer left pending";
}

// Screenshots of the committed skin, for people to look at and as references.
class PlayGallery : public PlayWindowTest {
protected:
    void SetUp() override {
        PlayWindowTest::SetUp();
        // A cover with some life: diagonal bands of warm colours and a pale disc.
        std::vector<Uint32> cover(600 * 600);
        for (int y = 0; y < 600; ++y)
            for (int x = 0; x < 600; ++x) {
                double t = (x + y) / 1200.0;
                int r = static_cast<int>(230 - 120 * t), g = static_cast<int>(90 + 60 * std::sin(t * 9)),
                    b = static_cast<int>(60 + 150 * t);
                int dx = x - 380, dy = y - 220;
                if (dx * dx + dy * dy < 110 * 110)
                    r = 250, g = 226, b = 180;
                cover[y * 600 + x] = 0xff000000u | static_cast<Uint32>(r) << 16 | static_cast<Uint32>(g) << 8 |
                                     static_cast<Uint32>(b);
            }
        savePng(music.path() + "/Night Drive.png", 600, 600, cover);
        // A steady sound with energy in every band, louder in the bass, with a few
        // stronger partials.
        std::vector<std::pair<double, double>> tones;
        for (int bin = 1; bin <= 49; ++bin) {
            double amplitude = 2600.0 / (1.0 + bin / 12.0) * (0.55 + 0.45 * std::sin(bin * 0.9));
            if (bin % 7 == 3)
                amplitude *= 2.2;
            tones.push_back({bin, amplitude});
        }
        for (int bin = 60; bin < 600; bin += 37)
            tones.push_back({bin, 600.0});
        writeTap(tones);
        gMusicVolume = 50;
    }
    // Waits until every marker has fallen to where a steady sound holds it: on its value,
    // or 0.3 above a loud one, never below the ladder's floor.
    void settle() {
        bool steady = waitUntil([] {
            pthread_mutex_lock(&sFFTLock);
            bool settled = s_fft_value[8] > 2.0;
            for (int b = 0; b < 48 && settled; ++b) {
                double v = s_fft_value[b];
                double expected = std::max(v + (v > 4.5 ? 0.3 : 0.0), s_gforce_table[0]);
                settled = std::fabs(s_fft_peak[b] - expected) < 1e-9;
            }
            pthread_mutex_unlock(&sFFTLock);
            return settled;
        });
        EXPECT_TRUE(steady) << "the markers never came to rest";
    }
    ScratchDir music{"gallery-music"};
};

TEST_F(PlayGallery, NowPlayingWithSpectrum) {
    listEffects({"fft1"});
    setStatus("playing", music.path() + "/Night Drive.flac", 83, 241, "Night Drive", "The Quiet Hours");
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 1}"});
    MusicPlayWindow window(1, true, false);
    settle();
    frame(window);
    frame(window);
    EXPECT_NE(window.mCoverBlur, nullptr);
    EXPECT_EQ(matchesReference("play_spectrum"), "");
}

TEST_F(PlayGallery, NowPlayingWithWaveform) {
    listEffects({"wave1"});
    setStatus("paused", music.path() + "/Night Drive.flac", 83, 241, "Night Drive", "");
    MusicPlayWindow window(1, true, false);
    frame(window);
    frame(window);
    EXPECT_EQ(matchesReference("play_waveform"), "");
}

TEST_F(PlayGallery, NothingPlaying) {
    MusicPlayWindow window(1, true, true);
    frame(window);
    EXPECT_EQ(matchesReference("play_idle", {kClockArea}), "");
}
