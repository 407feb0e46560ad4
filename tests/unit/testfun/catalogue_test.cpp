// The catalogue: five demo tests, then the device tests that "config.ini"
// switches on, in the program's order, with the value of one key carried over
// to the next key that is missing or not a number.

#include "testfun_support.h"

#include "platform/charset.h"
#include "testfun/catalogue.h"
#include "testfun/log.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

using testfuntest::ItemList;
using testfuntest::ScopedChdir;

namespace {

enum Row {
    Mouse,
    NandFlash,
    USBDisk,
    Wifi,
    Calts,
    Ethernet,
    Camera,
    Lcd,
    Audio,
    Motor,
    Sensor,
    Charge,
    Keypress,
};

std::string utf8Of(const char* gbk)
{
    int length = static_cast<int>(strlen(gbk));
    char* text = str2utf8(gbk, &length, CHARSET_GBK);
    std::string out = text ? text : "";
    free(text);
    return out;
}

class CatalogueTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(cwd.ok());
        demoTestItem::s_result = 0;
    }

    void writeConfig(const std::string& text)
    {
        ASSERT_TRUE(testfuntest::writeFile(tmp.file("config.ini"), text));
    }

    // Runs the catalogue in the temporary directory; what it printed goes to printed.
    int load()
    {
        testing::internal::CaptureStdout();
        const int rc = initTestItems(list.items, decided);
        printed = testing::internal::GetCapturedStdout();
        return rc;
    }

    std::vector<bool> decisions() const { return std::vector<bool>(std::begin(decided), std::end(decided)); }

    // Every row on except the given ones.
    static std::vector<bool> allOnBut(std::initializer_list<Row> off)
    {
        std::vector<bool> d(CATALOGUE_CONFIG_ROWS, true);
        for (Row r : off)
            d[r] = false;
        return d;
    }

    // Only the given rows on.
    static std::vector<bool> onlyOn(std::initializer_list<Row> on)
    {
        std::vector<bool> d(CATALOGUE_CONFIG_ROWS, false);
        for (Row r : on)
            d[r] = true;
        return d;
    }

    // The five demo items, then one item for each row decided on whose test
    // class exists, in the table's order.
    void expectItemsForDecisions()
    {
        std::vector<std::string> expected = { "test1", "test2", "test2", "test3", "test4" };
        for (int i = 0; i < CATALOGUE_CONFIG_ROWS; ++i)
            if (decided[i] && g_catalogueRows[i].create)
                expected.push_back(utf8Of(g_catalogueRows[i].name));
        ASSERT_EQ(list.size(), static_cast<int>(expected.size()));
        for (int i = 0; i < list.size(); ++i) {
            ASSERT_NE(list[i]->getName(), nullptr);
            EXPECT_EQ(list[i]->getName(), expected[static_cast<size_t>(i)]) << "row " << i + 1;
        }
    }

    lumitest::TempDir tmp;
    ScopedChdir cwd { tmp.path() };
    ItemList list;
    bool decided[CATALOGUE_CONFIG_ROWS] {};
    std::string printed;
};

TEST_F(CatalogueTest, WithoutConfigIniTheListIsEmptyAndTheErrorIsPrinted)
{
    EXPECT_EQ(load(), -1);
    EXPECT_EQ(list.size(), 0);
    EXPECT_EQ(printed, "[Error] open config.ini fails.\n");
    EXPECT_EQ(decisions(), onlyOn({}));
}

TEST_F(CatalogueTest, TheOneArgumentFormBehavesTheSame)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(initTestItems(list.items), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Error] open config.ini fails.\n");
    EXPECT_EQ(list.size(), 0);

    writeConfig("[function]\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(initTestItems(list.items), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(list.size(), CATALOGUE_DEMO_ITEMS);
}

