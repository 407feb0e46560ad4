#include "font_impl.h"
#include "lumi_test.h"
#include "screen.h"

#include <lumi/gdi.h>
#include <lumi/window.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ostream>

namespace {

constexpr uint16_t kWhite = 0xFFFF;
constexpr uint16_t kRed = 0xF800;
constexpr uint16_t kBlue = 0x001F;
constexpr uint16_t kGreen = 0x07E0;

// The pixels of a bitmap that differ from the background.
struct Ink {
    int left { INT_MAX };
    int top { INT_MAX };
    int right { INT_MIN };    // inclusive
    int bottom { INT_MIN };   // inclusive
    int count { 0 };

    bool empty() const { return count == 0; }
    double centreX() const { return (left + right + 1) / 2.0; }
    double centreY() const { return (top + bottom + 1) / 2.0; }
};

std::ostream& operator<<(std::ostream& out, const Ink& ink)
{
    return out << "ink " << ink.count << " px in x " << ink.left << ".." << ink.right << ", y " << ink.top << ".."
               << ink.bottom;
}

Ink inkOf(const Bitmap& bitmap, uint16_t background, const Rect* within = nullptr)
{
    Ink ink;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            if (within && !within->ptInRect(x, y))
                continue;
            if (bitmap.pixel(x, y) == background)
                continue;
            ink.left = std::min(ink.left, x);
            ink.right = std::max(ink.right, x);
            ink.top = std::min(ink.top, y);
            ink.bottom = std::max(ink.bottom, y);
            ++ink.count;
        }
    }
    return ink;
}

int countColour(const Bitmap& bitmap, uint16_t colour)
{
    int n = 0;
    for (int y = 0; y < bitmap.height(); ++y)
        for (int x = 0; x < bitmap.width(); ++x)
            n += bitmap.pixel(x, y) == colour;
    return n;
}

// A memory DC of width x height at (0, 0), filled white, with a red pen.
class Canvas {
public:
    Canvas(int width, int height, const Rect& at = Rect())
    {
        Rect r = at.isEmpty() ? Rect(0, 0, width, height) : at;
        EXPECT_EQ(dc.create(r, nullptr), 0);
        dc.fillRect(r, kWhite);
        dc.setPenColor(kRed);
    }
    const Bitmap& bitmap() { return *dc.getBitmap(); }
    uint16_t at(int x, int y) { return dc.getBitmap()->pixel(x, y); }
    Ink ink() { return inkOf(bitmap(), kWhite); }

    MemDC dc;
};

// A DC over a bitmap of the test's with any origin and clip region, as a
// window's DC is over the screen.
class SurfaceDC : public DC {
public:
    SurfaceDC(Bitmap& surface, int originX, int originY, const Region& clip)
    {
        attach(surface.native(), originX, originY, clip);
    }
};

Bitmap* whiteBitmap(Bitmap& b, int w, int h)
{
    EXPECT_EQ(b.create(w, h), 0);
    std::fill(b.bits(), b.bits() + b.stride() / 2 * h, kWhite);
    return &b;
}

}

// ---- memory DCs and plain drawing ------------------------------------------

TEST(MemDC, RefusesEmptyAndHugeRectangles)
{
    MemDC dc;
    EXPECT_EQ(dc.create(Rect(), nullptr), -1);
    EXPECT_EQ(dc.create(Rect(10, 10, 5, 20), nullptr), -1);
    EXPECT_EQ(dc.create(Rect(0, 0, 8193, 10), nullptr), -1);
    EXPECT_EQ(dc.create(Rect(INT_MIN, 0, INT_MAX, 10), nullptr), -1);
    EXPECT_TRUE(dc.getBitmap()->isNull());
}

TEST(MemDC, HasABitmapOfTheRectanglesSizeAndClipsToIt)
{
    MemDC dc;
    ASSERT_EQ(dc.create(Rect(30, 40, 130, 90), nullptr), 0);
    EXPECT_EQ(dc.getBitmap()->width(), 100);
    EXPECT_EQ(dc.getBitmap()->height(), 50);
    EXPECT_EQ(dc.region().boundRect(), Rect(0, 0, 100, 50));
    EXPECT_EQ(dc.target(), dc.getBitmap()->native());
}

TEST(MemDC, ClientCoordinatesStartAtTheRectangleGivenToCreate)
{
    Canvas c(40, 30, Rect(100, 50, 140, 80));
    c.dc.fillRect(Rect(100, 50, 102, 51), kRed);
    EXPECT_EQ(c.at(0, 0), kRed);
    EXPECT_EQ(c.at(1, 0), kRed);
    EXPECT_EQ(c.at(2, 0), kWhite);
    EXPECT_EQ(c.at(0, 1), kWhite);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 2);
}

