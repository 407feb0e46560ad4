// The LCD test and its colour-bar screen: five bands, an exit button in the
// middle, closing on the button or after ten seconds.

#include "testfun/imagewnd.h"
#include "testfun/testlcd.h"

#include "testfun_support.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

namespace {

char kName[] = "LCD\xC6\xC1";

constexpr unsigned short kRed = 0xF800, kGreen = 0x07E0, kBlue = 0x001F, kCyan = 0x07FF, kYellow = 0xFFE0;

class LcdTest : public lumitest::ToolkitTest {
protected:
    // Runs the test and returns its window (null when none was opened).
    WndBase* runTest()
    {
        TestLCD item(kName);
        testfuntest::RecordingLog log;
        EXPECT_EQ(item.execute(&log), 2);
        EXPECT_EQ(item.getResult(), 2);
        EXPECT_TRUE(log.lines.empty());
        settle();
        return app->getWndById(ImageWnd::kWindowId);
    }

    WndBase* exitButton(WndBase* window)
    {
        return window && window->children().size() == 1 ? window->children()[0] : nullptr;
    }

    // The colour of each band, read at the left edge, away from the button.
    void expectBands(int bandHeight)
    {
        const unsigned short colours[] = { kRed, kGreen, kBlue, kCyan, kYellow };
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(shownPixel(5, i * bandHeight), colours[i]) << "band " << i;
            EXPECT_EQ(shownPixel(screenWidth - 1, i * bandHeight + bandHeight - 1), colours[i])
                << "band " << i;
        }
    }
};

TEST_F(LcdTest, ShowsFiveColourBandsOverTheWholeScreen)
{
    WndBase* window = runTest();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(mainWindows().back(), window);
    Rect r = window->screenRect();
    EXPECT_EQ(r, Rect(0, 0, 800, 480));
    expectBands(96);
    EXPECT_EQ(shownPixel(5, 479), kYellow);
}

TEST_F(LcdTest, TheExitButtonIsCentred)
{
    WndBase* button = exitButton(runTest());
    ASSERT_NE(button, nullptr);
    Rect r;
    button->getWindowRect(r);
    EXPECT_EQ(r, Rect(300, 200, 500, 280));
    auto* control = dynamic_cast<Button*>(button);
    ASSERT_NE(control, nullptr);
    EXPECT_STREQ(control->getText(), "\xE9\x80\x80\xE5\x87\xBA"); // 退出 in UTF-8
    EXPECT_EQ(control->alignFlag(), 34u);
    EXPECT_EQ(control->textColor(), 0);
}

TEST_F(LcdTest, ClosesAfterTenSecondsWithoutInput)
{
    ASSERT_NE(runTest(), nullptr);
    advance(9990, 10);
    EXPECT_NE(app->getWndById(ImageWnd::kWindowId), nullptr);
    advance(20, 10);
    EXPECT_EQ(app->getWndById(ImageWnd::kWindowId), nullptr);
}

TEST_F(LcdTest, ClosesAtOnceOnItsButton)
{
    ASSERT_NE(runTest(), nullptr);
    tap(400, 240);
    EXPECT_EQ(app->getWndById(ImageWnd::kWindowId), nullptr);
    // Its timer went with it.
    advance(10100, 100);
    EXPECT_EQ(app->getWndById(ImageWnd::kWindowId), nullptr);
}

TEST_F(LcdTest, ATapOutsideTheButtonLeavesItOpen)
{
    ASSERT_NE(runTest(), nullptr);
    tap(20, 20);
    EXPECT_NE(app->getWndById(ImageWnd::kWindowId), nullptr);
}

class OddHeightLcdTest : public LcdTest {
protected:
    OddHeightLcdTest() { screenHeight = 483; }
};

TEST_F(OddHeightLcdTest, TheYellowBandTakesTheRest)
{
    ASSERT_NE(runTest(), nullptr);
    expectBands(96);
    EXPECT_EQ(shownPixel(5, 383), kCyan);
    EXPECT_EQ(shownPixel(5, 384), kYellow);
    EXPECT_EQ(shownPixel(5, 482), kYellow); // 99 rows of yellow
}

}
