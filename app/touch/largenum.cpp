#include "touch/largenum.h"

namespace {

constexpr int kWords = 3;
constexpr int kDigits = 6; // 16-bit digits of a magnitude, for short division

bool isNegative(const LARGENUM* n)
{
    return n->sign != 0;
}

} // namespace

LARGENUM* LargeNumSet(LARGENUM* n, int v)
{
    if (v < 0) {
        n->sign = 1;
        // Unsigned negation: the most negative int becomes 2^31 without overflow.
        n->word[0] = 0u - static_cast<uint32_t>(v);
    } else {
        n->sign = 0;
        n->word[0] = static_cast<uint32_t>(v);
    }
    n->word[1] = 0;
    n->word[2] = 0;
    return n;
}

int IsLargeNumNotZero(LARGENUM* n)
{
    return (n->word[0] | n->word[1] | n->word[2]) != 0 ? 1 : 0;
}

int IsLargeNumNegative(LARGENUM* n)
{
    return isNegative(n) ? 1 : 0;
}

int IsLargeNumMagGreaterThan(LARGENUM* a, LARGENUM* b)
{
    for (int i = kWords - 1; i >= 0; --i) {
        if (a->word[i] > b->word[i])
            return 1;
        if (a->word[i] < b->word[i])
            return 0;
    }
    return 0;
}

int IsLargeNumMagLessThan(LARGENUM* a, LARGENUM* b)
{
    for (int i = kWords - 1; i >= 0; --i) {
        if (a->word[i] < b->word[i])
            return 1;
        if (a->word[i] > b->word[i])
            return 0;
    }
    return 0;
}

LARGENUM* LargeNumMagInc(LARGENUM* n)
{
    for (int i = 0; i < kWords; ++i) {
        if (++n->word[i] != 0)
            break;
    }
    return n;
}

LARGENUM* LargeNumMagAdd(LARGENUM* a, LARGENUM* b, LARGENUM* r)
{
    uint32_t carry = 0;
    for (int i = 0; i < kWords; ++i) {
        const uint64_t sum = uint64_t { a->word[i] } + b->word[i] + carry;
        r->word[i] = static_cast<uint32_t>(sum);
        carry = static_cast<uint32_t>(sum >> 32);
    }
    // A carry out of the top word is lost: 96 bits hold every sum the solver forms.
    return r;
}

LARGENUM* LargeNumMagSub(LARGENUM* a, LARGENUM* b, LARGENUM* r)
{
    uint32_t borrow = 0;
    for (int i = 0; i < kWords; ++i) {
        const uint64_t diff = uint64_t { a->word[i] } - b->word[i] - borrow;
        r->word[i] = static_cast<uint32_t>(diff);
        borrow = (diff >> 32) != 0 ? 1 : 0;
    }
    return r;
}

namespace {

// a + b when b counts as negative when bNegative says so: the sum and the
// difference differ only in the sign b brings.
LARGENUM* addSigned(LARGENUM* a, LARGENUM* b, bool bNegative, LARGENUM* r)
{
    uint32_t s = isNegative(a) ? 1 : 0;
    if (isNegative(a) == bNegative) {
        LargeNumMagAdd(a, b, r);
    } else if (IsLargeNumMagGreaterThan(a, b)) {
        LargeNumMagSub(a, b, r);
    } else {
        LargeNumMagSub(b, a, r);
        s ^= 1;
    }
    // The sign goes last so that r may be one of the operands.
    r->sign = IsLargeNumNotZero(r) ? s : 0;
    return r;
}

}

LARGENUM* LargeNumAdd(LARGENUM* a, LARGENUM* b, LARGENUM* r)
{
    return addSigned(a, b, isNegative(b), r);
}

LARGENUM* LargeNumSub(LARGENUM* a, LARGENUM* b, LARGENUM* r)
{
    return addSigned(a, b, !isNegative(b), r);
}

LARGENUM* LargeNumMulUint32(unsigned x, unsigned y, LARGENUM* r)
{
    const uint32_t xh = x >> 16;
    const uint32_t xl = x & 0xFFFF;
    const uint32_t yh = y >> 16;
    const uint32_t yl = y & 0xFFFF;

    const uint32_t low = xl * yl;
    // Kept: the cross sum is formed in 32 bits and its carry is lost. The
    // product is exact for operands below 2^31 and 2^48 short otherwise;
    // calibration results depend on this loss.
    const uint32_t cross = xh * yl + xl * yh;
    r->word[0] = low + (cross << 16);
    r->word[1] = (cross >> 16) + xh * yh + (r->word[0] < low ? 1 : 0);
    r->word[2] = 0;
    r->sign = 0;
    return r;
}

LARGENUM* LargeNumMulInt32(int x, int y, LARGENUM* r)
{
    const uint32_t ux = x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x);
    const uint32_t uy = y < 0 ? 0u - static_cast<uint32_t>(y) : static_cast<uint32_t>(y);
    LargeNumMulUint32(ux, uy, r);
    if (IsLargeNumNotZero(r) && ((x < 0) != (y < 0)))
        r->sign = 1;
    return r;
}