TEST(MemDC, TakesTheFontOfTheCompatibleDC)
{
    LogFont large("large");
    MemDC first;
    ASSERT_EQ(first.create(Rect(0, 0, 10, 10), nullptr), 0);
    EXPECT_EQ(first.font(), Font::defaultFont());
    first.selectFont(Font::getFont(&large));
    MemDC second;
    ASSERT_EQ(second.create(Rect(0, 0, 10, 10), &first), 0);
    EXPECT_EQ(second.font(), Font::getFont(&large));
}

TEST(MemDC, AnUncreatedDCDrawsNothingAndDoesNotCrash)
{
    MemDC dc;
    dc.fillRect(Rect(0, 0, 10, 10), kRed);
    dc.drawLine(0, 0, 10, 7);
    dc.drawRect(0, 0, 5, 5);
    dc.setPixel(1, 1, kRed);
    EXPECT_EQ(dc.drawText(Rect(0, 0, 100, 30), "text", 0), Font::defaultFont()->lineHeight());
    Bitmap b;
    ASSERT_EQ(b.create(4, 4), 0);
    dc.drawBitmap(0, 0, &b);
    EXPECT_EQ(dc.getPixel(1, 1), 0);
    EXPECT_TRUE(dc.region().isEmpty());
}

TEST(DC, FillRectPaintsExactlyTheRectangle)
{
    Canvas c(20, 20);
    c.dc.fillRect(Rect(3, 4, 10, 12), kRed);
    EXPECT_EQ(c.at(3, 4), kRed);
    EXPECT_EQ(c.at(9, 11), kRed);
    EXPECT_EQ(c.at(2, 4), kWhite);
    EXPECT_EQ(c.at(10, 4), kWhite);
    EXPECT_EQ(c.at(3, 3), kWhite);
    EXPECT_EQ(c.at(3, 12), kWhite);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 7 * 8);
}

TEST(DC, FillRectIsClippedToTheSurface)
{
    Canvas c(20, 20);
    c.dc.fillRect(Rect(-5, -5, 3, 2), kRed);
    c.dc.fillRect(Rect(18, 15, 50, 50), kBlue);
    c.dc.fillRect(Rect(100, 100, 200, 200), kGreen);
    c.dc.fillRect(Rect(5, 5, 5, 10), kGreen);   // empty
    EXPECT_EQ(countColour(c.bitmap(), kRed), 3 * 2);
    EXPECT_EQ(countColour(c.bitmap(), kBlue), 2 * 5);
    EXPECT_EQ(countColour(c.bitmap(), kGreen), 0);
}

TEST(DC, FillsOddWidthsWithoutTouchingTheRowPadding)
{
    Canvas c(7, 3);
    c.dc.fillRect(Rect(6, 0, 7, 3), kRed);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 3);
    EXPECT_EQ(c.at(6, 2), kRed);
    EXPECT_EQ(c.at(0, 1), kWhite);
}

TEST(DC, HorizontalAndVerticalLinesIncludeBothEnds)
{
    Canvas c(12, 12);
    c.dc.drawHLine(2, 6, 3);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 5);
    EXPECT_EQ(c.at(2, 3), kRed);
    EXPECT_EQ(c.at(6, 3), kRed);
    EXPECT_EQ(c.at(7, 3), kWhite);
    c.dc.setPenColor(kBlue);
    c.dc.drawHLine(6, 2, 5);   // reversed
    EXPECT_EQ(countColour(c.bitmap(), kBlue), 5);
    EXPECT_EQ(c.at(2, 5), kBlue);
    c.dc.setPenColor(kGreen);
    c.dc.drawVLine(9, 8, 1);
    EXPECT_EQ(countColour(c.bitmap(), kGreen), 8);
    EXPECT_EQ(c.at(9, 1), kGreen);
    EXPECT_EQ(c.at(9, 8), kGreen);
    EXPECT_EQ(c.at(9, 9), kWhite);
}

TEST(DC, RectangleOutlineHasBothCornersAndAnEmptyInside)
{
    Canvas c(12, 12);
    c.dc.drawRect(2, 3, 9, 7);
    for (auto [x, y] : { std::pair { 2, 3 }, { 9, 3 }, { 2, 7 }, { 9, 7 }, { 5, 3 }, { 5, 7 }, { 2, 5 }, { 9, 5 } })
        EXPECT_EQ(c.at(x, y), kRed) << x << "," << y;
    EXPECT_EQ(c.at(5, 5), kWhite);
    EXPECT_EQ(c.at(10, 3), kWhite);
    EXPECT_EQ(c.at(2, 8), kWhite);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 2 * 8 + 2 * 3);
}

