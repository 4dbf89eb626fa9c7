// Surfaces and drawing on the software renderer, read back pixel by pixel.
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <SDL2/SDL_image.h>
#include <cmath>
#include <cstring>

namespace {

// A solid w x h image of one ARGB colour.
ZelmorSurface* solid(int w, int h, Uint32 argb) {
    std::vector<Uint32> pixels(static_cast<size_t>(w) * h, argb);
    return CreateFromPixels(pixels.data(), w, h, 32, w * 4, 0xff0000, 0xff00, 0xff, 0xff000000);
}

constexpr Uint32 kRed = 0xffff0000;
constexpr Uint32 kClear = 0x00000000;

} // namespace

TEST_F(ScreenTest, BlitFlagsAndNullRectangles) {
    ZelmorSurface* canvas = CreateSurface(16, 16);
    ZelmorSurface* red = solid(4, 2, kRed);
    ASSERT_TRUE(canvas && red);
    SetRenderTarget(canvas);
    EXPECT_EQ(pixel(0, 0), kClear) << "a new canvas is transparent";

    // Flag 1: natural size at x, y whatever w and h say.
    SDL_Rect stale = {5, 6, 999, 0};
    red->blit(nullptr, &stale, 1, nullptr);
    EXPECT_EQ(pixel(5, 6), kRed);
    EXPECT_EQ(pixel(8, 7), kRed);
    EXPECT_EQ(pixel(9, 6), kClear);
    EXPECT_EQ(pixel(5, 8), kClear);

    // Flag 0 stretches; a null destination is the whole target.
    SDL_Rect whole = {0, 0, 16, 16};
    ClearRect(canvas, &whole, 0, 0, 0, 0);
    SDL_Rect box = {2, 2, 8, 8};
    red->blit(nullptr, &box, 0, nullptr);
    EXPECT_EQ(pixel(9, 9), kRed);
    EXPECT_EQ(pixel(10, 10), kClear);
    ClearRect(canvas, &whole, 0, 0, 0, 0);
    SDL_Rect part = {0, 0, 1, 1};
    red->blit(&part, nullptr, 1, nullptr);
    EXPECT_EQ(pixel(0, 0), kRed);
    EXPECT_EQ(pixel(15, 15), kRed) << "a source rectangle with a null destination fills the target";

    FillRect(canvas, &whole, 0, 0, 0, 0);
    auto all = readPixels(0, 0, 16, 16);
    for (Uint32 p : all)
        ASSERT_EQ(p, kClear);
    SetRenderTarget(nullptr);
    delete red;
    delete canvas;
}

TEST_F(ScreenTest, EraserModeCutsHolesWithTheExactFormula) {
    ZelmorSurface* canvas = CreateSurface(8, 4);
    SDL_Rect whole = {0, 0, 8, 4};
    FillRect(canvas, &whole, 200, 100, 50, 255);
    // Left half of the mask opaque, right half with alpha 128.
    std::vector<Uint32> mask(8 * 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x)
            mask[y * 8 + x] = x < 4 ? 0xff123456 : 0x80123456;
    ZelmorSurface* stamp = CreateFromPixels(mask.data(), 8, 4, 32, 32, 0xff0000, 0xff00, 0xff, 0xff000000);
    SDL_BlendMode eraser = SDL_ComposeCustomBlendMode(
        SDL_BLENDFACTOR_ZERO, SDL_BLENDFACTOR_DST_COLOR, SDL_BLENDOPERATION_ADD, SDL_BLENDFACTOR_SRC_ALPHA,
        SDL_BLENDFACTOR_DST_ALPHA, SDL_BLENDOPERATION_REV_SUBTRACT);
    stamp->setBlendMode(eraser);
    canvas->setBlendMode(SDL_BLENDMODE_BLEND);
    SDL_RendererInfo info;
    SDL_GetRendererInfo(gZwRenderer, &info);
    // GLES2 takes the composed mode itself; the software renderer refuses it and the
    // stamp runs on the CPU. Both must give the same pixels.
    EXPECT_EQ(static_cast<ZwSurface*>(stamp)->mSoftwareEraser, strcmp(info.name, "opengles2") != 0)
        << info.name;
    SetRenderTarget(canvas);
    SDL_Rect at = {0, 0, 0, 0};
    stamp->blit(nullptr, &at, 1, nullptr);
    // colour = dst * dst, alpha = dstA * dstA - srcA * srcA, on a 0..1 scale.
    auto square = [](int v) { return (v * v + 127) / 255; };
    Uint32 colour = (static_cast<Uint32>(square(200)) << 16) | (square(100) << 8) | square(50);
    EXPECT_EQ(pixel(0, 0), colour) << "opaque mask: alpha 0";
    EXPECT_EQ(pixel(7, 3), (static_cast<Uint32>(255 - square(128)) << 24) | colour);
    SetRenderTarget(nullptr);
    delete stamp;
    delete canvas;
}

