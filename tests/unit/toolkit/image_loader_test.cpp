#include "image_decode.h"
#include "lumi_test.h"

#include <lumi/gdi.h>

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

uint16_t rgb565(unsigned r, unsigned g, unsigned b)
{
    return static_cast<uint16_t>(((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3));
}

// The colour of test pixel (x, y) as 8-bit channels.
unsigned red(int x, int y) { return (x * 53 + y * 17) & 0xFF; }
unsigned green(int x, int y) { return (x * 29 + y * 71 + 40) & 0xFF; }
unsigned blue(int x, int y) { return (255 - x * 37 - y * 11) & 0xFF; }
uint16_t expected(int x, int y) { return rgb565(red(x, y), green(x, y), blue(x, y)); }

void put16(std::vector<uint8_t>& out, size_t at, uint32_t v)
{
    out[at] = static_cast<uint8_t>(v);
    out[at + 1] = static_cast<uint8_t>(v >> 8);
}

void put32(std::vector<uint8_t>& out, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// A BMP file described field by field, written the way a paint program would.
struct BmpPlan {
    int width { 0 };
    int height { 0 };
    int bpp { 24 };
    bool topDown { false };
    uint32_t compression { 0 };
    uint32_t headerSize { 40 };
    std::vector<uint32_t> palette;   // 0xRRGGBB
    uint32_t masks[3] { 0, 0, 0 };   // red, green, blue (bit fields only)
    std::function<uint32_t(int x, int y)> raw;   // stored value of pixel (x, y)
};

std::vector<uint8_t> makeBmp(const BmpPlan& s)
{
    const bool core = s.headerSize == 12;
    const bool bitfields = s.compression == 3;
    const size_t maskBytes = bitfields && s.headerSize == 40 ? 12 : 0;
    const size_t entry = core ? 3 : 4;
    const size_t offset = 14 + s.headerSize + maskBytes + s.palette.size() * entry;
    const size_t rowBytes = (static_cast<size_t>(s.width) * s.bpp + 31) / 32 * 4;
    std::vector<uint8_t> out(offset + rowBytes * s.height, 0);
    out[0] = 'B';
    out[1] = 'M';
    put32(out, 2, static_cast<uint32_t>(out.size()));
    put32(out, 10, static_cast<uint32_t>(offset));
    const size_t h = 14;
    put32(out, h, s.headerSize);
    if (core) {
        put16(out, h + 4, static_cast<uint32_t>(s.width));
        put16(out, h + 6, static_cast<uint32_t>(s.height));
        put16(out, h + 8, 1);
        put16(out, h + 10, static_cast<uint32_t>(s.bpp));
    } else {
        put32(out, h + 4, static_cast<uint32_t>(s.width));
        put32(out, h + 8, static_cast<uint32_t>(s.topDown ? -s.height : s.height));
        put16(out, h + 12, 1);
        put16(out, h + 14, static_cast<uint32_t>(s.bpp));
        put32(out, h + 16, s.compression);
        put32(out, h + 20, static_cast<uint32_t>(rowBytes * s.height));
        put32(out, h + 32, static_cast<uint32_t>(s.palette.size()));
        if (bitfields) {
            for (int i = 0; i < 3; ++i)
                put32(out, h + 40 + 4 * i, s.masks[i]);
        }
    }
    size_t p = 14 + s.headerSize + maskBytes;
    for (uint32_t c : s.palette) {
        out[p] = static_cast<uint8_t>(c);
        out[p + 1] = static_cast<uint8_t>(c >> 8);
        out[p + 2] = static_cast<uint8_t>(c >> 16);
        p += entry;
    }
    for (int y = 0; y < s.height; ++y) {
        const int fileRow = s.topDown ? y : s.height - 1 - y;
        const size_t row = offset + rowBytes * fileRow;
        for (int x = 0; x < s.width; ++x) {
            const uint32_t v = s.raw(x, y);
            switch (s.bpp) {
            case 1:
                out[row + x / 8] |= static_cast<uint8_t>((v & 1) << (7 - x % 8));
                break;
            case 4:
                out[row + x / 2] |= static_cast<uint8_t>((v & 0xF) << (x % 2 ? 0 : 4));
                break;
            case 8:
                out[row + x] = static_cast<uint8_t>(v);
                break;
            case 16:
                put16(out, row + 2 * x, v);
                break;
            case 24:
                out[row + 3 * x] = static_cast<uint8_t>(v);
                out[row + 3 * x + 1] = static_cast<uint8_t>(v >> 8);
                out[row + 3 * x + 2] = static_cast<uint8_t>(v >> 16);
                break;
            case 32:
                put32(out, row + 4 * x, v);
                break;
            }
        }
    }
    return out;
}

BmpPlan trueColour(int bpp)
{
    BmpPlan s;
    s.width = 5;
    s.height = 3;
    s.bpp = bpp;
    s.raw = [](int x, int y) { return (red(x, y) << 16) | (green(x, y) << 8) | blue(x, y); };
    return s;
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    if (!bytes.empty()) {
        ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
    }
    std::fclose(f);
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::vector<uint8_t> bytes;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return bytes;
    int c;
    while ((c = std::fgetc(f)) != EOF)
        bytes.push_back(static_cast<uint8_t>(c));
    std::fclose(f);
    return bytes;
}

// A PNG written by libpng: rows of raw sample bytes in the given format.
struct PngPlan {
    int width { 0 };
    int height { 0 };
    int colourType { PNG_COLOR_TYPE_RGB };
    int depth { 8 };
    bool interlaced { false };
    std::vector<uint32_t> palette;   // 0xRRGGBB, palette pictures only
    std::function<std::vector<uint8_t>(int y)> row;
};

bool writePng(const std::string& path, const PngPlan& s)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(f);
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, s.width, s.height, s.depth, s.colourType,
        s.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
        PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> colours;
    for (uint32_t c : s.palette)
        colours.push_back(png_color { static_cast<png_byte>(c >> 16), static_cast<png_byte>(c >> 8),
            static_cast<png_byte>(c) });
    if (!colours.empty())
        png_set_PLTE(png, info, colours.data(), static_cast<int>(colours.size()));
    png_write_info(png, info);
    std::vector<std::vector<uint8_t>> rows;
    std::vector<png_bytep> pointers;
    for (int y = 0; y < s.height; ++y)
        rows.push_back(s.row(y));
    for (auto& r : rows)
        pointers.push_back(r.data());
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return true;
}

PngPlan rgbPng(int width, int height)
{
    PngPlan s;
    s.width = width;
    s.height = height;
    s.row = [width](int y) {
        std::vector<uint8_t> r;
        for (int x = 0; x < width; ++x) {
            r.push_back(static_cast<uint8_t>(red(x, y)));
            r.push_back(static_cast<uint8_t>(green(x, y)));
            r.push_back(static_cast<uint8_t>(blue(x, y)));
        }
        return r;
    };
    return s;
}

class ImageLoader : public ::testing::Test {
protected:
    // Loads bytes written to a file of the temporary directory.
    std::unique_ptr<Bitmap> load(const std::vector<uint8_t>& bytes, const char* name = "picture")
    {
        const std::string path = tmp.file(name);
        writeFile(path, bytes);
        return std::unique_ptr<Bitmap>(ImageMan::load(path.c_str()));
    }

    // Loads bytes that must be refused; returns what was printed on stderr.
    std::string refusal(const std::vector<uint8_t>& bytes)
    {
        const std::string path = tmp.file("bad");
        writeFile(path, bytes);
        testing::internal::CaptureStderr();
        std::unique_ptr<Bitmap> bitmap(ImageMan::load(path.c_str()));
        std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(bitmap, nullptr);
        return printed;
    }

    void expectTestPicture(const Bitmap* bitmap, int width, int height)
    {
        ASSERT_NE(bitmap, nullptr);
        ASSERT_EQ(bitmap->width(), width);
        ASSERT_EQ(bitmap->height(), height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                EXPECT_EQ(bitmap->pixel(x, y), expected(x, y)) << "at " << x << "," << y;
    }

    lumitest::TempDir tmp;
};

// Two RGB565 colours whose channels differ by at most one step.
::testing::AssertionResult closeColours(uint16_t a, uint16_t b)
{
    const int dr = std::abs((a >> 11) - (b >> 11));
    const int dg = std::abs(((a >> 5) & 63) - ((b >> 5) & 63));
    const int db = std::abs((a & 31) - (b & 31));
    if (dr <= 1 && dg <= 1 && db <= 1)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << std::hex << a << " vs " << b;
}

}

TEST_F(ImageLoader, Reads24BitBottomUpBmpWithTheFirstRowAtTheBottom)
{
    auto bitmap = load(makeBmp(trueColour(24)));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads24BitTopDownBmp)
{
    BmpPlan s = trueColour(24);
    s.topDown = true;
    auto bitmap = load(makeBmp(s));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads32BitBmpIgnoringTheFourthByte)
{
    BmpPlan s = trueColour(32);
    s.raw = [](int x, int y) { return 0xA5000000u | (red(x, y) << 16) | (green(x, y) << 8) | blue(x, y); };
    auto bitmap = load(makeBmp(s));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads32BitBmpWithBitFieldsInAnyChannelOrder)
{
    BmpPlan s = trueColour(32);
    s.compression = 3;
    s.masks[0] = 0x000000FF;   // red in the low byte
    s.masks[1] = 0x0000FF00;
    s.masks[2] = 0x00FF0000;
    s.raw = [](int x, int y) { return (blue(x, y) << 16) | (green(x, y) << 8) | red(x, y); };
    auto bitmap = load(makeBmp(s));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads16BitBmpAs555WithoutBitFields)
{
    BmpPlan s = trueColour(16);
    s.raw = [](int x, int y) { return ((red(x, y) >> 3) << 10) | ((green(x, y) >> 3) << 5) | (blue(x, y) >> 3); };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_TRUE(closeColours(bitmap->pixel(x, y), expected(x, y))) << x << "," << y;
    // Full and empty channels stay exact.
    s.raw = [](int x, int) { return x == 0 ? 0x7FFFu : 0x7C00u; };
    bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), 0xFFFF);
    EXPECT_EQ(bitmap->pixel(1, 0), 0xF800);
}

