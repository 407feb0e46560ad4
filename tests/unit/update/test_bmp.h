#pragma once
// Writes small uncompressed 24-bit BMP files for the logo tests.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace updatetest {

// A width x height picture of one colour (8-bit red, green, blue). True when written.
inline bool writeBmp(const std::string& path, int width, int height, uint8_t red, uint8_t green, uint8_t blue)
{
    const int rowBytes = (width * 3 + 3) & ~3;
    const uint32_t imageBytes = static_cast<uint32_t>(rowBytes) * static_cast<uint32_t>(height);
    std::vector<uint8_t> file(54 + imageBytes, 0);
    auto put16 = [&](size_t at, uint32_t v) {
        file[at] = static_cast<uint8_t>(v);
        file[at + 1] = static_cast<uint8_t>(v >> 8);
    };
    auto put32 = [&](size_t at, uint32_t v) {
        put16(at, v & 0xFFFF);
        put16(at + 2, v >> 16);
    };
    file[0] = 'B';
    file[1] = 'M';
    put32(2, static_cast<uint32_t>(file.size()));
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<uint32_t>(width));
    put32(22, static_cast<uint32_t>(height)); // positive: rows stored bottom-up
    put16(26, 1);
    put16(28, 24);
    put32(34, imageBytes);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const size_t at = 54 + static_cast<size_t>(y) * rowBytes + static_cast<size_t>(x) * 3;
            file[at] = blue;
            file[at + 1] = green;
            file[at + 2] = red;
        }
    }
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out)
        return false;
    const bool ok = std::fwrite(file.data(), 1, file.size(), out) == file.size();
    return std::fclose(out) == 0 && ok;
}

}
