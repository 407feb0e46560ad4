// The vibration test: two 5 ms pulses to the vibrator, then the operator judges.

#include "device_support.h"

#include "testfun/testmotor.h"

#include <gtest/gtest.h>

using devtest::DeviceTest;

namespace {

char kName[] = "\xD5\xF0\xB6\xAF";
const char kEnable[] = "/sys/class/timed_output/vibrator/enable";
const std::string kCannotOpen = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8!";
const std::string kAsk = "\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8\xCA\xC7\xB7\xF1OK.";

class MotorTest : public DeviceTest { };

TEST_F(MotorTest, WritesTwoPulsesAndAsksTheOperator)
{
    ASSERT_TRUE(writeDevice(kEnable, ""));
    TestMotor item(kName);
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(readDevice(kEnable), "5\n5\n");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kAsk }));
}

TEST_F(MotorTest, WithoutTheControlFileItFails)
{
    TestMotor item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kCannotOpen }));
    // Opened write-only without creating: nothing appears.
    EXPECT_EQ(readDevice(kEnable), "<missing>");
}

}
