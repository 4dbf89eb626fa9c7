#include "screenshot.h"

#include "scratch_dir.h"
#include "zinternal.h"

#include <SDL2/SDL_image.h>

#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

using SurfacePtr = std::unique_ptr<SDL_Surface, decltype(&SDL_FreeSurface)>;

std::string galleryPath(const std::string& name) {
    return std::string(MP_GALLERY_DIR "/") + name + ".png";
}

std::string referencePath(const std::string& name) {
    return std::string(MP_TEST_SOURCE_DIR "/tests/reference/") + name + ".png";
}

SurfacePtr loadArgb(const std::string& path) {
    SurfacePtr image(IMG_Load(path.c_str()), &SDL_FreeSurface);
    return SurfacePtr(image ? SDL_ConvertSurfaceFormat(image.get(), SDL_PIXELFORMAT_ARGB8888, 0) : nullptr,
                      &SDL_FreeSurface);
}

bool ignored(int x, int y, const std::vector<SDL_Rect>& ignore) {
    SDL_Point point = {x, y};
    for (const SDL_Rect& rect : ignore) {
        if (SDL_PointInRect(&point, &rect))
            return true;
    }
    return false;
}

int channelDistance(Uint32 a, Uint32 b) {
    int worst = 0;
    for (int shift = 0; shift < 32; shift += 8)
        worst = std::max(worst, std::abs(static_cast<int>((a >> shift) & 0xff) - static_cast<int>((b >> shift) & 0xff)));
    return worst;
}

Uint32 at(const SDL_Surface* surface, int x, int y) {
    return reinterpret_cast<const Uint32*>(static_cast<const char*>(surface->pixels) + y * surface->pitch)[x];
}

} // namespace

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
    return shot && IMG_SavePNG(shot.get(), galleryPath(name).c_str()) == 0;
}

std::string matchesReference(const std::string& name, const std::vector<SDL_Rect>& ignore) {
    if (!saveScreenshot(name))
        return "the screenshot could not be saved";
    const char* update = getenv("MP_UPDATE_REFERENCES");
    if (update && update[0] == '1') {
        makeDirs(MP_TEST_SOURCE_DIR "/tests/reference");
        writeFile(referencePath(name), readFile(galleryPath(name)));
        return "";
    }
    SurfacePtr shot = loadArgb(galleryPath(name)), reference = loadArgb(referencePath(name));
    std::ostringstream problem;
    if (!reference)
        return "no reference " + referencePath(name) + " (create it with MP_UPDATE_REFERENCES=1)";
    if (!shot || shot->w != reference->w || shot->h != reference->h)
        return "the screenshot's size differs from the reference's";
    long differing = 0, counted = 0;
    for (int y = 0; y < shot->h; ++y) {
        for (int x = 0; x < shot->w; ++x) {
            if (ignored(x, y, ignore))
                continue;
            ++counted;
            differing += channelDistance(at(shot.get(), x, y), at(reference.get(), x, y)) > 48;
        }
    }
    if (differing * 200 > counted)
        problem << differing << " of " << counted << " pixels differ from " << referencePath(name) << "; see "
                << galleryPath(name);
    return problem.str();
}
