// The pointer test: it asks for a mouse, re-scans, and passes whenever a
// re-scan finds a device with relative axes, now or later.

#include "input_support.h"

#include "widgets/pelcursor.h"

#include <gtest/gtest.h>

using inputtest::InputLayerTest;
using inputtest::fakeDevices;
using testfuntest::RecordingLog;

namespace {

class MouseItemTest : public InputLayerTest {
protected:
    char name[5] = "\xCA\xF3\xB1\xEA";
    RecordingLog log;
};

TEST_F(MouseItemTest, IsAutoRunAndBecomesThePointerTest)
{
    MouseItem item(name);
    EXPECT_TRUE(item.isAutoRun());
    EXPECT_EQ(s_mouseTest, &item);
    EXPECT_STREQ(item.getName(), "\xE9\xBC\xA0\xE6\xA0\x87"); // 鼠标 in UTF-8
}

TEST_F(MouseItemTest, WithoutMouseTheResultStaysUnknown)
{
    MouseItem item(name);
    item.setResult(1);
    makeNode(0, inputtest::keypad("keys"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 4);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { "\xC7\xEB\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA" }));
    EXPECT_EQ(out.find("[--I] mouse set UNKNOW \n"), 0u) << out;
    EXPECT_EQ(out.find("TEST_PASS"), std::string::npos);
}

TEST_F(MouseItemTest, WithMouseItPasses)
{
    MouseItem item(name);
    makeNode(9, inputtest::mouse("mouse"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 4);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_LT(out.find("[--I] mouse set UNKNOW \n"), out.find("[--I] mouse set TEST_PASS \n"));
}

TEST_F(MouseItemTest, ALaterRescanSetsTheResultAgain)
{
    MouseItem item(name);
    testing::internal::CaptureStdout();
    item.execute(&log);
    EXPECT_EQ(item.getResult(), -1);
    // A mouse is plugged in; the hot-plug monitor re-scans.
    makeNode(2, inputtest::mouse("mouse"));
    eventTerm();
    eventInit();
    EXPECT_EQ(item.getResult(), 0);
    // Unplugged again: unknown once more, never a failure.
    fakeDevices().erase("event2");
    ASSERT_EQ(unlink(tmp.file("event2").c_str()), 0);
    eventTerm();
    eventInit();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(item.getResult(), -1);
}

TEST_F(MouseItemTest, DeletedTestIsNotReported)
{
    {
        MouseItem item(name);
    }
    EXPECT_EQ(s_mouseTest, nullptr);
    testing::internal::CaptureStdout();
    eventInit();
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("mouse set"), std::string::npos);
}

}
