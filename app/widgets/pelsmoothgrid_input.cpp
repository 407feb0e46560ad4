// The smooth grid's behaviour: selection by program and by keys (with the
// moving selection box, page jumps, wrap-around and handing the focus on),
// the 20 ms slide animation and the pointer gestures: tap, drag, flick and
// paging by the draggable scroll bar.

#include "widgets/pelsmoothgrid.h"

#include <lumi/message.h>

#include <cstdlib>

namespace {

constexpr int kSlidePeriodMs = 20;
constexpr int kMoveBoxPeriodMs = 30;
constexpr int kTapSlop = 9; // pixels a tap may wander in either direction
constexpr unsigned int kTapMs = 300; // a press held this long is no tap

// Clamps a scroll position to [0, range]; 0 when the content is smaller than
// the page (range negative).
int clampToRange(int position, int range)
{
    if (position > range)
        position = range;
    if (position < 0)
        position = 0;
    return position;
}

// One pointer gesture at a time in the whole program: the press, kept for
// all grids alike (a press on one grid is what a move on another measures
// against).
struct GestureMemory {
    unsigned int pressTime;
    int pressX;
    int pressY;
    int xPosAtPress;
    int yPosAtPress;
};

GestureMemory& gesture()
{
    static GestureMemory s_gesture { millisec_tick(), 0, 0, 0, 0 };
    return s_gesture;
}

}

void PelSmoothGrid::slideTo(int x, int y, bool immediate)
{
    if (isColumnMajor())
        m_xTarget = clampToRange(x, m_contentWidth - m_pageWidth);
    else
        m_yTarget = clampToRange(y, m_contentHeight - m_pageHeight);
    if (immediate) {
        m_xPos = m_xTarget;
        m_yPos = m_yTarget;
        postMoveMessage(true, true);
        invalidateRect(nullptr);
    }
}

void PelSmoothGrid::slideTo(int index, bool immediate, bool select)
{
    if (index < 0 || index >= itemCount())
        return;
    updateGridSize();
    if (isColumnMajor()) {
        if (m_contentWidth >= m_pageWidth)
            m_xTarget = clampToRange(m_itemWidth * (index / m_rows), m_contentWidth - m_pageWidth);
        else
            m_xTarget = 0;
    } else if (m_contentHeight >= m_pageHeight) {
        // Kept: in row-major order the position jumps at once, without the
        // 1002 notify unless immediate; the column-major form glides.
        m_yTarget = clampToRange(m_itemHeight * (index / m_cols), m_contentHeight - m_pageHeight);
        if (m_yPos != m_yTarget) {
            m_yPos = m_yTarget;
            // The jump shows at the next paint rather than whenever something
            // else happens to repaint the grid.
            invalidateRect(nullptr);
        }
    } else {
        m_yTarget = 0;
    }
    if (select)
        m_selected = index;
    if (immediate) {
        m_xPos = m_xTarget;
        m_yPos = m_yTarget;
        postMoveMessage(true, true);
        invalidateRect(nullptr);
    }
}

void PelSmoothGrid::resetPos()
{
    m_xPos = 0;
    m_xTarget = 0;
    m_yPos = 0;
    m_yTarget = 0;
    updateItemPos();
    const bool columnMajor = isColumnMajor();
    postMoveMessage(columnMajor, !columnMajor);
    invalidateRect(nullptr);
}

int PelSmoothGrid::setSelected(int index)
{
    const int count = itemCount();
    if (index == 0 && count == 0) {
        m_selected = 0;
        m_firstItem = 0;
        resetPos();
        return 0;
    }
    if (index < 0 || index >= count)
        return -1;
    m_selected = index;

    // Bring the first visible cell to the selected item's line; the next
    // paint recomputes it from the position in any case.
    int row = 0;
    int col = 0;
    indexToRowCol(index, row, col);
    if (index < m_firstItem) {
        m_firstItem = indexFromRowCol(row, 0);
    } else if (index >= m_firstItem + m_rows * m_cols) {
        if (row == (count + m_cols - 1) / m_cols - 1)
            row = row - m_rows + 1;
        m_firstItem = indexFromRowCol(row, 0);
    }

    // The selected item in the middle of the page, as far as the content allows.
    int top = m_selected - (m_rows * m_cols) / 2;
    if (top < 0)
        top = 0;
    if (top >= count)
        top = count - 1;
    slideTo(top, true, false);
    return 0;
}

