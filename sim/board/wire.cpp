#include "wire.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace board {

void put32(std::vector<uint8_t>& b, size_t at, uint32_t v)
{
    if (b.size() < at + 4)
        b.resize(at + 4);
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

void put16(std::vector<uint8_t>& b, size_t at, uint16_t v)
{
    if (b.size() < at + 2)
        b.resize(at + 2);
    b[at] = static_cast<uint8_t>(v);
    b[at + 1] = static_cast<uint8_t>(v >> 8);
}

void putLong(std::vector<uint8_t>& b, size_t at, Arch arch, uint64_t v)
{
    put32(b, at, static_cast<uint32_t>(v));
    if (arch == Arch::X86_64)
        put32(b, at + 4, static_cast<uint32_t>(v >> 32));
}

size_t longSize(Arch arch)
{
    return arch == Arch::X86_64 ? 8 : 4;
}

IoctlResult bitsToUser(Arch arch, const uint8_t* bits, size_t bitCount, size_t len)
{
    const size_t ls = longSize(arch);
    size_t bytes = (bitCount + ls * 8 - 1) / (ls * 8) * ls;
    std::vector<uint8_t> out(bytes, 0);
    std::memcpy(out.data(), bits, std::min(bytes, (bitCount + 7) / 8));
    if (bytes > len)
        bytes = len;
    out.resize(bytes);
    return { static_cast<int>(bytes), 0, out };
}

IoctlResult stringToUser(const std::string& s, size_t len)
{
    std::vector<uint8_t> out(s.begin(), s.end());
    out.push_back(0);
    if (out.size() > len)
        out.resize(len);
    return { static_cast<int>(out.size()), 0, out };
}

bool parseNumber(const std::string& s, long min, long max, long& out)
{
    if (s.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    out = std::strtol(s.c_str(), &end, 10);
    return !errno && !*end && out >= min && out <= max;
}

std::string jsonString(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

}
