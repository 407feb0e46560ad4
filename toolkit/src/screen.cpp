#include "screen.h"

#include "cursor_sprite.h"
#include "display/backend.h"

#include <lumi/app.h>
#include <lumi/gdi.h>
#include <lumi/mouse.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

namespace lumi {

namespace {

// Size of the off-screen frame when no display could be opened.
constexpr int kFallbackWidth = 800;
constexpr int kFallbackHeight = 480;

bool isInSubtree(const WndBase* w, const WndBase* root)
{
    for (; w; w = w->getParent()) {
        if (w == root)
            return true;
    }
    return false;
}

}

Screen::Screen(std::unique_ptr<DisplayBackend> backend)
    : m_backend(std::move(backend))
    , m_mouse(std::make_unique<Mouse>())
{
    m_width = m_backend ? m_backend->width() : kFallbackWidth;
    m_height = m_backend ? m_backend->height() : kFallbackHeight;
    // pixman wants rows of whole 32-bit words.
    m_stride = (m_width * 2 + 3) & ~3;
    const size_t bytes = static_cast<size_t>(m_stride) * static_cast<size_t>(m_height);
    // Fresh anonymous pages: the kernel hands them over zeroed, so the frame
    // starts black without a pass over it (768,000 bytes at 800x480, most of
    // the start-up's C library time), and page-aligned for pixman.
    m_pixelBytes = bytes ? bytes : 64;
    void* mem = mmap(nullptr, m_pixelBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mem == MAP_FAILED)
        std::abort();
    m_pixels = static_cast<uint16_t*>(mem);
    m_frame = pixman_image_create_bits(PIXMAN_r5g6b5, m_width, m_height, reinterpret_cast<uint32_t*>(m_pixels),
        m_stride);
}

void Screen::shutdown()
{
    std::vector<MainWndBase*> mains = m_mains;
    for (auto it = mains.rbegin(); it != mains.rend(); ++it)
        (*it)->destroy();
    deleteBuried();
}

Screen::~Screen()
{
    // Windows still open when the run-time ends go with it.
    shutdown();
    m_mains.clear();
    if (m_frame)
        pixman_image_unref(m_frame);
    munmap(m_pixels, m_pixelBytes);
}

void Screen::addMain(MainWndBase* window)
{
    m_mains.push_back(window);
}

void Screen::removeMain(MainWndBase* window)
{
    m_mains.erase(std::remove(m_mains.begin(), m_mains.end(), window), m_mains.end());
}

void Screen::raise(MainWndBase* window)
{
    auto it = std::find(m_mains.begin(), m_mains.end(), window);
    if (it == m_mains.end() || it + 1 == m_mains.end())
        return;
    m_mains.erase(it);
    m_mains.push_back(window);
    invalidate(visibleRegion(window));
}

MainWndBase* Screen::topWindow() const
{
    for (auto it = m_mains.rbegin(); it != m_mains.rend(); ++it) {
        if ((*it)->isVisible())
            return *it;
    }
    return nullptr;
}

Region Screen::visibleRegion(const WndBase* window) const
{
    Region region;
    if (!window || !window->isVisible())
        return region;
    Rect r = window->screenRect();
    for (const WndBase* p = window->getParent(); p; p = p->getParent())
        r &= p->screenRect();
    r &= Rect(0, 0, m_width, m_height);
    if (r.isEmpty())
        return region;
    region.set(r);
    const WndBase* main = window;
    while (main->getParent())
        main = main->getParent();
    auto it = std::find(m_mains.begin(), m_mains.end(), main);
    if (it != m_mains.end()) {
        for (++it; it != m_mains.end(); ++it) {
            if ((*it)->isVisible())
                region.subtract((*it)->screenRect());
        }
    }
    return region;
}

Region Screen::drawRegion(const WndBase* window) const
{
    if (window && window == m_painting)
        return m_paintArea;
    return visibleRegion(window);
}

void Screen::invalidate(const Region& region)
{
    m_dirty.unite(region);
    m_dirty.intersect(Rect(0, 0, m_width, m_height));
}

void Screen::invalidate(const Rect& rect)
{
    invalidate(Region(rect));
}

void Screen::paint(const Region* limit)
{
    // A paint asked for from inside a paint (updateWindow in onPaint) waits
    // for the outer one to finish; the area stays dirty.
    if (m_painting || m_dirty.isEmpty())
        return;
    Region area = m_dirty;
    if (limit)
        area.intersect(*limit);
    if (area.isEmpty())
        return;
    m_dirty.subtract(area);

    // Bottom to top, parents before children: what a window paints is
    // covered by everything stacked above it, so transparency needs nothing
    // more than the order.
    std::vector<WndBase*> order;
    for (MainWndBase* main : m_mains) {
        if (!main->isVisible())
            continue;
        std::vector<WndBase*> stack { main };
        while (!stack.empty()) {
            WndBase* w = stack.back();
            stack.pop_back();
            order.push_back(w);
            const auto& kids = w->children();
            for (auto it = kids.rbegin(); it != kids.rend(); ++it) {
                if ((*it)->isStyle(WS_VISIBLE))
                    stack.push_back(*it);
            }
        }
    }
    // Windows that cover their whole area themselves: nothing beneath them
    // in the same main window needs painting.
    std::vector<WndBase*> opaque;
    for (WndBase* w : order) {
        if (w->isOpaquePaint() && w->getParent())
            opaque.push_back(w);
    }
    for (WndBase* w : order) {
        // A handler run by an earlier paint may have destroyed this one.
        if (std::find(m_buried.begin(), m_buried.end(), w) != m_buried.end() || !w->isCreated())
            continue;
        Region part = visibleRegion(w);
        part.intersect(area);
        for (WndBase* o : opaque) {
            if (o != w && isInSubtree(o, w))
                part.subtract(visibleRegion(o));
        }
        if (!part.isEmpty())
            paintWindow(w, part);
    }
    m_shown.unite(area);
}

void Screen::paintWindow(WndBase* window, const Region& area)
{
    m_painting = window;
    m_paintArea = area;
    ++m_paintSerial;
    if (!window->isOpaquePaint()) {
        PaintDC dc(window);
        Rect client;
        window->getClientRect(client);
        if (window->isStyle(WS_TRANSPARENT) && window->getParent())
            window->redrawBackground(dc, &client, window);
        else
            window->onDrawBackground(&dc, &client, window);
    }
    window->onPaint();
    m_painting = nullptr;
    m_paintArea.clear();
}

void Screen::addFlush(const Rect& rect)
{
    Rect r = rect;
    r &= Rect(0, 0, m_width, m_height);
    if (r.isEmpty())
        return;
    // Drawing inside the area being painted is shown with it anyway; this
    // spares a region union per drawing call on the paint path.
    if (m_painting) {
        pixman_box32_t box { r.left, r.top, r.right, r.bottom };
        if (pixman_region32_contains_rectangle(m_paintArea.native(), &box) == PIXMAN_REGION_IN)
            return;
    }
    m_shown.unite(r);
}

void Screen::flush()
{
    if (!m_backend) {
        m_shown.clear();
        return;
    }
    if (m_shown.isEmpty() && !cursorChanged())
        return;
    Rect now;
    Rect before;
    cursorOverlay(m_frame, now, before);
    m_shown.unite(now);
    m_shown.unite(before);
    m_shown.intersect(Rect(0, 0, m_width, m_height));
    int count = 0;
    const Rect* rects = m_shown.rects(count);
    if (count > 0)
        m_backend->flush(m_pixels, m_stride, rects, count);
    cursorRestore(m_frame);
    m_shown.clear();
}

WndBase* Screen::windowAt(int x, int y) const
{
    for (auto it = m_mains.rbegin(); it != m_mains.rend(); ++it) {
        MainWndBase* main = *it;
        if (!main->isVisible() || !main->screenRect().ptInRect(x, y))
            continue;
        WndBase* w = main;
        for (;;) {
            WndBase* hit = nullptr;
            const auto& kids = w->children();
            for (auto k = kids.rbegin(); k != kids.rend(); ++k) {
                if ((*k)->isStyle(WS_VISIBLE) && (*k)->screenRect().ptInRect(x, y)) {
                    hit = *k;
                    break;
                }
            }
            if (!hit)
                return w;
            w = hit;
        }
    }
    return nullptr;
}

void Screen::deliverPointer(int x, int y, unsigned int flags)
{
    WndBase* target = nullptr;
    if (flags == MOUSE_PRESS) {
        target = windowAt(x, y);
        m_capture = target;
    } else {
        target = m_capture;
        if (flags == MOUSE_RELEASE)
            m_capture = nullptr;
    }
    if (!target)
        return;
    const Rect r = target->screenRect();
    LUMIMessage msg(target, MSG_MOUSE, x - r.left, static_cast<int>(flags));
    msg.extra = y - r.top;
    target->dispatch(msg);
}

WndBase* Screen::keyTarget() const
{
    MainWndBase* top = topWindow();
    if (!top)
        return nullptr;
    WndBase* focus = top->getFocusWnd();
    if (focus && focus->isVisible())
        return focus;
    return top;
}

void Screen::forget(WndBase* window)
{
    if (m_capture && isInSubtree(m_capture, window))
        m_capture = nullptr;
    for (MainWndBase* main : m_mains) {
        if (main->m_focus && isInSubtree(main->m_focus, window))
            main->m_focus = nullptr;
    }
    if (m_activeTop == window)
        m_activeTop = nullptr;
    if (window->getParent() == nullptr) {
        auto it = std::find(m_mains.begin(), m_mains.end(), window);
        if (it != m_mains.end()) {
            m_mains.erase(it);
            stackChanged();
        }
    }
}

void Screen::releaseCapture(WndBase* window)
{
    if (m_capture && isInSubtree(m_capture, window))
        m_capture = nullptr;
}

void Screen::stackChanged()
{
    MainWndBase* top = topWindow();
    if (top == m_activeTop)
        return;
    MainWndBase* old = m_activeTop;
    m_activeTop = top;
    if (old && old->isCreated())
        old->onActivate(false);
    if (top && m_activeTop == top)
        top->onActivate(true);
}

void Screen::buryLater(WndBase* window)
{
    if (std::find(m_buried.begin(), m_buried.end(), window) == m_buried.end())
        m_buried.push_back(window);
}

void Screen::unbury(WndBase* window)
{
    m_buried.erase(std::remove(m_buried.begin(), m_buried.end(), window), m_buried.end());
}

void Screen::deleteBuried()
{
    while (!m_buried.empty()) {
        WndBase* w = m_buried.back();
        m_buried.pop_back();
        delete w;
    }
}

}
