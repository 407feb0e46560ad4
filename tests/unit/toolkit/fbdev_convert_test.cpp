// The frame buffer backend: pixel conversion, and refusing what is not a
// frame buffer. The host's own frame buffer is never opened.

#include "display/backend.h"
#include "display/fbdev_display.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

namespace {

lumi::FbPixelFormat xrgb8888()
{
    lumi::FbPixelFormat format;
    format.bitsPerPixel = 32;
    format.red = { 16, 8 };
    format.green = { 8, 8 };
    format.blue = { 0, 8 };
    format.transp = { 0, 0 };
    return format;
}

TEST(FbdevConvert, WidensRgb565ChannelsExactlyForXrgb8888)
{
    const lumi::FbPixelFormat format = xrgb8888();
    EXPECT_EQ(lumi::fbConvertPixel(0x0000, format), 0x00000000u);
    EXPECT_EQ(lumi::fbConvertPixel(0xFFFF, format), 0x00FFFFFFu);
    EXPECT_EQ(lumi::fbConvertPixel(0xF800, format), 0x00FF0000u);
    EXPECT_EQ(lumi::fbConvertPixel(0x07E0, format), 0x0000FF00u);
    EXPECT_EQ(lumi::fbConvertPixel(0x001F, format), 0x000000FFu);
    // r 1, g 2, b 3: (1 << 3 | 1 >> 2), (2 << 2 | 2 >> 4), (3 << 3 | 3 >> 2).
    EXPECT_EQ(lumi::fbConvertPixel((1 << 11) | (2 << 5) | 3, format), 0x00080818u);
    // r 16, g 33, b 17: 0x84, 0x86, 0x8C.
    EXPECT_EQ(lumi::fbConvertPixel((16 << 11) | (33 << 5) | 17, format), 0x0084868Cu);
}

TEST(FbdevConvert, PlacesChannelsWhereTheDeviceSaysAndMakesAlphaOpaque)
{
    lumi::FbPixelFormat format;
    format.bitsPerPixel = 32;
    format.red = { 0, 8 };
    format.green = { 8, 8 };
    format.blue = { 16, 8 };
    format.transp = { 24, 8 };
    EXPECT_EQ(lumi::fbConvertPixel(0xF800, format), 0xFF0000FFu);
    EXPECT_EQ(lumi::fbConvertPixel(0x001F, format), 0xFFFF0000u);
    EXPECT_EQ(lumi::fbConvertPixel(0x0000, format), 0xFF000000u);
}

TEST(FbdevConvert, CutsChannelsToNarrowerAndWidensToWiderDeviceChannels)
{
    lumi::FbPixelFormat rgb101010;
    rgb101010.bitsPerPixel = 32;
    rgb101010.red = { 20, 10 };
    rgb101010.green = { 10, 10 };
    rgb101010.blue = { 0, 10 };
    EXPECT_EQ(lumi::fbConvertPixel(0xFFFF, rgb101010), 0x3FFFFFFFu);
    EXPECT_EQ(lumi::fbConvertPixel(0x0000, rgb101010), 0u);

    lumi::FbPixelFormat rgb555;
    rgb555.bitsPerPixel = 16;
    rgb555.red = { 10, 5 };
    rgb555.green = { 5, 5 };
    rgb555.blue = { 0, 5 };
    // Green 63 (6 bits) becomes 31 (5 bits); red and blue move unchanged.
    EXPECT_EQ(lumi::fbConvertPixel(0xFFFF, rgb555), 0x7FFFu);
    EXPECT_EQ(lumi::fbConvertPixel(0xF800, rgb555), 0x7C00u);
    EXPECT_EQ(lumi::fbConvertPixel(0x07E0, rgb555), 0x03E0u);
}

TEST(FbdevConvert, RecognisesRgb565AsNeedingNoConversion)
{
    lumi::FbPixelFormat rgb565;
    EXPECT_TRUE(lumi::fbIsRgb565(rgb565));
    EXPECT_EQ(lumi::fbConvertPixel(0x1234, rgb565), 0x1234u);

    lumi::FbPixelFormat bgr565;
    bgr565.red = { 0, 5 };
    bgr565.blue = { 11, 5 };
    EXPECT_FALSE(lumi::fbIsRgb565(bgr565));
    EXPECT_EQ(lumi::fbConvertPixel(0xF800, bgr565), 0x001Fu);
    EXPECT_FALSE(lumi::fbIsRgb565(xrgb8888()));
}

TEST(FbdevConvert, ConvertsARowWithRepeatedAndChangingColours)
{
    const lumi::FbPixelFormat format = xrgb8888();
    const std::vector<uint16_t> row = { 0xF800, 0xF800, 0x001F, 0xF800, 0x07E0, 0x07E0, 0x0000 };
    std::vector<uint32_t> out(row.size() + 1, 0xDEADBEEF);
    lumi::fbConvertRow(row.data(), out.data(), static_cast<int>(row.size()), format);
    for (size_t i = 0; i < row.size(); ++i)
        EXPECT_EQ(out[i], lumi::fbConvertPixel(row[i], format)) << "pixel " << i;
    EXPECT_EQ(out.back(), 0xDEADBEEFu) << "wrote past the row";
}

TEST(FbdevConvert, CopiesA16BitRowUnchangedForRgb565)
{
    const std::vector<uint16_t> row = { 0x1234, 0xFFFF, 0x0001 };
    std::vector<uint16_t> out(row.size() + 1, 0xBEEF);
    lumi::fbConvertRow(row.data(), out.data(), static_cast<int>(row.size()), lumi::FbPixelFormat());
    EXPECT_EQ(out[0], 0x1234);
    EXPECT_EQ(out[1], 0xFFFF);
    EXPECT_EQ(out[2], 0x0001);
    EXPECT_EQ(out[3], 0xBEEF);
}

TEST(FbdevCopy, FindsThePannedVisibleAreaFromTheOffsetsAndThePitch)
{
    EXPECT_EQ(lumi::fbVisibleOffset(0, 0, 1600, 16), 0u);
    EXPECT_EQ(lumi::fbVisibleOffset(0, 480, 1600, 16), 480u * 1600u);
    EXPECT_EQ(lumi::fbVisibleOffset(3, 2, 4096, 32), 2u * 4096u + 3u * 4u);
}

// Device memory of a small 32-bit screen with a pitch wider than its rows,
// filled with a marker so that every byte written shows.
struct FakeFrameBuffer {
    static constexpr int kWidth = 6;
    static constexpr int kHeight = 4;
    static constexpr size_t kPitch = 40; // 6 pixels are 24 bytes; 16 bytes of padding
    std::vector<uint32_t> memory = std::vector<uint32_t>(kPitch / 4 * kHeight, 0xA5A5A5A5);
    lumi::FbSurface surface()
    {
        lumi::FbSurface s;
        s.visible = reinterpret_cast<uint8_t*>(memory.data());
        s.lineLength = kPitch;
        s.width = kWidth;
        s.height = kHeight;
        s.format = xrgb8888();
        return s;
    }
    uint32_t at(int x, int y) const { return memory[y * (kPitch / 4) + x]; }
};

TEST(FbdevCopy, ConvertsOnlyTheFlushedRectanglesHonouringThePitch)
{
    FakeFrameBuffer fb;
    std::vector<uint16_t> frame(FakeFrameBuffer::kWidth * FakeFrameBuffer::kHeight, 0xF800);
    Rect rects[] = { Rect(1, 1, 3, 3), Rect(5, 3, 6, 4) };
    lumi::fbCopyRects(fb.surface(), frame.data(), FakeFrameBuffer::kWidth * 2, rects, 2);
    for (int y = 0; y < FakeFrameBuffer::kHeight; ++y) {
        for (int x = 0; x < FakeFrameBuffer::kWidth; ++x) {
            bool flushed = rects[0].ptInRect(x, y) || rects[1].ptInRect(x, y);
            EXPECT_EQ(fb.at(x, y), flushed ? 0x00FF0000u : 0xA5A5A5A5u) << "at " << x << "," << y;
        }
    }
    // The padding after each row is never written.
    for (int y = 0; y < FakeFrameBuffer::kHeight; ++y)
        for (size_t x = FakeFrameBuffer::kWidth; x < FakeFrameBuffer::kPitch / 4; ++x)
            EXPECT_EQ(fb.memory[y * (FakeFrameBuffer::kPitch / 4) + x], 0xA5A5A5A5u);
}

TEST(FbdevCopy, ClipsRectanglesToTheVisibleScreen)
{
    FakeFrameBuffer fb;
    std::vector<uint16_t> frame(FakeFrameBuffer::kWidth * FakeFrameBuffer::kHeight, 0x001F);
    Rect rect(4, -2, 100, 1);
    lumi::fbCopyRects(fb.surface(), frame.data(), FakeFrameBuffer::kWidth * 2, &rect, 1);
    EXPECT_EQ(fb.at(4, 0), 0x000000FFu);
    EXPECT_EQ(fb.at(5, 0), 0x000000FFu);
    EXPECT_EQ(fb.at(3, 0), 0xA5A5A5A5u);
    EXPECT_EQ(fb.at(4, 1), 0xA5A5A5A5u);
    EXPECT_EQ(fb.memory[FakeFrameBuffer::kWidth], 0xA5A5A5A5u) << "the padding after row 0";
}

TEST(FbdevCopy, CopiesRgb565RowsUnchangedToA16BitDevice)
{
    std::vector<uint16_t> memory(8 * 2, 0xBEEF); // pitch 16 bytes for a 5-pixel row
    lumi::FbSurface surface;
    surface.visible = reinterpret_cast<uint8_t*>(memory.data());
    surface.lineLength = 16;
    surface.width = 5;
    surface.height = 2;
    const std::vector<uint16_t> frame = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10 };
    Rect rect(1, 1, 4, 2);
    lumi::fbCopyRects(surface, frame.data(), 5 * 2, &rect, 1);
    const std::vector<uint16_t> expected = { 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF,
        0xBEEF, 7, 8, 9, 0xBEEF, 0xBEEF, 0xBEEF, 0xBEEF };
    EXPECT_EQ(memory, expected);
}

TEST(FbdevDisplay, RefusesARegularFileAsNotAFrameBuffer)
{
    lumitest::TempDir tmp;
    const std::string path = tmp.file("fake-fb");
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::vector<uint8_t> bytes(800 * 480 * 2, 0);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);

    std::string error;
    EXPECT_EQ(lumi::createFbdevDisplay(path, error), nullptr);
    EXPECT_NE(error.find("is not a frame buffer"), std::string::npos) << error;
    EXPECT_NE(error.find(path), std::string::npos) << error;

    std::string factoryError;
    EXPECT_EQ(lumi::createDisplayBackend(("fbdev:" + path).c_str(), factoryError), nullptr);
    EXPECT_EQ(factoryError, error);
}

TEST(FbdevDisplay, ReportsAMissingDeviceNode)
{
    lumitest::TempDir tmp;
    std::string error;
    EXPECT_EQ(lumi::createFbdevDisplay(tmp.file("fb0"), error), nullptr);
    EXPECT_NE(error.find("cannot open"), std::string::npos) << error;
}

}
