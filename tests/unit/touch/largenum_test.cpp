// The 96-bit integers of the calibration solver: the fixed cases first, then
// properties against exact arithmetic on seeded random inputs.

#include "largenum_exact.h"
#include "touch/largenum.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

using exact::Int;
using exact::Random;
using Words = std::array<uint32_t, 3>;

LARGENUM number(int v)
{
    LARGENUM n;
    LargeNumSet(&n, v);
    return n;
}

LARGENUM wide(uint32_t sign, uint32_t w0, uint32_t w1, uint32_t w2)
{
    LARGENUM n;
    n.sign = sign;
    n.word[0] = w0;
    n.word[1] = w1;
    n.word[2] = w2;
    return n;
}

constexpr int kRandomCases = 4000;

// --- Setting and testing ----------------------------------------------------

TEST(LargeNum, SettingTheMostNegativeIntGivesSignOneAndMagnitudeTwoToThe31)
{
    LARGENUM n = wide(0, 7, 7, 7);
    EXPECT_EQ(&n, LargeNumSet(&n, INT_MIN));
    EXPECT_EQ(1u, n.sign);
    EXPECT_EQ((Words { 0x80000000u, 0, 0 }), exact::wordsOf(n));
}

TEST(LargeNum, SettingAnIntClearsTheHigherWordsOfAReusedRecord)
{
    LARGENUM n = wide(1, 1, 2, 3);
    LargeNumSet(&n, 42);
    EXPECT_EQ(0u, n.sign);
    EXPECT_EQ((Words { 42, 0, 0 }), exact::wordsOf(n));
    LargeNumSet(&n, -42);
    EXPECT_EQ(1u, n.sign);
    EXPECT_EQ((Words { 42, 0, 0 }), exact::wordsOf(n));
}

TEST(LargeNum, NotZeroLooksAtTheMagnitudeOnly)
{
    LARGENUM negativeZero = wide(1, 0, 0, 0);
    LARGENUM highWordOnly = wide(0, 0, 0, 1);
    EXPECT_EQ(0, IsLargeNumNotZero(&negativeZero));
    EXPECT_EQ(1, IsLargeNumNotZero(&highWordOnly));
}

TEST(LargeNum, NegativeLooksAtTheSignWordOnlyAndAnyNonZeroValueCounts)
{
    LARGENUM negativeZero = wide(1, 0, 0, 0);
    LARGENUM oddSign = wide(0x80, 5, 0, 0);
    LARGENUM positive = wide(0, 5, 0, 0);
    EXPECT_EQ(1, IsLargeNumNegative(&negativeZero));
    EXPECT_EQ(1, IsLargeNumNegative(&oddSign));
    EXPECT_EQ(0, IsLargeNumNegative(&positive));
}

TEST(LargeNum, MagnitudeComparisonsLetTheHighestWordDecideAndIgnoreTheSign)
{
    LARGENUM big = wide(1, 0, 0, 1);
    LARGENUM small = wide(0, 0xFFFFFFFF, 0xFFFFFFFF, 0);
    EXPECT_EQ(1, IsLargeNumMagGreaterThan(&big, &small));
    EXPECT_EQ(0, IsLargeNumMagGreaterThan(&small, &big));
    EXPECT_EQ(1, IsLargeNumMagLessThan(&small, &big));
    EXPECT_EQ(0, IsLargeNumMagLessThan(&big, &small));
}

TEST(LargeNum, EqualMagnitudesAreNeitherGreaterNorLess)
{
    LARGENUM a = wide(0, 9, 8, 7);
    LARGENUM b = wide(1, 9, 8, 7);
    EXPECT_EQ(0, IsLargeNumMagGreaterThan(&a, &b));
    EXPECT_EQ(0, IsLargeNumMagLessThan(&a, &b));
}

// --- Magnitude arithmetic -----------------------------------------------------

TEST(LargeNum, IncrementRipplesTheCarryUpwardAndKeepsTheSign)
{
    LARGENUM n = wide(1, 0xFFFFFFFF, 0xFFFFFFFF, 4);
    EXPECT_EQ(&n, LargeNumMagInc(&n));
    EXPECT_EQ((Words { 0, 0, 5 }), exact::wordsOf(n));
    EXPECT_EQ(1u, n.sign);
}

