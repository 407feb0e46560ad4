// Reading and editing name=value entries of an environment image in memory.

#include "bootenv_test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace bootenvtest;

class BootenvBuffer : public ::testing::TestWithParam<Layout> {
protected:
    void SetUp() override { useLayout(GetParam()); }
    Layout layout() const { return GetParam(); }
    int start() const { return dataOffset(GetParam()); }
    std::vector<std::string> entries(const std::vector<char>& image) const
    {
        return entriesOf(image.data(), layout());
    }
};

INSTANTIATE_TEST_SUITE_P(BothLayouts, BootenvBuffer, ::testing::Values(Layout::Single, Layout::Redundant),
    [](const ::testing::TestParamInfo<Layout>& info) {
        return info.param == Layout::Single ? std::string("Single") : std::string("Redundant");
    });

TEST_P(BootenvBuffer, GetCopiesTheValueWithoutTerminatorAndReportsItsLength)
{
    std::vector<char> image = makeImage(layout(), { "bootdelay=1", "camera_chip=ccir656", "x=" });
    char value[50];
    std::memset(value, '#', sizeof value);
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("camera_chip", value, image.data(), &len), 0);
    EXPECT_EQ(len, 7);
    EXPECT_EQ(std::string(value, 7), "ccir656");
    EXPECT_EQ(value[7], '#');
}

TEST_P(BootenvBuffer, GetFindsTheFirstAndTheLastEntryAndAnEmptyValue)
{
    std::vector<char> image = makeImage(layout(), { "a=first", "b=2", "z=last", "e=" });
    char value[50] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("a", value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, static_cast<size_t>(len)), "first");
    len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("z", value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, static_cast<size_t>(len)), "last");
    len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("e", value, image.data(), &len), 0);
    EXPECT_EQ(len, 0);
}

TEST_P(BootenvBuffer, AValueKeepsEverythingAfterTheFirstEqualsSign)
{
    std::vector<char> image = makeImage(layout(), { "camera_up=10=ff,14|~01" });
    char value[50] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("camera_up", value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, static_cast<size_t>(len)), "10=ff,14|~01");
}

TEST_P(BootenvBuffer, GetOfAMissingNameReturnsMinusOneAndLeavesTheLength)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "b=2" });
    char value[8] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("c", value, image.data(), &len), -1);
    EXPECT_EQ(len, 8);
}

TEST_P(BootenvBuffer, NamesMatchExactlyNotByPrefixOrCase)
{
    std::vector<char> image = makeImage(layout(), { "camera_chip_x=1", "Camera_chip=2", "camera=3" });
    char value[8] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("camera_chip", value, image.data(), &len), -1);
    len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("camera", value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, static_cast<size_t>(len)), "3");
}

TEST_P(BootenvBuffer, ANullNameIsRefused)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    char value[8] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer(nullptr, value, image.data(), &len), -1);
    EXPECT_EQ(env_set_in_buffer(nullptr, "1", image.data()), -1);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "a=1" }));
}

TEST_P(BootenvBuffer, ASmallCapacityGetsThePartThatFitsMinusOneAndTheFullLength)
{
    std::vector<char> image = makeImage(layout(), { "camera_chip=ccir656" });
    char value[8];
    std::memset(value, '#', sizeof value);
    int len = 4;
    EXPECT_EQ(env_get_from_buffer("camera_chip", value, image.data(), &len), -1);
    EXPECT_EQ(len, 7);
    // The copy is made before the capacity is looked at, up to the capacity.
    EXPECT_EQ(std::string(value, 4), "ccir");
    EXPECT_EQ(value[4], '#');
}

TEST_P(BootenvBuffer, ACapacityEqualToTheLengthSucceeds)
{
    std::vector<char> image = makeImage(layout(), { "k=abc" });
    char value[3];
    int len = 3;
    EXPECT_EQ(env_get_from_buffer("k", value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, 3), "abc");
}

TEST_P(BootenvBuffer, AnEntryWithoutEqualsSignIsNoVariable)
{
    std::vector<char> image = makeImage(layout(), { "flagonly", "b=2" });
    char value[8] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("flagonly", value, image.data(), &len), -1);
}

TEST_P(BootenvBuffer, TheScanStopsAtTheEmptyStringThatEndsTheList)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    // An entry after the end of the list is padding, not a variable.
    const char stale[] = "ghost=1";
    std::memcpy(image.data() + start() + 10, stale, sizeof stale);
    char value[8] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("ghost", value, image.data(), &len), -1);
}