void PelSmoothGrid::refreshSelected()
{
    const int count = itemCount();
    if (m_selected >= count)
        setSelected(count - 1);
    if (m_selected < 0)
        setSelected(0);
}

int PelSmoothGrid::setCurrentFocusIndex(int index)
{
    return setSelected(index) == 0 ? 0 : -1;
}

bool PelSmoothGrid::needMoveFocus(int key)
{
    const int itemCount = this->itemCount();
    LUMI_ASSERT(itemCount > 0, "pelsmoothgrid.cpp", 676, "bool PelSmoothGrid::needMoveFocus(int)");

    // Named for row-major order; column-major exchanges up and down with
    // left and right, and columns with rows.
    const bool columnMajor = isColumnMajor();
    const int across = columnMajor ? m_rows : m_cols;
    const int backKey = columnMajor ? VK_Up : VK_Left;
    const int onKey = columnMajor ? VK_Down : VK_Right;
    const int lineBackKey = columnMajor ? VK_Left : VK_Up;
    const int lineOnKey = columnMajor ? VK_Right : VK_Down;

    if (key == backKey && m_selected % across == 0)
        return true;
    if (key == onKey && (m_selected % across == across - 1 || m_selected >= itemCount - 1))
        return true;
    if (!isStyle(GRID_STYLE_LEAVE_AT_EDGES) || isStyle(GRID_STYLE_WRAP))
        return false;
    if (key == lineBackKey && m_selected < across)
        return true;
    // Kept: on a whole number of lines (always so with one line across) this
    // never holds, so the focus never leaves onwards across the lines.
    if (key == lineOnKey && m_selected >= itemCount - itemCount % across)
        return true;
    return false;
}

int PelSmoothGrid::getMoveDirection(int from, int to) const
{
    const bool columnMajor = isColumnMajor();
    const int step = columnMajor ? m_rows : m_cols;
    const int distance = std::abs(from - to);
    const bool acrossLines = columnMajor ? distance % step != 0 : distance % step == 0;
    if (acrossLines)
        return to <= from ? VK_Up : VK_Down;
    return to > from ? VK_Right : VK_Left;
}

int PelSmoothGrid::onKeydown(int key, int flags)
{
    // A disabled grid (GRID_STYLE_IGNORE_INPUT) never gets here: the
    // toolkit's dispatcher drops its input.
    const int count = itemCount();
    if (count == 0)
        return WndBase::onKeydown(key, flags);
    // A key while the page glides is swallowed: the move would be measured
    // against a page that is not there yet.
    if (m_yPos != m_yTarget || m_xPos != m_xTarget)
        return 0;
    if (needMoveFocus(key))
        return WndBase::onKeydown(key, flags);

    const bool columnMajor = isColumnMajor();
    const int step = columnMajor ? m_rows : m_cols;
    int move = 0;
    switch (key) {
    case VK_Select:
        if (m_selected >= 0 && m_selected < count)
            onSelect(m_selected);
        return 0;
    case VK_Right:
        move = columnMajor ? step : 1;
        break;
    case VK_Left:
        move = columnMajor ? -step : -1;
        break;
    case VK_Down:
        move = columnMajor ? 1 : step;
        break;
    case VK_Up:
        move = columnMajor ? -1 : -step;
        break;
    default:
        return WndBase::onKeydown(key, flags);
    }

    const int next = m_selected + move;
    if (next == m_selected)
        return 0;
    if (next >= 0 && next < count) {
        if (next >= m_firstItem && next <= m_lastItem) {
            // Within the page: the box travels from the old cell to the new one.
            if (m_moveBoxTimer == 0)
                m_moveBoxTimer = setTimer(kMoveBoxPeriodMs);
            m_moveBoxFrom = m_selected;
            m_moveBoxTo = next;
            m_moveBoxPercent = 25;
            m_selected = next;
            sendNotifyMsg(GRID_NOTIFY_SELECT, next);
            return 0;
        }
        m_selected = next;
        sendNotifyMsg(next >= m_firstItem ? GRID_NOTIFY_PAGE_ON : GRID_NOTIFY_PAGE_BACK, 0);
        const int page = m_rows * m_cols;
        slideTo((next / page) * page, false, false);
        return 0;
    }

    if (!isStyle(GRID_STYLE_WRAP))
        return 0;
    const int lines = (count + step - 1) / step;
    int wrapped = next;
    if (next < 0) {
        wrapped = next + lines * step;
        if (wrapped >= count)
            wrapped -= step;
    } else {
        wrapped = next - lines * step;
        if (wrapped < 0)
            wrapped += step;
    }
    setSelected(wrapped);
    return 0;
}

