// The run sequence of the quick-test screen, played as the operator plays it:
// taps on rows, on the buttons and on the question boxes, and the enter key,
// through the test-input socket, with the step timer driven by the test clock.

#include "quicktest_support.h"

#include "shell/pelnotifier.h"
#include "widgets/pelbutton.h"
#include "widgets/pelsmoothgrid.h"

#include <lumi/controls.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace quicktesttest;

namespace {

class QuickTestSequenceTest : public QuickTestFixture {
protected:
    void SetUp() override
    {
        QuickTestFixture::SetUp();
        openOperator();
    }

    // The window with the given tests instead of the catalogue, run-all as
    // given ("config.ini" with the demo catalogue, which is then replaced).
    ProbeWnd* openWith(bool runAll, std::initializer_list<TestItem*> list)
    {
        writeDemoConfig(runAll);
        ProbeWnd* window = openWindow();
        window->useItems(list);
        settle();
        return window;
    }

    std::string currentText(ProbeWnd* window) const { return window->currentLabel->getText(); }
    std::string statusText(ProbeWnd* window) const { return window->statusLabel->getText(); }
};

// A test that answers later, from a window or timer of its own.
class PendingItem : public ScriptedItem {
public:
    PendingItem(const char* name, int outcome, bool autoRun = false)
        : ScriptedItem(name, outcome, autoRun)
    {
    }

    // What the test's own code does when it is done.
    void finish(int result)
    {
        setResult(result);
        ASSERT_EQ(postTestFinished(), 0);
    }
};

// A test with a full-screen window of its own (id 103) that asks the operator.
class OwnScreenItem : public ScriptedItem {
public:
    explicit OwnScreenItem(const char* name)
        : ScriptedItem(name, 2)
    {
    }
    int execute(Log* log) override
    {
        screen = new MainWndBase; // the toolkit deletes it
        screen->create(Rect(0, 0, 800, 480), WS_VISIBLE, QuickTestWnd::kTestWndId);
        screen->setBackColor(0x001F);
        return ScriptedItem::execute(log);
    }
    MainWndBase* screen { nullptr };
};

}

// Starting and stepping.

TEST_F(QuickTestSequenceTest, TheAutomaticRunStarts50msAfterStartUp)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    advance(49);
    EXPECT_FALSE(window->items[0]->getTested());
    EXPECT_EQ(std::string(window->logEdit->getText()), "");
    testing::internal::CaptureStdout();
    advance(1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(window->items[0]->getTested());
    EXPECT_EQ(window->items[0]->getResult(), 0);
    EXPECT_EQ(currentText(window), std::string("test1: ") + kPassText.utf8);
    EXPECT_NE(out.find("auto run 1 \n"), std::string::npos) << out;
    EXPECT_EQ(std::string(window->logEdit->getText()),
        "Test: test1\nTest: waiting test1\nTest: waiting0 ....test1\n");
    EXPECT_EQ(window->nextIndex(), 1);
    EXPECT_NE(window->runTimer, 0) << "the next step is on its way";
}

TEST_F(QuickTestSequenceTest, EachStepRunsTheNextRowAndClearsTheLogFirst)
{
    ProbeWnd* window
        = openWith(true, { new ScriptedItem("a", 0), new ScriptedItem("b", 0), new ScriptedItem("c", 0) });
    step();
    EXPECT_EQ(std::string(window->logEdit->getText()), "a run 1\n");
    EXPECT_EQ(window->grid->getSelected(), 0);
    step();
    EXPECT_EQ(std::string(window->logEdit->getText()), "b run 1\n");
    EXPECT_EQ(window->grid->getSelected(), 1);
    testing::internal::CaptureStdout();
    step();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(window->grid->getSelected(), 2);
    EXPECT_NE(out.find("auto run 3 \n"), std::string::npos) << out;
}

// Run-all and the first failure.