TEST(LargeNum, MagnitudeAddLosesTheCarryOutOfTheTopWordAndLeavesTheResultSign)
{
    LARGENUM a = wide(0, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
    LARGENUM b = wide(0, 2, 0, 0);
    LARGENUM r = wide(1, 0, 0, 0);
    EXPECT_EQ(&r, LargeNumMagAdd(&a, &b, &r));
    EXPECT_EQ((Words { 1, 0, 0 }), exact::wordsOf(r));
    EXPECT_EQ(1u, r.sign);
}

TEST(LargeNum, MagnitudeSubtractBorrowsAcrossWords)
{
    LARGENUM a = wide(0, 0, 0, 1);
    LARGENUM b = wide(1, 1, 0, 0);
    LARGENUM r;
    LargeNumMagSub(&a, &b, &r);
    EXPECT_EQ((Words { 0xFFFFFFFF, 0xFFFFFFFF, 0 }), exact::wordsOf(r));
    EXPECT_EQ(0u, r.sign);
}

// --- Signed addition and subtraction ------------------------------------------

TEST(LargeNum, AddingFiveAndMinusFiveGivesZeroWithSignZero)
{
    LARGENUM a = number(5);
    LARGENUM b = number(-5);
    LARGENUM r = wide(1, 9, 9, 9);
    LargeNumAdd(&a, &b, &r);
    EXPECT_EQ(0u, r.sign);
    EXPECT_EQ((Words { 0, 0, 0 }), exact::wordsOf(r));
    LargeNumAdd(&b, &a, &r);
    EXPECT_EQ(0u, r.sign);
    EXPECT_EQ(0, IsLargeNumNotZero(&r));
}

TEST(LargeNum, SubtractingEqualNumbersGivesZeroWithSignZero)
{
    for (int v : { 7, -7 }) {
        LARGENUM a = number(v);
        LARGENUM b = number(v);
        LARGENUM r = wide(1, 9, 9, 9);
        LargeNumSub(&a, &b, &r);
        EXPECT_EQ(0u, r.sign) << v;
        EXPECT_EQ(0, IsLargeNumNotZero(&r)) << v;
    }
}

TEST(LargeNum, AddingALargerOppositeNumberTakesItsSign)
{
    LARGENUM a = number(3);
    LARGENUM b = number(-10);
    LARGENUM r;
    LargeNumAdd(&a, &b, &r);
    EXPECT_EQ("-7", std::string(LargeNumToAscii(&r)));
    LargeNumSub(&b, &a, &r);
    EXPECT_EQ("-13", std::string(LargeNumToAscii(&r)));
    LargeNumSub(&a, &b, &r);
    EXPECT_EQ("13", std::string(LargeNumToAscii(&r)));
}

TEST(LargeNum, SignedSumsMayBeWrittenOverEitherOperand)
{
    LARGENUM a = number(-100);
    LARGENUM b = number(30);
    LargeNumAdd(&a, &b, &a); // -70
    EXPECT_EQ("-70", std::string(LargeNumToAscii(&a)));
    LargeNumSub(&a, &b, &b); // -100
    EXPECT_EQ("-100", std::string(LargeNumToAscii(&b)));
}

// --- Multiplication -------------------------------------------------------------

TEST(LargeNum, UnsignedProductOfAllOnesLosesTheCrossSumCarry)
{
    LARGENUM r = wide(1, 9, 9, 9);
    EXPECT_EQ(&r, LargeNumMulUint32(0xFFFFFFFFu, 0xFFFFFFFFu, &r));
    // The exact product is 0xFFFFFFFE00000001; the lost carry costs 2^48.
    EXPECT_EQ(0x00000001u, r.word[0]);
    EXPECT_EQ(0xFFFFFFFEu - 0x10000u, r.word[1]);
    EXPECT_EQ(0u, r.word[2]);
    EXPECT_EQ(0u, r.sign);
}

TEST(LargeNum, UnsignedProductOfOperandsBelowTwoToThe31IsExact)
{
    LARGENUM r;
    LargeNumMulUint32(0x7FFFFFFFu, 0x7FFFFFFFu, &r);
    EXPECT_EQ(0x00000001u, r.word[0]);
    EXPECT_EQ(0x3FFFFFFFu, r.word[1]);
    EXPECT_EQ(0u, r.word[2]);
}

TEST(LargeNum, SignedIntProductIsNegativeForExactlyOneNegativeOperand)
{
    LARGENUM r;
    LargeNumMulInt32(-6, 7, &r);
    EXPECT_EQ("-42", std::string(LargeNumToAscii(&r)));
    LargeNumMulInt32(-6, -7, &r);
    EXPECT_EQ("42", std::string(LargeNumToAscii(&r)));
    LargeNumMulInt32(INT_MIN, INT_MIN, &r);
    EXPECT_EQ("4611686018427387904", std::string(LargeNumToAscii(&r)));
}

TEST(LargeNum, SignedIntProductOfZeroAndANegativeHasSignZero)
{
    LARGENUM r;
    LargeNumMulInt32(-5, 0, &r);
    EXPECT_EQ(0u, r.sign);
    EXPECT_EQ(0, IsLargeNumNotZero(&r));
}

TEST(LargeNum, ProductBeyondTwoToThe96KeepsOnlyItsLow96Bits)
{
    // (2^64 + 3) * (2^40 + 5) = 2^104 + 5 * 2^64 + 3 * 2^40 + 15.
    LARGENUM a = wide(0, 3, 0, 1);
    LARGENUM b = wide(1, 0x00000005, 0x00000100, 0);
    LARGENUM r;
    EXPECT_EQ(&r, LargeNumMult(&a, &b, &r));
    EXPECT_EQ((Words { 15, 3 * 0x100u, 5 }), exact::wordsOf(r));
    EXPECT_EQ(1u, r.sign);
}

TEST(LargeNum, ProductMayBeWrittenOverTheSecondOperandWhenTheFirstFitsOneWord)
{
    LARGENUM a = wide(1, 0x7FFF1234, 0, 0);
    LARGENUM b = wide(0, 0x6ABCDEF1, 0x00012345, 0x00000001); // product below 2^96
    const Int expected = exact::fromLargeNum(a) * exact::fromLargeNum(b);
    LARGENUM separate;
    LargeNumMult(&a, &b, &separate);
    LargeNumMult(&a, &b, &b);
    EXPECT_EQ(exact::wordsOf(separate), exact::wordsOf(b));
    EXPECT_EQ(separate.sign, b.sign);
    EXPECT_EQ(expected, exact::fromLargeNum(b));
}

TEST(LargeNum, ProductWithAZeroOperandHasSignZero)
{
    LARGENUM a = number(-9);
    LARGENUM b = number(0);
    LARGENUM r = wide(1, 1, 1, 1);
    LargeNumMult(&a, &b, &r);
    EXPECT_EQ(0u, r.sign);
    EXPECT_EQ(0, IsLargeNumNotZero(&r));
}

// --- Two's complement and shifts ------------------------------------------------

TEST(LargeNum, SignedFormatTurnsANegativeMagnitudeIntoTwosComplementAndKeepsTheSignWord)
{
    LARGENUM n = wide(1, 0, 1, 0); // -2^32
    EXPECT_EQ(-1, LargeNumSignedFormat(&n));
    EXPECT_EQ((Words { 0, 0xFFFFFFFF, 0xFFFFFFFF }), exact::wordsOf(n));
    EXPECT_EQ(1u, n.sign);
}

TEST(LargeNum, SignedFormatLeavesANonNegativeNumberAlone)
{
    LARGENUM n = wide(0, 5, 6, 7);
    EXPECT_EQ(0, LargeNumSignedFormat(&n));
    EXPECT_EQ((Words { 5, 6, 7 }), exact::wordsOf(n));
}

TEST(LargeNum, ShiftingMinusOneByAnyCountLeavesAllOnes)
{
    for (int bits = 0; bits <= 130; ++bits) {
        LARGENUM n = number(-1);
        EXPECT_EQ(&n, LargeNumRAShift(&n, bits));
        EXPECT_EQ((Words { 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF }), exact::wordsOf(n)) << bits;
    }
}

TEST(LargeNum, ShiftingMinusFourByOneGivesMinusTwoInWordZero)
{
    LARGENUM n = number(-4);
    LargeNumRAShift(&n, 1);
    EXPECT_EQ(0xFFFFFFFEu, n.word[0]);
    EXPECT_EQ(-2, static_cast<int32_t>(n.word[0]));
    EXPECT_EQ(1u, n.sign);
}

TEST(LargeNum, ShiftingAPositiveNumberBy96OrMoreClearsEveryWord)
{
    for (int bits : { 96, 97, 128, 1000 }) {
        LARGENUM n = wide(0, 0xFFFFFFFF, 0xFFFFFFFF, 0x7FFFFFFF);
        LargeNumRAShift(&n, bits);
        EXPECT_EQ((Words { 0, 0, 0 }), exact::wordsOf(n)) << bits;
    }
}

TEST(LargeNum, ShiftingCarriesBitsDownAcrossWords)
{
    LARGENUM n = wide(0, 0, 0, 1); // 2^64
    LargeNumRAShift(&n, 33);
    EXPECT_EQ((Words { 0x80000000u, 0, 0 }), exact::wordsOf(n));
}

TEST(LargeNum, ShiftingANegativeNumberRoundsTowardMinusInfinity)
{
    LARGENUM n = number(-7);
    LargeNumRAShift(&n, 1);
    EXPECT_EQ(-4, static_cast<int32_t>(n.word[0]));
}

TEST(LargeNum, ShiftingByZeroOnlyConvertsToTwosComplement)
{
    LARGENUM n = number(-3);
    LargeNumRAShift(&n, 0);
    EXPECT_EQ((Words { 0xFFFFFFFD, 0xFFFFFFFF, 0xFFFFFFFF }), exact::wordsOf(n));
}

// --- Division -------------------------------------------------------------------

struct DivisionCase {
    int dividend;
    int divisor;
    const char* quotient;
    int remainder;
};

TEST(LargeNum, DivisionRoundsNegativeDividendsAwayFromZeroWithARemainderUpToTheDivisor)
{
    const DivisionCase cases[] = {
        { 7, 2, "3", 1 },
        { -7, 2, "-4", 1 },
        { -6, 2, "-4", 2 },
        { -6, -2, "4", 2 },
        { 6, -2, "-3", 0 },
        { -6, 3, "-3", 3 },
        { 0, -2, "0", 0 },
        { 1, 10, "0", 1 },
    };
    for (const DivisionCase& c : cases) {
        LARGENUM a = number(c.dividend);
        LARGENUM q;
        const int remainder = LargeNumDivInt32(&a, c.divisor, &q);
        EXPECT_EQ(c.quotient, std::string(LargeNumToAscii(&q))) << c.dividend << " / " << c.divisor;
        EXPECT_EQ(c.remainder, remainder) << c.dividend << " / " << c.divisor;
    }
}

TEST(LargeNum, DivisionByZeroSetsEveryWordToOnesKeepsTheSignAndReturnsMinusOne)
{
    LARGENUM a = number(12345);
    LARGENUM q = wide(1, 0, 0, 0);
    EXPECT_EQ(-1, LargeNumDivInt32(&a, 0, &q));
    EXPECT_EQ((Words { 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF }), exact::wordsOf(q));
    EXPECT_EQ(1u, q.sign);
}

TEST(LargeNum, DivisionMayWriteTheQuotientOverTheDividend)
{
    LARGENUM a = number(-6);
    EXPECT_EQ(2, LargeNumDivInt32(&a, 2, &a));
    EXPECT_EQ("-4", std::string(LargeNumToAscii(&a)));
}

TEST(LargeNum, DivisionHandlesAllThreeWords)
{
    LARGENUM a = wide(0, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
    LARGENUM q;
    EXPECT_EQ(5, LargeNumDivInt32(&a, 10, &q));
    EXPECT_EQ("7922816251426433759354395033", std::string(LargeNumToAscii(&q)));
}

// --- Bits and text --------------------------------------------------------------

TEST(LargeNum, BitsCountsUpToTheHighestSetBit)
{
    LARGENUM one = number(1);
    LARGENUM twoToThe32 = wide(0, 0, 1, 0);
    LARGENUM zero = number(0);
    LARGENUM top = wide(0, 0, 0, 0x80000000u);
    LARGENUM negative = number(-8);
    EXPECT_EQ(1, LargeNumBits(&one));
    EXPECT_EQ(33, LargeNumBits(&twoToThe32));
    EXPECT_EQ(0, LargeNumBits(&zero));
    EXPECT_EQ(96, LargeNumBits(&top));
    EXPECT_EQ(4, LargeNumBits(&negative));
}

TEST(LargeNum, TextOfZeroIsZero)
{
    LARGENUM zero = number(0);
    EXPECT_STREQ("0", LargeNumToAscii(&zero));
}

TEST(LargeNum, TextOfANegativeNumberStartsWithMinus)
{
    LARGENUM n = number(-12345);
    EXPECT_STREQ("-12345", LargeNumToAscii(&n));
}

TEST(LargeNum, TextOfANegativeFlaggedZeroIsMinusZero)
{
    LARGENUM n = wide(1, 0, 0, 0);
    EXPECT_STREQ("-0", LargeNumToAscii(&n));
}

TEST(LargeNum, TextOfTheLargestMagnitudeHas29DigitsAndFitsWithItsSign)
{
    LARGENUM n = wide(0, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
    const std::string text = LargeNumToAscii(&n);
    EXPECT_EQ("79228162514264337593543950335", text);
    EXPECT_EQ(29u, text.size());
    n.sign = 1;
    EXPECT_STREQ("-79228162514264337593543950335", LargeNumToAscii(&n));
}

TEST(LargeNum, TextLivesInOneBufferThatTheNextCallOverwrites)
{
    LARGENUM a = number(111);
    LARGENUM b = number(-2);
    char* first = LargeNumToAscii(&a);
    char* second = LargeNumToAscii(&b);
    EXPECT_EQ(first, second);
    EXPECT_STREQ("-2", first);
}

TEST(LargeNum, TextLeavesTheNumberUnchanged)
{
    LARGENUM n = wide(1, 123, 0, 0);
    LargeNumToAscii(&n);
    EXPECT_EQ(1u, n.sign);
    EXPECT_EQ((Words { 123, 0, 0 }), exact::wordsOf(n));
}

// --- Properties against exact arithmetic -------------------------------------------

TEST(LargeNumProperty, UnsignedProductsOfOperandsBelowTwoToThe31AreExact)
{
    Random rng(0x5EED0001);
    for (int i = 0; i < kRandomCases; ++i) {
        const uint32_t x = rng.next() >> 1;
        const uint32_t y = rng.next() >> 1;
        LARGENUM r;
        LargeNumMulUint32(x, y, &r);
        ASSERT_EQ(Int(x) * Int(y), exact::fromLargeNum(r)) << x << " * " << y;
    }
}

TEST(LargeNumProperty, UnsignedProductsLoseExactlyTwoToThe48PerCrossSumCarry)
{
    Random rng(0x5EED0002);
    int lossy = 0;
    for (int i = 0; i < kRandomCases; ++i) {
        const uint32_t x = rng.next();
        const uint32_t y = rng.next();
        const uint64_t crossSum = uint64_t { x >> 16 } * (y & 0xFFFF) + uint64_t { x & 0xFFFF } * (y >> 16);
        const uint64_t lost = (crossSum >> 32) << 48;
        lossy += lost != 0;
        const uint64_t expected = uint64_t { x } * y - lost;
        LARGENUM r;
        LargeNumMulUint32(x, y, &r);
        ASSERT_EQ(static_cast<uint32_t>(expected), r.word[0]) << x << " * " << y;
        ASSERT_EQ(static_cast<uint32_t>(expected >> 32), r.word[1]) << x << " * " << y;
        ASSERT_EQ(0u, r.word[2]);
    }
    // Both kinds of operand pairs occurred, so both halves of the rule were checked.
    EXPECT_GT(lossy, kRandomCases / 20);
    EXPECT_LT(lossy, kRandomCases - kRandomCases / 20);
}

TEST(LargeNumProperty, SignedIntProductsAreExactForEveryInt)
{
    Random rng(0x5EED0003);
    for (int i = 0; i < kRandomCases; ++i) {
        const int x = static_cast<int>(rng.next());
        const int y = i % 50 == 0 ? INT_MIN : static_cast<int>(rng.next());
        LARGENUM r;
        LargeNumMulInt32(x, y, &r);
        ASSERT_EQ(Int(x) * Int(y), exact::fromLargeNum(r)) << x << " * " << y;
    }
}

TEST(LargeNumProperty, WideProductsOfWordsBelowTwoToThe31AreExactModuloTwoToThe96)
{
    Random rng(0x5EED0004);
    for (int i = 0; i < kRandomCases; ++i) {
        uint32_t aw[3];
        uint32_t bw[3];
        const int aWords = static_cast<int>(rng.between(1, 3));
        const int bWords = static_cast<int>(rng.between(1, 3));
        for (int k = 0; k < 3; ++k) {
            aw[k] = k < aWords ? rng.next() >> 1 : 0;
            bw[k] = k < bWords ? rng.next() >> 1 : 0;
        }
        const Int a = Int::fromWords(rng.coin(), aw, 3);
        const Int b = Int::fromWords(rng.coin(), bw, 3);
        LARGENUM la = exact::toLargeNum(a);
        LARGENUM lb = exact::toLargeNum(b);
        LARGENUM r;
        LargeNumMult(&la, &lb, &r);
        const Int product = a * b;
        const Int expected = product.isNegative() ? -product.abs().lowBits(96) : product.lowBits(96);
        ASSERT_EQ(expected, exact::fromLargeNum(r)) << a.toString() << " * " << b.toString();
        if (expected.isZero()) {
            ASSERT_EQ(0u, r.sign);
        }
    }
}

TEST(LargeNumProperty, WideProductsLoseExactlyTheCrossSumCarriesOfTheirWordProducts)
{
    Random rng(0x5EED0005);
    for (int i = 0; i < kRandomCases; ++i) {
        uint32_t aw[3] = { rng.next(), rng.next(), rng.next() };
        uint32_t bw[3] = { rng.next(), rng.next(), rng.next() };
        Int expected = 0;
        for (int col = 0; col < 3; ++col) {
            for (int j = 0; j <= col; ++j) {
                const uint32_t x = aw[j];
                const uint32_t y = bw[col - j];
                const uint64_t crossSum
                    = uint64_t { x >> 16 } * (y & 0xFFFF) + uint64_t { x & 0xFFFF } * (y >> 16);
                const Int term
                    = Int(x) * Int(y) - Int::powerOfTwo(48) * Int(static_cast<int64_t>(crossSum >> 32));
                expected = expected + term * Int::powerOfTwo(32 * col);
            }
        }
        LARGENUM la = exact::toLargeNum(Int::fromWords(false, aw, 3));
        LARGENUM lb = exact::toLargeNum(Int::fromWords(false, bw, 3));
        LARGENUM r;
        LargeNumMult(&la, &lb, &r);
        ASSERT_EQ(expected.lowBits(96), exact::fromLargeNum(r));
    }
}

TEST(LargeNumProperty, SignedSumsAndDifferencesWithoutOverflowAreExact)
{
    Random rng(0x5EED0006);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int a = exact::randomInt(rng, 94);
        const Int b = exact::randomInt(rng, i % 7 == 0 ? 20 : 94);
        LARGENUM la = exact::toLargeNum(a);
        LARGENUM lb = exact::toLargeNum(b);
        LARGENUM sum;
        LARGENUM difference;
        LargeNumAdd(&la, &lb, &sum);
        LargeNumSub(&la, &lb, &difference);
        ASSERT_EQ(a + b, exact::fromLargeNum(sum)) << a.toString() << " + " << b.toString();
        ASSERT_EQ(a - b, exact::fromLargeNum(difference)) << a.toString() << " - " << b.toString();
        ASSERT_EQ((a + b).isNegative() ? 1u : 0u, sum.sign);
        ASSERT_EQ((a - b).isNegative() ? 1u : 0u, difference.sign);

        LARGENUM overA = la;
        LargeNumAdd(&overA, &lb, &overA);
        ASSERT_EQ(a + b, exact::fromLargeNum(overA));
        LARGENUM overB = lb;
        LargeNumSub(&la, &overB, &overB);
        ASSERT_EQ(a - b, exact::fromLargeNum(overB));
    }
}

TEST(LargeNumProperty, ArithmeticShiftsMatchFloorDivisionInTwosComplement)
{
    Random rng(0x5EED0007);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int v = exact::randomInt(rng, 95);
        const unsigned bits = static_cast<unsigned>(rng.between(0, 110));
        LARGENUM n = exact::toLargeNum(v);
        LargeNumRAShift(&n, static_cast<int>(bits));
        ASSERT_EQ(exact::twosComplement96(v.floorShift(bits)), exact::wordsOf(n))
            << v.toString() << " >> " << bits;
        ASSERT_EQ(v.isNegative() ? 1u : 0u, n.sign);
    }
}

TEST(LargeNumProperty, SignedFormatGivesTheTwosComplementOfNegativeNumbers)
{
    Random rng(0x5EED0008);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int v = exact::randomInt(rng, 96);
        LARGENUM n = exact::toLargeNum(v);
        ASSERT_EQ(v.isNegative() ? -1 : 0, LargeNumSignedFormat(&n));
        ASSERT_EQ(exact::twosComplement96(v), exact::wordsOf(n)) << v.toString();
    }
}

