// The calibration window and the touch-screen test, driven the way the
// device drives them: touches through the toolkit's pointer (or samples of
// the touch screen), a panel behind the driver, the test clock for holds,
// slides and the close count.

#include "touch/tscalibratewnd.h"
#include "touch_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using touchtest::DeviceScope;
using touchtest::FakeDriver;
using touchtest::sample;
using touchtest::samples;

namespace {

constexpr unsigned short kCalibratingBack = 0x18E3;
constexpr unsigned short kWhite = 0xFFFF;
constexpr unsigned short kBlack = 0x0000;

// The quick-test window's stand-in: id 101, keeps the finish messages.
class MainWnd : public MainWndBase {
public:
    std::vector<LUMIMessage> notifications;

protected:
    int handleMessage(LUMIMessage& msg) override
    {
        if (msg.id == 0x2003)
            notifications.push_back(msg);
        return MainWndBase::handleMessage(msg);
    }
};

class NullLog final : public Log {
public:
    void Message(const char*, ...) override { ++lines; }
    int lines { 0 };
};

class TsCalibrateWndTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        scope = std::make_unique<DeviceScope>(tmp.path(), &fake);
        ASSERT_TRUE(scope->ok());
        memset(g_lastGoodCoeffs, 0, sizeof g_lastGoodCoeffs);
        MultiTouchScreen::getTs()->filter(nullptr);
        main = new MainWnd;
        ASSERT_EQ(main->create(Rect(0, 0, 800, 480), WS_VISIBLE, 101), 0);
        item = std::make_unique<TestTouchScreen>(
            const_cast<char*>("\xB4\xA5\xC3\xFE\xC6\xC1\xD0\xA3\xD7\xBC"));
        settle();
    }
    void TearDown() override
    {
        testing::internal::CaptureStdout();
        app->term();
        testing::internal::GetCapturedStdout();
        MultiTouchScreen::getTs()->filter(nullptr);
        scope.reset();
        lumitest::ToolkitTest::TearDown();
    }

    // Runs the test item; the calibration window is then the top window.
    TsCalibrateWnd* start()
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(item->execute(&log), -1);
        settle();
        startOutput = testing::internal::GetCapturedStdout();
        return window();
    }
    TsCalibrateWnd* window() { return dynamic_cast<TsCalibrateWnd*>(app->getWndById(103)); }

    // The operator touches screen (x, y) for holdMs; the panel measures it.
    void touch(int x, int y, int holdMs = 150)
    {
        fake.touch(x, y);
        press(x, y);
        advance(holdMs, 10);
        release(x, y);
    }
    void touchTarget(TsCalibrateWnd* w, int i, int holdMs = 150)
    {
        touch(w->targetX(i), w->targetY(i), holdMs);
    }
    // One round of five targets.
    void calibrate(TsCalibrateWnd* w)
    {
        for (int i = 0; i < 5; ++i)
            touchTarget(w, i);
    }
    // Opens the window and passes the calibration quietly: the window in its
    // drawing mode, or null (a failure) when it did not get there.
    TsCalibrateWnd* startDrawing()
    {
        TsCalibrateWnd* w = start();
        if (!w) {
            ADD_FAILURE() << "no calibration window";
            return nullptr;
        }
        testing::internal::CaptureStdout();
        calibrate(w);
        testing::internal::GetCapturedStdout();
        if (!w->isDone()) {
            ADD_FAILURE() << "the calibration did not pass";
            return nullptr;
        }
        return w;
    }
    bool isWhite(int x, int y) const { return shownPixel(x, y) == kWhite; }

    FakeDriver fake;
    std::unique_ptr<DeviceScope> scope;
    MainWnd* main { nullptr };
    std::unique_ptr<TestTouchScreen> item;
    NullLog log;
    std::string startOutput;
};

TEST_F(TsCalibrateWndTest, TestOpensTheWindowAndWaitsForIt)
{
    EXPECT_FALSE(item->isAutoRun());
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_EQ(app->getTopWnd(), w);
    Rect r;
    w->getWindowRect(r);
    EXPECT_EQ(r, Rect(0, 0, 800, 480));
    EXPECT_TRUE(w->isAutoDelete());
    // The driver is put in raw mode once, with the identity set.
    EXPECT_EQ(fake.calStarts, 1);
    EXPECT_TRUE(fake.rawMode);
    EXPECT_NE(startOutput.find(" [--I] CAL_START......\n"), std::string::npos);
}