TEST(DC, FourNestedOutlinesMakeAFourPixelFrame)
{
    const int w = 30;
    const int h = 20;
    Canvas c(w, h);
    for (int i = 0; i < 4; ++i)
        c.dc.drawRect(i, i, w - 1 - i, h - 1 - i);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int edge = std::min({ x, y, w - 1 - x, h - 1 - y });
            EXPECT_EQ(c.at(x, y), edge < 4 ? kRed : kWhite) << x << "," << y;
        }
    }
}

TEST(DC, DegenerateRectanglesAreLines)
{
    Canvas c(10, 10);
    c.dc.drawRect(2, 2, 2, 2);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 1);
    c.dc.drawRect(8, 1, 4, 1);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 6);
}

TEST(DC, DiagonalLineSetsEveryPixelOfTheDiagonalInEitherDirection)
{
    Canvas c(10, 10);
    c.dc.drawLine(1, 1, 6, 6);
    for (int k = 1; k <= 6; ++k)
        EXPECT_EQ(c.at(k, k), kRed) << k;
    EXPECT_EQ(countColour(c.bitmap(), kRed), 6);
    c.dc.setPenColor(kBlue);
    c.dc.drawLine(8, 1, 3, 6);
    for (int k = 0; k <= 5; ++k)
        EXPECT_EQ(c.at(8 - k, 1 + k), kBlue) << k;
    EXPECT_EQ(countColour(c.bitmap(), kBlue), 6);
}

TEST(DC, ShallowLineHasOnePixelInEachColumnFromEndToEnd)
{
    Canvas c(30, 10);
    c.dc.drawLine(2, 2, 22, 5);
    EXPECT_EQ(c.at(2, 2), kRed);
    EXPECT_EQ(c.at(22, 5), kRed);
    int lastY = 2;
    for (int x = 0; x < 30; ++x) {
        int n = 0;
        for (int y = 0; y < 10; ++y) {
            if (c.at(x, y) == kRed) {
                ++n;
                EXPECT_GE(y, lastY) << x;
                EXPECT_LE(y - lastY, 1) << x;
                lastY = y;
            }
        }
        EXPECT_EQ(n, x >= 2 && x <= 22 ? 1 : 0) << x;
    }
}

TEST(DC, SteepLineHasOnePixelInEachRowFromEndToEnd)
{
    Canvas c(10, 30);
    c.dc.drawLine(7, 25, 3, 1);
    EXPECT_EQ(c.at(7, 25), kRed);
    EXPECT_EQ(c.at(3, 1), kRed);
    for (int y = 0; y < 30; ++y) {
        int n = 0;
        for (int x = 0; x < 10; ++x)
            n += c.at(x, y) == kRed;
        EXPECT_EQ(n, y >= 1 && y <= 25 ? 1 : 0) << y;
    }
}

TEST(DC, ALineSlopingDownTwoPixelsAcrossARowStaysInItsLastRows)
{
    // How a list draws a separator from a row's bottom-left two pixels up to
    // its bottom-right corner: a thin slanted band over the last rows.
    Canvas c(120, 50);
    const Rect row(0, 0, 100, 40);
    c.dc.drawLine(row.left, row.bottom - 2, row.right, row.bottom);
    const Ink ink = c.ink();
    EXPECT_EQ(ink.top, 38);
    EXPECT_EQ(ink.bottom, 40);
    EXPECT_EQ(ink.left, 0);
    EXPECT_EQ(ink.right, 100);
    EXPECT_EQ(ink.count, 101);
}

TEST(DC, LinesAreClippedToTheSurface)
{
    Canvas c(20, 20);
    c.dc.drawLine(-10, -10, 30, 30);
    EXPECT_EQ(countColour(c.bitmap(), kRed), 20);
    for (int k = 0; k < 20; ++k)
        EXPECT_EQ(c.at(k, k), kRed);
    c.dc.drawLine(-100, 50, 100, 60);   // entirely outside
    EXPECT_EQ(countColour(c.bitmap(), kRed), 20);
}

TEST(DC, SetPixelAndGetPixelWorkInClientCoordinates)
{
    Canvas c(10, 10, Rect(5, 5, 15, 15));
    c.dc.setPixel(7, 8, kBlue);
    EXPECT_EQ(c.at(2, 3), kBlue);
    EXPECT_EQ(c.dc.getPixel(7, 8), kBlue);
    EXPECT_EQ(c.dc.getPixel(5, 5), kWhite);
    c.dc.setPixel(0, 0, kBlue);   // outside
    c.dc.setPixel(15, 5, kBlue);
    EXPECT_EQ(countColour(c.bitmap(), kBlue), 1);
    EXPECT_EQ(c.dc.getPixel(0, 0), 0);
}

