// The update window's creation: the window itself, the layout of its
// controls on an 800x480 screen, and the logo from "config.ini".

#include "test_bmp.h"
#include "update_support.h"

#include <sys/stat.h>

using namespace updatetest;

namespace {

Font* fontNamed(const char* name)
{
    LogFont lf(name, -1);
    return Font::getFont(&lf);
}

}

TEST_F(UpdateWndTest, CreatesTheFullScreenMainWindow101WithStyle71)
{
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(m_createResult, 0);
    EXPECT_EQ(app->getWndById(101), w);
    EXPECT_EQ(w->getId(), 101);
    EXPECT_EQ(w->style() & 71u, 71u);
    EXPECT_EQ(w->screenRect(), Rect(0, 0, 800, 480));
    EXPECT_EQ(m_createOutput, "UpdateWnd::create()\n");
}

TEST_F(UpdateWndTest, TitleLabelFillsTheHeaderRightOfTheLogo)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_titleLabel, nullptr);
    EXPECT_EQ(screenRectOf(w->m_titleLabel), kTitleRect);
    EXPECT_EQ(w->m_titleLabel->style(), 70u);
    EXPECT_EQ(w->m_titleLabel->alignFlag(), 18u);
    EXPECT_EQ(w->m_titleLabel->backColor(), kHeader);
    EXPECT_EQ(w->m_titleLabel->getFont(), fontNamed("large"));
    EXPECT_STREQ(w->m_titleLabel->getText(), "");
    EXPECT_EQ(w->m_headerRect, kHeaderRect);
}

TEST_F(UpdateWndTest, On480LinesWithAn80PixelHeaderTheGridHoldsSevenRows)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_grid, nullptr);
    // (480 - 80 - 90) / 40 = 7
    EXPECT_EQ(screenRectOf(w->m_grid), kGridRect);
    int rows = 0;
    int cols = 0;
    w->m_grid->getRowCol(rows, cols);
    EXPECT_EQ(rows, 7);
    EXPECT_EQ(cols, 1);
    EXPECT_EQ(w->m_grid->style(), 0x0A080046u);
    EXPECT_EQ(w->m_grid->getScrollBarWidth(), 8);
    EXPECT_EQ(w->m_grid->getFont(), fontNamed("small"));
    EXPECT_TRUE(w->m_grid->isVisible());
}

TEST_F(UpdateWndTest, GridCellsLieInTheWorkRegionShrunkByTenAndEight)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 3; ++i)
        post(w, 1, "step");
    settle();
    // Rows are 294 / 7 = 42 high inside (10, 8) - (790, 302) of the grid.
    Rect r;
    w->m_grid->getItemRect(0, r);
    EXPECT_EQ(r, Rect(10, 8, 790, 50));
    w->m_grid->getItemRect(2, r);
    EXPECT_EQ(r, Rect(10, 92, 790, 134));
}

TEST_F(UpdateWndTest, TheWindowSuppliesTheGridItsItemsWithoutHandingItOver)
{
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->getItemCount(), 0);
    postAndSettle(w, 1, "one");
    EXPECT_EQ(w->getItemCount(), 1);
    // Not owned: destroying the window (and with it the grid) deletes the
    // window once, through the toolkit; a grid that owned its supplier
    // would delete it a second time, which the sanitizers would report.
    w->destroy();
    settle();
    EXPECT_EQ(app->getWndById(101), nullptr);
}

TEST_F(UpdateWndTest, ProgressBarSitsTwentyPixelsBelowTheGridWithRangeAndStep)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_progress, nullptr);
    EXPECT_EQ(screenRectOf(w->m_progress), kProgressRect);
    EXPECT_EQ(w->m_progress->style(), 70u);
    int min = -1;
    int max = -1;
    w->m_progress->getRange(min, max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
    EXPECT_EQ(w->m_progress->getStep(), 10);
    EXPECT_EQ(w->m_progress->getPos(), 0);
}

TEST_F(UpdateWndTest, PercentageLabelFollowsTheBarToTheRightEdge)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_percentLabel, nullptr);
    EXPECT_EQ(screenRectOf(w->m_percentLabel), kPercentRect);
    EXPECT_EQ(w->m_percentLabel->style(), 70u);
    EXPECT_EQ(w->m_percentLabel->alignFlag(), 18u);
    EXPECT_EQ(w->m_percentLabel->backColor(), kPanel);
    EXPECT_EQ(w->m_percentLabel->getFont(), fontNamed("small"));
    EXPECT_STREQ(w->m_percentLabel->getText(), "");
}

TEST_F(UpdateWndTest, StatusLabelLiesUnderTheBarWithTheDefaultFont)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_statusLabel, nullptr);
    EXPECT_EQ(screenRectOf(w->m_statusLabel), kStatusRect);
    EXPECT_EQ(w->m_statusLabel->style(), 70u);
    EXPECT_EQ(w->m_statusLabel->alignFlag(), 18u);
    EXPECT_EQ(w->m_statusLabel->backColor(), kPanel);
    EXPECT_EQ(w->m_statusLabel->getFont(), Font::defaultFont());
    EXPECT_STREQ(w->m_statusLabel->getText(), "");
}