TEST_F(ImageLoader, Reads16Bit565BitFieldsBmpExactly)
{
    BmpPlan s = trueColour(16);
    s.compression = 3;
    s.masks[0] = 0xF800;
    s.masks[1] = 0x07E0;
    s.masks[2] = 0x001F;
    s.raw = [](int x, int y) { return static_cast<uint32_t>(expected(x, y)); };
    auto bitmap = load(makeBmp(s));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads16BitBitFieldsFromAV5Header)
{
    BmpPlan s = trueColour(16);
    s.headerSize = 124;
    s.compression = 3;
    s.masks[0] = 0xF800;
    s.masks[1] = 0x07E0;
    s.masks[2] = 0x001F;
    s.raw = [](int x, int y) { return static_cast<uint32_t>(expected(x, y)); };
    auto bitmap = load(makeBmp(s));
    expectTestPicture(bitmap.get(), 5, 3);
}

TEST_F(ImageLoader, Reads8BitBmpThroughItsPalette)
{
    BmpPlan s;
    s.width = 6;
    s.height = 2;
    s.bpp = 8;
    s.palette = { 0x000000, 0xFF0000, 0x00FF00, 0x0000FF };
    s.raw = [](int x, int y) { return static_cast<uint32_t>((x + y) % 4); };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    const uint16_t colours[4] = { 0x0000, 0xF800, 0x07E0, 0x001F };
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(bitmap->pixel(x, y), colours[(x + y) % 4]) << x << "," << y;
}

