#pragma once
// Exact reference arithmetic for the touch tests: an unbounded signed integer
// and a rational built on it. It uses nothing wider than 64 bits, so the same
// references run on the 32-bit device build (which has no __int128), and it
// shares no code or algorithm with the wide integers under test: limbs are
// multiplied whole in 64 bits, never split into 16-bit halves.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace exact {

class Int {
public:
    Int() = default;
    Int(int64_t v) // NOLINT: implicit on purpose, for readable expressions
    {
        m_negative = v < 0;
        uint64_t mag = m_negative ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
        while (mag != 0) {
            m_mag.push_back(static_cast<uint32_t>(mag));
            mag >>= 32;
        }
    }

    // A value from magnitude words, least significant first.
    static Int fromWords(bool negative, const uint32_t* words, size_t count)
    {
        Int r;
        r.m_mag.assign(words, words + count);
        r.m_negative = negative;
        r.trim();
        return r;
    }

    static Int powerOfTwo(unsigned k)
    {
        Int r;
        r.m_mag.assign(k / 32 + 1, 0);
        r.m_mag[k / 32] = 1u << (k % 32);
        return r;
    }

    bool isZero() const { return m_mag.empty(); }
    bool isNegative() const { return m_negative; }
    Int abs() const
    {
        Int r = *this;
        r.m_negative = false;
        return r;
    }
    Int operator-() const
    {
        Int r = *this;
        r.m_negative = !r.m_negative && !r.isZero();
        return r;
    }

    // Word i of the magnitude (0 beyond the top).
    uint32_t word(size_t i) const { return i < m_mag.size() ? m_mag[i] : 0; }

    unsigned bitLength() const
    {
        if (m_mag.empty())
            return 0;
        unsigned bits = static_cast<unsigned>(m_mag.size() - 1) * 32;
        for (uint32_t top = m_mag.back(); top != 0; top >>= 1)
            ++bits;
        return bits;
    }

    // The magnitude modulo 2^bits, sign kept (zero becomes non-negative).
    Int lowBits(unsigned bits) const
    {
        Int r = *this;
        const size_t whole = bits / 32;
        if (r.m_mag.size() > whole) {
            const unsigned rest = bits % 32;
            if (rest == 0) {
                r.m_mag.resize(whole);
            } else {
                r.m_mag.resize(whole + 1);
                r.m_mag[whole] &= (1u << rest) - 1;
            }
        }
        r.trim();
        return r;
    }

    // floor(value / 2^k).
    Int floorShift(unsigned k) const
    {
        Int q = abs().magnitudeShiftRight(k);
        if (m_negative && !(q.magnitudeShiftLeft(k) == abs()))
            q = q + 1;
        q.m_negative = m_negative && !q.isZero();
        return q;
    }

    // Truncating division of the magnitude by d; the sign is dropped.
    Int magnitudeDivided(uint32_t d, uint32_t* remainder) const
    {
        Int q;
        q.m_mag.assign(m_mag.size(), 0);
        uint64_t rem = 0;
        for (size_t i = m_mag.size(); i-- > 0;) {
            const uint64_t cur = (rem << 32) | m_mag[i];
            q.m_mag[i] = static_cast<uint32_t>(cur / d);
            rem = cur % d;
        }
        q.trim();
        *remainder = static_cast<uint32_t>(rem);
        return q;
    }

    std::string toString() const
    {
        if (isZero())
            return "0";
        std::string digits;
        Int rest = abs();
        while (!rest.isZero()) {
            uint32_t chunk = 0;
            rest = rest.magnitudeDivided(1000000000u, &chunk);
            for (int i = 0; i < 9 && (chunk != 0 || !rest.isZero()); ++i) {
                digits.insert(digits.begin(), static_cast<char>('0' + chunk % 10));
                chunk /= 10;
            }
        }
        return (m_negative ? "-" : "") + digits;
    }

    double toDouble() const
    {
        double r = 0;
        for (size_t i = m_mag.size(); i-- > 0;)
            r = r * 4294967296.0 + m_mag[i];
        return m_negative ? -r : r;
    }

    friend Int operator+(const Int& a, const Int& b)
    {
        if (a.m_negative == b.m_negative)
            return withSign(addMagnitudes(a.m_mag, b.m_mag), a.m_negative);
        if (compareMagnitudes(a.m_mag, b.m_mag) >= 0)
            return withSign(subtractMagnitudes(a.m_mag, b.m_mag), a.m_negative);
        return withSign(subtractMagnitudes(b.m_mag, a.m_mag), b.m_negative);
    }
    friend Int operator-(const Int& a, const Int& b) { return a + (-b); }
    friend Int operator*(const Int& a, const Int& b)
    {
        std::vector<uint32_t> r(a.m_mag.size() + b.m_mag.size(), 0);
        for (size_t i = 0; i < a.m_mag.size(); ++i) {
            uint64_t carry = 0;
            for (size_t j = 0; j < b.m_mag.size(); ++j) {
                const uint64_t cur = uint64_t { a.m_mag[i] } * b.m_mag[j] + r[i + j] + carry;
                r[i + j] = static_cast<uint32_t>(cur);
                carry = cur >> 32;
            }
            for (size_t k = i + b.m_mag.size(); carry != 0; ++k) {
                const uint64_t cur = uint64_t { r[k] } + carry;
                r[k] = static_cast<uint32_t>(cur);
                carry = cur >> 32;
            }
        }
        return withSign(std::move(r), a.m_negative != b.m_negative);
    }

