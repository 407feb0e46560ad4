// The image loader: BMP and PNG files to RGB565 bitmaps.
//
// Pictures come from the file system of the device, where anyone may have put
// anything, so both decoders check every size and offset against the bytes
// they were given before touching them, and refuse pictures larger than
// kMaxImageSide on either side. Alpha channels are dropped: this toolkit's
// transparency is the colour key given to drawBitmap and the cursor.

#include "image_decode.h"

#include <lumi/gdi.h>

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace lumi {
namespace {

uint16_t rgb565(unsigned r, unsigned g, unsigned b)
{
    return static_cast<uint16_t>(((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3));
}

uint16_t readU16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t readU32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8)
        | (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// ---- BMP -------------------------------------------------------------------

constexpr size_t kFileHeaderSize = 14;
constexpr uint32_t kCoreHeaderSize = 12;   // the old OS/2 header: 16-bit sizes, 3-byte palette
constexpr uint32_t kInfoHeaderSize = 40;
constexpr uint32_t kMaxHeaderSize = 1024;   // V5 is 124; anything far larger is not a BMP

enum : uint32_t {
    BiRgb = 0,
    BiRle8 = 1,
    BiRle4 = 2,
    BiBitfields = 3,
    BiJpeg = 4,
    BiPng = 5,
    BiAlphaBitfields = 6,
};

// One colour channel of a bit-field pixel: value = (pixel & mask) >> shift,
// scaled from 0..max to 0..255.
struct Channel {
    uint32_t mask { 0 };
    int shift { 0 };
    uint32_t max { 0 };

    explicit Channel(uint32_t m = 0) : mask(m)
    {
        if (!mask)
            return;
        while (!((mask >> shift) & 1u))
            ++shift;
        max = mask >> shift;
    }

    unsigned value(uint32_t pixel) const
    {
        if (!max)
            return 0;
        uint64_t v = (pixel & mask) >> shift;
        return static_cast<unsigned>(v * 255u / max);
    }
};

struct BmpInfo {
    int64_t width { 0 };
    int64_t height { 0 };   // negative: rows stored top-down
    unsigned bpp { 0 };
    uint32_t compression { BiRgb };
    uint32_t headerSize { 0 };
    uint32_t colorsUsed { 0 };
    uint32_t dataOffset { 0 };
};

bool parseBmpHeader(const uint8_t* data, size_t size, BmpInfo& info, std::string& error)
{
    if (size < kFileHeaderSize + 4) {
        error = "truncated BMP header";
        return false;
    }
    info.dataOffset = readU32(data + 10);
    info.headerSize = readU32(data + 14);
    if (info.headerSize != kCoreHeaderSize
        && (info.headerSize < kInfoHeaderSize || info.headerSize > kMaxHeaderSize)) {
        error = "unsupported BMP header size " + std::to_string(info.headerSize);
        return false;
    }
    if (size < kFileHeaderSize + info.headerSize) {
        error = "truncated BMP header";
        return false;
    }
    const uint8_t* h = data + kFileHeaderSize;
    if (info.headerSize == kCoreHeaderSize) {
        info.width = readU16(h + 4);
        info.height = readU16(h + 6);
        info.bpp = readU16(h + 10);
    } else {
        info.width = static_cast<int32_t>(readU32(h + 4));
        info.height = static_cast<int32_t>(readU32(h + 8));
        info.bpp = readU16(h + 14);
        info.compression = readU32(h + 16);
        info.colorsUsed = readU32(h + 32);
    }
    return true;
}

// The colour masks of a bit-field or plain 16/32-bit BMP.
bool bmpMasks(const uint8_t* data, size_t size, const BmpInfo& info, Channel ch[3],
    size_t& paletteStart, std::string& error)
{
    paletteStart = kFileHeaderSize + info.headerSize;
    if (info.compression == BiBitfields || info.compression == BiAlphaBitfields) {
        // V2 and later headers hold the masks; after a plain info header they
        // follow it, taking the place where a palette would start.
        const size_t maskBytes = info.compression == BiAlphaBitfields ? 16 : 12;
        const size_t at = kFileHeaderSize + kInfoHeaderSize;
        if (info.headerSize == kInfoHeaderSize)
            paletteStart += maskBytes;
        if (size < at + 12) {
            error = "truncated BMP colour masks";
            return false;
        }
        ch[0] = Channel(readU32(data + at));
        ch[1] = Channel(readU32(data + at + 4));
        ch[2] = Channel(readU32(data + at + 8));
    } else if (info.bpp == 16) {
        ch[0] = Channel(0x7C00);
        ch[1] = Channel(0x03E0);
        ch[2] = Channel(0x001F);
    } else {
        ch[0] = Channel(0x00FF0000);
        ch[1] = Channel(0x0000FF00);
        ch[2] = Channel(0x000000FF);
    }
    return true;
}

Bitmap* decodeBmp(const uint8_t* data, size_t size, std::string& error)
{
    BmpInfo info;
    if (!parseBmpHeader(data, size, info, error))
        return nullptr;

    if (info.width <= 0 || info.height == 0) {
        error = "bad BMP size " + std::to_string(info.width) + "x" + std::to_string(info.height);
        return nullptr;
    }
    const bool topDown = info.height < 0;
    const int64_t height = topDown ? -info.height : info.height;
    if (info.width > kMaxImageSide || height > kMaxImageSide) {
        error = "image too large (" + std::to_string(info.width) + "x" + std::to_string(height) + ")";
        return nullptr;
    }
    const unsigned bpp = info.bpp;
    if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) {
        error = "unsupported BMP bit depth " + std::to_string(bpp);
        return nullptr;
    }
    switch (info.compression) {
    case BiRgb:
        break;
    case BiBitfields:
    case BiAlphaBitfields:
        if (bpp != 16 && bpp != 32) {
            error = "bit fields need 16 or 32 bits per pixel";
            return nullptr;
        }
        break;
    case BiRle8:
    case BiRle4:
        error = "run-length compressed BMP is not supported";
        return nullptr;
    case BiJpeg:
    case BiPng:
        error = "BMP with embedded JPEG or PNG is not supported";
        return nullptr;
    default:
        error = "unknown BMP compression " + std::to_string(info.compression);
        return nullptr;
    }

    Channel ch[3];
    size_t paletteStart = 0;
    if (!bmpMasks(data, size, info, ch, paletteStart, error))
        return nullptr;

    uint16_t palette[256] = {};
    if (bpp <= 8) {
        const uint32_t full = 1u << bpp;
        const uint32_t count = info.colorsUsed && info.colorsUsed < full ? info.colorsUsed : full;
        const size_t entry = info.headerSize == kCoreHeaderSize ? 3 : 4;
        if (paletteStart > size || (size - paletteStart) / entry < count) {
            error = "truncated BMP palette";
            return nullptr;
        }
        for (uint32_t i = 0; i < count; ++i) {
            const uint8_t* e = data + paletteStart + i * entry;
            palette[i] = rgb565(e[2], e[1], e[0]);
        }
        // Indexes past the stored colours stay black.
    }

    const uint64_t width = static_cast<uint64_t>(info.width);
    const uint64_t rowBytes = (width * bpp + 31) / 32 * 4;
    // The last row may lack its padding; some writers leave it out.
    const uint64_t needed = rowBytes * static_cast<uint64_t>(height - 1) + (width * bpp + 7) / 8;
    if (info.dataOffset < kFileHeaderSize + info.headerSize || info.dataOffset > size) {
        error = "bad BMP pixel data offset " + std::to_string(info.dataOffset);
        return nullptr;
    }
    if (size - info.dataOffset < needed) {
        error = "truncated BMP pixel data";
        return nullptr;
    }

    auto* bitmap = new Bitmap;
    if (bitmap->create(static_cast<int>(width), static_cast<int>(height)) != 0) {
        delete bitmap;
        error = "out of memory";
        return nullptr;
    }
    const bool exact565 = bpp == 16 && ch[0].mask == 0xF800 && ch[1].mask == 0x07E0 && ch[2].mask == 0x001F;
    const int w = static_cast<int>(width);
    for (int64_t r = 0; r < height; ++r) {
        const uint8_t* src = data + info.dataOffset + static_cast<size_t>(r) * rowBytes;
        const int y = static_cast<int>(topDown ? r : height - 1 - r);
        uint16_t* dst = reinterpret_cast<uint16_t*>(
            reinterpret_cast<uint8_t*>(bitmap->bits()) + static_cast<size_t>(y) * bitmap->stride());
        switch (bpp) {
        case 1:
            for (int x = 0; x < w; ++x)
                dst[x] = palette[(src[x >> 3] >> (7 - (x & 7))) & 1];
            break;
        case 4:
            for (int x = 0; x < w; ++x)
                dst[x] = palette[(src[x >> 1] >> ((x & 1) ? 0 : 4)) & 0x0F];
            break;
        case 8:
            for (int x = 0; x < w; ++x)
                dst[x] = palette[src[x]];
            break;
        case 16:
            for (int x = 0; x < w; ++x) {
                const uint32_t px = readU16(src + 2 * x);
                dst[x] = exact565 ? static_cast<uint16_t>(px)
                                  : rgb565(ch[0].value(px), ch[1].value(px), ch[2].value(px));
            }
            break;
        case 24:
            for (int x = 0; x < w; ++x)
                dst[x] = rgb565(src[3 * x + 2], src[3 * x + 1], src[3 * x]);
            break;
        case 32:
            for (int x = 0; x < w; ++x) {
                const uint32_t px = readU32(src + 4 * x);
                dst[x] = rgb565(ch[0].value(px), ch[1].value(px), ch[2].value(px));
            }
            break;
        }
    }
    return bitmap;
}

// ---- PNG -------------------------------------------------------------------

constexpr uint8_t kPngSignature[8] = { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };

// Everything the libpng callbacks and the error path share. It lives in the
// caller of the function that calls setjmp, so nothing it holds is left in an
// indeterminate state by the long jump.
struct PngJob {
    const uint8_t* data { nullptr };
    size_t size { 0 };
    size_t pos { 0 };
    char message[160] {};
    png_structp png { nullptr };
    png_infop info { nullptr };
    uint8_t* rows { nullptr };   // one row, or the whole picture when interlaced
    Bitmap* bitmap { nullptr };
};

void pngRead(png_structp png, png_bytep out, png_size_t count)
{
    auto* job = static_cast<PngJob*>(png_get_io_ptr(png));
    if (count > job->size - job->pos)
        png_error(png, "truncated PNG data");
    std::memcpy(out, job->data + job->pos, count);
    job->pos += count;
}

void pngError(png_structp png, png_const_charp message)
{
    auto* job = static_cast<PngJob*>(png_get_error_ptr(png));
    std::snprintf(job->message, sizeof job->message, "%s", message ? message : "PNG error");
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp)
{
    // Warnings (bad gamma, unknown chunks, ...) do not stop the picture.
}

void convertRgbRow(const uint8_t* src, uint16_t* dst, int width)
{
    for (int x = 0; x < width; ++x)
        dst[x] = rgb565(src[3 * x], src[3 * x + 1], src[3 * x + 2]);
}

// Runs libpng over job. Returns false with job.message set on failure; the
// caller frees what job holds either way.
bool runPng(PngJob& job)
{
    if (setjmp(png_jmpbuf(job.png)))
        return false;

    png_set_read_fn(job.png, &job, pngRead);
    png_read_info(job.png, job.info);

    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int depth = 0;
    int colourType = 0;
    int interlace = 0;
    png_get_IHDR(job.png, job.info, &width, &height, &depth, &colourType, &interlace, nullptr, nullptr);
    if (width == 0 || height == 0 || width > kMaxImageSide || height > kMaxImageSide) {
        std::snprintf(job.message, sizeof job.message, "image too large (%ux%u)",
            static_cast<unsigned>(width), static_cast<unsigned>(height));
        return false;
    }

    if (colourType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(job.png);
    if (colourType == PNG_COLOR_TYPE_GRAY && depth < 8)
        png_set_expand_gray_1_2_4_to_8(job.png);
    if (depth == 16)
        png_set_strip_16(job.png);
    if (colourType & PNG_COLOR_MASK_ALPHA)
        png_set_strip_alpha(job.png);
    if (colourType == PNG_COLOR_TYPE_GRAY || colourType == PNG_COLOR_TYPE_GRAY_ALPHA)
        png_set_gray_to_rgb(job.png);
    const int passes = png_set_interlace_handling(job.png);
    png_read_update_info(job.png, job.info);

    const size_t rowBytes = png_get_rowbytes(job.png, job.info);
    if (rowBytes != static_cast<size_t>(width) * 3) {
        std::snprintf(job.message, sizeof job.message, "unexpected PNG row layout");
        return false;
    }

    job.bitmap = new Bitmap;
    if (job.bitmap->create(static_cast<int>(width), static_cast<int>(height)) != 0) {
        std::snprintf(job.message, sizeof job.message, "out of memory");
        return false;
    }
    // Interlaced pictures fill every row over several passes, so they need
    // the whole RGB picture at once; plain ones are converted row by row.
    const size_t buffered = passes > 1 ? height : 1;
    job.rows = static_cast<uint8_t*>(std::malloc(rowBytes * buffered));
    if (!job.rows) {
        std::snprintf(job.message, sizeof job.message, "out of memory");
        return false;
    }
    auto dstRow = [&job](png_uint_32 y) {
        return reinterpret_cast<uint16_t*>(
            reinterpret_cast<uint8_t*>(job.bitmap->bits()) + static_cast<size_t>(y) * job.bitmap->stride());
    };
    if (passes > 1) {
        std::memset(job.rows, 0, rowBytes * buffered);
        for (int pass = 0; pass < passes; ++pass) {
            for (png_uint_32 y = 0; y < height; ++y)
                png_read_row(job.png, job.rows + y * rowBytes, nullptr);
        }
        for (png_uint_32 y = 0; y < height; ++y)
            convertRgbRow(job.rows + y * rowBytes, dstRow(y), static_cast<int>(width));
    } else {
        for (png_uint_32 y = 0; y < height; ++y) {
            png_read_row(job.png, job.rows, nullptr);
            convertRgbRow(job.rows, dstRow(y), static_cast<int>(width));
        }
    }
    return true;
}

Bitmap* decodePng(const uint8_t* data, size_t size, std::string& error)
{
    PngJob job;
    job.data = data;
    job.size = size;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, pngError, pngWarning);
    if (!job.png) {
        error = "out of memory";
        return nullptr;
    }
    job.info = png_create_info_struct(job.png);
    bool ok = job.info && runPng(job);
    png_destroy_read_struct(&job.png, job.info ? &job.info : nullptr, nullptr);
    std::free(job.rows);
    if (!ok) {
        error = job.message[0] ? job.message : "out of memory";
        delete job.bitmap;
        return nullptr;
    }
    return job.bitmap;
}

}

Bitmap* decodeImage(const uint8_t* data, size_t size, std::string& error)
{
    if (!data || size == 0) {
        error = "empty file";
        return nullptr;
    }
    if (size >= 2 && data[0] == 'B' && data[1] == 'M')
        return decodeBmp(data, size, error);
    if (size >= sizeof kPngSignature && std::memcmp(data, kPngSignature, sizeof kPngSignature) == 0)
        return decodePng(data, size, error);
    error = "not a BMP or PNG file";
    return nullptr;
}

}

