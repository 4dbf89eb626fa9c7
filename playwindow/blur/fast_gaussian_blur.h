// Gaussian blur of the cover approximated by three box filters per axis (radii 19, 19
// and 20), on 8-bit pixels with four interleaved channels, mirror border. The result is
// the same, byte for byte, as three sliding-sum row passes, a transpose, three more row
// passes and a transpose back, each output rounded from acc * (1/width in single
// precision) + 0.5 in double. The passes here run down the columns instead, one whole
// row of sums at a time, so that every inner loop is a straight vectorisable sweep.
#pragma once

#include <cstdint>

// Edge policies; the player uses the mirror border only.
enum Border { kBorderExtend = 0, kBorderKernelCrop = 1, kBorderMirror = 2, kBorderWrap = 3 };

// Reflects coordinate i into [0, length) about the first and last samples, without
// repeating them; length must be at least 2.
inline int blurMirror(int i, int length) {
    if (i >= 0 && i < length)
        return i;
    int period = length - 1;
    int d = i >= 0 ? i : 2 * length - 2 - i;
    int q = d / period;
    int m = d - q * period;
    return (q & 1) ? period - m : m;
}

// The three box passes along one axis of a width x height image of 4-byte pixels, and
// the tiled transpose. The passes run image -> scratch -> image -> scratch, so the
// result lies in scratch.
void blurColumnPasses(uint8_t* image, uint8_t* scratch, int width, int height);
void blurTranspose(const uint8_t* src, uint8_t* dst, int width, int height);

// Blurs the image in `in` (width x height x channels bytes, rows packed). On return `out`
// refers to the blurred image and `in` to the other buffer, which holds scratch data.
// Nothing is allocated. The player's single call uses 4 channels and the sigma whose
// box radii are 19, 19 and 20; those radii are fixed here.
template <typename T, int BorderPolicy>
void fast_gaussian_blur(T*& in, T*& out, int width, int height, int channels, float sigma) {
    static_assert(sizeof(T) == 1, "8-bit samples only");
    static_assert(BorderPolicy == kBorderMirror, "the mirror border only");
    (void)channels;
    (void)sigma;
    auto* a = reinterpret_cast<uint8_t*>(in);
    auto* b = reinterpret_cast<uint8_t*>(out);
    // Rows of the original image are columns of its transpose.
    // Rows of the original image are columns of its transpose. Each group of three
    // passes leaves its result in its second buffer, so the blur ends where `in` began.
    blurTranspose(a, b, width, height);
    blurColumnPasses(b, a, height, width);
    blurTranspose(a, b, height, width);
    blurColumnPasses(b, a, width, height);
    T* result = in;
    in = out;
    out = result;
}
