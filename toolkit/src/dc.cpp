// Device contexts: drawing on RGB565 surfaces with pixman.
//
// Everything a DC draws is cut to its clip region box by box before it
// reaches pixman, so that the fast fill, copy and glyph paths apply and no
// pixel is tested one by one against the region. Text uses the glyph cache
// of the font; a repaint after the first one renders nothing with FreeType
// and allocates nothing.

#include "font_impl.h"
#include "screen.h"
#include "text_layout.h"

#include <lumi/gdi.h>
#include <lumi/window.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

constexpr int kMaxMemSide = 8192;

struct Pixels {
    uint8_t* base { nullptr };
    int stride { 0 };   // bytes
    int width { 0 };
    int height { 0 };

    explicit Pixels(pixman_image_t* image)
    {
        if (!image)
            return;
        base = reinterpret_cast<uint8_t*>(pixman_image_get_data(image));
        stride = pixman_image_get_stride(image);
        width = pixman_image_get_width(image);
        height = pixman_image_get_height(image);
    }

    uint16_t* at(int x, int y) const
    {
        return reinterpret_cast<uint16_t*>(base + static_cast<ptrdiff_t>(y) * stride) + x;
    }
};

const pixman_box32_t* clipBoxes(const Region& clip, int& count)
{
    // pixman only reads the region here; its interface is not const-correct.
    return pixman_region32_rectangles(const_cast<pixman_region32_t*>(clip.native()), &count);
}

Rect clipBounds(const Region& clip)
{
    const pixman_box32_t* e = pixman_region32_extents(const_cast<pixman_region32_t*>(clip.native()));
    return Rect(e->x1, e->y1, e->x2, e->y2);
}

Rect intersection(Rect a, const pixman_box32_t& b)
{
    a &= Rect(b.x1, b.y1, b.x2, b.y2);
    return a;
}

static_assert(sizeof(wchar_t) == 4, "pairs of RGB565 pixels are filled as 32-bit words");

// Fills n pixels of one row. The C library's wide-character fill is the
// fastest solid fill at hand (vector stores where the processor has them):
// pairs of pixels go in as one 32-bit word, an odd pixel at either end alone.
// A screen repaint fills close to a million pixels, so this matters.
inline void fillRow(uint16_t* p, int n, uint16_t colour)
{
    if (n <= 0)
        return;
    if (reinterpret_cast<uintptr_t>(p) & 2) {
        *p++ = colour;
        --n;
    }
    const int pairs = n / 2;
    if (pairs > 0) {
        const uint32_t pair = colour | (static_cast<uint32_t>(colour) << 16);
        wmemset(reinterpret_cast<wchar_t*>(p), static_cast<wchar_t>(pair), static_cast<size_t>(pairs));
    }
    if (n & 1)
        p[n - 1] = colour;
}

// Fills the part of r (surface coordinates) inside clip. True when any
// pixel was written.
bool fillClipped(pixman_image_t* target, const Region& clip, const Rect& r, uint16_t colour)
{
    if (r.isEmpty() || !clipBounds(clip).intersects(r))
        return false;
    Pixels px(target);
    int count = 0;
    const pixman_box32_t* boxes = clipBoxes(clip, count);
    bool drawn = false;
    // The boxes come in bands from top to bottom that do not overlap: the
    // first that can meet the rectangle is found by halving, and none after
    // a band below it can.
    const pixman_box32_t* first = std::partition_point(
        boxes, boxes + count, [&r](const pixman_box32_t& b) { return b.y2 <= r.top; });
    for (int i = static_cast<int>(first - boxes); i < count; ++i) {
        if (boxes[i].y1 >= r.bottom)
            break;
        const Rect c = intersection(r, boxes[i]);
        if (c.isEmpty())
            continue;
        drawn = true;
        if (c.left == 0 && c.width() * 2 == px.stride) {
            // Whole rows of a tightly packed bitmap are one run of pixels.
            fillRow(px.at(0, c.top), c.width() * c.height(), colour);
            continue;
        }
        for (int y = c.top; y < c.bottom; ++y)
            fillRow(px.at(c.left, y), c.width(), colour);
    }
    return drawn;
}

// Eight lanes of 16 bits: SSE2 on the development machine, NEON on the device.
typedef int16_t Lanes __attribute__((vector_size(16)));
typedef uint16_t ULanes __attribute__((vector_size(16)));
typedef uint8_t Bytes8 __attribute__((vector_size(8)));

