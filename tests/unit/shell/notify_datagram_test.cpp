#include "shell/notify_datagram.h"
#include "shell/notify_protocol.h"

#include <gtest/gtest.h>

#include <string>

namespace {

NotifyDatagram parse(const std::string& bytes)
{
    return parseNotifyDatagram(bytes.data(), bytes.size());
}

}

TEST(NotifyDatagram, ProgressCarriesItsValueAndNoText)
{
    const NotifyDatagram d = parse("3@75");
    EXPECT_TRUE(d.hasSeparator);
    EXPECT_EQ(d.type, PEL_NOTIFY_PROGRESS);
    EXPECT_EQ(d.value, 75);
    EXPECT_FALSE(d.passesPayload);
}

TEST(NotifyDatagram, TextTypesCarryThePayloadAndValueZero)
{
    const NotifyDatagram d = parse("5@Copying files");
    EXPECT_TRUE(d.hasSeparator);
    EXPECT_EQ(d.type, PEL_NOTIFY_STATUS);
    EXPECT_EQ(d.value, 0);
    EXPECT_TRUE(d.passesPayload);
    EXPECT_EQ(d.payload, "Copying files");
}

TEST(NotifyDatagram, WithoutSeparatorItIsRefused)
{
    const NotifyDatagram d = parse("hello");
    EXPECT_FALSE(d.hasSeparator);
    EXPECT_FALSE(d.passesPayload);
}

TEST(NotifyDatagram, AnEmptyTypeIsTypeZeroWithItsText)
{
    const NotifyDatagram d = parse("@x");
    EXPECT_TRUE(d.hasSeparator);
    EXPECT_EQ(d.type, 0);
    EXPECT_TRUE(d.passesPayload);
    EXPECT_EQ(d.payload, "x");
}

TEST(NotifyDatagram, AnEmptyPayloadIsAnEmptyText)
{
    const NotifyDatagram d = parse("4@");
    EXPECT_EQ(d.type, PEL_NOTIFY_DONE);
    EXPECT_TRUE(d.passesPayload);
    EXPECT_EQ(d.payload, "");
}

TEST(NotifyDatagram, OnlyTheFirstSeparatorSplits)
{
    const NotifyDatagram d = parse("2@Title @ home");
    EXPECT_EQ(d.type, PEL_NOTIFY_TITLE);
    EXPECT_EQ(d.payload, "Title @ home");
}

TEST(NotifyDatagram, NumbersAreReadAsAtoiReadsThem)
{
    EXPECT_EQ(parse("3@-5").value, -5);
    EXPECT_EQ(parse("3@150%").value, 150);
    EXPECT_EQ(parse("3@abc").value, 0);
    EXPECT_EQ(parse("3@  42").value, 42);
    EXPECT_EQ(parse(" 1@x").type, 1);
    EXPECT_EQ(parse("1x@x").type, 1);
    EXPECT_EQ(parse("x1@x").type, 0);
    EXPECT_EQ(parse("-2@x").type, -2);
}

TEST(NotifyDatagram, ATypeIsCutToNineCharacters)
{
    EXPECT_EQ(parse("000000000000000000000000000003@x").type, 0);
    EXPECT_EQ(parse("12345678901234@y").type, 123456789);
    // Cut to nine, "000000003" is type 3 and carries a value.
    const NotifyDatagram d = parse("000000003@7");
    EXPECT_EQ(d.type, 3);
    EXPECT_EQ(d.value, 7);
    EXPECT_FALSE(d.passesPayload);
}

TEST(NotifyDatagram, TheTextEndsAtTheFirstNul)
{
    const std::string inPayload("5@ab\0cd", 7);
    EXPECT_EQ(parse(inPayload).payload, "ab");
    const std::string beforeSeparator("12\0@x", 5);
    EXPECT_FALSE(parse(beforeSeparator).hasSeparator);
    const std::string first("\0"
                            "1@x",
        4);
    EXPECT_FALSE(parse(first).hasSeparator);
    const std::string inType("1\0"
                             "2@x",
        5);
    EXPECT_FALSE(parse(inType).hasSeparator);
}

TEST(NotifyDatagram, AFull1024ByteDatagramWithoutTerminatorIsReadWhole)
{
    const std::string big = "1@" + std::string(1022, 'a');
    ASSERT_EQ(big.size(), static_cast<size_t>(PEL_NOTIFY_MAX_DATAGRAM));
    const NotifyDatagram d = parse(big);
    EXPECT_EQ(d.type, 1);
    EXPECT_EQ(d.payload, std::string(1022, 'a'));
}

TEST(NotifyDatagram, BytesBeyond1024AreNotRead)
{
    const NotifyDatagram d = parse("1@" + std::string(2000, 'b') + "@z");
    EXPECT_EQ(d.payload, std::string(1022, 'b'));
    // A separator only after the first 1024 bytes does not count.
    EXPECT_FALSE(parse(std::string(1024, '7') + "@x").hasSeparator);
}

TEST(NotifyDatagram, HostileBytesAreTakenAsText)
{
    std::string bytes = "1@";
    for (int c = 1; c < 256; ++c)
        bytes += static_cast<char>(c);
    const NotifyDatagram d = parse(bytes);
    EXPECT_EQ(d.type, 1);
    EXPECT_EQ(d.payload, bytes.substr(2));
}

TEST(NotifyDatagram, NothingAtAllIsRefused)
{
    EXPECT_FALSE(parseNotifyDatagram(nullptr, 0).hasSeparator);
    EXPECT_FALSE(parseNotifyDatagram("", 0).hasSeparator);
    EXPECT_FALSE(parseNotifyDatagram(nullptr, 10).hasSeparator);
}