TEST(DC, ColourSettersReturnThePreviousColour)
{
    Canvas c(2, 2);
    EXPECT_EQ(c.dc.setPenColor(kBlue), kRed);
    EXPECT_EQ(c.dc.setPenColor(kGreen), kBlue);
    EXPECT_EQ(c.dc.setTextColor(kRed), 0);
    EXPECT_EQ(c.dc.setTextColor(kBlue), kRed);
    LogFont small("small");
    Font* old = c.dc.selectFont(Font::getFont(&small));
    EXPECT_EQ(old, Font::defaultFont());
    EXPECT_EQ(c.dc.selectFont(old), Font::getFont(&small));
}

TEST(DC, DrawingIsClippedToTheRegion)
{
    Bitmap surface;
    whiteBitmap(surface, 40, 20);
    Region clip(Rect(0, 0, 10, 10));
    clip.unite(Rect(30, 10, 40, 20));
    SurfaceDC dc(surface, 0, 0, clip);
    dc.fillRect(Rect(0, 0, 40, 20), kRed);
    EXPECT_EQ(countColour(surface, kRed), 200);
    EXPECT_EQ(surface.pixel(9, 9), kRed);
    EXPECT_EQ(surface.pixel(10, 9), kWhite);
    EXPECT_EQ(surface.pixel(30, 10), kRed);
    EXPECT_EQ(surface.pixel(29, 10), kWhite);
    dc.setPenColor(kBlue);
    dc.drawLine(0, 5, 39, 5);
    EXPECT_EQ(countColour(surface, kBlue), 10);
    dc.drawLine(0, 0, 39, 19);
    dc.setPixel(20, 5, kGreen);
    EXPECT_EQ(surface.pixel(20, 5), kWhite);
    EXPECT_EQ(surface.pixel(20, 10), kWhite);
}

TEST(DC, ClientCoordinatesAreShiftedByTheOrigin)
{
    Bitmap surface;
    whiteBitmap(surface, 40, 30);
    SurfaceDC dc(surface, 10, 5, Region(Rect(10, 5, 30, 25)));
    dc.fillRect(Rect(0, 0, 2, 1), kRed);
    EXPECT_EQ(surface.pixel(10, 5), kRed);
    EXPECT_EQ(surface.pixel(11, 5), kRed);
    EXPECT_EQ(countColour(surface, kRed), 2);
    dc.fillRect(Rect(-10, -5, 100, 100), kBlue);   // stays within the clip
    EXPECT_EQ(countColour(surface, kBlue), 20 * 20);
    EXPECT_EQ(surface.pixel(9, 5), kWhite);
    EXPECT_EQ(surface.pixel(30, 5), kWhite);
}

TEST(DC, ClipIsCutToTheSurface)
{
    Bitmap surface;
    whiteBitmap(surface, 10, 10);
    SurfaceDC dc(surface, 0, 0, Region(Rect(-50, -50, 500, 500)));
    EXPECT_EQ(dc.region().boundRect(), Rect(0, 0, 10, 10));
}

// ---- bitmaps ---------------------------------------------------------------

namespace {

// A 4 x 3 bitmap whose pixel (x, y) is x + 10 * y + 1, never 0 or white.
void numbered(Bitmap& b)
{
    ASSERT_EQ(b.create(4, 3), 0);
    for (int y = 0; y < 3; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(b.bits()) + y * b.stride());
        for (int x = 0; x < 4; ++x)
            row[x] = static_cast<uint16_t>(x + 10 * y + 1);
    }
}

}

TEST(DC, DrawBitmapCopiesEveryPixelToItsPlace)
{
    Bitmap b;
    numbered(b);
    Canvas c(10, 10);
    c.dc.drawBitmap(3, 2, &b);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(c.at(3 + x, 2 + y), x + 10 * y + 1) << x << "," << y;
    EXPECT_EQ(c.ink().count, 12);
}

TEST(DC, DrawBitmapCopiesOnlyTheSourceRectangle)
{
    Bitmap b;
    numbered(b);
    Canvas c(10, 10);
    const Rect src(1, 1, 3, 3);
    c.dc.drawBitmap(5, 5, &b, &src);
    EXPECT_EQ(c.at(5, 5), 12);
    EXPECT_EQ(c.at(6, 5), 13);
    EXPECT_EQ(c.at(5, 6), 22);
    EXPECT_EQ(c.at(6, 6), 23);
    EXPECT_EQ(c.ink().count, 4);
}

TEST(DC, DrawBitmapLeavesOutPixelsOfTheColourKey)
{
    Bitmap b;
    numbered(b);
    b.bits()[1] = 0x7119;   // pixel (1, 0)
    b.bits()[2] = 0x7119;   // pixel (2, 0)
    Canvas c(10, 10);
    const unsigned short key = 0x7119;
    c.dc.drawBitmap(0, 0, &b, nullptr, &key);
    EXPECT_EQ(c.at(0, 0), 1);
    EXPECT_EQ(c.at(1, 0), kWhite);
    EXPECT_EQ(c.at(2, 0), kWhite);
    EXPECT_EQ(c.at(3, 0), 4);
    EXPECT_EQ(c.at(3, 2), 24);
    EXPECT_EQ(c.ink().count, 10);
}

