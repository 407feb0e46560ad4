#include "testfun/catalogue.h"

#include "testfun/inputitem.h"
#include "testfun/log.hpp"
#include "testfun/mouseitem.h"
#include "testfun/testaudio.h"
#include "testfun/testbattery.h"
#include "testfun/testcamera.h"
#include "testfun/testlcd.h"
#include "testfun/testmotor.h"
#include "testfun/testnandflash.h"
#include "testfun/testnetwork.h"
#include "testfun/testsensor.h"
#include "testfun/testudisk.h"
#include "testfun/testwifi.h"
#include "touch/tscalibratewnd.h"

#include <lumi/config.h>

#include <cstdio>
#include <cstring>

namespace {

// The built-in demo tests of rows 1 to 5; "test2" twice is the program's list.
const char* const kDemoNames[CATALOGUE_DEMO_ITEMS] = { "test1", "test2", "test2", "test3", "test4" };

// The factory of a row whose test class exists:
//     { "test_lcd", "LCD\xC6\xC1", makeItem<TestLCD> },
template <class T> [[maybe_unused]] TestItem* makeItem(char* name)
{
    return new T(name);
}

// The constructors take char* as the device's program declares them; they
// only read the name.
char* nameOf(const char* text)
{
    return const_cast<char*>(text);
}

}

// Rows 6 to 18, one device test each. Until a test's class exists its factory stays null,
// which skips the row but still reads its key, so the carry-over of the value
// between keys (see initTestItems) already decides every later row right.
// Adding a test class is then only filling in its factory here. Each class
// chooses its own auto-run flag.
// clang-format off
const CatalogueRow g_catalogueRows[CATALOGUE_CONFIG_ROWS] = {
    { "test_mouse",     "\xCA\xF3\xB1\xEA",                     makeItem<MouseItem> },  // 鼠标 mouse: MouseItem
    { "test_nandflash", "\xC4\xDA\xB2\xBF\xB4\xA2\xB4\xE6",     makeItem<TestNandFlash> },  // 内部储存 internal storage: TestNandFlash
    { "test_USBDisk",   "U\xC5\xCC\xB2\xE2\xCA\xD4",            makeItem<TestUdisk> },  // U盘测试 USB disk test: TestUdisk
    { "test_wifi",      "\xCE\xDE\xCF\xDF",                     makeItem<TestWIFI> },  // 无线 wireless: TestWIFI
    { "test_calts",     "\xB4\xA5\xC3\xFE\xC6\xC1\xD0\xA3\xD7\xBC", makeItem<TestTouchScreen> },  // 触摸屏校准 touch-screen calibration: TestTouchScreen
    { "test_ethernet",  "\xD2\xD4\xCC\xAB\xCD\xF8",             makeItem<TestNetWork> },  // 以太网 Ethernet: TestNetWork
    { "test_camera",    "\xD5\xD5\xCF\xE0\xBB\xFA",             makeItem<TestCamera> },  // 照相机 camera: TestCamera
    { "test_lcd",       "LCD\xC6\xC1",                          makeItem<TestLCD> },  // LCD屏 LCD screen: TestLCD
    { "test_audio",     "\xD2\xF4\xC6\xB5",                     makeItem<TestAUDIO> },  // 音频 audio: TestAUDIO
    { "test_motor",     "\xD5\xF0\xB6\xAF",                     makeItem<TestMotor> },  // 震动 vibration: TestMotor
    { "test_sensor",    "G-\xB4\xAB\xB8\xD0\xC6\xF7",           makeItem<TestSensor> },  // G-传感器 G-sensor: TestSensor
    { "test_charge",    "\xB3\xE4\xB5\xE7\xD7\xB4\xCC\xAC",     makeItem<TestBattery> },  // 充电状态 charging state: TestBattery
    { "test_keypress",  "\xB0\xB4\xBC\xFC",                     makeItem<InputItem> },  // 按键 keys: InputItem
};
// clang-format on

int initTestItems(TDynArray<TestItem*>& items)
{
    bool decided[CATALOGUE_CONFIG_ROWS];
    return initTestItems(items, decided);
}

int initTestItems(TDynArray<TestItem*>& items, bool (&decided)[CATALOGUE_CONFIG_ROWS])
{
    for (bool& on : decided)
        on = false;

    // Only a file that cannot be read at all fails here; bad lines inside a
    // readable file are skipped and reported by IniFile, and the rest counts.
    IniFile ini;
    if (ini.open("config.ini") != 0) {
        printf("[Error] open %s fails.\n", "config.ini");
        return -1;
    }

    for (const char* name : kDemoNames)
        items.push_back(new demoTestItem(nameOf(name)));

    // Kept: enabled is deliberately not reset between keys. A missing key, or
    // a value that does not start with a number, stores nothing, so the
    // previous key's decision is reused (for the first key, the starting 0).
    // Product files rely on it: "test_mouse=1" alone switches on every row.
    int enabled = 0;
    for (int i = 0; i < CATALOGUE_CONFIG_ROWS; ++i) {
        const CatalogueRow& row = g_catalogueRows[i];
        char buffer[10];
        memset(buffer, 0, sizeof buffer);
        ini.readString("function", row.key, buffer, -1);
        sscanf(buffer, "%d", &enabled);
        decided[i] = enabled != 0;
        if (enabled && row.create)
            items.push_back(row.create(nameOf(row.name)));
    }

    ini.close();
    return 0;
}
