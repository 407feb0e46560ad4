// The quick-test screen as the operator sees it: where each part lies on an
// 800 x 480 screen, in which colours, with which texts; the list's rows and
// their result colours; and the settings the window reads at start-up.

#include "quicktest_support.h"

#include "widgets/pelbutton.h"
#include "widgets/peledit.h"
#include "widgets/pelsmoothgrid.h"

#include <lumi/controls.h>
#include <lumi/gdi.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace quicktesttest;

namespace {

class QuickTestScreenTest : public QuickTestFixture { };

// Pixels of rect that are not colour.
int mismatches(const Snapshot& shot, const Rect& rect, uint16_t colour)
{
    return shot.count(rect, [colour](uint16_t p) { return p != colour; });
}

// The one-pixel frame just inside rect.
std::vector<Rect> innerRing(const Rect& r)
{
    return { Rect(r.left, r.top, r.right, r.top + 1), Rect(r.left, r.bottom - 1, r.right, r.bottom),
        Rect(r.left, r.top, r.left + 1, r.bottom), Rect(r.right - 1, r.top, r.right, r.bottom) };
}

void expectRingColour(const Snapshot& shot, const Rect& rect, uint16_t colour, const char* what)
{
    for (const Rect& side : innerRing(rect))
        EXPECT_EQ(mismatches(shot, side, colour), 0)
            << what << " edge " << side.left << "," << side.top << " " << side.right << "," << side.bottom;
}

Rect screenRectOf(const WndBase* w)
{
    return w->screenRect();
}

// Bands of the screen one pixel wide just outside each side of rect.
Rect above(const Rect& r)
{
    return Rect(r.left, r.top - 1, r.right, r.top);
}
Rect below(const Rect& r)
{
    return Rect(r.left, r.bottom, r.right, r.bottom + 1);
}
Rect leftOf(const Rect& r)
{
    return Rect(r.left - 1, r.top, r.left, r.bottom);
}
Rect rightOf(const Rect& r)
{
    return Rect(r.right, r.top, r.right + 1, r.bottom);
}

}

TEST(QuickTestWndDefaults, FieldsStartIdleWithRunAllOn)
{
    ProbeWnd window;
    EXPECT_EQ(window.items.size(), 0);
    EXPECT_EQ(window.logEdit, nullptr);
    EXPECT_EQ(window.currentLabel, nullptr);
    EXPECT_EQ(window.hintLabel, nullptr);
    EXPECT_EQ(window.failSwatch, nullptr);
    EXPECT_EQ(window.passSwatch, nullptr);
    EXPECT_EQ(window.untestedSwatch, nullptr);
    EXPECT_EQ(window.failText, nullptr);
    EXPECT_EQ(window.passText, nullptr);
    EXPECT_EQ(window.untestedText, nullptr);
    EXPECT_EQ(window.statusLabel, nullptr);
    EXPECT_EQ(window.grid, nullptr);
    EXPECT_EQ(window.nextButton, nullptr);
    EXPECT_EQ(window.powerButton, nullptr);
    EXPECT_EQ(window.log, nullptr);
    EXPECT_EQ(window.itemCount, 0);
    EXPECT_EQ(window.confirmIndex(), -1);
    EXPECT_EQ(window.runTimer, 0);
    EXPECT_EQ(window.nextIndex(), 0);
    EXPECT_FALSE(window.running());
    EXPECT_TRUE(window.runAll());
    EXPECT_FALSE(window.failReported());
    EXPECT_FALSE(window.allPassReported());
}

TEST(QuickTestWndDefaults, RowsPerPageAreWhole40PixelRows)
{
    EXPECT_EQ(QuickTestWnd::gridRowsFor(Rect(0, 70, 320, 380)), 7);
    EXPECT_EQ(QuickTestWnd::gridRowsFor(Rect(0, 0, 10, 80)), 2);
    EXPECT_EQ(QuickTestWnd::gridRowsFor(Rect(0, 0, 10, 79)), 1);
    EXPECT_EQ(QuickTestWnd::gridRowsFor(Rect(0, 0, 10, 39)), 0);
}

