#include "screenshot.h"

#include "scratch_dir.h"
#include "zinternal.h"

#include <SDL2/SDL_image.h>

#include <cstdlib>
#include <sstream>

namespace {

std::string galleryPath(const std::string& name) {
    return std::string(MP_GALLERY_DIR "/") + name + ".png";
}

std::string referencePath(const std::string& name) {
    return std::string(MP_TEST_SOURCE_DIR "/tests/reference/") + name + ".png";
}

SDL_Surface* loadArgb(const std::string& path) {
    SDL_Surface* image = IMG_Load(path.c_str());
    if (!image)
        return nullptr;
    SDL_Surface* converted = SDL_ConvertSurfaceFormat(image, SDL_PIXELFORMAT_ARGB8888, 0);
    SDL_FreeSurface(image);
    return converted;
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
    for (int shift = 0; shift < 32; shift += 8) {
        int d = std::abs(static_cast<int>((a >> shift) & 0xff) - static_cast<int>((b >> shift) & 0xff));
        worst = d > worst ? d : worst;
    }
    return worst;
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
    SDL_Surface* shot = SDL_CreateRGBSurfaceWithFormatFrom(pixels.data(), kZwScreenWidth, kZwScreenHeight, 32,
                                                           kZwScreenWidth * 4, SDL_PIXELFORMAT_ARGB8888);
    if (!shot)
        return false;
    makeDirs(MP_GALLERY_DIR);
    bool saved = IMG_SavePNG(shot, galleryPath(name).c_str()) == 0;
    SDL_FreeSurface(shot);
    return saved;
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
    SDL_Surface* shot = loadArgb(galleryPath(name));
    SDL_Surface* reference = loadArgb(referencePath(name));
    std::ostringstream problem;
    if (!reference) {
        problem << "no reference " << referencePath(name) << " (create it with MP_UPDATE_REFERENCES=1)";
    } else if (!shot || shot->w != reference->w || shot->h != reference->h) {
        problem << "the screenshot's size differs from the reference's";
    } else {
        long differing = 0, counted = 0;
        for (int y = 0; y < shot->h; ++y) {
            const auto* a = reinterpret_cast<const Uint32*>(static_cast<const char*>(shot->pixels) + y * shot->pitch);
            const auto* b =
                reinterpret_cast<const Uint32*>(static_cast<const char*>(reference->pixels) + y * reference->pitch);
            for (int x = 0; x < shot->w; ++x) {
                if (ignored(x, y, ignore))
                    continue;
                ++counted;
                differing += channelDistance(a[x], b[x]) > 48;
            }
        }
        if (differing * 200 > counted)
            problem << differing << " of " << counted << " pixels differ from " << referencePath(name) << "; see "
                    << galleryPath(name);
    }
    SDL_FreeSurface(shot);
    SDL_FreeSurface(reference);
    return problem.str();
}
