// The code-page tables as stored, the registry that points into them and the
// lookup that searches them.

#include "charset_test_support.h"

#include "platform/charset.h"
#include "platform/codepage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

struct Pair {
    unsigned short key;
    unsigned short value;
};

struct TableHeader {
    unsigned int magic;
    unsigned short from;
    unsigned short to;
    unsigned int count;
};

TableHeader headerOf(const unsigned char* table)
{
    const unsigned int sets = readLe32(table + 4);
    return { readLe32(table), static_cast<unsigned short>(sets & 0xFFFF),
        static_cast<unsigned short>(sets >> 16), readLe32(table + 8) };
}

std::vector<Pair> pairsOf(const unsigned char* table)
{
    const unsigned int count = readLe32(table + 8);
    std::vector<Pair> pairs;
    pairs.reserve(count);
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned char* p = table + CODEPAGE_HEADER_BYTES + i * CODEPAGE_PAIR_BYTES;
        pairs.push_back({ readLe16(p), readLe16(p + 2) });
    }
    return pairs;
}

bool isDoubleByteCode(unsigned short code)
{
    const unsigned lead = code >> 8;
    const unsigned trail = code & 0xFF;
    return lead >= 0x81 && lead <= 0xFE
        && ((trail >= 0x40 && trail <= 0x7E) || (trail >= 0x80 && trail <= 0xFE));
}

bool strictlyAscending(const std::vector<Pair>& pairs)
{
    for (size_t i = 1; i < pairs.size(); ++i) {
        if (pairs[i - 1].key >= pairs[i].key)
            return false;
    }
    return true;
}

size_t countInRange(const std::vector<Pair>& pairs, unsigned first, unsigned last)
{
    size_t n = 0;
    for (const Pair& p : pairs)
        n += p.key >= first && p.key <= last;
    return n;
}

std::map<unsigned short, unsigned short> asMap(const std::vector<Pair>& pairs)
{
    std::map<unsigned short, unsigned short> m;
    for (const Pair& p : pairs)
        m[p.key] = p.value;
    return m;
}

TEST(CodepageTables, EachTableStartsWithTheMagicItsSetsAndItsPairCount)
{
    const struct {
        const unsigned char* table;
        unsigned short from, to;
        unsigned int count;
    } expected[] = {
        { s_pBig5ToUcs2Map, CHARSET_BIG5, CHARSET_UNICODE, 13503 },
        { s_pGbkToUcs2Map, CHARSET_GBK, CHARSET_UNICODE, 21791 },
        { s_pUcs2ToGbkMap, CHARSET_UNICODE, CHARSET_GBK, 21791 },
        { s_pUcs2toBig5Map, CHARSET_UNICODE, CHARSET_BIG5, 13503 },
    };
    for (const auto& e : expected) {
        const TableHeader h = headerOf(e.table);
        EXPECT_EQ(h.magic, 0x01015443u);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(e.table), 4), std::string("CT\x01\x01", 4));
        EXPECT_EQ(h.from, e.from);
        EXPECT_EQ(h.to, e.to);
        EXPECT_EQ(h.count, e.count);
    }
}

TEST(CodepageTables, HeaderWordsAndPairsAreStoredLittleEndian)
{
    // Big5 -> Unicode: sets 3 and 1, 13503 = 0x34BF pairs, first pair 0xA140 -> U+3000.
    const unsigned char expected[]
        = { 0x43, 0x54, 0x01, 0x01, 0x03, 0x00, 0x01, 0x00, 0xBF, 0x34, 0x00, 0x00, 0x40, 0xA1, 0x00, 0x30 };
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(s_pBig5ToUcs2Map), sizeof expected),
        std::string(reinterpret_cast<const char*>(expected), sizeof expected));
}

TEST(CodepageTables, InstalledTablesHaveStrictlyAscendingKeysForTheBinarySearch)
{
    EXPECT_TRUE(strictlyAscending(pairsOf(s_pBig5ToUcs2Map)));
    EXPECT_TRUE(strictlyAscending(pairsOf(s_pGbkToUcs2Map)));
    EXPECT_TRUE(strictlyAscending(pairsOf(s_pUcs2ToGbkMap)));
}

TEST(CodepageTables, GbkTableHoldsOnlyDoubleByteCodesMappedAboveAscii)
{
    for (const Pair& p : pairsOf(s_pGbkToUcs2Map)) {
        EXPECT_TRUE(isDoubleByteCode(p.key)) << std::hex << p.key;
        EXPECT_GE(p.value, 0x80) << std::hex << p.key;
        EXPECT_NE(p.value, 0xFEFF) << std::hex << p.key;
    }
}

