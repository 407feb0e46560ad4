// The screen cursor. It is never part of the frame the windows paint into:
// at each flush the screen lets it draw itself over the frame, shows the
// result, and has the covered pixels put back, so windows never see it.

#include "cursor_sprite.h"
#include "screen.h"

#include <lumi/gdi.h>
#include <lumi/mouse.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

struct CursorState {
    // Picture: a private copy, so the caller's bitmap may go away.
    std::vector<uint16_t> picture;
    int width { 0 };
    int height { 0 };
    uint16_t colourKey { 0 };
    // Position of the hot spot (the picture's centre) and visibility.
    int x { 0 };
    int y { 0 };
    bool visible { true };
    // What the last overlay did: where the cursor was shown, and the frame
    // pixels it covered there.
    Rect shown;
    Rect savedArea;
    std::vector<uint16_t> saved;
    pixman_image_t* savedFrame { nullptr };
    bool changed { false };
};

// One cursor per program; it outlives every window, so a plain static is right.
CursorState s_cursor;

bool hasPicture()
{
    return s_cursor.width > 0 && s_cursor.height > 0;
}

Rect cursorRect()
{
    int left = s_cursor.x - s_cursor.width / 2;
    int top = s_cursor.y - s_cursor.height / 2;
    return Rect(left, top, left + s_cursor.width, top + s_cursor.height);
}

// True when the cursor is drawn now or still shown from the last flush: only
// then does a change of it change the screen.
bool isOnScreen()
{
    return (s_cursor.visible && hasPicture()) || !s_cursor.shown.isEmpty();
}

// Makes a change visible now, as moving a pointer must.
void showChange()
{
    if (!isOnScreen())
        return;
    s_cursor.changed = true;
    if (lumi::Screen* screen = lumi::screen())
        screen->flush();
}

void setPicture(const Bitmap& bitmap, unsigned short colourKey)
{
    s_cursor.width = bitmap.width();
    s_cursor.height = bitmap.height();
    s_cursor.colourKey = colourKey;
    s_cursor.picture.assign(static_cast<size_t>(bitmap.width()) * static_cast<size_t>(bitmap.height()), 0);
    for (int row = 0; row < bitmap.height(); ++row) {
        const uint8_t* src
            = reinterpret_cast<const uint8_t*>(bitmap.bits()) + static_cast<size_t>(row) * bitmap.stride();
        std::memcpy(&s_cursor.picture[static_cast<size_t>(row) * bitmap.width()], src,
            static_cast<size_t>(bitmap.width()) * 2);
    }
}

struct FrameView {
    uint8_t* data { nullptr };
    int stride { 0 };
    int width { 0 };
    int height { 0 };
    uint16_t* row(int y) const { return reinterpret_cast<uint16_t*>(data + static_cast<size_t>(y) * stride); }
};

bool viewFrame(pixman_image_t* frame, FrameView& view)
{
    if (!frame || pixman_image_get_format(frame) != PIXMAN_r5g6b5)
        return false;
    view.data = reinterpret_cast<uint8_t*>(pixman_image_get_data(frame));
    view.stride = pixman_image_get_stride(frame);
    view.width = pixman_image_get_width(frame);
    view.height = pixman_image_get_height(frame);
    return view.data != nullptr;
}

}

namespace lumi {

void cursorOverlay(pixman_image_t* frame, Rect& now, Rect& before)
{
    before = s_cursor.shown;
    now = Rect();
    // A save that was never restored belongs to an older frame content; it is dropped.
    s_cursor.saved.clear();
    s_cursor.savedArea = Rect();
    s_cursor.savedFrame = nullptr;
    s_cursor.changed = false;

    FrameView view;
    if (!s_cursor.visible || !hasPicture() || !viewFrame(frame, view)) {
        s_cursor.shown = Rect();
        return;
    }
    const Rect full = cursorRect();
    Rect area = full;
    area &= Rect(0, 0, view.width, view.height);
    if (area.isEmpty()) {
        s_cursor.shown = Rect();
        return;
    }

    s_cursor.saved.resize(static_cast<size_t>(area.width()) * static_cast<size_t>(area.height()));
    for (int y = area.top; y < area.bottom; ++y) {
        uint16_t* dst = view.row(y) + area.left;
        std::memcpy(&s_cursor.saved[static_cast<size_t>(y - area.top) * area.width()], dst,
            static_cast<size_t>(area.width()) * 2);
        const uint16_t* src
            = &s_cursor.picture[static_cast<size_t>(y - full.top) * s_cursor.width + (area.left - full.left)];
        for (int i = 0; i < area.width(); ++i) {
            if (src[i] != s_cursor.colourKey)
                dst[i] = src[i];
        }
    }
    s_cursor.savedArea = area;
    s_cursor.savedFrame = frame;
    s_cursor.shown = area;
    now = area;
}

void cursorRestore(pixman_image_t* frame)
{
    FrameView view;
    if (frame != s_cursor.savedFrame || s_cursor.saved.empty() || !viewFrame(frame, view)) {
        s_cursor.saved.clear();
        s_cursor.savedFrame = nullptr;
        return;
    }
    const Rect& area = s_cursor.savedArea;
    if (area.right <= view.width && area.bottom <= view.height) {
        for (int y = area.top; y < area.bottom; ++y)
            std::memcpy(view.row(y) + area.left,
                &s_cursor.saved[static_cast<size_t>(y - area.top) * area.width()],
                static_cast<size_t>(area.width()) * 2);
    }
    s_cursor.saved.clear();
    s_cursor.savedArea = Rect();
    s_cursor.savedFrame = nullptr;
}

bool cursorChanged()
{
    return s_cursor.changed;
}

}

int Cursor::create(const char* file, unsigned short colourKey)
{
    if (!file)
        return -1;
    std::unique_ptr<Bitmap> bitmap(ImageMan::load(file));
    if (!bitmap || bitmap->isNull())
        return -1;
    setPicture(*bitmap, colourKey);
    showChange();
    return 0;
}

int Cursor::changeCursorBmp(const Bitmap* bitmap, unsigned short colourKey)
{
    if (!bitmap || bitmap->isNull())
        return -1;
    setPicture(*bitmap, colourKey);
    showChange();
    return 0;
}

void Cursor::setVisible(bool visible)
{
    if (s_cursor.visible == visible)
        return;
    s_cursor.visible = visible;
    showChange();
}

bool Cursor::isVisible()
{
    return s_cursor.visible;
}

void Cursor::moveTo(int x, int y)
{
    if (s_cursor.x == x && s_cursor.y == y)
        return;
    s_cursor.x = x;
    s_cursor.y = y;
    showChange();
}

void Cursor::setPos(int x, int y)
{
    if (s_cursor.x == x && s_cursor.y == y)
        return;
    s_cursor.x = x;
    s_cursor.y = y;
    if (isOnScreen())
        s_cursor.changed = true;
}

void Cursor::getPos(int& x, int& y)
{
    x = s_cursor.x;
    y = s_cursor.y;
}

void Cursor::destroy()
{
    s_cursor.picture.clear();
    s_cursor.width = 0;
    s_cursor.height = 0;
    showChange(); // erases it from the screen, if there is one
    // Back to the state of a program that never made a cursor, so a later
    // run-time in the same process starts clean.
    s_cursor = CursorState();
}
