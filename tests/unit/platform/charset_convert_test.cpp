// str2utf8, utf82str and judgeCharset.

#include "charset_test_support.h"

#include "platform/charset.h"
#include "platform/codepage.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using charsettest::codeBytes;
using charsettest::Converted;
using charsettest::fromUtf8;
using charsettest::HeapString;
using charsettest::toUtf8;
using charsettest::utf8Of;

TEST(Str2Utf8, AnEmptyInputReturnsNullWithLengthZero)
{
    for (unsigned short charset : { CHARSET_GBK, CHARSET_BIG5 }) {
        int length = 0;
        char* out = str2utf8("", &length, charset);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(length, 0);
        std::free(out);
    }
}

TEST(Str2Utf8, GbkPair8140BecomesU4E02AsThreeBytes)
{
    const Converted c = toUtf8("\x81\x40", CHARSET_GBK);
    ASSERT_NE(c.text, nullptr);
    EXPECT_EQ(c.length, 3);
    EXPECT_EQ(c.bytes(), "\xE4\xB8\x82");
    EXPECT_EQ(c.text.get()[3], '\0');
}

TEST(Str2Utf8, GbkSpotChecksConvertToTheirCodePoints)
{
    EXPECT_EQ(toUtf8("\xB0\xA1", CHARSET_GBK).bytes(), utf8Of(0x554A));
    EXPECT_EQ(toUtf8("\xA1\xA1", CHARSET_GBK).bytes(), utf8Of(0x3000));
    EXPECT_EQ(toUtf8("\xA1\xA1", CHARSET_GBK).bytes(), "\xE3\x80\x80");
}

TEST(Str2Utf8, AsciiBytesAreCopiedAsTheyAre)
{
    const Converted c = toUtf8("Wifi 1.0\t~", CHARSET_GBK);
    EXPECT_EQ(c.bytes(), "Wifi 1.0\t~");
    EXPECT_EQ(c.length, 10);
}

TEST(Str2Utf8, AGbkPairMissingFromTheTableBecomesAQuestionMark)
{
    MapTable2List();
    ASSERT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, 0xAAA1), 0xFEFF);
    const Converted c = toUtf8("x\xAA\xA1y", CHARSET_GBK);
    EXPECT_EQ(c.bytes(), "x?y");
    EXPECT_EQ(c.length, 3);
}

TEST(Str2Utf8, AnyHighByteStartsAPairEvenOutsideGbkLeadBytes)
{
    EXPECT_EQ(toUtf8("\x80Z\xFF\xFFY", CHARSET_GBK).bytes(), "??Y");
}

TEST(Str2Utf8, ALeadByteAtTheLastPositionTakesTheTerminatingZeroAsPartner)
{
    // 0xB0 0x00 is no GBK code, so the lone lead byte becomes "?"; the walk
    // then stands past the terminator and stops.
    const Converted c = toUtf8("ab\xB0", CHARSET_GBK);
    EXPECT_EQ(c.bytes(), "ab?");
    EXPECT_EQ(c.length, 3);
}

