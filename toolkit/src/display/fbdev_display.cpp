// The device display: the Linux frame buffer, mapped and written directly.
// The screen draws off-screen in RGB565; only flushed rectangles reach the
// device, converted when the device is 32 bits per pixel.

#include "display/fbdev_display.h"
#include "display/unique_fd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace lumi {

namespace {

    constexpr int kMaxSide = 8192;

    // Widens an n-bit channel value (n 1..8) to 8 bits by repeating its top bits,
    // so that full intensity stays full (31 -> 255) and black stays black.
    uint32_t widenTo8(uint32_t value, int bits)
    {
        uint32_t v = value << (8 - bits);
        for (int filled = bits; filled < 8; filled += bits)
            v |= v >> bits;
        return v & 0xFF;
    }

    // An 8-bit channel value cut or widened to length bits (1..32).
    uint32_t fitChannel(uint32_t v8, uint32_t length)
    {
        if (length <= 8)
            return v8 >> (8 - length);
        // Wider device channels (10-bit colour): repeat the 8 bits downwards.
        uint64_t v = 0;
        int filled = 0;
        while (filled < static_cast<int>(length)) {
            v = (v << 8) | v8;
            filled += 8;
        }
        return static_cast<uint32_t>(v >> (filled - static_cast<int>(length)));
    }

    uint32_t placeChannel(uint32_t v8, const FbChannel& channel)
    {
        if (channel.length == 0 || channel.length > 32 || channel.offset >= 32
            || channel.offset + channel.length > 32)
            return 0;
        return static_cast<uint32_t>(static_cast<uint64_t>(fitChannel(v8, channel.length)) << channel.offset);
    }

    bool channelFits(const FbChannel& channel, int bitsPerPixel)
    {
        return channel.offset + channel.length <= static_cast<uint32_t>(bitsPerPixel) && channel.length <= 32;
    }

    class FbdevDisplay final : public DisplayBackend {
    public:
        ~FbdevDisplay() override
        {
            if (m_map)
                munmap(m_map, m_mapSize);
        }

