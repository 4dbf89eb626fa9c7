// Pictures larger than the screen as the cover loader takes them: averaged down to the
// smallest scale the cover box needs and decoded again when a blit needs more; headers
// that declare more pixels than the device can hold refused before anything is
// allocated for them; a file cut short decoded as far as it goes.
#include "scratch_dir.h"
#include "screen_fixture.h"

#include <SDL2/SDL_image.h>

namespace {

using CoverScale = ScreenTest;

// A w x h picture saved by save (IMG_SavePNG, IMG_SaveJPG, SDL_SaveBMP), its pixels
// from colour(x, y); returns the file's bytes.
template <typename Colour, typename Save>
std::string saved(const std::string& path, int w, int h, Colour colour, Save save) {
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            static_cast<Uint32*>(image->pixels)[y * (image->pitch / 4) + x] = colour(x, y);
    EXPECT_EQ(save(image, path.c_str()), 0);
    SDL_FreeSurface(image);
    return readFile(path);
}

// Writes count bytes of value at offset, most significant first or last.
void patch(std::string& bytes, size_t at, Uint32 value, int count, bool bigEndian) {
    for (int i = 0; i < count; ++i)
        bytes[at + (bigEndian ? count - 1 - i : i)] = static_cast<char>(value >> (8 * i));
}

} // namespace

TEST_F(CoverScale, LargePngIsAveragedDownAndDecodedAgainWhenDrawnAtItsOwnSize) {
    ScratchDir dir("covers");
    const std::string path = dir.path() + "/stripes.png";
    saved(
        path, 1600, 900, [](int x, int) { return x % 2 ? 0xff000000u : 0xffffffffu; }, IMG_SavePNG);
    auto* cover = static_cast<ZwSurface*>(LoadZelmorSurface(nullptr, "./", path.c_str()));
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
    delete cover;
}

TEST_F(CoverScale, HugeDeclaredSizesAreRefusedAndACutFileDecodesAsFarAsItGoes) {
    ScratchDir dir("covers");
    auto grey = [](int, int) { return 0xff606060u; };
    auto saveJpeg = [](SDL_Surface* s, const char* p) { return IMG_SaveJPG(s, p, 90); };
    auto saveBmp = [](SDL_Surface* s, const char* p) { return SDL_SaveBMP(s, p); };
    std::string jpeg = saved(dir.path() + "/a.jpg", 16, 16, grey, saveJpeg);
    std::string png = saved(dir.path() + "/a.png", 16, 16, grey, IMG_SavePNG);
    std::string bmp = saved(dir.path() + "/a.bmp", 16, 16, grey, saveBmp);
    // 60000 x 60000: 14 GB as pixels, 56 million even at 1/8.
    const size_t frame = jpeg.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    for (size_t at : {frame + 5, frame + 7})
        patch(jpeg, at, 60000, 2, true);
    for (size_t at : {16, 20})
        patch(png, at, 60000, 4, true);
    for (size_t at : {18, 22})
        patch(bmp, at, 60000, 4, false);
    for (const auto& [name, bytes] : {std::pair{"huge.jpg", jpeg}, {"huge.png", png}, {"huge.bmp", bmp}}) {
        writeFile(dir.path() + "/" + name, bytes);
        EXPECT_EQ(LoadZelmorSurface(dir.path().c_str(), "./", name), nullptr) << name;
    }

    std::string photo = saved(
        dir.path() + "/photo.jpg", 3000, 2000,
        [](int x, int y) { return 0xff000000u | (x * 7 + y * 13) % 0xffffff; }, saveJpeg);
    writeFile(dir.path() + "/cut.jpg", photo.substr(0, photo.size() / 2));
    ZelmorSurface* cut = LoadZelmorSurface(dir.path().c_str(), "./", "cut.jpg");
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->getWidth(), 3000);
    delete cut;
}
