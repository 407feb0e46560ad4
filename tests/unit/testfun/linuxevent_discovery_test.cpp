// Discovery of the input nodes event0..15 and of the touch screen, on nodes
// of the test's own directory (FIFOs whose capability queries the test
// answers) instead of the machine's devices.

#include "input_support.h"

#include "widgets/pelcursor.h"

#include <gtest/gtest.h>

#include <string>

using inputtest::FakeDevice;
using inputtest::fakeDevices;
using inputtest::InputLayerTest;
using inputtest::KeyEvent;

namespace {

class LinuxEventDiscoveryTest : public InputLayerTest {
protected:
    std::string node(int n) const { return tmp.file("event" + std::to_string(n)); }

    int initCaptured(std::string& out)
    {
        testing::internal::CaptureStdout();
        const int rc = eventInit();
        out = testing::internal::GetCapturedStdout();
        return rc;
    }
};

TEST_F(LinuxEventDiscoveryTest, WithoutNodesInitFailsAndStillCentresThePointer)
{
    g_linuxEventMouse.x = 3;
    g_linuxEventMouse.y = 4;
    std::string out;
    EXPECT_EQ(initCaptured(out), -1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(g_linuxEventMouse.x, 400);
    EXPECT_EQ(g_linuxEventMouse.y, 240);
    for (int fd : g_linuxEventMouse.eventFd)
        EXPECT_EQ(fd, -1);
    EXPECT_TRUE(g_linuxEventMouse.initialised);
}

TEST_F(LinuxEventDiscoveryTest, KeypadIsOpenedRegisteredAndDescribed)
{
    makeNode(3, inputtest::keypad("gpio-keys"));
    std::string out;
    EXPECT_EQ(initCaptured(out), 0);
    const int fd = g_linuxEventMouse.eventFd[3];
    ASSERT_GT(fd, 2);
    EXPECT_EQ(out,
        "[Linux Event] open \"" + node(3) + "\", fd = " + std::to_string(fd)
            + "\n"
              "[Linux Event] name: [gpio-keys]\n"
              "[Linux Event] cap: EV_KEY||\n"
              "[Linux Event] is pointer mouse? no.\n");
    EXPECT_EQ(g_linuxEventMouse.eventTypes[3], (1u << EV_SYN) | (1u << EV_KEY) | (1u << EV_LED));
    EXPECT_EQ(g_linuxEventMouse.relBits[3], 0);
    EXPECT_FALSE(PelCursor::type());
    EXPECT_EQ(eventexist("gpio-keys"), 1);
    EXPECT_EQ(eventexist("gpio-key"), 0);
    EXPECT_EQ(eventexist(""), 0);

    // Registered with the loop: a record written to the node arrives as a key.
    // (The LED records written at the scan are read first and ignored.)
    const int writer = ::open(node(3).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    ownFds.push_back(writer);
    const input_event recs[2] = { inputtest::record(EV_KEY, 158, 1), inputtest::record(EV_KEY, 158, 0) };
    ASSERT_EQ(::write(writer, recs, sizeof recs), static_cast<ssize_t>(sizeof recs));
    EXPECT_TRUE(pumpUntil([this] { return rec().keys.size() >= 2; }));
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 134, 0 }, { 134, 1 } }));
}

TEST_F(LinuxEventDiscoveryTest, ScanSetsTheLedsOfEveryOpenDevice)
{
    makeNode(0, inputtest::keypad("keypad"));
    makeNode(5, inputtest::keypad("usb keyboard"));
    const int r0 = openNodeReader(0);
    const int r5 = openNodeReader(5);
    ASSERT_GE(r0, 0);
    ASSERT_GE(r5, 0);
    g_numLock = 0;
    g_linuxEventMouse.capsLock = true;
    g_linuxEventMouse.shift = true;
    std::string out;
    ASSERT_EQ(initCaptured(out), 0);
    EXPECT_EQ(g_numLock, 1);
    EXPECT_FALSE(g_linuxEventMouse.capsLock);
    EXPECT_FALSE(g_linuxEventMouse.shift);
    for (int reader : { r0, r5 }) {
        const auto got = readRecords(reader);
        ASSERT_EQ(got.size(), 3u);
        const int expected[3][2] = { { 0, 1 }, { 1, 0 }, { 2, 0 } };
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(got[i].type, 17);
            EXPECT_EQ(got[i].code, expected[i][0]);
            EXPECT_EQ(got[i].value, expected[i][1]);
            EXPECT_EQ(got[i].time.tv_sec, 0);
        }
    }
}

