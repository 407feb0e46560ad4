// The update screen as the display shows it, pixel by pixel, at 800x480.

#include "update_support.h"

#include <cstdlib>

using namespace updatetest;

namespace {

// The bar's track: its rectangle less 5 pixels at the top and the bottom.
const Rect kTrackRect(20, 415, 720, 429);

}

TEST_F(UpdateWndTest, TheHeaderBandCoversTheHeaderRectangle)
{
    makeWindow();
    const Shot s = shot();
    EXPECT_TRUE(s.all(kHeaderRect, kHeader));
    EXPECT_EQ(s.at(0, 80), kWhite); // the grid starts right below
}

TEST_F(UpdateWndTest, TheEmptyGridIsWhiteWithoutAScrollBar)
{
    makeWindow();
    EXPECT_TRUE(shot().all(kGridRect, kWhite));
}

TEST_F(UpdateWndTest, EverythingOutsideTheControlsShowsTheWindowBackground)
{
    makeWindow();
    const Shot s = shot();
    EXPECT_TRUE(s.all(Rect(0, 390, 800, 410), kPanel)); // between grid and bar
    EXPECT_TRUE(s.all(Rect(0, 410, 20, 464), kPanel)); // left of bar and status
    EXPECT_TRUE(s.all(Rect(720, 410, 730, 434), kPanel)); // between bar and percentage
    EXPECT_TRUE(s.all(Rect(720, 434, 800, 464), kPanel)); // right of the status
    EXPECT_TRUE(s.all(Rect(0, 464, 800, 480), kPanel)); // below the status
}

TEST_F(UpdateWndTest, TheLabelsShowTheirBackgroundColours)
{
    ProbeUpdateWnd* w = makeWindow();
    Shot s = shot();
    EXPECT_TRUE(s.all(kPercentRect, kPanel));
    EXPECT_TRUE(s.all(kStatusRect, kPanel));
    EXPECT_TRUE(s.all(kTitleRect, kHeader));
    // With text: red on the panel colour, white on the band, and nothing else.
    progress(w, 50);
    postAndSettle(w, 5, "Status line");
    postAndSettle(w, 2, "Title");
    s = shot();
    EXPECT_GT(s.count(kPercentRect, kRed), 0);
    EXPECT_GT(s.count(kStatusRect, kRed), 0);
    EXPECT_GT(s.count(kTitleRect, kWhite), 0);
    // Status text is drawn left-aligned inside the label.
    const Rect ink = s.inkBounds(kStatusRect, kPanel);
    EXPECT_GE(ink.left, kStatusRect.left);
    EXPECT_LT(ink.left, kStatusRect.left + 10);
    EXPECT_GT(ink.top, kStatusRect.top);
    EXPECT_LT(ink.bottom, kStatusRect.bottom);
}

TEST_F(UpdateWndTest, TheBarShowsTheTrackBetweenFiveLineMarginsAtZero)
{
    makeWindow();
    const Shot s = shot();
    EXPECT_TRUE(s.all(kTrackRect, kTrack));
    EXPECT_TRUE(s.all(Rect(20, 410, 720, 415), kPanel));
    EXPECT_TRUE(s.all(Rect(20, 429, 720, 434), kPanel));
}

TEST_F(UpdateWndTest, TheBarFillsInProportionOnceWiderThanTheStep)
{
    ProbeUpdateWnd* w = makeWindow();
    // 700 pixels: 7 a percent. One percent (7 pixels) is within the step of 10.
    progress(w, 1);
    EXPECT_TRUE(shot().all(kTrackRect, kTrack));

    progress(w, 2); // 14 pixels
    Shot s = shot();
    EXPECT_TRUE(s.all(Rect(20, 415, 34, 429), kFill));
    EXPECT_TRUE(s.all(Rect(34, 415, 720, 429), kTrack));

    progress(w, 25); // 175 pixels
    s = shot();
    EXPECT_TRUE(s.all(Rect(20, 415, 195, 429), kFill));
    EXPECT_TRUE(s.all(Rect(195, 415, 720, 429), kTrack));
    EXPECT_TRUE(s.all(Rect(20, 410, 720, 415), kPanel));

    progress(w, 100);
    EXPECT_TRUE(shot().all(kTrackRect, kFill));
}

