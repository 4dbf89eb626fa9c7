// Surfaces and drawing, read back pixel by pixel, and the bars and text against their
// picture; on the software renderer, and once more on GLES2 through Mesa's offscreen
// driver.
#include "screen_fixture.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

// A w x h image of a colour per pixel (ARGB).
ZelmorSurface* fromPixels(std::vector<Uint32> pixels, int w, int h) {
    return CreateFromPixels(pixels.data(), w, h, 32, w * 4, 0xff0000, 0xff00, 0xff, 0xff000000);
}

constexpr Uint32 kClear = 0;

// Lit pixels in an area of the screen.
long lit(int x, int y, int w, int h) {
    std::vector<Uint32> pixels = readTargetPixels(x, y, w, h);
    return std::count_if(pixels.begin(), pixels.end(), [](Uint32 p) { return (p & 0xffffff) > 0x202020; });
}

} // namespace

TEST_F(ScreenTest, BlitFlagsAndNullRectangles) {
    std::unique_ptr<ZelmorSurface> canvas(CreateSurface(16, 16)),
        red(fromPixels(std::vector<Uint32>(8, kRed), 4, 2));
    ASSERT_TRUE(canvas && red);
    SetRenderTarget(canvas.get());
    EXPECT_EQ(pixel(0, 0), kClear) << "a new canvas is transparent";
    // Flag 1: natural size at x, y whatever w and h say.
    SDL_Rect stale = {5, 6, 999, 0}, whole = {0, 0, 16, 16}, box = {2, 2, 8, 8}, part = {0, 0, 1, 1};
    red->blit(nullptr, &stale, 1, nullptr);
    EXPECT_TRUE(pixel(5, 6) == kRed && pixel(8, 7) == kRed && pixel(9, 6) == kClear && pixel(5, 8) == kClear);
    // Flag 0 stretches; a source rectangle with a null destination fills the target.
    ClearRect(canvas.get(), &whole, 0, 0, 0, 0);
    red->blit(nullptr, &box, 0, nullptr);
    EXPECT_TRUE(pixel(9, 9) == kRed && pixel(10, 10) == kClear);
    red->blit(&part, nullptr, 1, nullptr);
    EXPECT_EQ(pixel(15, 15), kRed);
    // Filling with a transparent colour replaces, it does not blend.
    FillRect(canvas.get(), &whole, 0, 0, 0, 0);
    EXPECT_EQ(readTargetPixels(0, 0, 16, 16), std::vector<Uint32>(256, kClear));
    SetRenderTarget(nullptr);
}

// colour = dst * dst, alpha = dstA * dstA - srcA * srcA, on a 0..1 scale, where the
// stamp lands, clipped to the canvas; the rest of the canvas stays as it was.
TEST_F(ScreenTest, EraserModeCutsHolesWithTheExactFormula) {
    std::unique_ptr<ZelmorSurface> canvas(CreateSurface(8, 4));
    SDL_Rect whole = {0, 0, 8, 4};
    FillRect(canvas.get(), &whole, 200, 100, 50, 255);
    // Left half of the mask opaque, right half with alpha 128.
    std::vector<Uint32> mask(8 * 4);
    for (int i = 0; i < 32; ++i)
        mask[i] = i % 8 < 4 ? 0xff123456 : 0x80123456;
    std::unique_ptr<ZelmorSurface> stamp(fromPixels(mask, 8, 4));
    stamp->setBlendMode(SDL_ComposeCustomBlendMode(
        SDL_BLENDFACTOR_ZERO, SDL_BLENDFACTOR_DST_COLOR, SDL_BLENDOPERATION_ADD, SDL_BLENDFACTOR_SRC_ALPHA,
        SDL_BLENDFACTOR_DST_ALPHA, SDL_BLENDOPERATION_REV_SUBTRACT));
    canvas->setBlendMode(SDL_BLENDMODE_BLEND);
    SDL_RendererInfo info;
    SDL_GetRendererInfo(gZwRenderer, &info);
    // GLES2 takes the composed mode itself; the software renderer refuses it and the
    // stamp runs on the CPU. Both must give the same pixels.
    EXPECT_EQ(static_cast<ZwSurface*>(stamp.get())->mSoftwareEraser, strcmp(info.name, "opengles2") != 0)
        << info.name;
    SetRenderTarget(canvas.get());
    // The stamp's right half lands on columns 0 to 3; then its top left corner on the
    // bottom right 2 x 2 pixels.
    SDL_Rect left = {-4, 0, 0, 0}, corner = {6, 2, 0, 0};
    stamp->blit(nullptr, &left, 1, nullptr);
    stamp->blit(nullptr, &corner, 1, nullptr);
    auto square = [](Uint32 v) { return (v * v + 127) / 255; };
    const Uint32 colour = (square(200) << 16) | (square(100) << 8) | square(50), kept = 0xffc86432;
    const Uint32 halfCut = ((255 - square(128)) << 24) | colour;
    EXPECT_EQ(
        std::vector<Uint32>({pixel(0, 0), pixel(3, 3), pixel(4, 0), pixel(5, 3), pixel(6, 1), pixel(7, 3)}),
        std::vector<Uint32>({halfCut, halfCut, kept, kept, kept, colour}))
        << "an opaque mask leaves alpha 0";
    SetRenderTarget(nullptr);
}