TEST_F(QuickTestSequenceTest, WithRunAllAFailureDoesNotStopTheRunAndShowsNoFailureBox)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    step(); // test1 passes
    step(); // test2 fails
    EXPECT_EQ(window->items[1]->getResult(), 1);
    EXPECT_EQ(currentText(window), std::string("test2: ") + kFailText.utf8);
    EXPECT_EQ(boxCount(), 0) << "no box for a failure in run-all mode";
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
    EXPECT_EQ(statusText(window), converted(kTestFailedText));
    EXPECT_GT(shot().countColour(layout.status, kFailRed), 0) << "the status turns red";
    EXPECT_TRUE(window->failReported());
    EXPECT_NE(window->runTimer, 0);

    step(); // the second "test2" asks
    ASSERT_NE(topBox(), nullptr);
    answer(0);
    step(); // test3 passes
    step(); // test4 fails
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(window->items[i]->getTested()) << i;
    EXPECT_EQ(boxCount(), 0);
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
    EXPECT_EQ(window->runTimer, 0) << "every row has run";
}

TEST_F(QuickTestSequenceTest, WithoutRunAllTheFirstFailureAsksForARetestAndStops)
{
    writeDemoConfig(false);
    ProbeWnd* window = openWindow();
    EXPECT_FALSE(window->runAll());
    step(); // test1 passes
    step(); // test2 fails
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("test2") + kRetestText.utf8);
    EXPECT_EQ(boxText(), "test2" + converted(kRetestText));
    EXPECT_EQ(topBox()->boxStyle(), 0x20001u);
    EXPECT_EQ(topBox()->commandId(0), 112);
    EXPECT_EQ(topBox()->commandId(1), 113);
    EXPECT_EQ(topBox()->bgColor(), kBoxBack);
    EXPECT_EQ(topBox()->frameColor(), kBoxFrame);
    EXPECT_EQ(window->runTimer, 0) << "nothing runs while the question is open";
    EXPECT_EQ(window->nextIndex(), 1) << "a retest would run this same row";
    EXPECT_EQ(statusText(window), "") << "no verdict before the answer";
    advance(500, 10);
    EXPECT_FALSE(window->items[2]->getTested());
}

TEST_F(QuickTestSequenceTest, TheRetestAnswerRunsTheSameRowAgainAfter50ms)
{
    auto* failing = new ScriptedItem("b", 1);
    auto* after = new ScriptedItem("c", 0);
    ProbeWnd* window = openWith(false, { new ScriptedItem("a", 0), failing, after });
    step();
    step();
    ASSERT_EQ(failing->runs, 1);
    ASSERT_NE(topBox(), nullptr);
    answer(0); // retest
    EXPECT_EQ(topBox(), nullptr);
    EXPECT_EQ(window->nextIndex(), 1);
    advance(49);
    EXPECT_EQ(failing->runs, 1);
    advance(1);
    EXPECT_EQ(failing->runs, 2);
    EXPECT_EQ(after->runs, 0);
    EXPECT_EQ(boxText(), std::string("b") + kRetestText.utf8) << "it failed again";

    // Fixed now: the retest passes and the run goes on.
    failing->outcome = 0;
    answer(0);
    step();
    EXPECT_EQ(failing->runs, 3);
    EXPECT_EQ(failing->getResult(), 0);
    step();
    EXPECT_EQ(after->runs, 1);
}

TEST_F(QuickTestSequenceTest, TheNoRetestAnswerReportsTheFailureOnceAndTheRunStaysStopped)
{
    writeDemoConfig(false);
    ProbeWnd* window = openWindow();
    window->powerButton->showWindow(false);
    step();
    step(); // test2 fails, the retest question
    key(VK_Select); // enter answers "no" (the focus starts on "no")
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("test2") + kTestFailedText.utf8);
    EXPECT_EQ(topBox()->boxStyle(), 0x20002u);
    EXPECT_EQ(topBox()->bgColor(), kBoxBack);
    EXPECT_EQ(topBox()->frameColor(), kBoxFrame);
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
    EXPECT_TRUE(window->powerButton->isVisible()) << "a reported failure offers the power button";
    EXPECT_TRUE(window->failReported());
    screenshot("failure-box.png");
    key(VK_Select); // closes the information box
    EXPECT_EQ(topBox(), nullptr);
    advance(500, 10);
    EXPECT_FALSE(window->items[2]->getTested()) << "the run stopped at the failure";

    // The operator goes on by hand; the next failure asks again, but the
    // failure box is not shown a second time.
    tapRow(4);
    EXPECT_TRUE(window->items[4]->getTested());
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("test4") + kRetestText.utf8);
    answer(1);
    EXPECT_EQ(topBox(), nullptr) << "the failure box is shown only once";
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
}