TEST_F(UpdateWndTest, ValuesOutsideTheRangeShowTheEmptyTrack)
{
    ProbeUpdateWnd* w = makeWindow();
    progress(w, 60);
    EXPECT_EQ(shot().at(100, 420), kFill);
    progress(w, 150);
    EXPECT_TRUE(shot().all(kTrackRect, kTrack));
    progress(w, 60);
    progress(w, -5);
    EXPECT_TRUE(shot().all(kTrackRect, kTrack));
}

TEST_F(UpdateWndTest, RowsAlternateWhiteAndGreyAndTheLastStepIsSelected)
{
    ProbeUpdateWnd* w = makeWindow();
    for (const char* text : { "zero", "one", "two" })
        post(w, 1, text);
    settle();
    const Shot s = shot();
    // Each cell has a white one-pixel frame around its inner colour.
    for (int row = 0; row < 3; ++row) {
        const Rect cell = cellRect(row);
        Rect inner = cell;
        inner.shrink(1, 1);
        const uint16_t fill = row == 2 ? kSelectedRow : row % 2 ? kOddRow : kWhite;
        EXPECT_EQ(s.at(cell.left, cell.top + 20), kWhite) << "row " << row;
        EXPECT_EQ(s.at(cell.right - 1, cell.top + 20), kWhite) << "row " << row;
        EXPECT_EQ(s.at(cell.left + 300, cell.top), kWhite) << "row " << row;
        // Right of any text and above the separator.
        EXPECT_TRUE(s.all(Rect(inner.left + 400, inner.top, inner.right, inner.top + 20), fill))
            << "row " << row;
    }
    // Below the last step the grid stays white.
    EXPECT_TRUE(s.all(Rect(0, cellRect(3).top, 800, kGridRect.bottom), kWhite));
}

TEST_F(UpdateWndTest, UnselectedRowsHaveASeparatorFallingTwoPixelsAcrossTheRow)
{
    ProbeUpdateWnd* w = makeWindow();
    for (const char* text : { "zero", "one", "two" })
        post(w, 1, text);
    settle();
    const Shot s = shot();
    // Row 1 (grey, unselected): inner (11, 131) - (789, 171); the line runs
    // from (11, 169) down to (789, 171).
    Rect inner = cellRect(1);
    inner.shrink(1, 1);
    EXPECT_EQ(s.at(inner.left, inner.bottom - 2), kSelectedRow);
    EXPECT_EQ(s.at(inner.right, inner.bottom), kSelectedRow);
    // It does not run along the bottom edge: at the left end the last inner
    // line keeps the row's colour, at the right end the line above does.
    EXPECT_EQ(s.at(inner.left, inner.bottom - 1), kOddRow);
    EXPECT_EQ(s.at(inner.right - 2, inner.bottom - 2), kOddRow);
    // Somewhere in the middle it is one line lower than at the start.
    EXPECT_EQ(s.at(inner.left + inner.width() / 2, inner.bottom - 1), kSelectedRow);
}

