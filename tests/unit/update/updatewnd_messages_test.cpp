// What the update window does with the notifications 1 to 5, and the finish.

#include "test_bmp.h"
#include "update_support.h"

using namespace updatetest;

TEST_F(UpdateWndTest, AStepIsConvertedFromGbkAndAppended)
{
    ProbeUpdateWnd* w = makeWindow();
    const std::string text = gbk("检查升级包");
    ASSERT_EQ(text.size(), 10u);
    postAndSettle(w, 1, text.c_str());
    ASSERT_EQ(w->m_steps.size(), 1);
    ASSERT_NE(w->m_steps[0], nullptr);
    EXPECT_STREQ(w->m_steps[0], "检查升级包");
    postAndSettle(w, 1, "Copying files");
    ASSERT_EQ(w->m_steps.size(), 2);
    EXPECT_STREQ(w->m_steps[1], "Copying files");
}

TEST_F(UpdateWndTest, EachNewStepIsSelectedAndSlidIntoView)
{
    ProbeUpdateWnd* w = makeWindow();
    for (int i = 0; i < 12; ++i) {
        postAndSettle(w, 1, ("step " + std::to_string(i)).c_str());
        EXPECT_EQ(w->m_grid->getSelected(), i);
        int first = -1;
        int last = -1;
        w->m_grid->getVisibleRange(first, last);
        EXPECT_LE(first, i);
        EXPECT_GE(last, i);
    }
    // Twelve rows of 42 against a page of 294: the last seven are shown.
    int first = -1;
    int last = -1;
    w->m_grid->getVisibleRange(first, last);
    EXPECT_EQ(first, 5);
}

TEST_F(UpdateWndTest, AStepWithoutPayloadIsIgnored)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 1, nullptr);
    EXPECT_EQ(w->m_steps.size(), 0);
    EXPECT_EQ(w->getItemCount(), 0);
}

TEST_F(UpdateWndTest, AStepWhoseConversionFailsIsStillAppendedAndDrawnEmpty)
{
    ProbeUpdateWnd* w = makeWindow();
    // An empty text converts to nothing: the conversion returns null.
    postAndSettle(w, 1, "");
    ASSERT_EQ(w->m_steps.size(), 1);
    EXPECT_EQ(w->m_steps[0], nullptr);
    EXPECT_EQ(w->m_grid->getSelected(), 0);
    // The selected row shows its colour and no text at all.
    const Shot s = shot();
    Rect inner = cellRect(0);
    inner.shrink(1, 1);
    EXPECT_TRUE(s.all(inner, kSelectedRow));
    postAndSettle(w, 1, "next");
    EXPECT_EQ(w->getItemCount(), 2);
}

TEST_F(UpdateWndTest, ATitleIsConvertedAndShown)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 2, gbk("系统升级").c_str());
    EXPECT_STREQ(w->m_titleLabel->getText(), "系统升级");
    const Shot s = shot();
    // White text on the header band, from the title's left edge on.
    EXPECT_GT(s.count(kTitleRect, kWhite), 0);
    const Rect ink = s.inkBounds(kHeaderRect, kHeader);
    EXPECT_GE(ink.left, kTitleRect.left);
}

TEST_F(UpdateWndTest, ATitleWithoutPayloadIsIgnored)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 2, "Before");
    postAndSettle(w, 2, nullptr);
    EXPECT_STREQ(w->m_titleLabel->getText(), "Before");
}

TEST_F(UpdateWndTest, ProgressSetsTheBarAndThePercentage)
{
    ProbeUpdateWnd* w = makeWindow();
    progress(w, 75);
    EXPECT_EQ(w->m_progress->getPos(), 75);
    EXPECT_STREQ(w->m_percentLabel->getText(), "75 %");
    EXPECT_GT(shot().count(kPercentRect, kRed), 0);
}