TEST(LargeNumProperty, DivisionByTwoMinusTwoAndTenRebuildsTheDividend)
{
    Random rng(0x5EED0009);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int a = exact::randomInt(rng, 96);
        for (int d : { 2, -2, 10 }) {
            LARGENUM la = exact::toLargeNum(a);
            LARGENUM q;
            const int r = LargeNumDivInt32(&la, d, &q);
            const Int quotient = exact::fromLargeNum(q);
            const std::string what = a.toString() + " / " + std::to_string(d);
            ASSERT_EQ(a, quotient * Int(d) + Int(r)) << what;
            const int limit = d < 0 ? -d : d;
            if (a.isNegative()) {
                ASSERT_GE(r, 1) << what;
                ASSERT_LE(r, limit) << what;
            } else {
                ASSERT_GE(r, 0) << what;
                ASSERT_LT(r, limit) << what;
            }
            if (quotient.isZero()) {
                ASSERT_EQ(0u, q.sign) << what;
            }
        }
    }
}

TEST(LargeNumProperty, BitsIsTheBitLengthOfTheMagnitude)
{
    Random rng(0x5EED000A);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int v = exact::randomInt(rng, 96);
        LARGENUM n = exact::toLargeNum(v);
        ASSERT_EQ(static_cast<int>(v.bitLength()), LargeNumBits(&n)) << v.toString();
    }
}

TEST(LargeNumProperty, TextIsTheDecimalValue)
{
    Random rng(0x5EED000B);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int v = exact::randomInt(rng, 96);
        LARGENUM n = exact::toLargeNum(v);
        ASSERT_EQ(v.toString(), std::string(LargeNumToAscii(&n)));
    }
}

TEST(LargeNumProperty, MagnitudeComparisonsMatchTheExactOrder)
{
    Random rng(0x5EED000C);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int a = exact::randomInt(rng, 96);
        const Int b = i % 5 == 0 ? (rng.coin() ? a : -a) : exact::randomInt(rng, 96);
        LARGENUM la = exact::toLargeNum(a);
        LARGENUM lb = exact::toLargeNum(b);
        ASSERT_EQ(a.abs() > b.abs() ? 1 : 0, IsLargeNumMagGreaterThan(&la, &lb));
        ASSERT_EQ(a.abs() < b.abs() ? 1 : 0, IsLargeNumMagLessThan(&la, &lb));
    }
}

} // namespace
