// The smooth grid's keys, selection by program and the slide animation:
// moves within the page with the moving box, page jumps, wrap-around,
// handing the focus on, and the 20 ms halving slide.

#include "smoothgrid_support.h"

using namespace gridtest;

namespace {

class SmoothGridKeysTest : public SmoothGridTest {
protected:
    void key(int code) { tapKey(code); }

    // A one-column list at (0, 40) with focusable neighbours above, below
    // and to the right, focused and painted.
    ProbeGrid* makeFocusedList(int count, int rows, unsigned int style = kUsersStyle)
    {
        above = new Sibling;
        EXPECT_EQ(above->create(host, Rect(0, 0, 300, 30), 0x06), 0);
        ProbeGrid* grid = makeGrid(Rect(0, 40, 300, 40 + rows * 40), count, rows, 1, style);
        below = new Sibling;
        EXPECT_EQ(below->create(host, Rect(0, 50 + rows * 40, 300, 80 + rows * 40), 0x06), 0);
        right = new Sibling;
        EXPECT_EQ(right->create(host, Rect(320, 40, 400, 80), 0x06), 0);
        grid->setFocus();
        settle();
        host->notes.clear();
        grid->posted.clear();
        return grid;
    }

    std::vector<int> yPositionsOverTicks(ProbeGrid* grid, int ticks)
    {
        std::vector<int> seen;
        for (int i = 0; i < ticks; ++i) {
            tick20();
            seen.push_back(grid->m_yPos);
        }
        return seen;
    }

    Sibling* above { nullptr };
    Sibling* below { nullptr };
    Sibling* right { nullptr };
};

using Posted = ProbeGrid::Posted;

}

TEST_F(SmoothGridKeysTest, DownOnTheLastItemWithoutWrapDoesNothing)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    ASSERT_EQ(grid->setSelected(6), 0);
    settle();
    host->notes.clear();
    const int yPos = grid->m_yPos;
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 6);
    EXPECT_EQ(grid->m_yPos, yPos);
    EXPECT_TRUE(host->notes.empty());
    EXPECT_EQ(host->getFocusWnd(), grid); // whole lines: the focus never leaves downwards
}

TEST_F(SmoothGridKeysTest, UpOnTheFirstItemHandsTheFocusToTheToolkit)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    key(VK_Up);
    EXPECT_EQ(host->getFocusWnd(), above);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridKeysTest, UpOnTheFirstItemStaysWithoutTheLeaveStyle)
{
    ProbeGrid* grid = makeFocusedList(7, 5, kUsersStyle & ~GRID_STYLE_LEAVE_AT_EDGES);
    key(VK_Up);
    EXPECT_EQ(host->getFocusWnd(), grid);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridKeysTest, RightAndLeftAlwaysLeaveAOneColumnList)
{
    ProbeGrid* grid = makeFocusedList(7, 5, kUsersStyle & ~GRID_STYLE_LEAVE_AT_EDGES);
    grid->m_selected = 2;
    key(VK_Right);
    EXPECT_EQ(host->getFocusWnd(), right);
    EXPECT_EQ(grid->getSelected(), 2);
}

TEST_F(SmoothGridKeysTest, WrapTakesDownFromTheLastItemToTheFirst)
{
    ProbeGrid* grid = makeFocusedList(7, 5, kUsersStyle | GRID_STYLE_WRAP);
    ASSERT_EQ(grid->setSelected(6), 0);
    settle();
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(host->getFocusWnd(), grid);
}

TEST_F(SmoothGridKeysTest, WrapTakesUpFromTheFirstItemToTheLast)
{
    ProbeGrid* grid = makeFocusedList(7, 5, kUsersStyle | GRID_STYLE_WRAP);
    key(VK_Up);
    EXPECT_EQ(grid->getSelected(), 6);
    EXPECT_EQ(grid->m_yPos, 80); // centred as far as the content allows
    EXPECT_EQ(host->getFocusWnd(), grid);
}

