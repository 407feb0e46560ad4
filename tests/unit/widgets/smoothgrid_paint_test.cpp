// The smooth grid's painting, read back from the headless file screen: rows,
// selection, backgrounds, the moving box, the plain and the draggable scroll
// bar, the partial repaint, the unbuffered fallback and the hooks.

#include "smoothgrid_support.h"

using namespace gridtest;

namespace {

class SmoothGridPaintTest : public SmoothGridTest {
protected:
    // The quick-test window's list: the grid between the hint label and the
    // bottom legend, 10-pixel bar in white and grey, work region shrunk by 12
    // and 8 (rows of 42 pixels from screen y 78, x 12 to 308).
    ProbeGrid* makeQuickTestList(int count)
    {
        const Rect area(0, 70, 320, 380);
        auto* grid = new ProbeGrid;
        EXPECT_EQ(grid->create(host, area, kUsersStyle), 0);
        supplier = new RowSupplier(count);
        grid->setSupplier(supplier, true);
        grid->setRowCol(area.height() / 40, 1);
        grid->setScrollBarWidth(10);
        grid->setScrollBarColor(0xFFFF, 0xAD55);
        Rect work = area;
        work.shrink(12, 8);
        grid->wndToClient(work);
        grid->setWorkRegion(work);
        grid->showWindow(true);
        return grid;
    }

    // The 200/400/100 example: a 220 x 200 grid at screen (400, 100), cells in
    // its left 200 pixels, 5 rows of 40, the default 6-pixel bar.
    ProbeGrid* makeExampleList(int count, unsigned int style = kUsersStyle)
    {
        const Rect work(0, 0, 200, 200);
        return makeGrid(Rect(400, 100, 620, 300), count, 5, 1, style, &work);
    }

    static int rowTop(int row) { return 78 + 42 * row; }
    static int rowMiddle(int row) { return rowTop(row) + 21; }

    std::vector<int> drawnIndices() const
    {
        std::vector<int> indices;
        for (const auto& c : supplier->cellCalls())
            indices.push_back(c.index);
        return indices;
    }
};

}

TEST_F(SmoothGridPaintTest, RepaintAllNeedsOneRectangleEqualToTheGivenOne)
{
    EXPECT_TRUE(isRepaintAll(Rect(10, 20, 110, 220), Region(Rect(10, 20, 110, 220))));
    EXPECT_FALSE(isRepaintAll(Rect(10, 20, 110, 220), Region(Rect(10, 20, 110, 219))));
    Region two(Rect(10, 20, 60, 220));
    two.unite(Rect(70, 20, 110, 220));
    EXPECT_FALSE(isRepaintAll(two.boundRect(), two));
    EXPECT_FALSE(isRepaintAll(Rect(0, 0, 10, 10), Region()));
}

TEST_F(SmoothGridPaintTest, QuickTestListGeometry)
{
    ProbeGrid* grid = makeQuickTestList(20);
    EXPECT_EQ(grid->m_rows, 7);
    EXPECT_EQ(grid->m_workRegion, Rect(12, 8, 308, 302));
    EXPECT_EQ(grid->m_itemHeight, 42);
    EXPECT_EQ(grid->m_itemWidth, 296);
}