TEST_F(QuickTestScreenTest, CreateMakesTheFullScreenWindow101)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    EXPECT_EQ(app->getWndById(101), window);
    EXPECT_EQ(window->getId(), PEL_MAIN_WND_ID);
    EXPECT_EQ(screenRectOf(window), Rect(0, 0, 800, 480));
    EXPECT_TRUE(window->isStyle(71));
    EXPECT_NE(window->runTimer, 0) << "the first step is due 50 ms after start-up";
    EXPECT_EQ(window->items.size(), 5);
    EXPECT_EQ(window->getItemCount(), 5);
    EXPECT_EQ(window->itemCount, 5);
}

TEST_F(QuickTestScreenTest, ControlsLieWhereTheLayoutRulesPutThem)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    EXPECT_EQ(screenRectOf(window->hintLabel), layout.hint);
    EXPECT_EQ(screenRectOf(window->statusLabel), layout.status);
    EXPECT_EQ(screenRectOf(window->grid), layout.grid);
    EXPECT_EQ(screenRectOf(window->logEdit), layout.log);
    EXPECT_EQ(screenRectOf(window->currentLabel), layout.current);
    EXPECT_EQ(screenRectOf(window->untestedSwatch), layout.swatch[0]);
    EXPECT_EQ(screenRectOf(window->passSwatch), layout.swatch[1]);
    EXPECT_EQ(screenRectOf(window->failSwatch), layout.swatch[2]);
    EXPECT_EQ(screenRectOf(window->untestedText), layout.text[0]);
    EXPECT_EQ(screenRectOf(window->passText), layout.text[1]);
    EXPECT_EQ(screenRectOf(window->failText), layout.text[2]);
    EXPECT_EQ(screenRectOf(window->powerButton), layout.power);
    EXPECT_EQ(screenRectOf(window->nextButton), layout.next);

    // The numbers on the device's 800 x 480 screen.
    EXPECT_EQ(layout.hint, Rect(0, 0, 320, 70));
    EXPECT_EQ(layout.status, Rect(320, 0, 800, 70));
    EXPECT_EQ(layout.grid, Rect(0, 70, 320, 380));
    EXPECT_EQ(layout.log, Rect(320, 70, 800, 380));
    EXPECT_EQ(layout.current, Rect(10, 385, 310, 425));
    EXPECT_EQ(layout.swatch[0], Rect(10, 435, 40, 465));
    EXPECT_EQ(layout.text[0], Rect(40, 435, 90, 465));
    EXPECT_EQ(layout.swatch[2], Rect(190, 435, 220, 465));
    EXPECT_EQ(layout.power, Rect(650, 420, 770, 460));
    EXPECT_EQ(layout.next, Rect(470, 420, 590, 460));
}

TEST_F(QuickTestScreenTest, ControlsHaveTheirStylesAndAlignment)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    EXPECT_TRUE(window->hintLabel->isStyle(70));
    EXPECT_TRUE(window->statusLabel->isStyle(70));
    EXPECT_TRUE(window->currentLabel->isStyle(70));
    EXPECT_TRUE(window->untestedText->isStyle(70));
    EXPECT_TRUE(window->untestedSwatch->isStyle(6));
    EXPECT_FALSE(window->untestedSwatch->isStyle(WS_TRANSPARENT));
    EXPECT_TRUE(window->grid->isStyle(0x0A080046));
    EXPECT_TRUE(window->logEdit->isStyle(0x12480006));
    EXPECT_TRUE(window->powerButton->isStyle(6));
    EXPECT_TRUE(window->nextButton->isStyle(6));

    EXPECT_EQ(window->hintLabel->alignFlag(), 18u);
    EXPECT_EQ(window->statusLabel->alignFlag(), 34u);
    EXPECT_EQ(window->currentLabel->alignFlag(), 18u);
    EXPECT_EQ(window->untestedText->alignFlag(), 18u);
    EXPECT_EQ(window->passText->alignFlag(), 18u);
    EXPECT_EQ(window->failText->alignFlag(), 18u);
    EXPECT_EQ(window->powerButton->alignFlag(), 34u);
    EXPECT_EQ(window->nextButton->alignFlag(), 34u);

    LogFont large("large", -1);
    EXPECT_EQ(window->statusLabel->getFont(), Font::getFont(&large));
}

