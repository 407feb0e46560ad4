// The exact reference of the touch tests is itself checked here: against the
// compiler's 128-bit integers where the target has them, and on every target
// against identities and known values, so that the 32-bit device build still
// trusts its reference.

#include "exact_arith.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using exact::Int;
using exact::Random;
using exact::Rational;

constexpr int kRandomCases = 3000;

Int randomWide(Random& rng)
{
    uint32_t words[3] = { rng.next(), rng.next(), rng.next() >> 2 };
    return Int::fromWords(rng.coin(), words, 3).lowBits(static_cast<unsigned>(rng.between(0, 94)));
}

TEST(ExactReference, KnownValuesPrintInDecimal)
{
    EXPECT_EQ("0", Int(0).toString());
    EXPECT_EQ("-1", Int(-1).toString());
    EXPECT_EQ("1000000000", Int(1000000000).toString());
    EXPECT_EQ("-9223372036854775808", Int(INT64_MIN).toString());
    EXPECT_EQ("79228162514264337593543950336", Int::powerOfTwo(96).toString());
    EXPECT_EQ("18446744073709551616", (Int(INT64_MAX) + Int(INT64_MAX) + Int(2)).toString());
}

TEST(ExactReference, FloorShiftRoundsTowardMinusInfinity)
{
    EXPECT_EQ(Int(-4), Int(-7).floorShift(1));
    EXPECT_EQ(Int(-4), Int(-8).floorShift(1));
    EXPECT_EQ(Int(3), Int(7).floorShift(1));
    EXPECT_EQ(Int(-1), Int(-1).floorShift(200));
    EXPECT_EQ(Int(0), Int(5).floorShift(200));
}

TEST(ExactReference, SumsProductsAndComparisonsAreConsistent)
{
    Random rng(0xE8AC7001);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int a = randomWide(rng);
        const Int b = randomWide(rng);
        const Int c = randomWide(rng);
        ASSERT_EQ(a, (a + b) - b);
        ASSERT_EQ(a * (b + c), a * b + a * c);
        ASSERT_EQ(compare(a, b), -compare(b, a));
        const bool less = a < b;
        ASSERT_EQ(less, (b - a) > Int(0));
        uint32_t remainder = 0;
        const Int q = a.magnitudeDivided(10, &remainder);
        ASSERT_EQ(a.abs(), q * Int(10) + Int(remainder));
        ASSERT_LT(remainder, 10u);
    }
}

TEST(ExactReference, RationalsCompareByValueNotByRepresentation)
{
    const Rational half(Int(1), Int(2));
    const Rational alsoHalf(Int(-3), Int(-6));
    EXPECT_EQ(0, compare(half, alsoHalf));
    EXPECT_EQ(0, compare(half + half, Rational(Int(1))));
    EXPECT_LT(compare(Rational(Int(1), Int(3)), half), 0);
    EXPECT_EQ(0, compare(half / Rational(Int(-2)), Rational(Int(-1), Int(4))));
}

#ifdef __SIZEOF_INT128__
using Int128 = __int128;

Int fromInt128(Int128 v)
{
    const bool negative = v < 0;
    unsigned __int128 mag = negative ? -static_cast<unsigned __int128>(v) : static_cast<unsigned __int128>(v);
    uint32_t words[4];
    for (uint32_t& w : words) {
        w = static_cast<uint32_t>(mag);
        mag >>= 32;
    }
    return Int::fromWords(negative, words, 4);
}

Int128 randomInt128(Random& rng, unsigned bits)
{
    unsigned __int128 mag = (static_cast<unsigned __int128>(rng.next()) << 96)
        | (static_cast<unsigned __int128>(rng.next()) << 64)
        | (static_cast<unsigned __int128>(rng.next()) << 32) | rng.next();
    mag &= (static_cast<unsigned __int128>(1) << bits) - 1;
    const Int128 v = static_cast<Int128>(mag);
    return rng.coin() ? -v : v;
}

TEST(ExactReference, AgreesWithTheCompilersInt128)
{
    Random rng(0xE8AC7002);
    for (int i = 0; i < kRandomCases; ++i) {
        const Int128 a = randomInt128(rng, 1 + static_cast<unsigned>(rng.between(0, 62)));
        const Int128 b = randomInt128(rng, 1 + static_cast<unsigned>(rng.between(0, 62)));
        ASSERT_EQ(fromInt128(a + b), fromInt128(a) + fromInt128(b));
        ASSERT_EQ(fromInt128(a - b), fromInt128(a) - fromInt128(b));
        ASSERT_EQ(fromInt128(a * b), fromInt128(a) * fromInt128(b));
        ASSERT_EQ(a < b, fromInt128(a) < fromInt128(b));
        const unsigned k = static_cast<unsigned>(rng.between(0, 126));
        ASSERT_EQ(fromInt128(a >> k), fromInt128(a).floorShift(k)); // GCC shifts signed values arithmetically
    }
}
#else
TEST(ExactReference, AgreesWithTheCompilersInt128)
{
    GTEST_SKIP() << "no 128-bit integers on this target; the identities above stand in";
}
#endif

} // namespace