TEST_F(SmoothGridPaintTest, RowsAlternateAndTheSelectedRowIsHighlighted)
{
    makeQuickTestList(20);
    settle();
    EXPECT_EQ(shownPixel(160, rowMiddle(0)), kSelectedRow);
    EXPECT_EQ(shownPixel(160, rowMiddle(1)), kOddRow);
    EXPECT_EQ(shownPixel(160, rowMiddle(2)), kWhite);
    EXPECT_EQ(shownPixel(160, rowMiddle(3)), kOddRow);
    EXPECT_EQ(shownPixel(160, rowMiddle(6)), kWhite);
    // The white one-pixel border around each row's fill.
    EXPECT_EQ(shownPixel(12, rowMiddle(1)), kWhite);
    EXPECT_EQ(shownPixel(13, rowMiddle(1)), kOddRow);
    EXPECT_EQ(shownPixel(307, rowMiddle(1)), kWhite);
    EXPECT_EQ(shownPixel(306, rowMiddle(1)), kOddRow);
    EXPECT_EQ(shownPixel(12, rowMiddle(0)), kWhite);
    EXPECT_EQ(shownPixel(13, rowMiddle(0)), kSelectedRow);
    // The separator starts two pixels above an unselected row's bottom.
    EXPECT_EQ(shownPixel(12, rowTop(3) - 2), kSelectedRow);
    // The grid's margins show the background its owner gives it; the owner
    // shows its own colour beside the grid.
    EXPECT_EQ(shownPixel(6, rowMiddle(1)), kWhite);
    EXPECT_EQ(shownPixel(160, 376), kWhite);
    EXPECT_EQ(shownPixel(330, 200), kHostColour);
    EXPECT_EQ(shownPixel(160, 60), kHostColour);
}

TEST_F(SmoothGridPaintTest, SelectingAnotherRowMovesTheHighlight)
{
    ProbeGrid* grid = makeQuickTestList(20);
    settle();
    ASSERT_EQ(grid->setSelected(2), 0);
    settle();
    EXPECT_EQ(shownPixel(160, rowMiddle(0)), kWhite);
    EXPECT_EQ(shownPixel(160, rowMiddle(2)), kSelectedRow);
}

TEST_F(SmoothGridPaintTest, ScrollBarOfTheQuickTestListShowsTheThumbAtTheTop)
{
    makeQuickTestList(20);
    settle();
    // Content 20 x 42 = 840 over a page of 294: a thumb of 310 x 294 / 840 = 108.
    EXPECT_EQ(shownPixel(310, 70), 0xAD55);
    EXPECT_EQ(shownPixel(319, 70 + 107), 0xAD55);
    EXPECT_EQ(shownPixel(315, 70 + 108), kWhite);
    EXPECT_EQ(shownPixel(309, 100), kWhite); // just left of the bar
}

TEST_F(SmoothGridPaintTest, SelectingFarDownScrollsRowsAndThumb)
{
    ProbeGrid* grid = makeQuickTestList(20);
    settle();
    ASSERT_EQ(grid->setSelected(10), 0); // 3 rows above it: row 7 at the top
    EXPECT_EQ(grid->m_yPos, 7 * 42);
    settle();
    EXPECT_EQ(grid->m_firstItem, 7);
    EXPECT_EQ(shownPixel(160, rowMiddle(0)), kOddRow); // item 7
    EXPECT_EQ(shownPixel(160, rowMiddle(1)), kWhite); // item 8
    EXPECT_EQ(shownPixel(160, rowMiddle(3)), kSelectedRow); // item 10
    // Thumb offset 294 x (310 - 108) / 546 = 108.
    EXPECT_EQ(shownPixel(315, 70 + 107), kWhite);
    EXPECT_EQ(shownPixel(315, 70 + 108), 0xAD55);
    EXPECT_EQ(shownPixel(315, 70 + 215), 0xAD55);
    EXPECT_EQ(shownPixel(315, 70 + 216), kWhite);
}

TEST_F(SmoothGridPaintTest, ScrollBarTrackIsFullHeightAndTheThumbFollowsThePosition)
{
    ProbeGrid* grid = makeExampleList(10);
    grid->slideTo(0, 100, true);
    settle();
    ASSERT_EQ(grid->m_pageHeight, 200);
    ASSERT_EQ(grid->m_contentHeight, 400);
    ASSERT_EQ(grid->m_yPos, 100);
    // Track: x 214 to 219 of the grid, all 200 pixels; thumb 100 long from 50 down.
    for (int x : { 614, 619 }) {
        EXPECT_EQ(shownPixel(x, 100), 0x10A2) << x;
        EXPECT_EQ(shownPixel(x, 149), 0x10A2) << x;
        EXPECT_EQ(shownPixel(x, 150), 0x0969) << x;
        EXPECT_EQ(shownPixel(x, 249), 0x0969) << x;
        EXPECT_EQ(shownPixel(x, 250), 0x10A2) << x;
        EXPECT_EQ(shownPixel(x, 299), 0x10A2) << x;
    }
    EXPECT_EQ(shownPixel(613, 200), kWhite);
    EXPECT_EQ(shownPixel(620, 200), kHostColour);
}

