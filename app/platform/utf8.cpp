#include "platform/utf8.h"

namespace {

const unsigned short kNoCharacter = 0xFEFF;

// Length of the sequence a first byte announces; 0 for a byte that cannot
// start one. The 0 byte itself is handled before this is asked.
int sequenceLength(unsigned char first)
{
    if (first < 0x80)
        return 1;
    if (first < 0xC0)
        return 0;
    if (first < 0xE0)
        return 2;
    if (first < 0xF0)
        return 3;
    if (first < 0xF8)
        return 4;
    if (first < 0xFC)
        return 5;
    if (first < 0xFE)
        return 6;
    return 0;
}

} // namespace

const char* decodeUtf8Char(const char* p, unsigned short* value)
{
    const unsigned char* s = reinterpret_cast<const unsigned char*>(p);
    if (s[0] == 0)
        return nullptr;

    const int length = sequenceLength(s[0]);
    // The continuation test stops at the first byte outside 0x80-0xBF, which
    // includes the terminating 0, so a cut-short sequence never reads past it.
    bool valid = length > 0;
    for (int i = 1; valid && i < length; ++i)
        valid = (s[i] & 0xC0) == 0x80;
    if (!valid) {
        *value = kNoCharacter;
        return p + 1;
    }

    switch (length) {
    case 1:
        *value = s[0];
        break;
    case 2:
        *value = static_cast<unsigned short>((s[0] & 0x1F) << 6 | (s[1] & 0x3F));
        break;
    case 3:
        *value = static_cast<unsigned short>((s[0] & 0x0F) << 12 | (s[1] & 0x3F) << 6 | (s[2] & 0x3F));
        break;
    default:
        // Characters beyond 16 bits have no place in the tables.
        *value = kNoCharacter;
        break;
    }
    return p + length;
}

int encodeUtf8Char(unsigned short code, char* out)
{
    int n;
    if (code < 0x80) {
        out[0] = static_cast<char>(code);
        n = 1;
    } else if (code < 0x800) {
        out[0] = static_cast<char>(0xC0 | code >> 6);
        out[1] = static_cast<char>(0x80 | (code & 0x3F));
        n = 2;
    } else {
        out[0] = static_cast<char>(0xE0 | code >> 12);
        out[1] = static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out[2] = static_cast<char>(0x80 | (code & 0x3F));
        n = 3;
    }
    out[n] = 0;
    return n;
}
