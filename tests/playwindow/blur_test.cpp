// The fast blur against the plain oracle, and the properties a box blur must keep.
#include "blur_oracle.h"
#include "playwindow/fast_gaussian_blur.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

struct Images {
    std::vector<uint8_t> a, b;
    Images(int width, int height) : a(static_cast<size_t>(width) * height * 4), b(a.size()) {}
};

std::vector<uint8_t> fastBlur(const std::vector<uint8_t>& image, int width, int height) {
    Images buffers(width, height);
    buffers.a = image;
    uint8_t* in = buffers.a.data();
    uint8_t* out = buffers.b.data();
    fast_gaussian_blur<uint8_t, kBorderMirror>(in, out, width, height, 4, 33.0f);
    EXPECT_EQ(out, buffers.a.data()) << "result must lie in the memory in held at entry";
    EXPECT_EQ(in, buffers.b.data());
    return std::vector<uint8_t>(out, out + image.size());
}

std::vector<uint8_t> oracleBlur(const std::vector<uint8_t>& image, int width, int height) {
    Images buffers(width, height);
    buffers.a = image;
    uint8_t* in = buffers.a.data();
    uint8_t* out = buffers.b.data();
    oracle::blur(in, out, width, height);
    return std::vector<uint8_t>(out, out + image.size());
}

} // namespace

TEST(BlurRounding, IntegerRoundingMatchesTheDoubleFormulaForEveryReachableSum) {
    // The box sums reach 39 * 255 and 41 * 255; the fast passes round a sum as
    // (sum + r) / (2r + 1) in 16 bits.
    for (int radius : {19, 20}) {
        for (int acc = 0; acc <= (2 * radius + 1) * 255; ++acc) {
            uint16_t sum = static_cast<uint16_t>(acc + radius);
            uint8_t fast = static_cast<uint8_t>(sum / static_cast<uint16_t>(2 * radius + 1));
            ASSERT_EQ(fast, oracle::roundBox(acc, radius)) << "radius " << radius << " acc " << acc;
        }
    }
}

TEST(BlurMirror, ReflectsWithoutRepeatingTheEdges) {
    // Length 4: ... 2 1 | 0 1 2 3 | 2 1 0 1 ..., period 6.
    const int expected[] = {2, 1, 0, 1, 2, 3, 2, 1, 0, 1, 2, 3, 2};
    for (int i = -8; i <= 4; ++i)
        EXPECT_EQ(blurMirror(i - 0, 4), oracle::mirror(i, 4)) << i;
    for (int i = -2; i <= 10; ++i)
        EXPECT_EQ(blurMirror(i, 4), expected[i + 2]) << i;
}

TEST(Blur, ByteIdenticalToTheOracleOnEveryRowCase) {
    std::mt19937 random(7);
    // 17: short rows for every radius; 20: medium for 19, short for 20; 40: long for
    // 19, medium for 20; 42 and up: long; plus odd, non-square shapes.
    const int sizes[][2] = {{17, 17}, {20, 33},   {33, 20},  {40, 57},  {42, 42},
                            {41, 19}, {256, 256}, {300, 17}, {17, 300}, {129, 67}};
    for (const auto& size : sizes) {
        const int width = size[0], height = size[1];
        std::vector<uint8_t> image(static_cast<size_t>(width) * height * 4);
        for (auto& byte : image)
            byte = static_cast<uint8_t>(random());
        ASSERT_EQ(fastBlur(image, width, height), oracleBlur(image, width, height)) << width << "x" << height;
    }
}

TEST(Blur, UniformImagesComeBackUnchanged) {
    const int width = 45, height = 23;
    for (int value = 0; value <= 255; ++value) {
        std::vector<uint8_t> image(static_cast<size_t>(width) * height * 4, static_cast<uint8_t>(value));
        ASSERT_EQ(fastBlur(image, width, height), image) << value;
    }
}

TEST(Blur, AnImpulseStaysWithin58PixelsAndSpreadsSymmetrically) {
    // Radii 19 + 19 + 20 bound the reach at 58 pixels from the block; the byte rounding
    // of each pass trims the faint tail, the same way on both sides of an axis.
    const int size = 241, centre = 120;
    std::vector<uint8_t> image(static_cast<size_t>(size) * size * 4, 0);
    for (int y = centre - 3; y <= centre + 3; ++y)
        for (int x = centre - 3; x <= centre + 3; ++x)
            for (int c = 0; c < 4; ++c)
                image[(static_cast<size_t>(y) * size + x) * 4 + c] = 255;
    auto blurred = fastBlur(image, size, size);
    auto at = [&](int x, int y) { return blurred[(static_cast<size_t>(y) * size + x) * 4]; };
    int reach[4] = {0, 0, 0, 0};
    for (int d = 1; d < centre; ++d) {
        if (at(centre + d, centre))
            reach[0] = d;
        if (at(centre - d, centre))
            reach[1] = d;
        if (at(centre, centre + d))
            reach[2] = d;
        if (at(centre, centre - d))
            reach[3] = d;
    }
    EXPECT_EQ(reach[0], reach[1]);
    EXPECT_EQ(reach[2], reach[3]);
    for (int i = 0; i < 4; ++i) {
        EXPECT_GT(reach[i], 3 + 30) << "direction " << i;
        EXPECT_LE(reach[i], 3 + 58) << "direction " << i;
    }
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            if (std::abs(x - centre) > 61 || std::abs(y - centre) > 61) {
                ASSERT_EQ(at(x, y), 0) << x << "," << y;
            }
        }
    }
}
