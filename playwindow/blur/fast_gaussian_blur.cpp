#include "playwindow/blur/fast_gaussian_blur.h"

#include <algorithm>
#include <cstring>

namespace {

// Bytes of a row handled per sweep: the column sums of one chunk stay on the stack.
constexpr int kChunk = 512;

// One box pass of radius R down the columns of a rowBytes x height byte image. The
// column sums never exceed 41 * 255, so 16-bit lanes hold them, and (sum + R) / (2R + 1)
// is the round-to-nearest of the mean: the same byte as floor(sum * scale + 0.5) with
// the single-precision scale, for every reachable sum (the tests check each one).
// Division by the constant becomes a multiply-high, and the loop vectorises.
template <int R> void boxDown(const uint8_t* src, uint8_t* dst, int rowBytes, int height) {
    constexpr uint16_t kWidth = 2 * R + 1;
    for (int c0 = 0; c0 < rowBytes; c0 += kChunk) {
        const int n = std::min(kChunk, rowBytes - c0);
        uint16_t acc[kChunk];
        std::fill(acc, acc + n, static_cast<uint16_t>(0));
        for (int i = -(R + 1); i <= R - 1; ++i) {
            const uint8_t* row = src + static_cast<long>(blurMirror(i, height)) * rowBytes + c0;
            for (int k = 0; k < n; ++k)
                acc[k] = static_cast<uint16_t>(acc[k] + row[k]);
        }
        for (int y = 0; y < height; ++y) {
            const uint8_t* add = src + static_cast<long>(blurMirror(y + R, height)) * rowBytes + c0;
            const uint8_t* sub = src + static_cast<long>(blurMirror(y - R - 1, height)) * rowBytes + c0;
            uint8_t* out = dst + static_cast<long>(y) * rowBytes + c0;
            for (int k = 0; k < n; ++k) {
                uint16_t a = static_cast<uint16_t>(acc[k] + add[k] - sub[k]);
                acc[k] = a;
                out[k] = static_cast<uint8_t>(static_cast<uint16_t>(a + R) / kWidth);
            }
        }
    }
}

// Four 4-byte pixels in one 16-byte vector (NEON on the device, SSE2 on x86-64).
typedef uint32_t Pixels4 __attribute__((vector_size(16)));

inline Pixels4 loadPixels(const uint8_t* p) {
    Pixels4 v;
    memcpy(&v, p, sizeof v);
    return v;
}

inline void storePixels(uint8_t* p, Pixels4 v) {
    memcpy(p, &v, sizeof v);
}

// Transposes one 4 x 4 block of pixels: row i of the source block, four pixels from
// src + i * srcStride, becomes column i of the destination block.
inline void transposeBlock(const uint8_t* src, long srcStride, uint8_t* dst, long dstStride) {
    const Pixels4 r0 = loadPixels(src);
    const Pixels4 r1 = loadPixels(src + srcStride);
    const Pixels4 r2 = loadPixels(src + 2 * srcStride);
    const Pixels4 r3 = loadPixels(src + 3 * srcStride);
    // Pairs of rows interleaved, then pairs of pixel pairs: zip1/zip2 on the device.
    const Pixels4 t0 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
    const Pixels4 t1 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
    const Pixels4 t2 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
    const Pixels4 t3 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
    storePixels(dst, __builtin_shufflevector(t0, t2, 0, 1, 4, 5));
    storePixels(dst + dstStride, __builtin_shufflevector(t0, t2, 2, 3, 6, 7));
    storePixels(dst + 2 * dstStride, __builtin_shufflevector(t1, t3, 0, 1, 4, 5));
    storePixels(dst + 3 * dstStride, __builtin_shufflevector(t1, t3, 2, 3, 6, 7));
}

} // namespace

void blurColumnPasses(uint8_t* image, uint8_t* scratch, int width, int height) {
    const int rowBytes = width * 4;
    boxDown<19>(image, scratch, rowBytes, height);
    boxDown<19>(scratch, image, rowBytes, height);
    boxDown<20>(image, scratch, rowBytes, height);
}

void blurTranspose(const uint8_t* src, uint8_t* dst, int width, int height) {
    // 64 x 64 pixel tiles keep the rows read and the columns written in cache; inside a
    // tile, 4 x 4 pixel blocks move as four 16-byte loads, two rounds of interleaves and
    // four 16-byte stores. A pixel-by-pixel loop does not vectorise (its loads stride a
    // whole row apart); on x86-64 the blocks make the transpose about three times faster.
    constexpr int kTile = 64;
    const long srcRow = static_cast<long>(width) * 4;
    const long dstRow = static_cast<long>(height) * 4;
    auto copyPixel = [&](int x, int y) { memcpy(dst + x * dstRow + y * 4, src + y * srcRow + x * 4, 4); };
    for (int x0 = 0; x0 < width; x0 += kTile) {
        const int x1 = std::min(x0 + kTile, width);
        for (int y0 = 0; y0 < height; y0 += kTile) {
            const int y1 = std::min(y0 + kTile, height);
            int x = x0;
            for (; x + 4 <= x1; x += 4) {
                int y = y0;
                for (; y + 4 <= y1; y += 4)
                    transposeBlock(src + y * srcRow + x * 4, srcRow, dst + x * dstRow + y * 4, dstRow);
                for (; y < y1; ++y)
                    for (int i = 0; i < 4; ++i)
                        copyPixel(x + i, y);
            }
            for (; x < x1; ++x)
                for (int y = y0; y < y1; ++y)
                    copyPixel(x, y);
        }
    }
}
