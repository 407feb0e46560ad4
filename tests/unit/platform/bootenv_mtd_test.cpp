// Finding the environment partitions in the text of /proc/mtd.

#include "platform/bootenv.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

struct Scan {
    int found;
    std::string path1;
    std::string path2;
    std::string printed;
};

Scan scanText(const std::string& text)
{
    lumitest::TempDir dir;
    FILE* f = std::fopen(dir.file("mtd").c_str(), "w+");
    EXPECT_NE(f, nullptr);
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
    char path1[] = "/dev/mtdblock ";
    char path2[] = "/dev/mtdblock ";
    testing::internal::CaptureStdout();
    Scan s;
    s.found = envScanMtd(f, path1, path2);
    s.printed = testing::internal::GetCapturedStdout();
    std::fclose(f);
    s.path1 = path1;
    s.path2 = path2;
    return s;
}

const char HEADER[] = "dev:    size   erasesize  name\n";

TEST(BootenvMtd, OnePartitionWritesItsDigitIntoPath1)
{
    const Scan s = scanText(std::string(HEADER)
        + "mtd0: 00080000 00010000 \"u-boot\"\n"
          "mtd1: 00010000 00010000 \"u-boot env\"\n"
          "mtd2: 00400000 00010000 \"kernel\"\n");
    EXPECT_EQ(s.found, 1);
    EXPECT_EQ(s.path1, "/dev/mtdblock1");
    EXPECT_EQ(s.path2, "/dev/mtdblock ");
    EXPECT_EQ(s.printed, "");
}

TEST(BootenvMtd, TwoPartitionsFillPath1ThenPath2)
{
    const Scan s = scanText(std::string(HEADER)
        + "mtd2: 00010000 00010000 \"u-boot env\"\n"
          "mtd3: 00010000 00010000 \"U-Boot Env\"\n");
    EXPECT_EQ(s.found, 2);
    EXPECT_EQ(s.path1, "/dev/mtdblock2");
    EXPECT_EQ(s.path2, "/dev/mtdblock3");
    EXPECT_EQ(s.printed, "");
}

TEST(BootenvMtd, AThirdEnvironmentLineIsNeverRead)
{
    // The scan stops at the second match, so the "more than 2" message
    // cannot appear and a third partition changes nothing.
    const Scan s = scanText(std::string(HEADER)
        + "mtd4: 00010000 00010000 \"u-boot env\"\n"
          "mtd5: 00010000 00010000 \"u-boot env\"\n"
          "mtd6: 00010000 00010000 \"u-boot env\"\n");
    EXPECT_EQ(s.found, 2);
    EXPECT_EQ(s.path1, "/dev/mtdblock4");
    EXPECT_EQ(s.path2, "/dev/mtdblock5");
    EXPECT_EQ(s.printed.find("mor than 2"), std::string::npos);
    EXPECT_EQ(s.printed, "");
}

TEST(BootenvMtd, NoEnvironmentLineSaysSoAtTheEndOfTheFile)
{
    const Scan s = scanText(std::string(HEADER) + "mtd0: 00080000 00010000 \"u-boot\"\n");
    EXPECT_EQ(s.found, 0);
    EXPECT_EQ(s.printed, "search mtd partition to end of file /proc/mtd\n");
    EXPECT_EQ(s.path1, "/dev/mtdblock ");
}

TEST(BootenvMtd, AFileWithoutHeaderLineEndsAtEndOfFile)
{
    const Scan s = scanText("mtd1: 00010000 00010000 \"u-boot env\"\n");
    EXPECT_EQ(s.found, -1);
    EXPECT_EQ(s.printed, " end of\tfile\n");
    EXPECT_EQ(s.path1, "/dev/mtdblock ");
    EXPECT_EQ(scanText("").printed, " end of\tfile\n");
}

TEST(BootenvMtd, LinesBeforeTheHeaderAreSkippedAndTheHeaderMatchesInAnyCase)
{
    const Scan s = scanText("junk \"u-boot env\"\nDEV: size\nmtd7: 1 1 \"u-boot env\"");
    EXPECT_EQ(s.found, 1);
    EXPECT_EQ(s.path1, "/dev/mtdblock7");
}

TEST(BootenvMtd, OnlyTheFirstDigitOfATwoDigitPartitionIsTaken)
{
    // Kept: one character is written, so mtd12 reads as partition 1.
    const Scan s = scanText(std::string(HEADER) + "mtd12: 00010000 00010000 \"u-boot env\"\n");
    EXPECT_EQ(s.found, 1);
    EXPECT_EQ(s.path1, "/dev/mtdblock1");
}

TEST(BootenvMtd, AVeryLongLineIsCutAndTheNextLineStillCounts)
{
    std::string text = HEADER;
    text += "mtd1: 00010000 00010000 \"kernel" + std::string(5000, 'k') + " \"u-boot env\"\n";
    text += "mtd3: 00010000 00010000 \"u-boot env\"\n";
    const Scan s = scanText(text);
    EXPECT_EQ(s.found, 1);
    EXPECT_EQ(s.path1, "/dev/mtdblock3");
}

TEST(BootenvMtd, APipeIsReadLikeAFile)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const std::string text = std::string(HEADER) + "mtd8: 00010000 00010000 \"u-boot env\"\n";
    ASSERT_EQ(write(fds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(fds[1]);
    FILE* f = fdopen(fds[0], "r");
    ASSERT_NE(f, nullptr);
    char path1[] = "/dev/mtdblock ";
    char path2[] = "/dev/mtdblock ";
    EXPECT_EQ(envScanMtd(f, path1, path2), 1);
    std::fclose(f);
    EXPECT_STREQ(path1, "/dev/mtdblock8");
}

TEST(BootenvMtd, GetMatchIdWantsTheNameInALaterToken)
{
    EXPECT_NE(GetMatchID("mtd1: 00010000 00010000 \"u-boot env\""), 0);
    EXPECT_NE(GetMatchID("mtd1: 00010000 00010000 \"U-BOOT ENV\"\n"), 0);
    EXPECT_NE(GetMatchID("mtd1: 0 0 \"u-boot environment\""), 0);
    EXPECT_EQ(GetMatchID("\"u-boot env\""), 0);
    EXPECT_EQ(GetMatchID("mtd1: 0 0 u-boot env"), 0);
    EXPECT_EQ(GetMatchID("mtd1: 0 0 \"u-boot\""), 0);
    EXPECT_EQ(GetMatchID("mtd1: 0 0 \"u-boot en\""), 0);
    EXPECT_EQ(GetMatchID(""), 0);
    EXPECT_EQ(GetMatchID(nullptr), 0);
}

TEST(BootenvMtd, StrnicmpComparesAtMostNCharactersIgnoringCase)
{
    EXPECT_EQ(strnicmp("DEV:", "dev:", 4), 0);
    EXPECT_EQ(strnicmp("dev:x", "dev:y", 4), 0);
    EXPECT_EQ(strnicmp("abc", "abd", 3), 'c' - 'd');
    EXPECT_EQ(strnicmp("abc", "abd", 0), 0);
    EXPECT_EQ(strnicmp("ab", "abc", 5), 0 - 'c');
    EXPECT_EQ(strnicmp("ab", "ab", 5), 0);
    EXPECT_EQ(strnicmp("B", "a", 1), 'b' - 'a');
}

}
