#include "platform/xstring.h"

#include <climits>
#include <cstdlib>
#include <cstring>

int xString::reserve(int n)
{
    if (m_capacity >= n)
        return 0;

    // Growth by half again above 32 bytes keeps repeated appends cheap; the
    // buffer size is a multiple of 8 with room for the 0 byte. The arithmetic
    // is done wide so that a huge request fails instead of wrapping round.
    long long want = n;
    if (want > 32)
        want = want * 3 / 2;
    const long long size = (want + 8) / 8 * 8;
    if (size - 1 > INT_MAX)
        return -1;

    char* buf = static_cast<char*>(std::realloc(m_buf, static_cast<size_t>(size)));
    if (!buf)
        return -1;
    m_buf = buf;
    m_capacity = static_cast<int>(size - 1);
    m_buf[m_length] = 0;
    return 0;
}

int xString::append(const char* s, int n)
{
    if (n == -1) {
        const size_t len = s ? std::strlen(s) : 0;
        if (len > static_cast<size_t>(INT_MAX))
            return -1;
        n = static_cast<int>(len);
    }
    if (n < 0 || (n > 0 && !s))
        return -1;
    if (n == 0)
        return 0; // nothing to add; a string without a buffer keeps none

    const long long want = static_cast<long long>(m_length) + n;
    if (want > INT_MAX || reserve(static_cast<int>(want)) != 0)
        return -1;
    std::memcpy(m_buf + m_length, s, static_cast<size_t>(n));
    m_length += n;
    m_buf[m_length] = 0;
    return 0;
}

int xString::operator+=(char c)
{
    return append(&c, 1);
}