TEST(Str2Utf8, ALeadByteAtTheLastPositionReadsTheByteAfterTheLength)
{
    // The end test is made before the pair is read: with a length of 1 the
    // byte after it still completes the pair 0xB0 0xA1.
    int length = 1;
    HeapString out(str2utf8("\xB0\xA1zz", &length, CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(std::string(out.get(), static_cast<size_t>(length)), utf8Of(0x554A));
    EXPECT_EQ(length, 3);
}

TEST(Str2Utf8, TheWalkStopsAtTheLengthEvenWithoutAZeroByte)
{
    int length = 3;
    HeapString out(str2utf8("abcdef", &length, CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out.get(), "abc");
    EXPECT_EQ(length, 3);
}

TEST(Str2Utf8, TheWalkStopsAtAZeroByteInsideTheLength)
{
    int length = 6;
    HeapString out(str2utf8("ab\0cde", &length, CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out.get(), "ab");
    EXPECT_EQ(length, 2);
}

TEST(Str2Utf8, AZeroTrailByteInsideTheLengthIsSkippedWithItsPair)
{
    int length = 4;
    HeapString out(str2utf8("\xB0\0cd", &length, CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out.get(), "?cd");
    EXPECT_EQ(length, 3);
}

TEST(Str2Utf8, Charset3InputConvertsThroughTheBig5Table)
{
    EXPECT_EQ(toUtf8("\xA4\x40", CHARSET_BIG5).bytes(), utf8Of(0x4E00));
    EXPECT_EQ(toUtf8("\xA4\x40", CHARSET_BIG5).bytes(), "\xE4\xB8\x80");
    EXPECT_EQ(toUtf8("\xA3\xE1", CHARSET_BIG5).bytes(), "\xE2\x82\xAC"); // the euro sign
    EXPECT_EQ(toUtf8("\xF9\xF9", CHARSET_BIG5).bytes(), "\xE2\x95\x90"); // U+2550
    // The same bytes read as GBK give another character.
    EXPECT_EQ(toUtf8("\xA4\x40", CHARSET_GBK).bytes(), "?");
}

TEST(Str2Utf8, Big5CodesOfTheLeftOutBlockBecomeQuestionMarks)
{
    EXPECT_EQ(toUtf8("\xC6\xA1\xC8\xFE", CHARSET_BIG5).bytes(), "??");
}

TEST(Str2Utf8, Charset1InputIsCopiedUnchangedWithLengthKept)
{
    const std::string in("a\xB0\xA1\0z\xFF", 6);
    int length = 6;
    HeapString out(str2utf8(in.data(), &length, CHARSET_UNICODE));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(length, 6);
    EXPECT_EQ(std::string(out.get(), 7), in + std::string(1, '\0'));
}

TEST(Str2Utf8, Charset1WithLengthZeroGivesAnEmptyString)
{
    int length = 0;
    HeapString out(str2utf8("abc", &length, CHARSET_UNICODE));
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out.get(), "");
    EXPECT_EQ(length, 0);
}

TEST(Str2Utf8, AnUnknownCharsetTurnsEveryPairIntoAQuestionMark)
{
    EXPECT_EQ(toUtf8("x\xB0\xA1y", 7).bytes(), "x?y");
}

TEST(Str2Utf8, AReservationTooLargeForMemoryReturnsNull)
{
    // (INT_MAX / 2) * 3 bytes cannot be had; nothing of the text is read.
    int length = INT_MAX;
    EXPECT_EQ(str2utf8("abc", &length, CHARSET_GBK), nullptr);
}

TEST(Str2Utf8, NullArgumentsAreRefused)
{
    int length = 3;
    EXPECT_EQ(str2utf8(nullptr, &length, CHARSET_GBK), nullptr);
    EXPECT_EQ(str2utf8(nullptr, &length, CHARSET_UNICODE), nullptr);
    EXPECT_EQ(str2utf8("abc", nullptr, CHARSET_GBK), nullptr);
}

TEST(Str2Utf8, ANegativeLengthConvertsNothing)
{
    int length = -4;
    EXPECT_EQ(str2utf8("abc", &length, CHARSET_GBK), nullptr);
    EXPECT_EQ(length, 0);
    length = -4;
    EXPECT_EQ(str2utf8("abc", &length, CHARSET_UNICODE), nullptr);
}

TEST(Str2Utf8, ResultsLongerThanTheReservationGrowAsNeeded)
{
    // One ASCII byte: nothing is reserved ((1 / 2) * 3 = 0), yet it arrives.
    EXPECT_EQ(toUtf8("A", CHARSET_GBK).bytes(), "A");
    const std::string ascii(5000, 'q');
    const Converted c = toUtf8(ascii, CHARSET_GBK);
    EXPECT_EQ(c.bytes(), ascii);
    EXPECT_EQ(c.length, 5000);
}

TEST(Str2Utf8, EveryGbkTableEntryRoundTripsThroughUtf8)
{
    const unsigned int count = readLe32(s_pGbkToUcs2Map + 8);
    ASSERT_EQ(count, 21791u);
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned char* pair = s_pGbkToUcs2Map + CODEPAGE_HEADER_BYTES + i * CODEPAGE_PAIR_BYTES;
        const unsigned short code = readLe16(pair);
        const unsigned short unicode = readLe16(pair + 2);
        const std::string gbk = codeBytes(code);

        const Converted utf8 = toUtf8(gbk, CHARSET_GBK);
        ASSERT_EQ(utf8.bytes(), utf8Of(unicode)) << std::hex << code;
        ASSERT_EQ(fromUtf8(utf8.bytes(), CHARSET_GBK), gbk) << std::hex << code;
    }
}

TEST(Str2Utf8, EveryBig5TableEntryConvertsToItsCodePoint)
{
    const unsigned int count = readLe32(s_pBig5ToUcs2Map + 8);
    ASSERT_EQ(count, 13503u);
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned char* pair = s_pBig5ToUcs2Map + CODEPAGE_HEADER_BYTES + i * CODEPAGE_PAIR_BYTES;
        ASSERT_EQ(toUtf8(codeBytes(readLe16(pair)), CHARSET_BIG5).bytes(), utf8Of(readLe16(pair + 2)))
            << std::hex << readLe16(pair);
    }
}

TEST(Str2Utf8, AWholeTextOfMixedPairsAndAsciiConvertsInOrder)
{
    const Converted c = toUtf8("X\x81\x40Y\xB0\xA1Z", CHARSET_GBK);
    EXPECT_EQ(c.bytes(), "X\xE4\xB8\x82Y\xE5\x95\x8AZ");
    EXPECT_EQ(c.length, 9);
}

TEST(Utf82Str, UnicodeToGbkWritesEachMappedCharacterHighByteFirst)
{
    EXPECT_EQ(fromUtf8("\xE4\xB8\xAD", CHARSET_GBK), "\xD6\xD0"); // U+4E2D
    EXPECT_EQ(fromUtf8("\xE4\xB8\x82", CHARSET_GBK), "\x81\x40");
    EXPECT_EQ(fromUtf8("\xC3\xA9", CHARSET_GBK), "\xA8\xA6"); // a two-byte character
}

TEST(Utf82Str, AsciiPassesThroughUnchanged)
{
    EXPECT_EQ(fromUtf8("Back VOL+ 0.5", CHARSET_GBK), "Back VOL+ 0.5");
}

TEST(Utf82Str, AnUnmappableMultiByteCharacterLeavesOnlyItsLastByte)
{
    // U+20AC has no double-byte GBK code.
    EXPECT_EQ(fromUtf8("x\xE2\x82\xACy", CHARSET_GBK), "x\xACy");
    // Beyond 16 bits: decoded as no character, leaving the last of four bytes.
    EXPECT_EQ(fromUtf8("\xF0\x9F\x98\x80", CHARSET_GBK), "\x80");
}

TEST(Utf82Str, InvalidBytesAreKeptOneByOne)
{
    EXPECT_EQ(fromUtf8("\xB0\xFFx", CHARSET_GBK), "\xB0\xFFx");
    EXPECT_EQ(fromUtf8("\xE4\xB8x", CHARSET_GBK), "\xE4\xB8x");
}

TEST(Utf82Str, ToBig5ReturnsAsciiUnchangedAndTheLastByteOfEveryOtherCharacter)
{
    // Every character has a Big5 code, but no table converts to Big5.
    EXPECT_EQ(fromUtf8("x\xE4\xB8\x80y\xE2\x95\x90\xE2\x82\xACz", CHARSET_BIG5), "x\x80y\x90\xACz");
    EXPECT_EQ(fromUtf8("OK", CHARSET_BIG5), "OK");
}

TEST(Utf82Str, AnEmptyTextGivesNull)
{
    EXPECT_EQ(utf82str("", CHARSET_GBK), nullptr);
    EXPECT_EQ(utf82str(nullptr, CHARSET_GBK), nullptr);
}

TEST(Utf82Str, TheResultIsZeroTerminated)
{
    HeapString out(utf82str("\xE5\x95\x8Az", CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(std::string(out.get(), 4), std::string("\xB0\xA1z\0", 4));
}

TEST(JudgeCharset, ALoneByteB0IsJudgedGbk)
{
    EXPECT_EQ(judgeCharset("\xB0", 1), 2);
    EXPECT_EQ(judgeCharset("\xB0", -1), 2);
}

TEST(JudgeCharset, PureAsciiIsJudgedUtf8)
{
    EXPECT_EQ(judgeCharset("test_mouse=1", -1), 1);
    EXPECT_EQ(judgeCharset("test_mouse=1", 12), 1);
}

TEST(JudgeCharset, AnEmptyTextIsJudgedUtf8)
{
    EXPECT_EQ(judgeCharset("", -1), 1);
    EXPECT_EQ(judgeCharset("", 0), 1);
}

TEST(JudgeCharset, ValidChineseUtf8IsJudgedUtf8)
{
    EXPECT_EQ(judgeCharset("\xE6\x88\x90\xE5\x8A\x9F", -1), 1); // "成功"
}

TEST(JudgeCharset, GbkChineseIsJudgedGbk)
{
    EXPECT_EQ(judgeCharset("\xB3\xC9\xB9\xA6", -1), 2); // "成功" in GBK
}

TEST(JudgeCharset, AByteOrderMarkIsJudgedGbk)
{
    EXPECT_EQ(judgeCharset("\xEF\xBB\xBFxyz", -1), 2);
    EXPECT_EQ(judgeCharset("abc\xEF\xBB\xBF", -1), 2);
}

TEST(JudgeCharset, CharactersBeyondSixteenBitsAreJudgedGbk)
{
    EXPECT_EQ(judgeCharset("ok \xF0\x9F\x98\x80", -1), 2);
}

TEST(JudgeCharset, BytesAfterTheLengthAreNotJudged)
{
    // The walk ends once a character ends more than length bytes in.
    EXPECT_EQ(judgeCharset("abc\xB0", 3), 1);
    EXPECT_EQ(judgeCharset("abc\xB0", 4), 2);
    EXPECT_EQ(judgeCharset("\xB0", 0), 1);
}

TEST(JudgeCharset, AnInvalidByteWithinTheLengthDecidesEvenAfterValidText)
{
    EXPECT_EQ(judgeCharset("\xE6\x88\x90xy\xB0", 6), 2);
}

TEST(JudgeCharset, ACharacterReachingPastTheLengthEndsTheWalkAsUtf8)
{
    // The three-byte character starts inside the length and ends beyond it.
    EXPECT_EQ(judgeCharset("ab\xE6\x88\x90", 3), 1);
    // A byte-order mark that ends past the length is not reached as a character.
    EXPECT_EQ(judgeCharset("ab\xEF\xBB\xBF", 4), 1);
}

TEST(JudgeCharset, ANullTextIsJudgedUtf8)
{
    EXPECT_EQ(judgeCharset(nullptr, -1), 1);
}

} // namespace