TEST_F(TsCalibrateWndTest, HintCancelAndTargetsFollowTheScreenGeometry)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    Rect r;
    w->hintLabel()->getWindowRect(r);
    EXPECT_EQ(r, Rect(100, 120, 700, 200));
    EXPECT_EQ(w->hintLabel()->alignFlag(), 289u);
    EXPECT_EQ(w->hintLabel()->textColor(), kWhite);
    EXPECT_EQ(std::string(w->hintLabel()->getText()),
        "\xE8\xAF\xB7\xE5\x87\x86\xE7\xA1\xAE\xE7\x82\xB9\xE5\x87\xBB\xE5\x8D\x81\xE5\xAD\x97\xE7\x84\xA6\xE7"
        "\x82"
        "\xB9\xE4\xB8\xAD\xE5\xBF\x83\xE8\x87\xB3\xE5\xB0\x91"
        "0.5\xE7\xA7\x92\xE9\x92\x9F. "
        "\xE9\x9A\x8F\xE7\x9B\xAE\xE6\xA0\x87\xE7\xA7\xBB\xE5\x8A\xA8\xE9\x87\x8D\xE5"
        "\xA4\x8D\xE7\x82\xB9\xE5\x87\xBB, "
        "\xE5\xAE\x8C\xE6\x88\x90\xE8\xA7\xA6\xE6\x91\xB8\xE5\xB1\x8F\xE5\xB9\x95"
        "\xE6\xA0\xA1\xE5\x87\x86");
    w->cancelButton()->getWindowRect(r);
    EXPECT_EQ(r, Rect(325, 380, 475, 460));
    EXPECT_EQ(w->cancelButton()->alignFlag(), 34u);
    EXPECT_EQ(w->cancelButton()->textColor(), kBlack);
    EXPECT_EQ(std::string(w->cancelButton()->getText()), "\xE5\x8F\x96\xE6\xB6\x88");
    const int xs[5] = { 50, 750, 750, 50, 400 };
    const int ys[5] = { 50, 50, 430, 430, 240 };
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(w->targetX(i), xs[i]) << i;
        EXPECT_EQ(w->targetY(i), ys[i]) << i;
    }
}

class SmallScreenCalibrateTest : public TsCalibrateWndTest {
public:
    SmallScreenCalibrateTest()
    {
        screenWidth = 480;
        screenHeight = 272;
    }
};

TEST_F(SmallScreenCalibrateTest, GeometryFollowsTheDisplaySize)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    Rect r;
    w->hintLabel()->getWindowRect(r);
    EXPECT_EQ(r, Rect(100, 68, 380, 148));
    w->cancelButton()->getWindowRect(r);
    EXPECT_EQ(r, Rect(165, 172, 315, 252));
    EXPECT_EQ(w->targetX(2), 430);
    EXPECT_EQ(w->targetY(2), 222);
    EXPECT_EQ(w->targetX(4), 240);
    EXPECT_EQ(w->targetY(4), 136);
}

TEST_F(TsCalibrateWndTest, FirstCrossIsDrawnAtTheTopLeftTarget)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(shownPixel(300, 300), kCalibratingBack);
    EXPECT_EQ(shownPixel(60, 60), kCalibratingBack);
    // Two-pixel-wide lines through (50, 50), from 10 before to 12 after.
    for (int d : { -10, -5, 0, 5, 11 }) {
        EXPECT_TRUE(isWhite(50 + d, 50)) << d;
        EXPECT_TRUE(isWhite(50 + d, 51)) << d;
        EXPECT_TRUE(isWhite(50, 50 + d)) << d;
        EXPECT_TRUE(isWhite(51, 50 + d)) << d;
    }
    EXPECT_FALSE(isWhite(750, 50));
}

TEST_F(TsCalibrateWndTest, PressShorterThan100MsDoesNotAdvance)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    touchTarget(w, 0, 99);
    EXPECT_EQ(w->targetIndex(), 0);
    EXPECT_EQ(fake.rawReads, 0);
    touchTarget(w, 0, 0);
    EXPECT_EQ(w->targetIndex(), 0);
    touchTarget(w, 0, 100);
    EXPECT_EQ(w->targetIndex(), 1);
    EXPECT_EQ(fake.rawReads, 1);
}

