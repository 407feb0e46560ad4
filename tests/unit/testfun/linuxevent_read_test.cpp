// Reading records: whole native input_event records only, the report end of
// the touch screen taken only after its axes, and anything else a
// descriptor may deliver (short, long, unknown) read safely.

#include "input_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using inputtest::InputLayerTest;
using inputtest::KeyEvent;
using inputtest::record;

namespace {

class LinuxEventReadTest : public InputLayerTest {
protected:
    void SetUp() override
    {
        InputLayerTest::SetUp();
        makeRecordPair(pair);
    }

    void send(const std::vector<input_event>& records)
    {
        ASSERT_EQ(::send(pair[1], records.data(), records.size() * sizeof(input_event), 0),
            static_cast<ssize_t>(records.size() * sizeof(input_event)));
    }
    void sendBytes(const void* data, size_t size)
    {
        ASSERT_EQ(::send(pair[1], data, size, 0), static_cast<ssize_t>(size));
    }

    int pair[2] { -1, -1 };
};

TEST_F(LinuxEventReadTest, RecordsHaveTheNativeLayout)
{
    // 16 bytes where time_t is 32 bits (the device), 24 where it is 64.
    EXPECT_EQ(sizeof(input_event), sizeof(long) == 4 ? 16u : 24u);
}

TEST_F(LinuxEventReadTest, KeyRecordsOfOneReadBecomeKeys)
{
    send({ record(EV_KEY, 139, 1), record(EV_SYN, 0, 0), record(EV_KEY, 139, 0), record(EV_SYN, 0, 0) });
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 2, 0 }, { 2, 1 } }));
}

TEST_F(LinuxEventReadTest, RegisteredDescriptorIsReadByTheLoop)
{
    ASSERT_EQ(rt->registerHandler(pair[0], &LinuxEventHandler), 0);
    send({ record(EV_KEY, 115, 1), record(EV_KEY, 115, 0) });
    EXPECT_TRUE(pumpUntil([this] { return rec().keys.size() >= 2; }));
    rt->unregisterHandler(pair[0]);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 132, 0 }, { 132, 1 } }));
}

TEST_F(LinuxEventReadTest, ReportEndIsTakenOnlyRightAfterTouchAxes)
{
    // A report end after a key or a move does not press the touch position.
    g_absX = 50;
    g_absY = 60;
    send({ record(EV_KEY, 30, 1), record(EV_SYN, 0, 0), record(EV_REL, REL_X, 0), record(EV_SYN, 0, 0) });
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_TRUE(takePointer().empty());

    // Nor at the start of a read: the last type starts anew for each read.
    send({ record(EV_ABS, ABS_MT_POSITION_X, 70) });
    LinuxEventHandler.onRead(pair[0]);
    send({ record(EV_SYN, 0, 0) });
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_TRUE(takePointer().empty());

    // An unknown type between the axes and the report end changes nothing.
    send({ record(EV_ABS, ABS_MT_POSITION_Y, 80), record(EV_MSC, MSC_SCAN, 1), record(EV_SYN, 0, 0) });
    LinuxEventHandler.onRead(pair[0]);
    const auto p = takePointer();
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].flags, MOUSE_PRESS);
    EXPECT_EQ(p[0].x, 70);
    EXPECT_EQ(p[0].y, 80);
}

TEST_F(LinuxEventReadTest, TruncatedRecordIsDropped)
{
    const input_event ev = record(EV_KEY, 30, 1);
    sendBytes(&ev, sizeof ev - 1);
    LinuxEventHandler.onRead(pair[0]);
    sendBytes(&ev, 1);
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_TRUE(takeKeys().empty());

    // A whole record and a piece of the next: the whole one counts.
    unsigned char bytes[sizeof(input_event) * 2];
    const input_event up = record(EV_KEY, 30, 0);
    memcpy(bytes, &ev, sizeof ev);
    memcpy(bytes + sizeof ev, &up, sizeof up);
    sendBytes(bytes, sizeof ev + sizeof up / 2);
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 'a', 0 } }));
}

TEST_F(LinuxEventReadTest, OversizedPacketIsReadUpToTheBufferAndTheRestDropped)
{
    // 100 key-downs in one packet: one read takes the first 64 records.
    std::vector<input_event> many(100, record(EV_KEY, 30, 1));
    send(many);
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_EQ(takeKeys().size(), 64u);
    // The packet is gone: nothing is left for the next read.
    const input_event ev = record(EV_KEY, 48, 1);
    sendBytes(&ev, sizeof ev);
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 'b', 0 } }));
}

TEST_F(LinuxEventReadTest, UnknownTypesAndCodesAreIgnored)
{
    send({ record(EV_MSC, 4, 458756), record(EV_LED, 0, 1), record(EV_SND, 1, 1), record(EV_REP, 0, 250),
        record(0x1f, 30, 1), record(0xffff, 30, 1), record(EV_KEY, 511, 1), record(EV_KEY, 0xffff, 0),
        record(EV_REL, 0xffff, 5), record(EV_ABS, 0xffff, 5), record(EV_SYN, 0xffff, 0) });
    LinuxEventHandler.onRead(pair[0]);
    EXPECT_TRUE(takeKeys().empty());
    EXPECT_TRUE(takePointer().empty());
    EXPECT_EQ(g_linuxEventMouse.x, 400);
    EXPECT_EQ(g_linuxEventMouse.y, 240);
    EXPECT_EQ(g_absX, static_cast<int>(0x80000000));
}

TEST_F(LinuxEventReadTest, FailedAndEmptyReadsAreIgnored)
{
    // A closed peer reads as end of file; a bad descriptor fails.
    ::close(pair[1]);
    LinuxEventHandler.onRead(pair[0]);
    int bad[2];
    ASSERT_EQ(pipe(bad), 0);
    ::close(bad[0]);
    ::close(bad[1]);
    LinuxEventHandler.onRead(bad[0]);
    EXPECT_TRUE(takeKeys().empty());
    ownFds.erase(std::remove(ownFds.begin(), ownFds.end(), pair[1]), ownFds.end());
}

TEST_F(LinuxEventReadTest, RandomBytesNeverEscapeTheScreen)
{
    uint32_t seed = 12345;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (int round = 0; round < 200; ++round) {
        unsigned char bytes[700];
        const size_t size = next() % sizeof bytes;
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<unsigned char>(next());
        if (size == 0)
            continue;
        sendBytes(bytes, size);
        LinuxEventHandler.onRead(pair[0]);
        ASSERT_GE(g_linuxEventMouse.x, 0);
        ASSERT_LE(g_linuxEventMouse.x, 800);
        ASSERT_GE(g_linuxEventMouse.y, 0);
        ASSERT_LE(g_linuxEventMouse.y, 480);
    }
    settle();
}

}
