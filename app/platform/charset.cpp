#include "platform/charset.h"

#include "platform/codepage.h"
#include "platform/utf8.h"
#include "platform/xstring.h"

#include <climits>
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
    const int n = *length;
    xString out;
    // Room for every pair becoming a three-byte character; ASCII beyond that
    // grows the string as it goes. A request too large for an int is one the
    // memory cannot meet either.
    const long long room = static_cast<long long>(n / 2) * 3;
    if (room > INT_MAX || out.reserve(static_cast<int>(room)) != 0)
        return nullptr;

    const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
    // The position is tested before the byte, so the walk never looks at the
    // byte after a final pair's partner.
    for (long long i = 0; i < n && s[i] != 0;) {
        int rc;
        if (s[i] >= 0x80) {
            // Kept: the end test comes before the pair is read, so a lead byte
            // at the very end takes the next byte (the terminator) as partner.
            const unsigned short code = static_cast<unsigned short>(s[i] << 8 | s[i + 1]);
            i += 2;
            const unsigned short unicode = lookupCode(charset, CHARSET_UNICODE, code);
            if (unicode == CODEPAGE_NO_MAPPING) {
                rc = (out += '?');
            } else {
                char utf8[4];
                rc = out.append(utf8, encodeUtf8Char(unicode, utf8));
            }
        } else {
            rc = (out += static_cast<char>(s[i]));
            ++i;
        }
        if (rc != 0)
            break; // out of memory: hand back what was converted so far
    }

    *length = out.length();
    return out.str();
}

char* utf82str(const char* utf8, unsigned short charset)
{
    if (!utf8)
        return nullptr;

    MapTable2List();
    xString out;
    unsigned short unicode;
    for (const char* p = utf8; const char* next = decodeUtf8Char(p, &unicode); p = next) {
        const unsigned short code = lookupCode(CHARSET_UNICODE, charset, unicode);
        int rc;
        if (code == CODEPAGE_NO_MAPPING) {
            // Kept: an unmapped character leaves its last byte, which passes
            // ASCII through unchanged and reduces anything else to one byte.
            rc = (out += next[-1]);
        } else {
            const char pair[2] = { static_cast<char>(code >> 8), static_cast<char>(code & 0xFF) };
            rc = out.append(pair, 2);
        }
        if (rc != 0)
            break; // out of memory: hand back what was converted so far
    }
    return out.str();
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
