// The hot-plug monitor on a datagram pair of the test's own instead of the
// kernel's uevent socket: which events re-scan, the one-second debounce, the
// retries, and texts of any bytes. The re-scans look for input nodes in the
// test's directory, never in the machine's.

#include "lumi_test.h"

#include "shell/pelnetlink.h"
#include "testfun/linuxevent.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int openDescriptors()
{
    int count = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(d)) {
            if (e->d_name[0] != '.')
                ++count;
        }
        closedir(d);
    }
    return count - 1;
}

int countOf(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

const char kMouseAdd[] = "add@/devices/platform/usb/1-1/1-1:1.0/0003:046D:C077.0001/input/input7/mouse1";
const char kMouseRemove[]
    = "remove@/devices/platform/usb/1-1/1-1:1.0/0003:046D:C077.0001/input/input7/mouse1";

class PelNetlinkTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        ASSERT_EQ(getcwd(previousDir, sizeof previousDir), previousDir);
        ASSERT_EQ(chdir(tmp.path().c_str()), 0);
        inputDir = tmp.file("input");
        ASSERT_EQ(mkdir(inputDir.c_str(), 0700), 0);
        setEventInputDir(inputDir.c_str());
        g_inputCheckTimer = 0;
        g_inputCheckRetry = 0;
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair), 0);
        ASSERT_EQ(rt->registerHandler(pair[0], &g_pelNetlink), 0);
    }

    void TearDown() override
    {
        if (g_inputCheckTimer)
            rt->delTimer(g_inputCheckTimer);
        g_inputCheckTimer = 0;
        g_inputCheckRetry = 0;
        eventTerm();
        rt->unregisterHandler(pair[0]);
        close(pair[0]);
        close(pair[1]);
        setEventInputDir(nullptr);
        EXPECT_EQ(chdir(previousDir), 0);
        lumitest::ToolkitTest::TearDown();
    }

    void send(const void* data, size_t size)
    {
        ASSERT_EQ(::send(pair[1], data, size, 0), static_cast<ssize_t>(size));
    }
    void send(const std::string& text) { send(text.data(), text.size()); }

    // Sends one event and lets the loop read it, on the test clock.
    std::string deliver(const std::string& text)
    {
        testing::internal::CaptureStdout();
        send(text);
        settle();
        return testing::internal::GetCapturedStdout();
    }

    std::string advanceCaptured(int ms)
    {
        testing::internal::CaptureStdout();
        advance(ms);
        return testing::internal::GetCapturedStdout();
    }

    void makeNode(int n) { ASSERT_EQ(mkfifo((inputDir + "/event" + std::to_string(n)).c_str(), 0600), 0); }

    char previousDir[4096] {};
    std::string inputDir;
    int pair[2] { -1, -1 };
};

TEST_F(PelNetlinkTest, MouseAddRescansOneSecondLater)
{
    makeNode(0);
    const std::string out = deliver(kMouseAdd);
    EXPECT_EQ(out, std::string("***Pellink::onRead(): ") + kMouseAdd + "\ninput changed.\n");
    EXPECT_NE(g_inputCheckTimer, 0);

    EXPECT_EQ(advanceCaptured(999), "");
    const std::string rescan = advanceCaptured(1);
    EXPECT_EQ(rescan.find("In inputCheckProc (0)\n"), 0u) << rescan;
    EXPECT_NE(rescan.find("[Linux Event] open \"" + inputDir + "/event0\""), std::string::npos);
    EXPECT_NE(rescan.find("eventInit Success\n"), std::string::npos);
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(g_inputCheckRetry, 0);
    EXPECT_EQ(advanceCaptured(5000), "");
}

TEST_F(PelNetlinkTest, MouseRemoveRescansToo)
{
    deliver(kMouseRemove);
    EXPECT_NE(g_inputCheckTimer, 0);
    EXPECT_NE(advanceCaptured(1000).find("In inputCheckProc (0)"), std::string::npos);
}

TEST_F(PelNetlinkTest, InputDeviceWithoutMouseDoesNothing)
{
    const std::string text = "add@/devices/platform/gpio-keys/input/input2/event2";
    const std::string out = deliver(text);
    EXPECT_EQ(out, "***Pellink::onRead(): " + text + "\n");
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(advanceCaptured(3000), "");
}