TEST_F(SmoothGridPaintTest, ListThatFitsThePageDrawsNoScrollBar)
{
    ProbeGrid* grid = makeExampleList(5);
    settle();
    ASSERT_EQ(grid->m_contentHeight, grid->m_pageHeight);
    for (int y : { 100, 150, 299 })
        EXPECT_EQ(shownPixel(616, y), kWhite) << y;
}

TEST_F(SmoothGridPaintTest, ColumnMajorScrollBarRunsAlongTheBottom)
{
    const Rect work(0, 0, 200, 80);
    ProbeGrid* grid
        = makeGrid(Rect(0, 300, 200, 400), 10, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR, &work);
    grid->slideTo(150, 0, true);
    settle();
    ASSERT_EQ(grid->m_contentWidth, 500);
    ASSERT_EQ(grid->m_xPos, 150);
    // Track at y 94 to 99; thumb 200 x 200 / 500 = 80 long, 150 x 120 / 300 = 60 in.
    EXPECT_EQ(shownPixel(0, 394), 0x10A2);
    EXPECT_EQ(shownPixel(59, 399), 0x10A2);
    EXPECT_EQ(shownPixel(60, 394), 0x0969);
    EXPECT_EQ(shownPixel(139, 399), 0x0969);
    EXPECT_EQ(shownPixel(140, 396), 0x10A2);
    EXPECT_EQ(shownPixel(199, 396), 0x10A2);
    EXPECT_EQ(shownPixel(100, 393), kWhite);
}

TEST_F(SmoothGridPaintTest, DraggableScrollBarShowsItsWholeTrackInTheThumbColour)
{
    const Rect work(0, 0, 200, 200);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 220, 200), 10, 5, 1, kUsersStyle | GRID_STYLE_DRAG_BAR, &work);
    grid->slideTo(0, 200, true);
    settle();
    // The thumb is filled with the track's colour and then covered by the
    // track in the thumb's colour.
    for (int y : { 0, 60, 120, 199 })
        EXPECT_EQ(shownPixel(216, y), 0x0969) << y;
    EXPECT_EQ(shownPixel(213, 100), kWhite);
}

TEST_F(SmoothGridPaintTest, DraggableScrollBarCountsOnePageMoreOnAnExactMultiple)
{
    const Rect work(0, 0, 200, 200);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 220, 200), 10, 5, 1, kUsersStyle | GRID_STYLE_DRAG_BAR, &work);
    settle();
    EXPECT_EQ(grid->m_scrollBar.m_barLen, 200 / 3); // 10 items of 5 a page: 3 pages
    supplier->items = 9;
    grid->invalidateRect(nullptr);
    settle();
    EXPECT_EQ(grid->m_scrollBar.m_barLen, 200 / 2);
}

TEST_F(SmoothGridPaintTest, GridWithoutTransparencyPaintsItsBackgroundBlack)
{
    const Rect work(0, 10, 280, 210);
    makeGrid(Rect(0, 0, 300, 220), 7, 5, 1, 0x0A080006, &work);
    settle();
    EXPECT_EQ(shownPixel(150, 5), 0x0000);
    EXPECT_EQ(shownPixel(288, 100), 0x0000);
    EXPECT_EQ(shownPixel(150, 70), kOddRow); // row 1
}