// The operator's verdict.

TEST_F(QuickTestSequenceTest, TheOkQuestionAnsweredYesPassesTheRow)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    step();
    step();
    step(); // the second "test2" asks
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("test2: ") + kOkText.utf8);
    EXPECT_EQ(boxText(), "test2: " + converted(kOkText));
    EXPECT_EQ(topBox()->boxStyle(), 0x20001u);
    EXPECT_EQ(topBox()->commandId(0), 110);
    EXPECT_EQ(topBox()->commandId(1), 111);
    EXPECT_EQ(window->confirmIndex(), 2);
    EXPECT_TRUE(window->running());
    EXPECT_EQ(window->items[2]->getResult(), -1) << "undecided until answered";
    EXPECT_EQ(currentText(window), "test2:");
    advance(200, 10);
    EXPECT_FALSE(window->items[3]->getTested()) << "the run waits for the answer";

    answer(0);
    EXPECT_EQ(topBox(), nullptr);
    EXPECT_EQ(window->items[2]->getResult(), 0);
    EXPECT_FALSE(window->running());
    EXPECT_EQ(currentText(window), std::string("test2: ") + kPassText.utf8);
    EXPECT_GT(shot().countColour(layout.current, kPassGreen), 0);
    step();
    EXPECT_TRUE(window->items[3]->getTested());
}

TEST_F(QuickTestSequenceTest, TheOkQuestionAnsweredNoFailsTheRowAndRunAllGoesOn)
{
    auto* asking = new ScriptedItem("a", 2);
    auto* after = new ScriptedItem("b", 0);
    ProbeWnd* window = openWith(true, { asking, after });
    step();
    ASSERT_NE(topBox(), nullptr);
    key(VK_Select); // enter on the preset "no"
    EXPECT_EQ(topBox(), nullptr) << "no failure box in run-all mode";
    EXPECT_EQ(asking->getResult(), 1);
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
    EXPECT_EQ(currentText(window), std::string("a: ") + kFailText.utf8);
    EXPECT_FALSE(window->running());
    step();
    EXPECT_EQ(after->runs, 1);
}

TEST_F(QuickTestSequenceTest, ANotOkAnswerWithoutRunAllStopsTheRun)
{
    auto* asking = new ScriptedItem("a", 2);
    auto* after = new ScriptedItem("b", 0);
    ProbeWnd* window = openWith(false, { asking, after });
    step();
    answer(1);
    EXPECT_EQ(asking->getResult(), 1);
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("a") + kTestFailedText.utf8) << "the failure is reported once";
    key(VK_Select);
    advance(500, 10);
    EXPECT_EQ(after->runs, 0);
    EXPECT_EQ(window->runTimer, 0);
}

TEST_F(QuickTestSequenceTest, TheTestsOwnScreenGoesWithTheAnswer)
{
    auto* asking = new OwnScreenItem("lcd");
    ProbeWnd* window = openWith(true, { asking, new ScriptedItem("b", 0) });
    step();
    ASSERT_NE(app->getWndById(103), nullptr);
    ASSERT_NE(topBox(), nullptr) << "the question above the test's own screen";
    answer(0);
    EXPECT_EQ(app->getWndById(103), nullptr);
    EXPECT_EQ(app->getTopWnd(), window);
    EXPECT_EQ(asking->getResult(), 0);
}

