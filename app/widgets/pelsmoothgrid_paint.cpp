// The smooth grid's painting: a double-buffered paint of the visible cells,
// the selected cell last, the moving selection box and the scroll bar.

#include "widgets/pelsmoothgrid.h"

#include <lumi/gdi.h>
#include <lumi/message.h>

namespace {

// The off-screen buffer a grid paints into where its paint's DC is not
// off-screen already, kept from one paint to the next: a new one for each
// frame of the slide animation would cost more than the frame's drawing
// (allocating and clearing a screenful of pixels). Paints never nest, so
// one buffer serves all grids; it is made anew only when a grid of another
// size paints. Like the screen, a kept buffer still holds the last picture
// where a parent paints no background.
MemDC& paintBuffer()
{
    static MemDC s_buffer;
    return s_buffer;
}

bool s_ownBufferAlways = false;

}

void PelSmoothGrid::setOwnBufferAlways(bool always)
{
    s_ownBufferAlways = always;
}

bool isRepaintAll(const Rect& rect, const Region& region)
{
    int count = 0;
    const Rect* rects = region.rects(count);
    return count == 1 && rects[0] == rect;
}

int PelSmoothGrid::onPaint()
{
    Rect client;
    getClientRect(client);
    PaintDC paintDC(this);
    // Off-screen, so that a frame never shows half drawn. The screen paints
    // into a frame of its own and shows it only after the paint: where the
    // paint's DC draws on that frame, the frame is the grid's buffer, and
    // the copy out of a buffer of the grid's own (a third of a frame copy
    // on the quick test's list) is spared. Otherwise the grid's own buffer
    // when the memory can be had, and straight to the screen when not, with
    // the same picture.
    MemDC& memDC = paintBuffer();
    bool buffered = false;
    if (s_ownBufferAlways || !paintDC.drawsOffScreen()) {
        const Bitmap* kept = memDC.getBitmap();
        buffered = !kept->isNull() && kept->width() == client.width() && kept->height() == client.height();
        if (!buffered)
            buffered = memDC.create(client, &paintDC) == 0;
    }
    if (buffered) {
        // What a new context would start with.
        memDC.selectFont(paintDC.font());
        memDC.setPenColor(0);
        memDC.setTextColor(0);
    }
    DC& dc = buffered ? static_cast<DC&>(memDC) : static_cast<DC&>(paintDC);

    updateItemPos();

    // The update region is in screen coordinates, so the client rectangle is
    // compared there too.
    const Region& update = paintDC.region();
    Rect screenClient = client;
    clientToScreen(screenClient);
    const Region* clip = isRepaintAll(screenClient, update) ? nullptr : &update;

    if (isStyle(GRID_STYLE_TRANSPARENT))
        drawGridBackground(dc, client, clip);
    else
        dc.fillRect(client, 0);
    for (int i = m_firstItem; i <= m_lastItem; ++i) {
        if (i != m_selected)
            doDrawItem(i, dc, clip);
    }
    updateScrollbar(dc);
    // Last and unclipped: the selection stays on top of its neighbours.
    doDrawItem(m_selected, dc, nullptr);
    if (m_moveBoxShown)
        drawMoveBox(dc);
    customizedDraw(dc);

    if (buffered)
        paintDC.drawBitmap(client.left, client.top, memDC.getBitmap());
    return 0;
}

void PelSmoothGrid::drawGridBackground(DC& dc, const Rect& client, const Region* clip)
{
    if (clip || !m_supplier) {
        redrawBackground(dc, &client, this);
        return;
    }
    // The cells every paint draws whole (the visible ones and the selected
    // one) are filled by the supplier anyway: on a full list they are most
    // of the client, and painting the background under them too was a
    // third of a frame's fills. The background is already drawn cell by
    // cell under cells the supplier does not cover, so drawing it in pieces
    // gives the same picture.
    Region background(client);
    for (int i = m_firstItem; i <= m_lastItem; ++i) {
        if (i != m_selected && m_supplier->coversItem(i, itemState(i))) {
            Rect rect;
            getItemRect(i, rect);
            background.subtract(rect);
        }
    }
    if (m_supplier->coversItem(m_selected, itemState(m_selected))) {
        Rect rect;
        getItemRect(m_selected, rect);
        background.subtract(rect);
    }
    int count = 0;
    const Rect* rects = background.rects(count);
    for (int i = 0; i < count; ++i) {
        Rect part = rects[i];
        redrawBackground(dc, &part, this);
    }
}

