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
    for (int i = 0; i < count; ++i) {
        const Rect c = intersection(r, boxes[i]);
        if (c.isEmpty())
            continue;
        drawn = true;
        if (pixman_fill(reinterpret_cast<uint32_t*>(px.base), px.stride / 4, 16, c.left, c.top, c.width(),
                c.height(), colour))
            continue;
        for (int y = c.top; y < c.bottom; ++y)
            std::fill(px.at(c.left, y), px.at(c.right, y), colour);
    }
    return drawn;
}

// The solid source text is composited with, kept between calls because
// labels repaint in the same colour again and again.
class SolidSource {
public:
    ~SolidSource()
    {
        if (m_image)
            pixman_image_unref(m_image);
    }

    pixman_image_t* get(uint16_t colour)
    {
        if (m_image && colour == m_colour)
            return m_image;
        if (m_image)
            pixman_image_unref(m_image);
        // Widen each channel so that white stays exactly white.
        const unsigned r = (colour >> 11) & 0x1F;
        const unsigned g = (colour >> 5) & 0x3F;
        const unsigned b = colour & 0x1F;
        pixman_color_t c;
        c.red = static_cast<uint16_t>(((r << 3) | (r >> 2)) * 257);
        c.green = static_cast<uint16_t>(((g << 2) | (g >> 4)) * 257);
        c.blue = static_cast<uint16_t>(((b << 3) | (b >> 2)) * 257);
        c.alpha = 0xFFFF;
        m_image = pixman_image_create_solid_fill(&c);
        m_colour = colour;
        return m_image;
    }

private:
    pixman_image_t* m_image { nullptr };
    uint16_t m_colour { 0 };
};

SolidSource& solidSource()
{
    static SolidSource s_source;
    return s_source;
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
    Rect r = surfaceRect;
    r &= clipBounds(m_clip);
    if (r.isEmpty())
        return;
    if (lumi::Screen* screen = lumi::screen())
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
    pixman_image_t* source = solidSource().get(m_textColor);
    if (!source)
        return total;

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
                        pixman_image_composite32(PIXMAN_OP_OVER, source, g.mask, m_target, 0, 0, c.left - gr.left,
                            c.top - gr.top, c.left, c.top, c.width(), c.height());
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
            if (bitmap->native() != m_target
                && pixman_blt(reinterpret_cast<uint32_t*>(const_cast<uint8_t*>(from)),
                    reinterpret_cast<uint32_t*>(to.base), fromStride / 4, to.stride / 4, 16, 16, sx, sy, c.left,
                    c.top, c.width(), c.height()))
                continue;
            // pixman_blt refuses some shapes, and a bitmap drawn onto itself
            // needs memmove in the right row order.
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
{
    WindowTarget t;
    if (windowTarget(window, rect, t)) {
        attach(t.frame, t.originX, t.originY, t.clip);
        m_onScreen = true;
    }
    selectFont(fontOrDefault(window ? window->getFont() : nullptr));
}

WndDC::WndDC(WndBase* window, unsigned int /*flags*/, const Rect* rect)
{
    WindowTarget t;
    if (windowTarget(window, rect, t)) {
        attach(t.frame, t.originX, t.originY, t.clip);
        m_onScreen = true;
    }
    selectFont(fontOrDefault(window ? window->getFont() : nullptr));
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
