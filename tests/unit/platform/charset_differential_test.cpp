// The converters read direct tables and copy ASCII runs whole; these tests
// hold them to the character-by-character walk over the binary-searched
// tables (written out again here) on random and edge input, byte for byte.

#include "charset_test_support.h"
#include "platform/codepage.h"
#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace charsettest;

namespace {

// The walk of str2utf8 one byte or pair at a time, through lookupCode.
std::string referenceToUtf8(const std::string& in, unsigned short charset)
{
    MapTable2List();
    const unsigned char* s = reinterpret_cast<const unsigned char*>(in.c_str());
    const long long n = static_cast<long long>(in.size());
    std::string out;
    for (long long i = 0; i < n && s[i] != 0;) {
        if (s[i] >= 0x80) {
            const unsigned short code = static_cast<unsigned short>(s[i] << 8 | s[i + 1]);
            i += 2;
            const unsigned short unicode = lookupCode(charset, CHARSET_UNICODE, code);
            if (unicode == CODEPAGE_NO_MAPPING) {
                out += '?';
            } else {
                char utf8[4];
                out.append(utf8, static_cast<size_t>(encodeUtf8Char(unicode, utf8)));
            }
        } else {
            out += static_cast<char>(s[i++]);
        }
    }
    return out;
}

// The walk of utf82str one character at a time, through lookupCode.
std::string referenceFromUtf8(const std::string& in, unsigned short charset)
{
    MapTable2List();
    std::string out;
    unsigned short unicode;
    for (const char* p = in.c_str(); const char* next = decodeUtf8Char(p, &unicode); p = next) {
        const unsigned short code = lookupCode(CHARSET_UNICODE, charset, unicode);
        if (code == CODEPAGE_NO_MAPPING) {
            out += next[-1];
        } else {
            out += static_cast<char>(code >> 8);
            out += static_cast<char>(code & 0xFF);
        }
    }
    return out;
}

// Random text: runs of ASCII (with the odd 0 byte), pairs of high bytes, and
// stray bytes of every value, in lengths that cross the converters' chunks.
std::string randomText(std::mt19937& rng, size_t size, bool withZeros)
{
    std::string s;
    std::uniform_int_distribution<int> kind(0, 9);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> ascii(1, 127);
    std::uniform_int_distribution<int> runLength(1, 40);
    while (s.size() < size) {
        const int k = kind(rng);
        if (k < 4) {
            for (int r = runLength(rng); r > 0; --r)
                s += static_cast<char>(ascii(rng));
        } else if (k < 8) {
            s += static_cast<char>(0x81 + byte(rng) % 0x7E);
            s += static_cast<char>(0x40 + byte(rng) % 0xBF);
        } else {
            const int b = byte(rng);
            if (b != 0 || withZeros)
                s += static_cast<char>(b);
        }
    }
    return s;
}

// UTF-8-like random text: valid one- to four-byte characters mixed with cut
// sequences, stray continuation bytes and 0xFE/0xFF; no 0 byte.
std::string randomUtf8(std::mt19937& rng, size_t size)
{
    std::string s;
    std::uniform_int_distribution<int> kind(0, 9);
    std::uniform_int_distribution<unsigned int> cp(0x80, 0xFFFF);
    std::uniform_int_distribution<int> ascii(1, 127);
    std::uniform_int_distribution<int> byte(1, 255);
    while (s.size() < size) {
        const int k = kind(rng);
        if (k < 3) {
            s += static_cast<char>(ascii(rng));
        } else if (k < 7) {
            s += utf8Of(cp(rng));
        } else if (k < 8) {
            s += "\xF0\x9F\x98\x80"; // beyond 16 bits
        } else if (k < 9) {
            s += utf8Of(cp(rng) | 0x800).substr(0, 2); // cut short
        } else {
            s += static_cast<char>(byte(rng));
        }
    }
    return s;
}

// Both tables and a set that has none.
const unsigned short kCharsets[] = { CHARSET_GBK, CHARSET_BIG5, 7 };

} // namespace