TEST_F(CatalogueTest, ABadLineInConfigIniIsSkippedAndTheRestOfTheFileIsUsed)
{
    writeConfig("[function]\ntest_mouse=1\nthis line has no equals sign\ntest_nandflash=0\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(load(), 0);
    const std::string reported = testing::internal::GetCapturedStderr();
    EXPECT_EQ(printed, "");
    EXPECT_EQ(reported, "[lumi] config.ini:3: ignored: no '=' in the line\n");
    // test_mouse=1 before the bad line and test_nandflash=0 after it both count.
    EXPECT_EQ(decisions(), onlyOn({ Mouse }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, AnEmptySectionFunctionGivesOnlyTheFiveDemoItems)
{
    writeConfig("[function]\n");
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(printed, "");
    ASSERT_EQ(list.size(), 5);
    const char* names[] = { "test1", "test2", "test2", "test3", "test4" };
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(list[i]->getName(), names[i]);
        EXPECT_NE(dynamic_cast<demoTestItem*>(list[i]), nullptr);
        EXPECT_EQ(list[i]->getResult(), -1);
        EXPECT_FALSE(list[i]->getTested());
    }
    EXPECT_EQ(decisions(), onlyOn({}));
}

TEST_F(CatalogueTest, AnEmptyFileGivesOnlyTheFiveDemoItems)
{
    writeConfig("");
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(list.size(), 5);
    EXPECT_EQ(decisions(), onlyOn({}));
}

TEST_F(CatalogueTest, TheDemoItemsPassFailAskPassFail)
{
    writeConfig("[function]\n");
    ASSERT_EQ(load(), 0);
    ASSERT_EQ(list.size(), 5);
    testfuntest::RecordingLog log;
    const int expected[] = { 0, 1, 2, 0, 1 };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(list[i]->execute(&log), expected[i]) << "row " << i + 1;
}

TEST_F(CatalogueTest, TestMouseOnAloneSwitchesOnEveryRow)
{
    writeConfig("[function]\ntest_mouse=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), allOnBut({}));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, AMissingTestMouseMeansOff)
{
    writeConfig("[function]\ntest_nandflash=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), allOnBut({ Mouse }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, TestWifiOffWithTestCaltsMissingSwitchesOffBoth)
{
    writeConfig("[function]\n"
                "test_mouse=1\n"
                "test_nandflash=1\n"
                "test_USBDisk=1\n"
                "test_wifi=0\n"
                "test_ethernet=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), allOnBut({ Wifi, Calts }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, AnyNonZeroValueSwitchesARowOn)
{
    writeConfig("[function]\n"
                "test_mouse=0\n"
                "test_nandflash=0\n"
                "test_USBDisk=0\n"
                "test_wifi=0\n"
                "test_calts=0\n"
                "test_ethernet=0\n"
                "test_camera=0\n"
                "test_lcd=2\n"
                "test_audio=0\n"
                "test_motor=-1\n"
                "test_sensor=0\n"
                "test_charge=0\n"
                "test_keypress=0\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), onlyOn({ Lcd, Motor }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, TestLcdTwoAloneSwitchesOnTheLcdAndTheRowsAfterIt)
{
    writeConfig("[function]\ntest_lcd=2\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), onlyOn({ Lcd, Audio, Motor, Sensor, Charge, Keypress }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, AValueThatIsNotANumberReusesThePreviousDecision)
{
    writeConfig("[function]\n"
                "test_mouse=1\n"
                "test_nandflash=yes\n" // not a number: stays on
                "test_USBDisk=0\n"
                "test_wifi=on\n" // not a number: stays off
                "test_calts=\n" // empty: stays off
                "test_ethernet=3\n"
                "test_camera= \n" // blank: stays on
                "test_lcd=0\n"
                "test_audio=x1\n" // stays off
                "test_motor=5x\n" // a leading number counts: on
                "test_sensor=0\n"
                "test_charge=-\n" // stays off
                "test_keypress=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), onlyOn({ Mouse, NandFlash, Ethernet, Camera, Motor, Keypress }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, OnlyTheFirstNineCharactersOfAValueAreRead)
{
    // The value goes through a 10-byte buffer: "0000000001" reads as 0.
    writeConfig("[function]\ntest_mouse=1\ntest_nandflash=0000000001\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), onlyOn({ Mouse }));
}

TEST_F(CatalogueTest, TheProgramsOrderDecidesNotTheFilesOrder)
{
    // The carry-over follows the table: the keys after test_mouse take its 1,
    // whatever comes first in the file.
    writeConfig("[function]\ntest_keypress=0\ntest_mouse=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), allOnBut({ Keypress }));
    expectItemsForDecisions();
}

TEST_F(CatalogueTest, OnlySectionFunctionCountsAndKeysAreCaseSensitive)
{
    writeConfig("[autorun]\ntest_mouse=1\n[function]\nTEST_MOUSE=1\ntest_usbdisk=1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), onlyOn({}));
    EXPECT_EQ(list.size(), 5);
}

TEST_F(CatalogueTest, BlanksAndCommentsAroundValuesAreTheReadersBusiness)
{
    writeConfig("; product X\n[function]\n  test_mouse =  0   ; off\n# comment\ntest_nandflash = 1\n");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(decisions(), allOnBut({ Mouse }));
}

TEST(CatalogueTable, ListsTheDeviceTestKeysInTheProgramsOrder)
{
    const char* keys[CATALOGUE_CONFIG_ROWS] = { "test_mouse", "test_nandflash", "test_USBDisk", "test_wifi",
        "test_calts", "test_ethernet", "test_camera", "test_lcd", "test_audio", "test_motor", "test_sensor",
        "test_charge", "test_keypress" };
    for (int i = 0; i < CATALOGUE_CONFIG_ROWS; ++i)
        EXPECT_STREQ(g_catalogueRows[i].key, keys[i]) << "row " << i + 6;
}

TEST(CatalogueTable, DisplayNamesAreGbkForTheChineseNames)
{
    const char* names[CATALOGUE_CONFIG_ROWS]
        = { u8"鼠标", u8"内部储存", u8"U盘测试", u8"无线", u8"触摸屏校准", u8"以太网", u8"照相机", u8"LCD屏",
              u8"音频", u8"震动", u8"G-传感器", u8"充电状态", u8"按键" };
    for (int i = 0; i < CATALOGUE_CONFIG_ROWS; ++i)
        EXPECT_EQ(utf8Of(g_catalogueRows[i].name), names[i]) << "row " << i + 6;
    // Stored as GBK bytes, for example 鼠标 as CA F3 B1 EA.
    EXPECT_STREQ(g_catalogueRows[Mouse].name, "\xCA\xF3\xB1\xEA");
}

TEST(CatalogueTable, RowsWithATestClassMakeAnItemWithTheirName)
{
    // Rows get their factory when their test class is built; each one makes
    // an item named after the row.
    for (const CatalogueRow& row : g_catalogueRows) {
        if (!row.create)
            continue;
        TestItem* item = row.create(const_cast<char*>(row.name));
        ASSERT_NE(item, nullptr) << row.key;
        EXPECT_EQ(std::string(item->getName()), utf8Of(row.name)) << row.key;
        EXPECT_EQ(item->getResult(), -1) << row.key;
        delete item;
    }
}

}