TEST_F(LinuxEventDiscoveryTest, LedRecordsFollowCapsAndNumLockOnTheOpenedDevices)
{
    makeNode(1, inputtest::keypad("keypad"));
    const int reader = openNodeReader(1);
    std::string out;
    ASSERT_EQ(initCaptured(out), 0);
    readRecords(reader); // the scan's own
    tap(58);
    auto got = readRecords(reader);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].code, 1);
    EXPECT_EQ(got[0].value, 1);
    EXPECT_EQ(got[1].code, 0);
    EXPECT_EQ(got[1].value, 1);
    tap(69);
    got = readRecords(reader);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].value, 1);
    EXPECT_EQ(got[1].code, 0);
    EXPECT_EQ(got[1].value, 0);
}

TEST_F(LinuxEventDiscoveryTest, MultiTouchNodeIsClosedAgainAndItsSlotStaysUnset)
{
    makeNode(2, inputtest::touchScreen("touch"));
    const int before = inputtest::openDescriptors();
    std::string out;
    EXPECT_EQ(initCaptured(out), 0); // it opened
    EXPECT_EQ(g_linuxEventMouse.eventFd[2], -1);
    EXPECT_EQ(inputtest::openDescriptors(), before);
    EXPECT_NE(out.find("[Linux Event] open \"" + node(2) + "\""), std::string::npos);
    EXPECT_EQ(out.find("name:"), std::string::npos);
    EXPECT_EQ(eventexist("touch"), 0);
}

TEST_F(LinuxEventDiscoveryTest, MouseMakesThePointerAndPassesThePointerTest)
{
    makeNode(7, inputtest::mouse("usb mouse"));
    char name[] = "\xCA\xF3\xB1\xEA";
    MouseItem item(name);
    item.setResult(1);
    std::string out;
    EXPECT_EQ(initCaptured(out), 0);
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_TRUE(PelCursor::type());
    const int fd = g_linuxEventMouse.eventFd[7];
    EXPECT_EQ(out,
        "[--I] mouse set UNKNOW \n"
        "[Linux Event] open \""
            + node(7) + "\", fd = " + std::to_string(fd)
            + "\n"
              "[Linux Event] name: [usb mouse]\n"
              "[Linux Event] cap: EV_KEY||EV_REL\n"
              "[--I] mouse set TEST_PASS \n"
              "[Linux Event] is pointer mouse? yes.\n");
}

TEST_F(LinuxEventDiscoveryTest, OnlyRelativeYIsAPointerToo)
{
    FakeDevice d = inputtest::mouse("y only");
    d.rel = 1u << REL_Y;
    makeNode(0, d);
    std::string out;
    initCaptured(out);
    EXPECT_NE(out.find("is pointer mouse? yes."), std::string::npos);
    FakeDevice wheel = inputtest::mouse("wheel only");
    wheel.rel = 1u << REL_Z;
    fakeDevices()["event0"] = wheel;
    initCaptured(out);
    EXPECT_NE(out.find("is pointer mouse? no."), std::string::npos);
    EXPECT_FALSE(PelCursor::type());
}

TEST_F(LinuxEventDiscoveryTest, DeviceThatAnswersNoQueryIsAKeyDeviceWithNoName)
{
    makeNode(4, inputtest::keypad("x"));
    fakeDevices().clear(); // every query fails: the zero-filled buffers stay
    std::string out;
    EXPECT_EQ(initCaptured(out), 0);
    EXPECT_GE(g_linuxEventMouse.eventFd[4], 0);
    EXPECT_NE(out.find("[Linux Event] name: []\n[Linux Event] cap: ||\n"), std::string::npos) << out;
    EXPECT_EQ(g_linuxEventMouse.eventTypes[4], 0u);
    EXPECT_EQ(g_linuxEventMouse.relBits[4], 0);
}

TEST_F(LinuxEventDiscoveryTest, RescanClosesAndReopensWithoutLeaking)
{
    makeNode(0, inputtest::keypad("a"));
    makeNode(15, inputtest::mouse("b"));
    std::string out;
    ASSERT_EQ(initCaptured(out), 0);
    const int after = inputtest::openDescriptors();
    for (int i = 0; i < 20; ++i) {
        eventTerm();
        ASSERT_EQ(initCaptured(out), 0);
    }
    EXPECT_EQ(inputtest::openDescriptors(), after);
    EXPECT_GE(g_linuxEventMouse.eventFd[0], 0);
    EXPECT_GE(g_linuxEventMouse.eventFd[15], 0);
    EXPECT_EQ(eventTerm(), 0);
    for (int fd : g_linuxEventMouse.eventFd)
        EXPECT_EQ(fd, -1);
    EXPECT_EQ(inputtest::openDescriptors(), after - 2);
}