TEST(DC, DrawBitmapIsClippedAtTheEdges)
{
    Bitmap b;
    numbered(b);
    Canvas c(10, 10);
    c.dc.drawBitmap(-2, -1, &b);
    EXPECT_EQ(c.at(0, 0), 13);   // bitmap pixel (2, 1)
    EXPECT_EQ(c.at(1, 1), 24);
    EXPECT_EQ(c.ink().count, 4);
    c.dc.drawBitmap(8, 9, &b);
    EXPECT_EQ(c.at(8, 9), 1);
    EXPECT_EQ(c.at(9, 9), 2);
    EXPECT_EQ(c.ink().count, 6);
}

TEST(DC, DrawBitmapWithKeyIsClippedToTheRegion)
{
    Bitmap b;
    numbered(b);
    Bitmap surface;
    whiteBitmap(surface, 10, 10);
    SurfaceDC dc(surface, 0, 0, Region(Rect(1, 0, 3, 10)));
    const unsigned short key = 0x7119;
    dc.drawBitmap(0, 0, &b, nullptr, &key);
    EXPECT_EQ(surface.pixel(0, 0), kWhite);
    EXPECT_EQ(surface.pixel(1, 0), 2);
    EXPECT_EQ(surface.pixel(2, 2), 23);
    EXPECT_EQ(surface.pixel(3, 0), kWhite);
    EXPECT_EQ(inkOf(surface, kWhite).count, 6);
}

TEST(DC, ASourceRectangleReachingOutsideTheBitmapKeepsItsPlacement)
{
    Bitmap b;
    numbered(b);
    Canvas c(10, 10);
    const Rect src(-1, -1, 2, 2);
    c.dc.drawBitmap(5, 5, &b, &src);
    EXPECT_EQ(c.at(6, 6), 1);
    EXPECT_EQ(c.at(7, 7), 12);
    EXPECT_EQ(c.ink().count, 4);
}

TEST(DC, AMemoryBitmapDrawnOntoAnotherDCShowsWhatWasDrawnInIt)
{
    Canvas screen(50, 50);
    MemDC mem;
    ASSERT_EQ(mem.create(Rect(0, 0, 20, 10), &screen.dc), 0);
    mem.fillRect(Rect(0, 0, 20, 10), kBlue);
    mem.fillRect(Rect(5, 5, 6, 6), kGreen);
    screen.dc.drawBitmap(10, 20, mem.getBitmap());
    EXPECT_EQ(screen.at(10, 20), kBlue);
    EXPECT_EQ(screen.at(29, 29), kBlue);
    EXPECT_EQ(screen.at(15, 25), kGreen);
    EXPECT_EQ(screen.at(30, 20), kWhite);
    EXPECT_EQ(screen.ink().count, 200);
}

// ---- text ------------------------------------------------------------------

TEST(DCText, ExtentIsZeroForEmptyText)
{
    Canvas c(10, 10);
    int w = -1;
    int h = -1;
    c.dc.getTextExtend(w, h, "");
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
    c.dc.getTextExtend(w, h, "abc", 0);
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
}

TEST(DCText, ExtentGrowsWithTheText)
{
    Canvas c(10, 10);
    int w1 = 0, h1 = 0, w2 = 0, h2 = 0, w3 = 0, h3 = 0;
    c.dc.getTextExtend(w1, h1, "测");
    c.dc.getTextExtend(w2, h2, "测试");
    c.dc.getTextExtend(w3, h3, "测试 pass");
    EXPECT_GT(w1, 0);
    EXPECT_GT(w2, w1);
    EXPECT_GT(w3, w2);
    EXPECT_EQ(h1, Font::defaultFont()->lineHeight());
    EXPECT_EQ(h2, h1);
    EXPECT_EQ(h3, h1);
}

TEST(DCText, ExtentOfSeveralLinesIsTheWidestLineByAllLines)
{
    Canvas c(10, 10);
    int w = 0, h = 0, wide = 0, one = 0;
    c.dc.getTextExtend(w, h, "ab\nwide line\nc");
    c.dc.getTextExtend(wide, one, "wide line");
    EXPECT_EQ(w, wide);
    EXPECT_EQ(h, 3 * one);
}

TEST(DCText, ExtentFollowsTheSelectedFont)
{
    Canvas c(10, 10);
    int w = 0, h = 0, lw = 0, lh = 0;
    c.dc.getTextExtend(w, h, "关机");
    LogFont large("large");
    c.dc.selectFont(Font::getFont(&large));
    c.dc.getTextExtend(lw, lh, "关机");
    EXPECT_GT(lw, w);
    EXPECT_GT(lh, h);
    EXPECT_EQ(lh, Font::getFont(&large)->lineHeight());
}