TEST(CodepageTables, UnicodeToGbkIsTheExactInverseOfGbkToUnicode)
{
    const std::vector<Pair> forward = pairsOf(s_pGbkToUcs2Map);
    const std::map<unsigned short, unsigned short> inverse = asMap(pairsOf(s_pUcs2ToGbkMap));
    ASSERT_EQ(inverse.size(), 21791u); // one-to-one: no code point twice
    for (const Pair& p : forward) {
        const auto it = inverse.find(p.value);
        ASSERT_NE(it, inverse.end()) << std::hex << p.value;
        EXPECT_EQ(it->second, p.key) << std::hex << p.value;
    }
}

TEST(CodepageTables, Big5TableLeavesOutTheUserDefinedBlockC6A1ToC8FE)
{
    const std::vector<Pair> pairs = pairsOf(s_pBig5ToUcs2Map);
    EXPECT_EQ(countInRange(pairs, 0xC6A1, 0xC8FE), 0u);
    EXPECT_EQ(countInRange(pairs, 0xA140, 0xA3BF), 408u);
    EXPECT_EQ(countInRange(pairs, 0xA3E1, 0xA3E1), 1u);
    EXPECT_EQ(countInRange(pairs, 0xA440, 0xC67E), 5401u);
    EXPECT_EQ(countInRange(pairs, 0xC940, 0xF9D5), 7652u);
    EXPECT_EQ(countInRange(pairs, 0xF9D6, 0xF9FE), 41u);
    for (const Pair& p : pairs)
        EXPECT_TRUE(isDoubleByteCode(p.key)) << std::hex << p.key;
}

TEST(CodepageTables, UnicodeToBig5KeepsEveryPairSoTenCodePointsAppearTwice)
{
    const std::vector<Pair> forward = pairsOf(s_pBig5ToUcs2Map);
    const std::vector<Pair> inverse = pairsOf(s_pUcs2toBig5Map);
    ASSERT_EQ(inverse.size(), 13503u);

    std::multiset<std::pair<unsigned, unsigned>> swapped, stored;
    for (const Pair& p : forward)
        swapped.insert({ p.value, p.key });
    for (const Pair& p : inverse)
        stored.insert({ p.key, p.value });
    EXPECT_EQ(stored, swapped);

    std::map<unsigned short, std::vector<unsigned short>> codesOf;
    for (const Pair& p : inverse)
        codesOf[p.key].push_back(p.value);
    std::map<unsigned short, std::vector<unsigned short>> shared;
    for (const auto& [cp, codes] : codesOf) {
        if (codes.size() > 1)
            shared[cp] = codes;
    }
    // Sorted stably by code point, so each pair keeps its Big5 order.
    const std::map<unsigned short, std::vector<unsigned short>> expected = {
        { 0x2550, { 0xA2A4, 0xF9F9 } },
        { 0x255E, { 0xA2A5, 0xF9E9 } },
        { 0x2561, { 0xA2A7, 0xF9EB } },
        { 0x256A, { 0xA2A6, 0xF9EA } },
        { 0x256D, { 0xA27E, 0xF9FA } },
        { 0x256E, { 0xA2A1, 0xF9FB } },
        { 0x256F, { 0xA2A3, 0xF9FD } },
        { 0x2570, { 0xA2A2, 0xF9FC } },
        { 0x5341, { 0xA2CC, 0xA451 } },
        { 0x5345, { 0xA2CE, 0xA4CA } },
    };
    EXPECT_EQ(shared, expected);
}

TEST(CodepageTables, SpotChecksMatchThePublishedCodePages)
{
    const std::map<unsigned short, unsigned short> gbk = asMap(pairsOf(s_pGbkToUcs2Map));
    const std::map<unsigned short, unsigned short> big5 = asMap(pairsOf(s_pBig5ToUcs2Map));
    EXPECT_EQ(gbk.at(0x8140), 0x4E02);
    EXPECT_EQ(gbk.at(0xB0A1), 0x554A);
    EXPECT_EQ(gbk.at(0xA1A1), 0x3000);
    EXPECT_EQ(big5.at(0xA440), 0x4E00);
    EXPECT_EQ(big5.at(0xA3E1), 0x20AC);
    EXPECT_EQ(big5.at(0xF9F9), 0x2550);
}

