// The growable string the converters build their results in.

#include "charset_test_support.h"

#include "platform/xstring.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace {

using charsettest::HeapString;

TEST(XString, ANewStringIsEmptyWithoutABuffer)
{
    xString s;
    EXPECT_EQ(s.length(), 0);
    EXPECT_EQ(s.capacity(), 0);
    EXPECT_EQ(s.str(), nullptr);
}

TEST(XString, ReservingNothingAllocatesNothing)
{
    xString s;
    EXPECT_EQ(s.reserve(0), 0);
    EXPECT_EQ(s.reserve(-5), 0);
    EXPECT_EQ(s.str(), nullptr);
    EXPECT_EQ(s.capacity(), 0);
}

TEST(XString, SmallReservationsRoundUpToMultiplesOfEightLessOne)
{
    const struct {
        int n;
        int capacity;
    } cases[] = { { 1, 7 }, { 7, 7 }, { 8, 15 }, { 15, 15 }, { 16, 23 }, { 32, 39 } };
    for (const auto& c : cases) {
        xString s;
        ASSERT_EQ(s.reserve(c.n), 0);
        HeapString buf(s.str());
        EXPECT_EQ(s.capacity(), c.capacity) << c.n;
        EXPECT_GE(s.capacity(), c.n);
        EXPECT_EQ(buf.get()[0], '\0') << "a 0 byte is stored at the length";
    }
}

TEST(XString, ReservationsAbove32GrowByHalfBeforeRounding)
{
    const struct {
        int n;
        int capacity;
    } cases[] = { { 33, 55 }, { 34, 55 }, { 100, 151 }, { 1000, 1503 } };
    for (const auto& c : cases) {
        xString s;
        ASSERT_EQ(s.reserve(c.n), 0);
        HeapString buf(s.str());
        EXPECT_EQ(s.capacity(), c.capacity) << c.n;
    }
}

TEST(XString, ReservingNoMoreThanTheCapacityKeepsTheBuffer)
{
    xString s;
    ASSERT_EQ(s.reserve(20), 0);
    char* before = s.str();
    EXPECT_EQ(s.reserve(23), 0);
    EXPECT_EQ(s.reserve(1), 0);
    EXPECT_EQ(s.str(), before);
    EXPECT_EQ(s.capacity(), 23);
    std::free(s.str());
}

TEST(XString, AReservationThatCannotBeMetFailsAndLeavesTheStringUnchanged)
{
    xString s;
    ASSERT_EQ(s.append("abc"), 0);
    char* before = s.str();
    const int capacity = s.capacity();
    EXPECT_EQ(s.reserve(INT_MAX), -1);
    EXPECT_EQ(s.str(), before);
    EXPECT_EQ(s.length(), 3);
    EXPECT_EQ(s.capacity(), capacity);
    EXPECT_STREQ(s.str(), "abc");
    std::free(s.str());
}

TEST(XString, AppendWithMinusOneTakesTheWholeZeroTerminatedString)
{
    xString s;
    ASSERT_EQ(s.append("hello", -1), 0);
    HeapString buf(s.str());
    EXPECT_EQ(s.length(), 5);
    EXPECT_STREQ(buf.get(), "hello");
}

TEST(XString, AppendTakesExactlyNBytesEvenPastAZeroByte)
{
    xString s;
    ASSERT_EQ(s.append("ab\0cd", 5), 0);
    HeapString buf(s.str());
    EXPECT_EQ(s.length(), 5);
    EXPECT_EQ(std::string(buf.get(), 6), std::string("ab\0cd\0", 6));
}

TEST(XString, AppendingNothingToANewStringLeavesItWithoutABuffer)
{
    xString s;
    EXPECT_EQ(s.append("", -1), 0);
    EXPECT_EQ(s.append("abc", 0), 0);
    EXPECT_EQ(s.str(), nullptr);
    EXPECT_EQ(s.length(), 0);
}

TEST(XString, ManyAppendsGrowTheBufferAndKeepItZeroTerminated)
{
    xString s;
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        const char c = static_cast<char>('a' + i % 26);
        ASSERT_EQ(s += c, 0);
        expected += c;
        ASSERT_GE(s.capacity(), s.length());
        ASSERT_EQ(s.str()[s.length()], '\0');
    }
    HeapString buf(s.str());
    EXPECT_EQ(std::string(buf.get()), expected);
}

TEST(XString, AnAppendThatCannotBeReservedFailsAndLeavesTheStringUnchanged)
{
    xString s;
    ASSERT_EQ(s.append("abc"), 0);
    // The reservation is refused before any byte of the source is read.
    EXPECT_EQ(s.append("x", INT_MAX), -1);
    EXPECT_EQ(s.append("x", INT_MAX - 2), -1);
    HeapString buf(s.str());
    EXPECT_EQ(s.length(), 3);
    EXPECT_STREQ(buf.get(), "abc");
}

TEST(XString, NegativeLengthsOtherThanMinusOneAreRefused)
{
    xString s;
    EXPECT_EQ(s.append("abc", -2), -1);
    EXPECT_EQ(s.str(), nullptr);
}

TEST(XString, StrHandsTheBufferToTheCallerWhoFreesIt)
{
    HeapString owned;
    {
        xString s;
        ASSERT_EQ(s.append("kept"), 0);
        owned.reset(s.str());
    }
    // The string has gone out of scope without releasing its buffer.
    EXPECT_STREQ(owned.get(), "kept");
}

} // namespace