TEST_F(UpdateWndTest, TheStartUpTimerRunsButItsTicksDoNothing)
{
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_NE(w->m_startTimer, 0);
    EXPECT_EQ(w->m_finishTimer, 0);
    const Shot before = shot();
    advance(5000, 100);
    EXPECT_FALSE(app->isExiting());
    EXPECT_TRUE(shellCommands().empty());
    EXPECT_FALSE(w->m_finished);
    EXPECT_TRUE(shot() == before);
}

TEST_F(UpdateWndTest, WithoutConfigThereIsNoLogoAndTheDefaultLogoRectangle)
{
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 80));
    EXPECT_EQ(screenRectOf(w->m_titleLabel).left, 120);
}

TEST_F(UpdateWndTest, AnEmptyLogPathLeavesNoLogo)
{
    writeConfig("[Log]\nlog_path =\n");
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 80));
}

TEST_F(UpdateWndTest, AConfigWithoutTheLogSectionLeavesNoLogo)
{
    writeConfig("[function]\nkey = 1\n");
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 80));
}

TEST_F(UpdateWndTest, AMissingImageLeavesNoLogo)
{
    writeConfig("[Log]\nlog_path = " + tmp.file("no-such-logo.bmp") + "\n");
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 80));
    EXPECT_EQ(screenRectOf(w->m_titleLabel), kTitleRect);
}

TEST_F(UpdateWndTest, ALogoPathLongerThanTheBufferIsCutAndNotLoaded)
{
    // The value is read into 128 bytes: a longer path loses its end, and the
    // picture at the full path is not found.
    const std::string dir = tmp.file(std::string(140, 'd'));
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    ASSERT_TRUE(writeBmp(dir + "/logo.bmp", 20, 20, 0, 255, 0));
    writeConfig("[Log]\nlog_path = " + dir + "/logo.bmp\n");
    ProbeUpdateWnd* w = makeWindow();
    EXPECT_EQ(w->m_logo, nullptr);
}

TEST_F(UpdateWndTest, ALogo300PixelsWideMovesTheTitleTo330)
{
    ASSERT_TRUE(writeBmp(tmp.file("logo.bmp"), 300, 50, 0, 255, 0));
    writeConfig("[Log]\nlog_path = " + tmp.file("logo.bmp") + "\n");
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logo->width(), 300);
    // 0 + 300 + 10 for the logo, 20 more for the title.
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 310, 80));
    EXPECT_EQ(screenRectOf(w->m_titleLabel), Rect(330, 0, 800, 80));
    EXPECT_EQ(w->m_headerRect, kHeaderRect);

    const Shot s = shot();
    // The title's band starts at 330 ...
    postAndSettle(w, 2, "Title");
    const Shot titled = shot();
    const Rect ink = titled.inkBounds(Rect(310, 0, 800, 80), kHeader);
    ASSERT_FALSE(ink.isEmpty());
    EXPECT_GE(ink.left, 330);
    // ... and the logo is centred in (0, 0, 310, 80): x 5 to 305, y 15 to 65.
    EXPECT_TRUE(s.all(Rect(5, 15, 305, 65), 0x07E0));
    EXPECT_EQ(s.at(4, 40), kHeader);
    EXPECT_EQ(s.at(305, 40), kHeader);
    EXPECT_EQ(s.at(150, 14), kHeader);
    EXPECT_EQ(s.at(150, 65), kHeader);
    EXPECT_TRUE(s.all(Rect(310, 0, 800, 80), kHeader));
}

TEST_F(UpdateWndTest, ASmallLogoIsCentredInTheDefaultRectangle)
{
    ASSERT_TRUE(writeBmp(tmp.file("logo.bmp"), 40, 20, 255, 0, 0));
    writeConfig("[Log]\nlog_path=" + tmp.file("logo.bmp") + "\n");
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 80));
    const Shot s = shot();
    EXPECT_TRUE(s.all(Rect(30, 30, 70, 50), kRed));
    EXPECT_EQ(s.count(Rect(0, 0, 100, 80), kRed), 40 * 20);
}

TEST_F(UpdateWndTest, ATallLogoDeepensTheHeaderAndLeavesRoomForFewerRows)
{
    ASSERT_TRUE(writeBmp(tmp.file("logo.bmp"), 60, 120, 0, 0, 255));
    writeConfig("[Log]\nlog_path = " + tmp.file("logo.bmp") + "\n");
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_logo, nullptr);
    EXPECT_EQ(w->m_logoRect, Rect(0, 0, 100, 120));
    EXPECT_EQ(screenRectOf(w->m_titleLabel), Rect(120, 0, 800, 120));
    EXPECT_EQ(w->m_headerRect, Rect(0, 0, 800, 120));
    EXPECT_EQ(screenRectOf(w->m_grid), Rect(0, 120, 800, 390));
    int rows = 0;
    int cols = 0;
    w->m_grid->getRowCol(rows, cols);
    EXPECT_EQ(rows, 6); // 270 / 40
    const Shot s = shot();
    EXPECT_TRUE(s.all(Rect(100, 0, 120, 120), kHeader));
    EXPECT_TRUE(s.all(Rect(20, 0, 80, 120), 0x001F));
}
