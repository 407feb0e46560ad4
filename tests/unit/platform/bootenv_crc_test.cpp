// CRC-32 of the boot environment: the table, known vectors, and the check and
// refresh of an image's stored CRC in both layouts.

#include "bootenv_test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace bootenvtest;

TEST(BootenvCrc, TheTableIsThatOfTheReflectedPolynomial)
{
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        EXPECT_EQ(sf_crc_table[n], c) << "entry " << n;
    }
    EXPECT_EQ(sf_crc_table[1], 0x77073096u);
    EXPECT_EQ(sf_crc_table[255], 0x2D02EF8Du);
}

TEST(BootenvCrc, KnownVectorsGiveTheStandardValues)
{
    EXPECT_EQ(sf_crc32("", 0), 0x00000000u);
    EXPECT_EQ(sf_crc32("a", 1), 0xE8B7BE43u);
    EXPECT_EQ(sf_crc32("123456789", 9), 0xCBF43926u);
    EXPECT_EQ(sf_crc32("The quick brown fox jumps over the lazy dog", 43), 0x414FA339u);
    const std::vector<char> zeros(32, 0);
    EXPECT_EQ(sf_crc32(zeros.data(), zeros.size()), 0x190A55ADu);
    const std::vector<char> ones(32, static_cast<char>(0xFF));
    EXPECT_EQ(sf_crc32(ones.data(), ones.size()), 0xFF6CAB0Bu);
}

TEST(BootenvCrc, TheTableAgreesWithTheBitwiseComputationOnAWholeDataArea)
{
    std::vector<char> data(ENV_IMAGE_SIZE);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>((i * 7919u) >> 3);
    EXPECT_EQ(sf_crc32(data.data(), data.size()), bitwiseCrc32(data.data(), data.size()));
}

TEST(BootenvCrc, TheDataAreaIs65532BytesFromOffset4InTheSingleLayout)
{
    useLayout(Layout::Single);
    EXPECT_EQ(envDataOffset(), 4);
    EXPECT_EQ(envDataSize(), 0xFFFC);
    std::vector<char> image = makeImage(Layout::Single, { "a=1" });
    EXPECT_EQ(sf_env_crc32(image.data() + 4), bitwiseCrc32(image.data() + 4, 0xFFFC));
}

TEST(BootenvCrc, TheDataAreaIs65531BytesFromOffset5InTheRedundantLayout)
{
    for (int sector : { 0, 1, 2, 17, 18 }) {
        mtd_sector = sector;
        EXPECT_EQ(envDataOffset(), 5) << sector;
        EXPECT_EQ(envDataSize(), 0xFFFB) << sector;
    }
    useLayout(Layout::Redundant);
    std::vector<char> image = makeImage(Layout::Redundant, { "a=1" });
    EXPECT_EQ(sf_env_crc32(image.data() + 5), bitwiseCrc32(image.data() + 5, 0xFFFB));
}

TEST(BootenvCrc, AStoredCrcMatchingTheDataComparesAsZero)
{
    for (Layout layout : { Layout::Single, Layout::Redundant }) {
        useLayout(layout);
        std::vector<char> image = makeImage(layout, { "bootdelay=1", "camera_chip=ccir656" });
        EXPECT_EQ(compare_crc32(image.data()), 0);
    }
}

TEST(BootenvCrc, EachWrongByteOfTheStoredCrcComparesAsOne)
{
    useLayout(Layout::Redundant);
    const std::vector<char> good = makeImage(Layout::Redundant, { "a=1" });
    for (int i = 0; i < 4; ++i) {
        std::vector<char> image = good;
        image[static_cast<size_t>(i)] ^= 0x01;
        EXPECT_EQ(compare_crc32(image.data()), 1) << "byte " << i;
    }
}

TEST(BootenvCrc, TheFlagByteIsNotCoveredButTheLastPaddingByteIs)
{
    useLayout(Layout::Redundant);
    std::vector<char> image = makeImage(Layout::Redundant, { "a=1" }, 1);
    image[4] = 0;
    EXPECT_EQ(compare_crc32(image.data()), 0);
    image[ENV_IMAGE_SIZE - 1] = 'x';
    EXPECT_EQ(compare_crc32(image.data()), 1);
}

TEST(BootenvCrc, AnImageOfOneLayoutFailsTheCheckOfTheOther)
{
    useLayout(Layout::Redundant);
    EXPECT_EQ(compare_crc32(makeImage(Layout::Single, { "a=1" }).data()), 1);
    useLayout(Layout::Single);
    EXPECT_EQ(compare_crc32(makeImage(Layout::Redundant, { "a=1" }).data()), 1);
}

TEST(BootenvCrc, UpdateStoresTheDataCrcLittleEndianAtOffsetZero)
{
    for (Layout layout : { Layout::Single, Layout::Redundant }) {
        useLayout(layout);
        std::vector<char> image = makeImage(layout, { "a=1" }, 1, false);
        ASSERT_EQ(compare_crc32(image.data()), 1);
        sf_env_update_crc(image.data());
        EXPECT_EQ(compare_crc32(image.data()), 0);
        EXPECT_TRUE(crcValid(image, layout));
        const uint32_t crc = bitwiseCrc32(
            image.data() + dataOffset(layout), static_cast<size_t>(ENV_IMAGE_SIZE - dataOffset(layout)));
        EXPECT_EQ(static_cast<unsigned char>(image[0]), crc & 0xFF);
        EXPECT_EQ(static_cast<unsigned char>(image[3]), crc >> 24);
    }
}

}
