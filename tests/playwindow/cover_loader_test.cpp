// The toolkit's image loader as the covers use it: a large picture decoded at the
// smallest scale whose longer side still fills the cover box, keeping its own size for
// the screens, and decoded again when a blit needs more; PNG pixels identical to
// SDL_image's; other files handed on to SDL_image; headers that declare more pixels than
// the device can hold refused before anything is allocated for them; a file cut short
// decoded as far as it goes.
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <SDL2/SDL_image.h>

#include <memory>

namespace {

// A w x h picture saved under path as a JPEG, a BMP or a PNG by its suffix, its pixels
// from colour(x, y); the file's bytes.
template <typename Colour> std::string saved(const std::string& path, int w, int h, Colour colour) {
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            static_cast<Uint32*>(image->pixels)[y * (image->pitch / 4) + x] = colour(x, y);
    const std::string suffix = path.substr(path.size() - 3);
    EXPECT_EQ(suffix == "jpg"   ? IMG_SaveJPG(image, path.c_str(), 90)
              : suffix == "bmp" ? SDL_SaveBMP(image, path.c_str())
                                : IMG_SavePNG(image, path.c_str()),
              0);
    SDL_FreeSurface(image);
    return readFile(path);
}

// A red left half and a blue right half, with steps of green down the rows and some
// half-transparent dots.
auto halves(int w, int h) {
    return [=](int x, int y) {
        return (x < w / 2 ? 0xffdc1e1eu : 0xff1e1edcu) ^ static_cast<Uint32>((y * 7 / h) << 8) ^
               (((x * 31 + y * 17) % 97 == 0) ? 0x7f000000u : 0u);
    };
}

bool near(Uint32 p, Uint32 q) {
    return channelDistance(p, q) <= 16;
}

// Declares 60000 x 60000 in a picture's header: the width and the height at their
// offsets, each count bytes, most significant first or last.
void declareHuge(std::string& bytes, size_t widthAt, size_t heightAt, int count, bool bigEndian) {
    for (size_t at : {widthAt, heightAt})
        for (int i = 0; i < count; ++i)
            bytes[at + (bigEndian ? count - 1 - i : i)] = static_cast<char>(60000 >> (8 * i));
}

class Covers : public ScreenTest {
protected:
    ScratchDir dir{"covers"};
};

} // namespace

TEST_F(Covers, LargeJpegIsDecodedReducedButKeepsItsSize) {
    const std::string path = dir.path() + "/cover.jpg";
    saved(path, 3000, 3000, halves(3000, 3000));
    std::unique_ptr<ZwSurface> cover(static_cast<ZwSurface*>(LoadZelmorSurface(nullptr, "./", path.c_str())));
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
}

TEST_F(Covers, LargePngIsAveragedDownAndDecodedAgainWhenDrawnAtItsOwnSize) {
    const std::string path = dir.path() + "/stripes.png";
    saved(path, 1600, 900, [](int x, int) { return x % 2 ? 0xff000000u : 0xffffffffu; });
    std::unique_ptr<ZwSurface> cover(static_cast<ZwSurface*>(LoadZelmorSurface(nullptr, "./", path.c_str())));
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(std::vector<int>({cover->getWidth(), cover->mReduction, cover->mImage->w, cover->mImage->h}),
              std::vector<int>({1600, 4, 400, 225}))
        << "1/4 keeps the longer side at the cover box's 400";
    EXPECT_EQ(static_cast<Uint32*>(cover->mImage->pixels)[0], 0xff808080u) << "the mean of a 4 x 4 block";
    SDL_Rect box = {80, 80, 400, 225}, own = {0, 0, 0, 0};
    cover->blit(nullptr, &box, 0, nullptr);
    EXPECT_TRUE(pixel(81, 81) == 0xff808080u && cover->mReduction == 4) << "the cover box needs no more";
    cover->blit(nullptr, &own, 1, nullptr);
    EXPECT_TRUE(pixel(0, 0) == 0xffffffffu && pixel(1, 0) == 0xff000000u && cover->mReduction == 1)
        << "drawn at its own size, it is decoded again whole";
}

TEST_F(Covers, PngPixelsMatchSdlImageExactlyAndOtherFilesGoToSdlImage) {
    const std::string path = dir.path() + "/cover.png";
    saved(path, 301, 157, halves(301, 157));
    int width = 0, height = 0, reduction = 0;
    SurfacePtr ours(zwDecodeImage(path.c_str(), &width, &height, &reduction), &SDL_FreeSurface),
        reference = loadArgb(path);
    ASSERT_TRUE(ours && reference);
    EXPECT_TRUE(width == 301 && reduction == 1);
    for (int y = 0; y < 157; ++y)
        ASSERT_EQ(memcmp(static_cast<char*>(ours->pixels) + y * ours->pitch,
                         static_cast<char*>(reference->pixels) + y * reference->pitch, 301 * 4),
                  0)
            << "row " << y;

    // A BMP goes to SDL_image; found in the application's folder when the theme lacks it.
    saved(dir.path() + "/cover.bmp", 40, 30, halves(40, 30));
    std::unique_ptr<ZelmorSurface> bmp(LoadZelmorSurface("/nonexistent/", dir.path().c_str(), "cover.bmp"));
    ASSERT_NE(bmp, nullptr);
    EXPECT_EQ(bmp->getWidth(), 40);
}

TEST_F(Covers, HugeDeclaredSizesAreRefusedAndACutFileDecodesAsFarAsItGoes) {
    auto grey = [](int, int) { return 0xff606060u; };
    std::string jpeg = saved(dir.path() + "/a.jpg", 16, 16, grey),
                png = saved(dir.path() + "/a.png", 16, 16, grey),
                bmp = saved(dir.path() + "/a.bmp", 16, 16, grey);
    // 60000 x 60000: 14 GB as pixels, 56 million even at 1/8.
    const size_t frame = jpeg.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    declareHuge(jpeg, frame + 7, frame + 5, 2, true);
    declareHuge(png, 16, 20, 4, true);
    declareHuge(bmp, 18, 22, 4, false);
    for (const auto& [name, bytes] : {std::pair{"huge.jpg", jpeg}, {"huge.png", png}, {"huge.bmp", bmp}}) {
        writeFile(dir.path() + "/" + name, bytes);
        EXPECT_EQ(LoadZelmorSurface(dir.path().c_str(), "./", name), nullptr) << name;
    }

    std::string photo = saved(dir.path() + "/photo.jpg", 3000, 2000,
                              [](int x, int y) { return 0xff000000u | (x * 7 + y * 13) % 0xffffff; });
    writeFile(dir.path() + "/cut.jpg", photo.substr(0, photo.size() / 2));
    std::unique_ptr<ZelmorSurface> cut(LoadZelmorSurface(dir.path().c_str(), "./", "cut.jpg"));
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->getWidth(), 3000);
}
