// The smooth grid's pointer gestures through the toolkit's virtual pointer:
// tap to select and activate, drag to scroll, flick to glide, and paging by
// the draggable scroll bar. Gesture times come from the fixture's clock.

#include "smoothgrid_support.h"

using namespace gridtest;

namespace {

class SmoothGridTouchTest : public SmoothGridTest {
protected:
    // 40 rows of 40 pixels, 9 a page: content 1600, page 360, range 1240.
    ProbeGrid* makeLongList() { return makeList(40, 9); }

    std::vector<int> codesWithout1002() const
    {
        std::vector<int> codes;
        for (int c : host->codes()) {
            if (c != GRID_NOTIFY_YPOS && c != GRID_NOTIFY_XPOS)
                codes.push_back(c);
        }
        return codes;
    }
    bool notified(int code) const
    {
        for (int c : host->codes()) {
            if (c == code)
                return true;
        }
        return false;
    }
    // A draggable-bar list at the host's origin: 200-pixel cells beside a
    // 6-pixel track and a 10-pixel touch strip (x 210 to 219), 5 rows of 40.
    ProbeGrid* makeBarList(int count, unsigned int extraStyle = 0)
    {
        const Rect work(0, 0, 200, 200);
        return makeGrid(
            Rect(0, 0, 220, 200), count, 5, 1, kUsersStyle | GRID_STYLE_DRAG_BAR | extraStyle, &work);
    }
};

using Posted = ProbeGrid::Posted;

}

TEST_F(SmoothGridTouchTest, TapSelectsTheItemAndActivatesIt)
{
    ProbeGrid* grid = makeLongList();
    settle();
    press(150, 130);
    settle();
    EXPECT_EQ(grid->getSelected(), 3);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_SELECT);
    EXPECT_EQ(host->notes[0].param, 0);
    EXPECT_TRUE(grid->m_dragging);
    passTime(120);
    release(150, 130);
    settle();
    EXPECT_FALSE(grid->m_dragging);
    // The toolkit's own click notify follows the grid's handling.
    EXPECT_EQ(host->codes(), (std::vector<int> { GRID_NOTIFY_SELECT, GRID_NOTIFY_ACTIVATE, NOTIFY_CLICKED }));
    EXPECT_EQ(host->notes[1].param, 3);
    EXPECT_EQ(shownPixel(150, 140), kSelectedRow);
    EXPECT_EQ(shownPixel(150, 20), kWhite);
}

TEST_F(SmoothGridTouchTest, TapFocusesTheGrid)
{
    ProbeGrid* grid = makeLongList();
    press(150, 50);
    release(150, 50);
    settle();
    EXPECT_EQ(host->getFocusWnd(), grid);
}

TEST_F(SmoothGridTouchTest, NinePixelsOfMovementStillMakeATap)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    press(150, 130);
    settle();
    passTime(100);
    release(159, 139);
    settle();
    EXPECT_EQ(
        codesWithout1002(), (std::vector<int> { GRID_NOTIFY_SELECT, GRID_NOTIFY_ACTIVATE, NOTIFY_CLICKED }));
    EXPECT_EQ(grid->getSelected(), 3);
}

TEST_F(SmoothGridTouchTest, TenPixelsDownMakeAFlickInsteadOfATap)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    grid->slideTo(0, 400, true);
    settle();
    host->notes.clear();
    press(150, 130); // item (400 + 130) / 40 = 13
    settle();
    passTime(100);
    move(150, 140);
    release(150, 140);
    settle();
    EXPECT_FALSE(notified(GRID_NOTIFY_ACTIVATE));
    EXPECT_EQ(grid->getSelected(), 13); // the press still selected
    EXPECT_EQ(grid->m_yPos, 390);
    EXPECT_EQ(grid->m_yTarget, 390 - 10 * 1000 / 100);
}

TEST_F(SmoothGridTouchTest, TenPixelsSidewaysMakeAFlickInsteadOfATap)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    press(150, 130);
    settle();
    passTime(100);
    release(160, 130);
    settle();
    EXPECT_FALSE(notified(GRID_NOTIFY_ACTIVATE));
    EXPECT_EQ(grid->m_yTarget, 0);
}

