// Screen, surfaces and drawing on an SDL renderer. Surfaces are textures; images keep
// a CPU copy for getPixels and for the software form of the eraser blend mode.
#include "zinternal.h"

#include <SDL2/SDL_image.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

SDL_Window* gZwWindow = nullptr;
SDL_Renderer* gZwRenderer = nullptr;

namespace {

ZwSurface* sRenderTarget = nullptr;

// The eraser of the spectrum: colour = dst * dst, alpha = dstA * dstA - srcA * srcA.
SDL_BlendMode eraserMode() {
    return SDL_ComposeCustomBlendMode(SDL_BLENDFACTOR_ZERO, SDL_BLENDFACTOR_DST_COLOR, SDL_BLENDOPERATION_ADD,
                                      SDL_BLENDFACTOR_SRC_ALPHA, SDL_BLENDFACTOR_DST_ALPHA,
                                      SDL_BLENDOPERATION_REV_SUBTRACT);
}

SDL_Surface* toArgb(SDL_Surface* surface) {
    if (!surface)
        return nullptr;
    // The toolkit's own decoders already deliver ARGB8888: no copy.
    if (surface->format->format == SDL_PIXELFORMAT_ARGB8888)
        return surface;
    SDL_Surface* converted = SDL_ConvertSurfaceFormat(surface, SDL_PIXELFORMAT_ARGB8888, 0);
    SDL_FreeSurface(surface);
    return converted;
}

} // namespace

ZwSurface::ZwSurface(SDL_Texture* texture, int width, int height, SDL_Surface* image, bool target)
    : mTexture(texture), mWidth(width), mHeight(height), mImage(image), mTarget(target) {
    SDL_SetTextureBlendMode(mTexture, SDL_BLENDMODE_BLEND);
}

ZwSurface::~ZwSurface() {
    if (sRenderTarget == this)
        SetRenderTarget(nullptr);
    zwForgetTexture(mTexture);
    if (mTexture)
        SDL_DestroyTexture(mTexture);
    if (mImage)
        SDL_FreeSurface(mImage);
    free(mPixels);
}

void ZwSurface::setBlendMode(int mode) {
    mSoftwareEraser = false;
    if (SDL_SetTextureBlendMode(mTexture, static_cast<SDL_BlendMode>(mode)) != 0) {
        // The renderer refuses the composed mode: stamp it on the CPU instead.
        if (static_cast<SDL_BlendMode>(mode) == eraserMode() && mImage)
            mSoftwareEraser = true;
        else
            SDL_SetTextureBlendMode(mTexture, SDL_BLENDMODE_BLEND);
    }
}

void ZwSurface::setAlphaMod(Uint8 alpha) {
    SDL_SetTextureAlphaMod(mTexture, alpha);
}

void ZwSurface::setColorMod(Uint8 r, Uint8 g, Uint8 b) {
    SDL_SetTextureColorMod(mTexture, r, g, b);
}

void* ZwSurface::getNativeHandle() {
    return mTexture;
}

int ZwSurface::getWidth() {
    return mWidth;
}

int ZwSurface::getHeight() {
    return mHeight;
}

void ZwSurface::blit(SDL_Rect* src, SDL_Rect* dst, int flag, void*) {
    if (!gZwRenderer)
        return;
    SDL_Rect source = src ? *src : SDL_Rect{0, 0, mWidth, mHeight};
    SDL_Rect destination;
    if (!dst) {
        int w = kZwScreenWidth, h = kZwScreenHeight;
        if (sRenderTarget) {
            w = sRenderTarget->mWidth;
            h = sRenderTarget->mHeight;
        }
        destination = {0, 0, w, h};
    } else if (flag == 1) {
        destination = {dst->x, dst->y, source.w, source.h};
    } else {
        destination = *dst;
    }
    // The part of the texture behind the source rectangle: the same unless the image
    // was decoded reduced, and then with at least as many pixels as it is drawn with.
    SDL_Rect texel = source;
    if (mReduction > 1) {
        zwSharpen(this, source, destination);
        texel = src ? SDL_Rect{src->x / mReduction, src->y / mReduction, std::max(1, src->w / mReduction),
                               std::max(1, src->h / mReduction)}
                    : SDL_Rect{0, 0, mImage->w, mImage->h};
    }
    if (mSoftwareEraser && sRenderTarget) {
        sRenderTarget->eraseWith(mImage, texel, destination);
        return;
    }
    zwRenderCopy(mTexture, texel, destination);
}

