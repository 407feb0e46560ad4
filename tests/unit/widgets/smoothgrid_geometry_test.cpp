// The smooth grid's model and geometry: defaults, supplier ownership, work
// region, cell sizes, the visible range, index arithmetic, hit-testing,
// cell rectangles, activation and the multi-selection.

#include "smoothgrid_support.h"

#include <sys/time.h>

using namespace gridtest;

namespace {

class SmoothGridGeometryTest : public SmoothGridTest { };

}

TEST_F(SmoothGridGeometryTest, NewGridHasItsDefaults)
{
    ProbeGrid grid;
    EXPECT_EQ(grid.m_itemHeight, 0);
    EXPECT_EQ(grid.m_itemWidth, 0);
    EXPECT_EQ(grid.m_scrollBarWidth, 6);
    EXPECT_TRUE(grid.m_showScrollBar);
    EXPECT_EQ(grid.m_rows, 1);
    EXPECT_EQ(grid.m_cols, 1);
    EXPECT_TRUE(grid.m_workRegion.isEmpty());
    EXPECT_EQ(grid.m_selected, 0);
    EXPECT_EQ(grid.m_firstItem, 0);
    EXPECT_EQ(grid.m_visibleCount, 0);
    EXPECT_EQ(grid.m_headWidth, 0);
    EXPECT_EQ(grid.m_tailWidth, 0);
    EXPECT_EQ(grid.m_pageWidth, 0);
    EXPECT_EQ(grid.m_contentWidth, 0);
    EXPECT_EQ(grid.m_headHeight, 0);
    EXPECT_EQ(grid.m_tailHeight, 0);
    EXPECT_EQ(grid.m_pageHeight, 0);
    EXPECT_EQ(grid.m_contentHeight, 0);
    EXPECT_EQ(grid.m_supplier, nullptr);
    EXPECT_TRUE(grid.m_ownSupplier);
    EXPECT_EQ(grid.m_xPos, 0);
    EXPECT_EQ(grid.m_xTarget, 0);
    EXPECT_EQ(grid.m_yPos, 0);
    EXPECT_EQ(grid.m_yTarget, 0);
    EXPECT_FALSE(grid.m_dragging);
    EXPECT_FALSE(grid.m_barDragging);
    EXPECT_EQ(grid.m_scrollTimer, 0);
    EXPECT_EQ(grid.m_moveBoxTimer, 0);
    EXPECT_FALSE(grid.m_moveBoxShown);
    EXPECT_EQ(grid.m_moveBoxPercent, 0);
    EXPECT_EQ(grid.m_moveBoxTo, 0);
    EXPECT_EQ(grid.m_moveBoxFrom, 0);
    EXPECT_FALSE(grid.m_multiselection);
    EXPECT_EQ(grid.m_multiSelected.size(), 0);
    EXPECT_EQ(grid.m_scrollBar.m_minBarLen, 5);
    EXPECT_EQ(grid.m_scrollBar.m_barLen, 5);
    EXPECT_TRUE(grid.m_scrollBar.m_thumbRect.isEmpty());
    EXPECT_EQ(grid.m_trackColor, 0x10A2);
    EXPECT_EQ(grid.m_barColor, 0x0969);
    EXPECT_EQ(grid.getScrollBarWidth(), 6);
    EXPECT_EQ(grid.getSelected(), 0);
}

TEST_F(SmoothGridGeometryTest, CreateTakesTheClientAreaStartsTheSlideTimerAndLaysOutTheBar)
{
    auto* grid = new ProbeGrid;
    ASSERT_EQ(grid->create(host, Rect(20, 30, 320, 230), kUsersStyle), 0);
    EXPECT_EQ(grid->m_workRegion, Rect(0, 0, 300, 200));
    EXPECT_NE(grid->m_scrollTimer, 0);
    // From the rectangle as given (the parent's coordinates): a 6-pixel track
    // and a 10-pixel touch strip along its right edge.
    EXPECT_EQ(grid->m_scrollBar.m_trackRect, Rect(314, 30, 320, 230));
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(310, 30, 320, 230));
}

TEST_F(SmoothGridGeometryTest, CreateOfAColumnMajorGridLaysTheBarAlongTheBottom)
{
    auto* grid = new ProbeGrid;
    ASSERT_EQ(grid->create(host, Rect(0, 0, 300, 200), kUsersStyle | GRID_STYLE_COLUMN_MAJOR), 0);
    EXPECT_EQ(grid->m_scrollBar.m_trackRect, Rect(0, 194, 300, 200));
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(0, 190, 300, 200));
}

