// Writing the environment back: which copy is written, in which order, and
// that a power loss at any point of the write-back leaves one valid copy.

#include "bootenv_test_support.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <unistd.h>

namespace {

using namespace bootenvtest;

int s_chipId = 0;

int fakeSocInfo(int* id, int* second)
{
    *id = s_chipId;
    *second = 0;
    return 0;
}

// A writer that lets `s_budget` bytes reach the files and then stops, as the
// flash does when the power goes: every later write is lost too.
long s_budget = -1;
long s_written = 0;

ssize_t powerLossWriter(int fd, const void* buf, size_t n)
{
    if (s_budget >= 0 && s_written >= s_budget) {
        errno = EIO;
        return -1;
    }
    size_t take = n;
    if (s_budget >= 0 && static_cast<long>(take) > s_budget - s_written)
        take = static_cast<size_t>(s_budget - s_written);
    // Writes in 4 KiB pieces, as the block device takes them.
    if (take > 4096)
        take = 4096;
    const ssize_t done = write(fd, buf, take);
    if (done > 0)
        s_written += done;
    return done;
}

class BootenvWriteBack : public ::testing::Test {
protected:
    void SetUp() override
    {
        s_chipId = 0;
        s_budget = -1;
        s_written = 0;
        path1 = tmp.file("mtdblock1");
        path2 = tmp.file("mtdblock2");
    }

    HeapImage load(int found)
    {
        testing::internal::CaptureStdout();
        HeapImage image(envLoadCopies(&path1[0], &path2[0], found, fakeSocInfo));
        printed = testing::internal::GetCapturedStdout();
        return image;
    }

    // Loads, sets name=value, refreshes the CRC and writes back.
    int change(int found, const char* name, const char* value, EnvWriteFn writer = powerLossWriter)
    {
        HeapImage image = load(found);
        if (!image)
            return -1;
        EXPECT_EQ(env_set_in_buffer(name, value, image.get()), 0);
        sf_env_update_crc(image.get());
        return envWriteBack(image.get(), &path1[0], &path2[0], writer);
    }

    std::optional<std::string> valueOf(const HeapImage& image, const char* name)
    {
        char value[64] = {};
        int len = sizeof value;
        if (!image || env_get_from_buffer(name, value, image.get(), &len) != 0)
            return std::nullopt;
        return std::string(value, static_cast<size_t>(len));
    }