TEST_F(QuickTestScreenTest, TextsComeFromTheirGbkBytes)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    EXPECT_EQ(std::string(window->hintLabel->getText()), converted(kHintText));
    EXPECT_EQ(std::string(window->hintLabel->getText()), kHintText.utf8);
    EXPECT_EQ(std::string(window->untestedText->getText()), kUntestedText.utf8);
    EXPECT_EQ(std::string(window->passText->getText()), kPassText.utf8);
    EXPECT_EQ(std::string(window->failText->getText()), kFailText.utf8);
    EXPECT_EQ(std::string(window->powerButton->getText()), kPowerText.utf8);
    EXPECT_EQ(std::string(window->nextButton->getText()), kNextText.utf8);
    EXPECT_EQ(std::string(window->statusLabel->getText()), "") << "no verdict before a run";
    EXPECT_EQ(std::string(window->currentLabel->getText()), "");
    for (const OperatorText* t :
        { &kHintText, &kUntestedText, &kPassText, &kFailText, &kPowerText, &kNextText })
        EXPECT_EQ(converted(*t), t->utf8);
}

TEST_F(QuickTestScreenTest, ButtonsAndLogHaveTheirColours)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    for (PelButton* b : { window->powerButton, window->nextButton }) {
        EXPECT_EQ(b->bgColor(), kButtonFace);
        EXPECT_EQ(b->bgColor2(), 0x971F);
        EXPECT_EQ(b->textColor(), 0xFFFF);
        EXPECT_EQ(b->penColor(), 0);
    }
    EXPECT_EQ(window->logEdit->editBGColor(), kLogBack);
    EXPECT_EQ(window->logEdit->textColor(), kUntestedGrey);
    ASSERT_NE(window->log, nullptr);
}

TEST_F(QuickTestScreenTest, GridIsAOneColumnListOfWholeRowsInsideItsMargins)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    int rows = 0;
    int cols = 0;
    window->grid->getRowCol(rows, cols);
    EXPECT_EQ(rows, 7);
    EXPECT_EQ(cols, 1);
    EXPECT_EQ(window->grid->getScrollBarWidth(), 10);
    // The work region, 12 and 8 pixels in from the grid's edges, holds seven
    // whole rows of 294 / 7 = 42 pixels.
    EXPECT_EQ(layout.work, Rect(12, 78, 308, 372));
    EXPECT_EQ(layout.rowHeight, 42);
    for (int i = 0; i < 5; ++i) {
        Rect r;
        window->grid->getItemRect(i, r);
        window->grid->clientToScreen(r);
        EXPECT_EQ(r, layout.row(i)) << i;
    }
}

