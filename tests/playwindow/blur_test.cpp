// The fast blur against the plain oracle, and images that a blur must leave alone.
#include "blur_oracle.h"
#include "playwindow/blur/fast_gaussian_blur.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// Blurs a copy of the image with the fast blur, whose result lies in the memory `in`
// held at entry; with the oracle when fast is false.
std::vector<uint8_t> blurred(std::vector<uint8_t> image, int width, int height, bool fast = true) {
    std::vector<uint8_t> other(image.size());
    uint8_t *in = image.data(), *out = other.data();
    if (fast)
        fast_gaussian_blur<uint8_t, kBorderMirror>(in, out, width, height, 4, 33.0f);
    else
        oracle::blur(in, out, width, height);
    EXPECT_TRUE(out == image.data() && in == other.data()) << "the pointers are exchanged";
    return image;
}

} // namespace

TEST(Blur, ByteIdenticalToTheOracleOnEveryRowCase) {
    std::mt19937 random(7);
    // 17: short rows for every radius; 20: medium for 19, short for 20; 40: long for
    // 19, medium for 20; 42 and up: long; odd, non-square shapes that leave partial
    // transpose blocks (4) and tiles (64) on both axes.
    const int sizes[][2] = {{17, 17},   {20, 33},  {33, 20},  {40, 57},  {42, 42},  {41, 19},
                            {256, 256}, {300, 17}, {17, 300}, {129, 67}, {65, 130}, {131, 67}};
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
