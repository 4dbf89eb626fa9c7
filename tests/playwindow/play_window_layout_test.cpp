// What one frame of the now-playing screen puts where, read back from the pixels, on a
// theme of solid test images so that each piece can be told apart.
#include "blur_oracle.h"
#include "play_window_fixture.h"

#include <unistd.h>

using namespace pw;

namespace {

class PlayLayout : public PlayWindowTest {
protected:
    void SetUp() override {
        PlayWindowTest::SetUp();
        // Solid pieces: a red default cover, a grey bar track with red, green and blue
        // caps and pieces; no background, no veil, no effect images.
        std::string skin = theme.path() + "/skin/";
        solidPng(skin + "cover-default.png", 400, 400, kRed);
        solidPng(skin + "progress-bg-n.png", 670, 8, kGrey);
        solidPng(skin + "progress-slider-left-n.png", 6, 8, kRed);
        solidPng(skin + "progress-slider-middle-n.png", 4, 8, kGreen);
        solidPng(skin + "progress-slider-right-n.png", 6, 8, kBlue);
        useTheme(theme.path());
    }
    ScratchDir theme{"play-theme"};
    ScratchDir music{"play-music"};
};

} // namespace

TEST_F(PlayLayout, CoverBoxMovesUpWithTheVisualiser) {
    MusicPlayWindow window(1, true, false);
    setStatus("playing", music.path() + "/song.flac", 10, 100);
    for (bool visualiser : {false, true}) {
        gVisualization = visualiser;
        frame(window);
        const int y = 80 + (visualiser ? 0 : 80);
        EXPECT_EQ(at(80, y), kRed) << "top left of the box, V " << 80 - y + 80;
        EXPECT_EQ(at(479, y + 399), kRed);
        EXPECT_NE(at(79, y), kRed);
        EXPECT_NE(at(80, y - 1), kRed);
        EXPECT_NE(at(480, y + 399), kRed);
        EXPECT_NE(at(479, y + 400), kRed);
    }
}

TEST_F(PlayLayout, WideCoverIsCentredInTheBox) {
    solidPng(music.path() + "/song.png", 800, 400, kYellow);
    setStatus("playing", music.path() + "/song.flac", 10, 100);
    gCoverBackground = false; // the blurred cover would be yellow too
    MusicPlayWindow window(1, true, false);
    for (bool visualiser : {false, true}) {
        gVisualization = visualiser;
        frame(window);
        const int v = visualiser ? 0 : 80;
        EXPECT_EQ(at(80, 180 + v), kYellow) << "a 400x200 cover starts at y 180 + V";
        EXPECT_EQ(at(479, 379 + v), kYellow);
        EXPECT_NE(at(80, 179 + v), kYellow);
        EXPECT_NE(at(479, 380 + v), kYellow);
    }
}

TEST_F(PlayLayout, BlurredBackgroundIsTheCentredScreenShapedCrop) {
    SDL_Rect square = playWindowBlurCrop(256, 256);
    EXPECT_TRUE(square.x == 0 && square.y == 56 && square.w == 256 && square.h == 144);
    SDL_Rect wide = playWindowBlurCrop(2000, 500);
    EXPECT_TRUE(wide.x == 556 && wide.y == 0 && wide.w == 888 && wide.h == 500);

    // A 256x256 cover with a colour per row and column: the screen shows the blurred
    // rows 56 to 199 stretched over its height.
    std::vector<Uint32> cover(256 * 256);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            cover[y * 256 + x] = 0xff000000u | static_cast<Uint32>(y) << 16 | static_cast<Uint32>(x) << 8 | 0x40;
    savePng(music.path() + "/song.png", 256, 256, cover);
    std::vector<uint8_t> in(256 * 256 * 4), out(in.size());
    memcpy(in.data(), cover.data(), in.size());
    uint8_t* a = in.data();
    uint8_t* b = out.data();
    oracle::blur(a, b, 256, 256);
    auto blurred = [&](int x, int y) { return reinterpret_cast<const Uint32*>(b)[y * 256 + x]; };

    setStatus("playing", music.path() + "/song.flac", 10, 100);
    MusicPlayWindow window(1, true, false);
    frame(window); // the frame of the change makes the blur
    ASSERT_NE(window.mCoverBlur, nullptr);
    frame(window);
    for (SDL_Point p : {SDL_Point{0, 0}, SDL_Point{1279, 719}, SDL_Point{640, 360}, SDL_Point{1200, 30}}) {
        // Nearest source pixel of the stretch, give or take one.
        const int sx = p.x * 256 / 1280, sy = 56 + p.y * 144 / 720;
        bool found = false;
        for (int dy = -1; dy <= 1 && !found; ++dy)
            for (int dx = -1; dx <= 1 && !found; ++dx) {
                int x = std::max(0, std::min(255, sx + dx)), y = std::max(56, std::min(199, sy + dy));
                found = at(p.x, p.y) == blurred(x, y);
            }
        EXPECT_TRUE(found) << "screen " << p.x << "," << p.y << " shows " << std::hex << at(p.x, p.y)
                           << ", blurred source " << blurred(sx, sy);
    }
    gCoverBackground = false;
    frame(window);
    EXPECT_EQ(at(640, 20), 0xff000000u) << "without the setting the skin background (none here) shows";
}

