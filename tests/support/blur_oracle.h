// A plain implementation of the three-box blur, written for clarity: each row pass
// reflects every coordinate it reads and rounds with one fused multiply-add in double,
// then the image is transposed and the same three passes run again. The tests compare
// the fast blur against it byte for byte; the benchmark uses it as its baseline.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace oracle {

inline int mirror(int i, int length) {
    if (i >= 0 && i < length)
        return i;
    int period = length - 1;
    int d = i >= 0 ? i : 2 * length - 2 - i;
    int q = d / period;
    int m = d - q * period;
    return (q & 1) ? period - m : m;
}

inline uint8_t roundBox(int acc, int radius) {
    const double scale = radius == 20 ? 0.024390242993831635 : 0.025641025975346565;
    return static_cast<uint8_t>(std::fma(static_cast<double>(acc), scale, 0.5));
}

inline void rowPass(const uint8_t* src, uint8_t* dst, int width, int height, int radius) {
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = src + static_cast<long>(y) * width * 4;
        uint8_t* out = dst + static_cast<long>(y) * width * 4;
        for (int c = 0; c < 4; ++c) {
            int acc = 0;
            for (int i = -(radius + 1); i <= radius - 1; ++i)
                acc += row[mirror(i, width) * 4 + c];
            for (int x = 0; x < width; ++x) {
                acc += row[mirror(x + radius, width) * 4 + c];
                acc -= row[mirror(x - radius - 1, width) * 4 + c];
                out[x * 4 + c] = roundBox(acc, radius);
            }
        }
    }
}

inline void transpose(const uint8_t* src, uint8_t* dst, int width, int height) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                dst[(static_cast<long>(x) * height + y) * 4 + c] =
                    src[(static_cast<long>(y) * width + x) * 4 + c];
}

// Same contract as fast_gaussian_blur: result in the memory `in` held at entry, then
// the two pointers exchanged.
inline void blur(uint8_t*& in, uint8_t*& out, int width, int height) {
    for (int axis = 0; axis < 2; ++axis) {
        const int w = axis ? height : width, h = axis ? width : height;
        rowPass(in, out, w, h, 19);
        rowPass(out, in, w, h, 19);
        rowPass(in, out, w, h, 20);
        transpose(out, in, w, h);
    }
    std::swap(in, out);
}

} // namespace oracle
