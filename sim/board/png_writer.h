#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace board {

// Writes 8-bit RGB rows (width x height x 3 bytes) as a PNG file.
bool writePng(
    const std::string& path, int width, int height, const std::vector<uint8_t>& rgb, std::string& error);

}
