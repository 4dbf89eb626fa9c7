// The toolkit's image loader as the covers use it: a large JPEG decoded at a reduced
// scale (the smallest whose longer side still fills the cover box) that keeps its own
// size for the screens, PNG pixels identical to SDL_image's, and other files handed on
// to SDL_image.
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <SDL2/SDL_image.h>

namespace {

// A red left half and a blue right half, with steps of green down the rows and some
// half-transparent dots, saved under path by save (IMG_SavePNG, SDL_SaveBMP, a JPEG writer).
template <typename Save> std::string saved(const std::string& path, int w, int h, Save save) {
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            static_cast<Uint32*>(image->pixels)[y * (image->pitch / 4) + x] =
                (x < w / 2 ? 0xffdc1e1eu : 0xff1e1edcu) ^ static_cast<Uint32>((y * 7 / h) << 8) ^
                (((x * 31 + y * 17) % 97 == 0) ? 0x7f000000u : 0u);
    EXPECT_EQ(save(image, path.c_str()), 0);
    SDL_FreeSurface(image);
    return path;
}

bool near(Uint32 p, Uint32 q) {
    for (int shift = 0; shift < 32; shift += 8)
        if (std::abs(static_cast<int>((p >> shift) & 0xff) - static_cast<int>((q >> shift) & 0xff)) > 16)
            return false;
    return true;
}

using CoverLoader = ScreenTest;

} // namespace

TEST_F(CoverLoader, LargeJpegIsDecodedReducedButKeepsItsSize) {
    ScratchDir dir("covers");
    std::string path = saved(dir.path() + "/cover.jpg", 3000, 3000,
                             [](SDL_Surface* s, const char* p) { return IMG_SaveJPG(s, p, 92); });
    auto* cover = static_cast<ZwSurface*>(LoadZelmorSurface(nullptr, "./", path.c_str()));
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(std::vector<int>({cover->getWidth(), cover->getHeight(), cover->mReduction, cover->mImage->w}),
              std::vector<int>({3000, 3000, 4, 750}));
    // Stretched into the cover box, the halves land where the full image puts them; a
    // source rectangle is in the image's own coordinates.
    SDL_Rect box = {80, 80, 400, 400}, right = {1500, 0, 1500, 3000};
    SDL_RenderClear(gZwRenderer);
    cover->blit(nullptr, &box, 0, nullptr);
    EXPECT_TRUE(near(pixel(100, 100), 0xffdc1e1e) && near(pixel(460, 100), 0xff1e1edc));
    EXPECT_EQ(pixel(79, 79) & 0xffffff, 0u);
    cover->blit(&right, &box, 0, nullptr);
    EXPECT_TRUE(near(pixel(100, 100), 0xff1e1edc));
    // The pixels for the blurred background, scaled to the size asked for.
    int pitch = 0, bpp = 4, w = 256, h = 256;
    auto* pixels = static_cast<Uint32*>(cover->getPixels(&pitch, &bpp, &w, &h));
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(w, 256);
    EXPECT_TRUE(near(pixels[128 * 256 + 20], 0xffdc1e1e));
    delete cover;
}

TEST_F(CoverLoader, PngPixelsMatchSdlImageExactlyAndOtherFilesGoToSdlImage) {
    ScratchDir dir("covers");
    std::string path = saved(dir.path() + "/cover.png", 301, 157, IMG_SavePNG);
    int width = 0, height = 0, reduction = 0;
    SDL_Surface* ours = zwDecodeImage(path.c_str(), &width, &height, &reduction);
    SDL_Surface* loaded = IMG_Load(path.c_str());
    SDL_Surface* reference = SDL_ConvertSurfaceFormat(loaded, SDL_PIXELFORMAT_ARGB8888, 0);
    SDL_FreeSurface(loaded);
    ASSERT_TRUE(ours && reference);
    EXPECT_TRUE(width == 301 && reduction == 1);
    for (int y = 0; y < 157; ++y)
        ASSERT_EQ(memcmp(static_cast<char*>(ours->pixels) + y * ours->pitch,
                         static_cast<char*>(reference->pixels) + y * reference->pitch, 301 * 4),
                  0)
            << "row " << y;
    SDL_FreeSurface(ours);
    SDL_FreeSurface(reference);

    // A BMP goes to SDL_image; found in the application's folder when the theme lacks it.
    saved(dir.path() + "/cover.bmp", 40, 30, [](SDL_Surface* s, const char* p) { return SDL_SaveBMP(s, p); });
    ZelmorSurface* bmp = LoadZelmorSurface("/nonexistent/", dir.path().c_str(), "cover.bmp");
    ASSERT_NE(bmp, nullptr);
    EXPECT_EQ(bmp->getWidth(), 40);
    delete bmp;
}
