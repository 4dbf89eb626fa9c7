// Image files decoded into surfaces: JPEG through libjpeg-turbo, PNG through libspng,
// anything else (and CMYK JPEG) through SDL_image. Images no larger than the
// screen are made for it and decoded whole. A larger picture is a cover or a photo,
// which the screens draw no larger than the 400x400 cover box: it is decoded at the
// smallest of the scales 1/2, 1/4 and 1/8 that keeps its longer side at least 400
// (libjpeg-turbo's DCT scaling; for PNG the mean of each 2x2, 4x4 or 8x8 block as the
// rows come out of the decoder), and decoded again once at a larger scale should a blit
// need more of it.
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
#include <vector>

namespace {

constexpr int kCoverSide = 400;
// Larger files, and pictures larger than this once decoded, are refused: a cover that
// size would take more memory than the device can spare.
constexpr long kMaxFileBytes = 64L << 20;
constexpr long kMaxDecodedPixels = 4096L * 4096;

// A side's decoded length at 1/reduction, rounded up as libjpeg-turbo rounds.
int reduced(int size, int reduction) {
    return (size + reduction - 1) / reduction;
}

bool readWholeFile(const char* path, std::vector<unsigned char>& data) {
    FILE* file = fopen(path, "rb");
    if (!file)
        return false;
    bool ok = fseek(file, 0, SEEK_END) == 0;
    const long size = ok ? ftell(file) : -1;
    ok = size > 0 && size <= kMaxFileBytes && fseek(file, 0, SEEK_SET) == 0;
    if (ok) {
        data.resize(static_cast<size_t>(size));
        ok = fread(data.data(), 1, data.size(), file) == data.size();
    }
    fclose(file);
    return ok;
}

SDL_Surface* newArgbImage(int w, int h) {
    if (w <= 0 || h <= 0 || static_cast<long>(w) * h > kMaxDecodedPixels)
        return nullptr;
    return SDL_CreateRGBSurfaceWithFormat(0, w, h, 32, SDL_PIXELFORMAT_ARGB8888);
}

struct JpegError {
    jpeg_error_mgr manager;
    jmp_buf jump;
};

void jpegFail(j_common_ptr info) {
    longjmp(reinterpret_cast<JpegError*>(info->err)->jump, 1);
}

void jpegQuiet(j_common_ptr, int) {}

// Straight from the compressed data into the rows of an ARGB8888 surface at 1/reduction
// of the image's size (0: as zwReduction chooses). Null for a broken file or a picture
// too large to decode; *handOn for a colour space the decoder does not convert itself
// (CMYK), which SDL_image decodes whole when it is small enough.
SDL_Surface* decodeJpeg(const std::vector<unsigned char>& data, int* width, int* height, int* reduction,
                        bool* handOn) {
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
    // From memory: the decoder's fast path needs a few kilobytes of data ahead, which a
    // file source with its small buffer leaves it most of the time.
    jpeg_mem_src(&info, data.data(), static_cast<unsigned long>(data.size()));
    jpeg_read_header(&info, TRUE);
    *width = static_cast<int>(info.image_width);
    *height = static_cast<int>(info.image_height);
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        *handOn = static_cast<long>(*width) * *height <= kMaxDecodedPixels;
        jpeg_destroy_decompress(&info);
        return nullptr;
    }
    if (*reduction <= 0)
        *reduction = zwReduction(*width, *height);
    info.scale_num = 1;
    info.scale_denom = static_cast<unsigned>(*reduction);
#if SDL_BYTEORDER == SDL_LIL_ENDIAN
    info.out_color_space = JCS_EXT_BGRA; // bytes B, G, R, A: ARGB8888 in a 32-bit word
#else
    info.out_color_space = JCS_EXT_ARGB;
#endif
    jpeg_calc_output_dimensions(&info);
    image = newArgbImage(static_cast<int>(info.output_width), static_cast<int>(info.output_height));
    if (!image)
        longjmp(error.jump, 1);
    jpeg_start_decompress(&info);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row =
            static_cast<JSAMPROW>(image->pixels) + static_cast<size_t>(info.output_scanline) * image->pitch;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return image;
}

// Column sums of RGBA rows, for an image reduced by averaging.
struct RowSums {
    SDL_Surface* image; // receives the means
    int reduction;
    int width; // of the decoded rows
    int height;
    std::vector<Uint16> columns; // per decoded pixel and channel, over the block's rows so far
};

