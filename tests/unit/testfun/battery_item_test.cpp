// The charging state test: which power source the charger driver reports.

#include "device_support.h"

#include "testfun/testbattery.h"

#include <gtest/gtest.h>

#include <cstring>

using devtest::DeviceTest;

namespace {

char kName[] = "\xB3\xE4\xB5\xE7\xD7\xB4\xCC\xAC";
const std::string kCannotOpen = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB5\xE7\xB3\xD8\xC9\xE8\xB1\xB8!";
const std::string kOnBattery = "\xCF\xD6\xD4\xDA\xCA\xC7\xB5\xE7\xB3\xD8\xB9\xA9\xB5\xE7?";
const std::string kOnExternal = "\xCF\xD6\xD4\xDA\xCA\xC7\xCD\xE2\xB2\xBF\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7?";
const std::string kNoSupply = "\xB2\xBB\xC4\xDC\xB5\xC8\xB5\xBD\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7!";

class BatteryTest : public DeviceTest { };

TEST_F(BatteryTest, OnBatteryAsksTheOperator)
{
    ASSERT_TRUE(writeDevice("/proc/batt_config", "supply_power=1\ncapacity=80\n"));
    TestBattery item(kName);
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_EQ(item.getResult(), 2);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kOnBattery }));
}

TEST_F(BatteryTest, OnExternalPowerAsksTheOperator)
{
    ASSERT_TRUE(writeDevice("/proc/batt_config", "supply_power=2\n"));
    TestBattery item(kName);
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_EQ(item.getResult(), 2);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kOnExternal }));
}

TEST_F(BatteryTest, SupplyPowerZeroFailsWithoutTouchingTheResult)
{
    ASSERT_TRUE(writeDevice("/proc/batt_config", "supply_power=0\n"));
    TestBattery item(kName);
    item.setResult(0);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kNoSupply }));
}

TEST_F(BatteryTest, AnUnreadableValueFailsWithoutTouchingTheResult)
{
    ASSERT_TRUE(writeDevice("/proc/batt_config", "charging\n"));
    TestBattery item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kNoSupply }));
}

TEST_F(BatteryTest, AMissingFileFails)
{
    TestBattery item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kCannotOpen }));
}

TEST(SupplyPowerParse, ReadsTheValueAtTheStartOfTheFirst180Bytes)
{
    EXPECT_EQ(parseSupplyPower("supply_power=2", 14), 2);
    EXPECT_EQ(parseSupplyPower("supply_power=  1x", 17), 1);
    EXPECT_EQ(parseSupplyPower("supply_power=21", 14), 2); // the size cuts it
    EXPECT_EQ(parseSupplyPower(" supply_power=1", 15), 0);
    EXPECT_EQ(parseSupplyPower("", 0), 0);
    const std::string late = "supply_power=" + std::string(167, '0') + "12";
    EXPECT_EQ(late.size(), 182u);
    EXPECT_EQ(parseSupplyPower(late.data(), late.size()), 0); // "...00" within 180 bytes
}

}