TEST_F(SmoothGridKeysTest, WrapAcrossColumnsKeepsTheColumnWithinTheItems)
{
    // 7 items in rows of 3: 0 1 2 / 3 4 5 / 6.
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 7, 5, 3, kUsersStyle | GRID_STYLE_WRAP);
    settle();
    grid->m_selected = 1;
    post(grid, MSG_KEY, VK_Up, 0);
    EXPECT_EQ(grid->getSelected(), 4); // 1 - 3 + 9 = 7 is past the items: one line up
    grid->m_selected = 5;
    post(grid, MSG_KEY, VK_Down, 0);
    EXPECT_EQ(grid->getSelected(), 2); // 5 + 3 - 9 = -1: one line down
}

TEST_F(SmoothGridKeysTest, DownToAVisibleItemStartsTheBoxAndNotifiesTheNewIndex)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 1);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_SELECT);
    EXPECT_EQ(host->notes[0].param, 1);
    EXPECT_NE(grid->m_moveBoxTimer, 0);
    EXPECT_EQ(grid->m_moveBoxFrom, 0);
    EXPECT_EQ(grid->m_moveBoxTo, 1);
    EXPECT_EQ(grid->m_moveBoxPercent, 25);
    EXPECT_FALSE(grid->m_moveBoxShown);
}

TEST_F(SmoothGridKeysTest, MoveBoxShowsThreeFramesAndThenEnds)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    key(VK_Down);
    supplier->calls.clear();
    std::vector<int> percents { grid->m_moveBoxPercent };
    std::vector<int> boxTops;
    for (int frame = 0; frame < 4; ++frame) {
        supplier->calls.clear();
        advance(30, 30);
        percents.push_back(grid->m_moveBoxPercent);
        std::vector<RowSupplier::Call> boxes = supplier->boxCalls();
        boxTops.push_back(boxes.empty() ? -1 : boxes.back().rect.top);
    }
    EXPECT_EQ(percents, (std::vector<int> { 25, 62, 81, 90, -1 }));
    // In the grid's coordinates the box is 24, 32 and 36 pixels on its way
    // from cell 0 to cell 1, then gone.
    EXPECT_EQ(boxTops, (std::vector<int> { 24, 32, 36, -1 }));
    EXPECT_EQ(grid->m_moveBoxTimer, 0);
    EXPECT_FALSE(grid->m_moveBoxShown);
    advance(90, 30);
    EXPECT_EQ(grid->m_moveBoxPercent, -1); // the timer is gone: nothing moves
}

TEST_F(SmoothGridKeysTest, BoxStandsInForTheHighlightWhileItRuns)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    key(VK_Down);
    supplier->calls.clear();
    advance(30, 30);
    bool sawSelectedCell = false;
    for (const auto& c : supplier->cellCalls()) {
        if (c.index == 1) {
            sawSelectedCell = true;
            EXPECT_FALSE(c.state & GRID_STATE_SELECTED);
        }
    }
    EXPECT_TRUE(sawSelectedCell);
    EXPECT_EQ(shownPixel(150, 40 + 40 + 20), kOddRow); // row 1 not highlighted
    advance(90, 30);
    ASSERT_EQ(grid->m_moveBoxTimer, 0);
    EXPECT_EQ(shownPixel(150, 40 + 40 + 20), kSelectedRow);
    EXPECT_EQ(shownPixel(150, 40 + 20), kWhite);
}