TEST_F(QuickTestScreenTest, InitialScreenShowsEveryPartInItsColour)
{
    writeDemoConfig(true);
    openWindow();
    screenshot("initial.png");
    const Snapshot s = shot();

    // Hint: blue, with white text; the status band beside it, the list below.
    expectRingColour(s, layout.hint, kHintBack, "hint");
    EXPECT_GT(s.countColour(layout.hint, kWhite), 0) << "the hint's text";
    EXPECT_EQ(mismatches(s, below(layout.hint), kWhite), 0);
    EXPECT_EQ(mismatches(s, leftOf(layout.status), kHintBack), 0);

    // Status: light blue and empty before any verdict.
    EXPECT_EQ(mismatches(s, layout.status, kStatusBack), 0);
    EXPECT_EQ(mismatches(s, below(layout.status), kLogBack), 0);

    // The list: white around the rows, margins included.
    EXPECT_EQ(
        mismatches(s, Rect(layout.grid.left, layout.grid.top, layout.grid.right, layout.work.top), kWhite),
        0);
    EXPECT_EQ(
        mismatches(s, Rect(layout.grid.left, layout.grid.top, layout.work.left, layout.grid.bottom), kWhite),
        0);
    // (Each separator ends one pixel past its row, at the work region's right edge.)
    EXPECT_EQ(
        mismatches(
            s, Rect(layout.work.right + 1, layout.grid.top, layout.grid.right, layout.grid.bottom), kWhite),
        0);
    // Below the five rows the cells are empty: grid background only, apart
    // from the last row's separator slanting into the first empty row.
    const Rect empty(layout.work.left, layout.row(5).top + 1, layout.work.right, layout.grid.bottom);
    EXPECT_EQ(mismatches(s, empty, kWhite), 0);
    EXPECT_EQ(mismatches(s, below(layout.grid), kWindowBack), 0);

    // The log: light grey, empty.
    EXPECT_EQ(mismatches(s, layout.log, kLogBack), 0);
    EXPECT_EQ(mismatches(s, below(layout.log), kWindowBack), 0);

    // The current-test line: nothing yet, on the window's background.
    EXPECT_EQ(mismatches(s, layout.current, kWindowBack), 0);

    // Legend swatches in their colours with white words beside them.
    const uint16_t swatchColours[3] = { kUntestedGrey, kPassGreen, kFailRed };
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(mismatches(s, layout.swatch[i], swatchColours[i]), 0) << i;
        EXPECT_EQ(mismatches(s, above(layout.swatch[i]), kWindowBack), 0) << i;
        EXPECT_EQ(mismatches(s, below(layout.swatch[i]), kWindowBack), 0) << i;
        EXPECT_EQ(mismatches(s, leftOf(layout.swatch[i]), kWindowBack), 0) << i;
        EXPECT_GT(s.countColour(layout.text[i], kWhite), 0) << i;
        // The word starts at the text's left edge; above, below and right of it
        // the window's background shows.
        const Rect& t = layout.text[i];
        EXPECT_EQ(mismatches(s, Rect(t.left, t.top, t.right, t.top + 1), kWindowBack), 0) << i;
        EXPECT_EQ(mismatches(s, Rect(t.left, t.bottom - 1, t.right, t.bottom), kWindowBack), 0) << i;
        EXPECT_EQ(mismatches(s, Rect(t.right - 1, t.top, t.right, t.bottom), kWindowBack), 0) << i;
    }

    // Buttons: blue faces with white captions on the window's background.
    for (const Rect& b : { layout.power, layout.next }) {
        expectRingColour(s, b, kButtonFace, "button");
        EXPECT_GT(s.countColour(b, kWhite), 0) << "caption";
        EXPECT_EQ(mismatches(s, above(b), kWindowBack), 0);
        EXPECT_EQ(mismatches(s, below(b), kWindowBack), 0);
        EXPECT_EQ(mismatches(s, leftOf(b), kWindowBack), 0);
        EXPECT_EQ(mismatches(s, rightOf(b), kWindowBack), 0);
    }

    // Window background between the parts.
    EXPECT_EQ(mismatches(s, Rect(300, 430, 460, 480), kWindowBack), 0);
    EXPECT_EQ(mismatches(s, Rect(770, 380, 800, 480), kWindowBack), 0);
}

TEST_F(QuickTestScreenTest, RowsAlternateWithTheSelectedRowHighlighted)
{
    writeDemoConfig(true);
    openWindow();
    const Snapshot s = shot();
    for (int i = 0; i < 5; ++i) {
        const Rect row = layout.row(i);
        // The white one-pixel border of each cell, on its left and top.
        EXPECT_EQ(mismatches(s, Rect(row.left, row.top, row.left + 1, row.bottom - 3), kWhite), 0) << i;
        EXPECT_EQ(mismatches(s, Rect(row.left, row.top, row.right, row.top + 1), kWhite), 0) << i;
        // The fill, in the rows' top band that no text reaches.
        const Rect band(row.left + 1, row.top + 1, row.right - 1, row.top + 4);
        const uint16_t fill = i == 0 ? kSelectedRow : (i % 2 ? kOddRow : kWhite);
        EXPECT_EQ(mismatches(s, band, fill), 0) << i;
        // Untested names in dark grey.
        Rect text = row;
        text.shrink(3, 3);
        EXPECT_GT(s.countColour(text, kUntestedGrey), 0) << i;
        EXPECT_EQ(s.countColour(text, kPassGreen), 0) << i;
        EXPECT_EQ(s.countColour(text, kFailRed), 0) << i;
    }
    // The separator under an unselected row: light grey at its bottom edge.
    const Rect row1 = layout.row(1);
    EXPECT_GT(s.countColour(Rect(row1.left, row1.bottom - 2, row1.right, row1.bottom), kSelectedRow), 100);
}