TEST_F(TsCalibrateWndTest, AcceptedTouchSamplesTheDriversRawPoint)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    fake.rawX = 0;
    fake.panel.offsetX = 200;
    fake.panel.scaleX = 4.5;
    fake.panel.offsetY = 300;
    fake.panel.scaleY = 7;
    testing::internal::CaptureStdout();
    touchTarget(w, 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(
        out.find("[--I] RAWDATA......\n===device return (x=425,y=650), logic(50,50)\n"), std::string::npos)
        << out;
    EXPECT_EQ(w->calibration()->rawX[0], 425);
    EXPECT_EQ(w->calibration()->rawY[0], 650);
    EXPECT_EQ(w->calibration()->screenX[0], 50);
    EXPECT_EQ(w->calibration()->screenY[0], 50);
}

TEST_F(TsCalibrateWndTest, CrossSlidesTwoHundredPixelsATick)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    touchTarget(w, 0);
    // Horizontal, 700 pixels: 100, 300, 500, then there.
    EXPECT_TRUE(w->isSliding());
    EXPECT_EQ(w->slideOffset(), 100);
    EXPECT_TRUE(isWhite(150, 50));
    EXPECT_FALSE(isWhite(50, 50));
    advance(100);
    EXPECT_EQ(w->slideOffset(), 300);
    EXPECT_TRUE(isWhite(350, 50));
    EXPECT_FALSE(isWhite(150, 50));
    advance(100);
    EXPECT_TRUE(isWhite(550, 50));
    advance(100);
    EXPECT_FALSE(w->isSliding());
    EXPECT_EQ(w->slideOffset(), 0);
    EXPECT_TRUE(isWhite(750, 50));
    EXPECT_FALSE(isWhite(550, 50));
    // Nothing moves any more.
    advance(300);
    EXPECT_TRUE(isWhite(750, 50));
}

TEST_F(TsCalibrateWndTest, CrossSlidesDownThenDiagonallyToTheCentre)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    touchTarget(w, 0);
    advance(300);
    touchTarget(w, 1);
    // Vertical, 380 pixels: 100, 300, there.
    EXPECT_TRUE(isWhite(750, 150));
    advance(100);
    EXPECT_TRUE(isWhite(750, 350));
    advance(100);
    EXPECT_TRUE(isWhite(750, 430));
    EXPECT_FALSE(w->isSliding());
    touchTarget(w, 2);
    advance(400);
    touchTarget(w, 3);
    // Both coordinates move by the offset while it is short of both distances.
    EXPECT_TRUE(isWhite(150, 330));
    advance(100);
    EXPECT_TRUE(isWhite(400, 240));
    EXPECT_FALSE(isWhite(150, 330));
    EXPECT_FALSE(w->isSliding());
}

TEST_F(TsCalibrateWndTest, FifthTouchFitsAndInstallsTheCalibration)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    calibrate(w);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("calibrating 5 point set\r\n"), std::string::npos);
    EXPECT_NE(out.find("[--I] CAL_DONE......\n"), std::string::npos);
    EXPECT_TRUE(w->isDone());
    EXPECT_EQ(item->getResult(), 0);
    ASSERT_EQ(fake.installed.size(), 1u);
    const std::vector<int> fit(w->calibration()->coeffs, w->calibration()->coeffs + 7);
    EXPECT_EQ(fake.installed[0], fit);
    EXPECT_EQ(std::vector<int>(g_lastGoodCoeffs, g_lastGoodCoeffs + 7), fit);
    EXPECT_FALSE(fake.rawMode);
    // The driver now reports screen pixels.
    for (auto [x, y] : { std::pair { 50, 50 }, { 700, 400 }, { 400, 240 }, { 123, 456 } }) {
        int rx, ry;
        fake.reported(x, y, rx, ry);
        EXPECT_LE(std::abs(rx - x), 1) << x << "," << y;
        EXPECT_LE(std::abs(ry - y), 1) << x << "," << y;
    }
    // The window stays for drawing; the quick test hears of it when it closes.
    EXPECT_EQ(window(), w);
    EXPECT_TRUE(main->notifications.empty());
    EXPECT_FALSE(w->hintLabel()->isVisible());
}

