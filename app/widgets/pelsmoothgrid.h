#pragma once
// The program's own list/grid control: a child window that shows a supplier's
// items in a fixed raster of rows by columns inside a work region, scrolls by
// pixels rather than by whole rows, keeps one selected item (and optionally a
// multi-selection) and tells its parent about selection and scrolling with
// notify messages.
//
// Row-major (the default): items fill a row of m_cols cells left to right,
// rows follow downwards and the grid scrolls vertically. Column-major (style
// GRID_STYLE_COLUMN_MAJOR): items fill a column of m_rows cells top to bottom,
// columns follow rightwards and the grid scrolls horizontally.
//
// Model and geometry, painting and input live in pelsmoothgrid.cpp,
// pelsmoothgrid_paint.cpp and pelsmoothgrid_input.cpp.

#include "platform/millisec_tick.h"
#include "widgets/tdynarray.h"

#include <lumi/fatal.h>
#include <lumi/rect.h>
#include <lumi/window.h>

class DC;
class Region;

// State bits handed to GridSupplier::drawItem.
enum : unsigned int {
    GRID_STATE_SELECTED = 0x1, // the selected item, and no moving box is animated
    GRID_STATE_EMPTY = 0x20000, // not an item: an empty cell at the end of the raster
    GRID_STATE_MOVEBOX = 0x40000, // the moving selection box, not an item (index is 0)
    GRID_STATE_NOFOCUS = 0x100000, // the grid lacks the input focus
    GRID_STATE_MULTISELECTED = 0x200000, // the item is in the multi-selection
};

// Style bits of the grid, given to create() with the toolkit's own bits.
enum : unsigned int {
    GRID_STYLE_IGNORE_INPUT = 0x10, // the toolkit's disabled bit: no keys or pointer reach the grid
    GRID_STYLE_TRANSPARENT = 0x40, // backgrounds come from the parent instead of black
    GRID_STYLE_STRETCH_LAST = 0x40000, // the last cell of a line reaches the work region's edge
    GRID_STYLE_COLUMN_MAJOR = 0x1000000,
    GRID_STYLE_LEAVE_AT_EDGES = 0x2000000, // the focus may leave the grid at its edges
    GRID_STYLE_WRAP = 0x4000000, // key moves wrap around at the ends
    GRID_STYLE_DRAG_BAR = 0x10000000, // the scroll bar can be pressed and dragged
};

// Notify codes the grid gives its parent (code, parameter).
enum : int {
    GRID_NOTIFY_SELECT = 1, // sent: the selection moved (new index from keys, 0 from the pointer)
    GRID_NOTIFY_ACTIVATE = 2, // sent: the selected item was activated (m_selected)
    GRID_NOTIFY_PAGE_BACK = 3, // sent: a key selected an item before the visible cells
    GRID_NOTIFY_PAGE_ON = 4, // sent: a key selected an item after the visible cells
    GRID_NOTIFY_XPOS = 1001, // posted: the horizontal scroll position changed (m_xPos)
    GRID_NOTIFY_YPOS = 1002, // posted: the vertical scroll position changed (m_yPos)
};

// True exactly when region is one rectangle whose bounds equal rect.
bool isRepaintAll(const Rect& rect, const Region& region);

// What a grid shows: the item count and a painter for one cell. The owning
// window usually implements it itself and passes itself, not owned.
class GridSupplier {
public:
    // The grid deletes a supplier it owns through this destructor.
    virtual ~GridSupplier() = default;
    // The number of items now. Asked afresh whenever it is needed (never
    // cached), so the list may grow or shrink at any time; keep it cheap.
    virtual int getItemCount() = 0;
    // Paints item index into rect of dc. index may lie outside
    // [0, getItemCount()) for an empty cell at the end of the raster (state
    // has GRID_STATE_EMPTY); with GRID_STATE_MOVEBOX the call paints the moving
    // selection box at rect instead of an item.
    virtual void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) = 0;
    // True when drawItem(dc, rect, index, state) sets every pixel of rect
    // itself: the grid then paints no background under that cell first.
    // A list repaints a dozen such cells per frame, so the background under
    // them would be a third of its fills.
    virtual bool coversItem(int /*index*/, unsigned int /*state*/) { return false; }
};

// Fills rect with a one-pixel edge of colour edge around an inside of colour
// inside: the picture of fillRect(rect, edge) followed by fillRect(inside
// part, inside) with each pixel set once.
void fillCell(DC& dc, const Rect& rect, unsigned short edge, unsigned short inside);