TEST_F(UpdateWndTest, StepTextsAreDrawnInsideTheCellInTheirColours)
{
    ProbeUpdateWnd* w = makeWindow();
    post(w, 1, "MMMM unselected");
    post(w, 1, "MMMM selected");
    settle();
    const Shot s = shot();
    Rect first = cellRect(0);
    Rect second = cellRect(1);
    EXPECT_GT(s.count(first, kRowText), 0);
    EXPECT_EQ(s.count(first, kSelectedText), 0);
    EXPECT_GT(s.count(second, kSelectedText), 0);
    EXPECT_EQ(s.count(second, kRowText), 0);
    // The text keeps 5 pixels from the cell's left edge and is centred
    // vertically within the cell less 3 pixels at the top and the bottom.
    Rect text = second;
    text.shrink(1, 1);
    const Rect ink = s.inkBounds(text, kSelectedRow);
    ASSERT_FALSE(ink.isEmpty());
    EXPECT_GE(ink.left, second.left + 5);
    EXPECT_LT(ink.left, second.left + 12);
    EXPECT_GE(ink.top, second.top + 3);
    EXPECT_LE(ink.bottom, second.bottom - 3);
    const int above = ink.top - second.top;
    const int below = second.bottom - ink.bottom;
    EXPECT_LE(std::abs(above - below), 8);
}

TEST_F(UpdateWndTest, SevenStepsFillTheGridWithoutAScrollBar)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 7; ++i)
        post(w, 1, "step");
    settle();
    const Shot s = shot();
    for (int row = 0; row < 7; ++row) {
        const uint16_t fill = row == 6 ? kSelectedRow : row % 2 ? kOddRow : kWhite;
        EXPECT_EQ(s.at(600, cellRect(row).top + 10), fill) << "row " << row;
    }
    EXPECT_EQ(cellRect(6).bottom, 382);
    EXPECT_TRUE(s.all(Rect(0, 382, 800, 390), kWhite));
    EXPECT_EQ(s.count(Rect(792, 80, 800, 390), kThumb), 0);
}

TEST_F(UpdateWndTest, AnEighthStepScrollsAndShowsTheScrollBar)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 8; ++i)
        post(w, 1, "step");
    settle();
    const Shot s = shot();
    EXPECT_GT(s.count(Rect(792, 80, 800, 390), kThumb), 0);
    // The selected last step sits in the bottom row.
    EXPECT_EQ(s.at(600, cellRect(6).top + 10), kSelectedRow);
}

TEST_F(UpdateWndTest, TheScrollBarIsAGreyThumbOnAWhiteTrackAlongTheRightEdge)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 10; ++i)
        post(w, 1, "step");
    settle();
    const Shot s = shot();
    // Content 420, page 294, grid height 310: a thumb of 310 * 294 / 420 = 217
    // pixels, at the end of its travel (126 of 126): 93 pixels down.
    EXPECT_TRUE(s.all(Rect(792, 80, 800, 173), kWhite));
    EXPECT_TRUE(s.all(Rect(792, 173, 800, 390), kThumb));
    EXPECT_EQ(s.at(791, 300), kWhite);
}

TEST_F(UpdateWndTest, WhenFinishedTheWindowPaintsBlackUnderItsControls)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 2, "Title");
    postAndSettle(w, 4, "");
    // Black on the next paint of the window itself; the controls still
    // paint over it until the program exits.
    w->invalidateRect(nullptr);
    settle();
    const Shot s = shot();
    EXPECT_TRUE(s.all(Rect(0, 0, 120, 80), kBlack)); // where the band and logo were
    EXPECT_TRUE(s.all(Rect(0, 390, 800, 410), kBlack));
    EXPECT_TRUE(s.all(Rect(0, 464, 800, 480), kBlack));
    EXPECT_EQ(s.at(799, 40), kHeader); // the title label
    EXPECT_EQ(s.at(400, 200), kWhite); // the grid
}

TEST_F(UpdateWndTest, TheFinishLeavesTheWholeScreenBlack)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 9; ++i)
        post(w, 1, "step");
    post(w, 2, "Title");
    post(w, 5, "Status");
    post(w, 3, nullptr, 70);
    settle();
    EXPECT_FALSE(shot().all(Rect(0, 0, 800, 480), kBlack));
    postAndSettle(w, 4, "");
    advance(1000, 10);
    ASSERT_TRUE(app->isExiting());
    EXPECT_TRUE(shot().all(Rect(0, 0, 800, 480), kBlack));
}