unsigned int PelSmoothGrid::itemState(int index)
{
    unsigned int state = 0;
    if (index == m_selected && m_moveBoxTimer == 0)
        state |= GRID_STATE_SELECTED;
    if (!isStatus(WS_FOCUSED))
        state |= GRID_STATE_NOFOCUS;
    if (index < 0 || index >= itemCount())
        state |= GRID_STATE_EMPTY;
    if (inMultiselection(index))
        state |= GRID_STATE_MULTISELECTED;
    return state;
}

int PelSmoothGrid::doDrawItem(int index, DC& dc, const Region* clip)
{
    // Kept as the program has it: the two conditions never hold together, so
    // no cell is skipped here and cells outside the visible range are simply
    // drawn outside the work region.
    if (index < m_firstItem && index >= m_firstItem + m_visibleCount)
        return 0;

    const unsigned int state = itemState(index);
    Rect rect;
    getItemRect(index, rect);
    if (clip) {
        Rect onScreen = rect;
        clientToScreen(onScreen);
        if (!clip->contains(onScreen))
            return 0;
    }
    const bool covered = m_supplier && m_supplier->coversItem(index, state);
    if (isStyle(GRID_STYLE_TRANSPARENT) && !covered)
        redrawBackground(dc, &rect, this);
    if (m_supplier)
        m_supplier->drawItem(dc, rect, index, state);
    return 0;
}

void fillCell(DC& dc, const Rect& rect, unsigned short edge, unsigned short inside)
{
    Rect in = rect;
    in.shrink(1, 1);
    if (edge == inside || in.isEmpty()) {
        dc.fillRect(rect, edge);
        return;
    }
    dc.fillRect(Rect(rect.left, rect.top, rect.right, in.top), edge);
    dc.fillRect(Rect(rect.left, in.top, in.left, in.bottom), edge);
    dc.fillRect(in, inside);
    dc.fillRect(Rect(in.right, in.top, rect.right, in.bottom), edge);
    dc.fillRect(Rect(rect.left, in.bottom, rect.right, rect.bottom), edge);
}

int PelSmoothGrid::invalidateItem(int index, DC* dc)
{
    if (dc) {
        const int result = doDrawItem(index, *dc, nullptr);
        customizedDraw(*dc);
        return result;
    }
    // The same never-true guard as doDrawItem's.
    if (index < m_firstItem && index >= m_firstItem + m_visibleCount)
        return 0;
    Rect rect;
    getItemRect(index, rect);
    invalidateRect(&rect, 1);
    return 0;
}

int PelSmoothGrid::drawMoveBox(DC& dc)
{
    if (!m_moveBoxShown)
        return 0;
    Rect r;
    getItemRect(m_moveBoxFrom, r);
    const int dy = m_moveBoxPercent * r.height() / 100;
    const int dx = m_moveBoxPercent * r.width() / 100;
    switch (getMoveDirection(m_moveBoxFrom, m_moveBoxTo)) {
    case VK_Right:
        r.offset(dx, 0);
        break;
    case VK_Left:
        r.offset(-dx, 0);
        break;
    case VK_Up:
        r.offset(0, -dy);
        break;
    case VK_Down:
        r.offset(0, dy);
        break;
    default:
        break;
    }
    if (m_supplier)
        m_supplier->drawItem(dc, r, 0, GRID_STATE_MOVEBOX);
    return 0;
}