TEST_F(ScreenTest, GetPixelsDeliversTheProposedSizePacked) {
    ScratchDir dir("pixels");
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, 3000, 2000, 32, SDL_PIXELFORMAT_ARGB8888);
    SDL_Rect left = {0, 0, 1500, 2000}, right = {1500, 0, 1500, 2000};
    SDL_FillRect(image, &left, SDL_MapRGB(image->format, 220, 30, 30));
    SDL_FillRect(image, &right, SDL_MapRGB(image->format, 30, 30, 220));
    std::string path = dir.path() + "/cover.jpg";
    ASSERT_EQ(IMG_SaveJPG(image, path.c_str(), 90), 0);
    SDL_FreeSurface(image);

    ZelmorSurface* cover = LoadZelmorSurface("/nonexistent/", "./", path.c_str());
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(cover->getWidth(), 3000);
    int pitch = 0, bpp = 4, w = 256, h = 256;
    auto* pixels = static_cast<Uint32*>(cover->getPixels(&pitch, &bpp, &w, &h));
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(pitch, 1024);
    EXPECT_EQ(bpp, 4);
    EXPECT_EQ(w, 256);
    EXPECT_EQ(h, 256);
    auto near = [](Uint32 p, int r, int g, int b) {
        return std::abs(static_cast<int>((p >> 16) & 0xff) - r) < 12 &&
               std::abs(static_cast<int>((p >> 8) & 0xff) - g) < 12 &&
               std::abs(static_cast<int>(p & 0xff) - b) < 12;
    };
    EXPECT_TRUE(near(pixels[128 * 256 + 40], 220, 30, 30));
    EXPECT_TRUE(near(pixels[10 * 256 + 220], 30, 30, 220));
    EXPECT_EQ(pixels[0] >> 24, 0xffu);
    delete cover;
}

TEST_F(ScreenTest, LoadSearchesThemeThenAppDirectory) {
    EXPECT_EQ(LoadZelmorSurface("/nonexistent/", "./", "skin/none.png"), nullptr);
    ScratchDir dir("theme");
    makeDirs(dir.path() + "/skin");
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, 3, 5, 32, SDL_PIXELFORMAT_ARGB8888);
    ASSERT_EQ(IMG_SavePNG(image, (dir.path() + "/skin/x.png").c_str()), 0);
    SDL_FreeSurface(image);
    ZelmorSurface* found = LoadZelmorSurface("/nonexistent/", dir.path().c_str(), "skin/x.png");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->getHeight(), 5);
    delete found;
}

TEST_F(ScreenTest, ScaledSizeKeepsTheRatio) {
    int w = 0, h = 0;
    getScaledSizeKeepRatio(800, 400, 400, 400, w, h);
    EXPECT_EQ(w, 400);
    EXPECT_EQ(h, 200);
    getScaledSizeKeepRatio(300, 600, 400, 400, w, h);
    EXPECT_EQ(w, 200);
    EXPECT_EQ(h, 400);
}

namespace {

// Bounding box of the lit pixels of the screen.
SDL_Rect litBox(const std::vector<Uint32>& pixels, int width) {
    int minX = width, minY = 1 << 30, maxX = -1, maxY = -1;
    for (size_t i = 0; i < pixels.size(); ++i) {
        if ((pixels[i] & 0xffffff) > 0x202020) {
            int x = static_cast<int>(i % width), y = static_cast<int>(i / width);
            minX = std::min(minX, x);
            maxX = std::max(maxX, x);
            minY = std::min(minY, y);
            maxY = std::max(maxY, y);
        }
    }
    return {minX, minY, maxX - minX + 1, maxY - minY + 1};
}

} // namespace