// Blends one pixel of colour (channels sr, sg, sb) over *dst with coverage a.
inline void blendPixel(uint16_t* dst, int a, uint16_t colour, int sr, int sg, int sb)
{
    if (a == 0)
        return;
    if (a == 255) {
        *dst = colour;
        return;
    }
    const int k = (a + 4) >> 3;   // 0..32: finer than RGB565 can show
    const int d = *dst;
    const int r = (d >> 11) + ((sr - (d >> 11)) * k >> 5);
    const int g = ((d >> 5) & 0x3F) + ((sg - ((d >> 5) & 0x3F)) * k >> 5);
    const int b = (d & 0x1F) + ((sb - (d & 0x1F)) * k >> 5);
    *dst = static_cast<uint16_t>((r << 11) | (g << 5) | b);
}

// Blends the part c (surface coordinates) of a glyph placed at gr onto the
// surface in colour, weighting by the glyph's coverage. Text is half of what
// a screen's paint costs, and the glyphs of Chinese text are mostly
// anti-aliased edge, so pixels go eight at a time: eight empty ones cost a
// test, eight solid ones a store, and any others are blended channel by
// channel in vector lanes. The same arithmetic serves the pixels left over
// at a row's end, so every pixel comes out the same either way.
void blendGlyph(const Pixels& px, const lumi::Glyph& g, int maskStride, const Rect& gr, const Rect& c,
    uint16_t colour)
{
    const int sr = colour >> 11;
    const int sg = (colour >> 5) & 0x3F;
    const int sb = colour & 0x1F;
    const Lanes vr = { short(sr), short(sr), short(sr), short(sr), short(sr), short(sr), short(sr), short(sr) };
    const Lanes vg = { short(sg), short(sg), short(sg), short(sg), short(sg), short(sg), short(sg), short(sg) };
    const Lanes vb = { short(sb), short(sb), short(sb), short(sb), short(sb), short(sb), short(sb), short(sb) };
    const int w = c.width();
    for (int y = c.top; y < c.bottom; ++y) {
        const uint8_t* cov = g.coverage.data() + static_cast<size_t>(y - gr.top) * maskStride + (c.left - gr.left);
        uint16_t* dst = px.at(c.left, y);
        int x = 0;
        for (; x + 8 <= w; x += 8) {
            uint64_t eight;
            std::memcpy(&eight, cov + x, 8);
            if (eight == 0)
                continue;
            if (eight == ~uint64_t(0)) {
                for (int i = 0; i < 8; ++i)
                    dst[x + i] = colour;
                continue;
            }
            Bytes8 bytes;
            std::memcpy(&bytes, cov + x, 8);
            const Lanes a = __builtin_convertvector(bytes, Lanes);
            const Lanes k = (a + 4) >> 3;
            ULanes d;
            std::memcpy(&d, dst + x, 16);
            const Lanes dr = (Lanes)(d >> 11);
            const Lanes dg = (Lanes)((d >> 5) & 0x3F);
            const Lanes db = (Lanes)(d & 0x1F);
            const Lanes r = dr + (((vr - dr) * k) >> 5);
            const Lanes gg = dg + (((vg - dg) * k) >> 5);
            const Lanes b = db + (((vb - db) * k) >> 5);
            const ULanes out = ((ULanes)r << 11) | ((ULanes)gg << 5) | (ULanes)b;
            std::memcpy(dst + x, &out, 16);
        }
        for (; x < w; ++x)
            blendPixel(dst + x, cov[x], colour, sr, sg, sb);
    }
}

// Line storage reused by every drawText; the toolkit draws from one thread.
std::vector<lumi::TextLine>& scratchLines()
{
    static std::vector<lumi::TextLine> s_lines;
    return s_lines;
}

Font* fontOrDefault(Font* font)
{
    return font ? font : Font::defaultFont();
}

// Where a DC on a window draws: the screen's frame, the window's origin and
// the part of the screen it may change now.
struct WindowTarget {
    pixman_image_t* frame { nullptr };
    int originX { 0 };
    int originY { 0 };
    Region clip;
};

