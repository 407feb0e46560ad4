#pragma once
// A set of pixels described by non-overlapping rectangles.

#include <lumi/rect.h>
#include <pixman.h>

class Region {
public:
    Region();
    explicit Region(const Rect& rect);
    Region(const Region& other);
    Region& operator=(const Region& other);
    ~Region();

    // The rectangles of the region; count receives their number. The array
    // stays valid until the region changes. Rect and pixman's box share one
    // layout (four ints, exclusive far edges).
    const Rect* rects(int& count) const;
    // Smallest rectangle holding the whole region (empty for an empty region).
    Rect boundRect() const;
    // True when any part of rect lies in the region: what a painter needs to
    // decide whether drawing rect can change a pixel of the region.
    bool contains(const Rect& rect) const;
    bool containsPoint(int x, int y) const;
    bool isEmpty() const;

    void clear();
    void set(const Rect& rect);
    void unite(const Rect& rect);
    void unite(const Region& other);
    void intersect(const Rect& rect);
    void intersect(const Region& other);
    void subtract(const Rect& rect);
    void subtract(const Region& other);
    void offset(int dx, int dy);

    pixman_region32_t* native() { return &m_region; }
    const pixman_region32_t* native() const { return &m_region; }

private:
    pixman_region32_t m_region;
};