TEST_F(SmoothGridPaintTest, PartlyScrolledHeadRowIsDrawnIntoTheMarginAboveTheWorkRegion)
{
    const Rect work(0, 10, 280, 210);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 220), 7, 5, 1, kUsersStyle, &work);
    grid->slideTo(0, 20, true);
    settle();
    // Item 0 spans y -10 to 30: its lower 10 pixels lie in the margin.
    EXPECT_EQ(shownPixel(150, 5), kSelectedRow);
    EXPECT_EQ(shownPixel(150, 40), kOddRow); // item 1 from 30 to 70
}

TEST_F(SmoothGridPaintTest, FullRepaintDrawsEveryVisibleCellWithTheSelectedOneLast)
{
    ProbeGrid* grid = makeList(20, 7);
    grid->m_selected = 3;
    settle();
    supplier->calls.clear();
    grid->invalidateRect(nullptr);
    settle();
    EXPECT_EQ(drawnIndices(), (std::vector<int> { 0, 1, 2, 4, 5, 6, 3 }));
}

TEST_F(SmoothGridPaintTest, PartialRepaintDrawsOnlyCellsInTheRegionAndTheSelectedOne)
{
    ProbeGrid* grid = makeList(20, 7);
    settle();
    supplier->calls.clear();
    grid->invalidateItem(4, nullptr);
    settle();
    EXPECT_EQ(drawnIndices(), (std::vector<int> { 4, 0 }));
}

TEST_F(SmoothGridPaintTest, SelectedCellIsDrawnEvenWhenScrolledOutOfSight)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 400, true);
    settle();
    supplier->calls.clear();
    grid->invalidateItem(12, nullptr);
    settle();
    std::vector<RowSupplier::Call> cells = supplier->cellCalls();
    ASSERT_EQ(cells.size(), 2u);
    EXPECT_EQ(cells[0].index, 12);
    EXPECT_EQ(cells[1].index, 0);
    EXPECT_EQ(cells[1].rect, Rect(0, -400, 300, -360));
    EXPECT_TRUE(cells[1].state & GRID_STATE_SELECTED);
}

TEST_F(SmoothGridPaintTest, CellsOutsideTheVisibleRangeAreDrawnWhenAsked)
{
    ProbeGrid* grid = makeList(40, 5);
    settle();
    supplier->calls.clear();
    {
        WndDC dc(grid);
        // Before the first visible cell and past the last: nothing skips them.
        grid->doDrawItem(-3, dc, nullptr);
        grid->doDrawItem(30, dc, nullptr);
    }
    std::vector<RowSupplier::Call> cells = supplier->cellCalls();
    ASSERT_EQ(cells.size(), 2u);
    EXPECT_EQ(cells[0].index, -3);
    EXPECT_EQ(cells[0].rect, Rect(0, -120, 300, -80));
    EXPECT_TRUE(cells[0].state & GRID_STATE_EMPTY);
    EXPECT_EQ(cells[1].index, 30);
    EXPECT_EQ(cells[1].rect, Rect(0, 1200, 300, 1240));
    EXPECT_FALSE(cells[1].state & GRID_STATE_EMPTY);
}

TEST_F(SmoothGridPaintTest, InvalidatingTheMoveBoxWayRepaintsTheCellsAroundIt)
{
    ProbeGrid* grid = makeList(20, 7);
    settle();
    supplier->calls.clear();
    // Cells 1 and 2 with a cell's margin: y 0 to 160 of the 280-pixel list.
    grid->invalidateMoveBoxRect(1, 2);
    settle();
    EXPECT_EQ(drawnIndices(), (std::vector<int> { 1, 2, 3, 0 }));
}