TEST_F(SmoothGridKeysTest, DownPastThePageSendsNotifyFourAndJumpsToThePageBoundary)
{
    ProbeGrid* grid = makeFocusedList(20, 5);
    grid->m_selected = 4;
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 5);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_PAGE_ON);
    EXPECT_EQ(host->notes[0].param, 0);
    // Row-major: the position jumps to the page holding item 5, without the
    // position notify.
    EXPECT_EQ(grid->m_yPos, 200);
    EXPECT_EQ(grid->m_yTarget, 200);
    EXPECT_TRUE(grid->posted.empty());
    EXPECT_EQ(grid->m_firstItem, 5);
    EXPECT_EQ(shownPixel(150, 40 + 20), kSelectedRow); // item 5 at the top
    EXPECT_EQ(shownPixel(150, 40 + 60), kWhite); // item 6
    EXPECT_EQ(grid->m_moveBoxTimer, 0);
}

TEST_F(SmoothGridKeysTest, UpBeforeThePageSendsNotifyThreeAndJumpsBack)
{
    ProbeGrid* grid = makeFocusedList(20, 5);
    grid->m_selected = 4;
    key(VK_Down);
    host->notes.clear();
    key(VK_Up);
    EXPECT_EQ(grid->getSelected(), 4);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_PAGE_BACK);
    EXPECT_EQ(host->notes[0].param, 0);
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(grid->m_firstItem, 0);
}

TEST_F(SmoothGridKeysTest, PageJumpNearTheEndStopsAtTheLastFullPage)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    grid->m_selected = 4;
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 5);
    EXPECT_EQ(grid->m_yPos, 80); // page 5 clamped to the 280 - 200 range
}

TEST_F(SmoothGridKeysTest, EnterActivatesTheSelectedItem)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    grid->m_selected = 3;
    key(VK_Select);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_ACTIVATE);
    EXPECT_EQ(host->notes[0].param, 3);
}

TEST_F(SmoothGridKeysTest, KeysAreIgnoredWhileASlideIsGliding)
{
    ProbeGrid* grid = makeFocusedList(20, 5);
    grid->slideTo(0, 100, false);
    key(VK_Down);
    key(VK_Select);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_TRUE(host->notes.empty());
    EXPECT_EQ(grid->m_moveBoxTimer, 0);
    EXPECT_EQ(host->getFocusWnd(), grid);
}

TEST_F(SmoothGridKeysTest, IgnoreInputStyleKeepsTheFocusAndTheKeysAway)
{
    ProbeGrid* grid = makeFocusedList(7, 5, kUsersStyle | GRID_STYLE_IGNORE_INPUT);
    EXPECT_NE(host->getFocusWnd(), grid) << "a disabled grid takes no focus";
    post(grid, MSG_KEY, VK_Down, 0);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridKeysTest, DisablingTheFocusedGridHandsTheFocusOn)
{
    ProbeGrid* grid = makeFocusedList(7, 5);
    ASSERT_EQ(host->getFocusWnd(), grid);
    grid->setStyle(GRID_STYLE_IGNORE_INPUT);
    EXPECT_EQ(host->getFocusWnd(), below) << "the next sibling after the grid";
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 0);
}

TEST_F(SmoothGridKeysTest, EmptyListLeavesKeysToTheToolkit)
{
    ProbeGrid* grid = makeFocusedList(0, 5);
    key(VK_Down);
    EXPECT_EQ(host->getFocusWnd(), below);
    EXPECT_EQ(grid->getSelected(), 0);
}

TEST_F(SmoothGridKeysTest, ColumnMajorKeysMoveDownByOneAndRightByAColumn)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 120), 12, 3, 3, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->setFocus();
    settle();
    host->notes.clear();
    key(VK_Down);
    EXPECT_EQ(grid->getSelected(), 1);
    advance(150, 30);
    key(VK_Right);
    EXPECT_EQ(grid->getSelected(), 4);
    advance(150, 30);
    key(VK_Left);
    EXPECT_EQ(grid->getSelected(), 1);
    advance(150, 30);
    key(VK_Up);
    EXPECT_EQ(grid->getSelected(), 0);
    ASSERT_EQ(host->notes.size(), 4u);
    EXPECT_EQ(host->notes[1].code, GRID_NOTIFY_SELECT);
    EXPECT_EQ(host->notes[1].param, 4);
}

