// The screen cursor: drawn over the frame at each flush with its colour key,
// and taken off again so that windows never paint over it.

#include "cursor_sprite.h"
#include "screen.h"

#include "lumi_test.h"

#include <lumi/gdi.h>
#include <lumi/mouse.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

namespace {

constexpr int kFrameWidth = 20;
constexpr int kFrameHeight = 16;
constexpr uint16_t kKey = 0x7119;
constexpr uint16_t kRed = 0xF800;
constexpr uint16_t kBlue = 0x001F;

// A frame whose every pixel is different, so a misplaced copy shows.
class Frame {
public:
    Frame()
        : pixels(kFrameWidth * kFrameHeight)
    {
        for (int i = 0; i < kFrameWidth * kFrameHeight; ++i)
            pixels[i] = static_cast<uint16_t>(0x4000 + i);
        image = pixman_image_create_bits(PIXMAN_r5g6b5, kFrameWidth, kFrameHeight,
            reinterpret_cast<uint32_t*>(pixels.data()), kFrameWidth * 2);
    }
    ~Frame() { pixman_image_unref(image); }
    uint16_t at(int x, int y) const { return pixels[y * kFrameWidth + x]; }
    static uint16_t original(int x, int y) { return static_cast<uint16_t>(0x4000 + y * kFrameWidth + x); }

    std::vector<uint16_t> pixels;
    pixman_image_t* image { nullptr };
};

// A 4 x 4 picture: red, with a key-coloured top-left corner pixel and a blue
// bottom-right one.
void makePicture(Bitmap& bitmap)
{
    ASSERT_EQ(bitmap.create(4, 4), 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            bitmap.bits()[y * 4 + x] = kRed;
    bitmap.bits()[0] = kKey;
    bitmap.bits()[15] = kBlue;
}

class CursorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Cursor::destroy();
        Bitmap picture;
        makePicture(picture);
        ASSERT_EQ(Cursor::changeCursorBmp(&picture, kKey), 0);
        Cursor::setVisible(true);
    }
    void TearDown() override { Cursor::destroy(); }

    Frame frame;
};

TEST_F(CursorTest, DrawsThePictureWithItsCentreOnThePosition)
{
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(8, 6, 12, 10));
    EXPECT_EQ(frame.at(9, 6), kRed);
    EXPECT_EQ(frame.at(11, 9), kBlue);
    EXPECT_EQ(frame.at(7, 6), Frame::original(7, 6));
    EXPECT_EQ(frame.at(12, 9), Frame::original(12, 9));
    EXPECT_EQ(frame.at(8, 10), Frame::original(8, 10));
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, LeavesTheFrameVisibleWhereThePictureHasTheColourKey)
{
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(frame.at(8, 6), Frame::original(8, 6));
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, RestorePutsEveryCoveredPixelBackExactly)
{
    const std::vector<uint16_t> untouched = frame.pixels;
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    ASSERT_NE(frame.pixels, untouched);
    lumi::cursorRestore(frame.image);
    EXPECT_EQ(frame.pixels, untouched);
}

TEST_F(CursorTest, ReportsWhereTheCursorWasShownBeforeItMoved)
{
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    lumi::cursorRestore(frame.image);

    Cursor::moveTo(4, 4);
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(2, 2, 6, 6));
    EXPECT_EQ(before, Rect(8, 6, 12, 10));
    EXPECT_EQ(frame.at(9, 6), Frame::original(9, 6)) << "the old place is not drawn again";
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, AHiddenCursorDrawsNothingButReportsWhereItWasShown)
{
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    lumi::cursorRestore(frame.image);

    Cursor::setVisible(false);
    EXPECT_FALSE(Cursor::isVisible());
    const std::vector<uint16_t> untouched = frame.pixels;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_TRUE(now.isEmpty());
    EXPECT_EQ(before, Rect(8, 6, 12, 10));
    EXPECT_EQ(frame.pixels, untouched);
    lumi::cursorRestore(frame.image);
    EXPECT_EQ(frame.pixels, untouched);
}

