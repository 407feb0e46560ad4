#include "key_maps.h"

namespace lumitest {

namespace {

    // Consecutive codes from first giving the characters of text.
    void putChars(std::map<int, int>& m, int first, const char* text)
    {
        for (int i = 0; text[i]; ++i)
            m[first + i] = static_cast<unsigned char>(text[i]);
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
    m[96] = 1;
    m[99] = 140;
    m[102] = 3;
    m[103] = 30;
    m[105] = 29;
    m[106] = 28;
    m[108] = 31;
    m[113] = 136;
    m[114] = 133;
    m[115] = 132;
    m[116] = 129;
    m[128] = 139;
    m[166] = 139;
    m[139] = 2;
    m[141] = 2;
    m[142] = 130;
    m[158] = 134;
    m[165] = 134;
    m[412] = 134;
    m[159] = 135;
    m[163] = 135;
    m[407] = 135;
    m[164] = 138;
    m[200] = 138;
    m[207] = 138;
    m[352] = 1;
    m[359] = 140;
    m[375] = 86;
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
    m[71] = 3;
    m[72] = 30;
    m[75] = 29;
    m[77] = 28;
    m[80] = 31;
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