TEST_F(QuickTestScreenTest, ResultsColourTheRowNamesAndTheCurrentLine)
{
    writeDemoConfig(true);
    openOperator();
    ProbeWnd* window = openWindow();
    step(); // row 0 passes
    step(); // row 1 fails
    {
        const Snapshot s = shot();
        EXPECT_GT(s.countColour(layout.row(0), kPassGreen), 0);
        EXPECT_EQ(s.countColour(layout.row(0), kUntestedGrey), 0);
        EXPECT_GT(s.countColour(layout.row(1), kFailRed), 0);
        EXPECT_EQ(s.countColour(layout.row(1), kUntestedGrey), 0);
        EXPECT_GT(s.countColour(layout.row(2), kUntestedGrey), 0);
        // The current line shows the failure in red, on the window's background.
        EXPECT_GT(s.countColour(layout.current, kFailRed), 0);
        EXPECT_EQ(mismatches(s,
                      Rect(layout.current.right - 20, layout.current.top, layout.current.right,
                          layout.current.bottom),
                      kWindowBack),
            0);
        // The verdict, red on the status band.
        EXPECT_GT(s.countColour(layout.status, kFailRed), 0);
        // The log shows the test's lines in grey.
        EXPECT_GT(s.countColour(layout.log, kUntestedGrey), 0);
    }
    step(); // row 2 asks
    ASSERT_NE(topBox(), nullptr);
    screenshot("question.png");
    EXPECT_EQ(topBox()->bgColor(), kBoxBack);
    EXPECT_EQ(topBox()->frameColor(), kBoxFrame);
    {
        const Snapshot s = shot();
        const Rect box = topBox()->screenRect();
        expectRingColour(s, box, kBoxFrame, "box frame");
        EXPECT_EQ(s.at(box.left + 6, box.top + 6), kBoxBack);
        // Until answered, the asking row stays grey.
        EXPECT_GT(s.countColour(layout.row(2), kUntestedGrey), 0);
    }
    answer(0);
    EXPECT_EQ(window->items[2]->getResult(), 0);
    EXPECT_GT(shot().countColour(layout.row(2), kPassGreen), 0);
    step();
    step();
    screenshot("finished.png");
    const Snapshot s = shot();
    const uint16_t expected[5] = { kPassGreen, kFailRed, kPassGreen, kPassGreen, kFailRed };
    for (int i = 0; i < 5; ++i) {
        Rect text = layout.row(i);
        text.shrink(3, 3);
        EXPECT_GT(s.countColour(text, expected[i]), 0) << i;
        EXPECT_EQ(s.countColour(text, kUntestedGrey), 0) << i;
    }
    EXPECT_GT(s.countColour(layout.current, kFailRed), 0) << "test4 failed last";
}

TEST_F(QuickTestScreenTest, ALongListShowsTheScrollBarInItsColours)
{
    openWindow();
    // Empty without config.ini; ten rows of our own, three more than a page.
    ProbeWnd* window = static_cast<ProbeWnd*>(app->getWndById(101));
    window->useItems({ new ScriptedItem("a", 0), new ScriptedItem("b", 0), new ScriptedItem("c", 0),
        new ScriptedItem("d", 0), new ScriptedItem("e", 0), new ScriptedItem("f", 0),
        new ScriptedItem("g", 0), new ScriptedItem("h", 0), new ScriptedItem("i", 0),
        new ScriptedItem("j", 0) });
    settle();
    const Snapshot s = shot();
    // A 10-pixel bar along the grid's right edge: a white track and a grey
    // thumb as long as the visible share, 310 * 294 / 420 = 217 pixels.
    const Rect thumb(layout.grid.right - 10, layout.grid.top, layout.grid.right, layout.grid.top + 217);
    const Rect track(layout.grid.right - 10, layout.grid.top + 217, layout.grid.right, layout.grid.bottom);
    EXPECT_EQ(mismatches(s, thumb, 0xAD55), 0);
    EXPECT_EQ(mismatches(s, track, kWhite), 0);
    EXPECT_EQ(s.countColour(leftOf(thumb), 0xAD55), 0);
}

TEST_F(QuickTestScreenTest, WithoutConfigTheListIsEmptyAndNoRowIsDrawn)
{
    ProbeWnd* window = openWindow();
    EXPECT_EQ(window->items.size(), 0);
    EXPECT_EQ(window->getItemCount(), 0);
    // The grid still lays out a page of empty cells, and asks for each of
    // them with an index outside the list.
    ASSERT_FALSE(window->drawCalls.empty());
    for (const ProbeWnd::DrawCall& call : window->drawCalls) {
        EXPECT_TRUE(call.index < 0 || call.index >= window->getItemCount()) << call.index;
        EXPECT_TRUE(call.state & GRID_STATE_EMPTY) << call.index;
    }
    const Snapshot s = shot();
    EXPECT_EQ(mismatches(s, layout.grid, kWhite), 0);

    // The first step finds nothing to run.
    step();
    EXPECT_EQ(window->runTimer, 0);
    EXPECT_EQ(window->nextIndex(), 0);
    EXPECT_FALSE(window->running());
    EXPECT_EQ(mismatches(shot(), layout.grid, kWhite), 0);
}