namespace {

// v * v on the 0..255 scale, rounded down from half: (v * v + 127) / 255, in 16 bits and
// without the division, so that the compiler runs the loops below on vectors.
inline Uint8 square255(Uint8 v) {
    const Uint16 t = static_cast<Uint16>(v * v + 127);
    return static_cast<Uint8>(static_cast<Uint16>(t + 1 + (t >> 8)) >> 8);
}

// One run of canvas pixels under the stamp's: colour squared, alpha squared less the
// stamp's alpha squared. Every byte is squared first, then the alpha bytes cut.
void eraseRun(Uint32* canvas, const Uint32* stamp, int count) {
    auto* bytes = reinterpret_cast<Uint8*>(canvas);
    for (int i = 0; i < count * 4; ++i)
        bytes[i] = square255(bytes[i]);
    for (int x = 0; x < count; ++x) {
        const Uint32 kept = canvas[x] >> 24, cut = square255(static_cast<Uint8>(stamp[x] >> 24));
        canvas[x] = (canvas[x] & 0xffffff) | (kept > cut ? kept - cut : 0) << 24;
    }
}

} // namespace

// Reads the target's pixels, applies the stamp where it lands and writes them back.
void ZwSurface::eraseWith(SDL_Surface* stamp, const SDL_Rect& source, const SDL_Rect& destination) {
    SDL_Rect area;
    SDL_Rect bounds = {0, 0, mWidth, mHeight};
    if (!SDL_IntersectRect(&destination, &bounds, &area))
        return;
    const int pitch = area.w * 4;
    // The window thread's scratch rows, kept from stamp to stamp.
    static std::vector<Uint32> sCanvas;
    sCanvas.resize(static_cast<size_t>(area.w) * area.h);
    Uint32* canvas = sCanvas.data();
    if (SDL_RenderReadPixels(gZwRenderer, &area, SDL_PIXELFORMAT_ARGB8888, canvas, pitch) != 0)
        return;
    SDL_LockSurface(stamp);
    const bool natural = source.w == destination.w && source.h == destination.h;
    const int stampStride = stamp->pitch / 4;
    for (int y = 0; y < area.h; ++y) {
        // Nearest source pixel of a possibly stretched stamp.
        int sy = natural ? source.y + (y + area.y - destination.y)
                         : source.y + (y + area.y - destination.y) * source.h / std::max(1, destination.h);
        if (sy < 0 || sy >= stamp->h)
            continue;
        const Uint32* stampRow = static_cast<const Uint32*>(stamp->pixels) + sy * stampStride;
        Uint32* row = canvas + y * area.w;
        if (natural) {
            // The stamp's column under canvas column 0, and the columns it covers.
            const int first = source.x + area.x - destination.x;
            const int begin = std::max(0, -first), end = std::min(area.w, stamp->w - first);
            if (begin < end)
                eraseRun(row + begin, stampRow + first + begin, end - begin);
            continue;
        }
        for (int x = 0; x < area.w; ++x) {
            int sx = source.x + (x + area.x - destination.x) * source.w / std::max(1, destination.w);
            if (sx >= 0 && sx < stamp->w)
                eraseRun(row + x, stampRow + sx, 1);
        }
    }
    SDL_UnlockSurface(stamp);
    SDL_UpdateTexture(mTexture, &area, canvas, pitch);
}

void* ZwSurface::getPixels(int* pitch, int* bytesPerPixel, int* width, int* height) {
    if (!mImage || !pitch || !bytesPerPixel || !width || !height)
        return nullptr;
    // Deliver the proposed size when one is asked for, so that work on the pixels costs
    // the same whatever the image's own size.
    int w = *width > 0 ? *width : mWidth;
    int h = *height > 0 ? *height : mHeight;
    SDL_Surface* scaled = SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
    if (!scaled)
        return nullptr;
    SDL_SetSurfaceBlendMode(mImage, SDL_BLENDMODE_NONE);
    SDL_Rect whole = {0, 0, w, h};
    int rc = (w == mImage->w && h == mImage->h) ? SDL_BlitSurface(mImage, nullptr, scaled, nullptr)
                                           : SDL_BlitScaled(mImage, nullptr, scaled, &whole);
    void* block = nullptr;
    if (rc == 0) {
        free(mPixels);
        mPixels = malloc(static_cast<size_t>(w) * h * 4);
        if (mPixels) {
            for (int y = 0; y < h; ++y)
                memcpy(static_cast<char*>(mPixels) + static_cast<size_t>(y) * w * 4,
                       static_cast<char*>(scaled->pixels) + static_cast<size_t>(y) * scaled->pitch,
                       static_cast<size_t>(w) * 4);
            block = mPixels;
            *pitch = w * 4;
            *bytesPerPixel = 4;
            *width = w;
            *height = h;
        }
    }
    SDL_FreeSurface(scaled);
    return block;
}

void zwBlitAt(ZelmorSurface* surface, int x, int y) {
    if (!surface)
        return;
    SDL_Rect at = {x, y, 0, 0};
    surface->blit(nullptr, &at, 1, nullptr);
}

ZwSurface* zwSurfaceFromImage(SDL_Surface* image) {
    image = toArgb(image);
    if (!image || !gZwRenderer) {
        if (image)
            SDL_FreeSurface(image);
        return nullptr;
    }
    SDL_Texture* texture = SDL_CreateTextureFromSurface(gZwRenderer, image);
    if (!texture) {
        SDL_FreeSurface(image);
        return nullptr;
    }
    return new ZwSurface(texture, image->w, image->h, image, false);
}

