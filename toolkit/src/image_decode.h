#pragma once
// Decoding of BMP and PNG pictures held in memory, shared by ImageMan::load
// and the image fuzz target.

#include <cstddef>
#include <cstdint>
#include <string>

class Bitmap;

namespace lumi {

// Pictures wider or taller than this are refused.
constexpr int kMaxImageSide = 8192;

// Decodes a BMP or PNG picture of size bytes into a new RGB565 bitmap that the
// caller deletes. Safe on any bytes: on failure returns null and puts a short
// reason ("truncated pixel data", "image too large", ...) in error.
Bitmap* decodeImage(const uint8_t* data, size_t size, std::string& error);

}
