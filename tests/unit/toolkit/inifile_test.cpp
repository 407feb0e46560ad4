#include <lumi/config.h>

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

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

    // The same, keeping what the reader reported on stderr in reported.
    int openReporting(const std::string& content)
    {
        testing::internal::CaptureStderr();
        const int rc = openWith(content);
        reported = testing::internal::GetCapturedStderr();
        return rc;
    }

    // Opens path, which must fail, and returns what the reader reported.
    std::string refusalOf(const std::string& path)
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ini.open(path.c_str()), -1);
        EXPECT_FALSE(ini.isOpen());
        return testing::internal::GetCapturedStderr();
    }

    // The value of key as readString gives it, or "(missing)".
    std::string valueOf(const char* section, const char* key) const
    {
        char buf[64] {};
        return ini.readString(section, key, buf, -1) == 0 ? std::string(buf) : "(missing)";
    }

    lumitest::TempDir tmp;
    IniFile ini;
    std::string reported;
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

TEST_F(IniFileTest, ALineWithoutEqualsIsReportedWithItsNumberAndTheRestIsUsed)
{
    const std::string path = tmp.file("config.ini");
    EXPECT_EQ(openReporting("[s]\na = 1\nthis line has no equals sign\nb = 2\n"), 0);
    EXPECT_EQ(reported, "[lumi] " + path + ":3: ignored: no '=' in the line\n");
    EXPECT_TRUE(ini.isOpen());
    EXPECT_EQ(ini.skippedLines(), 1);
    EXPECT_EQ(valueOf("s", "a"), "1");
    EXPECT_EQ(valueOf("s", "b"), "2");
}

TEST_F(IniFileTest, ALineWithNothingBeforeItsEqualsIsReportedAndSkipped)
{
    EXPECT_EQ(openReporting("[s]\n = 5\nk = 6\n"), 0);
    EXPECT_NE(reported.find("config.ini:2: ignored: no key before '='"), std::string::npos) << reported;
    EXPECT_EQ(ini.skippedLines(), 1);
    EXPECT_EQ(valueOf("s", ""), "(missing)");
    EXPECT_EQ(valueOf("s", "k"), "6");
}

TEST_F(IniFileTest, AnUnclosedSectionHeaderIsSkippedWithItsKeysAndTheOtherSectionsAreUsed)
{
    EXPECT_EQ(openReporting("[autorun]\nrunall = 1\n[function\ntest_mouse = 1\n[Log]\nlog_path = x\n"), 0);
    EXPECT_NE(reported.find("config.ini:3: ignored: section header without ']'"), std::string::npos)
        << reported;
    EXPECT_NE(
        reported.find("config.ini:4: ignored: key under a section header without ']'"), std::string::npos)
        << reported;
    EXPECT_EQ(ini.skippedLines(), 2);
    // The key under the broken header lands nowhere, not in the section before it.
    EXPECT_EQ(valueOf("autorun", "test_mouse"), "(missing)");
    EXPECT_EQ(valueOf("function", "test_mouse"), "(missing)");
    EXPECT_EQ(valueOf("autorun", "runall"), "1");
    EXPECT_EQ(valueOf("Log", "log_path"), "x");
}

TEST_F(IniFileTest, EachBadLineIsReportedOnItsOwnLine)
{
    EXPECT_EQ(openReporting("[s]\nfirst\nk = 1\n\nsecond\n"), 0);
    const std::string path = tmp.file("config.ini");
    const std::string second = "[lumi] " + path + ":5: ignored: no '=' in the line\n";
    EXPECT_EQ(reported, "[lumi] " + path + ":2: ignored: no '=' in the line\n" + second);
    EXPECT_EQ(ini.skippedLines(), 2);
}

TEST_F(IniFileTest, AFileOfJunkReportsTwentyLinesAndCountsTheRest)
{
    std::string junk = "[s]\n";
    for (int i = 0; i < 1000; ++i)
        junk += "junk\n";
    junk += "k = v\n";
    EXPECT_EQ(openReporting(junk), 0);
    EXPECT_EQ(std::count(reported.begin(), reported.end(), '\n'), 21) << reported;
    EXPECT_NE(reported.find("config.ini:21: ignored"), std::string::npos);
    EXPECT_EQ(reported.find("config.ini:22: ignored"), std::string::npos);
    EXPECT_NE(reported.find("config.ini: 980 more bad lines ignored\n"), std::string::npos) << reported;
    EXPECT_EQ(ini.skippedLines(), 1000);
    EXPECT_EQ(valueOf("s", "k"), "v");
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
    EXPECT_EQ(openReporting(junk), 0);
    char buf[8] = "keep";
    EXPECT_EQ(ini.readString("no such section", "k", buf, -1), -1);
    EXPECT_STREQ(buf, "keep");
}

TEST_F(IniFileTest, OfAnOversizedFileTheFirstMebibyteIsUsedAndTheRestIsReported)
{
    std::string big = "[s]\nk = v\n";
    const std::string filler = "; " + std::string(100, '-') + "\n";
    int lines = 2;
    while (big.size() + filler.size() <= 1024 * 1024) {
        big += filler;
        ++lines;
    }
    // This line crosses the cap: it is the first one left out.
    big += "cut = " + std::string(200, 'c') + "\n";
    while (big.size() < 2 * 1024 * 1024)
        big += filler;
    big += "late = 1\n";
    EXPECT_EQ(openReporting(big), 0);
    EXPECT_EQ(reported,
        "[lumi] " + tmp.file("config.ini") + ":" + std::to_string(lines + 1)
            + ": ignored: this line and the rest; the file is larger than 1048576 bytes\n");
    EXPECT_EQ(valueOf("s", "k"), "v");
    EXPECT_EQ(valueOf("s", "cut"), "(missing)");
    EXPECT_EQ(valueOf("s", "late"), "(missing)");
}

TEST_F(IniFileTest, AMissingFileIsLeftToTheCallerToReport)
{
    EXPECT_EQ(refusalOf(tmp.file("absent.ini")), "");
}

// A FIFO would block the open until a writer comes: the watchdog turns such a
// hang into a failure (the blocked open is interrupted) instead of a stuck test.
class Watchdog {
public:
    Watchdog()
    {
        struct sigaction sa { };
        sa.sa_handler = [](int) {};
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = 0; // no SA_RESTART: a blocked open returns EINTR
        sigaction(SIGALRM, &sa, &m_old);
        alarm(20);
    }
    ~Watchdog()
    {
        alarm(0);
        sigaction(SIGALRM, &m_old, nullptr);
    }

private:
    struct sigaction m_old { };
};

TEST_F(IniFileTest, AFifoIsRefusedAtOnceWithoutWaitingForAWriter)
{
    const std::string path = tmp.file("config.ini");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Watchdog watchdog;
    EXPECT_EQ(refusalOf(path), "[lumi] " + path + ": not read: a FIFO, not a regular file\n");
}

TEST_F(IniFileTest, ADirectoryIsRefusedWithAClearMessage)
{
    const std::string path = tmp.file("config.ini");
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(refusalOf(path), "[lumi] " + path + ": not read: a directory, not a regular file\n");
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
