#include <lumi/region.h>

static_assert(sizeof(Rect) == sizeof(pixman_box32_t), "Rect doubles as pixman's box");

Region::Region()
{
    pixman_region32_init(&m_region);
}

Region::Region(const Rect& rect)
{
    if (rect.isEmpty())
        pixman_region32_init(&m_region);
    else
        pixman_region32_init_rect(&m_region, rect.left, rect.top, rect.width(), rect.height());
}

Region::Region(const Region& other)
{
    pixman_region32_init(&m_region);
    pixman_region32_copy(&m_region, const_cast<pixman_region32_t*>(&other.m_region));
}

Region& Region::operator=(const Region& other)
{
    if (this != &other)
        pixman_region32_copy(&m_region, const_cast<pixman_region32_t*>(&other.m_region));
    return *this;
}

Region::~Region()
{
    pixman_region32_fini(&m_region);
}

const Rect* Region::rects(int& count) const
{
    const pixman_box32_t* boxes = pixman_region32_rectangles(const_cast<pixman_region32_t*>(&m_region), &count);
    return reinterpret_cast<const Rect*>(boxes);
}

Rect Region::boundRect() const
{
    if (isEmpty())
        return Rect();
    const pixman_box32_t* b = pixman_region32_extents(const_cast<pixman_region32_t*>(&m_region));
    return Rect(b->x1, b->y1, b->x2, b->y2);
}

bool Region::contains(const Rect& rect) const
{
    if (rect.isEmpty())
        return false;
    pixman_box32_t box { rect.left, rect.top, rect.right, rect.bottom };
    return pixman_region32_contains_rectangle(const_cast<pixman_region32_t*>(&m_region), &box) != PIXMAN_REGION_OUT;
}

bool Region::containsPoint(int x, int y) const
{
    return pixman_region32_contains_point(const_cast<pixman_region32_t*>(&m_region), x, y, nullptr);
}

bool Region::isEmpty() const
{
    return !pixman_region32_not_empty(const_cast<pixman_region32_t*>(&m_region));
}

void Region::clear()
{
    pixman_region32_clear(&m_region);
}

void Region::set(const Rect& rect)
{
    pixman_region32_fini(&m_region);
    if (rect.isEmpty())
        pixman_region32_init(&m_region);
    else
        pixman_region32_init_rect(&m_region, rect.left, rect.top, rect.width(), rect.height());
}

void Region::unite(const Rect& rect)
{
    if (rect.isEmpty())
        return;
    pixman_region32_union_rect(&m_region, &m_region, rect.left, rect.top, rect.width(), rect.height());
}

void Region::unite(const Region& other)
{
    pixman_region32_union(&m_region, &m_region, const_cast<pixman_region32_t*>(&other.m_region));
}

void Region::intersect(const Rect& rect)
{
    if (rect.isEmpty()) {
        clear();
        return;
    }
    pixman_region32_intersect_rect(&m_region, &m_region, rect.left, rect.top, rect.width(), rect.height());
}

void Region::intersect(const Region& other)
{
    pixman_region32_intersect(&m_region, &m_region, const_cast<pixman_region32_t*>(&other.m_region));
}

void Region::subtract(const Rect& rect)
{
    if (rect.isEmpty())
        return;
    Region r(rect);
    pixman_region32_subtract(&m_region, &m_region, &r.m_region);
}

void Region::subtract(const Region& other)
{
    pixman_region32_subtract(&m_region, &m_region, const_cast<pixman_region32_t*>(&other.m_region));
}

void Region::offset(int dx, int dy)
{
    pixman_region32_translate(&m_region, dx, dy);
}