// A line too long for its rectangle ends inside it, and later frames reuse the rendered
// line; two Chinese characters must not render alike, as missing-glyph boxes would.
// Centring is seen in the runtime reference, on both renderers.
TEST_F(ScreenTest, DrawStringClipsCachesAndHasChineseGlyphs) {
    ASSERT_NE(gListFontTxt, nullptr) << "a font with Latin and Chinese must be installed";
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    const char* longText = "A title far too long for the narrow rectangle it is given on this screen";
    int before = zwTextRenders;
    for (int frame = 0; frame < 3; ++frame)
        DrawString(gListFontTxt, SDL_Rect{100, 100, 300, 40}, longText, gListColorTxt, 0, false, false);
    EXPECT_EQ(zwTextRenders, before + 1) << "later frames reuse the rendered line";
    EXPECT_EQ(lit(0, 0, 1280, 720), lit(100, 100, 300, 40)) << "clipped to the rectangle";
    EXPECT_GT(lit(350, 100, 50, 40), 0) << "the text runs up to the edge, ending in an ellipsis";

    std::vector<Uint32> shots[2];
    for (int i = 0; i < 2; ++i) {
        SDL_RenderClear(gZwRenderer);
        DrawString(gListFontTxt, SDL_Rect{0, 0, 200, 60}, i ? "\xE4\xB9\x90" : "\xE9\x9F\xB3", gListColorTxt,
                   0, false, false);
        shots[i] = readTargetPixels(0, 0, 200, 60);
    }
    EXPECT_NE(shots[0], shots[1]);
    EXPECT_GT(lit(0, 0, 200, 60), 20);
}

// The status and navigation bars, a status item and left, centred, Chinese and clipped
// text on the skin's background, against the committed picture.
TEST_F(ScreenTest, RuntimeScreenMatchesItsReference) {
    struct Sample : ZelmorWindow {
        Sample() : ZelmorWindow(8, 0) {}
        int draw() override {
            gBackground->blit(nullptr, nullptr, 1, nullptr);
            drawNavBar(0);
            draw_stat_icon_item_left(nullptr, drawStatBar(0), 650, "Playing");
            const char* lines[] = {"Left-aligned list text", "居中的中文文字 — centred Chinese text",
                                   "A very long line that has to end with an ellipsis because it cannot fit"};
            for (int i = 0; i < 3; ++i)
                DrawString(gListFontTxt, SDL_Rect{80, 140 + 70 * i, 900, 60}, lines[i], gListColorTxt, i == 1,
                           false, false);
            return 0;
        }
    } sample;
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
    gDefaultStringList.resize(8);
    gDefaultStringList.push_back("Music");
    SDL_RenderClear(gZwRenderer);
    sample.draw();
    EXPECT_EQ(matchesReference("runtime", {kClockArea}), "");
    gDefaultStringList.resize(8);
}
