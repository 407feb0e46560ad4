// What the update window refuses to do: keep every step of a script that
// floods it, and build a screen on a window that could not be made.

#include "update_support.h"

#include <malloc.h>

using namespace updatetest;

namespace {

// Bytes the C heap has handed out (0 where the allocator keeps its own
// books, as under the address sanitizer).
size_t heapInUse()
{
    return mallinfo2().uordblks;
}

std::string stepText(int i)
{
    // About 1 KiB a step, as a verbose script might send.
    return "step " + std::to_string(i) + " " + std::string(1000, 'x');
}

}

TEST_F(UpdateWndTest, AFloodOf100000StepsKeepsTheNewestRowsWithinTheBound)
{
    ProbeUpdateWnd* w = makeWindow();
    const size_t heapBefore = heapInUse();
    constexpr int kSteps = 100000;
    for (int i = 0; i < kSteps; ++i) {
        if (i == kSteps - 1000)
            w->drawnRows.clear(); // what the last paints drew
        post(w, PEL_NOTIFY_STEP, stepText(i).c_str());
        if (i % 1000 == 999)
            settle();
    }
    settle();

    EXPECT_EQ(w->getItemCount(), UpdateWnd::kMaxSteps);
    EXPECT_EQ(w->m_steps.size(), UpdateWnd::kMaxSteps);
    ASSERT_NE(w->stepAt(0), nullptr);
    EXPECT_EQ(std::string(w->stepAt(0)), stepText(kSteps - UpdateWnd::kMaxSteps)) << "the oldest kept";
    ASSERT_NE(w->stepAt(UpdateWnd::kMaxSteps - 1), nullptr);
    EXPECT_EQ(std::string(w->stepAt(UpdateWnd::kMaxSteps - 1)), stepText(kSteps - 1)) << "the newest";
    EXPECT_EQ(w->stepAt(UpdateWnd::kMaxSteps), nullptr);

    // The text held stays within the bound's share.
    size_t held = 0;
    for (int i = 0; i < w->m_steps.size(); ++i)
        held += w->m_steps[i] ? std::strlen(w->m_steps[i]) + 1 : 0;
    EXPECT_LE(held, static_cast<size_t>(UpdateWnd::kMaxSteps) * 1024);
    // And so does the heap: 100,000 steps kept would take over 100 MiB.
    const size_t heapAfter = heapInUse();
    if (heapBefore != 0 && heapAfter > heapBefore) {
        EXPECT_LT(heapAfter - heapBefore, size_t(16) << 20);
    }

    // The newest step is the selected row, drawn on the screen.
    EXPECT_EQ(w->m_grid->getSelected(), UpdateWnd::kMaxSteps - 1);
    bool newestDrawnSelected = false;
    for (const auto& row : w->drawnRows) {
        if (row.index == UpdateWnd::kMaxSteps - 1 && (row.state & GRID_STATE_SELECTED))
            newestDrawnSelected = true;
    }
    EXPECT_TRUE(newestDrawnSelected);
    EXPECT_GT(shot().count(cellRect(6), kSelectedRow), 0) << "the last row of the list is the selected one";
}

TEST_F(UpdateWndTest, StepsPastTheBoundMoveTheShownRowsUp)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < UpdateWnd::kMaxSteps + 3; ++i)
        post(w, PEL_NOTIFY_STEP, std::to_string(i).c_str());
    settle();
    ASSERT_EQ(w->getItemCount(), UpdateWnd::kMaxSteps);
    for (int row = 0; row < UpdateWnd::kMaxSteps; ++row)
        ASSERT_EQ(std::string(w->stepAt(row)), std::to_string(row + 3)) << row;
}

TEST_F(UpdateWndTest, ASecondCreateFailsAtOnceAndBuildsNothing)
{
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_EQ(m_createResult, 0);
    Label* title = w->m_titleLabel;
    Label* status = w->m_statusLabel;
    PelSmoothGrid* grid = w->m_grid;
    PelProgressWnd* progress = w->m_progress;
    const int startTimer = w->m_startTimer;
    testing::internal::CaptureStdout();
    // The window exists already: making it again fails in the toolkit.
    EXPECT_NE(w->create(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(w->m_titleLabel, title);
    EXPECT_EQ(w->m_statusLabel, status);
    EXPECT_EQ(w->m_grid, grid);
    EXPECT_EQ(w->m_progress, progress);
    EXPECT_EQ(w->m_startTimer, startTimer);
}