TEST_F(PelNetlinkTest, MouseOutsideInputDoesNothing)
{
    deliver("add@/devices/platform/mouse-led");
    EXPECT_EQ(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, ChangeEventIsIgnoredEvenForAMouse)
{
    deliver("change@/devices/platform/usb/1-1/input/input7/mouse1");
    deliver("bind@/devices/platform/usb/1-1/input/input7/mouse1");
    deliver("add@/module/mouse/input");
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(advanceCaptured(3000), "");
}

TEST_F(PelNetlinkTest, OnlyTheHeaderLineIsExamined)
{
    // The kernel's key=value lines follow the header after a zero byte.
    const char event[] = "add@/devices/platform/x\0ACTION=add\0DEVPATH=/devices/input/input7/mouse1\0";
    testing::internal::CaptureStdout();
    send(event, sizeof event);
    settle();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "***Pellink::onRead(): add@/devices/platform/x\n");
    EXPECT_EQ(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, TextWithoutZeroByteOfTheFullSizeIsReadSafely)
{
    std::string text(2048, 'x');
    const std::string tail = "add@/devices/usb/input/input9/mouse3";
    text.replace(text.size() - tail.size(), tail.size(), tail);
    const std::string out = deliver(text);
    EXPECT_EQ(out, "***Pellink::onRead(): " + text + "\ninput changed.\n");
    EXPECT_NE(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, LongerDatagramIsCutAt2048Bytes)
{
    // The match lies beyond 2048 bytes: cut off, so nothing happens.
    std::string text(4000, 'y');
    text += "add@/devices/usb/input/input9/mouse3";
    const std::string out = deliver(text);
    EXPECT_EQ(out, "***Pellink::onRead(): " + text.substr(0, 2048) + "\n");
    EXPECT_EQ(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, AnyBytesAreReadSafely)
{
    uint32_t seed = 7;
    auto next = [&seed] {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 9;
    };
    testing::internal::CaptureStdout();
    for (int i = 0; i < 300; ++i) {
        unsigned char bytes[2100];
        const size_t size = 1 + next() % sizeof bytes;
        for (size_t k = 0; k < size; ++k)
            bytes[k] = static_cast<unsigned char>(next());
        send(bytes, size);
        settle();
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, EmptyDatagramAndFailedReceiveAreIgnored)
{
    testing::internal::CaptureStdout();
    send("", 0);
    settle();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStderr();
    g_pelNetlink.onRead(-1);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("***ERR:Pellink::onRead(): "), 0u);
    EXPECT_EQ(g_inputCheckTimer, 0);
}

// A storm of plug and unplug events, one a millisecond: a single re-scan a
// second after the last of them, and no descriptor left behind.
TEST_F(PelNetlinkTest, StormOfEventsGivesOneRescanASecondAfterTheLast)
{
    const int before = openDescriptors();
    testing::internal::CaptureStdout();
    for (int i = 0; i < 1000; ++i) {
        send(i % 2 ? kMouseRemove : kMouseAdd);
        advance(1);
    }
    const std::string storm = testing::internal::GetCapturedStdout();
    EXPECT_EQ(countOf(storm, "input changed.\n"), 1000);
    EXPECT_EQ(countOf(storm, "In inputCheckProc"), 0);

    EXPECT_EQ(advanceCaptured(999), "");
    std::string out = advanceCaptured(1);
    EXPECT_EQ(out, "In inputCheckProc (0)\n");
    // No device: the retries follow, one a second, and then silence.
    out = advanceCaptured(20000);
    EXPECT_EQ(countOf(out, "In inputCheckProc"), 10);
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PelNetlinkTest, WithoutDevicesElevenRescansThenSilence)
{
    deliver(kMouseAdd);
    std::string all;
    for (int second = 1; second <= 11; ++second) {
        const std::string out = advanceCaptured(1000);
        EXPECT_EQ(out, "In inputCheckProc (" + std::to_string(second - 1) + ")\n") << second;
        all += out;
    }
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(g_inputCheckRetry, 0);
    EXPECT_EQ(all.find("eventInit Success"), std::string::npos);
    EXPECT_EQ(advanceCaptured(30000), "");
}

TEST_F(PelNetlinkTest, DeviceFoundOnARetryEndsTheRetries)
{
    deliver(kMouseAdd);
    advanceCaptured(3000); // re-scans 0, 1, 2 find nothing
    EXPECT_EQ(g_inputCheckRetry, 3);
    makeNode(4);
    const std::string out = advanceCaptured(1000);
    EXPECT_EQ(out.find("In inputCheckProc (3)\n"), 0u) << out;
    EXPECT_NE(out.find("eventInit Success\n"), std::string::npos);
    EXPECT_EQ(g_inputCheckTimer, 0);
    EXPECT_EQ(advanceCaptured(5000), "");
}

TEST_F(PelNetlinkTest, DeviceFoundOnTheLastRetryEndsSilently)
{
    deliver(kMouseAdd);
    advanceCaptured(10000); // re-scans 0..9
    EXPECT_EQ(g_inputCheckRetry, 10);
    makeNode(1);
    const std::string out = advanceCaptured(1000);
    EXPECT_EQ(out.find("In inputCheckProc (10)\n"), 0u);
    EXPECT_EQ(out.find("eventInit Success"), std::string::npos);
    EXPECT_EQ(g_inputCheckTimer, 0);
}

TEST_F(PelNetlinkTest, NewEventWhilePendingStartsOverFromZero)
{
    deliver(kMouseAdd);
    advanceCaptured(2500); // re-scans 0 and 1
    EXPECT_EQ(g_inputCheckRetry, 2);
    deliver(kMouseRemove);
    EXPECT_EQ(g_inputCheckRetry, 0);
    EXPECT_EQ(advanceCaptured(999), "");
    EXPECT_EQ(advanceCaptured(1), "In inputCheckProc (0)\n");
}

TEST_F(PelNetlinkTest, StaleTimerCallbacksAreIgnored)
{
    testing::internal::CaptureStdout();
    inputCheckProc(nullptr, 12345);
    inputCheckProc(nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(PelNetlinkTest, InitBindsTheUeventSocketOrSaysWhyNot)
{
    testing::internal::CaptureStdout();
    const int rc = PelNetlink::init();
    const std::string out = testing::internal::GetCapturedStdout();
    if (rc != 0) {
        EXPECT_EQ(rc, -1);
        EXPECT_TRUE(out.rfind("error getting socket: ", 0) == 0 || out.rfind("bind failed: ", 0) == 0) << out;
        EXPECT_EQ(PelNetlink::fd(), -1);
        GTEST_SKIP() << "no uevent socket here: " << out;
    }
    EXPECT_EQ(out, "");
    EXPECT_GE(PelNetlink::fd(), 0);
    PelNetlink::close();
    EXPECT_EQ(PelNetlink::fd(), -1);
}

}