bool windowTarget(WndBase* window, const Rect* rect, WindowTarget& out)
{
    lumi::Screen* screen = lumi::screen();
    if (!screen || !screen->frame() || !window || !window->isCreated())
        return false;
    const Rect origin = window->screenRect();
    out.frame = screen->frame();
    out.originX = origin.left;
    out.originY = origin.top;
    out.clip = screen->drawRegion(window);
    if (rect) {
        Rect limit = *rect;
        limit.offset(origin.left, origin.top);
        out.clip.intersect(limit);
    }
    return true;
}

}

DC::DC(WndBase* window, const Rect* rect)
{
    WindowTarget t;
    if (windowTarget(window, rect, t)) {
        attach(t.frame, t.originX, t.originY, t.clip);
        m_onScreen = true;
        if (lumi::Screen* screen = lumi::screen(); screen->isPainting(window))
            m_paintSerial = screen->paintSerial();
    }
    selectFont(fontOrDefault(window ? window->getFont() : nullptr));
}

DC::~DC() = default;

void DC::attach(pixman_image_t* target, int originX, int originY, const Region& clip)
{
    m_target = target;
    m_originX = originX;
    m_originY = originY;
    m_clip = clip;
    if (target)
        m_clip.intersect(Rect(0, 0, pixman_image_get_width(target), pixman_image_get_height(target)));
    else
        m_clip.clear();
}

void DC::markDrawn(const Rect& surfaceRect)
{
    if (!m_onScreen)
        return;
    lumi::Screen* screen = lumi::screen();
    // Inside the paint it was made for, everything drawn is shown with the
    // paint's area: testing each drawing against that area cost a region
    // lookup per call, and a region union when the area has holes.
    if (m_paintSerial && screen && screen->paintSerial() == m_paintSerial)
        return;
    Rect r = surfaceRect;
    r &= clipBounds(m_clip);
    if (r.isEmpty())
        return;
    if (screen)
        screen->addFlush(r);
}

void DC::fillRect(const Rect& rect, unsigned short colour)
{
    if (!m_target)
        return;
    Rect r = rect;
    r.offset(m_originX, m_originY);
    if (fillClipped(m_target, m_clip, r, colour))
        markDrawn(r);
}

void DC::drawHLine(int x1, int x2, int y)
{
    fillRect(Rect(std::min(x1, x2), y, std::max(x1, x2) + 1, y + 1), m_penColor);
}

void DC::drawVLine(int x, int y1, int y2)
{
    fillRect(Rect(x, std::min(y1, y2), x + 1, std::max(y1, y2) + 1), m_penColor);
}

void DC::drawRect(int x1, int y1, int x2, int y2)
{
    if (x1 > x2)
        std::swap(x1, x2);
    if (y1 > y2)
        std::swap(y1, y2);
    drawHLine(x1, x2, y1);
    if (y2 != y1)
        drawHLine(x1, x2, y2);
    if (y2 - y1 >= 2) {
        drawVLine(x1, y1 + 1, y2 - 1);
        if (x2 != x1)
            drawVLine(x2, y1 + 1, y2 - 1);
    }
}

void DC::drawLine(int x1, int y1, int x2, int y2)
{
    if (!m_target)
        return;
    if (y1 == y2) {
        drawHLine(x1, x2, y1);
        return;
    }
    if (x1 == x2) {
        drawVLine(x1, y1, y2);
        return;
    }
    Rect box(std::min(x1, x2), std::min(y1, y2), std::max(x1, x2) + 1, std::max(y1, y2) + 1);
    box.offset(m_originX, m_originY);
    if (!clipBounds(m_clip).intersects(box))
        return;

    // Bresenham, walked as runs of pixels along the major axis so that each
    // run is one clipped fill rather than a pixel at a time.
    const int64_t dx = std::llabs(static_cast<int64_t>(x2) - x1);
    const int64_t dy = std::llabs(static_cast<int64_t>(y2) - y1);
    const int sx = x2 > x1 ? 1 : -1;
    const int sy = y2 > y1 ? 1 : -1;
    const bool shallow = dx >= dy;
    const int64_t major = shallow ? dx : dy;
    const int64_t minor = shallow ? dy : dx;
    int64_t err = 2 * minor - major;
    int a = shallow ? x1 : y1;   // along the major axis
    int b = shallow ? y1 : x1;   // along the minor axis
    const int aEnd = shallow ? x2 : y2;
    const int sa = shallow ? sx : sy;
    const int sb = shallow ? sy : sx;
    int runStart = a;
    bool drawn = false;
    auto emitRun = [&](int from, int to, int at) {
        Rect r = shallow ? Rect(std::min(from, to), at, std::max(from, to) + 1, at + 1)
                         : Rect(at, std::min(from, to), at + 1, std::max(from, to) + 1);
        r.offset(m_originX, m_originY);
        drawn |= fillClipped(m_target, m_clip, r, m_penColor);
    };
    for (;;) {
        if (a == aEnd) {
            emitRun(runStart, a, b);
            break;
        }
        if (err > 0) {
            emitRun(runStart, a, b);
            b += sb;
            err -= 2 * major;
            runStart = a + sa;
        }
        err += 2 * minor;
        a += sa;
    }
    if (drawn)
        markDrawn(box);
}