TEST(DCText, CjkTextLeavesInkInTheTextColour)
{
    Canvas c(120, 40);
    c.dc.setTextColor(kBlue);
    c.dc.drawText(Rect(0, 0, 120, 40), "请先插入鼠标", 18);
    const Ink ink = c.ink();
    EXPECT_GT(ink.count, 100) << ink;
    // Fully covered pixels are exactly the text colour; the rest blend to white.
    EXPECT_GT(countColour(c.bitmap(), kBlue), 20);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 120; ++x) {
            const uint16_t p = c.at(x, y);
            EXPECT_EQ(p & 0x001F, 0x001F) << x << "," << y;   // blue stays full under blue over white
        }
    }
}

TEST(DCText, TextOnTheDefaultFlagsStartsAtTheTopLeft)
{
    Canvas c(200, 60);
    c.dc.setTextColor(0);
    c.dc.drawText(Rect(10, 10, 200, 60), "Hello", 0);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_GE(ink.left, 10);
    EXPECT_LE(ink.left, 13) << ink;
    EXPECT_GE(ink.top, 10);
    EXPECT_LE(ink.bottom, 10 + Font::defaultFont()->lineHeight()) << ink;
}

TEST(DCText, CentredLineIsCentredBothWays)
{
    Canvas c(300, 80);
    c.dc.setTextColor(0);
    const Rect r(20, 10, 280, 70);
    c.dc.drawText(r, "测试成功", 34);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_NEAR(ink.centreX(), (r.left + r.right) / 2.0, 2.0) << ink;
    EXPECT_NEAR(ink.centreY(), (r.top + r.bottom) / 2.0, 2.0) << ink;
}

TEST(DCText, LeftAlignedVerticallyCentredTextHugsTheLeftEdge)
{
    Canvas c(300, 80);
    c.dc.setTextColor(0);
    const Rect r(20, 10, 280, 70);
    c.dc.drawText(r, "请先插入鼠标和网线", 18);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_GE(ink.left, r.left);
    EXPECT_LE(ink.left, r.left + 3) << ink;
    EXPECT_NEAR(ink.centreY(), (r.top + r.bottom) / 2.0, 2.0) << ink;
}

TEST(DCText, RightAlignedTextEndsAtTheRightEdge)
{
    Canvas c(300, 80);
    c.dc.setTextColor(0);
    const Rect r(20, 10, 280, 70);
    c.dc.drawText(r, "关机", DT_RIGHT | DT_SINGLELINE);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_LT(ink.right, r.right);
    EXPECT_GE(ink.right, r.right - 4) << ink;
    EXPECT_LT(ink.top, r.top + Font::defaultFont()->lineHeight()) << ink;
}

TEST(DCText, BottomAlignedTextSitsOnTheBottomEdge)
{
    Canvas c(300, 80);
    c.dc.setTextColor(0);
    const Rect r(20, 10, 280, 70);
    c.dc.drawText(r, "关机", DT_BOTTOM | DT_SINGLELINE);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_LT(ink.bottom, r.bottom);
    EXPECT_GE(ink.bottom, r.bottom - Font::defaultFont()->impl()->descent - 3) << ink;
}

TEST(DCText, WrappingInANarrowRectangleGivesMoreLines)
{
    const char* text = "请先插入鼠标和网线";
    const int line = Font::defaultFont()->lineHeight();
    Canvas wide(400, 200);
    EXPECT_EQ(wide.dc.drawText(Rect(0, 0, 400, 200), text, 289), line);
    Canvas narrow(400, 200);
    narrow.dc.setTextColor(0);
    const int height = narrow.dc.drawText(Rect(0, 0, 70, 200), text, 289);
    EXPECT_EQ(height, 3 * line);
    const Ink ink = narrow.ink();
    EXPECT_GT(ink.bottom - ink.top, 2 * line) << ink;
    EXPECT_LT(ink.right, 70);
}

TEST(DCText, BothWordWrapBitsWrap)
{
    const char* text = "one two three four five six";
    const int line = Font::defaultFont()->lineHeight();
    for (unsigned flags : { 0x40u, 0x100u, 0x62u, 0x122u, 0x121u }) {
        Canvas c(100, 300);
        EXPECT_GT(c.dc.drawText(Rect(0, 0, 100, 300), text, flags), line) << flags;
    }
    Canvas c(100, 300);
    EXPECT_EQ(c.dc.drawText(Rect(0, 0, 100, 300), text, 0x50), line);   // single line wins
    EXPECT_EQ(c.dc.drawText(Rect(0, 0, 100, 300), text, 0x400), line);  // reserved bit
}