    lumitest::TempDir tmp;
    std::string path1;
    std::string path2;
    std::string printed;
};

TEST_F(BootenvWriteBack, Copy1ActiveWritesCopy2ActiveThenRetiresCopy1)
{
    writeFile(path1, makeImage(Layout::Redundant, { "a=old" }, 1));
    writeFile(path2, makeImage(Layout::Redundant, { "a=older" }, 0));
    ASSERT_EQ(change(2, "a", "new"), 0);
    const std::vector<char> c1 = readFile(path1);
    const std::vector<char> c2 = readFile(path2);
    ASSERT_EQ(c1.size(), static_cast<size_t>(ENV_IMAGE_SIZE));
    ASSERT_EQ(c2.size(), static_cast<size_t>(ENV_IMAGE_SIZE));
    EXPECT_TRUE(crcValid(c2, Layout::Redundant));
    EXPECT_EQ(c2[4], 1);
    EXPECT_EQ(entriesOf(c2.data(), Layout::Redundant), (std::vector<std::string> { "a=new" }));
    // The old copy keeps its contents and its CRC; only its flag changes.
    EXPECT_TRUE(crcValid(c1, Layout::Redundant));
    EXPECT_EQ(c1[4], 0);
    EXPECT_EQ(entriesOf(c1.data(), Layout::Redundant), (std::vector<std::string> { "a=old" }));
    const HeapImage again = load(2);
    EXPECT_EQ(mtd_sector, 18);
    EXPECT_EQ(valueOf(again, "a"), std::optional<std::string>("new"));
}

TEST_F(BootenvWriteBack, Copy2ActiveWritesCopy1ActiveThenRetiresCopy2)
{
    writeFile(path1, makeImage(Layout::Redundant, { "a=older" }, 0));
    writeFile(path2, makeImage(Layout::Redundant, { "a=old" }, 1));
    ASSERT_EQ(change(2, "a", "new"), 0);
    const std::vector<char> c1 = readFile(path1);
    const std::vector<char> c2 = readFile(path2);
    EXPECT_TRUE(crcValid(c1, Layout::Redundant));
    EXPECT_EQ(c1[4], 1);
    EXPECT_EQ(c2[4], 0);
    EXPECT_TRUE(crcValid(c2, Layout::Redundant));
    const HeapImage again = load(2);
    EXPECT_EQ(mtd_sector, 17);
    EXPECT_EQ(valueOf(again, "a"), std::optional<std::string>("new"));
}

TEST_F(BootenvWriteBack, SuccessiveChangesAlternateBetweenTheCopies)
{
    writeFile(path1, makeImage(Layout::Redundant, { "n=0" }, 1));
    writeFile(path2, makeImage(Layout::Redundant, { "n=0" }, 0));
    for (int i = 1; i <= 4; ++i) {
        ASSERT_EQ(change(2, "n", std::to_string(i).c_str()), 0);
        const HeapImage now = load(2);
        EXPECT_EQ(mtd_sector, i % 2 ? 18 : 17) << i;
        EXPECT_EQ(valueOf(now, "n"), std::optional<std::string>(std::to_string(i)));
    }
}

TEST_F(BootenvWriteBack, AnUnflaggedCopyIsRewrittenInPlaceAndFlagged)
{
    // Copy 2 chosen unflagged (sector 2): copy 2 is rewritten, copy 1 untouched.
    const std::vector<char> first = makeImage(Layout::Redundant, { "a=1" }, 0);
    writeFile(path1, first);
    writeFile(path2, makeImage(Layout::Redundant, { "a=2" }, 0));
    ASSERT_EQ(change(2, "a", "new"), 0);
    EXPECT_EQ(readFile(path1), first);
    const std::vector<char> c2 = readFile(path2);
    EXPECT_EQ(c2[4], 1);
    EXPECT_TRUE(crcValid(c2, Layout::Redundant));
    EXPECT_EQ(entriesOf(c2.data(), Layout::Redundant), (std::vector<std::string> { "a=new" }));
}

TEST_F(BootenvWriteBack, TheFallbackCopy1IsRewrittenInPlaceAndFlagged)
{
    writeFile(path1, makeImage(Layout::Redundant, { "a=1" }, 0));
    path2 = tmp.file("absent");
    ASSERT_EQ(change(1, "a", "new"), 0);
    EXPECT_EQ(mtd_sector, 1);
    const std::vector<char> c1 = readFile(path1);
    EXPECT_EQ(c1[4], 1);
    EXPECT_TRUE(crcValid(c1, Layout::Redundant));
    EXPECT_EQ(entriesOf(c1.data(), Layout::Redundant), (std::vector<std::string> { "a=new" }));
}

TEST_F(BootenvWriteBack, TheSingleLayoutWritesCopy1)
{
    s_chipId = 0x33570000;
    writeFile(path1, makeImage(Layout::Single, { "a=1", "b=2" }));
    ASSERT_EQ(change(1, "a", "new"), 0);
    const std::vector<char> c1 = readFile(path1);
    EXPECT_TRUE(crcValid(c1, Layout::Single));
    EXPECT_EQ(entriesOf(c1.data(), Layout::Single), (std::vector<std::string> { "b=2", "a=new" }));
}

TEST_F(BootenvWriteBack, AnActiveCopyWithoutASecondPartitionCannotBeWritten)
{
    const std::vector<char> first = makeImage(Layout::Redundant, { "a=1" }, 1);
    writeFile(path1, first);
    path2 = tmp.file("absent");
    EXPECT_EQ(change(1, "a", "new"), 1);
    EXPECT_EQ(readFile(path1), first);
    EXPECT_EQ(mtd_fd1, 0);
    EXPECT_EQ(mtd_fd2, 0);
}

TEST_F(BootenvWriteBack, NoChosenCopyWritesNothing)
{
    mtd_sector = 0;
    std::vector<char> image = makeImage(Layout::Redundant, { "a=1" });
    EXPECT_EQ(sf_env_write_back(image.data(), &path1[0], &path2[0]), 1);
    EXPECT_TRUE(readFile(path1).empty());
    EXPECT_TRUE(readFile(path2).empty());
}

TEST_F(BootenvWriteBack, ThePlainWriterWritesTheWholeImage)
{
    writeFile(path1, makeImage(Layout::Redundant, { "a=1" }, 1));
    writeFile(path2, makeImage(Layout::Redundant, { "a=1" }, 0));
    HeapImage image = load(2);
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(env_set_in_buffer("b", "2", image.get()), 0);
    sf_env_update_crc(image.get());
    EXPECT_EQ(sf_env_write_back(image.get(), &path1[0], &path2[0]), 0);
    const HeapImage again = load(2);
    EXPECT_EQ(mtd_sector, 18);
    EXPECT_EQ(valueOf(again, "b"), std::optional<std::string>("2"));
}

// A power loss after every 4 KiB of the write-back (and around the headers
// byte by byte) from either active copy: one valid copy always remains, and
// it holds either the old or the new contents.
TEST_F(BootenvWriteBack, APowerLossAtAnyPointLeavesOneValidCopy)
{
    std::vector<long> cuts;
    for (long n = 0; n <= 2L * ENV_IMAGE_SIZE; n += 4096)
        cuts.push_back(n);
    for (long n = 1; n < 8; ++n) {
        cuts.push_back(n);
        cuts.push_back(ENV_IMAGE_SIZE + n);
    }
    for (int activeCopy : { 1, 2 }) {
        for (long cut : cuts) {
            SCOPED_TRACE("copy " + std::to_string(activeCopy) + " active, power lost after "
                + std::to_string(cut) + " bytes");
            // The active copy holds "old"; the obsolete one "older" and a
            // filler to nearly the end of the image, so that the copy being
            // written is valid only once it is whole.
            const std::vector<std::string> active { "v=old", "x=1" };
            const std::vector<std::string> obsolete { "v=older", "x=1", "filler=" + std::string(65000, 'f') };
            writeFile(
                path1, makeImage(Layout::Redundant, activeCopy == 1 ? active : obsolete, activeCopy == 1));
            writeFile(
                path2, makeImage(Layout::Redundant, activeCopy == 2 ? active : obsolete, activeCopy == 2));
            s_budget = cut;
            s_written = 0;
            EXPECT_EQ(change(2, "v", "new"), 0);
            EXPECT_LE(s_written, cut);
            s_budget = -1;

            const std::vector<char> c1 = readFile(path1);
            const std::vector<char> c2 = readFile(path2);
            EXPECT_TRUE(crcValid(c1, Layout::Redundant) || crcValid(c2, Layout::Redundant));
            const HeapImage after = load(2);
            ASSERT_NE(after, nullptr) << printed;
            const std::optional<std::string> v = valueOf(after, "v");
            ASSERT_TRUE(v.has_value());
            EXPECT_EQ(valueOf(after, "x"), std::optional<std::string>("1"));
            // The new copy counts once it is whole: a new copy 1 at once, as
            // a valid active copy 1 is preferred; a new copy 2 once copy 1's
            // flag byte (offset 4 of the second write) is cleared.
            const long newFrom = activeCopy == 2 ? ENV_IMAGE_SIZE : ENV_IMAGE_SIZE + 5;
            EXPECT_EQ(*v, cut >= newFrom ? "new" : "old");
            EXPECT_EQ(mtd_sector, (cut >= newFrom) == (activeCopy == 1) ? 18 : 17);
        }
    }
}

// Copy 2 chosen without its flag is rewritten in place; copy 1, valid and
// untouched, is what remains when the power goes during that write.
TEST_F(BootenvWriteBack, APowerLossWhileAnUnflaggedCopy2IsRewrittenLeavesCopy1)
{
    for (long cut = 4096; cut < ENV_IMAGE_SIZE; cut += 4096) {
        SCOPED_TRACE("power lost after " + std::to_string(cut) + " bytes");
        writeFile(path1, makeImage(Layout::Redundant, { "v=one" }, 0));
        writeFile(path2, makeImage(Layout::Redundant, { "v=two", "filler=" + std::string(65000, 'f') }, 0));
        s_budget = cut;
        s_written = 0;
        EXPECT_EQ(change(2, "v", "new"), 0);
        s_budget = -1;
        const HeapImage after = load(2);
        ASSERT_NE(after, nullptr) << printed;
        EXPECT_EQ(mtd_sector, 1);
        EXPECT_EQ(valueOf(after, "v"), std::optional<std::string>("one"));
    }
}

}