TEST_F(QuickTestSequenceTest, TheTestsOwnScreenGoesWithANotOkAnswerToo)
{
    auto* asking = new OwnScreenItem("lcd");
    openWith(true, { asking });
    step();
    ASSERT_NE(app->getWndById(103), nullptr);
    answer(1);
    EXPECT_EQ(app->getWndById(103), nullptr);
    EXPECT_EQ(asking->getResult(), 1);
}

TEST_F(QuickTestSequenceTest, AnAnswerForARowPastTheListIsIgnored)
{
    auto* a = new ScriptedItem("a", 0);
    ProbeWnd* window = openWith(true, { a, new ScriptedItem("b", 0), new ScriptedItem("c", 2) });
    step();
    step();
    step(); // c asks
    ASSERT_EQ(window->confirmIndex(), 2);
    ASSERT_NE(topBox(), nullptr);
    // The list shrinks under the open question: its row is gone.
    window->useItems({ new ScriptedItem("a", 0), new ScriptedItem("b", 0) });
    answer(1);
    EXPECT_EQ(window->items[0]->getResult(), -1);
    EXPECT_EQ(window->items[1]->getResult(), -1);
    EXPECT_EQ(statusText(window), "");
    EXPECT_FALSE(window->failReported());
}

// Tests that go on after execute() has returned.

TEST_F(QuickTestSequenceTest, APendingTestKeepsTheScreenLockedUntilItReports)
{
    auto* pending = new PendingItem("p", 5);
    auto* second = new ScriptedItem("b", 0);
    auto* third = new ScriptedItem("c", 0);
    ProbeWnd* window = openWith(true, { pending, second, third });
    step();
    EXPECT_EQ(pending->runs, 1);
    EXPECT_TRUE(window->running());
    EXPECT_EQ(window->runTimer, 0) << "not an auto-run test: the sequence waits";

    tapRow(2);
    EXPECT_EQ(third->runs, 0) << "taps on rows are ignored while locked";
    tapNext();
    EXPECT_EQ(second->runs + third->runs, 0) << "so is the next button";
    advance(500, 10);
    EXPECT_EQ(second->runs + third->runs, 0);
    EXPECT_TRUE(window->running());

    // The report is read for the grid's selected row, which the ignored tap
    // above still moved: put it back on the pending row first.
    window->grid->setSelected(0);
    pending->finish(0);
    settle();
    EXPECT_FALSE(window->running());
    EXPECT_EQ(currentText(window), std::string("p: ") + kPassText.utf8);
    EXPECT_NE(window->runTimer, 0);
    step();
    EXPECT_EQ(second->runs, 1);
    tapRow(2);
    EXPECT_EQ(third->runs, 1) << "unlocked";
}

TEST_F(QuickTestSequenceTest, APendingFailureWithoutRunAllAsksForARetestWhenItReports)
{
    auto* pending = new PendingItem("p", 7);
    ProbeWnd* window = openWith(false, { pending, new ScriptedItem("b", 0) });
    step();
    EXPECT_TRUE(window->running());
    pending->finish(1);
    settle();
    EXPECT_FALSE(window->running());
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), std::string("p") + kRetestText.utf8);
    EXPECT_EQ(topBox()->commandId(0), 112);
    EXPECT_EQ(currentText(window), std::string("p: ") + kFailText.utf8);
}

TEST_F(QuickTestSequenceTest, AValueOf4ReleasesTheScreenAtOnce)
{
    auto* releasing = new ScriptedItem("r", 4);
    auto* other = new ScriptedItem("o", 0);
    ProbeWnd* window = openWith(true, { releasing, other });
    step();
    EXPECT_EQ(releasing->runs, 1);
    EXPECT_FALSE(window->running());
    EXPECT_EQ(window->runTimer, 0) << "not auto-run: no next step";
    tapRow(1);
    EXPECT_EQ(other->runs, 1);
}