TEST_F(QuickTestScreenTest, DrawItemPaintsNothingOutsideTheList)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    MemDC dc;
    ASSERT_EQ(dc.create(Rect(0, 0, 100, 50), nullptr), 0);
    dc.fillRect(Rect(0, 0, 100, 50), 0x1234);
    for (int index : { -1, 5, 6, 1000 }) {
        window->drawItem(dc, Rect(0, 0, 100, 42), index, 0);
        window->drawItem(dc, Rect(0, 0, 100, 42), index, GRID_STATE_SELECTED);
    }
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 100; ++x)
            ASSERT_EQ(dc.getPixel(x, y), 0x1234) << x << "," << y;
    window->drawItem(dc, Rect(0, 0, 100, 42), 4, 0);
    EXPECT_EQ(dc.getPixel(0, 0), kWhite);
    EXPECT_EQ(dc.getPixel(50, 3), kWhite) << "row 4 is even";
    window->drawItem(dc, Rect(0, 0, 100, 42), 3, 0);
    EXPECT_EQ(dc.getPixel(50, 3), kOddRow);
    window->drawItem(dc, Rect(0, 0, 100, 42), 3, GRID_STATE_SELECTED);
    EXPECT_EQ(dc.getPixel(50, 3), kSelectedRow);
    EXPECT_EQ(dc.getPixel(0, 20), kWhite);
    EXPECT_EQ(dc.getPixel(50, 45), 0x1234) << "nothing below the rectangle";
}

TEST_F(QuickTestScreenTest, BackgroundsAreWhiteForTheGridGreyForTheLogAndBlueGreyElsewhere)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    MemDC dc;
    ASSERT_EQ(dc.create(Rect(0, 0, 30, 10), nullptr), 0);
    // Each child asks its parent for what lies under it, as the toolkit does
    // before painting a transparent child.
    const Rect r(0, 0, 10, 10);
    window->grid->redrawBackground(dc, &r, window->grid);
    EXPECT_EQ(dc.getPixel(5, 5), kWhite);
    const Rect r2(10, 0, 20, 10);
    window->logEdit->redrawBackground(dc, &r2, window->logEdit);
    EXPECT_EQ(dc.getPixel(15, 5), kLogBack);
    const Rect r3(20, 0, 30, 10);
    window->currentLabel->redrawBackground(dc, &r3, window->currentLabel);
    EXPECT_EQ(dc.getPixel(25, 5), kWindowBack);
    // Anything that is neither the grid nor the log, the window itself and
    // no window included, gets the window's own colour.
    window->grid->redrawBackground(dc, &r, window);
    EXPECT_EQ(dc.getPixel(5, 5), kWindowBack);
    window->grid->redrawBackground(dc, &r2, nullptr);
    EXPECT_EQ(dc.getPixel(15, 5), kWindowBack);
}

TEST_F(QuickTestScreenTest, DestroyingTheWindowDeletesEveryTest)
{
    ProbeWnd* window = openWindow();
    int deletions = 0;
    window->useItems({ new ScriptedItem("a", 0, false, &deletions),
        new ScriptedItem("b", 1, false, &deletions), new ScriptedItem("c", 2, false, &deletions) });
    window->destroy();
    settle();
    EXPECT_EQ(deletions, 3);
    EXPECT_EQ(app->getWndById(101), nullptr);
}

TEST_F(QuickTestScreenTest, ActivationRefreshesTheCurrentLine)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    step(); // row 0 passes
    const std::string passed = std::string("test1: ") + kPassText.utf8;
    EXPECT_EQ(std::string(window->currentLabel->getText()), passed);
    window->currentLabel->setText("stale");
    window->currentLabel->setTextColor(kWhite);

    auto* cover = new MainWndBase;
    ASSERT_EQ(cover->create(Rect(700, 440, 800, 480), WS_VISIBLE, 0), 0);
    settle();
    EXPECT_EQ(std::string(window->currentLabel->getText()), "stale") << "not while covered";
    cover->destroy();
    settle();
    EXPECT_EQ(std::string(window->currentLabel->getText()), passed);
    EXPECT_GT(shot().countColour(layout.current, kPassGreen), 0);
}

