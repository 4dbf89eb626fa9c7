// Screen, surfaces and drawing on an SDL renderer. Surfaces are textures; images keep
// a CPU copy for getPixels and for the software form of the eraser blend mode.
#include "zinternal.h"

#include <SDL2/SDL_image.h>
#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jpeglib.h>
#include <spng.h>
#include <string>

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

bool fileExists(const std::string& path) {
    return !path.empty() && access(path.c_str(), R_OK) == 0;
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
    // The part of the texture behind the source rectangle: the same unless the image
    // was decoded reduced.
    SDL_Rect texel = source;
    if (mReduction > 1) {
        texel = src ? SDL_Rect{src->x / mReduction, src->y / mReduction, std::max(1, src->w / mReduction),
                               std::max(1, src->h / mReduction)}
                    : SDL_Rect{0, 0, mImage->w, mImage->h};
    }
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
    if (mSoftwareEraser && sRenderTarget) {
        sRenderTarget->eraseWith(mImage, texel, destination);
        return;
    }
    zwRenderCopy(mTexture, texel, destination);
}

// Reads the target's pixels, applies the stamp where it lands and writes them back.
void ZwSurface::eraseWith(SDL_Surface* stamp, const SDL_Rect& source, const SDL_Rect& destination) {
    SDL_Rect area;
    SDL_Rect bounds = {0, 0, mWidth, mHeight};
    if (!SDL_IntersectRect(&destination, &bounds, &area))
        return;
    const int pitch = area.w * 4;
    auto* canvas = static_cast<Uint32*>(malloc(static_cast<size_t>(pitch) * area.h));
    if (!canvas)
        return;
    if (SDL_RenderReadPixels(gZwRenderer, &area, SDL_PIXELFORMAT_ARGB8888, canvas, pitch) == 0) {
        SDL_LockSurface(stamp);
        // v * v on the 0..255 scale, rounded; a table keeps the per-pixel work to lookups.
        static const auto kSquare = [] {
            struct Table {
                Uint8 v[256];
            } table;
            for (Uint32 v = 0; v < 256; ++v)
                table.v[v] = static_cast<Uint8>((v * v + 127) / 255);
            return table;
        }();
        const Uint8* square = kSquare.v;
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
            for (int x = 0; x < area.w; ++x) {
                int sx = natural ? source.x + (x + area.x - destination.x)
                                 : source.x + (x + area.x - destination.x) * source.w / std::max(1, destination.w);
                if (sx < 0 || sx >= stamp->w)
                    continue;
                Uint32 s = stampRow[sx];
                Uint32& d = row[x];
                int alpha = static_cast<int>(square[d >> 24]) - static_cast<int>(square[s >> 24]);
                Uint32 r = square[(d >> 16) & 0xff], g = square[(d >> 8) & 0xff], b = square[d & 0xff];
                d = (static_cast<Uint32>(std::max(alpha, 0)) << 24) | (r << 16) | (g << 8) | b;
            }
        }
        SDL_UnlockSurface(stamp);
        SDL_UpdateTexture(mTexture, &area, canvas, pitch);
    }
    free(canvas);
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

ZwSurface* zwSurfaceFromReducedImage(SDL_Surface* image, int width, int height, int reduction) {
    ZwSurface* surface = zwSurfaceFromImage(image);
    if (surface && reduction > 1) {
        surface->mWidth = width;
        surface->mHeight = height;
        surface->mReduction = reduction;
    }
    return surface;
}

int zwJpegReduction(int w, int h) {
    // No surface is ever drawn larger than the screen, so a smaller side of the
    // screen's height keeps every use of the image sharp.
    const int side = std::min(w, h);
    for (int denominator : {8, 4, 2}) {
        if ((side + denominator - 1) / denominator >= kZwScreenHeight)
            return denominator;
    }
    return 1;
}