// Geometry of the draggable scroll bar, held by value in the grid.
class PelSmoothScrollBar {
public:
    // Thumb length for count pages along the track; raised to m_minBarLen.
    // Returns the length before that raise.
    int setBarLen(int count, bool horizontal)
    {
        LUMI_ASSERT(count, kHeaderName, 126, "void PelSmoothScrollBar::setBarLen(int, bool)");
        m_barLen = (horizontal ? m_trackRect.width() : m_trackRect.height()) / count;
        const int unraised = m_barLen;
        if (m_barLen < m_minBarLen)
            m_barLen = m_minBarLen;
        return unraised;
    }

    // The scroll position (of length in all) that puts the thumb under point.
    // The point is used as given, not made relative to the track's start.
    int getPos(int point, int length, int count, bool horizontal)
    {
        LUMI_ASSERT(length, kHeaderName, 82, "int PelSmoothScrollBar::getPos(int, int, int, bool)");
        setBarLen(count, horizontal);
        const int travel = (horizontal ? m_trackRect.width() : m_trackRect.height()) - m_barLen;
        if (travel == 0)
            return 0; // a thumb as long as the track has nowhere to go
        return point * length / travel;
    }

    // The thumb for scroll position pos (of length in all) and count pages,
    // on the track or on the wider touch strip.
    Rect getBarRect(int pos, int length, int count, bool horizontal, bool useTrack)
    {
        LUMI_ASSERT(
            length, kHeaderName, 99, "Rect PelSmoothScrollBar::getBarRect(int, int, int, bool, bool)");
        setBarLen(count, horizontal);
        Rect r = useTrack ? m_trackRect : m_touchRect;
        if (horizontal) {
            r.right = r.left + m_barLen;
            r.offset(pos * (m_trackRect.width() - r.width()) / length, 0);
        } else {
            r.bottom = r.top + m_barLen;
            r.offset(0, pos * (m_trackRect.height() - r.height()) / length);
        }
        return r;
    }

    // The page (of count) under a point of the track or the touch strip.
    int pt2Index(int x, int y, int count, bool horizontal, bool useTrack) const
    {
        const Rect& r = useTrack ? m_trackRect : m_touchRect;
        const int span = horizontal ? r.width() - m_thumbRect.width() : r.height() - m_thumbRect.height();
        if (span == 0)
            return 0;
        return (horizontal ? x : y) * count / span;
    }

    Rect m_trackRect; // the thin strip the thumb moves along
    Rect m_touchRect; // a wider strip over the same edge that catches presses
    int m_minBarLen { 5 };
    Rect m_thumbRect; // never set: enters the pointer arithmetic as a zero size
    int m_barLen { 5 };

private:
    // The assertion lines are fixed numbers so that crash reports read the
    // same whatever the layout of this file.
    static constexpr const char* kHeaderName = "pelsmoothgrid.h";
};

class PelSmoothGrid : public WndBase {
public:
    PelSmoothGrid();
    ~PelSmoothGrid() override;

    // Creates the window, takes the client rectangle as the work region,
    // starts the 20 ms slide timer and lays the scroll bar out from rect.
    // Returns the toolkit's non-zero result when it fails, otherwise 0.
    int create(WndBase* parent, const Rect& rect, unsigned int style);

    // Grids paint through an off-screen buffer of their own only where the
    // paint's DC is not already off-screen; true makes every grid use its
    // own buffer regardless (the picture is the same: tests compare them).
    static void setOwnBufferAlways(bool always);

    // Replaces the supplier; an old supplier that the grid owns is deleted.
    // For the same supplier only the ownership changes.
    void setSupplier(GridSupplier* supplier, bool own);

    // Rows and columns of a page (each at least 1). Resets the work region to
    // the whole client area: call setWorkRegion afterwards for a smaller one.
    void setRowCol(int rows, int cols);
    void getRowCol(int& rows, int& cols) const;
    int getSelected() const { return m_selected; }
    void getVisibleRange(int& first, int& last) const;
    int getScrollBarWidth() const { return m_scrollBarWidth; }

    // The part of the client area the cells fill, trimmed to whole cells and
    // centred in rect.
    void setWorkRegion(const Rect& rect);
    // Cell, page and content sizes from the work region and the item count.
    void updateGridSize();
    // First and last visible cell, head and tail sizes from the scroll
    // position; a position beyond the content is pulled back item by item.
    void updateItemPos();

    // Line of index (row-major: its row; column-major: its column), with
    // both coordinates in row and col.
    int indexToRowCol(int index, int& row, int& col) const;
    int indexFromRowCol(int row, int col) const;
    // The cell under a point given relative to the work region's top-left
    // corner, with the scroll position applied. Unchecked: may be negative or
    // past the last item.
    int point2Index(int x, int y) const;
    // The cell's rectangle in client coordinates, not clipped to the work region.
    void getItemRect(int index, Rect& rect) const;

    void setScrollBarColor(unsigned short track, unsigned short bar);
    void setScrollBarWidth(int width);