TEST_F(SmoothGridGeometryTest, CreateFailsWithTheToolkitsResultAndStartsNoTimer)
{
    ProbeGrid grid;
    EXPECT_NE(grid.create(nullptr, Rect(0, 0, 100, 100), kUsersStyle), 0);
    EXPECT_EQ(grid.m_scrollTimer, 0);
    EXPECT_FALSE(grid.isCreated());
}

TEST_F(SmoothGridGeometryTest, SetSupplierDeletesAnOwnedSupplierWhenReplaced)
{
    int deletions = 0;
    ProbeGrid grid;
    auto* first = new RowSupplier(3, &deletions);
    grid.setSupplier(first, true);
    EXPECT_EQ(grid.m_supplier, first);
    EXPECT_TRUE(grid.m_ownSupplier);
    RowSupplier second(4, &deletions);
    grid.setSupplier(&second, false);
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(grid.m_supplier, &second);
    EXPECT_FALSE(grid.m_ownSupplier);
    grid.setSupplier(nullptr, true); // not owned: left alone
    EXPECT_EQ(deletions, 1);
}

TEST_F(SmoothGridGeometryTest, SetSupplierWithTheSameSupplierOnlyChangesOwnership)
{
    int deletions = 0;
    RowSupplier kept(3, &deletions);
    {
        ProbeGrid grid;
        grid.setSupplier(&kept, true);
        grid.setSupplier(&kept, false);
        EXPECT_EQ(deletions, 0);
        EXPECT_EQ(grid.m_supplier, &kept);
        EXPECT_FALSE(grid.m_ownSupplier);
    }
    EXPECT_EQ(deletions, 0); // the grid no longer owned it
}

TEST_F(SmoothGridGeometryTest, DestructorDeletesAnOwnedSupplier)
{
    int deletions = 0;
    {
        ProbeGrid grid;
        grid.setSupplier(new RowSupplier(3, &deletions), true);
    }
    EXPECT_EQ(deletions, 1);
}

TEST_F(SmoothGridGeometryTest, SetWorkRegionTrimsToWholeCellsAndCentres)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 10, 1, 4);
    grid->setWorkRegion(Rect(10, 20, 113, 60)); // 103 wide
    EXPECT_EQ(grid->m_workRegion, Rect(11, 20, 111, 60));
    EXPECT_EQ(grid->m_itemWidth, 25);
    EXPECT_EQ(grid->m_itemHeight, 40);
}

TEST_F(SmoothGridGeometryTest, SetWorkRegionCentresTheTrimmedHeightToo)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 300), 10, 4, 1);
    grid->setWorkRegion(Rect(0, 0, 100, 167)); // 3 spare rows of pixels
    EXPECT_EQ(grid->m_workRegion, Rect(0, 1, 100, 165));
    EXPECT_EQ(grid->m_itemHeight, 41);
    EXPECT_EQ(grid->m_pageHeight, 164);
    EXPECT_EQ(grid->m_pageWidth, 100);
}

TEST_F(SmoothGridGeometryTest, SetRowColOfZeroGivesOneCellOverTheWholeClientArea)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 10, 5);
    grid->setWorkRegion(Rect(10, 10, 290, 190));
    grid->setRowCol(0, 0);
    int rows = -1;
    int cols = -1;
    grid->getRowCol(rows, cols);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(cols, 1);
    EXPECT_EQ(grid->m_workRegion, Rect(0, 0, 300, 200));
    EXPECT_EQ(grid->m_itemWidth, 300);
    EXPECT_EQ(grid->m_itemHeight, 200);
}

TEST_F(SmoothGridGeometryTest, SetRowColResetsTheWorkRegionToTheClientArea)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 10, 5);
    grid->setWorkRegion(Rect(12, 8, 288, 192));
    grid->setRowCol(4, 2);
    EXPECT_EQ(grid->m_workRegion, Rect(0, 0, 300, 200));
    EXPECT_EQ(grid->m_itemWidth, 150);
    EXPECT_EQ(grid->m_itemHeight, 50);
}

