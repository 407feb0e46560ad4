#pragma once
// Drawing: bitmaps, fonts, device contexts and the image loader.
//
// Every surface is 16-bit RGB565. Coordinates given to a DC are the client
// coordinates of whatever it draws on (a window's client area, or the
// rectangle a MemDC was created for); drawing is clipped to the DC's region.

#include <lumi/rect.h>
#include <lumi/region.h>

#include <cstdint>
#include <memory>

class WndBase;

// An RGB565 picture owned by this object.
class Bitmap {
public:
    Bitmap() = default;
    ~Bitmap();
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    // Allocates width x height pixels (contents zero). 0 on success.
    int create(int width, int height);
    void destroy();

    int width() const { return m_width; }
    int height() const { return m_height; }
    bool isNull() const { return m_pixels == nullptr; }
    uint16_t* bits() { return m_pixels; }
    const uint16_t* bits() const { return m_pixels; }
    // Bytes per row: the width rounded up to whole 32-bit words, which is
    // what pixman needs of every image it draws on.
    int stride() const { return (m_width * 2 + 3) & ~3; }
    uint16_t pixel(int x, int y) const;

    pixman_image_t* native() const { return m_image; }

private:
    uint16_t* m_pixels { nullptr };
    pixman_image_t* m_image { nullptr };
    int m_width { 0 };
    int m_height { 0 };
};

// Loads pictures from files.
class ImageMan {
public:
    // Reads a BMP (1, 4, 8, 16, 24 or 32 bits per pixel, uncompressed or
    // bit fields) or PNG file and converts it to RGB565. Returns a new bitmap
    // that the caller deletes, or null (with a line on stderr) on failure.
    static Bitmap* load(const char* path);
};

// A request for a font: a face name ("large", "title", "small" or anything
// else for the default face) and a pixel size (-1: the size that name stands for).
struct LogFont {
    const char* name { nullptr };
    int size { -1 };
    LogFont(const char* n = nullptr, int s = -1) : name(n), size(s) { }
};

// A rasterised font at one pixel size, with a glyph cache. Fonts are owned by
// the toolkit and live until the run-time ends.
class Font {
public:
    static Font* getFont(const LogFont* lf);
    static Font* defaultFont();

    int pixelSize() const;
    int lineHeight() const;   // distance between baselines
    int ascent() const;
    // Advance width of the first len bytes of UTF-8 text (len -1: to the NUL).
    int textWidth(const char* text, int len = -1);

    struct Impl;
    Impl* impl() { return m_impl.get(); }

    ~Font();

private:
    explicit Font(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

// Text format flags for DC::drawText and the controls' setAlignFlag.
enum : unsigned int {
    DT_TOP = 0x01,
    DT_VCENTER = 0x02,
    DT_BOTTOM = 0x04,
    DT_RIGHT = 0x08,
    DT_SINGLELINE = 0x10,
    DT_CENTER = 0x20,
    DT_WORDBREAK = 0x40,
    DT_WORDBREAK2 = 0x100,   // a second word-wrap bit; either one wraps
    DT_RESERVED = 0x400,     // accepted and ignored
};

// A device context: where drawing goes, with a clip region, pen and text
// colours and a font.
class DC {
public:
    virtual ~DC();
    DC(const DC&) = delete;
    DC& operator=(const DC&) = delete;

    void fillRect(const Rect& rect, unsigned short colour);
    // Outline of the rectangle with corners (x1, y1) and (x2, y2), both inclusive, in the pen colour.
    void drawRect(int x1, int y1, int x2, int y2);
    // Line from (x1, y1) to (x2, y2), both end points included, in the pen colour.
    void drawLine(int x1, int y1, int x2, int y2);
    void drawHLine(int x1, int x2, int y);
    void drawVLine(int x, int y1, int y2);
    void setPixel(int x, int y, unsigned short colour);
    unsigned short getPixel(int x, int y) const;

    unsigned short setPenColor(unsigned short colour);
    unsigned short setTextColor(unsigned short colour);
    Font* selectFont(Font* font);   // returns the previous font
    Font* font() const { return m_font; }

    // Draws UTF-8 text (len -1: to the NUL) into rect with the DT_ flags.
    // Returns the height of the text drawn.
    int drawText(const Rect& rect, const char* text, unsigned int flags, int len = -1);
    // Width of the text and the height of its lines in the selected font.
    void getTextExtend(int& w, int& h, const char* text, int len = -1);

    // Copies bitmap (or its part src) with its top-left corner at (x, y).
    // Pixels equal to *colourKey are left out when a key is given.
    void drawBitmap(int x, int y, const Bitmap* bitmap, const Rect* src = nullptr,
        const unsigned short* colourKey = nullptr);

    // The region this DC may change, in screen coordinates for DCs on the
    // screen (for a PaintDC: the part of the window being repainted) and in
    // bitmap coordinates for a MemDC.
    const Region& region() const { return m_clip; }

    // True for a DC on the screen: it draws on the screen's own frame, which
    // reaches the display only when the screen shows it (after the paint,
    // or when a WndDC is done), so drawing on it never shows half done,
    // just as on an off-screen bitmap. False for a MemDC.
    bool drawsOffScreen() const { return m_onScreen; }

    pixman_image_t* target() const { return m_target; }
    int originX() const { return m_originX; }
    int originY() const { return m_originY; }

protected:
    DC() = default;
    // A DC on the screen for window, limited to rect (client coordinates;
    // null: the whole window) and to what of the window may change now, with
    // the window's font: what PaintDC and WndDC share. Draws nowhere when the
    // window is not created or there is no screen.
    DC(WndBase* window, const Rect* rect);
    // Points the DC at a surface. Client (0, 0) maps to surface (originX, originY);
    // clip is in surface coordinates.
    void attach(pixman_image_t* target, int originX, int originY, const Region& clip);
    void markDrawn(const Rect& surfaceRect);   // reports screen changes to the screen
    bool m_onScreen { false };
    // The screen's paint this DC was made for (its clip lies inside what
    // that paint shows), 0 for none.
    uint64_t m_paintSerial { 0 };

private:
    pixman_image_t* m_target { nullptr };
    int m_originX { 0 };
    int m_originY { 0 };
    Region m_clip;
    unsigned short m_penColor { 0 };
    unsigned short m_textColor { 0 };
    Font* m_font { nullptr };
};

// The DC a window paints with inside onPaint: clipped to the part of the
// window that is being repainted. Outside a paint it behaves as a WndDC.
class PaintDC : public DC {
public:
    explicit PaintDC(WndBase* window, unsigned int flags = 0, const Rect* rect = nullptr);
};

// A DC for drawing on a window outside its paint; what it draws reaches the
// display when the DC is destroyed.
class WndDC : public DC {
public:
    explicit WndDC(WndBase* window, unsigned int flags = 0, const Rect* rect = nullptr);
    ~WndDC() override;
};

// An off-screen DC backed by a bitmap of the rectangle's size.
class MemDC : public DC {
public:
    MemDC() = default;
    // Client coordinates of this DC are those of rect: (rect.left, rect.top)
    // is the bitmap's pixel (0, 0). The font is taken from compatible, if given.
    // 0 on success.
    int create(const Rect& rect, DC* compatible);
    Bitmap* getBitmap() { return &m_bitmap; }

private:
    Bitmap m_bitmap;
};
