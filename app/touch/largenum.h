#pragma once
// A small signed 96-bit integer for the calibration solver, whose 3x3
// determinants of squared panel coordinates outgrow 64 bits.
//
// This is deliberately not a general big-integer type. Several operations
// lose precision in fixed ways (the cross-sum carry of LargeNumMulUint32, the
// bits beyond 96 of LargeNumMult) and the calibration coefficients depend on
// exactly those losses, so they are kept.
//
// Every operation writes into a record the caller supplies and returns that
// pointer; the predicates return 0 or 1.

#include <cstdint>

// Sign and magnitude. A zero magnitude carries sign 0 after every arithmetic
// operation; LargeNumSignedFormat and LargeNumRAShift are the exceptions and
// leave the words in 96-bit two's complement with the sign word unchanged.
struct LARGENUM {
    uint32_t sign { 0 }; // 0 non-negative; any other value counts as negative
    uint32_t word[3] { 0, 0, 0 }; // magnitude, least significant word first
};

// Row-major 3x3 matrix of borrowed numbers: elements 0-2 are the first row.
// It owns nothing; a solver points the slots at its own sums and repoints
// single columns between evaluations.
struct MATRIX33 {
    LARGENUM* element[9] { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr };
};

// n = v; the most negative int gives magnitude 2^31 and sign 1.
LARGENUM* LargeNumSet(LARGENUM* n, int v);

// 1 if any magnitude word is non-zero; the sign is ignored.
int IsLargeNumNotZero(LARGENUM* n);

// 1 if the sign word is non-zero; the magnitude is ignored.
int IsLargeNumNegative(LARGENUM* n);

// Magnitude comparisons from the top word down; equal magnitudes give 0.
int IsLargeNumMagGreaterThan(LARGENUM* a, LARGENUM* b);
int IsLargeNumMagLessThan(LARGENUM* a, LARGENUM* b);

// |n| += 1 with the carry rippling upward; the sign is untouched.
LARGENUM* LargeNumMagInc(LARGENUM* n);

// |r| = |a| + |b| modulo 2^96; the sign of r is untouched. r may be a or b.
LARGENUM* LargeNumMagAdd(LARGENUM* a, LARGENUM* b, LARGENUM* r);

// |r| = |a| - |b|; the caller guarantees |a| >= |b|. The sign of r is
// untouched. r may be a or b.
LARGENUM* LargeNumMagSub(LARGENUM* a, LARGENUM* b, LARGENUM* r);

// Signed r = a + b and r = a - b. r may be a or b.
LARGENUM* LargeNumAdd(LARGENUM* a, LARGENUM* b, LARGENUM* r);
LARGENUM* LargeNumSub(LARGENUM* a, LARGENUM* b, LARGENUM* r);

// r = x * y in words 0 and 1, sign 0. Exact when both operands are below
// 2^31; otherwise a carry out of the cross sum is dropped, which costs 2^48.
LARGENUM* LargeNumMulUint32(unsigned x, unsigned y, LARGENUM* r);

// Signed product of two ints (through LargeNumMulUint32 on the magnitudes).
LARGENUM* LargeNumMulInt32(int x, int y, LARGENUM* r);

// Signed r = a * b, keeping the low 96 bits of the magnitude. Result words are
// written column by column while the operands are still read, so r may be b
// as long as |a| < 2^32 (the solver's use); r must not be a.
LARGENUM* LargeNumMult(LARGENUM* a, LARGENUM* b, LARGENUM* r);

// Turns a negative number's magnitude into its 96-bit two's complement in
// place and returns -1; returns 0 and changes nothing for a non-negative one.
// The sign word is left as it was.
int LargeNumSignedFormat(LARGENUM* n);

// Arithmetic right shift of the signed value by bits (0 or more); the result
// is left in two's complement form, so word 0 read as a signed 32-bit integer
// is the low part of the shifted value. Negative counts shift nothing.
LARGENUM* LargeNumRAShift(LARGENUM* n, int bits);

// q = a / d, returning the remainder. For a negative dividend the quotient is
// rounded away from zero and the remainder lies in 1..|d| (-6 / 3 gives -3
// remainder 3). Exact for |d| up to 65536. Division by 0 sets every magnitude
// word of q to all ones, keeps q's sign and returns -1. q may be a.
int LargeNumDivInt32(LARGENUM* a, int d, LARGENUM* q);

// Significant bits of the magnitude: 0 for zero, else highest set bit + 1.
int LargeNumBits(LARGENUM* n);

// Decimal text of n in a static buffer that the next call overwrites. A zero
// flagged negative prints "-0".
char* LargeNumToAscii(LARGENUM* n);