TEST_F(TsCalibrateWndTest, DrawingModeIsWhiteWithABlackGrid)
{
    TsCalibrateWnd* w = startDrawing();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(shownPixel(0, 5), kBlack);
    EXPECT_EQ(shownPixel(5, 0), kBlack);
    EXPECT_EQ(shownPixel(10, 5), kBlack);
    EXPECT_EQ(shownPixel(790, 475), kBlack);
    EXPECT_EQ(shownPixel(5, 470), kBlack);
    EXPECT_EQ(shownPixel(5, 5), kWhite);
    EXPECT_EQ(shownPixel(795, 475), kWhite);
    EXPECT_EQ(shownPixel(305, 345), kWhite);
    // The text, dark green, somewhere in its band.
    bool green = false;
    for (int y = 120; y < 180 && !green; ++y)
        for (int x = 150; x < 650 && !green; ++x)
            green = shownPixel(x, y) == 0x0400;
    EXPECT_TRUE(green);
}

TEST_F(TsCalibrateWndTest, DrawingModePaintsSquaresForPressMoveAndRelease)
{
    TsCalibrateWnd* w = startDrawing();
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(w->cancelButton()->isVisible());

    press(303, 303);
    // Press: red, (x - 4, y - 4) to (x + 4, y + 4) exclusive.
    EXPECT_EQ(shownPixel(299, 299), 0xF800);
    EXPECT_EQ(shownPixel(306, 306), 0xF800);
    EXPECT_NE(shownPixel(307, 307), 0xF800);
    EXPECT_FALSE(w->cancelButton()->isVisible());
    move(333, 303);
    // Move: blue, (x - 3, y - 3) to (x + 3, y + 3).
    EXPECT_EQ(shownPixel(330, 300), 0x001F);
    EXPECT_EQ(shownPixel(335, 305), 0x001F);
    EXPECT_NE(shownPixel(336, 306), 0x001F);
    release(363, 303);
    // Release: magenta, (x - 2, y - 2) to (x + 2, y + 2).
    EXPECT_EQ(shownPixel(361, 301), 0xF81F);
    EXPECT_EQ(shownPixel(364, 304), 0xF81F);
    EXPECT_NE(shownPixel(365, 305), 0xF81F);
    EXPECT_NE(shownPixel(360, 300), 0xF81F);
    EXPECT_EQ(item->getResult(), 0);
}

TEST_F(TsCalibrateWndTest, DrawingModeWaitsForTheFirstTouchBeforeCounting)
{
    TsCalibrateWnd* w = startDrawing();
    ASSERT_NE(w, nullptr);
    // No close timer runs after the pass: a minute later the window is there.
    advance(400 * 150);
    ASSERT_EQ(window(), w);
    EXPECT_EQ(w->closeCount(), 0);
    EXPECT_TRUE(w->cancelButton()->isVisible());
    EXPECT_TRUE(main->notifications.empty());
    // The first touch starts the count.
    tap(303, 303);
    advance(400 * 9);
    ASSERT_EQ(window(), w);
    EXPECT_EQ(w->closeCount(), 9);
    advance(400);
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(item->getResult(), 0);
}

TEST_F(TsCalibrateWndTest, DrawingModeClosesAfterTenQuietTicksAndEachTouchRestartsThem)
{
    TsCalibrateWnd* w = startDrawing();
    ASSERT_NE(w, nullptr);
    tap(203, 203);
    advance(400 * 5);
    ASSERT_EQ(window(), w);
    EXPECT_EQ(w->closeCount(), 5);

    tap(303, 303);
    EXPECT_EQ(w->closeCount(), 0);
    EXPECT_EQ(shownPixel(300, 300), 0xF800);
    advance(400);
    // The first tick wipes the squares and brings the cancel button back.
    EXPECT_EQ(w->closeCount(), 1);
    EXPECT_NE(shownPixel(301, 301), 0xF800);
    EXPECT_TRUE(w->cancelButton()->isVisible());
    advance(400 * 8);
    ASSERT_EQ(window(), w);
    EXPECT_EQ(w->closeCount(), 9);
    EXPECT_TRUE(main->notifications.empty());

    testing::internal::CaptureStdout();
    advance(400);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(window(), nullptr);
    ASSERT_EQ(main->notifications.size(), 1u);
    EXPECT_EQ(main->notifications[0].param1, 3);
    EXPECT_EQ(item->getResult(), 0);
    // A pass leaves the driver with its calibration.
    EXPECT_EQ(out.find("calibrate fails done"), std::string::npos);
    EXPECT_EQ(fake.installed.size(), 1u);
}

