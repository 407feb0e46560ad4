// The storage tests: internal flash (MTD block partitions listed by the
// kernel) and the USB disk (/dev/sda opens).

#include "device_support.h"

#include "testfun/testnandflash.h"
#include "testfun/testudisk.h"

#include <gtest/gtest.h>

#include <cstring>

using devtest::DeviceTest;

namespace {

char kNandName[] = "\xC4\xDA\xB2\xBF\xB4\xA2\xB4\xE6";
char kUdiskName[] = "U\xC5\xCC\xB2\xE2\xCA\xD4";

const char kPartitionsHeader[] = "major minor  #blocks  name\n\n";

class NandFlashTest : public DeviceTest { };
class UdiskTest : public DeviceTest { };

TEST_F(NandFlashTest, TwoMtdblockLinesAreBothLoggedAndPass)
{
    ASSERT_TRUE(writeDevice("/proc/partitions",
        std::string(kPartitionsHeader) + "  31        0       4096 mtdblock0\n   8        0    7812500 sda\n"
            + "  31        1     253952 mtdblock1\n"));
    TestNandFlash item(kNandName);
    EXPECT_EQ(item.execute(&log), 0);
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_EQ(log.lines,
        (std::vector<std::string> {
            "  31        0       4096 mtdblock0\n", "  31        1     253952 mtdblock1\n" }));
}

TEST_F(NandFlashTest, WithoutMtdblockLinesItFails)
{
    ASSERT_TRUE(
        writeDevice("/proc/partitions", std::string(kPartitionsHeader) + "   8        0    7812500 sda\n"));
    TestNandFlash item(kNandName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(NandFlashTest, AMissingFileFails)
{
    TestNandFlash item(kNandName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(NandFlashTest, ALongLineIsTakenInPiecesOf127Bytes)
{
    // 120 blanks then the name: "mtdblock" straddles the 127-byte piece.
    const std::string line = std::string(120, ' ') + "mtdblock9\n";
    EXPECT_EQ(scanPartitions(line.data(), line.size(), nullptr), 0);
    // 100 blanks: the name is whole in the first piece, which is logged alone.
    const std::string fits = std::string(100, ' ') + "mtdblock9" + std::string(40, 'x') + "\n";
    testfuntest::RecordingLog pieces;
    EXPECT_EQ(scanPartitions(fits.data(), fits.size(), &pieces), 1);
    ASSERT_EQ(pieces.lines.size(), 1u);
    EXPECT_EQ(pieces.lines[0], fits.substr(0, 127));
}

TEST_F(NandFlashTest, ALastLineWithoutNewlineCounts)
{
    const char text[] = "31 2 100 mtdblock2";
    EXPECT_EQ(scanPartitions(text, std::strlen(text), nullptr), 1);
    EXPECT_EQ(scanPartitions(text, 0, nullptr), 0);
}

TEST_F(UdiskTest, PassesWhenTheDiskNodeOpens)
{
    ASSERT_TRUE(writeDevice("/dev/sda", ""));
    TestUdisk item(kUdiskName);
    EXPECT_EQ(item.execute(&log), 0);
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(UdiskTest, FailsWithoutTheDiskNode)
{
    TestUdisk item(kUdiskName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_TRUE(log.lines.empty());
}

}
