// The catalogue makes the storage, network, screen, motor, sensor and
// battery tests in their rows, with their display names.

#include "testfun_support.h"

#include "testfun/catalogue.h"
#include "testfun/testbattery.h"
#include "testfun/testlcd.h"
#include "testfun/testmotor.h"
#include "testfun/testnandflash.h"
#include "testfun/testnetwork.h"
#include "testfun/testsensor.h"
#include "testfun/testudisk.h"
#include "testfun/testwifi.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

TEST(CatalogueDeviceRows, EachRowMakesItsTestWithItsName)
{
    lumitest::TempDir dir;
    testfuntest::ScopedChdir cd(dir.path());
    ASSERT_TRUE(cd.ok());
    // Every device row on except the mouse, calibration, camera, audio and keys.
    ASSERT_TRUE(testfuntest::writeFile("config.ini",
        "[function]\ntest_mouse=0\ntest_nandflash=1\ntest_USBDisk=1\ntest_wifi=1\ntest_calts=0\n"
        "test_ethernet=1\ntest_camera=0\ntest_lcd=1\ntest_audio=0\ntest_motor=1\ntest_sensor=1\n"
        "test_charge=1\ntest_keypress=0\n"));
    testfuntest::ItemList list;
    ASSERT_EQ(initTestItems(list.items), 0);
    ASSERT_EQ(list.size(), 5 + 8);
    const struct {
        const std::type_info& type;
        const char* utf8;
    } rows[] = {
        { typeid(TestNandFlash), "\xE5\x86\x85\xE9\x83\xA8\xE5\x82\xA8\xE5\xAD\x98" }, // 内部储存
        { typeid(TestUdisk), "U\xE7\x9B\x98\xE6\xB5\x8B\xE8\xAF\x95" }, // U盘测试
        { typeid(TestWIFI), "\xE6\x97\xA0\xE7\xBA\xBF" }, // 无线
        { typeid(TestNetWork), "\xE4\xBB\xA5\xE5\xA4\xAA\xE7\xBD\x91" }, // 以太网
        { typeid(TestLCD), "LCD\xE5\xB1\x8F" }, // LCD屏
        { typeid(TestMotor), "\xE9\x9C\x87\xE5\x8A\xA8" }, // 震动
        { typeid(TestSensor), "G-\xE4\xBC\xA0\xE6\x84\x9F\xE5\x99\xA8" }, // G-传感器
        { typeid(TestBattery), "\xE5\x85\x85\xE7\x94\xB5\xE7\x8A\xB6\xE6\x80\x81" }, // 充电状态
    };
    for (int i = 0; i < 8; ++i) {
        TestItem* item = list[5 + i];
        EXPECT_EQ(typeid(*item), rows[i].type) << "row " << 7 + i;
        EXPECT_STREQ(item->getName(), rows[i].utf8) << "row " << 7 + i;
        EXPECT_FALSE(item->isAutoRun());
        EXPECT_EQ(item->getResult(), -1);
    }
}

}
