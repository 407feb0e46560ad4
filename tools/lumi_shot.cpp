// lumi-shot: turns a raw RGB565 little-endian screen (the file of a "file:"
// display, or a dump of a frame buffer) into a PNG.
//
//   lumi-shot INPUT OUTPUT.png [WxH]      (default size 800x480)

#include "display/backend.h"

#include <png.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kMaxSide = 8192;

void usage()
{
    std::fprintf(stderr, "usage: lumi-shot INPUT OUTPUT.png [WxH]   (default 800x480)\n");
}

// Reads the whole file, refusing one that is not exactly expected bytes long.
bool readScreen(const char* path, size_t expected, std::vector<uint8_t>& data)
{
    FILE* file = std::fopen(path, "rb");
    if (!file) {
        std::fprintf(stderr, "lumi-shot: cannot open %s: %s\n", path, std::strerror(errno));
        return false;
    }
    data.resize(expected);
    size_t got = std::fread(data.data(), 1, expected, file);
    // One more byte tells a file that is too long from one of the right size.
    uint8_t extra = 0;
    bool longer = std::fread(&extra, 1, 1, file) == 1;
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        std::fprintf(stderr, "lumi-shot: cannot read %s\n", path);
        return false;
    }
    if (got != expected || longer) {
        std::fprintf(stderr,
            "lumi-shot: %s is %s than the expected %zu bytes (width x height x 2); wrong size given?\n", path,
            longer ? "longer" : "shorter", expected);
        return false;
    }
    return true;
}

// Exact widening: full intensity stays full (31 -> 255, 63 -> 255).
uint8_t widen5(unsigned v)
{
    return static_cast<uint8_t>((v << 3) | (v >> 2));
}
uint8_t widen6(unsigned v)
{
    return static_cast<uint8_t>((v << 2) | (v >> 4));
}

bool writePng(const char* path, const std::vector<uint8_t>& screen, int width, int height)
{
    FILE* file = std::fopen(path, "wb");
    if (!file) {
        std::fprintf(stderr, "lumi-shot: cannot create %s: %s\n", path, std::strerror(errno));
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info) {
        png_destroy_write_struct(&png, nullptr);
        std::fclose(file);
        std::fprintf(stderr, "lumi-shot: out of memory\n");
        return false;
    }
    std::vector<uint8_t> row(static_cast<size_t>(width) * 3);
    // libpng reports errors by longjmp; nothing with a destructor is created past this point.
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        std::fprintf(stderr, "lumi-shot: cannot write %s\n", path);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
        PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y) {
        const uint8_t* src = &screen[static_cast<size_t>(y) * width * 2];
        for (int x = 0; x < width; ++x) {
            unsigned pixel = static_cast<unsigned>(src[2 * x]) | (static_cast<unsigned>(src[2 * x + 1]) << 8);
            row[3 * x] = widen5((pixel >> 11) & 0x1F);
            row[3 * x + 1] = widen6((pixel >> 5) & 0x3F);
            row[3 * x + 2] = widen5(pixel & 0x1F);
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(file) != 0) {
        std::fprintf(stderr, "lumi-shot: cannot write %s: %s\n", path, std::strerror(errno));
        return false;
    }
    return true;
}

}

int main(int argc, char** argv)
{
    if (argc < 3 || argc > 4) {
        usage();
        return 1;
    }
    int width = 800;
    int height = 480;
    if (argc == 4 && !lumi::parseSize(argv[3], width, height)) {
        std::fprintf(stderr, "lumi-shot: bad size \"%s\" (expected WxH, each 1..%d)\n", argv[3], kMaxSide);
        return 1;
    }
    std::vector<uint8_t> screen;
    if (!readScreen(argv[1], static_cast<size_t>(width) * height * 2, screen))
        return 1;
    if (!writePng(argv[2], screen, width, height))
        return 1;
    return 0;
}
