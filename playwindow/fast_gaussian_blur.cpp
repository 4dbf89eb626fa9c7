#include "playwindow/fast_gaussian_blur.h"

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

} // namespace

void blurColumnPasses(uint8_t* image, uint8_t* scratch, int width, int height) {
    const int rowBytes = width * 4;
    boxDown<19>(image, scratch, rowBytes, height);
    boxDown<19>(scratch, image, rowBytes, height);
    boxDown<20>(image, scratch, rowBytes, height);
}

void blurTranspose(const uint8_t* src, uint8_t* dst, int width, int height) {
    constexpr int kTile = 64;
    for (int x0 = 0; x0 < width; x0 += kTile) {
        const int x1 = std::min(x0 + kTile, width);
        for (int y0 = 0; y0 < height; y0 += kTile) {
            const int y1 = std::min(y0 + kTile, height);
            for (int x = x0; x < x1; ++x) {
                uint8_t* column = dst + static_cast<long>(x) * height * 4;
                for (int y = y0; y < y1; ++y)
                    memcpy(column + y * 4, src + (static_cast<long>(y) * width + x) * 4, 4);
            }
        }
    }
}
