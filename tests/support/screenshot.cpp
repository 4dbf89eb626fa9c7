#include "screenshot.h"

#include "scratch_dir.h"
#include "zinternal.h"

#include <SDL2/SDL_image.h>

#include <algorithm>
#include <cstdlib>

SurfacePtr loadArgb(const std::string& path) {
    SurfacePtr image(IMG_Load(path.c_str()), &SDL_FreeSurface);
    return SurfacePtr(image ? SDL_ConvertSurfaceFormat(image.get(), SDL_PIXELFORMAT_ARGB8888, 0) : nullptr,
                      &SDL_FreeSurface);
}

int channelDistance(Uint32 a, Uint32 b) {
    int worst = 0;
    for (int shift = 0; shift < 32; shift += 8)
        worst = std::max(
            worst, std::abs(static_cast<int>((a >> shift) & 0xff) - static_cast<int>((b >> shift) & 0xff)));
    return worst;
}

std::vector<Uint32> readTargetPixels(int x, int y, int w, int h) {
    std::vector<Uint32> pixels(static_cast<size_t>(w) * h);
    SDL_Rect area = {x, y, w, h};
    if (gZwRenderer)
        SDL_RenderReadPixels(gZwRenderer, &area, SDL_PIXELFORMAT_ARGB8888, pixels.data(), w * 4);
    return pixels;
}

bool saveScreenshot(const std::string& name) {
    std::vector<Uint32> pixels = readTargetPixels(0, 0, kZwScreenWidth, kZwScreenHeight);
    SurfacePtr shot(SDL_CreateRGBSurfaceWithFormatFrom(pixels.data(), kZwScreenWidth, kZwScreenHeight, 32,
                                                       kZwScreenWidth * 4, SDL_PIXELFORMAT_ARGB8888),
                    &SDL_FreeSurface);
    makeDirs(MP_GALLERY_DIR);
    return shot && IMG_SavePNG(shot.get(), (MP_GALLERY_DIR "/" + name + ".png").c_str()) == 0;
}

std::string matchesReference(const std::string& name, const std::vector<SDL_Rect>& ignore) {
    const std::string shotPath = MP_GALLERY_DIR "/" + name + ".png",
                      referencePath = MP_TEST_SOURCE_DIR "/tests/reference/" + name + ".png";
    if (!saveScreenshot(name))
        return "the screenshot could not be saved";
    const char* update = getenv("MP_UPDATE_REFERENCES");
    if (update && update[0] == '1') {
        writeFile(referencePath, readFile(shotPath));
        return "";
    }
    SurfacePtr shot = loadArgb(shotPath), reference = loadArgb(referencePath);
    if (!reference)
        return "no reference " + referencePath + " (create it with MP_UPDATE_REFERENCES=1)";
    if (!shot || shot->w != reference->w || shot->h != reference->h)
        return "the screenshot's size differs from the reference's";
    long differing = 0, counted = 0;
    for (int y = 0; y < shot->h; ++y) {
        for (int x = 0; x < shot->w; ++x) {
            SDL_Point point = {x, y};
            if (std::any_of(ignore.begin(), ignore.end(),
                            [&](const SDL_Rect& r) { return SDL_PointInRect(&point, &r); }))
                continue;
            ++counted;
            auto at = [&](const SDL_Surface* s) {
                return static_cast<const Uint32*>(s->pixels)[y * s->pitch / 4 + x];
            };
            differing += channelDistance(at(shot.get()), at(reference.get())) > 48;
        }
    }
    if (differing * 200 <= counted)
        return "";
    return std::to_string(differing) + " of " + std::to_string(counted) + " pixels differ from " +
           referencePath + "; see " + shotPath;
}