TEST(DCText, WrappedCentredBlockIsCentredInTheRectangle)
{
    Canvas c(300, 200);
    c.dc.setTextColor(0);
    c.dc.drawText(Rect(50, 0, 250, 200), "测试失败，请检查网线和鼠标后再试一次", 98);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_GT(ink.bottom - ink.top, Font::defaultFont()->lineHeight()) << ink;
    EXPECT_NEAR(ink.centreX(), 150, 3.0) << ink;
    EXPECT_NEAR(ink.centreY(), 100, 3.0) << ink;
}

TEST(DCText, WrappedTextFromTheTopStartsAtTheTop)
{
    Canvas c(300, 200);
    c.dc.setTextColor(0);
    c.dc.drawText(Rect(50, 20, 250, 200), "测试失败，请检查网线和鼠标后再试一次", 289);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_GE(ink.top, 20);
    EXPECT_LT(ink.top, 20 + Font::defaultFont()->lineHeight() / 2) << ink;
    EXPECT_NEAR(ink.centreX(), 150, 3.0) << ink;
}

TEST(DCText, TextStaysInsideItsRectangle)
{
    Canvas c(300, 60);
    c.dc.setTextColor(0);
    const Rect r(10, 10, 60, 30);
    c.dc.drawText(r, "a long line that does not fit", 18);
    const Ink ink = c.ink();
    ASSERT_FALSE(ink.empty());
    EXPECT_GE(ink.left, r.left);
    EXPECT_LT(ink.right, r.right);
    EXPECT_GE(ink.top, r.top);
    EXPECT_LT(ink.bottom, r.bottom);
}

TEST(DCText, TextIsClippedToTheRegion)
{
    Bitmap surface;
    whiteBitmap(surface, 200, 40);
    SurfaceDC dc(surface, 0, 0, Region(Rect(0, 0, 30, 40)));
    dc.setTextColor(0);
    dc.drawText(Rect(0, 0, 200, 40), "测试测试测试", 18);
    const Ink ink = inkOf(surface, kWhite);
    ASSERT_FALSE(ink.empty());
    EXPECT_LT(ink.right, 30);
}

TEST(DCText, AnExplicitLengthDrawsOnlyTheFirstBytes)
{
    Canvas a(200, 40);
    Canvas b(200, 40);
    a.dc.setTextColor(0);
    b.dc.setTextColor(0);
    a.dc.drawText(Rect(0, 0, 200, 40), "测试成功", 18, 6);
    b.dc.drawText(Rect(0, 0, 200, 40), "测试", 18);
    EXPECT_EQ(a.ink().count, b.ink().count);
    EXPECT_EQ(a.ink().right, b.ink().right);
}

TEST(DCText, LargerFontsDrawLargerText)
{
    Canvas small(300, 80);
    Canvas large(300, 80);
    small.dc.setTextColor(0);
    large.dc.setTextColor(0);
    LogFont lf("large");
    large.dc.selectFont(Font::getFont(&lf));
    small.dc.drawText(Rect(0, 0, 300, 80), "关机", 34);
    large.dc.drawText(Rect(0, 0, 300, 80), "关机", 34);
    EXPECT_GT(large.ink().right - large.ink().left, small.ink().right - small.ink().left);
    EXPECT_GT(large.ink().bottom - large.ink().top, small.ink().bottom - small.ink().top);
}

TEST(DCText, NullTextDrawsNothing)
{
    Canvas c(50, 50);
    EXPECT_EQ(c.dc.drawText(Rect(0, 0, 50, 50), nullptr, 34), 0);
    EXPECT_TRUE(c.ink().empty());
}

// ---- DCs on windows --------------------------------------------------------

TEST(WindowDC, WithoutARunningToolkitDrawsNothing)
{
    ASSERT_EQ(lumi::screen(), nullptr);
    WndBase window;
    WndDC dc(&window);
    dc.fillRect(Rect(0, 0, 10, 10), kRed);
    EXPECT_TRUE(dc.region().isEmpty());
    PaintDC paint(nullptr);
    paint.drawText(Rect(0, 0, 100, 100), "text", 34);
    EXPECT_TRUE(paint.region().isEmpty());
    EXPECT_EQ(paint.font(), Font::defaultFont());
}

namespace {

class Painted : public MainWndBase {
public:
    int onPaint() override
    {
        PaintDC dc(this);
        Rect r;
        getClientRect(r);
        dc.fillRect(r, colour);
        dc.setPenColor(kRed);
        dc.drawRect(0, 0, r.right - 1, r.bottom - 1);
        ++paints;
        return 0;
    }
    uint16_t colour { kBlue };
    int paints { 0 };
};

class WindowDCTest : public lumitest::ToolkitTest {
protected:
    // A shown, painted main window at rect, owned by the toolkit.
    Painted* paintedAt(const Rect& rect)
    {
        auto* w = new Painted;
        w->setAutoDelete(true);
        EXPECT_EQ(w->create(rect, WS_VISIBLE, 7), 0);
        settle();
        return w;
    }
};

}