TEST_F(SmoothGridTouchTest, PressHeldForThreeHundredMillisecondsIsNoTap)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    grid->slideTo(0, 200, true);
    settle();
    host->notes.clear();
    press(150, 130);
    settle();
    passTime(300);
    release(150, 130);
    settle();
    EXPECT_FALSE(notified(GRID_NOTIFY_ACTIVATE));
    EXPECT_EQ(grid->m_yTarget, 200); // no movement: the target stays put

    host->notes.clear();
    press(150, 130);
    settle();
    passTime(299);
    release(150, 130);
    settle();
    EXPECT_TRUE(notified(GRID_NOTIFY_ACTIVATE));
}

TEST_F(SmoothGridTouchTest, FlickOfHundredPixelsUpInTwoHundredMillisecondsSetsTheTargetFiveHundredFurther)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    grid->slideTo(0, 200, true);
    settle();
    press(150, 300);
    settle();
    passTime(100);
    move(150, 250);
    settle();
    passTime(100);
    move(150, 200);
    settle();
    EXPECT_EQ(grid->m_yPos, 300);
    release(150, 200);
    settle();
    EXPECT_EQ(grid->m_yPos, 300);
    EXPECT_EQ(grid->m_yTarget, 300 + 500);
}

TEST_F(SmoothGridTouchTest, FlickTargetIsClampedToTheContent)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    grid->slideTo(0, 1000, true);
    settle();
    press(150, 300);
    settle();
    passTime(200);
    move(150, 200);
    release(150, 200);
    settle();
    EXPECT_EQ(grid->m_yPos, 1100);
    EXPECT_EQ(grid->m_yTarget, 1240);
    press(150, 100);
    settle();
    passTime(100);
    move(150, 300);
    release(150, 300);
    settle();
    EXPECT_EQ(grid->m_yTarget, 0);
}

TEST_F(SmoothGridTouchTest, FlickGlidesToItsTargetWithHalvingSteps)
{
    ProbeGrid* grid = makeLongList();
    settle();
    press(150, 300);
    settle();
    passTime(50);
    move(150, 250);
    settle();
    passTime(50);
    move(150, 200);
    release(150, 200);
    settle();
    grid->posted.clear();
    // 100 pixels in 100 ms: a second more is 1000 pixels on from 100. The
    // glide starts at the slide timer's next tick.
    EXPECT_EQ(grid->m_yTarget, 1100);
    EXPECT_EQ(grid->m_yPos, 100);
    std::vector<int> seen;
    for (int i = 0; i < 10 && grid->m_yPos != grid->m_yTarget; ++i) {
        tick20();
        seen.push_back(grid->m_yPos);
    }
    EXPECT_EQ(seen, (std::vector<int> { 600, 850, 975, 1037, 1068, 1084, 1092, 1096, 1100 }));
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, 1100 } }));
}

TEST_F(SmoothGridTouchTest, DragMovesTheContentWithTheFingerAndRestsTheSlide)
{
    ProbeGrid* grid = makeLongList();
    settle();
    grid->slideTo(0, 600, false); // a glide under way
    press(150, 300);
    settle();
    grid->posted.clear();
    const int atPress = grid->m_yPos;
    ASSERT_EQ(atPress, 0);
    move(150, 260);
    settle();
    EXPECT_EQ(grid->m_yPos, atPress + 40);
    EXPECT_EQ(grid->m_yTarget, 600); // left alone
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, atPress + 40 } }));
    advance(100, 20);
    EXPECT_EQ(grid->m_yPos, atPress + 40); // the slide rests while the finger holds
    move(150, 310);
    settle();
    EXPECT_EQ(grid->m_yPos, 0); // 10 pixels before the start: clamped
}

TEST_F(SmoothGridTouchTest, DragIsClampedToTheContent)
{
    ProbeGrid* grid = makeLongList();
    grid->setSlideTimerRunning(false);
    press(150, 100);
    settle();
    move(150, 300);
    settle();
    EXPECT_EQ(grid->m_yPos, 0);
    move(150, -2000);
    settle();
    EXPECT_EQ(grid->m_yPos, 1240);
}

TEST_F(SmoothGridTouchTest, DragIsIgnoredWhenTheContentFitsThePage)
{
    ProbeGrid* grid = makeList(5, 9);
    press(150, 150);
    settle();
    grid->posted.clear();
    move(150, 50);
    settle();
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_TRUE(grid->posted.empty());
}

