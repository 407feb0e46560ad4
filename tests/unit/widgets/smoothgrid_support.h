#pragma once
// Shared pieces of the smooth grid's tests: a grid whose fields the tests can
// read, a supplier that paints rows as the quick-test window does and
// remembers every call, a main window that records notifies, and a fixture
// whose clock also drives millisec_tick().

#include "widgets/pelsmoothgrid.h"

#include "lumi_test.h"

#include <lumi/lumi.h>

#include <ostream>
#include <vector>

namespace gridtest {

constexpr unsigned short kWhite = 0xFFFF; // cell border, even rows, the host's grid background
constexpr unsigned short kOddRow = 0xF7BE;
constexpr unsigned short kSelectedRow = 0xDEDB;
constexpr unsigned short kBoxColour = 0x001F; // outline of the moving selection box
constexpr unsigned short kHostColour = 0x7BAF; // the host window behind everything else

// Exposes the grid's fields to the tests, and records the notifies it posts
// at the moment it posts them and the pointer events that reach it.
class ProbeGrid : public PelSmoothGrid {
public:
    using PelSmoothGrid::m_barColor;
    using PelSmoothGrid::m_barDragging;
    using PelSmoothGrid::m_cols;
    using PelSmoothGrid::m_contentHeight;
    using PelSmoothGrid::m_contentWidth;
    using PelSmoothGrid::m_dragging;
    using PelSmoothGrid::m_firstItem;
    using PelSmoothGrid::m_headHeight;
    using PelSmoothGrid::m_headWidth;
    using PelSmoothGrid::m_itemHeight;
    using PelSmoothGrid::m_itemWidth;
    using PelSmoothGrid::m_lastItem;
    using PelSmoothGrid::m_moveBoxFrom;
    using PelSmoothGrid::m_moveBoxPercent;
    using PelSmoothGrid::m_moveBoxShown;
    using PelSmoothGrid::m_moveBoxTimer;
    using PelSmoothGrid::m_moveBoxTo;
    using PelSmoothGrid::m_multiSelected;
    using PelSmoothGrid::m_multiselection;
    using PelSmoothGrid::m_ownSupplier;
    using PelSmoothGrid::m_pageHeight;
    using PelSmoothGrid::m_pageWidth;
    using PelSmoothGrid::m_rows;
    using PelSmoothGrid::m_scrollBar;
    using PelSmoothGrid::m_scrollBarWidth;
    using PelSmoothGrid::m_scrollTimer;
    using PelSmoothGrid::m_selected;
    using PelSmoothGrid::m_showScrollBar;
    using PelSmoothGrid::m_supplier;
    using PelSmoothGrid::m_tailHeight;
    using PelSmoothGrid::m_tailWidth;
    using PelSmoothGrid::m_trackColor;
    using PelSmoothGrid::m_visibleCount;
    using PelSmoothGrid::m_workRegion;
    using PelSmoothGrid::m_xPos;
    using PelSmoothGrid::m_xTarget;
    using PelSmoothGrid::m_yPos;
    using PelSmoothGrid::m_yTarget;

    struct Posted {
        int code;
        int param;
        bool operator==(const Posted& o) const { return code == o.code && param == o.param; }
        friend void PrintTo(const Posted& p, std::ostream* out)
        {
            *out << "{" << p.code << ", " << p.param << "}";
        }
    };

    std::vector<Posted> posted;
    std::vector<unsigned int> pointerEvents;
    int customDraws { 0 };
    const Rect* marker { nullptr }; // painted by customizedDraw when set

protected:
    void postScrollNotify(int code, int param) override
    {
        posted.push_back({ code, param });
        PelSmoothGrid::postScrollNotify(code, param);
    }
    int onMouseEvent(int x, int y, unsigned int type) override
    {
        pointerEvents.push_back(type);
        return PelSmoothGrid::onMouseEvent(x, y, type);
    }
    void customizedDraw(DC& dc) override
    {
        ++customDraws;
        if (marker)
            dc.fillRect(*marker, 0x07E0);
        PelSmoothGrid::customizedDraw(dc);
    }
};

// Rows painted like the quick-test window's list, with every call recorded.
class RowSupplier : public GridSupplier {
public:
    explicit RowSupplier(int count = 0, int* deletions = nullptr)
        : items(count)
        , deleted(deletions)
    {
    }
    ~RowSupplier() override
    {
        if (deleted)
            ++*deleted;
    }

