#include "platform/codepage.h"

#include "platform/charset.h"

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