namespace {

// A 32-bit BMP of the largest accepted size, plus room for its headers.
constexpr size_t kMaxFileSize = static_cast<size_t>(lumi::kMaxImageSide) * lumi::kMaxImageSide * 4 + 65536;

// Reads the whole file; false with the reason in error.
bool readFile(const char* path, uint8_t*& data, size_t& size, std::string& error)
{
    FILE* file = std::fopen(path, "rb");
    if (!file) {
        error = std::strerror(errno);
        return false;
    }
    struct stat st {};
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode)) {
        error = "not a regular file";
        std::fclose(file);
        return false;
    }
    if (static_cast<uint64_t>(st.st_size) > kMaxFileSize) {
        error = "file too large";
        std::fclose(file);
        return false;
    }
    size = static_cast<size_t>(st.st_size);
    data = static_cast<uint8_t*>(std::malloc(size ? size : 1));
    if (!data) {
        error = "out of memory";
        std::fclose(file);
        return false;
    }
    size = std::fread(data, 1, size, file);
    std::fclose(file);
    return true;
}

}

Bitmap* ImageMan::load(const char* path)
{
    std::string error;
    Bitmap* bitmap = nullptr;
    uint8_t* data = nullptr;
    size_t size = 0;
    if (!path || !*path)
        error = "no file name";
    else if (readFile(path, data, size, error))
        bitmap = lumi::decodeImage(data, size, error);
    std::free(data);
    if (!bitmap)
        std::fprintf(stderr, "[lumi] cannot load %s: %s\n", path ? path : "(null)", error.c_str());
    return bitmap;
}