void PelSmoothGrid::invalidateMoveBoxRect(int from, int to)
{
    Rect r;
    Rect other;
    getItemRect(from, r);
    getItemRect(to, other);
    r |= other;
    // A cell of margin all round: the box is drawn between the two cells
    // and the supplier's box may reach past them.
    r.left -= m_itemWidth;
    r.right += m_itemWidth;
    r.top -= m_itemHeight;
    r.bottom += m_itemHeight;
    Rect client;
    getClientRect(client);
    if (r.left < 0)
        r.left = 0;
    if (r.top < 0)
        r.top = 0;
    if (r.right > client.right)
        r.right = client.right;
    if (r.bottom > client.bottom)
        r.bottom = client.bottom;
    invalidateRect(&r, 1);
}

void PelSmoothGrid::updateScrollbar(DC& dc)
{
    if (!m_showScrollBar || m_scrollBarWidth <= 0)
        return;
    const bool columnMajor = isColumnMajor();

    if (!isStyle(GRID_STYLE_DRAG_BAR)) {
        // Along the far edge of the scrolling axis: the bottom edge for
        // column-major order, the right edge for row-major.
        const int page = columnMajor ? m_pageWidth : m_pageHeight;
        const int content = columnMajor ? m_contentWidth : m_contentHeight;
        if (content <= page)
            return;
        Rect track;
        getClientRect(track);
        const int length = columnMajor ? track.width() : track.height();
        if (columnMajor)
            track.top = track.bottom - m_scrollBarWidth;
        else
            track.left = track.right - m_scrollBarWidth;
        dc.fillRect(track, m_trackColor);
        // The thumb's length is the visible share of the content.
        const int thumb = length * page / content;
        const int offset = (columnMajor ? m_xPos : m_yPos) * (length - thumb) / (content - page);
        Rect bar = track;
        if (columnMajor) {
            bar.left += offset;
            bar.right = bar.left + thumb;
        } else {
            bar.top += offset;
            bar.bottom = bar.top + thumb;
        }
        dc.fillRect(bar, m_barColor);
        return;
    }

    // Kept: the page count is one more on an exact multiple of a page; the
    // bar's paging by pointer relies on the same count.
    const int page = m_rows * m_cols;
    const int pages = (itemCount() + page) / page;
    const int range = columnMajor ? m_contentWidth - m_pageWidth : m_contentHeight - m_pageHeight;
    // Kept: the horizontal position in both orientations, so in row-major
    // order the thumb stays at the start of the track.
    const Rect bar = m_scrollBar.getBarRect(m_xPos, range, pages, columnMajor, true);
    const bool shorter = columnMajor ? bar.width() < m_scrollBar.m_trackRect.width()
                                     : bar.height() < m_scrollBar.m_trackRect.height();
    if (shorter) {
        // Kept in this order: the whole track ends up in the thumb's colour.
        dc.fillRect(bar, m_trackColor);
        dc.fillRect(m_scrollBar.m_trackRect, m_barColor);
    }
}

void PelSmoothGrid::customizedDraw(DC&) { }

void PelSmoothGrid::setScrollBarColor(unsigned short track, unsigned short bar)
{
    if (track == m_trackColor && bar == m_barColor)
        return;
    m_trackColor = track;
    m_barColor = bar;
    invalidateRect(nullptr);
}

void PelSmoothGrid::setScrollBarWidth(int width)
{
    m_scrollBarWidth = width;
    Rect client;
    getClientRect(client);
    layoutScrollBar(client);
    invalidateRect(nullptr);
}

void PelSmoothGrid::layoutScrollBar(const Rect& rect)
{
    const int w = m_scrollBarWidth;
    m_scrollBar.m_touchRect = rect;
    m_scrollBar.m_trackRect = rect;
    // The touch strip is wider than the track so that a finger can hit it.
    if (isColumnMajor()) {
        m_scrollBar.m_trackRect.top = rect.bottom - w;
        m_scrollBar.m_touchRect.top = m_scrollBar.m_touchRect.bottom - w * 5 / 3;
    } else {
        m_scrollBar.m_trackRect.left = rect.right - w;
        m_scrollBar.m_touchRect.left = m_scrollBar.m_touchRect.right - w * 5 / 3;
    }
}