TEST(CodepageRegistry, FillsSlotsWithBig5GbkAndTwiceUnicodeToGbk)
{
    MapTable2List();
    const CvtMapFile* slots = cvtMapSlots();
    const struct {
        unsigned short from, to;
        int count;
        const unsigned char* table;
    } expected[CVT_MAP_SLOTS] = {
        { CHARSET_BIG5, CHARSET_UNICODE, 13503, s_pBig5ToUcs2Map },
        { CHARSET_GBK, CHARSET_UNICODE, 21791, s_pGbkToUcs2Map },
        { CHARSET_UNICODE, CHARSET_GBK, 21791, s_pUcs2ToGbkMap },
        { CHARSET_UNICODE, CHARSET_GBK, 21791, s_pUcs2ToGbkMap },
    };
    for (int i = 0; i < CVT_MAP_SLOTS; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(slots[i].from, expected[i].from);
        EXPECT_EQ(slots[i].to, expected[i].to);
        EXPECT_EQ(slots[i].count, expected[i].count);
        // The slot points into the constant table, at its first pair: nothing is copied.
        EXPECT_EQ(slots[i].pairs, expected[i].table + CODEPAGE_HEADER_BYTES);
    }
}

TEST(CodepageRegistry, FillingAgainLeavesTheSameSlots)
{
    MapTable2List();
    std::vector<CvtMapFile> first(cvtMapSlots(), cvtMapSlots() + CVT_MAP_SLOTS);
    MapTable2List();
    const CvtMapFile* again = cvtMapSlots();
    for (int i = 0; i < CVT_MAP_SLOTS; ++i) {
        EXPECT_EQ(again[i].from, first[i].from);
        EXPECT_EQ(again[i].to, first[i].to);
        EXPECT_EQ(again[i].count, first[i].count);
        EXPECT_EQ(again[i].pairs, first[i].pairs);
    }
}

TEST(CodepageLookup, FindsTheFirstAndLastKeyOfEachInstalledTable)
{
    MapTable2List();
    const struct {
        const unsigned char* table;
        unsigned short from, to;
    } tables[] = {
        { s_pBig5ToUcs2Map, CHARSET_BIG5, CHARSET_UNICODE },
        { s_pGbkToUcs2Map, CHARSET_GBK, CHARSET_UNICODE },
        { s_pUcs2ToGbkMap, CHARSET_UNICODE, CHARSET_GBK },
    };
    for (const auto& t : tables) {
        const std::vector<Pair> pairs = pairsOf(t.table);
        EXPECT_EQ(lookupCode(t.from, t.to, pairs.front().key), pairs.front().value);
        EXPECT_EQ(lookupCode(t.from, t.to, pairs.back().key), pairs.back().value);
        EXPECT_EQ(lookupCode(t.from, t.to, pairs[pairs.size() / 2].key), pairs[pairs.size() / 2].value);
    }
}

TEST(CodepageLookup, FindsEveryKeyOfEveryInstalledTable)
{
    MapTable2List();
    for (const Pair& p : pairsOf(s_pBig5ToUcs2Map))
        ASSERT_EQ(lookupCode(CHARSET_BIG5, CHARSET_UNICODE, p.key), p.value) << std::hex << p.key;
    for (const Pair& p : pairsOf(s_pGbkToUcs2Map))
        ASSERT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, p.key), p.value) << std::hex << p.key;
    for (const Pair& p : pairsOf(s_pUcs2ToGbkMap))
        ASSERT_EQ(lookupCode(CHARSET_UNICODE, CHARSET_GBK, p.key), p.value) << std::hex << p.key;
}

TEST(CodepageLookup, AnswersFeffForCodesBelowAboveAndBetweenTheKeys)
{
    MapTable2List();
    EXPECT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, 0x0000), 0xFEFF);
    EXPECT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, 0x8140 - 1), 0xFEFF);
    EXPECT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, 0xFFFF), 0xFEFF);
    EXPECT_EQ(lookupCode(CHARSET_GBK, CHARSET_UNICODE, 0xAAA1), 0xFEFF); // user-defined area
    EXPECT_EQ(lookupCode(CHARSET_UNICODE, CHARSET_GBK, 'A'), 0xFEFF); // tables start above ASCII
}

TEST(CodepageLookup, UnicodeToBig5FindsNothingBecauseThatTableIsNeverInstalled)
{
    MapTable2List();
    EXPECT_EQ(lookupCode(CHARSET_UNICODE, CHARSET_BIG5, 0x4E00), 0xFEFF);
    EXPECT_EQ(lookupCode(CHARSET_UNICODE, CHARSET_BIG5, 0x2550), 0xFEFF);
}

TEST(CodepageLookup, UnknownCharacterSetsFindNoTable)
{
    MapTable2List();
    EXPECT_EQ(lookupCode(4, CHARSET_UNICODE, 0xB0A1), 0xFEFF);
    EXPECT_EQ(lookupCode(CHARSET_GBK, CHARSET_BIG5, 0xB0A1), 0xFEFF);
}

} // namespace