TEST_P(BootenvBuffer, SettingANewNameAppendsItAtTheEnd)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "b=2" });
    EXPECT_EQ(env_set_in_buffer("c", "3", image.data()), 0);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "a=1", "b=2", "c=3" }));
    EXPECT_EQ(image[static_cast<size_t>(start() + 12)], 0);
}

TEST_P(BootenvBuffer, SettingAnExistingNameMovesItToTheEndWithTheNewValue)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "b=2", "c=3" });
    EXPECT_EQ(env_set_in_buffer("a", "one", image.data()), 0);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "b=2", "c=3", "a=one" }));
    EXPECT_EQ(env_set_in_buffer("c", "", image.data()), 0);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "b=2", "a=one", "c=" }));
}

TEST_P(BootenvBuffer, DeletingRemovesTheEntryAndClosesTheGap)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "bb=22", "c=3" });
    EXPECT_EQ(env_set_in_buffer("bb", nullptr, image.data()), 0);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "a=1", "c=3" }));
    EXPECT_EQ(env_data_length(image.data()), 8);
    // The freed bytes at the end of the image are zeros.
    for (int i = ENV_IMAGE_SIZE - 6; i < ENV_IMAGE_SIZE; ++i)
        EXPECT_EQ(image[static_cast<size_t>(i)], 0);
}

TEST_P(BootenvBuffer, DeletingTheOnlyEntryLeavesAnEmptyListThatTakesNewEntries)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    EXPECT_EQ(env_set_in_buffer("a", nullptr, image.data()), 0);
    EXPECT_TRUE(entries(image).empty());
    EXPECT_EQ(env_data_length(image.data()), 0);
    EXPECT_EQ(env_set_in_buffer("n", "v", image.data()), 0);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "n=v" }));
}

TEST_P(BootenvBuffer, DeletingAMissingNameReturnsMinusOne)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    const std::vector<char> before = image;
    EXPECT_EQ(env_set_in_buffer("b", nullptr, image.data()), -1);
    EXPECT_EQ(image, before);
}

TEST_P(BootenvBuffer, AnEntryThatDoesNotFitReturnsTwoAndLeavesTheImageWithinBounds)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    // name, '=', value and two 0 bytes must fit before the image ends.
    const int room = ENV_IMAGE_SIZE - (start() + 4);
    const std::string exact(static_cast<size_t>(room - 2 - 2), 'v');
    std::vector<char> copy = image;
    EXPECT_EQ(env_set_in_buffer("n", exact.c_str(), copy.data()), 0);
    EXPECT_EQ(copy[ENV_IMAGE_SIZE - 1], 0);
    EXPECT_EQ(copy[ENV_IMAGE_SIZE - 2], 0);
    const std::string tooLong(static_cast<size_t>(room - 2 - 1), 'v');
    EXPECT_EQ(env_set_in_buffer("n", tooLong.c_str(), image.data()), 2);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "a=1" }));
}

TEST_P(BootenvBuffer, AnUpdateThatDoesNotFitLosesTheOldEntryAndReturnsTwo)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "b=2" });
    const std::string tooLong(ENV_IMAGE_SIZE, 'v');
    EXPECT_EQ(env_set_in_buffer("a", tooLong.c_str(), image.data()), 2);
    EXPECT_EQ(entries(image), (std::vector<std::string> { "b=2" }));
}

TEST_P(BootenvBuffer, AListWithoutEndCannotBeEditedAndNothingIsWrittenPastTheImage)
{
    // A data area full of one entry with no 0 byte: no end of the list.
    std::vector<char> image(ENV_IMAGE_SIZE, 'x');
    image[static_cast<size_t>(start() + 1)] = '=';
    EXPECT_EQ(env_data_length(image.data()), -1);
    EXPECT_EQ(env_find_next_pos(start(), image.data()), 0);
    EXPECT_EQ(env_set_in_buffer("new", "1", image.data()), 2);
    // The unterminated entry is named "x" and cannot be removed.
    EXPECT_EQ(env_set_in_buffer("x", "1", image.data()), 1);
    EXPECT_EQ(env_set_in_buffer("x", nullptr, image.data()), 1);
    char value[16] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer("x", value, image.data(), &len), -1);
    EXPECT_EQ(len, ENV_IMAGE_SIZE - start() - 2);
    EXPECT_EQ(std::string(value, sizeof value), std::string(16, 'x'));
}

TEST_P(BootenvBuffer, FindNextPosReturnsTheIndexAfterTheEntrysZero)
{
    std::vector<char> image = makeImage(layout(), { "a=1", "bb=22" });
    EXPECT_EQ(env_find_next_pos(start(), image.data()), start() + 4);
    EXPECT_EQ(env_find_next_pos(start() + 4, image.data()), start() + 10);
    EXPECT_EQ(env_find_next_pos(start() + 2, image.data()), start() + 4);
}