TEST_F(PlayLayout, ProgressBarFillsInStepsAndCapsAtTheEnd) {
    MusicPlayWindow window(1, true, false);
    gVisualization = false;
    const int y = 274 + 80;
    // Track 670 wide: caps of 6 leave 658 for pieces of 4.
    setStatus("playing", "/m/song.flac", 0, 100);
    frame(window);
    EXPECT_EQ(at(530, y), kRed) << "the left cap even at 0";
    EXPECT_EQ(at(536, y), kGrey);

    setStatus("playing", "/m/song.flac", 99, 100);
    frame(window);
    const int end99 = 536 + 99 * 658 / 400 * 4;
    EXPECT_EQ(at(end99 - 1, y), kGreen);
    EXPECT_EQ(at(end99, y), kGrey) << "no right cap below 100";
    EXPECT_EQ(at(1194, y), kGrey);

    setStatus("playing", "/m/song.flac", 100, 100);
    frame(window);
    const int end100 = 536 + 164 * 4;
    EXPECT_EQ(at(end100 - 1, y), kGreen);
    EXPECT_EQ(at(end100, y), kBlue) << "the right cap right after the last piece";
    EXPECT_EQ(at(end100 + 5, y), kBlue);
}

TEST_F(PlayLayout, SeekTargetLeadsTheBarUntilTheHoldRunsOut) {
    MusicPlayWindow window(1, true, false);
    gVisualization = false;
    const int y = 274 + 80;
    setStatus("playing", "/m/song.flac", 0, 100);
    sMusicPlayingStatus.seekTarget.store(50);
    sMusicPlayingStatus.seekHold.store(2);
    frame(window);
    EXPECT_EQ(at(536 + 50 * 658 / 400 * 4 - 1, y), kGreen) << "the bar shows the target";
    EXPECT_EQ(sMusicPlayingStatus.seekHold.load(), 1);
    frame(window);
    EXPECT_EQ(sMusicPlayingStatus.seekTarget.load(), -1) << "the last hold frame ends the seek";
    EXPECT_EQ(at(537, y), kGrey) << "and that frame already shows the position";
}

TEST_F(PlayLayout, TimeLabelsShowMinutesBeyondAnHourAndHoldWhilePaused) {
    MusicPlayWindow window(1, true, false);
    setStatus("playing", "/m/song.flac", 3725, 3725);
    frame(window);
    EXPECT_STREQ(window.mTimeText, "62:05");
    EXPECT_EQ(window.mPosition, 3725);
    setStatus("paused", "/m/song.flac", 10, 20);
    frame(window);
    EXPECT_EQ(window.mPosition, 3725) << "times are read only while playing";
    EXPECT_EQ(window.mDuration, 3725);
}