TEST_F(SmoothGridKeysTest, ColumnMajorPageJumpGlidesToThePage)
{
    // 2 rows x 2 columns a page, 10 items: item 4 starts the second page.
    ProbeGrid* grid = makeGrid(Rect(0, 0, 200, 80), 10, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->setFocus();
    settle();
    grid->m_selected = 2;
    host->notes.clear();
    key(VK_Right);
    EXPECT_EQ(grid->getSelected(), 4);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_PAGE_ON);
    EXPECT_EQ(grid->m_xTarget, 200);
    EXPECT_EQ(grid->m_xPos, 0); // glides
    tick20();
    EXPECT_EQ(grid->m_xPos, 100);
}

TEST_F(SmoothGridKeysTest, FocusLeavesRowMajorGridsOnlyAtTheirEdges)
{
    // Rows of 3 over 8 items: 0 1 2 / 3 4 5 / 6 7.
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 8, 5, 3, kUsersStyle);
    const auto leaves = [grid](int selected, int key) {
        grid->m_selected = selected;
        return grid->needMoveFocus(key);
    };
    EXPECT_TRUE(leaves(3, VK_Left));
    EXPECT_FALSE(leaves(4, VK_Left));
    EXPECT_TRUE(leaves(5, VK_Right));
    EXPECT_TRUE(leaves(7, VK_Right)); // the last item
    EXPECT_FALSE(leaves(6, VK_Right));
    EXPECT_TRUE(leaves(1, VK_Up));
    EXPECT_FALSE(leaves(4, VK_Up));
    EXPECT_TRUE(leaves(6, VK_Down)); // the short last line
    EXPECT_FALSE(leaves(5, VK_Down));
    EXPECT_FALSE(leaves(3, VK_Select));
}

TEST_F(SmoothGridKeysTest, FocusNeverLeavesDownwardsOnWholeLines)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 9, 5, 3, kUsersStyle);
    for (int i = 0; i < 9; ++i) {
        grid->m_selected = i;
        EXPECT_FALSE(grid->needMoveFocus(VK_Down)) << i;
    }
}

TEST_F(SmoothGridKeysTest, FocusLeavesOnlyAlongLinesWithoutTheLeaveStyleOrWithWrap)
{
    for (unsigned int style : { kUsersStyle & ~GRID_STYLE_LEAVE_AT_EDGES, kUsersStyle | GRID_STYLE_WRAP }) {
        ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 8, 5, 3, style);
        grid->m_selected = 1;
        EXPECT_FALSE(grid->needMoveFocus(VK_Up)) << std::hex << style;
        grid->m_selected = 6;
        EXPECT_FALSE(grid->needMoveFocus(VK_Down)) << std::hex << style;
        grid->m_selected = 3;
        EXPECT_TRUE(grid->needMoveFocus(VK_Left)) << std::hex << style;
        grid->m_selected = 5;
        EXPECT_TRUE(grid->needMoveFocus(VK_Right)) << std::hex << style;
    }
}

TEST_F(SmoothGridKeysTest, FocusLeavesColumnMajorGridsWithTheKeysExchanged)
{
    // Columns of 3 over 8 items: 0 1 2 down the first column, then 3 4 5, 6 7.
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 120), 8, 3, 3, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    const auto leaves = [grid](int selected, int key) {
        grid->m_selected = selected;
        return grid->needMoveFocus(key);
    };
    EXPECT_TRUE(leaves(3, VK_Up));
    EXPECT_FALSE(leaves(4, VK_Up));
    EXPECT_TRUE(leaves(5, VK_Down));
    EXPECT_TRUE(leaves(7, VK_Down));
    EXPECT_TRUE(leaves(1, VK_Left));
    EXPECT_FALSE(leaves(4, VK_Left));
    EXPECT_TRUE(leaves(6, VK_Right));
    EXPECT_FALSE(leaves(5, VK_Right));
}