TEST_F(UpdateWndTest, Progress150SetsTheBarTo150AndShows150Percent)
{
    ProbeUpdateWnd* w = makeWindow();
    progress(w, 150);
    EXPECT_EQ(w->m_progress->getPos(), 150);
    EXPECT_STREQ(w->m_percentLabel->getText(), "150 %");
}

TEST_F(UpdateWndTest, ProgressMinus5ShowsMinus5Percent)
{
    ProbeUpdateWnd* w = makeWindow();
    progress(w, -5);
    EXPECT_EQ(w->m_progress->getPos(), -5);
    EXPECT_STREQ(w->m_percentLabel->getText(), "-5 %");
}

TEST_F(UpdateWndTest, EveryProgressValueIsAdmittedUpToTheLimitsOfInt)
{
    ProbeUpdateWnd* w = makeWindow();
    progress(w, INT32_MIN);
    EXPECT_STREQ(w->m_percentLabel->getText(), "-2147483648 %");
    EXPECT_EQ(w->m_progress->getPos(), INT32_MIN);
    progress(w, INT32_MAX);
    EXPECT_STREQ(w->m_percentLabel->getText(), "2147483647 %");
    progress(w, 0);
    EXPECT_STREQ(w->m_percentLabel->getText(), "0 %");
}

TEST_F(UpdateWndTest, AStatusIsConvertedAndShown)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 5, "Copying files");
    EXPECT_STREQ(w->m_statusLabel->getText(), "Copying files");
    postAndSettle(w, 5, gbk("正在写入内核").c_str());
    EXPECT_STREQ(w->m_statusLabel->getText(), "正在写入内核");
    EXPECT_GT(shot().count(kStatusRect, kRed), 0);
}

TEST_F(UpdateWndTest, AStatusWithoutPayloadIsIgnored)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 5, "kept");
    postAndSettle(w, 5, nullptr);
    EXPECT_STREQ(w->m_statusLabel->getText(), "kept");
}

TEST_F(UpdateWndTest, UnknownTypesChangeNothingAndTheirStringsAreReleased)
{
    // The strings of type 0 (a datagram "@x") and of types the window does
    // not know are freed too; the leak checker of the asan build holds the
    // test to that.
    ProbeUpdateWnd* w = makeWindow();
    const Shot before = shot();
    postAndSettle(w, 0, "x");
    postAndSettle(w, 6, "six");
    postAndSettle(w, 3000, "big");
    postAndSettle(w, -1, "negative");
    EXPECT_EQ(w->getItemCount(), 0);
    EXPECT_STREQ(w->m_titleLabel->getText(), "");
    EXPECT_STREQ(w->m_statusLabel->getText(), "");
    EXPECT_FALSE(w->m_finished);
    EXPECT_TRUE(shot() == before);
}

TEST_F(UpdateWndTest, OtherMessagesGoOnToTheToolkitsHandling)
{
    ProbeUpdateWnd* w = makeWindow();
    LUMIMessage command(w, MSG_COMMAND, 1234);
    app->addMsg(command);
    settle();
    ASSERT_EQ(w->commands.size(), 1u);
    EXPECT_EQ(w->commands[0], 1234);
}

TEST_F(UpdateWndTest, DoneExitsOneSecondLaterRemovingTheSocketFile)
{
    ProbeUpdateWnd* w = makeWindow();
    testing::internal::CaptureStdout();
    postAndSettle(w, 4, "");
    EXPECT_TRUE(w->m_finished);
    EXPECT_NE(w->m_finishTimer, 0);
    advance(999, 1);
    EXPECT_FALSE(app->isExiting());
    EXPECT_TRUE(shellCommands().empty());
    advance(1, 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(app->isExiting());
    EXPECT_EQ(w->m_finishTimer, 0);
    EXPECT_NE(out.find("[--I]exit app \n"), std::string::npos);
    ASSERT_EQ(shellCommands().size(), 1u);
    EXPECT_EQ(shellCommands()[0], "rm " + tmp.file("autorun_msg.dat"));
}

TEST_F(UpdateWndTest, TheFinishRemovesTheDevicesSocketPathByDefault)
{
    PelNotifier::setPath(nullptr);
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 4, nullptr);
    advance(1000, 10);
    ASSERT_TRUE(app->isExiting());
    // Recorded, not run: the runner of the test never deletes anything.
    ASSERT_EQ(shellCommands().size(), 1u);
    EXPECT_EQ(shellCommands()[0], "rm /tmp/autorun_msg.dat");
}

