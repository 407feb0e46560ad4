// The input layer's pointer: mouse moves clamped to the screen, the buttons,
// and the multi-touch screen's positions.

#include "input_support.h"

#include <gtest/gtest.h>

#include <climits>

using inputtest::InputLayerTest;
using inputtest::KeyEvent;

namespace {

class LinuxEventPointerTest : public InputLayerTest { };

TEST_F(LinuxEventPointerTest, MoveBeyondTheRightEdgeLeavesXEqualToTheWidth)
{
    feed(EV_REL, REL_X, 1000);
    EXPECT_EQ(g_linuxEventMouse.x, 800);
    EXPECT_EQ(g_linuxEventMouse.y, 240);
    int cx = -1, cy = -1;
    Cursor::getPos(cx, cy);
    EXPECT_EQ(cx, 800);
    EXPECT_EQ(cy, 240);
    feed(EV_REL, REL_X, 5);
    EXPECT_EQ(g_linuxEventMouse.x, 800);
    feed(EV_REL, REL_X, -1);
    EXPECT_EQ(g_linuxEventMouse.x, 799);
}

TEST_F(LinuxEventPointerTest, MovesAreClampedToZeroAndToTheHeight)
{
    feed(EV_REL, REL_Y, 10000);
    EXPECT_EQ(g_linuxEventMouse.y, 480);
    feed(EV_REL, REL_Y, -100000);
    EXPECT_EQ(g_linuxEventMouse.y, 0);
    feed(EV_REL, REL_X, -401);
    EXPECT_EQ(g_linuxEventMouse.x, 0);
}

TEST_F(LinuxEventPointerTest, ExtremeValuesCannotOverflow)
{
    feed(EV_REL, REL_X, INT_MAX);
    feed(EV_REL, REL_X, INT_MAX);
    EXPECT_EQ(g_linuxEventMouse.x, 800);
    feed(EV_REL, REL_Y, INT_MIN);
    feed(EV_REL, REL_Y, INT_MIN);
    EXPECT_EQ(g_linuxEventMouse.y, 0);
}

TEST_F(LinuxEventPointerTest, OtherRelativeCodesMoveNothingButStillReportThePosition)
{
    input_event wheel = inputtest::record(EV_REL, REL_WHEEL, 3);
    EXPECT_EQ(translateRelEvent(wheel), 0);
    EXPECT_EQ(g_linuxEventMouse.x, 400);
    EXPECT_EQ(g_linuxEventMouse.y, 240);
    input_event key = inputtest::record(EV_KEY, REL_X, 3);
    EXPECT_EQ(translateRelEvent(key), -1);
}

TEST_F(LinuxEventPointerTest, LeftButtonPressesDragsAndReleasesAtThePointer)
{
    feed(EV_REL, REL_X, -100); // a hover: no message
    EXPECT_TRUE(takePointer().empty());
    press(272);
    EXPECT_EQ(g_linuxEventMouse.pressure, 500u);
    feed(EV_REL, REL_Y, 10);
    release(272);
    EXPECT_EQ(g_linuxEventMouse.pressure, 0u);
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 3u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
    EXPECT_EQ(p[0].x, 300);
    EXPECT_EQ(p[0].y, 240);
    EXPECT_EQ(p[1].flags, MOUSE_MOVE);
    EXPECT_EQ(p[1].y, 250);
    EXPECT_EQ(p[2].flags, MOUSE_RELEASE);
    EXPECT_EQ(p[2].x, 300);
    EXPECT_EQ(p[2].y, 250);
    EXPECT_TRUE(takeKeys().empty());
}

TEST_F(LinuxEventPointerTest, LeftButtonAutoRepeatCountsAsRelease)
{
    press(272);
    feed(EV_KEY, 272, 2);
    EXPECT_EQ(g_linuxEventMouse.pressure, 0u);
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[1].flags, MOUSE_RELEASE);
}

TEST_F(LinuxEventPointerTest, RightButtonReleaseDeliversOnlyAMenuKeyDown)
{
    press(273);
    EXPECT_TRUE(takeKeys().empty());
    release(273);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 2, 0 } }));
    EXPECT_TRUE(takePointer().empty());
}

TEST_F(LinuxEventPointerTest, OtherButtonsAreIgnored)
{
    for (int code = 274; code <= 279; ++code) {
        input_event ev = inputtest::record(EV_KEY, code, 1);
        EXPECT_EQ(translateKeyEvent(ev), 0);
        ev = inputtest::record(EV_KEY, code, 0);
        EXPECT_EQ(translateKeyEvent(ev), 0);
    }
    EXPECT_TRUE(takeKeys().empty());
    EXPECT_TRUE(takePointer().empty());
}

TEST_F(LinuxEventPointerTest, TouchPositionIsPressedAtTheReportEndAndReleasedWhenLifted)
{
    feed(EV_ABS, ABS_MT_POSITION_X, 120);
    feed(EV_SYN, SYN_REPORT, 0); // only x so far: nothing
    EXPECT_TRUE(takePointer().empty());
    feed(EV_ABS, ABS_MT_POSITION_Y, 60);
    feed(EV_SYN, SYN_REPORT, 0);
    feed(EV_ABS, ABS_MT_POSITION_X, 130);
    feed(EV_SYN, SYN_REPORT, 0);
    feed(EV_ABS, ABS_MT_TOUCH_MAJOR, 0);
    EXPECT_EQ(g_absX, static_cast<int>(0x80000000));
    EXPECT_EQ(g_absY, static_cast<int>(0x80000000));
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 3u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
    EXPECT_EQ(p[0].x, 120);
    EXPECT_EQ(p[0].y, 60);
    EXPECT_EQ(p[1].flags, MOUSE_MOVE);
    EXPECT_EQ(p[1].x, 130);
    EXPECT_EQ(p[2].flags, MOUSE_RELEASE);
    EXPECT_EQ(p[2].x, 130);
    EXPECT_EQ(p[2].y, 60);
}

TEST_F(LinuxEventPointerTest, TouchMajorAboveZeroIsNotALift)
{
    feed(EV_ABS, ABS_MT_POSITION_X, 10);
    feed(EV_ABS, ABS_MT_POSITION_Y, 20);
    feed(EV_ABS, ABS_MT_TOUCH_MAJOR, 1);
    EXPECT_EQ(g_absX, 10);
    feed(EV_ABS, ABS_MT_TOUCH_MAJOR, -5);
    EXPECT_EQ(g_absX, static_cast<int>(0x80000000));
}

TEST_F(LinuxEventPointerTest, TouchPositionsAreCutToSixteenBits)
{
    feed(EV_ABS, ABS_MT_POSITION_X, 0x10000 + 7);
    feed(EV_ABS, ABS_MT_POSITION_Y, 0x20000 + 9);
    feed(EV_SYN, SYN_REPORT, 0);
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].x, 7);
    EXPECT_EQ(p[0].y, 9);
}

TEST_F(LinuxEventPointerTest, AbsoluteTranslationTakesOnlyAbsAndSyn)
{
    input_event ev = inputtest::record(EV_KEY, ABS_MT_POSITION_X, 5);
    EXPECT_EQ(translateAbsEvent(ev), -1);
    ev = inputtest::record(EV_ABS, ABS_X, 5);
    EXPECT_EQ(translateAbsEvent(ev), 0);
    EXPECT_EQ(g_absX, static_cast<int>(0x80000000));
}

TEST_F(LinuxEventPointerTest, AdapterOpenOnlySaysSo)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(g_linuxEventMouse.open("/nowhere"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Linux Event mouse adapter open\n");
}

}