TEST_F(SmoothGridKeysTest, MoveDirectionInRowMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 200), 20, 5, 3);
    EXPECT_EQ(grid->getMoveDirection(4, 1), VK_Up);
    EXPECT_EQ(grid->getMoveDirection(1, 4), VK_Down);
    EXPECT_EQ(grid->getMoveDirection(4, 5), VK_Right);
    EXPECT_EQ(grid->getMoveDirection(4, 3), VK_Left);
    EXPECT_EQ(grid->getMoveDirection(0, 2), VK_Right);
    EXPECT_EQ(grid->getMoveDirection(4, 4), VK_Up);
}

TEST_F(SmoothGridKeysTest, MoveDirectionInColumnMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 120), 20, 3, 3, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    EXPECT_EQ(grid->getMoveDirection(4, 3), VK_Up);
    EXPECT_EQ(grid->getMoveDirection(3, 4), VK_Down);
    EXPECT_EQ(grid->getMoveDirection(1, 4), VK_Right);
    EXPECT_EQ(grid->getMoveDirection(4, 1), VK_Left);
    EXPECT_EQ(grid->getMoveDirection(4, 4), VK_Left);
}

TEST_F(SmoothGridKeysTest, EveryMoveInAOneColumnListIsVertical)
{
    ProbeGrid* grid = makeList(7, 5);
    EXPECT_EQ(grid->getMoveDirection(2, 3), VK_Down);
    EXPECT_EQ(grid->getMoveDirection(3, 2), VK_Up);
    EXPECT_EQ(grid->getMoveDirection(0, 6), VK_Down);
}

TEST_F(SmoothGridKeysTest, SlideFromZeroToHundredShowsHalvingSteps)
{
    ProbeGrid* grid = makeList(20, 5);
    settle();
    grid->posted.clear();
    grid->slideTo(0, 100, false);
    EXPECT_EQ(grid->m_yTarget, 100);
    EXPECT_EQ(grid->m_yPos, 0);
    std::vector<int> seen;
    for (int i = 0; i < 6; ++i) {
        tick20();
        seen.push_back(grid->m_yPos);
        if (i < 5) {
            EXPECT_TRUE(grid->posted.empty()) << i; // only the snap tells
        }
    }
    EXPECT_EQ(seen, (std::vector<int> { 50, 75, 87, 93, 96, 100 }));
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, 100 } }));
    ASSERT_FALSE(host->notes.empty());
    EXPECT_EQ(host->notes.back().code, GRID_NOTIFY_YPOS);
    EXPECT_EQ(host->notes.back().param, 100);
    EXPECT_EQ(yPositionsOverTicks(grid, 2), (std::vector<int> { 100, 100 }));
    EXPECT_EQ(grid->posted.size(), 1u);
}

TEST_F(SmoothGridKeysTest, SlideBackTruncatesTowardsZero)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 100, true);
    settle();
    grid->slideTo(0, 0, false);
    EXPECT_EQ(yPositionsOverTicks(grid, 6), (std::vector<int> { 50, 25, 13, 7, 4, 0 }));
}

TEST_F(SmoothGridKeysTest, EachSlideFrameRepaintsTheGrid)
{
    ProbeGrid* grid = makeList(20, 5);
    settle();
    grid->slideTo(0, 100, false);
    supplier->calls.clear();
    tick20(); // 50: item 1 from -10 to 30, item 2 from 30 to 70
    EXPECT_EQ(grid->m_firstItem, 1);
    EXPECT_FALSE(supplier->calls.empty());
    EXPECT_EQ(shownPixel(150, 10), kOddRow);
    EXPECT_EQ(shownPixel(150, 40), kWhite);
    EXPECT_EQ(shownPixel(150, 75), kOddRow);
}

