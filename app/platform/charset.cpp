#include "platform/charset.h"

#include "platform/codepage.h"
#include "platform/utf8.h"
#include "platform/xstring.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// Heap copy of n bytes with a 0 byte added.
char* copyBytes(const char* text, int n)
{
    if (n < 0 || (n > 0 && !text))
        return nullptr;
    char* copy = static_cast<char*>(std::malloc(static_cast<size_t>(n) + 1));
    if (!copy)
        return nullptr;
    if (n > 0)
        std::memcpy(copy, text, static_cast<size_t>(n));
    copy[n] = 0;
    return copy;
}

// Gathers converted bytes in a small buffer and hands them to the result
// string in large appends. When memory runs out, as much as fits is kept,
// byte by byte, and every later call answers false.
class ChunkedOut {
public:
    explicit ChunkedOut(xString& out)
        : m_out(out)
    {
    }

    // Makes room for one more character (up to three bytes); false once
    // memory has run out.
    bool room() { return m_used <= kChunk - 3 || flush(); }

    void byte(char c) { m_buf[m_used++] = c; }

    void pair(unsigned short code)
    {
        m_buf[m_used++] = static_cast<char>(code >> 8);
        m_buf[m_used++] = static_cast<char>(code & 0xFF);
    }

    void utf8(unsigned short code) { m_used += encodeUtf8Char(code, m_buf + m_used); }

    // Appends n bytes that need no conversion.
    bool put(const unsigned char* s, long long n)
    {
        if (n <= kChunk - m_used) {
            std::memcpy(m_buf + m_used, s, static_cast<size_t>(n));
            m_used += static_cast<int>(n);
            return true;
        }
        return flush() && keep(reinterpret_cast<const char*>(s), n);
    }

    bool flush()
    {
        const int n = m_used;
        m_used = 0;
        return keep(m_buf, n);
    }

private:
    enum : int { kChunk = 4096 };

    bool keep(const char* s, long long n)
    {
        if (m_failed)
            return false;
        if (n == 0 || (n <= INT_MAX && m_out.append(s, static_cast<int>(n)) == 0))
            return true;
        for (long long k = 0; k < n && (m_out += s[k]) == 0; ++k) { }
        m_failed = true;
        return false;
    }

    xString& m_out;
    char m_buf[kChunk + 1]; // + 1: the encoder writes a 0 byte after a character
    int m_used { 0 };
    bool m_failed { false };
};

// Length of the run of bytes 0x01-0x7F at s, at most n; eight at a time.
long long asciiRun(const unsigned char* s, long long n)
{
    const std::uint64_t ones = 0x0101010101010101u;
    const std::uint64_t highs = 0x8080808080808080u;
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t w;
        std::memcpy(&w, s + i, 8);
        // A high bit, or a 0 byte (which borrows into its high bit).
        if (((w | (w - ones)) & highs) != 0)
            break;
    }
    while (i < n && s[i] != 0 && s[i] < 0x80)
        ++i;
    return i;
}

} // namespace

char* str2utf8(const char* text, int* length, unsigned short charset)
{
    if (!length)
        return nullptr;
    if (charset == CHARSET_UNICODE)
        return copyBytes(text, *length);
    if (!text)
        return nullptr;

    MapTable2List();
    const CodepageIndex& index = codepageIndex(charset, CHARSET_UNICODE);
    const long long n = *length;
    xString result;
    // Room for every pair becoming a three-byte character; ASCII beyond that
    // grows the string as it goes. A request too large for an int is one the
    // memory cannot meet either.
    const long long room = n / 2 * 3;
    if (room > INT_MAX || result.reserve(static_cast<int>(room)) != 0)
        return nullptr;

    ChunkedOut out(result);
    const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
    // The position is tested before the byte, so the walk never looks at the
    // byte after a final pair's partner.
    for (long long i = 0; i < n && s[i] != 0;) {
        if (s[i] < 0x80) {
            const long long run = asciiRun(s + i, n - i);
            if (!out.put(s + i, run))
                break; // out of memory: hand back what was converted so far
            i += run;
            continue;
        }
        // Kept: the end test comes before the pair is read, so a lead byte
        // at the very end takes the next byte (the terminator) as partner.
        const unsigned short unicode = index[static_cast<unsigned short>(s[i] << 8 | s[i + 1])];
        i += 2;
        if (!out.room())
            break;
        if (unicode == CODEPAGE_NO_MAPPING)
            out.byte('?');
        else
            out.utf8(unicode);
    }
    out.flush();

    *length = result.length();
    return result.str();
}

char* utf82str(const char* utf8, unsigned short charset)
{
    if (!utf8)
        return nullptr;

    MapTable2List();
    const CodepageIndex& index = codepageIndex(CHARSET_UNICODE, charset);
    xString result;
    ChunkedOut out(result);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(utf8);
    while (*p != 0) {
        // Kept: an unmapped character leaves its last byte, which passes
        // ASCII through unchanged (the run is copied whole) and reduces
        // anything else to one byte.
        if (*p < 0x80 && index.asciiUnmapped) {
            const unsigned char* end = p + 1;
            while (*end != 0 && *end < 0x80)
                ++end;
            if (!out.put(p, end - p))
                break; // out of memory: hand back what was converted so far
            p = end;
            continue;
        }
        // The common two- and three-byte forms are read here, the same way
        // decodeUtf8Char reads them; everything else goes through it.
        unsigned short unicode;
        const unsigned char* next;
        if (*p >= 0xE0 && *p < 0xF0 && (p[1] & 0xC0) == 0x80 && (p[2] & 0xC0) == 0x80) {
            unicode = static_cast<unsigned short>((p[0] & 0x0F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F));
            next = p + 3;
        } else if (*p >= 0xC0 && *p < 0xE0 && (p[1] & 0xC0) == 0x80) {
            unicode = static_cast<unsigned short>((p[0] & 0x1F) << 6 | (p[1] & 0x3F));
            next = p + 2;
        } else {
            next = reinterpret_cast<const unsigned char*>(
                decodeUtf8Char(reinterpret_cast<const char*>(p), &unicode));
        }
        const unsigned short code = index[unicode];
        if (!out.room())
            break;
        if (code == CODEPAGE_NO_MAPPING)
            out.byte(static_cast<char>(next[-1]));
        else
            out.pair(code);
        p = next;
    }
    out.flush();
    return result.str();
}

int judgeCharset(const char* text, int length)
{
    if (!text)
        return 1;
    unsigned short unicode;
    for (const char* p = text;;) {
        const char* next = decodeUtf8Char(p, &unicode);
        if (!next)
            return 1;
        if (length >= 0 && next - text > length)
            return 1;
        // Kept: the decoder's "no character" value is U+FEFF, so a text that
        // holds a byte-order mark is judged GBK.
        if (unicode == CODEPAGE_NO_MAPPING)
            return 2;
        p = next;
    }
}