TEST_F(TsCalibrateWndTest, FailedFitStartsAgainAtTheTopLeftKeepingTheCount)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    // The centre reads as if touched far away: the fit misses by far more
    // than ten pixels.
    for (int i = 0; i < 4; ++i)
        touchTarget(w, i);
    fake.touch(650, 100);
    press(400, 240);
    advance(150, 10);
    release(400, 240);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("exceeds calibration threshold 10"), std::string::npos) << out;
    EXPECT_FALSE(w->isDone());
    EXPECT_EQ(w->failureCount(), 1);
    EXPECT_EQ(w->targetIndex(), 0);
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_EQ(fake.calDones, 0);
    EXPECT_TRUE(isWhite(50, 50));
    // A good second round passes.
    testing::internal::CaptureStdout();
    calibrate(w);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(w->isDone());
    EXPECT_EQ(w->failureCount(), 1);
    EXPECT_EQ(item->getResult(), 0);
}

TEST_F(TsCalibrateWndTest, ThirdFailedFitFailsTheTestAndClosesTheWindow)
{
    // A panel that returns nothing for the raw point: every sample is (1, 0).
    fake.refuseRawData = true;
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    calibrate(w);
    EXPECT_EQ(w->failureCount(), 1);
    calibrate(w);
    EXPECT_EQ(w->failureCount(), 2);
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_EQ(window(), w);
    calibrate(w);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(item->getResult(), 1);
    ASSERT_EQ(main->notifications.size(), 1u);
    EXPECT_EQ(main->notifications[0].param1, 3);
    // Abandoned: the driver gets the last good set (none yet: zeros).
    EXPECT_NE(out.find("============= calibrate fails done......\n[--I] CAL_DONE......\n"), std::string::npos)
        << out;
    ASSERT_EQ(fake.installed.size(), 1u);
    EXPECT_EQ(fake.installed[0], std::vector<int>(7, 0));
}

TEST_F(TsCalibrateWndTest, CancelWhileCalibratingFailsTheTest)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    touchTarget(w, 0);
    testing::internal::CaptureStdout();
    tap(400, 420);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(item->getResult(), 1);
    ASSERT_EQ(main->notifications.size(), 1u);
    EXPECT_NE(out.find("============= calibrate fails done......"), std::string::npos);
    // The tap on the button was not taken for a target.
    EXPECT_EQ(fake.rawReads, 1);
}

TEST_F(TsCalibrateWndTest, CancelInDrawingModeKeepsThePass)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    calibrate(w);
    ASSERT_TRUE(w->isDone());
    tap(400, 420);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(item->getResult(), 0);
    ASSERT_EQ(main->notifications.size(), 1u);
    EXPECT_EQ(out.find("calibrate fails done"), std::string::npos);
    EXPECT_EQ(fake.installed.size(), 1u);
}

TEST_F(TsCalibrateWndTest, AbandonedCalibrationReinstallsTheLastPassingOne)
{
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    calibrate(w);
    tap(400, 420);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(fake.installed.size(), 1u);
    const std::vector<int> good = fake.installed[0];

    // A second run, left before its fit: the driver gets the first one back.
    w = start();
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(fake.rawMode);
    touchTarget(w, 0);
    testing::internal::CaptureStdout();
    w->destroy();
    settle();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("============= calibrate fails done......"), std::string::npos);
    ASSERT_EQ(fake.installed.size(), 2u);
    EXPECT_EQ(fake.installed[1], good);
    EXPECT_FALSE(fake.rawMode);
    EXPECT_EQ(main->notifications.size(), 2u);
}

TEST_F(TsCalibrateWndTest, WithoutTheMainWindowNothingIsPosted)
{
    main->destroy();
    settle();
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    tap(400, 420);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(item->getResult(), 1);
}

