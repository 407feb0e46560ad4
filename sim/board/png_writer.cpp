#include "png_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <png.h>

namespace board {

bool writePng(
    const std::string& path, int width, int height, const std::vector<uint8_t>& rgb, std::string& error)
{
    if (rgb.size() < static_cast<size_t>(width) * height * 3) {
        error = "no picture";
        return false;
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(f);
        error = path + ": cannot be written as PNG";
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
        PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y)
        png_write_row(png, const_cast<png_bytep>(&rgb[static_cast<size_t>(y) * width * 3]));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(f) != 0) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}