    // Selects index and brings it to the middle of the page at once.
    // 0, or -1 for an index out of range (nothing changes).
    int setSelected(int index);
    // For a supplier whose count shrank: keeps the selection on an item.
    void refreshSelected();
    int setCurrentFocusIndex(int index);
    // Scrolls back to the start at once.
    void resetPos();
    // Sets the slide target to a position (clamped to the content); immediate
    // jumps there.
    void slideTo(int x, int y, bool immediate);
    // Sets the slide target to the line of item index; select also selects it.
    void slideTo(int index, bool immediate, bool select);

    // Multi-selection: activation toggles items in and out of a list.
    void setMutiselectionMode(bool on);
    bool inMultiselection(int index) const;
    // Removes index; the array's erase result, or -1 when it is not there.
    int delFromMultiselection(int index);
    void multiselectionOpOver();

    // Whether a direction key should leave the grid to the toolkit's focus movement.
    bool needMoveFocus(int key);
    // The key (VK_Right, VK_Left, VK_Up or VK_Down) that moves from one cell to another.
    int getMoveDirection(int from, int to) const;
    void postMoveMessage(bool horizontal, bool vertical);
    // One step of the moving selection box (each 30 ms tick).
    void moveSelectBox();
    // Starts (true) or stops the 20 ms slide timer; the owner stops it while
    // it is not the top window, so that a hidden list does not tick.
    void setSlideTimerRunning(bool run);

    // Paints one cell (skipped when clip is given and the cell lies wholly
    // outside it; clip in screen coordinates). Returns 0.
    int doDrawItem(int index, DC& dc, const Region* clip);
    // The state bits a paint hands the supplier for index.
    unsigned int itemState(int index);
    // Paints the parent's background under the client, except where a paint
    // of every visible cell (clip null) covers the cells itself.
    void drawGridBackground(DC& dc, const Rect& client, const Region* clip);
    // With a DC: redraws the cell at once, then customizedDraw. Without: schedules its repaint.
    int invalidateItem(int index, DC* dc);
    // Paints the moving selection box between m_moveBoxFrom and m_moveBoxTo. Returns 0.
    int drawMoveBox(DC& dc);
    // Schedules the repaint of the box's way from one cell to another.
    void invalidateMoveBoxRect(int from, int to);

protected:
    // Hooks a subclass may replace.
    // Posts a scroll position notify (GRID_NOTIFY_XPOS or GRID_NOTIFY_YPOS)
    // to the parent; a subclass may watch them here.
    virtual void postScrollNotify(int code, int param);
    virtual void updateScrollbar(DC& dc);
    virtual void customizedDraw(DC& dc);
    // Activates an item (enter, or a tap): notify 2 with m_selected, or a
    // multi-selection toggle of index.
    virtual int onSelect(int index);

    int onPaint() override;
    int onFocus(bool focused) override;
    int onKeydown(int key, int flags) override;
    int onMouseEvent(int x, int y, unsigned int type) override;
    int onTimer(int id) override;

    int m_itemHeight { 0 };
    int m_itemWidth { 0 };
    int m_scrollBarWidth { 6 };
    bool m_showScrollBar { true };
    int m_rows { 1 };
    int m_cols { 1 };
    Rect m_workRegion;
    int m_selected { 0 };
    int m_firstItem { 0 };
    int m_lastItem { -1 }; // first set by the first paint; -1 until then
    int m_visibleCount { 0 };
    int m_headWidth { 0 };
    int m_tailWidth { 0 };
    int m_pageWidth { 0 };
    int m_contentWidth { 0 };
    int m_headHeight { 0 };
    int m_tailHeight { 0 };
    int m_pageHeight { 0 };
    int m_contentHeight { 0 };
    GridSupplier* m_supplier { nullptr };
    bool m_ownSupplier { true };
    int m_xPos { 0 };
    int m_xTarget { 0 };
    int m_yPos { 0 };
    int m_yTarget { 0 };
    bool m_dragging { false };
    bool m_barDragging { false };
    int m_scrollTimer { 0 };
    int m_moveBoxTimer { 0 };
    bool m_moveBoxShown { false };
    int m_moveBoxPercent { 0 };
    int m_moveBoxTo { 0 };
    int m_moveBoxFrom { 0 };
    bool m_multiselection { false };
    TDynArray<int> m_multiSelected;
    PelSmoothScrollBar m_scrollBar;
    unsigned short m_trackColor { 0x10A2 };
    unsigned short m_barColor { 0x0969 };

private:
    bool isColumnMajor() const { return isStyle(GRID_STYLE_COLUMN_MAJOR); }
    int itemCount() const { return m_supplier ? m_supplier->getItemCount() : 0; }
    void layoutScrollBar(const Rect& rect);
    int pressScrollBar(int x, int y, unsigned int type);
    int dragScrollBar(int x, int y);
};
