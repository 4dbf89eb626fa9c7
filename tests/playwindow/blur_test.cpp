// The fast blur against the plain oracle, and the properties a box blur must keep.
#include "blur_oracle.h"
#include "playwindow/fast_gaussian_blur.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

// Blurs a copy of the image with the fast blur or with the oracle.
std::vector<uint8_t> blurred(std::vector<uint8_t> image, int width, int height, bool fast = true) {
    std::vector<uint8_t> other(image.size());
    uint8_t* in = image.data();
    uint8_t* out = other.data();
    if (!fast) {
        oracle::blur(in, out, width, height);
        return image;
    }
    fast_gaussian_blur<uint8_t, kBorderMirror>(in, out, width, height, 4, 33.0f);
    EXPECT_TRUE(out == image.data() && in == other.data())
        << "the result lies in the memory in held at entry";
    return image;
}

} // namespace

TEST(BlurMirror, ReflectsWithoutRepeatingTheEdges) {
    // Length 4: ... 2 1 | 0 1 2 3 | 2 1 0 1 ..., period 6.
    const int expected[] = {2, 1, 0, 1, 2, 3, 2, 1, 0, 1, 2, 3, 2};
    for (int i = -2; i <= 10; ++i)
        EXPECT_EQ(blurMirror(i, 4), expected[i + 2]) << i;
}

TEST(BlurTranspose, MovesEveryPixelOnBlockAndTileEdges) {
    // 4 x 4 blocks inside 64 x 64 tiles: sides below, at and past both, with every
    // remainder of 4, so each partial block and tile is crossed.
    const int sizes[][2] = {{1, 1}, {3, 5}, {4, 4}, {5, 3}, {7, 66}, {64, 64}, {65, 130}, {131, 67}};
    for (const auto& size : sizes) {
        const int width = size[0], height = size[1];
        std::vector<uint8_t> image(static_cast<size_t>(width) * height * 4);
        for (size_t i = 0; i < image.size(); ++i)
            image[i] = static_cast<uint8_t>(i * 37 + i / 251);
        std::vector<uint8_t> transposed(image.size(), 0);
        blurTranspose(image.data(), transposed.data(), width, height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(transposed[(static_cast<size_t>(x) * height + y) * 4 + c],
                              image[(static_cast<size_t>(y) * width + x) * 4 + c])
                        << width << "x" << height << " at " << x << "," << y << " channel " << c;
    }
}

TEST(Blur, ByteIdenticalToTheOracleOnEveryRowCase) {
    std::mt19937 random(7);
    // 17: short rows for every radius; 20: medium for 19, short for 20; 40: long for
    // 19, medium for 20; 42 and up: long; plus odd, non-square shapes.
    const int sizes[][2] = {{17, 17}, {20, 33},   {33, 20},  {40, 57},  {42, 42},
                            {41, 19}, {256, 256}, {300, 17}, {17, 300}, {129, 67}};
    for (const auto& size : sizes) {
        std::vector<uint8_t> image(static_cast<size_t>(size[0]) * size[1] * 4);
        for (auto& byte : image)
            byte = static_cast<uint8_t>(random());
        ASSERT_EQ(blurred(image, size[0], size[1]), blurred(image, size[0], size[1], false))
            << size[0] << "x" << size[1];
    }
}

TEST(Blur, UniformImagesComeBackUnchanged) {
    for (int value = 0; value <= 255; ++value) {
        std::vector<uint8_t> image(45 * 23 * 4, static_cast<uint8_t>(value));
        ASSERT_EQ(blurred(image, 45, 23), image) << value;
    }
}

TEST(Blur, AnImpulseStaysWithin58PixelsAndSpreadsSymmetrically) {
    // Radii 19 + 19 + 20 bound the reach at 58 pixels from a 7x7 block; the byte rounding
    // of each pass trims the faint tail, the same way on both sides of an axis.
    const int size = 241, centre = 120;
    std::vector<uint8_t> image(static_cast<size_t>(size) * size * 4, 0);
    for (int y = centre - 3; y <= centre + 3; ++y)
        std::fill_n(&image[(static_cast<size_t>(y) * size + centre - 3) * 4], 7 * 4, 255);
    auto result = blurred(image, size, size);
    auto lit = [&](int x, int y) { return result[(static_cast<size_t>(y) * size + x) * 4] != 0; };
    int reach[4] = {0, 0, 0, 0}; // right, left, down, up
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            if (!lit(x, y))
                continue;
            ASSERT_TRUE(std::abs(x - centre) <= 61 && std::abs(y - centre) <= 61) << x << "," << y;
            if (y == centre)
                reach[x > centre ? 0 : 1] = std::max(reach[x > centre ? 0 : 1], std::abs(x - centre));
            if (x == centre)
                reach[y > centre ? 2 : 3] = std::max(reach[y > centre ? 2 : 3], std::abs(y - centre));
        }
    }
    EXPECT_EQ(reach[0], reach[1]);
    EXPECT_EQ(reach[2], reach[3]);
    EXPECT_GT(reach[0], 33);
    EXPECT_GT(reach[2], 33);
}
