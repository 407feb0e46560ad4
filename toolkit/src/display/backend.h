#pragma once
// The interface every display backend implements. The screen keeps an
// off-screen RGB565 frame of the backend's size; the backend shows parts of it.

#include <lumi/rect.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lumi {

class DisplayBackend {
public:
    virtual ~DisplayBackend() = default;

    // Size of the output in pixels, valid after a successful create.
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Bits per pixel of the output (16 or 32 for fbdev; 16 elsewhere).
    virtual int bitsPerPixel() const { return 16; }

    // Copies the given rectangles (screen coordinates, already clipped to the
    // screen) of frame, an RGB565 image of width() x height() with stride bytes
    // per row, to the output and makes them visible.
    virtual void flush(const uint16_t* frame, int stride, const Rect* rects, int count) = 0;

    // A descriptor to watch for input events, or -1 when the backend has none.
    virtual int inputFd() const { return -1; }
    // Period in ms at which pumpInput must be called when there is no
    // descriptor to watch (0: never).
    virtual int pumpIntervalMs() const { return 0; }
    // Reads pending input and feeds it to the toolkit (keys through
    // GuiRT::deliverKeyEvent, pointer samples through a Mouse).
    virtual void pumpInput() { }
};

// The one place a flush is clipped: calls copy(rect) for each of rects cut to
// the width x height screen, skipping what is left empty. Nothing is called
// without a frame or rectangles.
template <typename Copy>
void forEachFlushRect(const uint16_t* frame, const Rect* rects, int count, int width, int height, Copy&& copy)
{
    if (!frame || !rects)
        return;
    const Rect screen(0, 0, width, height);
    for (int i = 0; i < count; ++i) {
        Rect r = rects[i];
        r &= screen;
        if (!r.isEmpty())
            copy(r);
    }
}

// The pixel (x, y) of frame, an RGB565 image with stride bytes a row.
inline const uint16_t* framePixel(const uint16_t* frame, int stride, int x, int y)
{
    return reinterpret_cast<const uint16_t*>(
               reinterpret_cast<const uint8_t*>(frame) + static_cast<size_t>(y) * stride)
        + x;
}

// Makes the backend named by display ("fbdev[:DEVICE]", "sdl[:WxH]",
// "file:PATH[:WxH]"; null or empty: "fbdev:/dev/fb0"). On failure returns null
// and puts the reason in error.
std::unique_ptr<DisplayBackend> createDisplayBackend(const char* display, std::string& error);

// Parses "WxH" (both 1..8192). false for anything else.
bool parseSize(const std::string& text, int& width, int& height);

}