TEST_F(LinuxEventDiscoveryTest, OpenClampsTheNodeNumber)
{
    makeNode(0, inputtest::keypad("first"));
    makeNode(15, inputtest::keypad("last"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(eventOpen(-4), 0);
    EXPECT_EQ(eventOpen(99), 0);
    EXPECT_EQ(eventOpen(6), -1);
    testing::internal::GetCapturedStdout();
    EXPECT_GE(g_linuxEventMouse.eventFd[0], 0);
    EXPECT_GE(g_linuxEventMouse.eventFd[15], 0);
    EXPECT_EQ(g_linuxEventMouse.eventFd[6], -1);
    eventClose(0);
    eventClose(15);
    eventClose(-1);
    eventClose(16);
    EXPECT_EQ(g_linuxEventMouse.eventFd[0], -1);
    EXPECT_EQ(eventInfo(0), 0);
}

TEST_F(LinuxEventDiscoveryTest, IsTouchDeviceNeedsAllThreeMultiTouchAxes)
{
    EXPECT_EQ(isTouchDevice(-1), -1);
    makeNode(0, inputtest::touchScreen("t"));
    const int fd = ::open(node(0).c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    ownFds.push_back(fd);
    EXPECT_EQ(isTouchDevice(fd), 0);
    for (int axis : { ABS_MT_TOUCH_MAJOR, ABS_MT_POSITION_X, ABS_MT_POSITION_Y }) {
        FakeDevice d = inputtest::touchScreen("t");
        d.abs[axis / 8] &= static_cast<uint8_t>(~(1u << (axis % 8)));
        fakeDevices()["event0"] = d;
        EXPECT_EQ(isTouchDevice(fd), -1) << axis;
    }
    fakeDevices().clear();
    EXPECT_EQ(isTouchDevice(fd), -1);
}

TEST_F(LinuxEventDiscoveryTest, TouchDiscoveryKeepsTheFirstTouchScreen)
{
    makeNode(0, inputtest::keypad("keys"));
    makeNode(1, inputtest::touchScreen("touch"));
    const int before = inputtest::openDescriptors();
    testing::internal::CaptureStdout();
    EXPECT_EQ(initEventTouchScreen(), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "[--I]open " + node(1) + " Two TouchScreen event.\n");
    const int fd = g_linuxEventMouse.touchFd;
    EXPECT_GT(fd, 2);
    EXPECT_EQ(inputtest::openDescriptors(), before + 1);

    // Its records reach the pointer through the loop.
    const int writer = ::open(node(1).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    const input_event recs[3] = { inputtest::record(EV_ABS, ABS_MT_POSITION_X, 11),
        inputtest::record(EV_ABS, ABS_MT_POSITION_Y, 22), inputtest::record(EV_SYN, 0, 0) };
    ASSERT_EQ(::write(writer, recs, sizeof recs), static_cast<ssize_t>(sizeof recs));
    EXPECT_TRUE(pumpUntil([this] { return !rec().pointer.empty(); }));
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].x, 11);
    EXPECT_EQ(p[0].y, 22);
    ::close(writer);

    closeEventTouchScreen();
    EXPECT_EQ(g_linuxEventMouse.touchFd, -1);
    EXPECT_EQ(inputtest::openDescriptors(), before);
    closeEventTouchScreen();
    EXPECT_EQ(g_linuxEventMouse.touchFd, -1);
}

TEST_F(LinuxEventDiscoveryTest, TouchDiscoveryReportsNodesThatCannotBeOpened)
{
    const std::string dir = tmp.file("input");
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    // A dangling link cannot be opened.
    ASSERT_EQ(symlink((dir + "/gone").c_str(), (dir + "/event0").c_str()), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(scan_dir(dir.c_str()), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "[--I] could not open " + dir + "/event0, No such file or directory\n");
    EXPECT_EQ(g_linuxEventMouse.touchFd, -1);
}

TEST_F(LinuxEventDiscoveryTest, TouchDiscoveryOfAMissingDirectoryFails)
{
    EXPECT_EQ(scan_dir(tmp.file("nowhere").c_str()), -1);
    EXPECT_EQ(open_device(tmp.file("nowhere/event0").c_str()), -1);
    EXPECT_EQ(g_linuxEventMouse.touchFd, -1);
}

TEST_F(LinuxEventDiscoveryTest, TouchDiscoveryWithoutTouchScreenKeepsNothingOpen)
{
    makeNode(0, inputtest::keypad("keys"));
    makeNode(1, inputtest::mouse("mouse"));
    const int before = inputtest::openDescriptors();
    testing::internal::CaptureStdout();
    EXPECT_EQ(initEventTouchScreen(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(g_linuxEventMouse.touchFd, -1);
    EXPECT_EQ(inputtest::openDescriptors(), before);
}

TEST_F(LinuxEventDiscoveryTest, TheLayerLooksInTheDevicesDirectoryByDefault)
{
    setEventInputDir(nullptr);
    EXPECT_STREQ(eventInputDir(), "/dev/input");
    setEventInputDir(tmp.path().c_str());
    EXPECT_EQ(eventInputDir(), tmp.path());
}

}
