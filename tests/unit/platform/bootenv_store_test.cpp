// Loading the environment from its copies: the layout by chip and partition
// count, and the choice among valid and invalid copies with their flags.

#include "bootenv_test_support.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <optional>

namespace {

using namespace bootenvtest;

int s_chipId = 0;
int s_socinfoCalls = 0;

int fakeSocInfo(int* id, int* second)
{
    ++s_socinfoCalls;
    *id = s_chipId;
    *second = 0;
    return 0;
}

int openDescriptors()
{
    int n = 0;
    DIR* d = opendir("/proc/self/fd");
    while (d && readdir(d))
        ++n;
    if (d)
        closedir(d);
    return n;
}

enum class Copy { ValidActive, ValidObsolete, Invalid, Missing };

const char* nameOf(Copy c)
{
    switch (c) {
    case Copy::ValidActive:
        return "ValidActive";
    case Copy::ValidObsolete:
        return "ValidObsolete";
    case Copy::Invalid:
        return "Invalid";
    case Copy::Missing:
        return "Missing";
    }
    return "";
}

class BootenvStore : public ::testing::Test {
protected:
    void SetUp() override
    {
        s_chipId = 0;
        s_socinfoCalls = 0;
        mtd_sector = 0;
        path1 = tmp.file("mtdblock1");
        path2 = tmp.file("mtdblock2");
    }

    void place(const std::string& path, Copy copy, const std::string& tag, Layout layout = Layout::Redundant)
    {
        if (copy == Copy::Missing)
            return;
        const std::vector<std::string> entries { "bootdelay=1", "copy=" + tag };
        if (copy == Copy::ValidActive)
            writeFile(path, makeImage(layout, entries, 1));
        else if (copy == Copy::ValidObsolete)
            writeFile(path, makeImage(layout, entries, 0));
        else
            writeFile(path, makeImage(layout, entries, 1, false));
    }

    // Loads with `found` partitions; the store's printed lines go to printed.
    HeapImage load(int found)
    {
        const int before = openDescriptors();
        testing::internal::CaptureStdout();
        HeapImage image(envLoadCopies(&path1[0], &path2[0], found, fakeSocInfo));
        printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(mtd_fd1, 0);
        EXPECT_EQ(mtd_fd2, 0);
        EXPECT_EQ(openDescriptors(), before) << "a descriptor was left open";
        return image;
    }

    std::optional<std::string> copyTag(const HeapImage& image)
    {
        char value[16] = {};
        int len = sizeof value - 1;
        if (!image || env_get_from_buffer("copy", value, image.get(), &len) != 0)
            return std::nullopt;
        return std::string(value, static_cast<size_t>(len));
    }

