#pragma once
// Integer geometry shared by every window and drawing call.

#include <cstdint>

// A rectangle with exclusive right and bottom edges.
struct Rect {
    int left { 0 };
    int top { 0 };
    int right { 0 };
    int bottom { 0 };

    Rect() = default;
    Rect(int l, int t, int r, int b)
        : left(l), top(t), right(r), bottom(b) { }

    int width() const { return right - left; }
    int height() const { return bottom - top; }

    void setRect(int l, int t, int r, int b)
    {
        left = l;
        top = t;
        right = r;
        bottom = b;
    }

    void offset(int dx, int dy)
    {
        left += dx;
        right += dx;
        top += dy;
        bottom += dy;
    }

    // Moves every edge inwards; negative values grow the rectangle.
    void shrink(int dx, int dy)
    {
        left += dx;
        right -= dx;
        top += dy;
        bottom -= dy;
    }

    bool ptInRect(int x, int y) const
    {
        return left <= x && x < right && top <= y && y < bottom;
    }

    bool isEmpty() const { return right <= left || bottom <= top; }

    bool operator==(const Rect& o) const
    {
        return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
    }
    bool operator!=(const Rect& o) const { return !(*this == o); }

    // Union. An empty left operand takes the right operand whole; an empty
    // right operand changes nothing.
    Rect& operator|=(const Rect& o)
    {
        if (o.isEmpty())
            return *this;
        if (isEmpty()) {
            *this = o;
            return *this;
        }
        if (o.left < left) left = o.left;
        if (o.top < top) top = o.top;
        if (o.right > right) right = o.right;
        if (o.bottom > bottom) bottom = o.bottom;
        return *this;
    }

    // Intersection; the result may be empty (then isEmpty() holds).
    Rect& operator&=(const Rect& o)
    {
        if (o.left > left) left = o.left;
        if (o.top > top) top = o.top;
        if (o.right < right) right = o.right;
        if (o.bottom < bottom) bottom = o.bottom;
        return *this;
    }

    bool intersects(const Rect& o) const
    {
        return left < o.right && o.left < right && top < o.bottom && o.top < bottom;
    }
};

// One pointer sample as the pointer sources hand it to the toolkit.
struct MousePoint {
    short x { 0 };
    short y { 0 };
    uint32_t reserved { 0 };   // always 0 in this system
    unsigned short pressure { 0 };
};