ZelmorSurface* CreateSurface(int width, int height) {
    if (!gZwRenderer || width <= 0 || height <= 0)
        return nullptr;
    SDL_Texture* texture =
        SDL_CreateTexture(gZwRenderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_TARGET, width, height);
    if (!texture)
        return nullptr;
    auto* surface = new ZwSurface(texture, width, height, nullptr, true);
    SDL_Rect whole = {0, 0, width, height};
    ClearRect(surface, &whole, 0, 0, 0, 0);
    return surface;
}

ZelmorSurface* CreateFromPixels(void* pixels, int width, int height, int depth, int pitch, unsigned redMask,
                                unsigned greenMask, unsigned blueMask, unsigned alphaMask) {
    if (!pixels || width <= 0 || height <= 0)
        return nullptr;
    // The pixels are copied: the block stays with whoever handed it in.
    SDL_Surface* wrapped = SDL_CreateRGBSurfaceFrom(pixels, width, height, depth, pitch, redMask, greenMask,
                                                    blueMask, alphaMask);
    if (!wrapped)
        return nullptr;
    SDL_Surface* copy = SDL_ConvertSurfaceFormat(wrapped, SDL_PIXELFORMAT_ARGB8888, 0);
    SDL_FreeSurface(wrapped);
    return zwSurfaceFromImage(copy);
}

void SetRenderTarget(ZelmorSurface* target) {
    auto* surface = static_cast<ZwSurface*>(target);
    if (surface && !surface->mTarget)
        return;
    sRenderTarget = surface;
    if (surface)
        zwNoteOffscreenDrawing();
    if (gZwRenderer)
        SDL_SetRenderTarget(gZwRenderer, surface ? surface->mTexture : nullptr);
}

ZwSurface* zwCurrentTarget() {
    return sRenderTarget;
}

namespace {

void fillOn(ZelmorSurface* surface, SDL_Rect* rect, Uint8 r, Uint8 g, Uint8 b, Uint8 a) {
    auto* target = static_cast<ZwSurface*>(surface);
    if (!gZwRenderer || (target && !target->mTarget))
        return;
    ZwSurface* previous = sRenderTarget;
    SetRenderTarget(target);
    SDL_BlendMode mode;
    SDL_GetRenderDrawBlendMode(gZwRenderer, &mode);
    // Replace, not blend: a cleared canvas must end up fully transparent.
    SDL_SetRenderDrawBlendMode(gZwRenderer, SDL_BLENDMODE_NONE);
    SDL_SetRenderDrawColor(gZwRenderer, r, g, b, a);
    SDL_RenderFillRect(gZwRenderer, rect);
    SDL_SetRenderDrawBlendMode(gZwRenderer, mode);
    SetRenderTarget(previous);
}

} // namespace

void FillRect(ZelmorSurface* surface, SDL_Rect* rect, Uint8 r, Uint8 g, Uint8 b, Uint8 a) {
    fillOn(surface, rect, r, g, b, a);
}

void ClearRect(ZelmorSurface* surface, SDL_Rect* rect, Uint8 r, Uint8 g, Uint8 b, Uint8 a) {
    fillOn(surface, rect, r, g, b, a);
}

void getScaledSizeKeepRatio(int srcWidth, int srcHeight, int boxWidth, int boxHeight, int& outWidth,
                            int& outHeight) {
    if (srcWidth <= 0 || srcHeight <= 0) {
        outWidth = boxWidth;
        outHeight = boxHeight;
        return;
    }
    // Fit the longer side; the other follows the source's proportions.
    if (static_cast<long>(srcWidth) * boxHeight >= static_cast<long>(srcHeight) * boxWidth) {
        outWidth = boxWidth;
        outHeight = static_cast<int>(static_cast<long>(srcHeight) * boxWidth / srcWidth);
    } else {
        outHeight = boxHeight;
        outWidth = static_cast<int>(static_cast<long>(srcWidth) * boxHeight / srcHeight);
    }
}

int ScreenInit(int width, int height, int depth, int flags) {
    (void)depth;
    (void)flags;
    IMG_Init(IMG_INIT_PNG | IMG_INIT_JPG);
    zwInvalidateFrame();
    gZwRenderer = zwOpenScreen(width, height, &gZwWindow);
    if (!gZwRenderer)
        return 0;
    // Any desktop size shows the whole 1280x720 screen with its aspect kept.
    SDL_RenderSetLogicalSize(gZwRenderer, width, height);
    SDL_SetRenderDrawBlendMode(gZwRenderer, SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    return 1;
}

void ScreenUninit() {
    zwReleaseTextCache();
    if (gZwRenderer)
        SDL_DestroyRenderer(gZwRenderer);
    if (gZwWindow)
        SDL_DestroyWindow(gZwWindow);
    gZwRenderer = nullptr;
    gZwWindow = nullptr;
    sRenderTarget = nullptr;
    IMG_Quit();
}

void ScreenUpdateAndFlip() {
    if (gZwRenderer)
        SDL_RenderPresent(gZwRenderer);
}
