#include "key_maps.h"

#include <initializer_list>
#include <utility>

namespace lumitest {

namespace {

    // Consecutive codes from first giving the characters of text.
    void putChars(std::map<int, int>& m, int first, const char* text)
    {
        for (int i = 0; text[i]; ++i)
            m[first + i] = static_cast<unsigned char>(text[i]);
    }

    // Single codes and their keys.
    void putKeys(std::map<int, int>& m, std::initializer_list<std::pair<const int, int>> keys)
    {
        for (const auto& k : keys)
            m[k.first] = k.second;
    }

}

std::map<int, int> expectedDefaultKeyMap()
{
    std::map<int, int> m;
    m[1] = 27;
    putChars(m, 2, "1234567890-=");
    m[14] = 8;
    m[15] = 9;
    putChars(m, 16, "qwertyuiop[]");
    m[28] = 1;
    putChars(m, 30, "asdfghjkl;'`");
    m[43] = '\\';
    putChars(m, 44, "zxcvbnm,./");
    m[57] = ' ';
    m[59] = 86;
    m[61] = 2;
    putChars(m, 71, "789-456+1230.");
    putKeys(m,
        { { 96, 1 }, { 99, 140 }, { 102, 3 }, { 103, 30 }, { 105, 29 }, { 106, 28 }, { 108, 31 },
            { 113, 136 }, { 114, 133 }, { 115, 132 }, { 116, 129 }, { 128, 139 }, { 166, 139 }, { 139, 2 },
            { 141, 2 }, { 142, 130 }, { 158, 134 }, { 165, 134 }, { 412, 134 }, { 159, 135 }, { 163, 135 },
            { 407, 135 }, { 164, 138 }, { 200, 138 }, { 207, 138 }, { 352, 1 }, { 359, 140 }, { 375, 86 } });
    return m;
}

std::map<int, int> expectedShiftKeyMap()
{
    std::map<int, int> m = expectedDefaultKeyMap();
    putChars(m, 2, "!@#$%^&*()_+");
    putChars(m, 16, "QWERTYUIOP{}");
    putChars(m, 30, "ASDFGHJKL:\"~");
    m[43] = '|';
    putChars(m, 44, "ZXCVBNM<>?");
    m.erase(57); // Space has no shifted entry
    putKeys(m, { { 71, 3 }, { 72, 30 }, { 75, 29 }, { 77, 28 }, { 80, 31 } });
    return m;
}

int swapCase(int key)
{
    if (key >= 'a' && key <= 'z')
        return key - ('a' - 'A');
    if (key >= 'A' && key <= 'Z')
        return key + ('a' - 'A');
    return key;
}

}