TEST_F(SmoothGridGeometryTest, ContentSizesAreComputedForBothOrientations)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 11, 5, 3); // cells 100 x 40
    grid->updateGridSize();
    EXPECT_EQ(grid->m_contentHeight, 40 * 4); // ceil(11 / 3) rows
    EXPECT_EQ(grid->m_contentWidth, 100 * 3); // ceil(11 / 5) columns
    supplier->items = 0;
    grid->updateGridSize();
    EXPECT_EQ(grid->m_contentHeight, 0);
    EXPECT_EQ(grid->m_contentWidth, 0);
}

TEST_F(SmoothGridGeometryTest, ContentSizeFollowsTheSuppliersCountAtOnce)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->updateGridSize();
    EXPECT_EQ(grid->m_contentHeight, 280);
    supplier->items = 12;
    grid->updateGridSize();
    EXPECT_EQ(grid->m_contentHeight, 480);
}

TEST_F(SmoothGridGeometryTest, PartlyScrolledListShowsAHeadAndATailRow)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->m_yPos = 60;
    grid->updateItemPos();
    EXPECT_EQ(grid->m_firstItem, 1);
    EXPECT_EQ(grid->m_headHeight, 20);
    EXPECT_EQ(grid->m_tailHeight, 20);
    EXPECT_EQ(grid->m_visibleCount, 6);
    EXPECT_EQ(grid->m_lastItem, 6);
    int first = -1;
    int last = -1;
    grid->getVisibleRange(first, last);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(last, 6);
    Rect r;
    grid->getItemRect(1, r);
    EXPECT_EQ(r, Rect(0, -20, 300, 20)); // begins 20 pixels above the work region
    grid->getItemRect(6, r);
    EXPECT_EQ(r, Rect(0, 180, 300, 220));
}

TEST_F(SmoothGridGeometryTest, UnscrolledListShowsWholeRowsOnly)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->updateItemPos();
    EXPECT_EQ(grid->m_firstItem, 0);
    EXPECT_EQ(grid->m_headHeight, 40);
    EXPECT_EQ(grid->m_tailHeight, 40);
    EXPECT_EQ(grid->m_visibleCount, 5);
    EXPECT_EQ(grid->m_lastItem, 4);
}

TEST_F(SmoothGridGeometryTest, ColumnMajorGridScrollsByColumns)
{
    // 3 rows of 40 by 2 columns of 150: items fill columns top to bottom.
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 120), 10, 3, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->m_xPos = 100;
    grid->updateItemPos();
    EXPECT_EQ(grid->m_contentWidth, 150 * 4);
    EXPECT_EQ(grid->m_firstItem, 0);
    EXPECT_EQ(grid->m_headWidth, 50);
    EXPECT_EQ(grid->m_tailWidth, 50);
    EXPECT_EQ(grid->m_visibleCount, 9);
    EXPECT_EQ(grid->m_lastItem, 8);
    Rect r;
    grid->getItemRect(4, r); // column 1, row 1
    EXPECT_EQ(r, Rect(50, 40, 200, 80));
    grid->getItemRect(0, r);
    EXPECT_EQ(r, Rect(-100, 0, 50, 40));
}

TEST_F(SmoothGridGeometryTest, EmptyListStillHasOnePageOfCells)
{
    ProbeGrid* grid = makeList(0, 5);
    grid->updateItemPos();
    EXPECT_EQ(grid->m_firstItem, 0);
    EXPECT_EQ(grid->m_lastItem, 4);
    settle();
    // Every cell of the page is drawn, each as an empty cell.
    std::vector<RowSupplier::Call> cells = supplier->cellCalls();
    ASSERT_FALSE(cells.empty());
    std::vector<int> indices;
    for (const auto& c : cells) {
        EXPECT_TRUE(c.state & GRID_STATE_EMPTY) << c.index;
        indices.push_back(c.index);
    }
    EXPECT_EQ(indices, (std::vector<int> { 1, 2, 3, 4, 0 }));
}

TEST_F(SmoothGridGeometryTest, PositionBeyondTheContentIsPulledBackOneItemAtATime)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->m_yPos = 200;
    grid->m_yTarget = 200;
    grid->updateItemPos();
    // 200 gives cells 5 to 9 and 160 cells 4 to 8, both past the 7 cells;
    // 120 gives 3 to 7, one past the last cell, which is accepted.
    EXPECT_EQ(grid->m_yPos, 120);
    EXPECT_EQ(grid->m_yTarget, 120);
    EXPECT_EQ(grid->m_firstItem, 3);
    EXPECT_EQ(grid->m_lastItem, 7);
}