TEST_P(BootenvBuffer, FindNextPosLooksForTheZeroOnlyBeforeIndex65535)
{
    std::vector<char> image(ENV_IMAGE_SIZE, 'x');
    image[ENV_IMAGE_SIZE - 2] = 0;
    EXPECT_EQ(env_find_next_pos(100, image.data()), ENV_IMAGE_SIZE - 1);
    image[ENV_IMAGE_SIZE - 2] = 'x';
    image[ENV_IMAGE_SIZE - 1] = 0;
    EXPECT_EQ(env_find_next_pos(100, image.data()), 0);
    EXPECT_EQ(env_find_next_pos(ENV_IMAGE_SIZE, image.data()), 0);
    EXPECT_EQ(env_find_next_pos(-1, image.data()), 0);
}

TEST_P(BootenvBuffer, FindParaPosReturnsTheIndexAfterTheEqualsSignOrZero)
{
    std::vector<char> image = makeImage(layout(), { "ab=1", "noequals", "c=" });
    EXPECT_EQ(env_find_para_pos(start(), image.data()), start() + 3);
    EXPECT_EQ(env_find_para_pos(start() + 5, image.data()), 0);
    EXPECT_EQ(env_find_para_pos(start() + 14, image.data()), start() + 16);
    EXPECT_EQ(env_find_para_pos(ENV_IMAGE_SIZE, image.data()), 0);
    std::vector<char> full(ENV_IMAGE_SIZE, 'x');
    EXPECT_EQ(env_find_para_pos(10, full.data()), 0);
}

TEST_P(BootenvBuffer, CmpNameMatchesTheExactNameAndKeepsItInTestName)
{
    std::vector<char> image = makeImage(layout(), { "camera_chip=ccir656" });
    EXPECT_EQ(env_cmp_name(start(), image.data(), "camera_chip"), 0);
    EXPECT_STREQ(test_name, "camera_chip");
    EXPECT_EQ(env_cmp_name(start(), image.data(), "camera"), -1);
    EXPECT_EQ(env_cmp_name(start(), image.data(), "camera_chip2"), -1);
    EXPECT_STREQ(test_name, "camera_chip");
}

TEST_P(BootenvBuffer, ALongEntryNameIsCutInTestNameButComparedWhole)
{
    const std::string longName(70, 'n');
    const std::string prefix(49, 'n');
    std::vector<char> image = makeImage(layout(), { longName + "=1" });
    EXPECT_EQ(env_cmp_name(start(), image.data(), prefix.c_str()), -1);
    EXPECT_EQ(std::string(test_name), prefix);
    EXPECT_EQ(env_cmp_name(start(), image.data(), longName.c_str()), 0);
    char value[4] = {};
    int len = sizeof value;
    EXPECT_EQ(env_get_from_buffer(longName.c_str(), value, image.data(), &len), 0);
    EXPECT_EQ(std::string(value, 1), "1");
}

TEST_P(BootenvBuffer, DataLengthCountsUpToTheListsEnd)
{
    EXPECT_EQ(env_data_length(makeImage(layout(), { "a=1", "bb=22" }).data()), 10);
    EXPECT_EQ(env_data_length(makeImage(layout(), {}).data()), 0);
}

TEST_P(BootenvBuffer, AppendWritesTheEntryAndTwoZerosWhereTheListEnds)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    std::memset(image.data() + start() + 5, 'p', 20); // padding that is not zero
    EXPECT_EQ(env_append_entry("b", "2", image.data()), 0);
    EXPECT_EQ(std::string(image.data() + start(), 10), std::string("a=1\0b=2\0\0p", 10));
}

TEST_P(BootenvBuffer, DeleteEntryRefusesTheHeaderAndPositionsOutsideTheImage)
{
    std::vector<char> image = makeImage(layout(), { "a=1" });
    const std::vector<char> before = image;
    EXPECT_EQ(env_delete_entry(0, image.data()), -1);
    EXPECT_EQ(env_delete_entry(ENV_IMAGE_SIZE, image.data()), -1);
    EXPECT_EQ(image, before);
}

TEST(BootenvDumpBuf, PrintsOffsetsHexAndText)
{
    testing::internal::CaptureStdout();
    dump_buf("ab\0c", 4);
    dump_buf(nullptr, 4);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("0000: 61 62 00 63"), std::string::npos) << out;
    EXPECT_NE(out.find("ab.c"), std::string::npos) << out;
}

}