// Adds decoded row y (RGBA bytes); after the last row of a block of rows, or of the
// image, writes each output pixel as the rounded mean of its block, cut at the edges.
// Rows are summed down the columns first, where the work runs on vectors.
void addRow(RowSums& rows, const Uint8* rgba, int y) {
    const int reduction = rows.reduction, samples = rows.width * 4;
    Uint16* columns = rows.columns.data();
    if (y % reduction == 0)
        std::fill(rows.columns.begin(), rows.columns.end(), 0);
    for (int i = 0; i < samples; ++i)
        columns[i] = static_cast<Uint16>(columns[i] + rgba[i]);
    if ((y + 1) % reduction != 0 && y + 1 != rows.height)
        return;
    auto* out = reinterpret_cast<Uint32*>(static_cast<Uint8*>(rows.image->pixels) +
                                          (y / reduction) * rows.image->pitch);
    const int blockRows = y % reduction + 1;
    for (int x = 0; x < rows.image->w; ++x) {
        const int first = x * reduction, cols = std::min(reduction, rows.width - first);
        Uint32 sum[4] = {0, 0, 0, 0};
        for (int k = 0; k < cols; ++k)
            for (int c = 0; c < 4; ++c)
                sum[c] += columns[(first + k) * 4 + c];
        const Uint32 count = static_cast<Uint32>(blockRows * cols);
        auto mean = [count](Uint32 total) { return (total + count / 2) / count; };
        out[x] = mean(sum[3]) << 24 | mean(sum[0]) << 16 | mean(sum[1]) << 8 | mean(sum[2]);
    }
}

// The RGBA bytes of one row as ARGB8888 in a 32-bit word, in place.
void rgbaToArgb(Uint8* bytes, int width) {
    auto* pixels = reinterpret_cast<Uint32*>(bytes);
    for (int x = 0; x < width; ++x) {
        const Uint8* p = bytes + x * 4;
        pixels[x] = static_cast<Uint32>(p[3]) << 24 | static_cast<Uint32>(p[0]) << 16 |
                    static_cast<Uint32>(p[1]) << 8 | p[2];
    }
}

// A PNG row by row into an ARGB8888 surface at 1/reduction of its size (0: as
// zwReduction chooses); an interlaced one through a whole image first. Null for a
// broken file or a picture too large to decode.
SDL_Surface* decodePng(const std::vector<unsigned char>& data, int* width, int* height, int* reduction) {
    // A damaged checksum still leaves a picture worth showing: the checks are skipped,
    // while broken compressed data still fails the decode.
    spng_ctx* context = spng_ctx_new(SPNG_CTX_IGNORE_ADLER32);
    if (!context)
        return nullptr;
    spng_set_crc_action(context, SPNG_CRC_USE, SPNG_CRC_USE);
    SDL_Surface* image = nullptr;
    spng_ihdr header;
    size_t size = 0;
    if (spng_set_png_buffer(context, data.data(), data.size()) == 0 && spng_get_ihdr(context, &header) == 0 &&
        spng_decoded_image_size(context, SPNG_FMT_RGBA8, &size) == 0) {
        const int w = static_cast<int>(header.width), h = static_cast<int>(header.height);
        *width = w;
        *height = h;
        if (*reduction <= 0)
            *reduction = zwReduction(w, h);
        const bool interlaced = header.interlace_method != SPNG_INTERLACE_NONE;
        image = newArgbImage(reduced(w, *reduction), reduced(h, *reduction));
        if (image && interlaced && static_cast<long>(w) * h > kMaxDecodedPixels) {
            SDL_FreeSurface(image);
            image = nullptr;
        }
        if (image) {
            const size_t rowBytes = static_cast<size_t>(w) * 4;
            std::vector<Uint8> rows(interlaced ? size : rowBytes);
            RowSums sums = {image, *reduction, w, h, std::vector<Uint16>(rowBytes)};
            bool ok = false;
            auto take = [&](Uint8* rgba, int y) {
                if (*reduction > 1) {
                    addRow(sums, rgba, y);
                    return;
                }
                Uint8* out = static_cast<Uint8*>(image->pixels) + static_cast<size_t>(y) * image->pitch;
                memcpy(out, rgba, rowBytes);
                rgbaToArgb(out, w);
            };
            if (interlaced) {
                ok = spng_decode_image(context, rows.data(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) == 0;
                for (int y = 0; ok && y < h; ++y)
                    take(rows.data() + y * rowBytes, y);
            } else if (spng_decode_image(context, nullptr, 0, SPNG_FMT_RGBA8,
                                         SPNG_DECODE_TRNS | SPNG_DECODE_PROGRESSIVE) == 0) {
                // The last row comes with SPNG_EOI.
                spng_row_info row;
                int rc = 0;
                do {
                    rc = spng_get_row_info(context, &row);
                    if (rc == 0) {
                        rc = spng_decode_row(context, rows.data(), rowBytes);
                        if (rc == 0 || rc == SPNG_EOI)
                            take(rows.data(), static_cast<int>(row.row_num));
                    }
                } while (rc == 0);
                ok = rc == SPNG_EOI;
            }
            if (!ok) {
                SDL_FreeSurface(image);
                image = nullptr;
            }
        }
    }
    spng_ctx_free(context);
    return image;
}

// The pixels a BMP header declares, which SDL_image would allocate before it reads them;
// 0 for other files.
long long declaredPixels(const std::vector<unsigned char>& data) {
    if (data.size() < 26 || data[0] != 'B' || data[1] != 'M')
        return 0;
    auto field = [&data](size_t at, int bytes) {
        Uint32 value = 0;
        for (int i = bytes - 1; i >= 0; --i)
            value = value << 8 | data[at + i];
        return value;
    };
    // The core header of 12 bytes has 16-bit sizes, the later ones 32-bit signed.
    if (field(14, 4) == 12)
        return static_cast<long long>(field(18, 2)) * field(20, 2);
    const long long w = static_cast<Sint32>(field(18, 4)), h = static_cast<Sint32>(field(22, 4));
    return std::llabs(w) * std::llabs(h);
}

} // namespace