void PelSmoothGrid::moveSelectBox()
{
    // The same never-true visibility guard as the painter's.
    if (m_moveBoxTo < m_firstItem && m_moveBoxTo >= m_firstItem + m_visibleCount)
        return;
    if (m_moveBoxPercent >= 1 && m_moveBoxPercent < 90) {
        m_moveBoxShown = true;
        m_moveBoxPercent += (100 - m_moveBoxPercent) / 2;
        invalidateMoveBoxRect(m_moveBoxFrom, m_moveBoxTo);
        return;
    }
    m_moveBoxShown = false;
    m_moveBoxPercent = -1;
    killTimer(m_moveBoxTimer);
    m_moveBoxTimer = 0;
    invalidateMoveBoxRect(m_moveBoxFrom, m_moveBoxTo);
}

int PelSmoothGrid::onTimer(int id)
{
    if (id == m_moveBoxTimer) {
        moveSelectBox();
        return 0;
    }
    // The slide rests while a finger holds the content.
    if (m_dragging || (m_yPos == m_yTarget && m_xPos == m_xTarget))
        return 0;
    // Each tick halves the distance; the last step of at most 2 pixels snaps,
    // and only the snap tells the parent.
    if (m_yPos != m_yTarget) {
        m_yPos += (m_yTarget - m_yPos) / 2;
        if (m_yTarget - m_yPos >= -2 && m_yTarget - m_yPos <= 2) {
            m_yPos = m_yTarget;
            postScrollNotify(GRID_NOTIFY_YPOS, m_yPos);
        }
    }
    if (m_xPos != m_xTarget) {
        m_xPos += (m_xTarget - m_xPos) / 2;
        if (m_xTarget - m_xPos >= -2 && m_xTarget - m_xPos <= 2) {
            m_xPos = m_xTarget;
            postScrollNotify(GRID_NOTIFY_XPOS, m_xPos);
        }
    }
    invalidateRect(nullptr);
    return 0;
}

int PelSmoothGrid::onFocus(bool focused)
{
    WndBase::onFocus(focused);
    // Every cell's state carries the focus bit.
    invalidateRect(nullptr);
    return 0;
}

void PelSmoothGrid::setSlideTimerRunning(bool run)
{
    if (!run) {
        if (m_scrollTimer)
            killTimer(m_scrollTimer);
        m_scrollTimer = 0;
        return;
    }
    if (m_scrollTimer == 0)
        m_scrollTimer = setTimer(kSlidePeriodMs);
}

