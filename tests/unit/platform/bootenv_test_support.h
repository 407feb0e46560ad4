#pragma once
// Environment images for the boot environment tests, built independently of
// the code under test (a bitwise CRC-32, entries laid out by hand).

#include "platform/bootenv.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace bootenvtest {

enum class Layout { Single, Redundant };

inline int dataOffset(Layout layout)
{
    return layout == Layout::Single ? 4 : 5;
}

// CRC-32 one bit at a time, without the table.
inline uint32_t bitwiseCrc32(const char* data, size_t n)
{
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) {
        crc ^= static_cast<unsigned char>(data[i]);
        for (int k = 0; k < 8; ++k)
            crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

// The list "a=1\0b=2\0\0" of entries, in an image of the layout with the given
// flag (redundant only) and a correct CRC unless validCrc is false.
inline std::vector<char> makeImage(
    Layout layout, const std::vector<std::string>& entries, int flag = 1, bool validCrc = true)
{
    std::vector<char> image(ENV_IMAGE_SIZE, 0);
    size_t at = static_cast<size_t>(dataOffset(layout));
    for (const std::string& e : entries) {
        std::copy(e.begin(), e.end(), image.begin() + static_cast<long>(at));
        at += e.size() + 1;
    }
    if (layout == Layout::Redundant)
        image[4] = static_cast<char>(flag);
    const int offset = dataOffset(layout);
    uint32_t crc = bitwiseCrc32(image.data() + offset, static_cast<size_t>(ENV_IMAGE_SIZE - offset));
    if (!validCrc)
        crc ^= 0x00010000u;
    for (int i = 0; i < 4; ++i)
        image[static_cast<size_t>(i)] = static_cast<char>((crc >> (8 * i)) & 0xFF);
    return image;
}

inline bool crcValid(const std::vector<char>& image, Layout layout)
{
    const int offset = dataOffset(layout);
    const uint32_t crc = bitwiseCrc32(image.data() + offset, static_cast<size_t>(ENV_IMAGE_SIZE - offset));
    for (int i = 0; i < 4; ++i) {
        if (static_cast<unsigned char>(image[static_cast<size_t>(i)]) != ((crc >> (8 * i)) & 0xFF))
            return false;
    }
    return true;
}

// The entries of an image's list, in order.
inline std::vector<std::string> entriesOf(const char* image, Layout layout)
{
    std::vector<std::string> out;
    size_t pos = static_cast<size_t>(dataOffset(layout));
    while (pos < ENV_IMAGE_SIZE && image[pos] != 0) {
        std::string e;
        while (pos < ENV_IMAGE_SIZE && image[pos] != 0)
            e += image[pos++];
        out.push_back(e);
        ++pos;
    }
    return out;
}

inline void writeFile(const std::string& path, const std::vector<char>& bytes)
{
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<char> readFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};
using HeapImage = std::unique_ptr<char, FreeDeleter>;

// Sets the module's layout for the in-memory functions.
inline void useLayout(Layout layout)
{
    mtd_sector = layout == Layout::Single ? 3 : 17;
}

}