    int getItemCount() override { return items; }

    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override
    {
        calls.push_back({ rect, index, state });
        if (state & GRID_STATE_MOVEBOX) {
            dc.setPenColor(kBoxColour);
            dc.drawRect(rect.left, rect.top, rect.right - 1, rect.bottom - 1);
            return;
        }
        if (index < 0 || index >= items)
            return;
        dc.fillRect(rect, kWhite);
        Rect inner = rect;
        inner.shrink(1, 1);
        if (state & GRID_STATE_SELECTED) {
            dc.fillRect(inner, kSelectedRow);
            return;
        }
        dc.fillRect(inner, index % 2 ? kOddRow : kWhite);
        dc.setPenColor(kSelectedRow);
        dc.drawLine(rect.left, rect.bottom - 2, rect.right, rect.bottom);
    }

    struct Call {
        Rect rect;
        int index;
        unsigned int state;
    };
    // Calls for items and empty cells (not the moving box).
    std::vector<Call> cellCalls() const
    {
        std::vector<Call> cells;
        for (const Call& c : calls) {
            if (!(c.state & GRID_STATE_MOVEBOX))
                cells.push_back(c);
        }
        return cells;
    }
    std::vector<Call> boxCalls() const
    {
        std::vector<Call> boxes;
        for (const Call& c : calls) {
            if (c.state & GRID_STATE_MOVEBOX)
                boxes.push_back(c);
        }
        return boxes;
    }

    int items;
    int* deleted;
    std::vector<Call> calls;
};

// The grid's owner: paints the grid's background white (as the quick-test
// window does) and its own grey, and records the notifies it receives.
class Host : public MainWndBase {
protected:
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override
    {
        dc->fillRect(*rect, child == this ? kHostColour : kWhite);
        return 0;
    }
    int onNotify(WndBase* from, int code, int param) override
    {
        notes.push_back({ from, code, param });
        return 0;
    }

public:
    struct Note {
        WndBase* from;
        int code;
        int param;
    };
    std::vector<int> codes() const
    {
        std::vector<int> all;
        for (const Note& n : notes)
            all.push_back(n.code);
        return all;
    }
    std::vector<Note> notes;
};

// A plain focusable control, to see where the focus goes.
class Sibling : public WndBase {
protected:
    int onPaint() override { return 0; }
};

// The quick-test window's grid style: row-major, transparent, shown, the
// focus may leave at the edges, no wrap, plain scroll bar.
constexpr unsigned int kUsersStyle = 0x0A080046;

class SmoothGridTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        host = new Host;
        ASSERT_EQ(host->create(Rect(0, 0, 800, 480), 0x47, 101), 0);
    }

    // A grid at rect of the host showing count rows supplied by a recording
    // supplier (owned by the grid), rows x cols a page, work region the whole
    // client area unless given.
    ProbeGrid* makeGrid(const Rect& rect, int count, int rows, int cols = 1, unsigned int style = kUsersStyle,
        const Rect* workRegion = nullptr)
    {
        auto* grid = new ProbeGrid;
        EXPECT_EQ(grid->create(host, rect, style), 0);
        supplier = new RowSupplier(count);
        grid->setSupplier(supplier, true);
        grid->setRowCol(rows, cols);
        if (workRegion)
            grid->setWorkRegion(*workRegion);
        return grid;
    }

    // A one-column list of count 40-pixel rows, rows of them a page, at the
    // host's top-left corner with the work region the whole client area.
    ProbeGrid* makeList(int count, int rows, unsigned int style = kUsersStyle, int width = 300)
    {
        return makeGrid(Rect(0, 0, width, rows * 40), count, rows, 1, style);
    }

    // Activates item index the way the operator does with the enter key:
    // the item is selected and enter goes to the focused grid.
    void activate(ProbeGrid* grid, int index)
    {
        grid->m_selected = index;
        grid->setFocus();
        tapKey(VK_Select);
    }

    // Moves the test clock (and so millisec_tick) without letting timers run.
    void passTime(int ms) { nowMs += static_cast<uint64_t>(ms); }

    // Runs the slide timer for one 20 ms period.
    void tick20() { advance(20, 20); }

    Host* host { nullptr };
    RowSupplier* supplier { nullptr };
};

}