TEST_F(WindowDCTest, PaintDCDrawsInWindowCoordinatesOnTheScreen)
{
    auto* w = new Painted;
    w->setAutoDelete(true);
    ASSERT_EQ(w->create(Rect(100, 50, 300, 150), WS_VISIBLE, 7), 0);
    settle();
    EXPECT_GT(w->paints, 0);
    EXPECT_EQ(shownPixel(100, 50), kRed);
    EXPECT_EQ(shownPixel(299, 149), kRed);
    EXPECT_EQ(shownPixel(150, 100), kBlue);
    EXPECT_NE(shownPixel(99, 50), kBlue);
    EXPECT_NE(shownPixel(300, 100), kBlue);
    EXPECT_NE(shownPixel(300, 100), kRed);
}

TEST_F(WindowDCTest, WndDCShowsItsDrawingWhenItGoesAway)
{
    auto* w = new Painted;
    w->setAutoDelete(true);
    ASSERT_EQ(w->create(Rect(100, 50, 300, 150), WS_VISIBLE, 7), 0);
    settle();
    {
        WndDC dc(w);
        EXPECT_EQ(dc.originX(), 100);
        EXPECT_EQ(dc.originY(), 50);
        EXPECT_EQ(dc.font(), Font::defaultFont());
        dc.fillRect(Rect(10, 10, 20, 20), kGreen);
        dc.fillRect(Rect(-50, -50, 0, 0), kGreen);   // outside the window: clipped
    }
    EXPECT_EQ(shownPixel(110, 60), kGreen);
    EXPECT_EQ(shownPixel(119, 69), kGreen);
    EXPECT_EQ(shownPixel(120, 70), kBlue);
    EXPECT_NE(shownPixel(60, 10), kGreen);
    EXPECT_NE(shownPixel(99, 49), kGreen);
}

TEST_F(WindowDCTest, WndDCDoesNotDrawOverAWindowStackedAbove)
{
    auto* below = new Painted;
    below->setAutoDelete(true);
    ASSERT_EQ(below->create(Rect(0, 0, 200, 200), WS_VISIBLE, 7), 0);
    auto* above = new Painted;
    above->setAutoDelete(true);
    above->colour = kWhite;
    ASSERT_EQ(above->create(Rect(100, 0, 300, 200), WS_VISIBLE, 8), 0);
    settle();
    {
        WndDC dc(below);
        dc.fillRect(Rect(0, 0, 200, 200), kGreen);
    }
    EXPECT_EQ(shownPixel(50, 50), kGreen);
    EXPECT_EQ(shownPixel(150, 50), kWhite);
}

TEST_F(WindowDCTest, ADCOnAWindowNotCreatedDrawsNothing)
{
    Painted w;
    WndDC dc(&w);
    dc.fillRect(Rect(0, 0, 800, 480), kGreen);
    EXPECT_TRUE(dc.region().isEmpty());
    EXPECT_NE(shownPixel(0, 0), kGreen);
}

TEST_F(WindowDCTest, WindowDCsUseTheWindowsFont)
{
    auto* w = new Painted;
    w->setAutoDelete(true);
    ASSERT_EQ(w->create(Rect(0, 0, 100, 100), WS_VISIBLE, 7), 0);
    LogFont title("title");
    w->setFont(Font::getFont(&title));
    WndDC dc(w);
    EXPECT_EQ(dc.font(), Font::getFont(&title));
}

TEST_F(WindowDCTest, BothWindowDCsAreLimitedToTheGivenRectangleInClientCoordinates)
{
    Painted* w = paintedAt(Rect(100, 50, 300, 150));
    LogFont small("small");
    w->setFont(Font::getFont(&small));
    const Rect part(10, 20, 30, 40);
    {
        PaintDC paint(w, 0, &part);
        WndDC dc(w, 0, &part);
        EXPECT_EQ(paint.region().boundRect(), Rect(110, 70, 130, 90));
        EXPECT_EQ(dc.region().boundRect(), Rect(110, 70, 130, 90));
        EXPECT_EQ(paint.font(), Font::getFont(&small));
        EXPECT_EQ(dc.font(), Font::getFont(&small));
        dc.fillRect(Rect(0, 0, 200, 100), kGreen);
    }
    EXPECT_EQ(shownPixel(110, 70), kGreen);
    EXPECT_EQ(shownPixel(129, 89), kGreen);
    EXPECT_EQ(shownPixel(130, 90), kBlue);
    EXPECT_EQ(shownPixel(109, 70), kBlue);
}
