#include "platform/codepage.h"

#include "platform/charset.h"

#include <memory>

namespace {

// Empty until the first conversion fills it; afterwards it only ever holds
// pointers into the constant tables.
CvtMapFile s_cvtMapList[CVT_MAP_SLOTS];

void installTable(CvtMapFile& slot, const unsigned char* table)
{
    const unsigned int sets = readLe32(table + 4);
    slot.from = static_cast<unsigned short>(sets & 0xFFFF);
    slot.to = static_cast<unsigned short>(sets >> 16);
    slot.count = static_cast<int>(readLe32(table + 8));
    slot.pairs = table + CODEPAGE_HEADER_BYTES;
}

} // namespace

const CvtMapFile* cvtMapSlots()
{
    return s_cvtMapList;
}

void MapTable2List()
{
    // Kept on purpose: slot 3 holds the Unicode->GBK table a second time and
    // the Unicode->Big5 table is never installed, so a conversion from Unicode
    // to Big5 finds no table and each character falls back to its last byte.
    // Nothing in the program converts to Big5.
    installTable(s_cvtMapList[0], s_pBig5ToUcs2Map);
    installTable(s_cvtMapList[1], s_pGbkToUcs2Map);
    installTable(s_cvtMapList[2], s_pUcs2ToGbkMap);
    installTable(s_cvtMapList[3], s_pUcs2ToGbkMap);
}

unsigned short lookupCode(unsigned short from, unsigned short to, unsigned short code)
{
    for (const CvtMapFile& slot : s_cvtMapList) {
        if (!slot.pairs)
            return CODEPAGE_NO_MAPPING;
        if (slot.from != from || slot.to != to)
            continue;
        int low = 0;
        int high = slot.count - 1;
        while (low <= high) {
            const int middle = (low + high) / 2;
            const unsigned char* pair = slot.pairs + middle * CODEPAGE_PAIR_BYTES;
            const unsigned short key = readLe16(pair);
            if (key == code)
                return readLe16(pair + 2);
            if (code < key)
                high = middle - 1;
            else
                low = middle + 1;
        }
        return CODEPAGE_NO_MAPPING;
    }
    return CODEPAGE_NO_MAPPING;
}

namespace {

const unsigned short* noMappingRow()
{
    static const struct Row {
        unsigned short codes[256];
        Row()
        {
            for (unsigned short& c : codes)
                c = CODEPAGE_NO_MAPPING;
        }
    } row;
    return row.codes;
}

// A direct index of one registry slot, or of no table when slot is -1.
class SlotIndex {
public:
    explicit SlotIndex(int slot)
    {
        const unsigned short* empty = noMappingRow();
        for (const unsigned short*& row : m_index.rows)
            row = empty;
        m_index.asciiUnmapped = true;
        if (slot < 0)
            return;
        const CvtMapFile& map = s_cvtMapList[slot];
        bool used[256] = {};
        for (int i = 0; i < map.count; ++i)
            used[map.pairs[i * CODEPAGE_PAIR_BYTES + 1]] = true;
        int rows = 0;
        for (bool u : used)
            rows += u ? 1 : 0;
        m_storage.reset(new unsigned short[static_cast<size_t>(rows) * 256]);
        int next = 0;
        for (int high = 0; high < 256; ++high) {
            if (!used[high])
                continue;
            unsigned short* row = m_storage.get() + next++ * 256;
            for (int low = 0; low < 256; ++low)
                row[low] = CODEPAGE_NO_MAPPING;
            m_index.rows[high] = row;
        }
        for (int i = 0; i < map.count; ++i) {
            const unsigned char* pair = map.pairs + i * CODEPAGE_PAIR_BYTES;
            const unsigned short key = readLe16(pair);
            unsigned short* row = const_cast<unsigned short*>(m_index.rows[key >> 8]);
            // A key stored twice answers what the binary search finds.
            row[key & 0xFF] = row[key & 0xFF] == CODEPAGE_NO_MAPPING ? readLe16(pair + 2)
                                                                     : lookupCode(map.from, map.to, key);
        }
        for (unsigned short code = 0x01; code < 0x80; ++code)
            m_index.asciiUnmapped = m_index.asciiUnmapped && m_index[code] == CODEPAGE_NO_MAPPING;
    }

    const CodepageIndex& index() const { return m_index; }

private:
    CodepageIndex m_index {};
    std::unique_ptr<unsigned short[]> m_storage;
};

template <int Slot> const CodepageIndex& slotIndex()
{
    static const SlotIndex index(Slot);
    return index.index();
}

} // namespace

const CodepageIndex& codepageIndex(unsigned short from, unsigned short to)
{
    // The same walk as lookupCode: the first slot converting between the two
    // sets, stopping at the first empty slot.
    static_assert(CVT_MAP_SLOTS == 4, "one index per registry slot");
    for (int slot = 0; slot < CVT_MAP_SLOTS; ++slot) {
        const CvtMapFile& map = s_cvtMapList[slot];
        if (!map.pairs)
            break;
        if (map.from != from || map.to != to)
            continue;
        switch (slot) {
        case 0:
            return slotIndex<0>();
        case 1:
            return slotIndex<1>();
        case 2:
            return slotIndex<2>();
        default:
            return slotIndex<3>();
        }
    }
    return slotIndex<-1>();
}