TEST_F(ScreenTest, DrawStringCentresClipsAndCaches) {
    ASSERT_NE(gListFontTxt, nullptr) << "a font with Latin and Chinese must be installed";
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    DrawString(gListFontTxt, SDL_Rect{0, 0, 1280, 720}, "Quitting", gListColorTxt, 1, false, false);
    SDL_Rect box = litBox(readPixels(0, 0, 1280, 720), 1280);
    EXPECT_NEAR(box.x + box.w / 2, 640, 4);
    EXPECT_NEAR(box.y + box.h / 2, 360, 8);

    SDL_RenderClear(gZwRenderer);
    const char* longText = "A title far too long for the narrow rectangle it is given on this screen";
    int before = zwTextRenders;
    for (int frame = 0; frame < 3; ++frame)
        DrawString(gListFontTxt, SDL_Rect{100, 100, 300, 40}, longText, gListColorTxt, 0, false, false);
    EXPECT_EQ(zwTextRenders, before + 1) << "later frames reuse the rendered line";
    box = litBox(readPixels(0, 0, 1280, 720), 1280);
    EXPECT_GE(box.x, 100);
    EXPECT_LE(box.x + box.w, 400);
    EXPECT_GT(box.w, 250) << "the text runs up to the edge, ending in an ellipsis";
}

TEST_F(ScreenTest, ChineseTextDrawsRealGlyphs) {
    // Two different characters must not render alike, as missing-glyph boxes would.
    std::vector<std::vector<Uint32>> shots;
    for (const char* text : {"\xE9\x9F\xB3", "\xE4\xB9\x90"}) {
        SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
        SDL_RenderClear(gZwRenderer);
        DrawString(gListFontTxt, SDL_Rect{0, 0, 200, 60}, text, gListColorTxt, 0, false, false);
        shots.push_back(readPixels(0, 0, 200, 60));
    }
    EXPECT_NE(shots[0], shots[1]);
    EXPECT_GT(litBox(shots[0], 200).w, 10);
}

TEST_F(ScreenTest, GalleryOfTheRuntime) {
    struct Sample : ZelmorWindow {
        Sample() : ZelmorWindow(8, 0) {}
        int draw() override {
            if (gBackground)
                gBackground->blit(nullptr, nullptr, 1, nullptr);
            drawNavBar(0);
            int x = drawStatBar(0);
            draw_stat_icon_item_left(nullptr, x, 650, "Playing");
            const char* lines[] = {"Left-aligned list text", "居中的中文文字 — centred Chinese text",
                                   "A very long line that has to end with an ellipsis because it cannot fit"};
            for (int i = 0; i < 3; ++i)
                DrawString(gListFontTxt, SDL_Rect{80, 140 + 70 * i, 900, 60}, lines[i], gListColorTxt, i == 1,
                           false, false);
            return 0;
        }
    } sample;
    gDefaultStringList.resize(8);
    gDefaultStringList.push_back("Music");
    SDL_RenderClear(gZwRenderer);
    sample.draw();
    auto pixels = readPixels(0, 0, 1280, 720);
    makeDirs(MP_GALLERY_DIR);
    SDL_Surface* shot =
        SDL_CreateRGBSurfaceWithFormatFrom(pixels.data(), 1280, 720, 32, 1280 * 4, SDL_PIXELFORMAT_ARGB8888);
    ASSERT_EQ(IMG_SavePNG(shot, MP_GALLERY_DIR "/runtime.png"), 0);
    SDL_FreeSurface(shot);
    gDefaultStringList.resize(8);
}

namespace {

void savePng(const char* name) {
    std::vector<Uint32> pixels(1280 * 720);
    SDL_Rect all = {0, 0, 1280, 720};
    SDL_RenderReadPixels(gZwRenderer, &all, SDL_PIXELFORMAT_ARGB8888, pixels.data(), 1280 * 4);
    makeDirs(MP_GALLERY_DIR);
    SDL_Surface* shot =
        SDL_CreateRGBSurfaceWithFormatFrom(pixels.data(), 1280, 720, 32, 1280 * 4, SDL_PIXELFORMAT_ARGB8888);
    IMG_SavePNG(shot, (std::string(MP_GALLERY_DIR "/") + name).c_str());
    SDL_FreeSurface(shot);
}

void blitAt(ZelmorSurface* surface, int x, int y) {
    if (!surface)
        return;
    SDL_Rect at = {x, y, 0, 0};
    surface->blit(nullptr, &at, 1, nullptr);
}

} // namespace