TEST_F(SmoothGridPaintTest, UnbufferedPaintShowsTheSamePicture)
{
    // Wider than any memory context the toolkit makes.
    MemDC probe;
    ASSERT_NE(probe.create(Rect(0, 0, 8200, 200), nullptr), 0);
    const Rect work(0, 0, 8190, 200);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 8200, 200), 7, 5, 1, kUsersStyle, &work);
    settle();
    EXPECT_EQ(grid->m_itemWidth, 8190);
    EXPECT_EQ(shownPixel(400, 20), kSelectedRow);
    EXPECT_EQ(shownPixel(400, 60), kOddRow);
    EXPECT_EQ(shownPixel(400, 100), kWhite);
    EXPECT_EQ(shownPixel(400, 140), kOddRow);
    EXPECT_EQ(shownPixel(0, 60), kWhite);
    EXPECT_EQ(shownPixel(1, 60), kOddRow);
    EXPECT_EQ(shownPixel(0, 118), kSelectedRow); // separator of row 2
    EXPECT_EQ(shownPixel(400, 300), kHostColour);
}

TEST_F(SmoothGridPaintTest, CellsWithoutFocusCarryTheNoFocusBit)
{
    ProbeGrid* grid = makeList(7, 5);
    settle();
    for (const auto& c : supplier->cellCalls())
        EXPECT_TRUE(c.state & GRID_STATE_NOFOCUS) << c.index;
    supplier->calls.clear();
    grid->setFocus();
    settle();
    std::vector<RowSupplier::Call> cells = supplier->cellCalls();
    ASSERT_EQ(cells.size(), 5u); // the focus change repaints every cell
    for (const auto& c : cells)
        EXPECT_FALSE(c.state & GRID_STATE_NOFOCUS) << c.index;
}

TEST_F(SmoothGridPaintTest, CellStatesMarkSelectionEmptyCellsAndMultiSelection)
{
    ProbeGrid* grid = makeList(3, 5);
    grid->setMutiselectionMode(true);
    activate(grid, 2);
    grid->m_selected = 1;
    supplier->calls.clear();
    grid->invalidateRect(nullptr);
    settle();
    std::vector<RowSupplier::Call> cells = supplier->cellCalls();
    ASSERT_EQ(cells.size(), 5u);
    for (const auto& c : cells) {
        EXPECT_EQ(bool(c.state & GRID_STATE_SELECTED), c.index == 1) << c.index;
        EXPECT_EQ(bool(c.state & GRID_STATE_EMPTY), c.index >= 3) << c.index;
        EXPECT_EQ(bool(c.state & GRID_STATE_MULTISELECTED), c.index == 2) << c.index;
    }
}

TEST_F(SmoothGridPaintTest, MoveBoxIsDrawnAfterTheCellsPartWayToItsTarget)
{
    ProbeGrid* grid = makeList(7, 5);
    settle();
    supplier->calls.clear();
    grid->m_moveBoxFrom = 0;
    grid->m_moveBoxTo = 1;
    grid->m_moveBoxPercent = 62;
    grid->m_moveBoxShown = true;
    grid->invalidateRect(nullptr);
    settle();
    ASSERT_FALSE(supplier->calls.empty());
    const RowSupplier::Call& last = supplier->calls.back();
    EXPECT_EQ(last.state, GRID_STATE_MOVEBOX);
    EXPECT_EQ(last.index, 0);
    EXPECT_EQ(last.rect, Rect(0, 24, 300, 64)); // 62 % of 40 down from cell 0
    EXPECT_EQ(shownPixel(150, 24), kBoxColour);
    EXPECT_EQ(shownPixel(150, 63), kBoxColour);
}

TEST_F(SmoothGridPaintTest, MoveBoxToTheRightShiftsByTheCellWidth)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 10, 5, 2); // cells 150 x 40
    grid->m_moveBoxFrom = 2;
    grid->m_moveBoxTo = 3;
    grid->m_moveBoxPercent = 81;
    grid->m_moveBoxShown = true;
    settle();
    std::vector<RowSupplier::Call> boxes = supplier->boxCalls();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].rect, Rect(121, 40, 271, 80)); // 81 % of 150 = 121
}

