// The smooth grid's model and geometry: supplier, work region, cell sizes,
// visible range, index arithmetic, hit-testing and the multi-selection.

#include "widgets/pelsmoothgrid.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

// The source file name the grid's assertions report.
constexpr const char* kGridSource = "pelsmoothgrid.cpp";
}

PelSmoothGrid::PelSmoothGrid() = default;

PelSmoothGrid::~PelSmoothGrid()
{
    if (m_ownSupplier && m_supplier)
        delete m_supplier;
    m_supplier = nullptr;
    multiselectionOpOver();
}

int PelSmoothGrid::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    const int result = WndBase::create(parent, rect, style);
    getClientRect(m_workRegion);
    if (result != 0)
        return result;
    // Every paint covers the whole client area (off-screen, then copied), so
    // nothing beneath needs painting first: half the cost of a slide frame.
    setOpaquePaint(true);
    if (m_scrollTimer == 0)
        m_scrollTimer = setTimer(20);
    // Laid out from the rectangle as given, in the parent's coordinates, as
    // the draggable bar has always been; setScrollBarWidth lays it out again
    // from the client rectangle.
    layoutScrollBar(rect);
    return 0;
}

void PelSmoothGrid::setSupplier(GridSupplier* supplier, bool own)
{
    if (supplier != m_supplier) {
        if (m_ownSupplier && m_supplier)
            delete m_supplier;
        m_ownSupplier = own;
        m_supplier = supplier;
        return;
    }
    m_ownSupplier = own;
}

void PelSmoothGrid::setRowCol(int rows, int cols)
{
    m_rows = rows < 1 ? 1 : rows;
    m_cols = cols < 1 ? 1 : cols;
    Rect client;
    getClientRect(client);
    setWorkRegion(client);
}

void PelSmoothGrid::getRowCol(int& rows, int& cols) const
{
    rows = m_rows;
    cols = m_cols;
}

void PelSmoothGrid::getVisibleRange(int& first, int& last) const
{
    first = m_firstItem;
    last = m_lastItem;
}

void PelSmoothGrid::setWorkRegion(const Rect& rect)
{
    m_workRegion = rect;
    // Whole cells only, the spare pixels shared out on both sides.
    m_workRegion.right -= rect.width() % m_cols;
    m_workRegion.bottom -= rect.height() % m_rows;
    m_workRegion.offset(
        (rect.width() - m_workRegion.width()) / 2, (rect.height() - m_workRegion.height()) / 2);
    updateGridSize();
}

void PelSmoothGrid::updateGridSize()
{
    const int width = m_workRegion.width();
    const int height = m_workRegion.height();
    m_itemWidth = width / m_cols;
    m_itemHeight = height / m_rows;
    m_pageHeight = height;
    m_pageWidth = width;
    const int count = itemCount();
    m_contentHeight = m_itemHeight * ((count + m_cols - 1) / m_cols);
    m_contentWidth = m_itemWidth * ((count + m_rows - 1) / m_rows);
}

void PelSmoothGrid::updateItemPos()
{
    static const char* const kFunction = "void PelSmoothGrid::updateItemPos()";
    LUMI_ASSERT(m_rows > 0, kGridSource, __LINE__, kFunction);
    LUMI_ASSERT(m_cols > 0, kGridSource, __LINE__, kFunction);
    LUMI_ASSERT(m_itemHeight > 0, kGridSource, __LINE__, kFunction);
    LUMI_ASSERT(m_itemWidth > 0, kGridSource, __LINE__, kFunction);
    LUMI_ASSERT(m_pageHeight > 0, kGridSource, __LINE__, kFunction);
    LUMI_ASSERT(m_pageWidth > 0, kGridSource, __LINE__, kFunction);

    updateGridSize();
    // The same arithmetic along the scrolling axis in both orders: x, widths
    // and columns of m_rows cells for column-major order; y, heights and rows
    // of m_cols cells for row-major order.
    const bool columnMajor = isColumnMajor();
    int& pos = columnMajor ? m_xPos : m_yPos;
    int& target = columnMajor ? m_xTarget : m_yTarget;
    int& head = columnMajor ? m_headWidth : m_headHeight;
    int& tail = columnMajor ? m_tailWidth : m_tailHeight;
    const int item = columnMajor ? m_itemWidth : m_itemHeight;
    const int page = columnMajor ? m_pageWidth : m_pageHeight;
    const int perLine = columnMajor ? m_rows : m_cols;
    for (;;) {
        m_firstItem = perLine * (pos / item);
        head = item - pos % item;
        tail = item - (page - head) % item;
        if (head == 0)
            head = item;
        if (tail == 0)
            tail = item;
        m_visibleCount = perLine * ((page + item - 1) / item);
        if (pos % item != 0)
            m_visibleCount += perLine;
        m_lastItem = m_firstItem + m_visibleCount - 1;

        // Cells: the items rounded up to whole lines, at least one full page.
        const int items = itemCount();
        int count = (items + perLine - 1) / perLine * perLine;
        if (count < m_rows * m_cols)
            count = m_rows * m_cols;
        if (count == 0)
            return;
        LUMI_ASSERT((m_firstItem >= 0 && m_firstItem < count) || (m_firstItem == 0 && count == 0),
            kGridSource, __LINE__, kFunction);
        LUMI_ASSERT(m_lastItem >= 0, kGridSource, __LINE__, kFunction);
        // Kept: a last visible cell one past the last cell is accepted, so a
        // partly scrolled last line may show a line of empty cells.
        if (m_lastItem <= count)
            return;
        // Scrolled beyond the content: back one item and again.
        pos -= item;
        target = pos;
    }
}