int PelSmoothGrid::onMouseEvent(int x, int y, unsigned int type)
{
    GestureMemory& g = gesture();
    if (type == MOUSE_PRESS && isStyle(GRID_STYLE_DRAG_BAR) && m_scrollBar.m_touchRect.ptInRect(x, y))
        return pressScrollBar(x, y, type);
    if (type == MOUSE_MOVE && m_barDragging && m_contentWidth >= m_pageWidth
        && m_contentHeight >= m_pageHeight)
        return dragScrollBar(x, y);

    const bool columnMajor = isColumnMajor();
    // Hit-testing takes the client coordinates as they come; the work
    // region's offset is not subtracted.
    switch (type) {
    case MOUSE_PRESS: {
        g.pressTime = millisec_tick();
        g.pressX = x;
        g.pressY = y;
        g.xPosAtPress = m_xPos;
        g.yPosAtPress = m_yPos;
        m_dragging = true;
        const int index = point2Index(x, y);
        if (index >= 0 && index < itemCount()) {
            invalidateItem(m_selected, nullptr);
            invalidateItem(index, nullptr);
            m_selected = index;
            sendNotifyMsg(GRID_NOTIFY_SELECT, 0);
        }
        break;
    }
    case MOUSE_MOVE:
        if (!m_dragging || m_contentWidth < m_pageWidth || m_contentHeight < m_pageHeight)
            break;
        // The content follows the finger; the target is left alone and the
        // slide timer rests until the release.
        if (columnMajor) {
            m_xPos = clampToRange(g.xPosAtPress + (g.pressX - x), m_contentWidth - m_pageWidth);
            postScrollNotify(GRID_NOTIFY_XPOS, m_xPos);
        } else {
            m_yPos = clampToRange(g.yPosAtPress + (g.pressY - y), m_contentHeight - m_pageHeight);
            postScrollNotify(GRID_NOTIFY_YPOS, m_yPos);
        }
        invalidateRect(nullptr);
        return 0;
    case MOUSE_RELEASE:
        if (m_dragging) {
            const unsigned int now = millisec_tick();
            const unsigned int held = now - g.pressTime;
            if (std::abs(y - g.pressY) <= kTapSlop && std::abs(x - g.pressX) <= kTapSlop && held < kTapMs) {
                const int index = point2Index(x, y);
                if (index >= 0 && index < itemCount()) {
                    invalidateItem(m_selected, nullptr);
                    invalidateItem(index, nullptr);
                    m_selected = index;
                    updateWindow();
                    onSelect(m_selected);
                }
            } else if (now > g.pressTime) {
                // A flick: the target is where one more second at the
                // gesture's mean speed would carry the content.
                const int elapsed = static_cast<int>(held);
                if (columnMajor) {
                    m_xTarget = m_contentWidth >= m_pageWidth
                        ? clampToRange(m_xPos - (x - g.pressX) * 1000 / elapsed, m_contentWidth - m_pageWidth)
                        : 0;
                } else {
                    m_yTarget = m_contentHeight >= m_pageHeight ? clampToRange(
                                    m_yPos - (y - g.pressY) * 1000 / elapsed, m_contentHeight - m_pageHeight)
                                                                : 0;
                }
            }
        }
        m_dragging = false;
        m_barDragging = false;
        break;
    default:
        break;
    }
    return WndBase::onMouseEvent(x, y, type);
}

int PelSmoothGrid::pressScrollBar(int x, int y, unsigned int type)
{
    const bool columnMajor = isColumnMajor();
    const int page = m_rows * m_cols;
    const int count = itemCount();
    // One more page on an exact multiple, as the painter counts them.
    const int pages = (count + page) / page;
    m_barDragging = true;
    const int pressed = m_scrollBar.pt2Index(x, y, pages, columnMajor, false);
    int first = pressed * page;
    if (first >= count)
        first = count - 1;
    if (first >= 0) {
        m_selected = first;
        if (columnMajor)
            m_xPos = clampToRange(pressed * m_pageWidth, m_contentWidth - m_pageWidth);
        else
            m_yPos = clampToRange(pressed * m_pageHeight, m_contentHeight - m_pageHeight);
        // Kept: the vertical target in either orientation.
        m_yTarget = m_yPos;
        invalidateRect(nullptr);
        sendNotifyMsg(GRID_NOTIFY_SELECT, 0);
    }
    return WndBase::onMouseEvent(x, y, type);
}

int PelSmoothGrid::dragScrollBar(int x, int y)
{
    const int page = m_rows * m_cols;
    const int pages = (itemCount() + page) / page;
    if (isColumnMajor()) {
        const int range = m_contentWidth - m_pageWidth;
        m_xPos = clampToRange(m_scrollBar.getPos(x, range, pages, true), range);
        m_xTarget = m_xPos;
        postScrollNotify(GRID_NOTIFY_XPOS, m_xPos);
    } else {
        const int range = m_contentHeight - m_pageHeight;
        m_yPos = clampToRange(m_scrollBar.getPos(y, range, pages, false), range);
        m_yTarget = m_yPos;
        postScrollNotify(GRID_NOTIFY_YPOS, m_yPos);
    }
    invalidateRect(nullptr);
    return 0;
}