TEST_F(CursorTest, ClipsACursorThatHangsOverTheFrameEdge)
{
    Cursor::moveTo(kFrameWidth - 1, 0);
    const std::vector<uint16_t> untouched = frame.pixels;
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(kFrameWidth - 3, 0, kFrameWidth, 2));
    // Picture row 2 lands on frame row 0; its column 1 on frame column 18.
    EXPECT_EQ(frame.at(kFrameWidth - 2, 0), kRed);
    lumi::cursorRestore(frame.image);
    EXPECT_EQ(frame.pixels, untouched);
}

TEST_F(CursorTest, ACursorEntirelyOffTheFrameDrawsNothing)
{
    Cursor::moveTo(-50, -50);
    const std::vector<uint16_t> untouched = frame.pixels;
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_TRUE(now.isEmpty());
    EXPECT_EQ(frame.pixels, untouched);
    lumi::cursorRestore(frame.image);
    EXPECT_EQ(frame.pixels, untouched);
}

TEST_F(CursorTest, IsReportedChangedAfterAMoveUntilItIsNextDrawn)
{
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    lumi::cursorRestore(frame.image);
    EXPECT_FALSE(lumi::cursorChanged());
    Cursor::setPos(3, 3);
    EXPECT_TRUE(lumi::cursorChanged());
    int x = 0;
    int y = 0;
    Cursor::getPos(x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 3);
    lumi::cursorOverlay(frame.image, now, before);
    lumi::cursorRestore(frame.image);
    EXPECT_FALSE(lumi::cursorChanged());
}

TEST_F(CursorTest, KeepsItsOwnCopyOfThePicture)
{
    {
        Bitmap green;
        ASSERT_EQ(green.create(2, 2), 0);
        for (int i = 0; i < 4; ++i)
            green.bits()[i] = 0x07E0;
        ASSERT_EQ(Cursor::changeCursorBmp(&green, kKey), 0);
        green.bits()[0] = kBlue;
    }
    Cursor::moveTo(5, 5);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(4, 4, 6, 6));
    EXPECT_EQ(frame.at(4, 4), 0x07E0);
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, RefusesANullOrEmptyPictureAndKeepsTheOldOne)
{
    EXPECT_EQ(Cursor::changeCursorBmp(nullptr, kKey), -1);
    Bitmap empty;
    EXPECT_EQ(Cursor::changeCursorBmp(&empty, kKey), -1);
    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(8, 6, 12, 10));
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, WithoutAPictureNothingIsDrawn)
{
    Cursor::destroy();
    Cursor::moveTo(10, 8);
    Cursor::setVisible(true);
    const std::vector<uint16_t> untouched = frame.pixels;
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_TRUE(now.isEmpty());
    EXPECT_TRUE(before.isEmpty());
    lumi::cursorRestore(frame.image);
    EXPECT_EQ(frame.pixels, untouched);
}

// A 24-bit bottom-up BMP of the given RGB pixels (rows top first).
void writeBmp(const std::string& path, int width, int height, const std::vector<uint32_t>& rgb)
{
    const int rowBytes = (width * 3 + 3) & ~3;
    const uint32_t dataSize = static_cast<uint32_t>(rowBytes * height);
    std::vector<uint8_t> file(54 + dataSize, 0);
    auto put32 = [&](size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            file[at + i] = static_cast<uint8_t>(v >> (8 * i));
    };
    file[0] = 'B';
    file[1] = 'M';
    put32(2, static_cast<uint32_t>(file.size()));
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<uint32_t>(width));
    put32(22, static_cast<uint32_t>(height));
    file[26] = 1;
    file[28] = 24;
    put32(34, dataSize);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = &file[54 + static_cast<size_t>(height - 1 - y) * rowBytes];
        for (int x = 0; x < width; ++x) {
            uint32_t c = rgb[y * width + x];
            row[3 * x] = static_cast<uint8_t>(c);
            row[3 * x + 1] = static_cast<uint8_t>(c >> 8);
            row[3 * x + 2] = static_cast<uint8_t>(c >> 16);
        }
    }
    FILE* out = std::fopen(path.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fwrite(file.data(), 1, file.size(), out);
    std::fclose(out);
}

