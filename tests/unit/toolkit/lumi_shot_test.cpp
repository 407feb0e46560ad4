// lumi-shot: a raw RGB565 screen becomes a PNG with exactly widened channels.

#include "tool_runner.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <png.h>

#include <cstdio>
#include <vector>

namespace {

struct Picture {
    int width { 0 };
    int height { 0 };
    std::vector<uint8_t> rgb; // 3 bytes a pixel, rows top first
};

// Reads an 8-bit RGB PNG; false for anything else.
bool readPng(const std::string& path, Picture& picture)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return false;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        std::fclose(file);
        return false;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    bool ok = png_get_bit_depth(png, info) == 8 && png_get_color_type(png, info) == PNG_COLOR_TYPE_RGB;
    if (ok) {
        picture.width = static_cast<int>(png_get_image_width(png, info));
        picture.height = static_cast<int>(png_get_image_height(png, info));
        picture.rgb.assign(static_cast<size_t>(picture.width) * picture.height * 3, 0);
        for (int y = 0; y < picture.height; ++y)
            png_read_row(png, &picture.rgb[static_cast<size_t>(y) * picture.width * 3], nullptr);
        png_read_end(png, nullptr);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return ok;
}

void writeRaw(const std::string& path, const std::vector<uint16_t>& pixels)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    for (uint16_t p : pixels) {
        const uint8_t bytes[2] = { static_cast<uint8_t>(p & 0xFF), static_cast<uint8_t>(p >> 8) };
        std::fwrite(bytes, 1, 2, file);
    }
    std::fclose(file);
}

class LumiShotTest : public ::testing::Test {
protected:
    void SetUp() override { REQUIRE_TOOL(toolkittest::toolPath("lumi-shot")); }

    int shot(const std::vector<std::string>& args)
    {
        return toolkittest::runTool(toolkittest::toolPath("lumi-shot"), args, errPath);
    }
    std::string errors() const { return toolkittest::readText(errPath); }

    lumitest::TempDir tmp;
    std::string errPath { tmp.file("lumi-shot.err") };
};

TEST_F(LumiShotTest, ConvertsARawScreenToAPngWithExactlyWidenedChannels)
{
    // 4 x 2: white, black, pure red, pure green / pure blue, r1 g2 b3, r16 g33 b17, the key 0x7119.
    const std::vector<uint16_t> raw = { 0xFFFF, 0x0000, 0xF800, 0x07E0, 0x001F, (1 << 11) | (2 << 5) | 3,
        (16 << 11) | (33 << 5) | 17, 0x7119 };
    writeRaw(tmp.file("screen.raw"), raw);
    ASSERT_EQ(shot({ tmp.file("screen.raw"), tmp.file("screen.png"), "4x2" }), 0) << errors();

    Picture picture;
    ASSERT_TRUE(readPng(tmp.file("screen.png"), picture));
    ASSERT_EQ(picture.width, 4);
    ASSERT_EQ(picture.height, 2);
    const std::vector<uint8_t> expected = {
        255,
        255,
        255,
        0,
        0,
        0,
        255,
        0,
        0,
        0,
        255,
        0, // first row
        0,
        0,
        255,
        8,
        8,
        24,
        132,
        134,
        140,
        // 0x7119: r 14, g 8, b 25.
        (14 << 3) | (14 >> 2),
        (8 << 2) | (8 >> 4),
        (25 << 3) | (25 >> 2),
    };
    EXPECT_EQ(picture.rgb, expected);
}

TEST_F(LumiShotTest, AssumesAn800By480ScreenWhenNoSizeIsGiven)
{
    std::vector<uint16_t> raw(800 * 480, 0x001F);
    raw[479 * 800 + 799] = 0xF800;
    writeRaw(tmp.file("screen.raw"), raw);
    ASSERT_EQ(shot({ tmp.file("screen.raw"), tmp.file("screen.png") }), 0) << errors();
    Picture picture;
    ASSERT_TRUE(readPng(tmp.file("screen.png"), picture));
    ASSERT_EQ(picture.width, 800);
    ASSERT_EQ(picture.height, 480);
    EXPECT_EQ(picture.rgb[2], 255);
    const size_t last = (static_cast<size_t>(479) * 800 + 799) * 3;
    EXPECT_EQ(picture.rgb[last], 255);
    EXPECT_EQ(picture.rgb[last + 2], 0);
}

TEST_F(LumiShotTest, RefusesAFileWhoseSizeDoesNotMatchTheScreen)
{
    writeRaw(tmp.file("screen.raw"), std::vector<uint16_t>(6, 0)); // 12 bytes
    EXPECT_EQ(shot({ tmp.file("screen.raw"), tmp.file("short.png"), "4x2" }), 1);
    EXPECT_NE(errors().find("shorter than the expected 16 bytes"), std::string::npos) << errors();
    EXPECT_EQ(shot({ tmp.file("screen.raw"), tmp.file("long.png"), "2x2" }), 1);
    EXPECT_NE(errors().find("longer than the expected 8 bytes"), std::string::npos) << errors();
    FILE* none = std::fopen(tmp.file("short.png").c_str(), "rb");
    EXPECT_EQ(none, nullptr) << "no picture is written for a wrong size";
    if (none)
        std::fclose(none);
}

TEST_F(LumiShotTest, RefusesABadSizeArgumentAndMissingArguments)
{
    writeRaw(tmp.file("screen.raw"), std::vector<uint16_t>(8, 0));
    EXPECT_EQ(shot({ tmp.file("screen.raw"), tmp.file("out.png"), "4by2" }), 1);
    EXPECT_NE(errors().find("bad size"), std::string::npos) << errors();
    EXPECT_EQ(shot({ tmp.file("screen.raw") }), 1);
    EXPECT_NE(errors().find("usage"), std::string::npos) << errors();
}

TEST_F(LumiShotTest, ReportsAMissingInputFile)
{
    EXPECT_EQ(shot({ tmp.file("missing.raw"), tmp.file("out.png"), "4x2" }), 1);
    EXPECT_NE(errors().find("cannot open"), std::string::npos) << errors();
}

}