TEST_F(SmoothGridGeometryTest, LastVisibleCellOnePastTheCellsIsAccepted)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->m_yPos = 100; // half a row past the content's end
    grid->updateItemPos();
    EXPECT_EQ(grid->m_yPos, 100);
    EXPECT_EQ(grid->m_firstItem, 2);
    EXPECT_EQ(grid->m_lastItem, 7);
}

TEST_F(SmoothGridGeometryTest, ColumnMajorPositionBeyondTheContentIsPulledBackByColumns)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 120), 7, 3, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->m_xPos = 300; // columns 2 and 3 of 3
    grid->updateItemPos();
    EXPECT_EQ(grid->m_xPos, 150);
    EXPECT_EQ(grid->m_xTarget, 150);
    EXPECT_EQ(grid->m_firstItem, 3);
    EXPECT_EQ(grid->m_lastItem, 8);
}

TEST_F(SmoothGridGeometryTest, IndexArithmeticInRowMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 5, 3);
    int row = -1;
    int col = -1;
    EXPECT_EQ(grid->indexToRowCol(7, row, col), 2);
    EXPECT_EQ(row, 2);
    EXPECT_EQ(col, 1);
    EXPECT_EQ(grid->indexFromRowCol(2, 1), 7);
    EXPECT_EQ(grid->indexFromRowCol(0, 0), 0);
}

TEST_F(SmoothGridGeometryTest, IndexArithmeticInColumnMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 5, 3, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    int row = -1;
    int col = -1;
    EXPECT_EQ(grid->indexToRowCol(7, row, col), 1);
    EXPECT_EQ(row, 2);
    EXPECT_EQ(col, 1);
    EXPECT_EQ(grid->indexFromRowCol(2, 1), 7);
}

TEST_F(SmoothGridGeometryTest, PointToIndexAppliesTheScrollPositionAndChecksNoBounds)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 5, 3); // cells 100 x 40
    EXPECT_EQ(grid->point2Index(150, 50), 4);
    grid->m_yPos = 30;
    EXPECT_EQ(grid->point2Index(150, 50), 7); // (30 + 50) / 40 = row 2
    EXPECT_EQ(grid->point2Index(250, 1000), 77);
    EXPECT_EQ(grid->point2Index(-150, -50), -1); // nothing refused
}

TEST_F(SmoothGridGeometryTest, PointToIndexInColumnMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 5, 3, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    EXPECT_EQ(grid->point2Index(150, 50), 6); // column 1 of 5 rows, row 1
    grid->m_xPos = 60;
    EXPECT_EQ(grid->point2Index(150, 50), 11); // (60 + 150) / 100 = column 2
}

TEST_F(SmoothGridGeometryTest, ItemRectanglesFollowTheWorkRegion)
{
    const Rect work(12, 8, 288, 192);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 4, 3, kUsersStyle, &work);
    grid->updateItemPos();
    EXPECT_EQ(grid->m_workRegion, Rect(12, 8, 288, 192));
    Rect r;
    grid->getItemRect(5, r); // row 1, column 2
    EXPECT_EQ(r, Rect(12 + 2 * 92, 8 + 46, 12 + 3 * 92, 8 + 2 * 46));
}

TEST_F(SmoothGridGeometryTest, StretchStyleWidensTheLastCellOfARowToTheEdge)
{
    ProbeGrid* plain = makeGrid(Rect(0, 0, 100, 40), 3, 1, 3);
    ProbeGrid* stretched = makeGrid(Rect(0, 50, 100, 90), 3, 1, 3, kUsersStyle | GRID_STYLE_STRETCH_LAST);
    for (ProbeGrid* g : { plain, stretched }) {
        // A region that does not hold whole cells: 3 cells of 33 in 100.
        g->m_workRegion = Rect(0, 0, 100, 40);
        g->updateItemPos();
        ASSERT_EQ(g->m_itemWidth, 33);
    }
    Rect r;
    plain->getItemRect(2, r);
    EXPECT_EQ(r.right, 99);
    stretched->getItemRect(2, r);
    EXPECT_EQ(r.right, 100);
    stretched->getItemRect(1, r);
    EXPECT_EQ(r.right, 66); // not the last of its row
}