TEST_F(ScreenTest, GalleryOfTheSkinOnANowPlayingLayout) {
    auto load = [](const char* file) { return LoadZelmorSurface(gThemePath, "./", file); };
    std::vector<ZelmorSurface*> owned;
    auto keep = [&](ZelmorSurface* s) {
        owned.push_back(s);
        return s;
    };
    ZelmorSurface* mask = keep(load("skin/bg-mask.png"));
    ZelmorSurface* cover = keep(load("skin/cover-default.png"));
    ASSERT_NE(gBackground, nullptr) << "skin/background.png";
    ASSERT_TRUE(mask && cover);
    SDL_RenderClear(gZwRenderer);
    gBackground->blit(nullptr, nullptr, 1, nullptr);
    mask->blit(nullptr, nullptr, 1, nullptr);

    // The spectrum effect: lit image cut by 48 eraser stamps, with peak markers.
    ZelmorSurface* canvas = keep(CreateSurface(1280, 720));
    ZelmorSurface* fg = keep(LoadZelmorSurface("./", "./", MP_TEST_SOURCE_DIR "/skin/vis/fft1/fg.png"));
    ZelmorSurface* eraser = keep(LoadZelmorSurface("./", "./", MP_TEST_SOURCE_DIR "/skin/vis/fft1/mask.png"));
    ZelmorSurface* peak = keep(LoadZelmorSurface("./", "./", MP_TEST_SOURCE_DIR "/skin/vis/fft1/peak.png"));
    ASSERT_TRUE(canvas && fg && eraser && peak);
    eraser->setBlendMode(SDL_ComposeCustomBlendMode(
        SDL_BLENDFACTOR_ZERO, SDL_BLENDFACTOR_DST_COLOR, SDL_BLENDOPERATION_ADD, SDL_BLENDFACTOR_SRC_ALPHA,
        SDL_BLENDFACTOR_DST_ALPHA, SDL_BLENDOPERATION_REV_SUBTRACT));
    canvas->setBlendMode(SDL_BLENDMODE_BLEND);
    SetRenderTarget(canvas);
    const int cw = 1280, ch = 720, fw = fg->getWidth(), fh = fg->getHeight(), mw = eraser->getWidth(),
              mh = eraser->getHeight();
    blitAt(fg, (cw - fw) / 2, ch - fh);
    for (int b = 0; b < 48; ++b) {
        double value = 1.5 + 3.5 * std::fabs(std::sin(b * 0.37)) * (1.0 - b / 70.0);
        int bar = static_cast<int>(fh * value / 6.0);
        int x = (cw - fw) / 2 + b * mw;
        blitAt(eraser, x, (ch - mh) + fh - bar);
        int p = static_cast<int>(fh * (value + 0.4) / 6.0);
        if (p > peak->getHeight())
            blitAt(peak, x + (mw - peak->getWidth()) / 2, ch - p - peak->getHeight());
    }
    SetRenderTarget(nullptr);
    blitAt(canvas, 0, 0);

    SDL_Rect box = {80, 80, 400, 400};
    cover->blit(nullptr, &box, 0, nullptr);
    const char* controls[] = {"skin/btn-random-n.png", "skin/btn-prev-n.png", "skin/btn-pause-f.png",
                              "skin/ic-next-n.png", "skin/btn-playlist-n.png"};
    const char* hints[] = {"skin/tips-x.png", "skin/tips-L.png", "skin/tips-START.png", "skin/tips-R.png",
                           "skin/tips-SELECT.png"};
    const int xs[] = {585, 705, 825, 945, 1065}, hintXs[] = {609, 729, 825, 969, 1065};
    for (int i = 0; i < 5; ++i) {
        blitAt(keep(load(controls[i])), xs[i], 361);
        blitAt(keep(load(hints[i])), hintXs[i], 451);
    }
    blitAt(keep(load("skin/progress-bg-n.png")), 530, 274);
    blitAt(keep(load("skin/progress-slider-left-n.png")), 530, 274);
    ZelmorSurface* middle = keep(load("skin/progress-slider-middle-n.png"));
    for (int x = 536; x < 536 + 260; x += middle->getWidth())
        blitAt(middle, x, 274);
    SDL_Color dim = {255, 255, 255, 128};
    DrawString(gPopupFontTitle, SDL_Rect{530, 142, 750, 50}, "Night Drive", gListColorTxt, 0, false, false);
    DrawString(gNavFont, SDL_Rect{530, 200, 750, 40}, "The Example Ensemble — 夜行", dim, 0, false, false);
    DrawString(gStatFont, SDL_Rect{530, 300, 670, 20}, "01:42", dim, 0, false, false);
    DrawString(gStatFont, SDL_Rect{1141, 300, 139, 20}, "04:27", dim, 0, false, false);
    savePng("nowplaying.png");
    // The lit part of a bar shows, and the eraser cut the foreground above it.
    EXPECT_NE(pixel(40 + 12, 715) & 0xffffff, 0u);
    for (ZelmorSurface* s : owned)
        delete s;
}