void DC::setPixel(int x, int y, unsigned short colour)
{
    if (!m_target)
        return;
    x += m_originX;
    y += m_originY;
    if (!pixman_region32_contains_point(const_cast<pixman_region32_t*>(m_clip.native()), x, y, nullptr))
        return;
    *Pixels(m_target).at(x, y) = colour;
    markDrawn(Rect(x, y, x + 1, y + 1));
}

unsigned short DC::getPixel(int x, int y) const
{
    if (!m_target)
        return 0;
    Pixels px(m_target);
    x += m_originX;
    y += m_originY;
    if (x < 0 || y < 0 || x >= px.width || y >= px.height)
        return 0;
    return *px.at(x, y);
}

unsigned short DC::setPenColor(unsigned short colour)
{
    unsigned short old = m_penColor;
    m_penColor = colour;
    return old;
}

unsigned short DC::setTextColor(unsigned short colour)
{
    unsigned short old = m_textColor;
    m_textColor = colour;
    return old;
}

Font* DC::selectFont(Font* font)
{
    Font* old = m_font;
    m_font = font;
    return old;
}

int DC::drawText(const Rect& rect, const char* text, unsigned int flags, int len)
{
    if (!text)
        return 0;
    Font* font = fontOrDefault(m_font);
    Font::Impl* impl = font->impl();
    const bool single = flags & DT_SINGLELINE;
    const bool wrap = !single && (flags & (DT_WORDBREAK | DT_WORDBREAK2));
    std::vector<lumi::TextLine>& lines = scratchLines();
    lumi::layoutText(lines, font, text, len, rect.width(), wrap, single);
    const int lineHeight = impl->lineHeight;
    const int total = static_cast<int>(lines.size()) * lineHeight;
    if (!m_target || !impl->face || lines.empty())
        return total;

    int top = rect.top;
    if (flags & DT_VCENTER)
        top += (rect.height() - total) / 2;
    else if (flags & DT_BOTTOM)
        top = rect.bottom - total;

    // Text stays inside its rectangle, as a cell of a list must.
    Rect limit = rect;
    limit.offset(m_originX, m_originY);
    limit &= clipBounds(m_clip);
    if (limit.isEmpty())
        return total;
    int boxCount = 0;
    const pixman_box32_t* boxes = clipBoxes(m_clip, boxCount);
    Pixels px(m_target);

    Rect drawn;
    for (size_t i = 0; i < lines.size(); ++i) {
        const lumi::TextLine& line = lines[i];
        const int lineTop = top + static_cast<int>(i) * lineHeight + m_originY;
        // Glyphs may reach a little past their line box; one line height of
        // margin covers any face.
        if (lineTop + 2 * lineHeight <= limit.top || lineTop - lineHeight >= limit.bottom)
            continue;
        int x = rect.left + m_originX;
        if (flags & DT_CENTER)
            x += (rect.width() - line.width) / 2;
        else if (flags & DT_RIGHT)
            x += rect.width() - line.width;
        const int baseline = lineTop + impl->ascent;
        const int end = line.start + line.length;
        for (int pos = line.start; pos < end;) {
            const lumi::Glyph& g = impl->glyph(lumi::decodeUtf8(text, end, pos));
            if (g.mask) {
                const Rect gr(x + g.left, baseline - g.top, x + g.left + g.width, baseline - g.top + g.height);
                Rect visible = gr;
                visible &= limit;
                if (!visible.isEmpty()) {
                    for (int b = 0; b < boxCount; ++b) {
                        const Rect c = intersection(visible, boxes[b]);
                        if (c.isEmpty())
                            continue;
                        blendGlyph(px, g, g.stride, gr, c, m_textColor);
                    }
                    drawn |= visible;
                }
            }
            x += g.advance;
        }
    }
    markDrawn(drawn);
    return total;
}