        bool open(const std::string& device, std::string& error)
        {
            UniqueFd fd(::open(device.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY));
            if (!fd.valid()) {
                int err = errno;
                error = "fbdev: cannot open " + device + ": " + std::strerror(err);
                return false;
            }
            fb_var_screeninfo var {};
            fb_fix_screeninfo fix {};
            if (ioctl(fd.get(), FBIOGET_VSCREENINFO, &var) != 0
                || ioctl(fd.get(), FBIOGET_FSCREENINFO, &fix) != 0) {
                int err = errno;
                error = "fbdev: " + device + " is not a frame buffer (" + std::strerror(err) + ")";
                return false;
            }
            if (var.bits_per_pixel != 16 && var.bits_per_pixel != 32) {
                error = "fbdev: " + device + " has " + std::to_string(var.bits_per_pixel)
                    + " bits per pixel; only 16 and 32 are supported";
                return false;
            }
            if (fix.type != FB_TYPE_PACKED_PIXELS) {
                error = "fbdev: " + device + " does not use packed pixels";
                return false;
            }
            if (var.xres < 1 || var.yres < 1 || var.xres > kMaxSide || var.yres > kMaxSide) {
                error = "fbdev: " + device + " reports an unusable size " + std::to_string(var.xres) + "x"
                    + std::to_string(var.yres);
                return false;
            }

            FbPixelFormat format;
            format.bitsPerPixel = static_cast<int>(var.bits_per_pixel);
            format.red = { var.red.offset, var.red.length };
            format.green = { var.green.offset, var.green.length };
            format.blue = { var.blue.offset, var.blue.length };
            format.transp = { var.transp.offset, var.transp.length };
            if (!channelFits(format.red, format.bitsPerPixel)
                || !channelFits(format.green, format.bitsPerPixel)
                || !channelFits(format.blue, format.bitsPerPixel)
                || !channelFits(format.transp, format.bitsPerPixel)) {
                error = "fbdev: " + device + " reports colour channels outside its pixels";
                return false;
            }

            const uint64_t bytesPerPixel = var.bits_per_pixel / 8;
            // Some drivers leave line_length at 0; the virtual width then gives the pitch.
            const uint64_t pitch = fix.line_length
                ? fix.line_length
                : static_cast<uint64_t>(var.xres_virtual ? var.xres_virtual : var.xres) * bytesPerPixel;
            // Computed in 64 bits: a driver reporting nonsense offsets must not wrap the check around.
            const uint64_t endOfVisible = (static_cast<uint64_t>(var.yoffset) + var.yres - 1) * pitch
                + (static_cast<uint64_t>(var.xoffset) + var.xres) * bytesPerPixel;
            if (pitch < var.xres * bytesPerPixel || endOfVisible > fix.smem_len) {
                error = "fbdev: " + device + " reports a visible area larger than its memory";
                return false;
            }
            const size_t lineLength = static_cast<size_t>(pitch);
            const size_t firstByte
                = fbVisibleOffset(var.xoffset, var.yoffset, lineLength, format.bitsPerPixel);

            // The memory may start inside a page; mmap maps from the page's start.
            long pageSize = sysconf(_SC_PAGESIZE);
            size_t pageOffset = pageSize > 0 ? fix.smem_start % static_cast<unsigned long>(pageSize) : 0;
            size_t mapSize = fix.smem_len + pageOffset;
            void* map = mmap(nullptr, mapSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
            if (map == MAP_FAILED) {
                int err = errno;
                error = "fbdev: cannot map " + device + ": " + std::strerror(err);
                return false;
            }

            m_fd = std::move(fd);
            m_map = static_cast<uint8_t*>(map);
            m_mapSize = mapSize;
            m_surface.visible = m_map + pageOffset + firstByte;
            m_surface.lineLength = lineLength;
            m_surface.width = static_cast<int>(var.xres);
            m_surface.height = static_cast<int>(var.yres);
            m_surface.format = format;
            return true;
        }

        int width() const override { return m_surface.width; }
        int height() const override { return m_surface.height; }
        int bitsPerPixel() const override { return m_surface.format.bitsPerPixel; }

        void flush(const uint16_t* frame, int stride, const Rect* rects, int count) override
        {
            fbCopyRects(m_surface, frame, stride, rects, count);
        }

    private:
        // Device.
        UniqueFd m_fd;
        uint8_t* m_map { nullptr };
        size_t m_mapSize { 0 };
        // Configuration: where the visible screen is and how its pixels look.
        FbSurface m_surface;
    };

}

bool fbIsRgb565(const FbPixelFormat& format)
{
    return format.bitsPerPixel == 16 && format.red.offset == 11 && format.red.length == 5
        && format.green.offset == 5 && format.green.length == 6 && format.blue.offset == 0
        && format.blue.length == 5 && format.transp.length == 0;
}

uint32_t fbConvertPixel(uint16_t rgb565, const FbPixelFormat& format)
{
    uint32_t r8 = widenTo8((rgb565 >> 11) & 0x1F, 5);
    uint32_t g8 = widenTo8((rgb565 >> 5) & 0x3F, 6);
    uint32_t b8 = widenTo8(rgb565 & 0x1F, 5);
    uint32_t pixel = placeChannel(r8, format.red) | placeChannel(g8, format.green)
        | placeChannel(b8, format.blue) | placeChannel(0xFF, format.transp);
    if (format.bitsPerPixel == 16)
        pixel &= 0xFFFF;
    return pixel;
}

void fbConvertRow(const uint16_t* src, void* dst, int count, const FbPixelFormat& format)
{
    if (!src || !dst || count <= 0)
        return;
    if (format.bitsPerPixel == 16) {
        auto* out = static_cast<uint16_t*>(dst);
        if (fbIsRgb565(format)) {
            std::memcpy(out, src, static_cast<size_t>(count) * 2);
            return;
        }
        for (int i = 0; i < count; ++i)
            out[i] = static_cast<uint16_t>(fbConvertPixel(src[i], format));
    } else if (format.bitsPerPixel == 32) {
        auto* out = static_cast<uint32_t*>(dst);
        // Most 32-bit frame buffers repeat the same few colours along a row
        // (backgrounds, text): remembering the last conversion saves most of the work.
        uint16_t lastIn = src[0];
        uint32_t lastOut = fbConvertPixel(lastIn, format);
        for (int i = 0; i < count; ++i) {
            if (src[i] != lastIn) {
                lastIn = src[i];
                lastOut = fbConvertPixel(lastIn, format);
            }
            out[i] = lastOut;
        }
    }
}

size_t fbVisibleOffset(uint32_t xoffset, uint32_t yoffset, size_t lineLength, int bitsPerPixel)
{
    return static_cast<size_t>(yoffset) * lineLength
        + static_cast<size_t>(xoffset) * static_cast<size_t>(bitsPerPixel / 8);
}

void fbCopyRects(const FbSurface& surface, const uint16_t* frame, int stride, const Rect* rects, int count)
{
    if (!surface.visible)
        return;
    const bool copy = fbIsRgb565(surface.format);
    const size_t bytesPerPixel = static_cast<size_t>(surface.format.bitsPerPixel / 8);
    forEachFlushRect(frame, rects, count, surface.width, surface.height, [&](const Rect& r) {
        for (int y = r.top; y < r.bottom; ++y) {
            const uint16_t* src = framePixel(frame, stride, r.left, y);
            uint8_t* dst = surface.visible + static_cast<size_t>(y) * surface.lineLength
                + static_cast<size_t>(r.left) * bytesPerPixel;
            if (copy)
                std::memcpy(dst, src, static_cast<size_t>(r.width()) * 2);
            else
                fbConvertRow(src, dst, r.width(), surface.format);
        }
    });
}

std::unique_ptr<DisplayBackend> createFbdevDisplay(const std::string& device, std::string& error)
{
    auto display = std::make_unique<FbdevDisplay>();
    if (!display->open(device, error))
        return nullptr;
    return display;
}

}
