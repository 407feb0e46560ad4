// The frame a new screen starts from: black everywhere, without a clearing
// pass, and shown black on the display before any window paints.

#include "screen.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

class ScreenStartTest : public lumitest::ToolkitTest { };

}

TEST_F(ScreenStartTest, TheFrameStartsBlackAndStaysBlackOnTheDisplay)
{
    lumi::Screen* s = lumi::screen();
    ASSERT_NE(s, nullptr);
    const uint16_t* pixels = s->pixels();
    ASSERT_NE(pixels, nullptr);
    const int rowPixels = s->stride() / 2;
    int lit = 0;
    for (int y = 0; y < screenHeight; ++y)
        for (int x = 0; x < screenWidth; ++x)
            lit += pixels[static_cast<size_t>(y) * rowPixels + x] != 0;
    EXPECT_EQ(lit, 0);
    settle();
    // The shown screen away from the pointer (which starts in the middle).
    for (int y : { 0, 1, screenHeight / 3, screenHeight - 1 })
        for (int x : { 0, 7, screenWidth - 1 })
            EXPECT_EQ(shownPixel(x, y), 0) << x << "," << y;
}
