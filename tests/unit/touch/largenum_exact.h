#pragma once
// Conversions between the wide integers under test and the exact reference.

#include "exact_arith.h"
#include "touch/largenum.h"

#include <array>

namespace exact {

inline Int fromLargeNum(const LARGENUM& n)
{
    return Int::fromWords(n.sign != 0, n.word, 3);
}

// The record holding v; the caller keeps |v| below 2^96.
inline LARGENUM toLargeNum(const Int& v)
{
    LARGENUM n;
    n.sign = v.isNegative() ? 1 : 0;
    for (int i = 0; i < 3; ++i)
        n.word[i] = v.word(i);
    return n;
}

// The words of v modulo 2^96, as 96-bit two's complement holds it.
inline std::array<uint32_t, 3> twosComplement96(const Int& v)
{
    Int r = v.abs().lowBits(96);
    if (v.isNegative() && !r.isZero())
        r = Int::powerOfTwo(96) - r;
    return { r.word(0), r.word(1), r.word(2) };
}

inline std::array<uint32_t, 3> wordsOf(const LARGENUM& n)
{
    return { n.word[0], n.word[1], n.word[2] };
}

// A random value of up to `bits` magnitude bits, with a random sign.
inline Int randomInt(Random& rng, unsigned bits)
{
    const unsigned used = static_cast<unsigned>(rng.between(0, bits));
    uint32_t words[4] = { rng.next(), rng.next(), rng.next(), rng.next() };
    return Int::fromWords(rng.coin(), words, 4).lowBits(used);
}

} // namespace exact
