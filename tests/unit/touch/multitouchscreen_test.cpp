// The touch screen as a pointer source: whole 8-byte samples, the pressure
// threshold, the filter, opening and closing, and the read loop's end.

#include "touch_support.h"

#include <gtest/gtest.h>

#include <deque>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using touchtest::PointerEvent;
using touchtest::RecordingApp;
using touchtest::sample;
using touchtest::samples;

namespace {

class MultiTouchScreenTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<RecordingApp>(); }
    RecordingApp& rec() { return static_cast<RecordingApp&>(*app); }

    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        ts = MultiTouchScreen::getTs();
        // The singleton lives for the process: start each test released,
        // unfiltered and closed.
        ts->filter(nullptr);
        MousePoint up;
        ts->addPoint(up, false);
        settle();
        rec().pointer.clear();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), 0);
        ASSERT_EQ(fcntl(pair[0], F_SETFL, O_NONBLOCK), 0);
        g_tsReadHandler.ts = ts;
    }
    void TearDown() override
    {
        ts->filter(nullptr);
        testing::internal::CaptureStdout();
        ts->close();
        testing::internal::GetCapturedStdout();
        ::close(pair[0]);
        ::close(pair[1]);
        lumitest::ToolkitTest::TearDown();
    }

    void send(const std::vector<unsigned char>& bytes)
    {
        ASSERT_EQ(::send(pair[1], bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }
    // The samples the handler turned into pointer messages.
    std::vector<PointerEvent> drain()
    {
        rec().pointer.clear();
        g_tsReadHandler.onRead(pair[0]);
        settle();
        auto out = rec().pointer;
        rec().pointer.clear();
        return out;
    }

    MultiTouchScreen* ts { nullptr };
    int pair[2] { -1, -1 };
};

TEST_F(MultiTouchScreenTest, GetTsAlwaysReturnsTheSameScreen)
{
    EXPECT_EQ(MultiTouchScreen::getTs(), MultiTouchScreen::getTs());
    EXPECT_EQ(ts->pressureThreshold(), 200);
    EXPECT_FALSE(ts->isOpen());
}

TEST_F(MultiTouchScreenTest, SampleBecomesAPointAtItsCoordinates)
{
    send(samples({ sample(500, 123, 321), sample(500, 130, 330), sample(0, 130, 330) }));
    const auto p = drain();
    ASSERT_EQ(p.size(), 3u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
    EXPECT_EQ(p[0].x, 123);
    EXPECT_EQ(p[0].y, 321);
    EXPECT_EQ(p[1].flags, MOUSE_MOVE);
    EXPECT_EQ(p[1].x, 130);
    EXPECT_EQ(p[2].flags, MOUSE_RELEASE);
}

TEST_F(MultiTouchScreenTest, ReadOfTwentyBytesGivesTwoPointsAndDropsTheTail)
{
    auto bytes = samples({ sample(500, 10, 20), sample(500, 30, 40), sample(500, 50, 60) });
    bytes.resize(20);
    send(bytes);
    const auto p = drain();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[0].x, 10);
    EXPECT_EQ(p[1].x, 30);
    EXPECT_EQ(p[1].y, 40);
}

TEST_F(MultiTouchScreenTest, PartialRecordAloneGivesNothing)
{
    auto bytes = sample(500, 10, 20);
    bytes.resize(7);
    send(bytes);
    EXPECT_TRUE(drain().empty());
    EXPECT_FALSE(ts->isDown());
}

TEST_F(MultiTouchScreenTest, PressureOfExactly200IsPenUpAnd201PenDown)
{
    send(sample(200, 10, 10));
    EXPECT_TRUE(drain().empty()); // up while up: nothing to report
    EXPECT_FALSE(ts->isDown());
    send(sample(201, 10, 10));
    auto p = drain();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
    send(sample(200, 10, 10));
    p = drain();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].flags, MOUSE_RELEASE);
}

TEST_F(MultiTouchScreenTest, PressureIsReadAsAnUnsignedWord)
{
    // 0xFFFF is a high pressure, not -1.
    send(sample(0xFFFF, 5, 6));
    const auto p = drain();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
}

TEST_F(MultiTouchScreenTest, ManySamplesInOneReadAreAllDelivered)
{
    // 64 samples fill the 512-byte buffer of one read.
    std::vector<unsigned char> bytes;
    for (int i = 0; i < 64; ++i) {
        auto s = sample(500, 100 + i, 200);
        bytes.insert(bytes.end(), s.begin(), s.end());
    }
    send(bytes);
    const auto p = drain();
    ASSERT_EQ(p.size(), 64u);
    EXPECT_EQ(p.back().x, 163);
}

TEST_F(MultiTouchScreenTest, EveryQueuedReadIsDrainedUntilTheDriverSaysEmpty)
{
    send(sample(500, 1, 1));
    send(sample(500, 2, 2));
    send(sample(0, 2, 2));
    const auto p = drain();
    ASSERT_EQ(p.size(), 3u);
    EXPECT_EQ(p[2].flags, MOUSE_RELEASE);
}