TEST_F(PlayLayout, IdleMessageOnlyForAnEmptyPathWhenAsked) {
    {
        MusicPlayWindow idle(1, true, true);
        frame(idle);
        auto centre = readTargetPixels(400, 330, 640, 100);
        bool lit = false;
        for (Uint32 p : centre)
            lit = lit || (p & 0xffffff) > 0x808080;
        EXPECT_TRUE(lit) << "\"Nothing is playing\" in the middle";
        EXPECT_EQ(count("get_play_mode"), 0u) << "the idle frame ends before the play mode query";
        EXPECT_NE(at(5, 5), 0xff000000u) << "the bars are drawn";
    }
    // One analysis per process: the screens are entered one at a time.
    MusicPlayWindow silent(1, true, false);
    frame(silent);
    EXPECT_EQ(at(80, 80), kRed) << "without the message an empty path shows the default cover";
    EXPECT_EQ(count("get_play_mode"), 1u);
}

TEST_F(PlayLayout, NothingIsPaintedWhileSuspended) {
    MusicPlayWindow window(1, true, false);
    setStatus("paused", "/m/song.flac", 10, 100);
    writeFile(MP_STAY_ALIVE_FILE, "1\n");
    writeFile(MP_SYSTEM_SUSPEND_FILE, "");
    SDL_SetRenderDrawColor(gZwRenderer, 255, 0, 255, 255);
    SDL_RenderClear(gZwRenderer);
    window.draw();
    for (Uint32 p : readTargetPixels(0, 0, 1280, 720))
        ASSERT_EQ(p, kMagenta);
    EXPECT_NE(access(MP_STAY_ALIVE_FILE, F_OK), 0) << "a paused track lets the system sleep";
    EXPECT_EQ(count("get_play_mode"), 0u);
}

TEST_F(PlayLayout, CoverBesideTheTrackWinsInTableOrder) {
    const std::string base = music.path() + "/song";
    solidPng(base + ".png", 40, 40, kBlue);
    solidPng(base + ".jpg", 40, 40, kGreen);
    EXPECT_EQ(std::string(getUserCoverPath(base + ".flac")), base + ".jpg");
    removeTree(base + ".jpg");
    removeTree(base + ".png");
    EXPECT_EQ(getUserCoverPath(base + ".flac"), nullptr);
    EXPECT_EQ(getUserCoverPath(".flac"), nullptr) << "a dot at position 0";
    EXPECT_EQ(getUserCoverPath("/" + std::string(300, 'a') + ".flac"), nullptr) << "does not fit 260 bytes";

    // A same-name .PNG goes before the picture the service extracted.
    solidPng(base + ".PNG", 40, 40, kBlue);
    solidPng(MP_MUSIC_COVER_FILE, 40, 40, kGreen);
    setStatus("playing", base + ".flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    frame(window);
    EXPECT_EQ(at(280, 280), kBlue);
}

TEST_F(PlayLayout, CoverIsSearchedOncePerPathChange) {
    const std::string base = music.path() + "/song";
    setStatus("playing", base + ".flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    frame(window);
    EXPECT_EQ(at(280, 280), kRed) << "no cover yet: the default";
    solidPng(MP_MUSIC_COVER_FILE, 40, 40, kGreen);
    frame(window);
    EXPECT_EQ(at(280, 280), kRed) << "a cover that turns up later waits for the next track";
    setStatus("playing", music.path() + "/other.flac", 1, 100);
    frame(window);
    EXPECT_EQ(at(280, 280), kGreen);
    removeTree(MP_MUSIC_COVER_FILE);
    frame(window);
    EXPECT_EQ(at(280, 280), kGreen) << "the loaded cover stays while the path does";
}

TEST_F(PlayLayout, UndecodableCoverFallsBackToTheDefault) {
    writeFile(music.path() + "/song.jpg", "not a jpeg at all");
    setStatus("playing", music.path() + "/song.flac", 1, 100);
    MusicPlayWindow window(1, true, false);
    frame(window);
    EXPECT_EQ(window.mCover, nullptr);
    EXPECT_EQ(window.mCoverBlur, nullptr);
    EXPECT_EQ(at(280, 280), kRed);
}