TEST_F(CursorTest, CreateLoadsThePictureFromAFile)
{
    lumitest::TempDir tmp;
    // Blue everywhere but a magenta (the key, 0xF81F) top-left pixel.
    std::vector<uint32_t> rgb(3 * 3, 0x0000FF);
    rgb[0] = 0xFF00FF;
    writeBmp(tmp.file("cursor.bmp"), 3, 3, rgb);
    ASSERT_EQ(Cursor::create(tmp.file("cursor.bmp").c_str(), 0xF81F), 0);

    Cursor::moveTo(10, 8);
    Rect now;
    Rect before;
    lumi::cursorOverlay(frame.image, now, before);
    EXPECT_EQ(now, Rect(9, 7, 12, 10));
    EXPECT_EQ(frame.at(9, 7), Frame::original(9, 7));
    EXPECT_EQ(frame.at(10, 7), kBlue);
    EXPECT_EQ(frame.at(11, 9), kBlue);
    lumi::cursorRestore(frame.image);
}

TEST_F(CursorTest, CreateFailsForAMissingFile)
{
    lumitest::TempDir tmp;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Cursor::create(tmp.file("missing.bmp").c_str(), kKey), -1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(Cursor::create(nullptr, kKey), -1);
}

// On a running screen: the cursor appears at once and is never part of the
// frame the windows paint into.
class CursorOnScreenTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        Cursor::destroy();
        ToolkitTest::SetUp();
        window.setBackColor(kBlue);
        // The test owns the window object; the toolkit must not delete it.
        window.setAutoDelete(false);
        ASSERT_EQ(window.create(Rect(0, 0, screenWidth, screenHeight), WS_VISIBLE, 101), 0);
        settle();
        Bitmap picture;
        ASSERT_EQ(picture.create(4, 4), 0);
        for (int i = 0; i < 16; ++i)
            picture.bits()[i] = kRed;
        picture.bits()[0] = kKey;
        ASSERT_EQ(Cursor::changeCursorBmp(&picture, kKey), 0);
        Cursor::setVisible(true);
    }
    void TearDown() override
    {
        if (window.isCreated())
            window.destroy();
        ToolkitTest::TearDown();
        Cursor::destroy();
    }

    MainWndBase window;
};

TEST_F(CursorOnScreenTest, MoveToShowsTheCursorWithoutWaitingForTheLoop)
{
    Cursor::moveTo(100, 100);
    EXPECT_EQ(shownPixel(100, 100), kRed);
    EXPECT_EQ(shownPixel(98, 98), kBlue) << "key-coloured pixels show the window";
    EXPECT_EQ(shownPixel(102, 100), kBlue);
}

TEST_F(CursorOnScreenTest, MovingTheCursorPutsBackWhatItCovered)
{
    Cursor::moveTo(100, 100);
    Cursor::moveTo(300, 200);
    EXPECT_EQ(shownPixel(100, 100), kBlue);
    EXPECT_EQ(shownPixel(300, 200), kRed);
}

TEST_F(CursorOnScreenTest, HidingTheCursorErasesItAtOnce)
{
    Cursor::moveTo(100, 100);
    Cursor::setVisible(false);
    EXPECT_EQ(shownPixel(100, 100), kBlue);
    Cursor::setVisible(true);
    EXPECT_EQ(shownPixel(100, 100), kRed);
}

TEST_F(CursorOnScreenTest, WindowsNeverSeeTheCursorInTheFrame)
{
    Cursor::moveTo(100, 100);
    ASSERT_EQ(shownPixel(100, 100), kRed);
    EXPECT_EQ(lumi::screen()->pixels()[100 * screenWidth + 100], kBlue);
}

TEST_F(CursorOnScreenTest, ARepaintUnderTheCursorKeepsItShown)
{
    Cursor::moveTo(100, 100);
    window.invalidateRect();
    settle();
    EXPECT_EQ(shownPixel(100, 100), kRed);
    EXPECT_EQ(shownPixel(200, 200), kBlue);
}

}