TEST_F(ImageLoader, Reads4BitBmpOfOddWidthHighNibbleFirst)
{
    BmpPlan s;
    s.width = 5;
    s.height = 3;
    s.bpp = 4;
    for (int i = 0; i < 16; ++i)
        s.palette.push_back(static_cast<uint32_t>(i * 16) << 16);   // reds
    s.raw = [](int x, int y) { return static_cast<uint32_t>((x * 3 + y) & 15); };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(bitmap->pixel(x, y), rgb565(((x * 3 + y) & 15) * 16, 0, 0)) << x << "," << y;
}

TEST_F(ImageLoader, Reads1BitBmpMostSignificantBitFirst)
{
    BmpPlan s;
    s.width = 13;
    s.height = 2;
    s.bpp = 1;
    s.palette = { 0xFF0000, 0x0000FF };
    s.raw = [](int x, int y) { return static_cast<uint32_t>((x * 7 + y) % 3 == 0); };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 13; ++x)
            EXPECT_EQ(bitmap->pixel(x, y), (x * 7 + y) % 3 == 0 ? 0x001F : 0xF800) << x << "," << y;
}

TEST_F(ImageLoader, ReadsTheOldCoreHeaderWithThreeBytePalette)
{
    BmpPlan s;
    s.width = 3;
    s.height = 2;
    s.bpp = 8;
    s.headerSize = 12;
    s.palette.resize(256, 0xFFFFFF);
    s.palette[7] = 0x00FF00;
    s.raw = [](int x, int) { return x == 1 ? 7u : 0u; };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(1, 0), 0x07E0);
    EXPECT_EQ(bitmap->pixel(0, 1), 0xFFFF);
}