TEST_F(UpdateWndTest, TwoDonesLessThanASecondApartExitOneSecondAfterTheSecond)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 4, "");
    advance(600, 1);
    postAndSettle(w, 4, "");
    // The first finish would have come 1000 ms after the first "done".
    advance(999, 1);
    EXPECT_FALSE(app->isExiting());
    EXPECT_TRUE(shellCommands().empty());
    advance(1, 1);
    EXPECT_TRUE(app->isExiting());
    EXPECT_EQ(shellCommands().size(), 1u);
    // The killed timer leaves no second finish behind.
    advance(3000, 10);
    EXPECT_EQ(shellCommands().size(), 1u);
}

TEST_F(UpdateWndTest, OnlyTheFinishTimerEndsTheProgram)
{
    ProbeUpdateWnd* w = makeWindow();
    // Half a second in, "done": the start-up timer ticks at one second, the
    // finish timer at one and a half.
    advance(500, 1);
    postAndSettle(w, PEL_NOTIFY_DONE, "");
    ASSERT_NE(w->m_startTimer, 0);
    advance(999, 1);
    // The start-up timer's tick, although finished, did nothing.
    EXPECT_FALSE(app->isExiting());
    EXPECT_TRUE(shellCommands().empty());
    advance(1, 1);
    EXPECT_TRUE(app->isExiting());
}

TEST_F(UpdateWndTest, AFinishTimerTickWithoutTheFinishedFlagDoesNothing)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, PEL_NOTIFY_DONE, "");
    ASSERT_NE(w->m_finishTimer, 0);
    w->m_finished = false;
    advance(3000, 10);
    EXPECT_FALSE(app->isExiting());
    EXPECT_TRUE(shellCommands().empty());
}

TEST_F(UpdateWndTest, MessagesAfterDoneAreStillShownUntilTheExit)
{
    ProbeUpdateWnd* w = makeWindow();
    postAndSettle(w, 4, "");
    postAndSettle(w, 5, "late status");
    progress(w, 42);
    EXPECT_STREQ(w->m_statusLabel->getText(), "late status");
    EXPECT_STREQ(w->m_percentLabel->getText(), "42 %");
    advance(1000, 10);
    EXPECT_TRUE(app->isExiting());
}

TEST_F(UpdateWndTest, TheWindowReleasesItsStepsAndLogoWhenDestroyed)
{
    // What the leak checker sees when the window goes: every step text
    // (a null one among them) and the logo.
    ASSERT_TRUE(writeBmp(tmp.file("logo.bmp"), 64, 64, 255, 255, 0));
    writeConfig("[Log]\nlog_path = " + tmp.file("logo.bmp") + "\n");
    ProbeUpdateWnd* w = makeWindow();
    ASSERT_NE(w->m_logo, nullptr);
    for (int i = 0; i < 50; ++i)
        post(w, 1, i % 10 == 0 ? "" : "a step");
    settle();
    EXPECT_EQ(w->getItemCount(), 50);
    w->destroy();
    settle();
    EXPECT_EQ(app->getWndById(101), nullptr);
}

TEST_F(UpdateWndTest, UndeliveredNotificationsAreReleasedByTheApplication)
{
    ProbeUpdateWnd* w = makeWindow();
    post(w, 1, "never shown");
    post(w, 5, "never shown");
    w->destroy();
    EXPECT_EQ(app->pendingMessages(), 0);
}
