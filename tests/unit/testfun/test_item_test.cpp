// A test item: its name from GBK, its result and flags, the assertion on a
// missing name, and the demo test's outcomes.

#include "testfun_support.h"

#include "testfun/log.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using testfuntest::RecordingLog;

namespace {

// The smallest concrete test item.
class PlainItem : public TestItem {
public:
    PlainItem(char* name, bool autoRun)
        : TestItem(name, autoRun)
    {
    }
    int execute(Log*) override { return 0; }
};

// The device's assertion text: program name, then "testfun/log:52:
// TestItem::TestItem(char*, bool): Assertion `name && strlen(name)' failed."
const char* const kNameAssertion
    = "testfun/log:52: TestItem::TestItem\\(char\\*, bool\\): Assertion `name && strlen\\(name\\)' failed";

TEST(TestItemDeathTest, AnEmptyNameAbortsWithTheAssertionText)
{
    char empty[] = "";
    EXPECT_DEATH({ PlainItem item(empty, false); }, kNameAssertion);
}

TEST(TestItemDeathTest, ANullNameAbortsWithTheAssertionText)
{
    EXPECT_DEATH({ PlainItem item(nullptr, true); }, kNameAssertion);
}

TEST(TestItemDeathTest, ADemoItemWithoutANameAbortsToo)
{
    char empty[] = "";
    EXPECT_DEATH({ demoTestItem item(empty); }, kNameAssertion);
}

TEST(TestItem, StartsUntestedWithNoResult)
{
    char name[] = "test1";
    PlainItem item(name, true);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_FALSE(item.getTested());
    EXPECT_TRUE(item.isAutoRun());
    EXPECT_STREQ(item.getName(), "test1");
}

TEST(TestItem, KeepsTheAutoRunFlagItWasGiven)
{
    char name[] = "x";
    PlainItem item(name, false);
    EXPECT_FALSE(item.isAutoRun());
}

TEST(TestItem, StoresResultAndTestedFlagUntilOverwritten)
{
    char name[] = "x";
    PlainItem item(name, false);
    item.setResult(1);
    item.setTested(true);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_TRUE(item.getTested());
    // A re-run overwrites; nothing resets the result to -1.
    item.setResult(0);
    EXPECT_EQ(item.getResult(), 0);
    item.setResult(4);
    EXPECT_EQ(item.getResult(), 4);
    item.setTested(false);
    EXPECT_FALSE(item.getTested());
}

TEST(TestItem, ConvertsItsGbkNameToUtf8)
{
    char name[] = "\xB2\xE2\xCA\xD4"; // 测试 (test)
    PlainItem item(name, false);
    EXPECT_STREQ(item.getName(), "\xE6\xB5\x8B\xE8\xAF\x95");
    EXPECT_STREQ(item.getName(), u8"测试");
}

TEST(TestItem, ConvertsMixedAsciiAndGbk)
{
    char name[] = "LCD\xC6\xC1"; // LCD屏 (LCD screen)
    PlainItem item(name, false);
    EXPECT_STREQ(item.getName(), u8"LCD屏");
}

TEST(TestItem, KeepsItsOwnCopyOfTheName)
{
    char name[] = "abc";
    PlainItem item(name, false);
    name[0] = 'X';
    EXPECT_STREQ(item.getName(), "abc");
    EXPECT_NE(item.getName(), name);
}

TEST(TestItem, AFailedNameConversionLeavesTheNameNull)
{
    char name[] = "\xB2\xE2\xCA\xD4";
    const int failedBefore = testfuntest::failedConversions();
    testfuntest::failConversions(1);
    auto item = std::make_unique<PlainItem>(name, false);
    EXPECT_EQ(testfuntest::failedConversions(), failedBefore + 1);
    EXPECT_EQ(item->getName(), nullptr);
    EXPECT_EQ(item->getResult(), -1);
    item.reset(); // the destructor copes with the null name
}

TEST(TestItem, IsDeletedThroughTheBaseClass)
{
    // The window deletes every item through a TestItem pointer; the name is
    // freed (the leak checker of the sanitizer build would see it otherwise).
    char name[] = "\xB2\xE2\xCA\xD4";
    TestItem* item = new PlainItem(name, false);
    delete item;
}

class DemoTestItemTest : public ::testing::Test {
protected:
    // The counter is shared by the whole process (the catalogue's tests make
    // demo items too): start each test from a known value.
    void SetUp() override { demoTestItem::s_result = 0; }
};

TEST_F(DemoTestItemTest, FiveDemoItemsPassFailAskPassFail)
{
    const char* names[] = { "test1", "test2", "test2", "test3", "test4" };
    std::unique_ptr<demoTestItem> items[5];
    for (int i = 0; i < 5; ++i)
        items[i] = std::make_unique<demoTestItem>(const_cast<char*>(names[i]));
    EXPECT_EQ(demoTestItem::s_result, 5);

    RecordingLog log;
    const int expected[5] = { 0, 1, 2, 0, 1 };
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(items[i]->execute(&log), expected[i]) << "item " << i;
}

TEST_F(DemoTestItemTest, OutcomesGoOnInTurnsOfThree)
{
    demoTestItem::s_result = 7; // as if seven demo items had been made before
    char name[] = "d";
    demoTestItem a(name);
    demoTestItem b(name);
    demoTestItem c(name);
    RecordingLog log;
    EXPECT_EQ(a.execute(&log), 1);
    EXPECT_EQ(b.execute(&log), 2);
    EXPECT_EQ(c.execute(&log), 0);
    EXPECT_EQ(demoTestItem::s_result, 10);
}

TEST_F(DemoTestItemTest, ExecuteWritesThreeLinesWithItsName)
{
    char name[] = "test3";
    demoTestItem item(name);
    RecordingLog log;
    item.execute(&log);
    ASSERT_EQ(log.lines.size(), 3u);
    EXPECT_EQ(log.lines[0], "Test: test3");
    EXPECT_EQ(log.lines[1], "Test: waiting test3");
    EXPECT_EQ(log.lines[2], "Test: waiting0 ....test3");
}

TEST_F(DemoTestItemTest, WritesItsConvertedName)
{
    char name[] = "\xB2\xE2\xCA\xD4";
    demoTestItem item(name);
    RecordingLog log;
    item.execute(&log);
    ASSERT_EQ(log.lines.size(), 3u);
    EXPECT_EQ(log.lines[0], std::string("Test: ") + u8"测试");
}

TEST_F(DemoTestItemTest, IsNotAnAutoRunItemAndDoesNotStoreItsOutcome)
{
    char name[] = "test2";
    demoTestItem::s_result = 1; // outcome "fail"
    demoTestItem item(name);
    EXPECT_FALSE(item.isAutoRun());
    RecordingLog log;
    EXPECT_EQ(item.execute(&log), 1);
    // The window stores the result; execute only returns it.
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_FALSE(item.getTested());
}

TEST_F(DemoTestItemTest, ExecutingAgainGivesTheSameOutcome)
{
    char name[] = "again";
    demoTestItem::s_result = 2;
    demoTestItem item(name);
    RecordingLog log;
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_EQ(demoTestItem::s_result, 3);
}

}