TEST_F(SmoothGridKeysTest, ColumnMajorSlidePostsTheHorizontalPosition)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 200, 80), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    settle();
    grid->posted.clear();
    grid->slideTo(100, 0, false);
    std::vector<int> seen;
    for (int i = 0; i < 6; ++i) {
        tick20();
        seen.push_back(grid->m_xPos);
    }
    EXPECT_EQ(seen, (std::vector<int> { 50, 75, 87, 93, 96, 100 }));
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 100 } }));
}

TEST_F(SmoothGridKeysTest, SlideRestsWhileDragging)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 100, false);
    grid->m_dragging = true;
    EXPECT_EQ(yPositionsOverTicks(grid, 3), (std::vector<int> { 0, 0, 0 }));
    grid->m_dragging = false;
    EXPECT_EQ(yPositionsOverTicks(grid, 1), (std::vector<int> { 50 }));
}

TEST_F(SmoothGridKeysTest, StoppedSlideTimerStopsTheGlideAndStartsAgainOnce)
{
    ProbeGrid* grid = makeList(20, 5);
    ASSERT_NE(grid->m_scrollTimer, 0);
    grid->setSlideTimerRunning(false);
    EXPECT_EQ(grid->m_scrollTimer, 0);
    grid->slideTo(0, 100, false);
    EXPECT_EQ(yPositionsOverTicks(grid, 2), (std::vector<int> { 0, 0 }));
    grid->setSlideTimerRunning(true);
    const int timer = grid->m_scrollTimer;
    EXPECT_NE(timer, 0);
    grid->setSlideTimerRunning(true); // one timer only
    EXPECT_EQ(grid->m_scrollTimer, timer);
    EXPECT_EQ(yPositionsOverTicks(grid, 1), (std::vector<int> { 50 }));
}

TEST_F(SmoothGridKeysTest, SlideToAPositionIsClampedToTheContent)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 5000, false);
    EXPECT_EQ(grid->m_yTarget, 600);
    grid->slideTo(0, -5, false);
    EXPECT_EQ(grid->m_yTarget, 0);
    grid->slideTo(999, 40, false);
    EXPECT_EQ(grid->m_xTarget, 0); // row-major: only the vertical target
    EXPECT_EQ(grid->m_yTarget, 40);
    supplier->items = 3; // narrower than the page
    grid->updateGridSize();
    grid->slideTo(0, 40, false);
    EXPECT_EQ(grid->m_yTarget, 0);
}

TEST_F(SmoothGridKeysTest, SlideToAPositionAtOnceNotifiesBothPositions)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 120, true);
    EXPECT_EQ(grid->m_yPos, 120);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 0 }, { GRID_NOTIFY_YPOS, 120 } }));
}

TEST_F(SmoothGridKeysTest, SlideToAnIndexJumpsInRowMajorOrder)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(12, false, true);
    EXPECT_EQ(grid->m_yTarget, 480);
    EXPECT_EQ(grid->m_yPos, 480);
    EXPECT_EQ(grid->getSelected(), 12);
    EXPECT_TRUE(grid->posted.empty());
    grid->slideTo(19, false, false);
    EXPECT_EQ(grid->m_yPos, 600); // clamped
    EXPECT_EQ(grid->getSelected(), 12);
}

TEST_F(SmoothGridKeysTest, SlideToAnIndexGlidesInColumnMajorOrder)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 200, 80), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    settle();
    grid->slideTo(9, false, false); // column 4
    EXPECT_EQ(grid->m_xTarget, 400);
    EXPECT_EQ(grid->m_xPos, 0);
    tick20();
    EXPECT_EQ(grid->m_xPos, 200);
}

TEST_F(SmoothGridKeysTest, SlideToAnIndexAtOnceNotifiesBothPositions)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(3, true, false);
    EXPECT_EQ(grid->m_yPos, 120);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 0 }, { GRID_NOTIFY_YPOS, 120 } }));
}