void DC::getTextExtend(int& w, int& h, const char* text, int len)
{
    w = 0;
    h = 0;
    if (!text)
        return;
    Font* font = fontOrDefault(m_font);
    std::vector<lumi::TextLine>& lines = scratchLines();
    lumi::layoutText(lines, font, text, len, 0, false, false);
    for (const lumi::TextLine& line : lines)
        w = std::max(w, line.width);
    h = static_cast<int>(lines.size()) * font->lineHeight();
}

void DC::drawBitmap(int x, int y, const Bitmap* bitmap, const Rect* src, const unsigned short* colourKey)
{
    if (!m_target || !bitmap || bitmap->isNull())
        return;
    Rect s = src ? *src : Rect(0, 0, bitmap->width(), bitmap->height());
    int dx = x + m_originX;
    int dy = y + m_originY;
    // A source reaching outside the bitmap keeps its placement: the part
    // inside is drawn where it would have been.
    if (s.left < 0) {
        dx -= s.left;
        s.left = 0;
    }
    if (s.top < 0) {
        dy -= s.top;
        s.top = 0;
    }
    s &= Rect(0, 0, bitmap->width(), bitmap->height());
    if (s.isEmpty())
        return;
    const Rect d(dx, dy, dx + s.width(), dy + s.height());
    if (!clipBounds(m_clip).intersects(d))
        return;

    Pixels to(m_target);
    const auto* from = reinterpret_cast<const uint8_t*>(bitmap->bits());
    const int fromStride = bitmap->stride();
    int count = 0;
    const pixman_box32_t* boxes = clipBoxes(m_clip, count);
    for (int i = 0; i < count; ++i) {
        const Rect c = intersection(d, boxes[i]);
        if (c.isEmpty())
            continue;
        const int sx = s.left + (c.left - d.left);
        const int sy = s.top + (c.top - d.top);
        if (!colourKey) {
            // Row by row with the C library's copy: faster than pixman's
            // 16-bit blit here, and a bitmap drawn onto itself needs memmove
            // in the right row order anyway.
            const bool upwards = bitmap->native() == m_target && c.top > sy;
            for (int k = 0; k < c.height(); ++k) {
                const int row = upwards ? c.height() - 1 - k : k;
                const auto* line = reinterpret_cast<const uint16_t*>(from + static_cast<ptrdiff_t>(sy + row) * fromStride);
                std::memmove(to.at(c.left, c.top + row), line + sx, static_cast<size_t>(c.width()) * 2);
            }
            continue;
        }
        const uint16_t key = *colourKey;
        for (int row = 0; row < c.height(); ++row) {
            const auto* line = reinterpret_cast<const uint16_t*>(from + static_cast<ptrdiff_t>(sy + row) * fromStride) + sx;
            uint16_t* out = to.at(c.left, c.top + row);
            for (int k = 0; k < c.width(); ++k) {
                if (line[k] != key)
                    out[k] = line[k];
            }
        }
    }
    markDrawn(d);
}

PaintDC::PaintDC(WndBase* window, unsigned int /*flags*/, const Rect* rect)
    : DC(window, rect)
{
}

WndDC::WndDC(WndBase* window, unsigned int /*flags*/, const Rect* rect)
    : DC(window, rect)
{
}

WndDC::~WndDC()
{
    // Drawing outside a paint is shown at once rather than at the next paint.
    if (m_onScreen) {
        if (lumi::Screen* screen = lumi::screen())
            screen->flush();
    }
}

int MemDC::create(const Rect& rect, DC* compatible)
{
    if (rect.isEmpty() || static_cast<int64_t>(rect.right) - rect.left > kMaxMemSide
        || static_cast<int64_t>(rect.bottom) - rect.top > kMaxMemSide)
        return -1;
    if (m_bitmap.create(rect.width(), rect.height()) != 0) {
        attach(nullptr, 0, 0, Region());
        return -1;
    }
    attach(m_bitmap.native(), -rect.left, -rect.top, Region(Rect(0, 0, rect.width(), rect.height())));
    selectFont(fontOrDefault(compatible ? compatible->font() : nullptr));
    return 0;
}