    friend int compare(const Int& a, const Int& b)
    {
        if (a.m_negative != b.m_negative)
            return a.m_negative ? -1 : 1;
        const int c = compareMagnitudes(a.m_mag, b.m_mag);
        return a.m_negative ? -c : c;
    }
    friend bool operator==(const Int& a, const Int& b) { return compare(a, b) == 0; }
    friend bool operator!=(const Int& a, const Int& b) { return compare(a, b) != 0; }
    friend bool operator<(const Int& a, const Int& b) { return compare(a, b) < 0; }
    friend bool operator<=(const Int& a, const Int& b) { return compare(a, b) <= 0; }
    friend bool operator>(const Int& a, const Int& b) { return compare(a, b) > 0; }
    friend bool operator>=(const Int& a, const Int& b) { return compare(a, b) >= 0; }

private:
    static Int withSign(std::vector<uint32_t> mag, bool negative)
    {
        Int r;
        r.m_mag = std::move(mag);
        r.m_negative = negative;
        r.trim();
        return r;
    }

    void trim()
    {
        while (!m_mag.empty() && m_mag.back() == 0)
            m_mag.pop_back();
        if (m_mag.empty())
            m_negative = false;
    }

    Int magnitudeShiftRight(unsigned k) const
    {
        Int r;
        const size_t whole = k / 32;
        const unsigned rest = k % 32;
        for (size_t i = whole; i < m_mag.size(); ++i) {
            uint64_t v = m_mag[i] >> rest;
            if (rest != 0 && i + 1 < m_mag.size())
                v |= uint64_t { m_mag[i + 1] } << (32 - rest);
            r.m_mag.push_back(static_cast<uint32_t>(v));
        }
        r.trim();
        return r;
    }

    Int magnitudeShiftLeft(unsigned k) const { return abs() * powerOfTwo(k); }

    static int compareMagnitudes(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b)
    {
        if (a.size() != b.size())
            return a.size() < b.size() ? -1 : 1;
        for (size_t i = a.size(); i-- > 0;) {
            if (a[i] != b[i])
                return a[i] < b[i] ? -1 : 1;
        }
        return 0;
    }

    static std::vector<uint32_t> addMagnitudes(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b)
    {
        std::vector<uint32_t> r(std::max(a.size(), b.size()) + 1, 0);
        uint64_t carry = 0;
        for (size_t i = 0; i < r.size(); ++i) {
            const uint64_t cur = uint64_t { i < a.size() ? a[i] : 0u } + (i < b.size() ? b[i] : 0u) + carry;
            r[i] = static_cast<uint32_t>(cur);
            carry = cur >> 32;
        }
        return r;
    }

    // a - b for a >= b.
    static std::vector<uint32_t> subtractMagnitudes(
        const std::vector<uint32_t>& a, const std::vector<uint32_t>& b)
    {
        std::vector<uint32_t> r(a.size(), 0);
        int64_t borrow = 0;
        for (size_t i = 0; i < a.size(); ++i) {
            int64_t cur = int64_t { a[i] } - (i < b.size() ? b[i] : 0u) - borrow;
            borrow = cur < 0 ? 1 : 0;
            if (cur < 0)
                cur += int64_t { 1 } << 32;
            r[i] = static_cast<uint32_t>(cur);
        }
        return r;
    }

    bool m_negative { false };
    std::vector<uint32_t> m_mag; // least significant first, no zero on top
};

// Lets test failures show the value.
inline void PrintTo(const Int& v, std::ostream* os)
{
    *os << v.toString();
}

// A fraction with a positive denominator; not reduced, which the small
// systems of the tests can afford.
struct Rational {
    Int num { 0 };
    Int den { 1 };

    Rational() = default;
    Rational(Int n) // NOLINT: implicit on purpose
        : num(std::move(n))
    {
    }
    Rational(Int n, Int d)
        : num(std::move(n))
        , den(std::move(d))
    {
        if (den.isNegative()) {
            num = -num;
            den = -den;
        }
    }

    bool isZero() const { return num.isZero(); }
    double toDouble() const { return num.toDouble() / den.toDouble(); }

    friend Rational operator+(const Rational& a, const Rational& b)
    {
        return Rational(a.num * b.den + b.num * a.den, a.den * b.den);
    }
    friend Rational operator-(const Rational& a, const Rational& b)
    {
        return Rational(a.num * b.den - b.num * a.den, a.den * b.den);
    }
    friend Rational operator*(const Rational& a, const Rational& b)
    {
        return Rational(a.num * b.num, a.den * b.den);
    }
    friend Rational operator/(const Rational& a, const Rational& b)
    {
        return Rational(a.num * b.den, a.den * b.num);
    }
    friend int compare(const Rational& a, const Rational& b) { return compare(a.num * b.den, b.num * a.den); }
};

// A deterministic source of test inputs. The mapping from the generator's
// output to ranges is written out here because the standard distributions
// may differ between library builds.
class Random {
public:
    explicit Random(uint32_t seed)
        : m_engine(seed)
    {
    }
    uint32_t next() { return static_cast<uint32_t>(m_engine()); }
    // Uniform enough in [lo, hi] for test data.
    int64_t between(int64_t lo, int64_t hi)
    {
        const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
        const uint64_t wide = (uint64_t { next() } << 32) | next();
        return lo + static_cast<int64_t>(wide % span);
    }
    double unit() { return next() / 4294967296.0; }
    bool coin() { return (next() & 1) != 0; }

private:
    std::mt19937 m_engine;
};

} // namespace exact