TEST_F(QuickTestSequenceTest, AnAutoRunPendingTestLetsTheSequenceGoOn)
{
    auto* pending = new PendingItem("p", 5, true);
    auto* other = new ScriptedItem("o", 0);
    ProbeWnd* window = openWith(true, { pending, other });
    step();
    EXPECT_TRUE(window->running());
    EXPECT_NE(window->runTimer, 0);
    step();
    EXPECT_EQ(other->runs, 1);
}

// Moving around by hand.

TEST_F(QuickTestSequenceTest, ATapOnARowRunsThatRow)
{
    auto* a = new ScriptedItem("a", 0);
    auto* b = new ScriptedItem("b", 0);
    auto* c = new ScriptedItem("c", 0);
    ProbeWnd* window = openWith(false, { a, b, c });
    tapRow(2); // before the first step
    EXPECT_EQ(c->runs, 1);
    EXPECT_EQ(window->grid->getSelected(), 2);
    EXPECT_EQ(window->nextIndex(), 1);
    EXPECT_EQ(a->runs + b->runs, 0);
}

TEST_F(QuickTestSequenceTest, NextRunsTheRowAfterTheSelectedOne)
{
    auto* a = new ScriptedItem("a", 1);
    auto* b = new ScriptedItem("b", 0);
    ProbeWnd* window = openWith(false, { a, b, new ScriptedItem("c", 0) });
    step();
    answer(1); // no retest
    key(VK_Select); // the failure box
    ASSERT_EQ(topBox(), nullptr);
    tapNext();
    EXPECT_EQ(b->runs, 1);
    EXPECT_EQ(window->grid->getSelected(), 1);
}

TEST_F(QuickTestSequenceTest, NextOnTheLastRowRunsRow0)
{
    auto* first = new ScriptedItem("a", 0);
    auto* last = new ScriptedItem("c", 0);
    ProbeWnd* window = openWith(true, { first, new ScriptedItem("b", 0), last });
    step();
    step();
    step();
    ASSERT_EQ(last->runs, 1);
    ASSERT_EQ(window->grid->getSelected(), 2);
    key(VK_Select); // closes the all-passed box
    ASSERT_EQ(topBox(), nullptr);
    tapNext();
    EXPECT_EQ(first->runs, 2);
    EXPECT_EQ(window->grid->getSelected(), 0);
}

// Verdicts and the power button.

TEST_F(QuickTestSequenceTest, AllPassedIsShownInTheStatusAndInABoxOnce)
{
    auto* a = new ScriptedItem("a", 0);
    ProbeWnd* window = openWith(true, { a, new ScriptedItem("b", 0), new ScriptedItem("c", 0) });
    step();
    step();
    EXPECT_EQ(boxCount(), 0);
    EXPECT_EQ(statusText(window), "");
    step();
    EXPECT_EQ(statusText(window), kAllPassedText.utf8);
    EXPECT_EQ(statusText(window), converted(kAllPassedText));
    EXPECT_EQ(boxCount(), 1);
    ASSERT_NE(topBox(), nullptr);
    EXPECT_EQ(boxText(), kAllPassedText.utf8);
    EXPECT_EQ(topBox()->boxStyle(), 0x20002u);
    EXPECT_EQ(topBox()->bgColor(), kBoxBack);
    EXPECT_TRUE(window->allPassReported());
    screenshot("all-passed.png");
    key(VK_Select);
    EXPECT_EQ(boxCount(), 0);
    EXPECT_GT(shot().countColour(layout.status, kPassGreen), 0) << "green on the status band";

    // Testing a row again confirms the verdict without a second box.
    tapRow(0);
    EXPECT_EQ(a->runs, 2);
    EXPECT_EQ(statusText(window), kAllPassedText.utf8);
    EXPECT_EQ(boxCount(), 0);
}

TEST_F(QuickTestSequenceTest, AllTestedWithAFailureShowsNoPassVerdict)
{
    ProbeWnd* window = openWith(true, { new ScriptedItem("a", 0), new ScriptedItem("b", 1) });
    step();
    step();
    EXPECT_EQ(statusText(window), kTestFailedText.utf8);
    EXPECT_EQ(boxCount(), 0);
    EXPECT_FALSE(window->allPassReported());
}

