// The smooth grid's programming errors: fatal assertions that print the
// standard assertion line (condition, source, line, function) and abort.

#include "smoothgrid_support.h"

#include <string>

using namespace gridtest;

namespace {

// A regular expression matching text literally.
std::string literally(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos)
            out += '\\';
        out += c;
    }
    return out;
}

// The assertion line for condition in source file at any line, or at line.
std::string assertion(
    const std::string& file, const std::string& function, const std::string& condition, int line = -1)
{
    const std::string where
        = line < 0 ? literally(file + ":") + "[0-9]+" : literally(file + ":" + std::to_string(line));
    return where + literally(": " + function + ": Assertion `" + condition + "' failed.");
}

const char* const kUpdateItemPos = "void PelSmoothGrid::updateItemPos()";

class SmoothGridDeathTest : public SmoothGridTest { };

}

TEST_F(SmoothGridDeathTest, RowsBelowOneAreFatal)
{
    ProbeGrid grid;
    grid.m_rows = 0;
    EXPECT_DEATH(grid.updateItemPos(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_rows > 0"));
}

TEST_F(SmoothGridDeathTest, ColumnsBelowOneAreFatal)
{
    ProbeGrid grid;
    grid.m_cols = 0;
    EXPECT_DEATH(grid.updateItemPos(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_cols > 0"));
}

TEST_F(SmoothGridDeathTest, PaintBeforeAnyRowsAndColumnsIsFatal)
{
    auto* grid = new ProbeGrid;
    ASSERT_EQ(grid->create(host, Rect(0, 0, 300, 200), kUsersStyle), 0);
    grid->setSupplier(new RowSupplier(5), true);
    EXPECT_DEATH(settle(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_itemHeight > 0"));
}

TEST_F(SmoothGridDeathTest, WorkRegionSmallerThanOneCellIsFatal)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setWorkRegion(Rect(0, 0, 300, 4)); // 5 rows in 4 pixels
    EXPECT_DEATH(settle(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_itemHeight > 0"));
}

TEST_F(SmoothGridDeathTest, ZeroItemWidthIsFatal)
{
    ProbeGrid grid;
    grid.m_itemHeight = 40;
    EXPECT_DEATH(grid.updateItemPos(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_itemWidth > 0"));
}

TEST_F(SmoothGridDeathTest, ZeroPageHeightIsFatal)
{
    ProbeGrid grid;
    grid.m_itemHeight = 40;
    grid.m_itemWidth = 300;
    EXPECT_DEATH(grid.updateItemPos(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_pageHeight > 0"));
}

TEST_F(SmoothGridDeathTest, ZeroPageWidthIsFatal)
{
    ProbeGrid grid;
    grid.m_itemHeight = 40;
    grid.m_itemWidth = 300;
    grid.m_pageHeight = 200;
    EXPECT_DEATH(grid.updateItemPos(), assertion("pelsmoothgrid.cpp", kUpdateItemPos, "m_pageWidth > 0"));
}

TEST_F(SmoothGridDeathTest, FirstVisibleItemPastTheCellsIsFatal)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->m_yPos = 400; // first visible cell 10 of 7
    EXPECT_DEATH(grid->updateItemPos(),
        assertion("pelsmoothgrid.cpp", kUpdateItemPos,
            "(m_firstItem >= 0 && m_firstItem < count) || (m_firstItem == 0 && count == 0)"));
}

TEST_F(SmoothGridDeathTest, FocusQuestionOnAnEmptyListIsFatal)
{
    ProbeGrid* grid = makeList(0, 5);
    EXPECT_DEATH(grid->needMoveFocus(VK_Down),
        assertion("pelsmoothgrid.cpp", "bool PelSmoothGrid::needMoveFocus(int)", "itemCount > 0", 676));
}

TEST(SmoothScrollBarDeathTest, BarLengthForNoPagesIsFatal)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(0, 0, 6, 200);
    EXPECT_DEATH(bar.setBarLen(0, false),
        assertion("pelsmoothgrid.h", "void PelSmoothScrollBar::setBarLen(int, bool)", "count", 126));
}

TEST(SmoothScrollBarDeathTest, PositionOverNoLengthIsFatal)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(0, 0, 6, 200);
    EXPECT_DEATH(bar.getPos(10, 0, 3, false),
        assertion("pelsmoothgrid.h", "int PelSmoothScrollBar::getPos(int, int, int, bool)", "length", 82));
}

TEST(SmoothScrollBarDeathTest, BarRectangleOverNoLengthIsFatal)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(0, 0, 6, 200);
    EXPECT_DEATH(bar.getBarRect(0, 0, 3, false, true),
        assertion("pelsmoothgrid.h", "Rect PelSmoothScrollBar::getBarRect(int, int, int, bool, bool)",
            "length", 99));
}

TEST_F(SmoothGridDeathTest, DraggableBarOverContentThatExactlyFitsIsFatal)
{
    // No scroll range at all: the thumb's arithmetic has nothing to divide by.
    const Rect work(0, 0, 200, 200);
    makeGrid(Rect(0, 0, 220, 200), 5, 5, 1, kUsersStyle | GRID_STYLE_DRAG_BAR, &work);
    EXPECT_DEATH(settle(),
        assertion("pelsmoothgrid.h", "Rect PelSmoothScrollBar::getBarRect(int, int, int, bool, bool)",
            "length", 99));
}