TEST_F(SmoothGridPaintTest, NoMoveBoxIsDrawnWhileItIsNotShown)
{
    ProbeGrid* grid = makeList(7, 5);
    settle();
    supplier->calls.clear();
    grid->m_moveBoxFrom = 0;
    grid->m_moveBoxTo = 1;
    grid->m_moveBoxPercent = 62;
    {
        WndDC dc(grid);
        EXPECT_EQ(grid->drawMoveBox(dc), 0);
    }
    EXPECT_TRUE(supplier->calls.empty());
    grid->invalidateRect(nullptr);
    settle();
    EXPECT_TRUE(supplier->boxCalls().empty());
}

TEST_F(SmoothGridPaintTest, CustomizedDrawRunsLastInEveryPaint)
{
    ProbeGrid* grid = makeList(7, 5);
    const Rect marker(100, 10, 120, 30); // over the selected row 0
    grid->marker = &marker;
    settle();
    EXPECT_GE(grid->customDraws, 1);
    EXPECT_EQ(shownPixel(110, 20), 0x07E0);
    EXPECT_EQ(shownPixel(130, 20), kSelectedRow);
}

TEST_F(SmoothGridPaintTest, DirectItemRedrawPaintsAtOnceAndRunsTheHook)
{
    ProbeGrid* grid = makeList(7, 5);
    settle();
    supplier->calls.clear();
    const int before = grid->customDraws;
    grid->m_selected = 2;
    {
        WndDC dc(grid);
        EXPECT_EQ(grid->invalidateItem(2, &dc), 0);
    }
    EXPECT_EQ(grid->customDraws, before + 1);
    ASSERT_EQ(supplier->calls.size(), 1u);
    EXPECT_EQ(supplier->calls[0].index, 2);
    EXPECT_EQ(shownPixel(150, 100), kSelectedRow);
}

TEST_F(SmoothGridPaintTest, SetScrollBarWidthLaysTheBarOutAlongTheClientEdge)
{
    ProbeGrid* grid = makeGrid(Rect(100, 50, 400, 250), 10, 5);
    grid->setScrollBarWidth(10);
    EXPECT_EQ(grid->getScrollBarWidth(), 10);
    EXPECT_EQ(grid->m_scrollBar.m_trackRect, Rect(290, 0, 300, 200));
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(284, 0, 300, 200));
    grid->setScrollBarWidth(8);
    EXPECT_EQ(grid->m_scrollBar.m_touchRect.left, 300 - 13);
}

TEST_F(SmoothGridPaintTest, SetScrollBarWidthOfAColumnMajorGridUsesTheBottomEdge)
{
    ProbeGrid* grid = makeGrid(Rect(100, 50, 400, 250), 10, 5, 1, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->setScrollBarWidth(10);
    EXPECT_EQ(grid->m_scrollBar.m_trackRect, Rect(0, 190, 300, 200));
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(0, 184, 300, 200));
}

TEST_F(SmoothGridPaintTest, ScrollBarColoursAreTrackThenThumb)
{
    ProbeGrid* grid = makeList(7, 5);
    grid->setScrollBarColor(0xFFFF, 0xAD55);
    EXPECT_EQ(grid->m_trackColor, 0xFFFF);
    EXPECT_EQ(grid->m_barColor, 0xAD55);
}

TEST_F(SmoothGridPaintTest, ZeroWidthScrollBarIsNotDrawn)
{
    ProbeGrid* grid = makeExampleList(10);
    grid->setScrollBarWidth(0);
    settle();
    EXPECT_EQ(shownPixel(616, 120), kWhite);
    EXPECT_EQ(shownPixel(619, 120), kWhite);
}

TEST(SmoothScrollBar, BarLengthIsTheTrackShareOfOnePageRaisedToTheMinimum)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(0, 0, 6, 200);
    EXPECT_EQ(bar.setBarLen(4, false), 50);
    EXPECT_EQ(bar.m_barLen, 50);
    EXPECT_EQ(bar.setBarLen(50, false), 4); // the length before the raise
    EXPECT_EQ(bar.m_barLen, 5);
    EXPECT_EQ(bar.setBarLen(3, true), 2);
    EXPECT_EQ(bar.m_barLen, 5);
}