TEST_F(QuickTestSequenceTest, ThePowerButtonSwitchesOffWhileATestRuns)
{
    ProbeWnd* window = openWith(true, { new PendingItem("p", 5), new ScriptedItem("b", 0) });
    step();
    ASSERT_TRUE(window->running());
    EXPECT_TRUE(commands().empty());
    tapPower();
    ASSERT_EQ(commands().size(), 1u);
    EXPECT_EQ(commands()[0], "poweroff");
    EXPECT_TRUE(window->running()) << "the test is left as it is";
}

TEST_F(QuickTestSequenceTest, ThePowerButtonSwitchesOffWhenIdle)
{
    openWith(true, { new ScriptedItem("a", 0) });
    tapPower();
    ASSERT_EQ(commands().size(), 1u);
    EXPECT_EQ(commands()[0], "poweroff");
}

TEST_F(QuickTestSequenceTest, ThePowerButtonIsShownWhenTheLastRowStarts)
{
    ProbeWnd* window
        = openWith(true, { new ScriptedItem("a", 0), new ScriptedItem("b", 0), new ScriptedItem("c", 0) });
    window->powerButton->showWindow(false);
    step();
    step();
    EXPECT_FALSE(window->powerButton->isVisible());
    step();
    EXPECT_TRUE(window->powerButton->isVisible());
}

TEST_F(QuickTestSequenceTest, ThePowerButtonIsShownOnAReportedFailure)
{
    ProbeWnd* window
        = openWith(true, { new ScriptedItem("a", 1), new ScriptedItem("b", 0), new ScriptedItem("c", 0) });
    window->powerButton->showWindow(false);
    step();
    EXPECT_TRUE(window->powerButton->isVisible());
}

// Other notifications.

TEST_F(QuickTestSequenceTest, NotificationsOfOtherTypesFreeTheirText)
{
    ProbeWnd* window = openWith(true, { new ScriptedItem("a", 0) });
    app->addMsg(LUMIMessage(window, MSG_PEL_NOTIFY, PEL_NOTIFY_STATUS, 0, strdup("Copying files")));
    settle();
    ASSERT_EQ(window->notifications.size(), 1u);
    EXPECT_TRUE(window->notifications[0].hadText);
    EXPECT_TRUE(window->notifications[0].released) << "freed by the window";
    EXPECT_FALSE(window->running());
    EXPECT_EQ(statusText(window), "");
    EXPECT_EQ(boxCount(), 0);
}

TEST_F(QuickTestSequenceTest, NotifierDatagramsToTheQuickTestWindowDoNotDisturbIt)
{
    ProbeWnd* window = openWith(true, { new ScriptedItem("a", 0), new ScriptedItem("b", 0) });
    const std::string path = tmp.file("notify.sock");
    PelNotifier::setPath(path.c_str());
    ASSERT_EQ(PelNotifier::init(), 0);
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(sender, 0);
    sockaddr_un to {};
    to.sun_family = AF_UNIX;
    std::strncpy(to.sun_path, path.c_str(), sizeof(to.sun_path) - 1);
    for (const char* datagram : { "1@Update", "2@Step one", "5@Copying files", "4@" }) {
        ASSERT_EQ(sendto(sender, datagram, std::strlen(datagram), 0, reinterpret_cast<const sockaddr*>(&to),
                      sizeof to),
            static_cast<ssize_t>(std::strlen(datagram)));
    }
    close(sender);
    // Each becomes a message for window 101 whose text the window frees
    // (the sanitizer build checks that nothing leaks); the run is unaffected.
    const bool arrived = pumpUntil([&] { return window->notifications.size() >= 4; });
    PelNotifier::close();
    PelNotifier::setPath(nullptr);
    ASSERT_TRUE(arrived);
    const int types[4] = { 1, 2, 5, 4 };
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(window->notifications[i].type, types[i]) << i;
        EXPECT_TRUE(window->notifications[i].hadText) << i;
        EXPECT_TRUE(window->notifications[i].released) << i;
    }
    EXPECT_FALSE(window->running());
    EXPECT_EQ(boxCount(), 0);
    step();
    EXPECT_TRUE(window->items[0]->getTested());
}