namespace {
    // A driver that answers with zero bytes a few times before data and
    // before it reports its queue empty.
    std::deque<std::vector<unsigned char>> s_script;
    int s_reads = 0;
    ssize_t scriptedRead(int, void* buffer, size_t size)
    {
        ++s_reads;
        if (s_script.empty()) {
            errno = EAGAIN;
            return -1;
        }
        auto next = s_script.front();
        s_script.pop_front();
        const size_t n = next.size() < size ? next.size() : size;
        if (n > 0)
            memcpy(buffer, next.data(), n);
        return static_cast<ssize_t>(n);
    }
}

TEST_F(MultiTouchScreenTest, ZeroByteReadsAreReadAgainUntilMinusOne)
{
    s_script = { {}, {}, sample(500, 7, 8), {}, sample(0, 7, 8) };
    s_reads = 0;
    TsReadFunc previous = setTsRead(scriptedRead);
    rec().pointer.clear();
    g_tsReadHandler.onRead(pair[0]);
    setTsRead(previous);
    settle();
    EXPECT_EQ(s_reads, 6);
    ASSERT_EQ(rec().pointer.size(), 2u);
    EXPECT_EQ(rec().pointer[0].flags, MOUSE_PRESS);
    EXPECT_EQ(rec().pointer[1].flags, MOUSE_RELEASE);
}

namespace {
    int s_filterCalls = 0;
    bool s_consume = false;
    bool countingFilter(MousePoint&)
    {
        ++s_filterCalls;
        return s_consume;
    }
    bool otherFilter(MousePoint&)
    {
        return false;
    }
}

TEST_F(MultiTouchScreenTest, FilterThatConsumesKeepsPointsFromTheToolkitAndSaysSoPerSample)
{
    s_filterCalls = 0;
    s_consume = true;
    ts->filter(countingFilter);
    send(samples({ sample(500, 10, 10), sample(500, 11, 11), sample(0, 11, 11) }));
    testing::internal::CaptureStdout();
    const auto p = drain();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(p.empty());
    EXPECT_EQ(s_filterCalls, 3);
    EXPECT_EQ(out,
        "[MultiTouchScreen] m_filterFunc !=NULL \n[MultiTouchScreen] m_filterFunc !=NULL \n"
        "[MultiTouchScreen] m_filterFunc !=NULL \n");
}

TEST_F(MultiTouchScreenTest, FilterThatDeclinesLetsThePointThrough)
{
    s_filterCalls = 0;
    s_consume = false;
    ts->filter(countingFilter);
    send(sample(500, 10, 10));
    testing::internal::CaptureStdout();
    const auto p = drain();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(s_filterCalls, 1);
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
}

TEST_F(MultiTouchScreenTest, FilterReturnsThePreviousOneSoItCanBeRestored)
{
    EXPECT_EQ(ts->filter(countingFilter), nullptr);
    EXPECT_EQ(ts->filter(otherFilter), &countingFilter);
    EXPECT_EQ(ts->filter(nullptr), &otherFilter);
    EXPECT_EQ(ts->filter(nullptr), nullptr);
}

TEST_F(MultiTouchScreenTest, CloseOfANeverOpenedScreenPrintsNothing)
{
    testing::internal::CaptureStdout();
    ts->close();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(ts->isOpen());
}

TEST_F(MultiTouchScreenTest, OpenFailureSaysWhyAndLeavesItClosed)
{
    const std::string missing = tmp.file("no-such-device");
    testing::internal::CaptureStdout();
    EXPECT_EQ(ts->open(missing.c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        "Cannot open " + missing + ", error = No such file or directory.\n");
    EXPECT_FALSE(ts->isOpen());
}

TEST_F(MultiTouchScreenTest, OpenedDeviceIsReadByTheLoopAndCloseSaysSoOnce)
{
    // A FIFO stands for the device: opened read-only and non-blocking, with
    // the test holding the writing end so that an empty queue reads as -1.
    const std::string node = tmp.file("ts");
    ASSERT_EQ(mkfifo(node.c_str(), 0600), 0);
    ASSERT_EQ(ts->open(node.c_str()), 0);
    ASSERT_TRUE(ts->isOpen());
    EXPECT_EQ(g_tsReadHandler.ts, ts);
    const int writer = ::open(node.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    EXPECT_NE(fcntl(ts->fd(), F_GETFL) & O_NONBLOCK, 0);

    const auto bytes = samples({ sample(500, 40, 50), sample(0, 40, 50) });
    ASSERT_EQ(write(writer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    rec().pointer.clear();
    EXPECT_TRUE(pumpUntil([this] { return rec().pointer.size() >= 2; }));
    ASSERT_EQ(rec().pointer.size(), 2u);
    EXPECT_EQ(rec().pointer[0].x, 40);
    EXPECT_EQ(rec().pointer[0].y, 50);

    const int fd = ts->fd();
    testing::internal::CaptureStdout();
    ts->close();
    ts->close();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[MultiTouchScreen] ----close()-------------------\n");
    EXPECT_FALSE(ts->isOpen());
    EXPECT_EQ(ts->fd(), -1);
    // The descriptor is closed (and so no longer watched by the loop).
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    ::close(writer);
}

}