    lumitest::TempDir tmp;
    std::string path1;
    std::string path2;
    std::string printed;
};

struct Choice {
    Copy copy1;
    Copy copy2;
    int sector; // 0: no image
    const char* tag; // the copy returned
    const char* printed;
};

// Every combination of the two copies in the redundant layout.
const Choice CHOICES[] = {
    { Copy::ValidActive, Copy::ValidActive, 17, "1", "" },
    { Copy::ValidActive, Copy::ValidObsolete, 17, "1", "" },
    { Copy::ValidActive, Copy::Invalid, 17, "1", "" },
    { Copy::ValidActive, Copy::Missing, 17, "1", "" },
    { Copy::ValidObsolete, Copy::ValidActive, 18, "2", "" },
    // A valid copy 1 without the flag yields to any valid copy 2, flagged or not.
    { Copy::ValidObsolete, Copy::ValidObsolete, 2, "2", "" },
    { Copy::ValidObsolete, Copy::Invalid, 1, "1", "mtd dev2 crc32 is not correct\n" },
    { Copy::ValidObsolete, Copy::Missing, 1, "1", "" },
    { Copy::Invalid, Copy::ValidActive, 18, "2", "mtd dev1 crc32 is not correct\n" },
    { Copy::Invalid, Copy::ValidObsolete, 2, "2", "mtd dev1 crc32 is not correct\n" },
    { Copy::Invalid, Copy::Invalid, 0, nullptr,
        "mtd dev1 crc32 is not correct\nmtd dev2 crc32 is not correct\n" },
    { Copy::Invalid, Copy::Missing, 0, nullptr, "mtd dev1 crc32 is not correct\n" },
    { Copy::Missing, Copy::ValidActive, 0, nullptr, "" },
    { Copy::Missing, Copy::Invalid, 0, nullptr, "" },
};

TEST_F(BootenvStore, EveryCombinationOfTwoCopiesChoosesAsTheRuleSays)
{
    for (const Choice& c : CHOICES) {
        SCOPED_TRACE(std::string("copy 1 ") + nameOf(c.copy1) + ", copy 2 " + nameOf(c.copy2));
        std::remove(path1.c_str());
        std::remove(path2.c_str());
        place(path1, c.copy1, "1");
        place(path2, c.copy2, "2");
        const HeapImage image = load(2);
        EXPECT_EQ(printed, c.printed);
        if (c.sector == 0) {
            EXPECT_EQ(image, nullptr);
            continue;
        }
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(mtd_sector, c.sector);
        EXPECT_EQ(copyTag(image), std::optional<std::string>(c.tag));
        // The image is the chosen copy byte for byte, header included.
        const std::vector<char> file = readFile(std::string(c.tag) == "1" ? path1 : path2);
        EXPECT_EQ(std::vector<char>(image.get(), image.get() + ENV_IMAGE_SIZE), file);
    }
}

TEST_F(BootenvStore, ValidCopy1WithFlagZeroAndValidCopy2WithFlagZeroUsesCopy2)
{
    place(path1, Copy::ValidObsolete, "1");
    place(path2, Copy::ValidObsolete, "2");
    const HeapImage image = load(2);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(mtd_sector, 2);
    EXPECT_EQ(copyTag(image), std::optional<std::string>("2"));
}

TEST_F(BootenvStore, AFlagOtherThanOneCountsAsNotActive)
{
    writeFile(path1, makeImage(Layout::Redundant, { "copy=1" }, 0xFF));
    place(path2, Copy::ValidObsolete, "2");
    HeapImage image = load(2);
    EXPECT_EQ(mtd_sector, 2);
    writeFile(path1, makeImage(Layout::Redundant, { "copy=1" }, 2));
    std::remove(path2.c_str());
    image = load(2);
    EXPECT_EQ(mtd_sector, 1);
}

TEST_F(BootenvStore, OnePartitionOfAChipWithTwoCopiesFallsBackToCopy1)
{
    place(path1, Copy::ValidObsolete, "1");
    path2 = ENV_BLOCK_PATH; // not filled in: no second partition was found
    const HeapImage image = load(1);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(mtd_sector, 1);
}

TEST_F(BootenvStore, AShortCopy2IsReadOverCopy1sBytesAndThenFailsItsCheck)
{
    // Copy 2 is read into the buffer that holds copy 1 (only its first five
    // bytes cleared): a short copy 2 ends in copy 1's bytes.
    writeFile(path1, makeImage(Layout::Redundant, { "copy=1", "long=" + std::string(3000, 'l') }, 0));
    std::vector<char> short2 = makeImage(Layout::Redundant, { "copy=2" });
    short2.resize(1000);
    writeFile(path2, short2);
    HeapImage image = load(2);
    EXPECT_EQ(printed, "mtd dev2 crc32 is not correct\n");
    EXPECT_EQ(mtd_sector, 1);
    EXPECT_EQ(copyTag(image), std::optional<std::string>("1"));
    writeFile(path2, std::vector<char>(3, 1));
    image = load(2);
    EXPECT_EQ(printed, "mtd dev2 crc32 is not correct\n");
    EXPECT_EQ(mtd_sector, 1);
    EXPECT_EQ(copyTag(image), std::optional<std::string>("1"));
}

TEST_F(BootenvStore, AShortCopy2WhoseMissingTailMatchesCopy1sPassesItsCheck)
{
    // Kept as the boot loader's partitions are always whole: the bytes
    // after a short read are copy 1's, here the same zero padding.
    place(path1, Copy::ValidObsolete, "1");
    std::vector<char> short2 = makeImage(Layout::Redundant, { "copy=2" });
    short2.resize(1000);
    writeFile(path2, short2);
    const HeapImage image = load(2);
    EXPECT_EQ(mtd_sector, 18);
    EXPECT_EQ(copyTag(image), std::optional<std::string>("2"));
}

TEST_F(BootenvStore, TheChipIsAskedOnceAfterCopy1Opened)
{
    place(path1, Copy::ValidActive, "1");
    load(2);
    EXPECT_EQ(s_socinfoCalls, 1);
    std::remove(path1.c_str());
    load(2);
    EXPECT_EQ(s_socinfoCalls, 1);
}

TEST_F(BootenvStore, ASingleCopyChipWithOnePartitionUsesTheSingleLayout)
{
    for (int chip : { 0x33570000, 0x3357ABCD, 0x34000000, 0x3400FFFF }) {
        SCOPED_TRACE(chip);
        s_chipId = chip;
        place(path1, Copy::ValidActive, "1", Layout::Single);
        const HeapImage image = load(1);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(mtd_sector, 3);
        EXPECT_EQ(printed, "");
        EXPECT_EQ(copyTag(image), std::optional<std::string>("1"));
    }
}

TEST_F(BootenvStore, ASingleCopyChipWithACorruptCrcReturnsNullWithItsMessage)
{
    s_chipId = 0x33570000;
    place(path1, Copy::Invalid, "1", Layout::Single);
    const HeapImage image = load(1);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(printed, "mtd dev crc32 is not correct\n");
}

TEST_F(BootenvStore, ASingleCopyChipWithTwoPartitionsUsesTheRedundantLayout)
{
    s_chipId = 0x34000000;
    place(path1, Copy::ValidActive, "1");
    place(path2, Copy::ValidObsolete, "2");
    const HeapImage image = load(2);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(mtd_sector, 17);
}

TEST_F(BootenvStore, OtherChipsUseTheRedundantLayoutEvenWithOnePartition)
{
    for (int chip : { 0, 0x33560000, 0x35000000, 0x00003357 }) {
        SCOPED_TRACE(chip);
        s_chipId = chip;
        place(path1, Copy::ValidActive, "1", Layout::Single);
        EXPECT_EQ(load(1), nullptr);
        EXPECT_EQ(printed, "mtd dev1 crc32 is not correct\n");
    }
}

TEST_F(BootenvStore, AMissingCopy1ReturnsNullWithoutAMessage)
{
    place(path2, Copy::ValidActive, "2");
    EXPECT_EQ(load(2), nullptr);
    EXPECT_EQ(printed, "");
}

TEST_F(BootenvStore, ReOpenClosesTheOldDescriptorAndReportsFailure)
{
    place(path1, Copy::ValidActive, "1");
    const int before = openDescriptors();
    EXPECT_EQ(re_open1(path1.c_str()), 0);
    EXPECT_NE(mtd_fd1, 0);
    EXPECT_EQ(re_open1(path1.c_str()), 0);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_EQ(re_open1(tmp.file("none").c_str()), -1);
    EXPECT_EQ(mtd_fd1, 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(re_open2(tmp.path().c_str()), -1); // a directory does not open read-write
    EXPECT_EQ(mtd_fd2, 0);
}

}