TEST_F(SmoothGridGeometryTest, StretchStyleInColumnMajorOrderLengthensTheLastCellOfAColumn)
{
    ProbeGrid* grid = makeGrid(
        Rect(0, 0, 100, 100), 6, 3, 1, kUsersStyle | GRID_STYLE_COLUMN_MAJOR | GRID_STYLE_STRETCH_LAST);
    grid->m_workRegion = Rect(0, 0, 100, 100);
    grid->updateItemPos();
    Rect r;
    grid->getItemRect(2, r);
    EXPECT_EQ(r, Rect(0, 66, 100, 100));
    grid->getItemRect(1, r);
    EXPECT_EQ(r.bottom, 66);
}

TEST_F(SmoothGridGeometryTest, ActivationNotifiesTheSelectedItem)
{
    ProbeGrid* grid = makeList(7, 5);
    activate(grid, 3);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_ACTIVATE);
    EXPECT_EQ(host->notes[0].param, 3);
    EXPECT_EQ(host->notes[0].from, grid);
}

TEST_F(SmoothGridGeometryTest, ActivationOfASelectionOutsideTheListSendsNothing)
{
    ProbeGrid* grid = makeList(7, 5);
    activate(grid, 7);
    activate(grid, -1);
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridGeometryTest, MultiSelectionTogglesItemsInOrderWithoutNotifying)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setMutiselectionMode(true);
    activate(grid, 4);
    activate(grid, 2);
    activate(grid, 6);
    ASSERT_EQ(grid->m_multiSelected.size(), 3);
    EXPECT_EQ(grid->m_multiSelected[0], 4);
    EXPECT_EQ(grid->m_multiSelected[1], 2);
    EXPECT_EQ(grid->m_multiSelected[2], 6);
    EXPECT_TRUE(grid->inMultiselection(2));
    EXPECT_FALSE(grid->inMultiselection(3));
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridGeometryTest, SelectingTheSameItemTwiceInMultiSelectionLeavesItUnselected)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setMutiselectionMode(true);
    activate(grid, 3);
    EXPECT_TRUE(grid->inMultiselection(3));
    activate(grid, 3);
    EXPECT_FALSE(grid->inMultiselection(3));
    EXPECT_EQ(grid->m_multiSelected.size(), 0);
}

TEST_F(SmoothGridGeometryTest, RemovingAnUnselectedIndexReturnsMinusOneAndChangesNothing)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setMutiselectionMode(true);
    activate(grid, 1);
    activate(grid, 5);
    EXPECT_EQ(grid->delFromMultiselection(3), -1);
    ASSERT_EQ(grid->m_multiSelected.size(), 2);
    EXPECT_EQ(grid->m_multiSelected[0], 1);
    EXPECT_EQ(grid->m_multiSelected[1], 5);
    EXPECT_EQ(grid->delFromMultiselection(1), 0);
    ASSERT_EQ(grid->m_multiSelected.size(), 1);
    EXPECT_EQ(grid->m_multiSelected[0], 5);
}

TEST_F(SmoothGridGeometryTest, LeavingMultiSelectionModeClearsTheSelection)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setMutiselectionMode(true);
    activate(grid, 1);
    activate(grid, 2);
    grid->setMutiselectionMode(false);
    EXPECT_FALSE(grid->m_multiselection);
    EXPECT_EQ(grid->m_multiSelected.size(), 0);
    grid->setMutiselectionMode(true);
    activate(grid, 4);
    grid->multiselectionOpOver();
    EXPECT_EQ(grid->m_multiSelected.size(), 0);
    EXPECT_TRUE(grid->m_multiselection);
}

TEST_F(SmoothGridGeometryTest, MillisecTickIsTheWallClockWithoutATestSource)
{
    lumi::setTestClock(nullptr);
    const auto wall = [] {
        timeval now {};
        gettimeofday(&now, nullptr);
        return static_cast<unsigned int>(now.tv_sec) * 1000u + static_cast<unsigned int>(now.tv_usec / 1000);
    };
    const unsigned int before = wall();
    const unsigned int tick = millisec_tick();
    const unsigned int after = wall();
    EXPECT_LE(tick - before, after - before); // before <= tick <= after, modulo 2^32
}

TEST_F(SmoothGridGeometryTest, MillisecTickFollowsTheTestSourceWhenGiven)
{
    const unsigned int start = millisec_tick();
    EXPECT_EQ(start, static_cast<unsigned int>(nowMs));
    passTime(1234);
    EXPECT_EQ(millisec_tick() - start, 1234u);
}