TEST(CharsetDifferential, RandomDoubleByteTextConvertsAsTheCharacterWalkDoes)
{
    std::mt19937 rng(16);
    for (unsigned short charset : kCharsets) {
        for (size_t size : { 1u, 2u, 3u, 7u, 8u, 9u, 100u, 5000u, 20000u }) {
            for (int round = 0; round < 4; ++round) {
                const std::string in = randomText(rng, size, round % 2 == 1);
                const Converted c = toUtf8(in, charset);
                const std::string want = referenceToUtf8(in, charset);
                ASSERT_EQ(c.bytes(), want) << "charset " << charset << " size " << size;
                ASSERT_EQ(c.length, static_cast<int>(want.size()));
            }
        }
    }
}

TEST(CharsetDifferential, EveryPairOfBytesConvertsAsTheCharacterWalkDoes)
{
    // All 65,536 two-byte inputs, each followed by ASCII so that runs start
    // after pairs as well as before them.
    std::string in;
    for (unsigned int code = 0; code < 0x10000; ++code) {
        if ((code >> 8) == 0 || (code & 0xFF) == 0)
            continue;
        in += codeBytes(code);
        in += "ab";
    }
    for (unsigned short charset :
        { static_cast<unsigned short>(CHARSET_GBK), static_cast<unsigned short>(CHARSET_BIG5) })
        ASSERT_EQ(toUtf8(in, charset).bytes(), referenceToUtf8(in, charset));
}

TEST(CharsetDifferential, LengthsEndingInsideRunsAndPairsMatchTheWalk)
{
    const std::string text
        = std::string("0123456789abcdefghij") + "\xB0\xA1" + "klmnopqrstuv" + "\xD6\xD0" + "w";
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        // The byte after the length is readable (a final lead byte takes it).
        const std::string in = text.substr(0, cut);
        Converted c;
        c.length = static_cast<int>(cut);
        c.text.reset(str2utf8(text.c_str(), &c.length, CHARSET_GBK));
        std::string want;
        {
            // The walk of the whole text stopped at the length.
            const std::string whole = text + '\0';
            const unsigned char* s = reinterpret_cast<const unsigned char*>(whole.c_str());
            MapTable2List();
            for (size_t i = 0; i < cut && s[i] != 0;) {
                if (s[i] >= 0x80) {
                    const unsigned short u = lookupCode(
                        CHARSET_GBK, CHARSET_UNICODE, static_cast<unsigned short>(s[i] << 8 | s[i + 1]));
                    i += 2;
                    char utf8[4];
                    want += u == CODEPAGE_NO_MAPPING
                        ? std::string("?")
                        : std::string(utf8, static_cast<size_t>(encodeUtf8Char(u, utf8)));
                } else {
                    want += static_cast<char>(s[i++]);
                }
            }
        }
        EXPECT_EQ(c.bytes(), want) << "length " << cut;
    }
}

TEST(CharsetDifferential, RandomUtf8ConvertsAsTheCharacterWalkDoes)
{
    std::mt19937 rng(61);
    for (unsigned short charset : kCharsets) {
        for (size_t size : { 1u, 2u, 5u, 100u, 5000u, 20000u }) {
            for (int round = 0; round < 4; ++round) {
                const std::string in = randomUtf8(rng, size);
                ASSERT_EQ(fromUtf8(in, charset), referenceFromUtf8(in, charset)) << "charset " << charset;
            }
        }
    }
}

TEST(CharsetDifferential, EveryCodePointConvertsAsTheCharacterWalkDoes)
{
    std::string in;
    for (unsigned int cp = 1; cp < 0x10000; ++cp)
        in += utf8Of(cp);
    ASSERT_EQ(fromUtf8(in, CHARSET_GBK), referenceFromUtf8(in, CHARSET_GBK));
}

TEST(CharsetDifferential, LongAsciiRunsCrossingTheChunksArriveWhole)
{
    const std::string ascii(10000, 'x');
    const std::string in = ascii + "\xB0\xA1" + ascii;
    const Converted c = toUtf8(in, CHARSET_GBK);
    EXPECT_EQ(c.bytes(), ascii + "\xE5\x95\x8A" + ascii);
    EXPECT_EQ(fromUtf8(c.bytes(), CHARSET_GBK), in);
}