// Finish notices that no running test sent. The notifier socket is bound in
// quick-test mode too, so anyone may send "3@", which reaches this window as
// "a test has finished".

namespace {

void postFinishNotice(GuiApp* app, WndBase* window)
{
    app->addMsg(LUMIMessage(window, MSG_PEL_NOTIFY, PEL_NOTIFY_TEST_FINISHED));
}

}

TEST_F(QuickTestSequenceTest, AStrayFinishNoticeWhileTheOperatorIsAskedChangesNothing)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    step();
    step();
    step(); // the second "test2" asks
    ASSERT_NE(topBox(), nullptr);
    ASSERT_EQ(window->confirmIndex(), 2);
    postFinishNotice(app.get(), window);
    settle();
    advance(500, 10);
    EXPECT_FALSE(window->items[3]->getTested()) << "nothing starts behind the open question";
    EXPECT_TRUE(window->running());
    EXPECT_EQ(window->confirmIndex(), 2);
    EXPECT_EQ(window->runTimer, 0);

    // The answer is taken as before (this used to hit the assertion).
    answer(1);
    EXPECT_EQ(window->items[2]->getResult(), 1);
    EXPECT_FALSE(window->running());
    step();
    EXPECT_TRUE(window->items[3]->getTested()) << "the run goes on after the answer";
}

TEST_F(QuickTestSequenceTest, AStrayFinishNoticeWhenIdleStartsNothing)
{
    auto* a = new ScriptedItem("a", 1);
    auto* b = new ScriptedItem("b", 0);
    ProbeWnd* window = openWith(false, { a, b });
    step(); // a fails: the retest question
    answer(1); // no retest
    key(VK_Select); // closes the failure box
    ASSERT_EQ(topBox(), nullptr);
    ASSERT_EQ(window->runTimer, 0);
    postFinishNotice(app.get(), window);
    settle();
    EXPECT_EQ(topBox(), nullptr) << "no second retest question";
    advance(500, 10);
    EXPECT_EQ(b->runs, 0);
    EXPECT_EQ(a->runs, 1);
}

TEST_F(QuickTestSequenceTest, ASecondFinishNoticeFromAPendingTestIsIgnored)
{
    auto* pending = new PendingItem("p", 5);
    auto* asking = new ScriptedItem("q", 2);
    auto* last = new ScriptedItem("r", 0);
    ProbeWnd* window = openWith(true, { pending, asking, last });
    step();
    ASSERT_TRUE(window->running());
    pending->finish(0);
    settle();
    EXPECT_FALSE(window->running());
    step(); // q asks
    ASSERT_NE(topBox(), nullptr);
    postFinishNotice(app.get(), window); // the same test reporting twice
    settle();
    advance(500, 10);
    EXPECT_EQ(last->runs, 0);
    answer(0);
    EXPECT_EQ(asking->getResult(), 0);
    step();
    EXPECT_EQ(last->runs, 1);
}

TEST_F(QuickTestSequenceTest, AnAutoRunPendingTestFinishingWhileAQuestionIsOpenWaitsForTheAnswer)
{
    auto* pending = new PendingItem("p", 5, true);
    auto* asking = new ScriptedItem("q", 2);
    auto* last = new ScriptedItem("r", 0);
    ProbeWnd* window = openWith(true, { pending, asking, last });
    step(); // p goes on by itself, the run moves on
    step(); // q asks
    ASSERT_NE(topBox(), nullptr);
    pending->finish(0);
    settle();
    advance(500, 10);
    EXPECT_EQ(last->runs, 0) << "nothing starts behind the open question";
    EXPECT_TRUE(window->running());
    answer(0);
    EXPECT_EQ(asking->getResult(), 0);
    step();
    EXPECT_EQ(last->runs, 1);
    EXPECT_EQ(pending->getResult(), 0);
}