TEST_F(TsCalibrateWndTest, RandomPanelsCalibratedThroughTheWindowLandTouchesWithinTwoPixels)
{
    std::mt19937 rng(4242);
    for (int n = 0; n < 8; ++n) {
        fake.panel = touchtest::Panel::random(rng, 3);
        TsCalibrateWnd* w = start();
        ASSERT_NE(w, nullptr);
        testing::internal::CaptureStdout();
        calibrate(w);
        testing::internal::GetCapturedStdout();
        ASSERT_TRUE(w->isDone()) << n;
        for (int y = 10; y < 480; y += 115) {
            for (int x = 10; x < 800; x += 195) {
                int rx, ry;
                fake.reported(x, y, rx, ry);
                EXPECT_LE(std::abs(rx - x), 2) << n << ": " << x << "," << y;
                EXPECT_LE(std::abs(ry - y), 2) << n << ": " << x << "," << y;
            }
        }
        tap(400, 420);
        ASSERT_EQ(window(), nullptr);
    }
    EXPECT_EQ(fake.calDones, 8);
}

// The same calibration with the panel's own samples: raw coordinates that
// are no screen positions while calibrating, screen pixels afterwards.
class TouchScreenCalibrateTest : public TsCalibrateWndTest {
protected:
    void SetUp() override
    {
        TsCalibrateWndTest::SetUp();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), 0);
        ASSERT_EQ(fcntl(pair[0], F_SETFL, O_NONBLOCK), 0);
        g_tsReadHandler.ts = MultiTouchScreen::getTs();
        ASSERT_EQ(rt->registerHandler(pair[0], &g_tsReadHandler), 0);
        MousePoint up;
        MultiTouchScreen::getTs()->addPoint(up, false);
    }
    void TearDown() override
    {
        rt->unregisterHandler(pair[0]);
        ::close(pair[0]);
        ::close(pair[1]);
        TsCalibrateWndTest::TearDown();
    }
    // What the driver sends for a touch at screen (x, y): raw points while
    // calibrating, screen pixels once calibrated; a pen-up sample at the end.
    void panelTouch(int x, int y, int holdMs = 150)
    {
        fake.touch(x, y);
        int px = fake.rawX, py = fake.rawY;
        if (!fake.rawMode)
            touchtest::applyCoefficients(fake.coeffs, fake.rawX, fake.rawY, px, py);
        sendSample(sample(500, px, py));
        advance(holdMs, 10);
        sendSample(sample(0, px, py));
    }
    void sendSample(const std::vector<unsigned char>& s)
    {
        ASSERT_EQ(::send(pair[1], s.data(), s.size(), 0), static_cast<ssize_t>(s.size()));
        ASSERT_TRUE(pumpUntil([this] {
            char c;
            return ::recv(pair[0], &c, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
        }));
    }
    int pair[2] { -1, -1 };
};

TEST_F(TouchScreenCalibrateTest, RawSamplesCalibrateAndCalibratedOnesDraw)
{
    // A panel whose raw points lie far outside the screen.
    fake.panel.offsetX = 3900;
    fake.panel.scaleX = -4.2;
    fake.panel.offsetY = 3800;
    fake.panel.scaleY = -7.1;
    TsCalibrateWnd* w = start();
    ASSERT_NE(w, nullptr);
    testing::internal::CaptureStdout();
    panelTouch(50, 50, 60); // too short
    EXPECT_EQ(w->targetIndex(), 0);
    for (int i = 0; i < 5; ++i)
        panelTouch(w->targetX(i), w->targetY(i));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("[MultiTouchScreen] m_filterFunc !=NULL \n"), std::string::npos);
    ASSERT_TRUE(w->isDone());
    EXPECT_EQ(item->getResult(), 0);

    // Calibrated: a touch lands where it was aimed and paints there.
    fake.touch(600, 300);
    int x, y;
    touchtest::applyCoefficients(fake.coeffs, fake.rawX, fake.rawY, x, y);
    EXPECT_LE(std::abs(x - 600), 2);
    EXPECT_LE(std::abs(y - 300), 2);
    panelTouch(600, 300);
    EXPECT_EQ(shownPixel(x, y), 0xF81F);
    EXPECT_EQ(shownPixel(x - 3, y - 3), 0xF800);

    // Closed: the filter is gone with the window.
    advance(4000);
    EXPECT_EQ(window(), nullptr);
    EXPECT_EQ(MultiTouchScreen::getTs()->filter(nullptr), nullptr);
}

}