TEST_F(SmoothGridTouchTest, PressOnAnEmptyCellSelectsAndActivatesNothing)
{
    ProbeGrid* grid = makeList(3, 9);
    grid->m_selected = 1;
    press(150, 200);
    release(150, 200);
    settle();
    EXPECT_EQ(grid->getSelected(), 1);
    EXPECT_EQ(host->codes(), (std::vector<int> { NOTIFY_CLICKED }));
}

TEST_F(SmoothGridTouchTest, HitTestingDoesNotSubtractTheWorkRegionOffset)
{
    // Rows of 42 from y 8 of the grid: y 45 shows row 0, but the grid takes
    // the point as it comes and finds row 45 / 42 = 1.
    const Rect work(12, 8, 288, 302);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 300, 310), 20, 7, 1, kUsersStyle, &work);
    ASSERT_EQ(grid->m_itemHeight, 42);
    press(20, 45);
    release(20, 45);
    settle();
    EXPECT_EQ(grid->getSelected(), 1);
}

TEST_F(SmoothGridTouchTest, IgnoreInputStyleKeepsThePointerAway)
{
    ProbeGrid* grid = makeList(20, 9, kUsersStyle | GRID_STYLE_IGNORE_INPUT);
    press(150, 130);
    release(150, 130);
    settle();
    EXPECT_TRUE(grid->pointerEvents.empty());
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_FALSE(grid->m_dragging);
    EXPECT_TRUE(host->notes.empty());
}

TEST_F(SmoothGridTouchTest, GestureMemoryIsSharedByAllGrids)
{
    ProbeGrid* a = makeGrid(Rect(0, 0, 300, 360), 40, 9);
    ProbeGrid* b = makeGrid(Rect(400, 0, 700, 360), 40, 9);
    b->slideTo(0, 80, true);
    // What two pointers would give: a press on each, then a move on the first.
    postPointer(a, 150, 200, MOUSE_PRESS);
    postPointer(b, 150, 100, MOUSE_PRESS); // remembers y 100 and position 80
    postPointer(a, 150, 150, MOUSE_MOVE);
    // Measured against b's press: 80 + (100 - 150), not 0 + (200 - 150).
    EXPECT_EQ(a->m_yPos, 30);
}

TEST_F(SmoothGridTouchTest, ColumnMajorDragAndFlickMoveHorizontally)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 200, 80), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    grid->setSlideTimerRunning(false);
    press(150, 40);
    settle();
    grid->posted.clear();
    passTime(100);
    move(100, 40);
    settle();
    EXPECT_EQ(grid->m_xPos, 50);
    EXPECT_EQ(grid->m_yPos, 0);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 50 } }));
    release(100, 40);
    settle();
    EXPECT_EQ(grid->m_xTarget, 50 + 50 * 1000 / 100);
    EXPECT_EQ(grid->m_yTarget, 0);
}

TEST_F(SmoothGridTouchTest, ColumnMajorTapUsesColumnsOfRows)
{
    ProbeGrid* grid = makeGrid(Rect(0, 0, 200, 80), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR);
    press(150, 60);
    release(150, 60);
    settle();
    EXPECT_EQ(grid->getSelected(), 3); // column 1, row 1
    EXPECT_TRUE(notified(GRID_NOTIFY_ACTIVATE));
}

TEST_F(SmoothGridTouchTest, ScrollBarPressSelectsThePagesFirstItemAndJumps)
{
    ProbeGrid* grid = makeBarList(12);
    grid->setSlideTimerRunning(false);
    settle();
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(210, 0, 220, 200));
    press(215, 150); // page 150 x 3 / 200 = 2 of (12 + 5) / 5 = 3
    settle();
    EXPECT_TRUE(grid->m_barDragging);
    EXPECT_FALSE(grid->m_dragging);
    EXPECT_EQ(grid->getSelected(), 10);
    EXPECT_EQ(grid->m_yPos, 280); // page 2 x 200, clamped to 480 - 200
    EXPECT_EQ(grid->m_yTarget, 280);
    ASSERT_EQ(host->notes.size(), 1u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_SELECT);
    EXPECT_EQ(host->notes[0].param, 0);
    release(215, 150);
    settle();
    EXPECT_FALSE(grid->m_barDragging);
    EXPECT_FALSE(notified(GRID_NOTIFY_ACTIVATE));
}