TEST(SmoothScrollBar, BarRectangleMovesAlongTheTrackWithThePosition)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(214, 0, 220, 200);
    bar.m_touchRect = Rect(210, 0, 220, 200);
    EXPECT_EQ(bar.getBarRect(0, 200, 4, false, true), Rect(214, 0, 220, 50));
    EXPECT_EQ(bar.getBarRect(100, 200, 4, false, true), Rect(214, 75, 220, 125));
    EXPECT_EQ(bar.getBarRect(200, 200, 4, false, false), Rect(210, 150, 220, 200));
    bar.m_trackRect = Rect(0, 94, 200, 100);
    bar.m_touchRect = Rect(0, 90, 200, 100);
    EXPECT_EQ(bar.getBarRect(150, 300, 5, true, true), Rect(80, 94, 120, 100));
}

TEST(SmoothScrollBar, PositionUnderAPointIgnoresTheTrackStart)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(214, 100, 220, 300); // starts 100 down
    EXPECT_EQ(bar.getPos(100, 200, 4, false), 100 * 200 / 150);
    EXPECT_EQ(bar.m_barLen, 50);
    bar.m_trackRect = Rect(0, 94, 200, 100);
    EXPECT_EQ(bar.getPos(50, 300, 2, true), 50 * 300 / 100);
}

TEST(SmoothScrollBar, PointToPageUsesTheChosenStrip)
{
    PelSmoothScrollBar bar;
    bar.m_trackRect = Rect(214, 0, 220, 200);
    bar.m_touchRect = Rect(210, 0, 220, 300);
    EXPECT_EQ(bar.pt2Index(215, 199, 3, false, true), 2);
    EXPECT_EQ(bar.pt2Index(215, 199, 3, false, false), 1);
    EXPECT_EQ(bar.pt2Index(150, 0, 4, true, true), 150 * 4 / 6);
}

TEST_F(SmoothGridPaintTest, FillCellGivesThePictureOfTwoOverlappingFills)
{
    // Cells of every small size, some reaching past the surface's edges.
    const Rect cells[] = { Rect(2, 2, 30, 20), Rect(5, 5, 6, 6), Rect(5, 5, 7, 7), Rect(5, 5, 8, 6),
        Rect(-3, 4, 10, 12), Rect(30, 15, 45, 30), Rect(10, -2, 11, 5), Rect(12, 3, 12, 9) };
    for (const Rect& cell : cells) {
        for (const unsigned short inside : { kOddRow, kWhite }) {
            MemDC one;
            MemDC two;
            ASSERT_EQ(one.create(Rect(0, 0, 40, 24), nullptr), 0);
            ASSERT_EQ(two.create(Rect(0, 0, 40, 24), nullptr), 0);
            one.fillRect(Rect(0, 0, 40, 24), 0x1234);
            two.fillRect(Rect(0, 0, 40, 24), 0x1234);
            fillCell(one, cell, kWhite, inside);
            two.fillRect(cell, kWhite);
            Rect in = cell;
            in.shrink(1, 1);
            two.fillRect(in, inside);
            int differing = 0;
            int changed = 0;
            for (int y = 0; y < 24; ++y) {
                for (int x = 0; x < 40; ++x) {
                    differing += one.getPixel(x, y) != two.getPixel(x, y);
                    changed += one.getPixel(x, y) != 0x1234;
                }
            }
            EXPECT_EQ(differing, 0) << cell.left << "," << cell.top << " " << cell.right << ","
                                    << cell.bottom;
            Rect visible = cell;
            visible &= Rect(0, 0, 40, 24);
            EXPECT_EQ(changed, visible.isEmpty() ? 0 : visible.width() * visible.height());
        }
    }
}