namespace {

struct JpegError {
    jpeg_error_mgr manager;
    jmp_buf jump;
};

void jpegFail(j_common_ptr info) {
    longjmp(reinterpret_cast<JpegError*>(info->err)->jump, 1);
}

void jpegQuiet(j_common_ptr, int) {}

// Straight from the compressed data into the rows of an ARGB8888 surface, at a reduced
// scale when the image is large. Null for anything that is no baseline or progressive
// JPEG in a colour space the decoder converts itself (CMYK goes to SDL_image).
SDL_Surface* decodeJpeg(FILE* file, int* width, int* height, int* reduction) {
    jpeg_decompress_struct info;
    JpegError error;
    info.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = jpegFail;
    error.manager.emit_message = jpegQuiet;
    SDL_Surface* volatile image = nullptr;
    if (setjmp(error.jump)) {
        jpeg_destroy_decompress(&info);
        if (image)
            SDL_FreeSurface(image);
        return nullptr;
    }
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        jpeg_destroy_decompress(&info);
        return nullptr;
    }
    const int divisor = zwJpegReduction(static_cast<int>(info.image_width), static_cast<int>(info.image_height));
    info.scale_num = 1;
    info.scale_denom = static_cast<unsigned>(divisor);
#if SDL_BYTEORDER == SDL_LIL_ENDIAN
    info.out_color_space = JCS_EXT_BGRA; // bytes B, G, R, A: ARGB8888 in a 32-bit word
#else
    info.out_color_space = JCS_EXT_ARGB;
#endif
    jpeg_start_decompress(&info);
    image = SDL_CreateRGBSurfaceWithFormat(0, static_cast<int>(info.output_width),
                                           static_cast<int>(info.output_height), 32, SDL_PIXELFORMAT_ARGB8888);
    if (!image)
        longjmp(error.jump, 1);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = static_cast<JSAMPROW>(image->pixels) + static_cast<size_t>(info.output_scanline) * image->pitch;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    *width = static_cast<int>(info.image_width);
    *height = static_cast<int>(info.image_height);
    *reduction = divisor;
    jpeg_destroy_decompress(&info);
    return image;
}

// A whole PNG into an ARGB8888 surface: decoded as RGBA bytes, then the red and blue
// bytes exchanged in place.
SDL_Surface* decodePng(FILE* file) {
    // A damaged checksum still leaves a picture worth showing: the checks are skipped,
    // while broken compressed data still fails the decode.
    spng_ctx* context = spng_ctx_new(SPNG_CTX_IGNORE_ADLER32);
    if (!context)
        return nullptr;
    spng_set_crc_action(context, SPNG_CRC_USE, SPNG_CRC_USE);
    SDL_Surface* image = nullptr;
    spng_ihdr header;
    size_t size = 0;
    if (spng_set_png_file(context, file) == 0 && spng_get_ihdr(context, &header) == 0 &&
        header.width <= 16384 && header.height <= 16384 &&
        spng_decoded_image_size(context, SPNG_FMT_RGBA8, &size) == 0) {
        image = SDL_CreateRGBSurfaceWithFormat(0, static_cast<int>(header.width), static_cast<int>(header.height), 32,
                                               SDL_PIXELFORMAT_ARGB8888);
        if (image && static_cast<size_t>(image->pitch) * image->h == size &&
            spng_decode_image(context, image->pixels, size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) == 0) {
            auto* bytes = static_cast<Uint8*>(image->pixels);
            for (size_t i = 0; i < size; i += 4) {
#if SDL_BYTEORDER == SDL_LIL_ENDIAN
                std::swap(bytes[i], bytes[i + 2]); // R G B A -> B G R A
#else
                Uint8 alpha = bytes[i + 3]; // R G B A -> A R G B
                memmove(bytes + i + 1, bytes + i, 3);
                bytes[i] = alpha;
#endif
            }
        } else if (image) {
            SDL_FreeSurface(image);
            image = nullptr;
        }
    }
    spng_ctx_free(context);
    return image;
}

} // namespace

SDL_Surface* zwDecodeImage(const char* path, int* width, int* height, int* reduction) {
    *reduction = 1;
    SDL_Surface* image = nullptr;
    if (FILE* file = fopen(path, "rb")) {
        unsigned char magic[8] = {};
        size_t got = fread(magic, 1, sizeof(magic), file);
        rewind(file);
        if (got >= 3 && magic[0] == 0xff && magic[1] == 0xd8 && magic[2] == 0xff)
            image = decodeJpeg(file, width, height, reduction);
        else if (got == 8 && memcmp(magic, "\x89PNG\r\n\x1a\n", 8) == 0)
            image = decodePng(file);
        fclose(file);
    }
    if (!image) {
        *reduction = 1;
        image = IMG_Load(path);
    }
    if (image && *reduction == 1) {
        *width = image->w;
        *height = image->h;
    }
    return image;
}

ZelmorSurface* LoadZelmorSurface(const char* themeDir, const char* appDir, const char* file) {
    if (!file || !*file)
        return nullptr;
    std::string path;
    if (file[0] == '/') {
        path = file;
    } else {
        for (const char* dir : {themeDir, appDir}) {
            if (!dir)
                continue;
            std::string candidate = std::string(dir);
            if (!candidate.empty() && candidate.back() != '/')
                candidate += '/';
            candidate += file;
            if (fileExists(candidate)) {
                path = candidate;
                break;
            }
        }
    }
    if (!fileExists(path))
        return nullptr;
    int width = 0, height = 0, reduction = 1;
    SDL_Surface* image = zwDecodeImage(path.c_str(), &width, &height, &reduction);
    return zwSurfaceFromReducedImage(image, width, height, reduction);
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
