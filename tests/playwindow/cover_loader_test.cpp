// The toolkit's image loader as the covers use it: a large JPEG decoded at a reduced
// scale that still keeps its own size for the screens, PNG pixels identical to SDL_image's,
// and files the fast decoders refuse handed on to SDL_image.
#include "scratch_dir.h"
#include "tests/toolkit/screen_fixture.h"

#include <SDL2/SDL_image.h>

namespace {

SDL_Surface* pattern(int w, int h) {
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            static_cast<Uint32*>(image->pixels)[y * (image->pitch / 4) + x] =
                (x < w / 2 ? 0xffdc1e1eu : 0xff1e1edcu) ^ static_cast<Uint32>((y * 7 / h) << 8) ^
                (((x * 31 + y * 17) % 97 == 0) ? 0x7f000000u : 0u);
    return image;
}

bool near(Uint32 p, Uint32 q, int tolerance) {
    for (int shift = 0; shift < 32; shift += 8)
        if (std::abs(static_cast<int>((p >> shift) & 0xff) - static_cast<int>((q >> shift) & 0xff)) > tolerance)
            return false;
    return true;
}

} // namespace

TEST(JpegReduction, LargestScaleThatKeepsTheScreenHeight) {
    EXPECT_EQ(zwJpegReduction(500, 500), 1);
    EXPECT_EQ(zwJpegReduction(1438, 3000), 1);
    EXPECT_EQ(zwJpegReduction(1439, 3000), 2) << "libjpeg rounds a reduced side up: 720";
    EXPECT_EQ(zwJpegReduction(1440, 1440), 2);
    EXPECT_EQ(zwJpegReduction(3000, 3000), 4) << "750 at a quarter, 375 at an eighth";
    EXPECT_EQ(zwJpegReduction(6000, 5760), 8);
    EXPECT_EQ(zwJpegReduction(3000, 2000), 2);
}

TEST_F(ScreenTest, LargeJpegIsDecodedReducedButKeepsItsSize) {
    ScratchDir dir("jpeg");
    SDL_Surface* image = pattern(3000, 3000);
    std::string path = dir.path() + "/cover.jpg";
    ASSERT_EQ(IMG_SaveJPG(image, path.c_str(), 92), 0);
    SDL_FreeSurface(image);
    auto* cover = static_cast<ZwSurface*>(LoadZelmorSurface(nullptr, "./", path.c_str()));
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(cover->getWidth(), 3000);
    EXPECT_EQ(cover->getHeight(), 3000);
    EXPECT_EQ(cover->mReduction, 4);
    EXPECT_EQ(cover->mImage->w, 750);

    // Stretched into the cover box, the halves land where the full image puts them.
    SDL_Rect box = {80, 80, 400, 400};
    SDL_RenderClear(gZwRenderer);
    cover->blit(nullptr, &box, 0, nullptr);
    EXPECT_TRUE(near(pixel(100, 100), 0xffdc1e1e, 16));
    EXPECT_TRUE(near(pixel(460, 100), 0xff1e1edc, 16));
    EXPECT_EQ(pixel(79, 79) & 0xffffff, 0u);
    // A source rectangle in the image's own coordinates: its right half.
    SDL_Rect right = {1500, 0, 1500, 3000};
    cover->blit(&right, &box, 0, nullptr);
    EXPECT_TRUE(near(pixel(100, 100), 0xff1e1edc, 16));

    int pitch = 0, bpp = 4, w = 256, h = 256;
    auto* pixels = static_cast<Uint32*>(cover->getPixels(&pitch, &bpp, &w, &h));
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(w, 256);
    EXPECT_TRUE(near(pixels[128 * 256 + 20], 0xffdc1e1e, 16));
    delete cover;
}

TEST_F(ScreenTest, PngPixelsMatchSdlImageExactly) {
    ScratchDir dir("png");
    SDL_Surface* image = pattern(301, 157);
    std::string path = dir.path() + "/cover.png";
    ASSERT_EQ(IMG_SavePNG(image, path.c_str()), 0);
    SDL_FreeSurface(image);
    int width = 0, height = 0, reduction = 0;
    SDL_Surface* ours = zwDecodeImage(path.c_str(), &width, &height, &reduction);
    SDL_Surface* loaded = IMG_Load(path.c_str());
    ASSERT_NE(loaded, nullptr);
    SDL_Surface* reference = SDL_ConvertSurfaceFormat(loaded, SDL_PIXELFORMAT_ARGB8888, 0);
    SDL_FreeSurface(loaded);
    ASSERT_TRUE(ours && reference);
    EXPECT_EQ(width, 301);
    EXPECT_EQ(reduction, 1);
    for (int y = 0; y < 157; ++y)
        ASSERT_EQ(memcmp(static_cast<char*>(ours->pixels) + y * ours->pitch,
                         static_cast<char*>(reference->pixels) + y * reference->pitch, 301 * 4),
                  0)
            << "row " << y;
    SDL_FreeSurface(ours);
    SDL_FreeSurface(reference);
}

TEST_F(ScreenTest, FilesTheFastDecodersRefuseGoToSdlImage) {
    ScratchDir dir("odd");
    SDL_Surface* image = pattern(40, 30);
    std::string bmp = dir.path() + "/cover.bmp";
    ASSERT_EQ(SDL_SaveBMP(image, bmp.c_str()), 0);
    SDL_FreeSurface(image);
    ZelmorSurface* loaded = LoadZelmorSurface(nullptr, "./", bmp.c_str());
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->getWidth(), 40);
    delete loaded;
    // A JPEG cut short after its header and a PNG signature with nothing behind it.
    std::string jpeg = dir.path() + "/cut.jpg";
    writeFile(jpeg, std::string("\xff\xd8\xff\xe0\x00\x10JFIF", 10));
    EXPECT_EQ(LoadZelmorSurface(nullptr, "./", jpeg.c_str()), nullptr);
    std::string png = dir.path() + "/cut.png";
    writeFile(png, std::string("\x89PNG\r\n\x1a\n", 8));
    EXPECT_EQ(LoadZelmorSurface(nullptr, "./", png.c_str()), nullptr);
}
