#include <lumi/config.h>

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>

namespace {

class IniFileTest : public ::testing::Test {
protected:
    // Writes content to a file of the test's own directory and opens it.
    int openWith(const std::string& content)
    {
        const std::string path = tmp.file("config.ini");
        std::ofstream(path, std::ios::binary) << content;
        return ini.open(path.c_str());
    }

    lumitest::TempDir tmp;
    IniFile ini;
};

TEST_F(IniFileTest, FindsAKeyInItsSection)
{
    ASSERT_EQ(openWith("[function]\nkey = 1\n[autorun]\nrunall=1\n"), 0);
    EXPECT_TRUE(ini.isOpen());
    char buf[32] {};
    EXPECT_EQ(ini.readString("autorun", "runall", buf, -1), 0);
    EXPECT_STREQ(buf, "1");
    EXPECT_EQ(ini.readString("function", "key", buf, -1), 0);
    EXPECT_STREQ(buf, "1");
}

TEST_F(IniFileTest, MissingKeyReturnsMinusOneAndLeavesTheBufferUntouched)
{
    ASSERT_EQ(openWith("[function]\nkey = 1\n"), 0);
    char buf[8];
    std::memset(buf, 'z', sizeof buf);
    EXPECT_EQ(ini.readString("function", "other", buf, -1), -1);
    for (char c : buf)
        EXPECT_EQ(c, 'z');
}

TEST_F(IniFileTest, KeyOfAnotherSectionIsNotFound)
{
    ASSERT_EQ(openWith("[function]\nkey = 1\n"), 0);
    char buf[8] = "keep";
    EXPECT_EQ(ini.readString("autorun", "key", buf, -1), -1);
    EXPECT_STREQ(buf, "keep");
}

TEST_F(IniFileTest, MissingFileFailsToOpenAndFindsNothing)
{
    EXPECT_EQ(ini.open(tmp.file("absent.ini").c_str()), -1);
    EXPECT_FALSE(ini.isOpen());
    char buf[8] = "keep";
    EXPECT_EQ(ini.readString("function", "key", buf, -1), -1);
    EXPECT_STREQ(buf, "keep");
}

TEST_F(IniFileTest, NamesAreCaseSensitive)
{
    ASSERT_EQ(openWith("[Log]\nlog_path = /res/logo.bmp\n"), 0);
    char buf[32] {};
    EXPECT_EQ(ini.readString("log", "log_path", buf, -1), -1);
    EXPECT_EQ(ini.readString("Log", "LOG_PATH", buf, -1), -1);
    EXPECT_EQ(ini.readString("Log", "log_path", buf, -1), 0);
    EXPECT_STREQ(buf, "/res/logo.bmp");
}

TEST_F(IniFileTest, BlanksAroundNamesAndValuesAreDroppedAndCommentsSkipped)
{
    ASSERT_EQ(openWith("; a comment\n"
                       "# another comment\n"
                       "\n"
                       "   [ keypad ]   \r\n"
                       "\t  left \t=\t  105  \r\n"
                       "  ; indented comment\n"
                       "right = 106 ; inline comment\n"
                       "path = a;b#c\n"),
        0);
    char buf[32] {};
    EXPECT_EQ(ini.readString("keypad", "left", buf, -1), 0);
    EXPECT_STREQ(buf, "105");
    EXPECT_EQ(ini.readString("keypad", "right", buf, -1), 0);
    EXPECT_STREQ(buf, "106");
    // Without a blank before them ';' and '#' belong to the value.
    EXPECT_EQ(ini.readString("keypad", "path", buf, -1), 0);
    EXPECT_STREQ(buf, "a;b#c");
}

TEST_F(IniFileTest, IndentedKeyIsAKeyNotAContinuation)
{
    ASSERT_EQ(openWith("[function]\nfirst = 1\n    second = 2\n"), 0);
    char buf[16] {};
    EXPECT_EQ(ini.readString("function", "first", buf, -1), 0);
    EXPECT_STREQ(buf, "1");
    EXPECT_EQ(ini.readString("function", "second", buf, -1), 0);
    EXPECT_STREQ(buf, "2");
}

TEST_F(IniFileTest, EmptyValueIsFoundAsAnEmptyString)
{
    ASSERT_EQ(openWith("[Log]\nlog_path =\n"), 0);
    char buf[16] = "old";
    EXPECT_EQ(ini.readString("Log", "log_path", buf, -1), 0);
    EXPECT_STREQ(buf, "");
}

TEST_F(IniFileTest, ValueLongerThanTheBufferIsCutAndTerminated)
{
    ASSERT_EQ(openWith("[s]\nk = 0123456789abcdef\n"), 0);
    char buf[16];
    std::memset(buf, 'z', sizeof buf);
    EXPECT_EQ(ini.readString("s", "k", buf, 6), 0);
    EXPECT_STREQ(buf, "01234");
    EXPECT_EQ(buf[6], 'z');   // nothing written past the given size
}

TEST_F(IniFileTest, SizeMinusOneWithAnArrayNeverWritesPastTheArray)
{
    ASSERT_EQ(openWith("[autorun]\nrunall = 123456789012345678901234567890\n"), 0);
    struct {
        char buf[10];
        char guard[8];
    } mem;
    std::memset(&mem, 'z', sizeof mem);
    EXPECT_EQ(ini.readString("autorun", "runall", mem.buf, -1), 0);
    EXPECT_STREQ(mem.buf, "123456789");
    for (char c : mem.guard)
        EXPECT_EQ(c, 'z');
}

TEST_F(IniFileTest, SizeLargerThanTheArrayIsBoundedByTheArray)
{
    ASSERT_EQ(openWith("[s]\nk = 123456789012345678901234567890\n"), 0);
    struct {
        char buf[4];
        char guard[8];
    } mem;
    std::memset(&mem, 'z', sizeof mem);
    EXPECT_EQ(ini.readString("s", "k", mem.buf, 100), 0);
    EXPECT_STREQ(mem.buf, "123");
    for (char c : mem.guard)
        EXPECT_EQ(c, 'z');
}

TEST_F(IniFileTest, PlainPointerWithoutASizeReadsNothing)
{
    ASSERT_EQ(openWith("[s]\nk = v\n"), 0);
    char storage[8] = "keep";
    char* p = storage;
    EXPECT_EQ(ini.readString("s", "k", p, -1), -1);
    EXPECT_STREQ(storage, "keep");
    EXPECT_EQ(ini.readString("s", "k", p, 8), 0);
    EXPECT_STREQ(storage, "v");
}

TEST_F(IniFileTest, LongValuesAreReadWhole)
{
    const std::string longValue(1500, 'x');
    ASSERT_EQ(openWith("[s]\nk = " + longValue + "\nnext = 1\n"), 0);
    static char buf[2048];
    EXPECT_EQ(ini.readString("s", "k", buf, -1), 0);
    EXPECT_EQ(std::string(buf), longValue);
    EXPECT_EQ(ini.readString("s", "next", buf, -1), 0);
    EXPECT_STREQ(buf, "1");
}

TEST_F(IniFileTest, UnparsableLineGivesMinusTwoAndKeepsTheLinesBefore)
{
    EXPECT_EQ(openWith("[s]\na = 1\nthis line has no equals sign\nb = 2\n"), -2);
    char buf[8] {};
    EXPECT_EQ(ini.readString("s", "a", buf, -1), 0);
    EXPECT_STREQ(buf, "1");
    EXPECT_EQ(ini.readString("s", "b", buf, -1), -1);
}

TEST_F(IniFileTest, UnclosedSectionHeaderIsAParseError)
{
    EXPECT_EQ(openWith("[s\na = 1\n"), -2);
}

TEST_F(IniFileTest, KeyBeforeAnySectionBelongsToTheEmptySection)
{
    ASSERT_EQ(openWith("top = 7\n[s]\n"), 0);
    char buf[8] {};
    EXPECT_EQ(ini.readString("", "top", buf, -1), 0);
    EXPECT_STREQ(buf, "7");
}

TEST_F(IniFileTest, RepeatedKeyKeepsItsLastValue)
{
    ASSERT_EQ(openWith("[s]\nk = 1\n[t]\n[s]\nk = 2\n"), 0);
    char buf[8] {};
    EXPECT_EQ(ini.readString("s", "k", buf, -1), 0);
    EXPECT_STREQ(buf, "2");
}

TEST_F(IniFileTest, ByteOrderMarkAndMissingFinalNewlineAreAccepted)
{
    ASSERT_EQ(openWith("\xEF\xBB\xBF[s]\nk = v"), 0);
    char buf[8] {};
    EXPECT_EQ(ini.readString("s", "k", buf, -1), 0);
    EXPECT_STREQ(buf, "v");
}

TEST_F(IniFileTest, ArbitraryBytesNeverCrashTheParser)
{
    std::string junk;
    for (int i = 0; i < 4096; ++i)
        junk.push_back(static_cast<char>((i * 7919 + 13) & 0xFF));
    const int rc = openWith(junk);
    EXPECT_TRUE(rc == 0 || rc == -2) << rc;
    char buf[8] = "keep";
    EXPECT_EQ(ini.readString("no such section", "k", buf, -1), -1);
    EXPECT_STREQ(buf, "keep");
}

TEST_F(IniFileTest, OversizedFileIsReadOnlyUpToTheCapAndReportedAsAnError)
{
    std::string big = "[s]\nk = v\n";
    const std::string filler = "; " + std::string(100, '-') + "\n";
    while (big.size() < 2 * 1024 * 1024)
        big += filler;
    big += "late = 1\n";
    EXPECT_EQ(openWith(big), -2);
    char buf[8] {};
    EXPECT_EQ(ini.readString("s", "k", buf, -1), 0);
    EXPECT_STREQ(buf, "v");
    EXPECT_EQ(ini.readString("s", "late", buf, -1), -1);
}

TEST_F(IniFileTest, CloseForgetsEverything)
{
    ASSERT_EQ(openWith("[s]\nk = v\n"), 0);
    ini.close();
    EXPECT_FALSE(ini.isOpen());
    char buf[8] = "keep";
    EXPECT_EQ(ini.readString("s", "k", buf, -1), -1);
    EXPECT_STREQ(buf, "keep");
}

}