int zwReduction(int w, int h) {
    if (w <= kZwScreenWidth && h <= kZwScreenHeight)
        return 1;
    const int side = std::max(w, h);
    for (int reduction : {8, 4, 2}) {
        if (reduced(side, reduction) >= kCoverSide)
            return reduction;
    }
    return 1;
}

SDL_Surface* zwDecodeImage(const char* path, int* width, int* height, int* reduction) {
    std::vector<unsigned char> data;
    if (!readWholeFile(path, data))
        return nullptr;
    SDL_Surface* image = nullptr;
    bool handOn = false;
    if (data.size() >= 3 && data[0] == 0xff && data[1] == 0xd8 && data[2] == 0xff)
        image = decodeJpeg(data, width, height, reduction, &handOn);
    else if (data.size() >= 8 && memcmp(data.data(), "\x89PNG\r\n\x1a\n", 8) == 0)
        image = decodePng(data, width, height, reduction);
    else
        handOn = declaredPixels(data) <= kMaxDecodedPixels;
    if (handOn) {
        if (SDL_RWops* source = SDL_RWFromConstMem(data.data(), static_cast<int>(data.size())))
            image = IMG_Load_RW(source, 1);
        *reduction = 1;
    }
    if (image && *reduction == 1) {
        *width = image->w;
        *height = image->h;
    }
    return image;
}

void zwSharpen(ZwSurface* surface, const SDL_Rect& source, const SDL_Rect& destination) {
    int wanted = surface->mReduction;
    while (wanted > 1 && (source.w / wanted < destination.w || source.h / wanted < destination.h))
        wanted /= 2;
    if (wanted == surface->mReduction || surface->mSource.empty())
        return;
    // Tried once: a file that went, changed or fails keeps the picture as it is.
    const std::string path = surface->mSource;
    surface->mSource.clear();
    int width = 0, height = 0, reduction = wanted;
    SDL_Surface* image = zwDecodeImage(path.c_str(), &width, &height, &reduction);
    SDL_Texture* texture = image && width == surface->mWidth && height == surface->mHeight
                               ? SDL_CreateTextureFromSurface(gZwRenderer, image)
                               : nullptr;
    if (!texture) {
        if (image)
            SDL_FreeSurface(image);
        return;
    }
    // The new texture draws as the old one did.
    SDL_BlendMode mode;
    Uint8 alpha, r, g, b;
    SDL_GetTextureBlendMode(surface->mTexture, &mode);
    SDL_GetTextureAlphaMod(surface->mTexture, &alpha);
    SDL_GetTextureColorMod(surface->mTexture, &r, &g, &b);
    SDL_SetTextureBlendMode(texture, mode);
    SDL_SetTextureAlphaMod(texture, alpha);
    SDL_SetTextureColorMod(texture, r, g, b);
    SDL_DestroyTexture(surface->mTexture);
    SDL_FreeSurface(surface->mImage);
    surface->mTexture = texture;
    surface->mImage = image;
    surface->mReduction = reduction;
    if (reduction > 1)
        surface->mSource = path;
}

ZelmorSurface* LoadZelmorSurface(const char* themeDir, const char* appDir, const char* file) {
    if (!file || !*file)
        return nullptr;
    auto readable = [](const std::string& path) { return !path.empty() && access(path.c_str(), R_OK) == 0; };
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
            if (readable(candidate)) {
                path = candidate;
                break;
            }
        }
    }
    if (!readable(path))
        return nullptr;
    int width = 0, height = 0, reduction = 0;
    ZwSurface* surface = zwSurfaceFromImage(zwDecodeImage(path.c_str(), &width, &height, &reduction));
    if (surface && reduction > 1) {
        surface->mWidth = width;
        surface->mHeight = height;
        surface->mReduction = reduction;
        surface->mSource = path;
    }
    return surface;
}