TEST_F(QuickTestScreenTest, TheListGlidesOnlyWhileTheWindowIsOnTop)
{
    openWindow();
    ProbeWnd* window = static_cast<ProbeWnd*>(app->getWndById(101));
    window->useItems({ new ScriptedItem("a", 0), new ScriptedItem("b", 0), new ScriptedItem("c", 0),
        new ScriptedItem("d", 0), new ScriptedItem("e", 0), new ScriptedItem("f", 0),
        new ScriptedItem("g", 0), new ScriptedItem("h", 0), new ScriptedItem("i", 0),
        new ScriptedItem("j", 0) });
    // Keep the automatic run out of the way: its steps select rows, which
    // moves the list.
    window->killTimer(window->runTimer);
    window->runTimer = 0;
    settle();
    auto* cover = new MainWndBase;
    ASSERT_EQ(cover->create(Rect(700, 440, 800, 480), WS_VISIBLE, 0), 0);
    settle();

    // A slow 20-pixel drag up, let go with speed: the list should glide on
    // by 20 * 1000 / 200 = 100 pixels, but not while another window is on top.
    Mouse* mouse = pointerSource();
    mouse->addPoint(MousePoint { 100, 300, 0, 500 }, true);
    settle();
    nowMs += 100;
    mouse->addPoint(MousePoint { 100, 290, 0, 500 }, true);
    settle();
    nowMs += 100;
    mouse->addPoint(MousePoint { 100, 280, 0, 500 }, true);
    settle();
    mouse->addPoint(MousePoint { 100, 280, 0, 0 }, false);
    settle();
    advance(400, 20);
    int first = 0;
    int last = 0;
    window->grid->getVisibleRange(first, last);
    EXPECT_EQ(first, 0) << "20 pixels of a 42-pixel row";

    cover->destroy();
    settle();
    advance(400, 20);
    window->grid->getVisibleRange(first, last);
    EXPECT_EQ(first, 120 / 42) << "glided on to 120";
}

// Start-up settings.

TEST_F(QuickTestScreenTest, WithoutConfigRunAllStaysOn)
{
    ProbeWnd* window = openWindow();
    EXPECT_TRUE(window->runAll());
}

TEST_F(QuickTestScreenTest, ConfigWithoutTheRunAllKeyTurnsRunAllOff)
{
    writeConfig("[function]\n[autorun]\n");
    EXPECT_FALSE(openWindow()->runAll());
}

TEST_F(QuickTestScreenTest, ConfigWithoutTheAutorunSectionTurnsRunAllOff)
{
    writeConfig("[function]\ntest_lcd=0\n");
    EXPECT_FALSE(openWindow()->runAll());
}

TEST_F(QuickTestScreenTest, RunAllOfZeroOrLessIsOff)
{
    writeConfig("[autorun]\nrunall=0\n");
    EXPECT_FALSE(openWindow()->runAll());
}

TEST_F(QuickTestScreenTest, NegativeRunAllIsOff)
{
    writeConfig("[autorun]\nrunall=-3\n");
    EXPECT_FALSE(openWindow()->runAll());
}

TEST_F(QuickTestScreenTest, RunAllThatIsNoNumberIsOff)
{
    writeConfig("[autorun]\nrunall=yes\n");
    EXPECT_FALSE(openWindow()->runAll());
}

TEST_F(QuickTestScreenTest, RunAllAboveZeroIsOn)
{
    writeConfig("[autorun]\nrunall=2\n");
    EXPECT_TRUE(openWindow()->runAll());
}

// A screen too low for one 40-pixel row in the list's area.
class LowScreenTest : public QuickTestFixture {
protected:
    LowScreenTest() { screenHeight = 200; }
};