int PelSmoothGrid::indexToRowCol(int index, int& row, int& col) const
{
    if (isColumnMajor()) {
        col = index / m_rows;
        row = index % m_rows;
        return col;
    }
    row = index / m_cols;
    col = index % m_cols;
    return row;
}

int PelSmoothGrid::indexFromRowCol(int row, int col) const
{
    return isColumnMajor() ? col * m_rows + row : row * m_cols + col;
}

int PelSmoothGrid::point2Index(int x, int y) const
{
    // Before the first geometry there are no cells to hit.
    if (m_itemHeight <= 0 || m_itemWidth <= 0)
        return -1;
    if (isColumnMajor())
        return ((m_xPos + x) / m_itemWidth) * m_rows + y / m_itemHeight;
    return ((m_yPos + y) / m_itemHeight) * m_cols + x / m_itemWidth;
}

void PelSmoothGrid::getItemRect(int index, Rect& rect) const
{
    const int k = index - m_firstItem;
    const bool columnMajor = isColumnMajor();
    const int perLine = columnMajor ? m_rows : m_cols;
    // Across the scrolling axis the cell sits at its place in its line; along
    // it at its line, the first line starting above (or left of) the work
    // region by the part of it that is scrolled out.
    const int acrossSize = columnMajor ? m_itemHeight : m_itemWidth;
    const int alongSize = columnMajor ? m_itemWidth : m_itemHeight;
    const int across = (columnMajor ? m_workRegion.top : m_workRegion.left) + (k % perLine) * acrossSize;
    const int along = (columnMajor ? m_workRegion.left : m_workRegion.top)
        + (columnMajor ? m_headWidth : m_headHeight) - alongSize + (k / perLine) * alongSize;
    if (columnMajor)
        rect.setRect(along, across, along + alongSize, across + acrossSize);
    else
        rect.setRect(across, along, across + acrossSize, along + alongSize);
    if (isStyle(GRID_STYLE_STRETCH_LAST)) {
        int& farEdge = columnMajor ? rect.bottom : rect.right;
        const int regionEdge = columnMajor ? m_workRegion.bottom : m_workRegion.right;
        if (regionEdge - farEdge < acrossSize)
            farEdge = regionEdge;
    }
}

int PelSmoothGrid::onSelect(int index)
{
    if (!m_multiselection) {
        // The selected item is activated, whatever index says.
        if (m_selected >= 0 && m_selected < itemCount())
            sendNotifyMsg(GRID_NOTIFY_ACTIVATE, m_selected);
        return 0;
    }
    if (inMultiselection(index))
        delFromMultiselection(index);
    else
        m_multiSelected.push_back(index);
    return 0;
}

void PelSmoothGrid::setMutiselectionMode(bool on)
{
    m_multiselection = on;
    if (!on)
        multiselectionOpOver();
}

bool PelSmoothGrid::inMultiselection(int index) const
{
    for (int i = 0; i < m_multiSelected.size(); ++i) {
        if (m_multiSelected[i] == index)
            return true;
    }
    return false;
}

int PelSmoothGrid::delFromMultiselection(int index)
{
    for (int i = 0; i < m_multiSelected.size(); ++i) {
        if (m_multiSelected[i] == index)
            return m_multiSelected.erase(i);
    }
    return -1;
}

void PelSmoothGrid::multiselectionOpOver()
{
    m_multiSelected.clear();
}

void PelSmoothGrid::postScrollNotify(int code, int param)
{
    postNotifyMsg(code, param);
}

void PelSmoothGrid::postMoveMessage(bool horizontal, bool vertical)
{
    if (horizontal)
        postScrollNotify(GRID_NOTIFY_XPOS, m_xPos);
    if (vertical)
        postScrollNotify(GRID_NOTIFY_YPOS, m_yPos);
}