TEST_F(ImageLoader, IndexesBeyondTheStoredPaletteAreBlack)
{
    BmpPlan s;
    s.width = 2;
    s.height = 1;
    s.bpp = 8;
    s.palette = { 0xFFFFFF };
    s.raw = [](int x, int) { return x == 0 ? 0u : 200u; };
    auto bitmap = load(makeBmp(s));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), 0xFFFF);
    EXPECT_EQ(bitmap->pixel(1, 0), 0x0000);
}

TEST_F(ImageLoader, RefusesTruncatedBmpPixelDataWithAClearLine)
{
    std::vector<uint8_t> bytes = makeBmp(trueColour(24));
    bytes.resize(bytes.size() - 10);
    const std::string printed = refusal(bytes);
    EXPECT_EQ(printed, "[lumi] cannot load " + tmp.file("bad") + ": truncated BMP pixel data\n");
}

TEST_F(ImageLoader, RefusesEveryTruncationOfABmp)
{
    BmpPlan s = trueColour(24);
    s.width = 4;   // rows without padding, so every byte counts
    const std::vector<uint8_t> bytes = makeBmp(s);
    for (size_t n = 0; n < bytes.size(); ++n) {
        std::string error;
        std::unique_ptr<Bitmap> bitmap(lumi::decodeImage(bytes.data(), n, error));
        EXPECT_EQ(bitmap, nullptr) << "accepted " << n << " of " << bytes.size() << " bytes";
        EXPECT_FALSE(error.empty());
    }
    std::string error;
    std::unique_ptr<Bitmap> whole(lumi::decodeImage(bytes.data(), bytes.size(), error));
    EXPECT_NE(whole, nullptr) << error;
}

TEST_F(ImageLoader, RefusesBmpLargerThan8192)
{
    BmpPlan s = trueColour(24);
    std::vector<uint8_t> bytes = makeBmp(s);
    put32(bytes, 18, 8193);
    EXPECT_NE(refusal(bytes).find("image too large"), std::string::npos);
    bytes = makeBmp(s);
    put32(bytes, 22, static_cast<uint32_t>(-9000));   // top-down, too tall
    EXPECT_NE(refusal(bytes).find("image too large"), std::string::npos);
}

TEST_F(ImageLoader, RefusesBmpOfZeroOrNegativeWidth)
{
    std::vector<uint8_t> bytes = makeBmp(trueColour(24));
    put32(bytes, 18, 0);
    EXPECT_NE(refusal(bytes).find("bad BMP size"), std::string::npos);
    put32(bytes, 18, static_cast<uint32_t>(-4));
    EXPECT_NE(refusal(bytes).find("bad BMP size"), std::string::npos);
    bytes = makeBmp(trueColour(24));
    put32(bytes, 22, 0x80000000u);   // the most negative height
    EXPECT_NE(refusal(bytes).find("image too large"), std::string::npos);
}

TEST_F(ImageLoader, RefusesPixelDataOffsetOutsideTheFile)
{
    std::vector<uint8_t> bytes = makeBmp(trueColour(24));
    put32(bytes, 10, 0xFFFFFFF0u);
    EXPECT_NE(refusal(bytes).find("bad BMP pixel data offset"), std::string::npos);
    put32(bytes, 10, 20);   // inside the header
    EXPECT_NE(refusal(bytes).find("bad BMP pixel data offset"), std::string::npos);
}

TEST_F(ImageLoader, RefusesUnsupportedDepthsAndCompressions)
{
    std::vector<uint8_t> bytes = makeBmp(trueColour(24));
    put16(bytes, 28, 2);
    EXPECT_NE(refusal(bytes).find("unsupported BMP bit depth 2"), std::string::npos);
    bytes = makeBmp(trueColour(24));
    put32(bytes, 30, 1);
    EXPECT_NE(refusal(bytes).find("run-length"), std::string::npos);
    put32(bytes, 30, 3);   // bit fields on 24 bits
    EXPECT_NE(refusal(bytes).find("bit fields"), std::string::npos);
    put32(bytes, 30, 77);
    EXPECT_NE(refusal(bytes).find("unknown BMP compression"), std::string::npos);
}