TEST_F(LowScreenTest, AGridAreaUnder40PixelsGetsOneRowFromZero)
{
    writeDemoConfig(true);
    // The list's area is 200 - 100 - 70 = 30 pixels high: 0 rows a page,
    // which the grid raises to one row filling its 14-pixel work region.
    EXPECT_EQ(QuickTestWnd::gridRowsFor(layout.grid), 0);
    ProbeWnd* window = openWindow();
    int rows = 0;
    int cols = 0;
    window->grid->getRowCol(rows, cols);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(cols, 1);
    Rect r;
    window->grid->getItemRect(0, r);
    EXPECT_EQ(r.height(), 14);
    step();
    EXPECT_EQ(window->items[0]->getResult(), 0) << "the run goes on regardless";
    EXPECT_EQ(shot().at(200, 85), kSelectedRow);
}

TEST_F(QuickTestScreenTest, RowsCoveringTheirCellsLeaveTheFullRepaintUnchanged)
{
    openWindow();
    ProbeWnd* window = static_cast<ProbeWnd*>(app->getWndById(101));
    // Passed, failed and untested rows, the selection and a scroll bar.
    window->useItems({ new ScriptedItem("a", 0), new ScriptedItem("b", 1), new ScriptedItem("c", 0),
        new ScriptedItem("d", 0), new ScriptedItem("e", 0), new ScriptedItem("f", 0),
        new ScriptedItem("g", 0), new ScriptedItem("h", 0), new ScriptedItem("i", 0),
        new ScriptedItem("j", 0) });
    settle();
    step();
    step();
    settle();
    window->invalidateRect(nullptr);
    settle();
    const Snapshot covered = shot();
    ASSERT_TRUE(covered.valid());
    EXPECT_GT(covered.countColour(layout.grid, kOddRow), 0);
    EXPECT_GT(covered.countColour(layout.grid, kWhite), 0);

    window->coverRows = false;
    window->invalidateRect(nullptr);
    settle();
    const Snapshot painted = shot();
    ASSERT_TRUE(painted.valid());
    int differing = 0;
    for (int y = 0; y < 480; ++y) {
        for (int x = 0; x < 800; ++x)
            differing += covered.at(x, y) != painted.at(x, y);
    }
    EXPECT_EQ(differing, 0);
}

TEST_F(QuickTestScreenTest, TheListPaintsTheSameWithOrWithoutABufferOfItsOwn)
{
    openWindow();
    ProbeWnd* window = static_cast<ProbeWnd*>(app->getWndById(101));
    // Passed, failed and untested rows, the selection and a scroll bar.
    window->useItems({ new ScriptedItem("a", 0), new ScriptedItem("b", 1), new ScriptedItem("c", 0),
        new ScriptedItem("d", 0), new ScriptedItem("e", 0), new ScriptedItem("f", 0),
        new ScriptedItem("g", 0), new ScriptedItem("h", 0), new ScriptedItem("i", 0),
        new ScriptedItem("j", 0), new ScriptedItem("k", 0), new ScriptedItem("l", 0),
        new ScriptedItem("m", 0), new ScriptedItem("n", 0) });
    settle();
    step();
    step();
    settle();
    // A full repaint and a repaint of a band across the list and the log,
    // each through the list's own buffer and on the screen's frame.
    const Rect band(0, layout.grid.top + 50, 800, layout.grid.top + 130);
    std::vector<Snapshot> shots[2];
    for (int own = 1; own >= 0; --own) {
        PelSmoothGrid::setOwnBufferAlways(own == 1);
        window->invalidateRect(nullptr);
        settle();
        shots[own].push_back(shot());
        window->invalidateRect(&band);
        settle();
        shots[own].push_back(shot());
    }
    PelSmoothGrid::setOwnBufferAlways(false);
    ASSERT_EQ(shots[0].size(), 2u);
    for (size_t i = 0; i < shots[0].size(); ++i) {
        const Snapshot& buffered = shots[1][i];
        const Snapshot& direct = shots[0][i];
        ASSERT_TRUE(buffered.valid());
        ASSERT_TRUE(direct.valid());
        EXPECT_GT(direct.countColour(layout.grid, kOddRow), 0);
        EXPECT_GT(direct.countColour(layout.grid, kSelectedRow), 0);
        int differing = 0;
        for (int y = 0; y < 480; ++y) {
            for (int x = 0; x < 800; ++x)
                differing += buffered.at(x, y) != direct.at(x, y);
        }
        EXPECT_EQ(differing, 0) << "repaint " << i;
    }
}
