// One-character UTF-8 decoding and encoding.

#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Step {
    bool end;
    unsigned value;
    long advance;
};

Step decodeAt(const std::string& text, size_t offset = 0)
{
    unsigned short value = 0x1234;
    const char* p = text.c_str() + offset;
    const char* next = decodeUtf8Char(p, &value);
    if (!next)
        return { true, 0, 0 };
    return { false, value, next - p };
}

std::string encode(unsigned short code, int* n = nullptr)
{
    char out[4];
    std::memset(out, 'x', sizeof out);
    const int len = encodeUtf8Char(code, out);
    if (n)
        *n = len;
    EXPECT_EQ(out[len], '\0') << "a 0 byte follows the encoding";
    return std::string(out, static_cast<size_t>(len));
}

TEST(Utf8Decode, TheTerminatingZeroByteEndsTheText)
{
    EXPECT_TRUE(decodeAt("").end);
}

TEST(Utf8Decode, AsciiBytesAreOneByteCharacters)
{
    const Step first = decodeAt("\x01");
    EXPECT_EQ(first.value, 0x01u);
    EXPECT_EQ(first.advance, 1);
    const Step last = decodeAt("\x7F");
    EXPECT_EQ(last.value, 0x7Fu);
    EXPECT_EQ(last.advance, 1);
}

TEST(Utf8Decode, TwoByteSequencesDecodeInTheUsualWay)
{
    const Step s = decodeAt("\xC3\xA9"); // U+00E9
    EXPECT_EQ(s.value, 0xE9u);
    EXPECT_EQ(s.advance, 2);
    EXPECT_EQ(decodeAt("\xDF\xBF").value, 0x7FFu);
}

TEST(Utf8Decode, OverlongTwoByteFormsAreNotRejected)
{
    const Step s = decodeAt("\xC0\x80");
    EXPECT_FALSE(s.end);
    EXPECT_EQ(s.value, 0u);
    EXPECT_EQ(s.advance, 2);
}

TEST(Utf8Decode, ThreeByteSequencesKeepOnlyTheLowFourBitsOfTheFirstByte)
{
    const Step s = decodeAt("\xE4\xB8\x82"); // U+4E02
    EXPECT_EQ(s.value, 0x4E02u);
    EXPECT_EQ(s.advance, 3);
    EXPECT_EQ(decodeAt("\xEF\xBF\xBF").value, 0xFFFFu);
}

TEST(Utf8Decode, AByteOrderMarkDecodesToFeffLikeNoCharacter)
{
    const Step s = decodeAt("\xEF\xBB\xBF");
    EXPECT_EQ(s.value, 0xFEFFu);
    EXPECT_EQ(s.advance, 3);
}

TEST(Utf8Decode, FourFiveAndSixByteSequencesDecodeToFeffAndAreSkippedWhole)
{
    const Step four = decodeAt("\xF0\x9F\x98\x80z");
    EXPECT_EQ(four.value, 0xFEFFu);
    EXPECT_EQ(four.advance, 4);
    const Step five = decodeAt("\xF8\x88\x80\x80\x80z");
    EXPECT_EQ(five.value, 0xFEFFu);
    EXPECT_EQ(five.advance, 5);
    const Step six = decodeAt("\xFC\x84\x80\x80\x80\x80z");
    EXPECT_EQ(six.value, 0xFEFFu);
    EXPECT_EQ(six.advance, 6);
    EXPECT_EQ(decodeAt("\xF7\xBF\xBF\xBF").advance, 4);
    EXPECT_EQ(decodeAt("\xFB\xBF\xBF\xBF\xBF").advance, 5);
    EXPECT_EQ(decodeAt("\xFD\xBF\xBF\xBF\xBF\xBF").advance, 6);
}

TEST(Utf8Decode, AStrayContinuationByteIsInvalidAndAdvancesOneByte)
{
    for (unsigned b = 0x80; b <= 0xBF; ++b) {
        const Step s = decodeAt(std::string(1, static_cast<char>(b)) + "\x80\x80");
        EXPECT_EQ(s.value, 0xFEFFu) << std::hex << b;
        EXPECT_EQ(s.advance, 1) << std::hex << b;
    }
}

TEST(Utf8Decode, BytesFeAndFfAreInvalidAndAdvanceOneByte)
{
    for (const char* text : { "\xFE\x80\x80\x80\x80\x80\x80", "\xFF\x80\x80\x80\x80\x80\x80" }) {
        const Step s = decodeAt(text);
        EXPECT_EQ(s.value, 0xFEFFu);
        EXPECT_EQ(s.advance, 1);
    }
}

TEST(Utf8Decode, ALeadByteWithoutItsContinuationBytesIsInvalidAndAdvancesOneByte)
{
    const Step bad = decodeAt("\xE4\xB8z");
    EXPECT_EQ(bad.value, 0xFEFFu);
    EXPECT_EQ(bad.advance, 1);
    const Step truncatedAtEnd = decodeAt("\xC3");
    EXPECT_EQ(truncatedAtEnd.value, 0xFEFFu);
    EXPECT_EQ(truncatedAtEnd.advance, 1);
    const Step fourCut = decodeAt("\xF0\x9F\x98");
    EXPECT_EQ(fourCut.value, 0xFEFFu);
    EXPECT_EQ(fourCut.advance, 1);
}

TEST(Utf8Decode, EveryLeadByteClassAnnouncesItsLength)
{
    const struct {
        unsigned first;
        long length;
    } classes[] = { { 0x41, 1 }, { 0xC0, 2 }, { 0xDF, 2 }, { 0xE0, 3 }, { 0xEF, 3 }, { 0xF0, 4 }, { 0xF7, 4 },
        { 0xF8, 5 }, { 0xFB, 5 }, { 0xFC, 6 }, { 0xFD, 6 } };
    for (const auto& c : classes) {
        const std::string text = std::string(1, static_cast<char>(c.first)) + std::string(5, '\x80');
        EXPECT_EQ(decodeAt(text).advance, c.length) << std::hex << c.first;
    }
}

TEST(Utf8Encode, CodePointsBelow80AreOneByte)
{
    int n = 0;
    EXPECT_EQ(encode(0x41, &n), "A");
    EXPECT_EQ(n, 1);
    EXPECT_EQ(encode(0x7F), "\x7F");
}

TEST(Utf8Encode, CodePointsBelow800AreTwoBytes)
{
    int n = 0;
    EXPECT_EQ(encode(0x80, &n), "\xC2\x80");
    EXPECT_EQ(n, 2);
    EXPECT_EQ(encode(0xE9), "\xC3\xA9");
    EXPECT_EQ(encode(0x7FF), "\xDF\xBF");
}

TEST(Utf8Encode, HigherCodePointsAreThreeBytes)
{
    int n = 0;
    EXPECT_EQ(encode(0x800, &n), "\xE0\xA0\x80");
    EXPECT_EQ(n, 3);
    EXPECT_EQ(encode(0x4E02), "\xE4\xB8\x82");
    EXPECT_EQ(encode(0xFFFF), "\xEF\xBF\xBF");
}

TEST(Utf8Encode, EveryCodePointDecodesBackToItself)
{
    for (unsigned cp = 1; cp <= 0xFFFF; ++cp) {
        char out[4];
        const int n = encodeUtf8Char(static_cast<unsigned short>(cp), out);
        unsigned short back = 0;
        const char* next = decodeUtf8Char(out, &back);
        ASSERT_NE(next, nullptr);
        ASSERT_EQ(back, cp);
        ASSERT_EQ(next - out, n);
    }
}

} // namespace
