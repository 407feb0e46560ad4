// The camera picture's conversion from YUV to the frame buffer's pixels,
// checked against the formula worked out here by hand and in both layouts.

#include "testfun/camera_convert.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

std::array<uint8_t, 4> pixel(int y, int u, int v)
{
    std::array<uint8_t, 4> out {};
    yuvToPixel(y, u, v, out.data());
    return out;
}

using Px = std::array<uint8_t, 4>;

TEST(CameraConversion, GreyHasEqualChannelsAndAZeroFourthByte)
{
    EXPECT_EQ(pixel(100, 0, 0), (Px { 100, 100, 100, 0 }));
    EXPECT_EQ(pixel(0, 0, 0), (Px { 0, 0, 0, 0 }));
    EXPECT_EQ(pixel(255, 0, 0), (Px { 255, 255, 255, 0 }));
}

TEST(CameraConversion, ChannelsAreTruncatedTowardZero)
{
    // blue 10 + 2.03 = 12.03, green 10 - 0.39 - 0.58 = 9.03, red 10 + 1.14 = 11.14
    EXPECT_EQ(pixel(10, 1, 1), (Px { 12, 9, 11, 0 }));
    // blue 50 - 2.03 * 3 = 43.91 -> 43, green 50 + 1.17 + 1.16 = 52.33, red 50 - 2.28 = 47.72
    EXPECT_EQ(pixel(50, -3, -2), (Px { 43, 52, 47, 0 }));
}

TEST(CameraConversion, ChannelsAreClampedToAByte)
{
    // blue 200 + 2.03 * 127 = 457.81, green 200 - 49.53 + 74.24 = 224.71, red 200 - 145.92 = 54.08
    EXPECT_EQ(pixel(200, 127, -128), (Px { 255, 224, 54, 0 }));
    // blue 20 - 259.84 < 0, green 20 + 49.92 - 73.66 = -3.74 -> 0, red 20 + 144.78 = 164.78
    EXPECT_EQ(pixel(20, -128, 127), (Px { 0, 0, 164, 0 }));
}

TEST(CameraConversion, DoublePrecisionDecidesTheBorderCases)
{
    // 1.14 x 50 is 57 in decimals but 56.99999999999999 in double precision,
    // and 2.03 x 100 is 202.99999999999997: the truncation keeps 56 and 202.
    EXPECT_EQ(pixel(0, 0, 50)[2], 56);
    EXPECT_EQ(pixel(0, 100, 0)[0], 202);
}

TEST(CameraConversion, PackedYuyvTakesY0UY1VPerPair)
{
    // Two pairs: (Y 10, U 129, Y 20, V 127) and (Y 30, U 128, Y 40, V 128).
    const std::vector<uint8_t> frame = { 10, 129, 20, 127, 30, 128, 40, 128 };
    std::vector<uint8_t> out(4 * 4, 0xEE);
    convertFrame(frame.data(), 4, 1, false, out.data());
    const std::vector<uint8_t> expected = {
        12, 10, 8, 0, // Y 10, U +1, V -1: 12.03, 10.19, 8.86
        22, 20, 18, 0, // Y 20
        30, 30, 30, 0, 40, 40, 40, 0, // grey
    };
    EXPECT_EQ(out, expected);
}

TEST(CameraConversion, SemiPlanarTakesYFromThePlaneAndUvFromThePlaneAfterIt)
{
    // 4x1: Y plane 10 20 30 40, then U V U V.
    const std::vector<uint8_t> frame = { 10, 20, 30, 40, 129, 127, 128, 128 };
    std::vector<uint8_t> out(4 * 4, 0xEE);
    convertFrame(frame.data(), 4, 1, true, out.data());
    const std::vector<uint8_t> expected = { 12, 10, 8, 0, 22, 20, 18, 0, 30, 30, 30, 0, 40, 40, 40, 0 };
    EXPECT_EQ(out, expected);
}

TEST(CameraConversion, AFrameTakesTwoBytesAPixelInEitherLayout)
{
    EXPECT_EQ(cameraFrameBytes(320, 240), 153600u);
    EXPECT_EQ(cameraFrameBytes(640, 480), 614400u);
}

}