TEST_F(SmoothGridTouchTest, ScrollBarPageCountIsOneMoreOnAnExactMultiple)
{
    ProbeGrid* grid = makeBarList(10);
    grid->setSlideTimerRunning(false);
    settle();
    press(215, 199); // page 199 x 3 / 200 = 2: a page that holds no item
    settle();
    EXPECT_EQ(grid->getSelected(), 9); // lowered to the last item
    EXPECT_EQ(grid->m_yPos, 200);
}

TEST_F(SmoothGridTouchTest, ScrollBarPressOnTheFirstPageGoesToTheTop)
{
    ProbeGrid* grid = makeBarList(12);
    grid->slideTo(0, 200, true);
    settle();
    press(215, 10);
    settle();
    EXPECT_EQ(grid->getSelected(), 0);
    EXPECT_EQ(grid->m_yPos, 0);
}

TEST_F(SmoothGridTouchTest, ScrollBarDragPutsTheThumbUnderThePointer)
{
    ProbeGrid* grid = makeBarList(12);
    grid->setSlideTimerRunning(false);
    settle();
    press(215, 10);
    settle();
    grid->posted.clear();
    move(215, 100);
    settle();
    // Thumb 200 / 3 = 66: 100 x 280 / (200 - 66) = 208.
    EXPECT_EQ(grid->m_yPos, 208);
    EXPECT_EQ(grid->m_yTarget, 208);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_YPOS, 208 } }));
    move(215, 190);
    settle();
    EXPECT_EQ(grid->m_yPos, 280); // clamped
    release(215, 190);
    settle();
    EXPECT_FALSE(grid->m_barDragging);
}

TEST_F(SmoothGridTouchTest, PlainScrollBarIsNotPressable)
{
    const Rect work(0, 0, 200, 200);
    ProbeGrid* grid = makeGrid(Rect(0, 0, 220, 200), 12, 5, 1, kUsersStyle, &work);
    press(215, 150);
    settle();
    EXPECT_FALSE(grid->m_barDragging);
    EXPECT_TRUE(grid->m_dragging);
    // A cell press, hit-tested without bounds: row 150 / 40 = 3, and x 215
    // lies one cell width on, so item 4.
    EXPECT_EQ(grid->getSelected(), 4);
    EXPECT_EQ(grid->m_yPos, 0);
}

TEST_F(SmoothGridTouchTest, ColumnMajorScrollBarPressMovesOnlyTheVerticalTarget)
{
    const Rect work(0, 0, 200, 80);
    ProbeGrid* grid = makeGrid(
        Rect(0, 0, 200, 100), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR | GRID_STYLE_DRAG_BAR, &work);
    settle();
    EXPECT_EQ(grid->m_scrollBar.m_touchRect, Rect(0, 90, 200, 100));
    press(150, 95); // page 150 x 6 / 200 = 4 of (20 + 4) / 4 = 6
    settle();
    EXPECT_EQ(grid->getSelected(), 16);
    EXPECT_EQ(grid->m_xPos, 800);
    EXPECT_EQ(grid->m_xTarget, 0); // kept: the target set is the vertical one
    release(150, 95);
    settle();
    tick20();
    EXPECT_EQ(grid->m_xPos, 400); // so the position glides back
}

TEST_F(SmoothGridTouchTest, ColumnMajorScrollBarDragMovesTheHorizontalPosition)
{
    const Rect work(0, 0, 200, 80);
    ProbeGrid* grid = makeGrid(
        Rect(0, 0, 200, 100), 20, 2, 2, kUsersStyle | GRID_STYLE_COLUMN_MAJOR | GRID_STYLE_DRAG_BAR, &work);
    grid->setSlideTimerRunning(false);
    settle();
    press(10, 95);
    settle();
    grid->posted.clear();
    move(50, 95);
    settle();
    // Thumb 200 / 6 = 33: 50 x 800 / (200 - 33) = 239.
    EXPECT_EQ(grid->m_xPos, 239);
    EXPECT_EQ(grid->m_xTarget, 239);
    EXPECT_EQ(grid->posted, (std::vector<Posted> { { GRID_NOTIFY_XPOS, 239 } }));
}