TEST_F(ImageLoader, RefusesTruncatedPaletteAndHeader)
{
    BmpPlan s;
    s.width = 2;
    s.height = 1;
    s.bpp = 8;
    s.palette = { 0xFFFFFF, 0 };
    s.raw = [](int, int) { return 0u; };
    std::vector<uint8_t> bytes = makeBmp(s);
    put32(bytes, 46, 0);   // claims all 256 colours
    bytes.resize(14 + 40 + 8);
    EXPECT_NE(refusal(bytes).find("truncated BMP palette"), std::string::npos);
    bytes.resize(30);
    EXPECT_NE(refusal(bytes).find("truncated BMP header"), std::string::npos);
}

TEST_F(ImageLoader, ReadsRgbPng)
{
    PngPlan s = rgbPng(7, 4);
    ASSERT_TRUE(writePng(tmp.file("a.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("a.png").c_str()));
    expectTestPicture(bitmap.get(), 7, 4);
}

TEST_F(ImageLoader, ReadsInterlacedPng)
{
    PngPlan s = rgbPng(11, 9);
    s.interlaced = true;
    ASSERT_TRUE(writePng(tmp.file("a.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("a.png").c_str()));
    expectTestPicture(bitmap.get(), 11, 9);
}

TEST_F(ImageLoader, DropsThePngAlphaChannelAndKeepsTheColour)
{
    PngPlan s;
    s.width = 3;
    s.height = 1;
    s.colourType = PNG_COLOR_TYPE_RGB_ALPHA;
    s.row = [](int) { return std::vector<uint8_t> { 255, 0, 0, 0, 0, 255, 0, 128, 0, 0, 255, 255 }; };
    ASSERT_TRUE(writePng(tmp.file("a.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("a.png").c_str()));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), 0xF800);
    EXPECT_EQ(bitmap->pixel(1, 0), 0x07E0);
    EXPECT_EQ(bitmap->pixel(2, 0), 0x001F);
}

TEST_F(ImageLoader, ReadsGreyPngOfEightAndOneBits)
{
    PngPlan s;
    s.width = 2;
    s.height = 1;
    s.colourType = PNG_COLOR_TYPE_GRAY;
    s.row = [](int) { return std::vector<uint8_t> { 0x80, 0xFF }; };
    ASSERT_TRUE(writePng(tmp.file("g8.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("g8.png").c_str()));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), rgb565(0x80, 0x80, 0x80));
    EXPECT_EQ(bitmap->pixel(1, 0), 0xFFFF);

    s.width = 10;
    s.depth = 1;
    s.row = [](int) { return std::vector<uint8_t> { 0xA0, 0x40 }; };   // 1010000001
    ASSERT_TRUE(writePng(tmp.file("g1.png"), s));
    bitmap.reset(ImageMan::load(tmp.file("g1.png").c_str()));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), 0xFFFF);
    EXPECT_EQ(bitmap->pixel(1, 0), 0x0000);
    EXPECT_EQ(bitmap->pixel(2, 0), 0xFFFF);
    EXPECT_EQ(bitmap->pixel(9, 0), 0xFFFF);
    EXPECT_EQ(bitmap->pixel(8, 0), 0x0000);
}

TEST_F(ImageLoader, ReadsPalettePngOfFourBits)
{
    PngPlan s;
    s.width = 3;
    s.height = 1;
    s.colourType = PNG_COLOR_TYPE_PALETTE;
    s.depth = 4;
    s.palette = { 0x000000, 0xFF0000, 0x00FF00, 0x0000FF };
    s.row = [](int) { return std::vector<uint8_t> { 0x32, 0x10 }; };
    ASSERT_TRUE(writePng(tmp.file("p.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("p.png").c_str()));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), 0x001F);
    EXPECT_EQ(bitmap->pixel(1, 0), 0x07E0);
    EXPECT_EQ(bitmap->pixel(2, 0), 0xF800);
}

TEST_F(ImageLoader, ReadsSixteenBitPngByItsHighBytes)
{
    PngPlan s;
    s.width = 1;
    s.height = 1;
    s.depth = 16;
    s.row = [](int) { return std::vector<uint8_t> { 0xFF, 0x12, 0x00, 0xFF, 0x80, 0x00 }; };
    ASSERT_TRUE(writePng(tmp.file("a.png"), s));
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("a.png").c_str()));
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixel(0, 0), rgb565(0xFF, 0x00, 0x80));
}

TEST_F(ImageLoader, RefusesTruncatedPng)
{
    ASSERT_TRUE(writePng(tmp.file("a.png"), rgbPng(40, 30)));
    std::vector<uint8_t> bytes = readFile(tmp.file("a.png"));
    ASSERT_GT(bytes.size(), 100u);
    bytes.resize(bytes.size() / 2);
    const std::string printed = refusal(bytes);
    EXPECT_EQ(printed.rfind("[lumi] cannot load " + tmp.file("bad") + ": ", 0), 0u) << printed;
}

TEST_F(ImageLoader, RefusesEveryPngCutBeforeItsImageDataEnds)
{
    ASSERT_TRUE(writePng(tmp.file("a.png"), rgbPng(9, 6)));
    const std::vector<uint8_t> bytes = readFile(tmp.file("a.png"));
    const std::string text(bytes.begin(), bytes.end());
    const size_t idat = text.find("IDAT");
    ASSERT_NE(idat, std::string::npos);
    const size_t length = (size_t(bytes[idat - 4]) << 24) | (size_t(bytes[idat - 3]) << 16)
        | (size_t(bytes[idat - 2]) << 8) | bytes[idat - 1];
    const size_t dataEnd = idat + 4 + length;
    for (size_t n = 0; n < dataEnd - 4; ++n) {
        std::string error;
        std::unique_ptr<Bitmap> bitmap(lumi::decodeImage(bytes.data(), n, error));
        EXPECT_EQ(bitmap, nullptr) << "accepted " << n << " of " << bytes.size() << " bytes";
    }
}

TEST_F(ImageLoader, RefusesPngWithCorruptImageData)
{
    ASSERT_TRUE(writePng(tmp.file("a.png"), rgbPng(40, 30)));
    std::vector<uint8_t> bytes = readFile(tmp.file("a.png"));
    const std::string text(bytes.begin(), bytes.end());
    const size_t idat = text.find("IDAT");
    ASSERT_NE(idat, std::string::npos);
    bytes[idat + 10] ^= 0x55;
    EXPECT_FALSE(refusal(bytes).empty());
}

TEST_F(ImageLoader, RefusesPngWiderThan8192)
{
    ASSERT_TRUE(writePng(tmp.file("a.png"), rgbPng(8193, 1)));
    const std::string printed = refusal(readFile(tmp.file("a.png")));
    EXPECT_NE(printed.find("image too large (8193x1)"), std::string::npos) << printed;
}

TEST_F(ImageLoader, RefusesFilesThatAreNeitherBmpNorPng)
{
    EXPECT_NE(refusal({ 'G', 'I', 'F', '8', '9', 'a', 0, 0 }).find("not a BMP or PNG file"), std::string::npos);
    EXPECT_NE(refusal({}).find("empty file"), std::string::npos);
}

TEST_F(ImageLoader, ReportsAMissingFile)
{
    testing::internal::CaptureStderr();
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(tmp.file("absent.bmp").c_str()));
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(bitmap, nullptr);
    EXPECT_EQ(printed, "[lumi] cannot load " + tmp.file("absent.bmp") + ": No such file or directory\n");
}

TEST_F(ImageLoader, SurvivesRandomBytesAfterEitherSignature)
{
    std::mt19937 random(1234);
    ASSERT_TRUE(writePng(tmp.file("a.png"), rgbPng(5, 5)));
    const std::vector<uint8_t> png = readFile(tmp.file("a.png"));
    for (int round = 0; round < 3000; ++round) {
        std::vector<uint8_t> bytes = round % 2 ? png : makeBmp(trueColour(round % 3 ? 24 : 16));
        // Change a few bytes of a valid picture, then maybe cut it.
        const int changes = 1 + static_cast<int>(random() % 6);
        for (int i = 0; i < changes; ++i)
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        if (random() % 3 == 0)
            bytes.resize(random() % bytes.size());
        std::string error;
        std::unique_ptr<Bitmap> bitmap(lumi::decodeImage(bytes.data(), bytes.size(), error));
        if (bitmap) {
            EXPECT_GE(bitmap->width(), 1);
            EXPECT_LE(bitmap->width(), 8192);
            EXPECT_LE(bitmap->height(), 8192);
        } else {
            EXPECT_FALSE(error.empty());
        }
    }
}