TEST_F(SmoothGridKeysTest, SlideToAnIndexOutsideTheListDoesNothing)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(20, true, true);
    grid->slideTo(-1, true, true);
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(grid->m_yTarget, 0);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_TRUE(grid->posted.empty());
}

TEST_F(SmoothGridKeysTest, SetSelectedPutsTheItemInTheMiddleOfThePageAtOnce)
{
    ProbeGrid* grid = makeList(20, 5);
    EXPECT_EQ(grid->setSelected(10), 0);
    EXPECT_EQ(grid->getSelected(), 10);
    EXPECT_EQ(grid->m_yPos, 8 * 40);
    EXPECT_EQ(grid->m_yTarget, 8 * 40);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 0 }, { GRID_NOTIFY_YPOS, 320 } }));
    EXPECT_EQ(grid->setSelected(19), 0);
    EXPECT_EQ(grid->m_yPos, 600); // as far as the content allows
    EXPECT_EQ(grid->setSelected(1), 0);
    EXPECT_EQ(grid->m_yPos, 0);
}

TEST_F(SmoothGridKeysTest, SetSelectedBringsTheFirstVisibleItemToTheLine)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->setSelected(17);
    EXPECT_EQ(grid->m_firstItem, 17);
    grid->m_firstItem = 0;
    grid->setSelected(19); // on the last line: a page's worth back
    EXPECT_EQ(grid->m_firstItem, 15);
    grid->setSelected(2);
    EXPECT_EQ(grid->m_firstItem, 2);
}

TEST_F(SmoothGridKeysTest, SetSelectedRefusesIndicesOutsideTheList)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->setSelected(6);
    grid->posted.clear();
    const int yPos = grid->m_yPos;
    EXPECT_EQ(grid->setSelected(-1), -1);
    EXPECT_EQ(grid->setSelected(20), -1);
    EXPECT_EQ(grid->getSelected(), 6);
    EXPECT_EQ(grid->m_yPos, yPos);
    EXPECT_TRUE(grid->posted.empty());
}

TEST_F(SmoothGridKeysTest, SetSelectedZeroOnAnEmptyListResetsThePosition)
{
    ProbeGrid* grid = makeList(0, 5);
    grid->m_yPos = 40;
    grid->m_yTarget = 40;
    grid->m_selected = 3;
    EXPECT_EQ(grid->setSelected(0), 0);
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(grid->m_yTarget, 0);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, 0 } }));
}

TEST_F(SmoothGridKeysTest, RefreshSelectedKeepsTheSelectionOnAnItemWhenTheListShrinks)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->setSelected(15);
    supplier->items = 10;
    grid->refreshSelected();
    EXPECT_EQ(grid->getSelected(), 9);
    grid->m_selected = -2;
    grid->refreshSelected();
    EXPECT_EQ(grid->getSelected(), 0);
}

TEST_F(SmoothGridKeysTest, SetCurrentFocusIndexSelectsValidIndicesOnly)
{
    ProbeGrid* grid = makeList(20, 5);
    EXPECT_EQ(grid->setCurrentFocusIndex(7), 0);
    EXPECT_EQ(grid->getSelected(), 7);
    EXPECT_EQ(grid->setCurrentFocusIndex(20), -1);
    EXPECT_EQ(grid->getSelected(), 7);
}

TEST_F(SmoothGridKeysTest, ResetPosGoesBackToTheStartAndNotifiesTheScrollingAxis)
{
    ProbeGrid* grid = makeList(20, 5);
    grid->slideTo(0, 300, true);
    grid->posted.clear();
    grid->resetPos();
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(grid->m_yTarget, 0);
    EXPECT_EQ(grid->m_firstItem, 0);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, 0 } }));

    ProbeGrid* columns = makeGrid(Rect(0, 300, 200, 380), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    columns->slideTo(150, 0, true);
    columns->posted.clear();
    columns->resetPos();
    EXPECT_EQ(columns->m_xPos, 0);
    EXPECT_EQ(columns->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 0 } }));
}
