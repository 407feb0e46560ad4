#pragma once
// The device display: a Linux frame buffer of 16 or 32 bits per pixel.

#include "display/backend.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumi {

// Where one colour channel sits in a device pixel (as the frame buffer's
// variable screen info describes it). A length of 0 means the channel is absent.
struct FbChannel {
    uint32_t offset { 0 };
    uint32_t length { 0 };
};

// The pixel layout of a frame buffer.
struct FbPixelFormat {
    int bitsPerPixel { 16 };
    FbChannel red { 11, 5 };
    FbChannel green { 5, 6 };
    FbChannel blue { 0, 5 };
    FbChannel transp { 0, 0 }; // set to opaque when present
};

// True when format is RGB565 itself, so rows can be copied unchanged.
bool fbIsRgb565(const FbPixelFormat& format);

// One RGB565 pixel as a device pixel value of format. Channels are widened
// exactly (the top bits repeated into the low bits) and then cut to the
// device's channel length; a transparency channel is set to fully opaque.
uint32_t fbConvertPixel(uint16_t rgb565, const FbPixelFormat& format);

// Converts count RGB565 pixels into dst, a row of format's pixels (16 or 32
// bits each, in the machine's byte order as the frame buffer expects).
void fbConvertRow(const uint16_t* src, void* dst, int count, const FbPixelFormat& format);

// The visible screen inside the mapped frame buffer memory.
struct FbSurface {
    uint8_t* visible { nullptr }; // the visible area's top-left pixel (panning offsets applied)
    size_t lineLength { 0 }; // bytes from one row to the next (the device's pitch)
    int width { 0 };
    int height { 0 };
    FbPixelFormat format;
};

// Byte offset of the visible area's top-left pixel from the start of the
// memory, for a screen panned to (xoffset, yoffset).
size_t fbVisibleOffset(uint32_t xoffset, uint32_t yoffset, size_t lineLength, int bitsPerPixel);

// Copies the rectangles (clipped to the surface) of frame, RGB565 with stride
// bytes a row, to the surface in its pixel format. Nothing else is written.
void fbCopyRects(const FbSurface& surface, const uint16_t* frame, int stride, const Rect* rects, int count);

// Opens and maps device. Null with error when it cannot be opened, is not a
// frame buffer, or has a layout this backend does not drive.
std::unique_ptr<DisplayBackend> createFbdevDisplay(const std::string& device, std::string& error);

}
