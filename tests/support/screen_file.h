#pragma once
// A picture of a headless screen: the RGB565 little-endian file of a "file:"
// display, read once, with the questions screen tests ask of it.

#include <lumi/rect.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lumitest {

class ScreenFile {
public:
    ScreenFile(const std::string& file, int width = 800, int height = 480);

    // The file existed and held a whole screen.
    bool valid() const { return m_valid; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    // A pixel; 0 outside the screen.
    uint16_t at(int x, int y) const;
    // Pixels of rect that have colour, or that pred accepts.
    int count(const Rect& rect, uint16_t colour) const;
    int count(const Rect& rect, const std::function<bool(uint16_t)>& pred) const;
    int countColour(const Rect& rect, uint16_t colour) const { return count(rect, colour); }
    // Every pixel of rect has colour.
    bool all(const Rect& rect, uint16_t colour) const;
    // The bounds of the pixels of rect that are not background (empty if none).
    Rect inkBounds(const Rect& rect, uint16_t background) const;
    // Equal to other everywhere outside except.
    bool sameOutside(const ScreenFile& other, const Rect& except) const;
    bool operator==(const ScreenFile& other) const { return m_pixels == other.m_pixels; }

private:
    int m_width;
    int m_height;
    bool m_valid { false };
    std::vector<uint16_t> m_pixels;
};

}