LARGENUM* LargeNumMult(LARGENUM* a, LARGENUM* b, LARGENUM* r)
{
    LARGENUM carry;
    LARGENUM product;
    for (int i = 0; i < kWords; ++i) {
        LARGENUM column;
        for (int j = 0; j <= i; ++j) {
            LargeNumMulUint32(a->word[j], b->word[i - j], &product);
            LargeNumMagAdd(&column, &product, &column);
        }
        LargeNumMagAdd(&column, &carry, &column);
        // Written while b is still being read: when r is b, the words of b
        // overwritten so far meet only a's words 1 and 2 in later columns,
        // and those are zero for the solver's single-word first operands.
        r->word[i] = column.word[0];
        carry.word[0] = column.word[1];
        carry.word[1] = column.word[2];
    }
    // Products beyond 2^96 keep only their low 96 bits.
    r->sign = (IsLargeNumNotZero(r) && isNegative(a) != isNegative(b)) ? 1 : 0;
    return r;
}

int LargeNumSignedFormat(LARGENUM* n)
{
    if (!isNegative(n))
        return 0;
    uint32_t carry = 1;
    for (int i = 0; i < kWords; ++i) {
        n->word[i] = ~n->word[i] + carry;
        if (n->word[i] != 0)
            carry = 0;
    }
    return -1;
}

LARGENUM* LargeNumRAShift(LARGENUM* n, int bits)
{
    const uint32_t fill = LargeNumSignedFormat(n) != 0 ? 0xFFFFFFFFu : 0u;
    // A negative count would read outside the record; it only converts.
    if (bits < 0)
        return n;

    const int w = bits / 32;
    const int s = bits % 32;
    if (w >= kWords) {
        for (int k = 0; k < kWords; ++k)
            n->word[k] = fill;
        return n;
    }

    // In place, upward: word k reads source words k + w and k + w + 1, which
    // are not yet overwritten.
    const int last = kWords - 1 - w;
    for (int k = 0; k <= last; ++k) {
        uint32_t v = n->word[k + w] >> s;
        if (s != 0 && k + w + 1 < kWords)
            v |= n->word[k + w + 1] << (32 - s);
        n->word[k] = v;
    }
    if (s != 0)
        n->word[last] |= fill << (32 - s);
    for (int k = last + 1; k < kWords; ++k)
        n->word[k] = fill;
    return n;
}

int LargeNumDivInt32(LARGENUM* a, int d, LARGENUM* q)
{
    uint16_t digit[kDigits];
    for (int k = 0; k < kDigits; ++k)
        digit[k] = static_cast<uint16_t>(a->word[k / 2] >> (16 * (k % 2)));

    bool negativeDivisor = false;
    uint32_t divisor = 0;
    if (d < 0) {
        divisor = 0u - static_cast<uint32_t>(d);
        negativeDivisor = true;
    } else if (d == 0) {
        for (int i = 0; i < kWords; ++i)
            q->word[i] = 0xFFFFFFFFu;
        return -1;
    } else {
        divisor = static_cast<uint32_t>(d);
    }

    // Long division by 16-bit digits in 32-bit steps: exact while the
    // divisor is at most 65536 (the solver divides by 2, -2 and 10).
    uint32_t remainder = 0;
    for (int k = kDigits - 1; k >= 0; --k) {
        const uint32_t cur = remainder * 65536u + digit[k];
        const uint32_t quotient = cur / divisor;
        digit[k] = static_cast<uint16_t>(quotient);
        remainder = cur - quotient * divisor;
    }
    for (int i = 0; i < kWords; ++i)
        q->word[i] = digit[2 * i] | (uint32_t { digit[2 * i + 1] } << 16);

    // a's sign is read only now: when q is a, the digits above left it alone.
    if (!isNegative(a)) {
        q->sign = (negativeDivisor && IsLargeNumNotZero(q)) ? 1 : 0;
        return static_cast<int>(remainder);
    }
    // Kept: a negative dividend rounds away from zero even when it divides
    // exactly, leaving a remainder in 1..divisor; the solver's rounding term
    // for a negative delta relies on it.
    LargeNumMagInc(q);
    remainder = divisor - remainder;
    q->sign = (!negativeDivisor && IsLargeNumNotZero(q)) ? 1 : 0;
    return static_cast<int>(remainder);
}

int LargeNumBits(LARGENUM* n)
{
    for (int i = kWords - 1; i >= 0; --i) {
        if (n->word[i] == 0)
            continue;
        for (int b = 31; b >= 0; --b) {
            if (n->word[i] & (1u << b))
                return i * 32 + b + 1;
        }
    }
    return 0;
}

char* LargeNumToAscii(LARGENUM* n)
{
    // 29 digits of the largest magnitude, a '-' and the NUL fit in 32 bytes.
    static char s_text[32];

    LARGENUM work;
    for (int i = 0; i < kWords; ++i)
        work.word[i] = n->word[i];

    // Digits are produced backwards from the end of the buffer ...
    char* digits = s_text + sizeof s_text - 1;
    *digits = '\0';
    while (IsLargeNumNotZero(&work)) {
        const int remainder = LargeNumDivInt32(&work, 10, &work);
        *--digits = static_cast<char>('0' + remainder);
    }

    // ... then moved forward behind the sign; they start at least two bytes
    // in, so the forward copy never overtakes them.
    char* out = s_text;
    if (isNegative(n))
        *out++ = '-';
    const bool anyDigit = *digits != '\0';
    while (*digits != '\0')
        *out++ = *digits++;
    if (!anyDigit)
        *out++ = '0';
    *out = '\0';
    return s_text;
}
