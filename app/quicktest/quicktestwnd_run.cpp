// The run sequence of the quick-test screen on the screen: starting a test
// from a touch on its row, from the next button or from the 50 ms step
// timer; showing its result; asking the operator when a test needs a human
// verdict; the overall verdict; powering the device off. What comes next is
// the RunSequence's decision; this file carries it out.

#include "quicktest/quicktestwnd.h"

#include "platform/shell_command.h"
#include "quicktest/quicktest_texts.h"
#include "shell/notify_protocol.h"
#include "testfun/log.hpp"
#include "widgets/pelbutton.h"
#include "widgets/peledit.h"
#include "widgets/pelmsgbox.h"

#include <lumi/app.h>
#include <lumi/clock.h>
#include <lumi/fatal.h>
#include <lumi/controls.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using quicktest::RunSequence;
using quicktest::shownName;
using quicktest::TestResult;
using quicktest::Utf8Text;

namespace {

constexpr unsigned short kWhite = 0xFFFF;
constexpr unsigned short kPassColour = 0x5D82;
constexpr unsigned short kFailColour = 0xF800;
constexpr unsigned short kBoxBack = 0x8C71;
constexpr unsigned short kBoxFrame = 0x5D5D;

constexpr uint32_t kQuestionStyle = 0x20001; // two buttons
constexpr uint32_t kNoticeStyle = 0x20002; // one button

// Every line the screen formats fits in this many bytes; longer names are cut.
constexpr size_t kLineSize = 128;

}

int QuickTestWnd::Rows::rowCount() const
{
    return m_items.size();
}

TestResult QuickTestWnd::Rows::rowResult(int row) const
{
    return quicktest::resultOf(m_items[row]->getResult());
}

bool QuickTestWnd::Rows::rowTested(int row) const
{
    return m_items[row]->getTested();
}

TestItem* QuickTestWnd::itemAt(int index)
{
    if (index < 0 || index >= items.size())
        return nullptr;
    return items[index];
}

int QuickTestWnd::selectedRow() const
{
    return grid ? grid->getSelected() : -1;
}

void QuickTestWnd::cancelStepTimer()
{
    if (runTimer)
        killTimer(runTimer);
    runTimer = 0;
}

void QuickTestWnd::startStepTimer()
{
    cancelStepTimer();
    runTimer = setTimer(kStepMs);
}

void QuickTestWnd::ask(const char* text, int firstCommand)
{
    auto* box = new PmpMsgBox(true); // the toolkit deletes it when it closes
    if (box->create(this, kQuestionStyle, text) != 0) {
        delete box;
        return;
    }
    box->setColor(kBoxBack, kBoxFrame);
    box->setCommandId(PMB_EVENT_BTN0, firstCommand);
    box->setCommandId(PMB_EVENT_BTN1, firstCommand + 1);
    box->showWindow(true);
}

template <size_t N>
void QuickTestWnd::askAbout(
    TestItem* item, const char* separator, const char (&questionGbk)[N], int firstCommand)
{
    Utf8Text question(questionGbk);
    if (!question)
        return;
    char line[kLineSize];
    snprintf(
        line, sizeof line, "%s%s%s", shownName(item ? item->getName() : nullptr), separator, question.get());
    ask(line, firstCommand);
}

void QuickTestWnd::inform(const char* text)
{
    auto* box = new PmpMsgBox(true);
    if (box->create(this, kNoticeStyle, text) != 0) {
        delete box;
        return;
    }
    box->setColor(kBoxBack, kBoxFrame);
    box->showWindow(true);
}

void QuickTestWnd::repaintGrid()
{
    if (!grid)
        return;
    grid->invalidateRect(nullptr);
    grid->updateWindow();
}

void QuickTestWnd::repaintLabel()
{
    if (!currentLabel)
        return;
    currentLabel->invalidateRect(nullptr);
    currentLabel->updateWindow();
}

void QuickTestWnd::showCurrent(TestItem* item, unsigned short colour, const char* wordGbk, int wordBytes)
{
    if (!currentLabel || !item)
        return;
    Utf8Text word(wordGbk, wordBytes);
    if (!word)
        return;
    char line[kLineSize];
    snprintf(line, sizeof line, "%s: %s", shownName(item->getName()), word.get());
    currentLabel->setTextColor(colour);
    currentLabel->setText(line);
}

void QuickTestWnd::reportFinished(int row)
{
    TestItem* item = itemAt(row);
    if (!m_report.enabled() || !item)
        return;
    m_report.testFinished(row, item->getName(), item->getResult(), lumi::monotonicMs(), lumi::wallClockMs());
}

void QuickTestWnd::reportRunEnd()
{
    if (!m_report.enabled())
        return;
    // A test that went on beside the run and stored its result without a
    // notice (the pointer test, passed when a mouse arrives) gets its line
    // now, before the verdict that counts it.
    for (int i = 0; i < items.size(); ++i) {
        if (m_report.awaitingResult(i) && quicktest::resultOf(items[i]->getResult()) != TestResult::Untested)
            reportFinished(i);
    }
    int passed = 0;
    int failed = 0;
    int untested = 0;
    for (int i = 0; i < items.size(); ++i) {
        switch (quicktest::resultOf(items[i]->getResult())) {
        case TestResult::Pass:
            ++passed;
            break;
        case TestResult::Fail:
            ++failed;
            break;
        case TestResult::Untested:
            ++untested;
            break;
        }
    }
    m_report.runEnded(passed, failed, untested, lumi::wallClockMs());
}

void QuickTestWnd::showResult(TestItem* item)
{
    if (!item)
        return;
    switch (quicktest::resultOf(item->getResult())) {
    case TestResult::Pass:
        showCurrent(item, kPassColour, quicktest::kPass, sizeof quicktest::kPass - 1);
        break;
    case TestResult::Fail:
        showCurrent(item, kFailColour, quicktest::kFail, sizeof quicktest::kFail - 1);
        break;
    case TestResult::Untested:
        break;
    }
}

int QuickTestWnd::clickItemExec(int index)
{
    TestItem* item = itemAt(index);
    if (!item || !m_run.start(index))
        return 0;

    // The last row is under way: from now on the operator may switch off.
    if (m_run.lastRowStarted() && powerButton)
        powerButton->showWindow(true);
    printf("auto run %d \n", m_run.nextIndex());

    if (grid)
        grid->setSelected(index);
    if (logEdit)
        logEdit->setText("");
    if (currentLabel) {
        char line[kLineSize];
        snprintf(line, sizeof line, "%s:", shownName(item->getName()));
        currentLabel->setTextColor(kWhite);
        currentLabel->setText(line);
    }

    m_report.testStarted(index, lumi::monotonicMs());
    const quicktest::RunOutcome outcome = quicktest::outcomeOf(item->execute(log));
    item->setTested(true);
    if (outcome == quicktest::RunOutcome::Pass)
        item->setResult(static_cast<int>(TestResult::Pass));
    else if (outcome == quicktest::RunOutcome::Fail)
        item->setResult(static_cast<int>(TestResult::Fail));

    const RunSequence::AfterRun then = m_run.finished(index, outcome, item->isAutoRun());
    if (outcome == quicktest::RunOutcome::Pass || outcome == quicktest::RunOutcome::Fail)
        reportFinished(index);
    switch (then) {
    case RunSequence::AfterRun::Next:
    case RunSequence::AfterRun::ReportFailure:
    case RunSequence::AfterRun::AskRetest:
        showResult(item);
        repaintGrid();
        repaintLabel();
        if (then == RunSequence::AfterRun::ReportFailure)
            resultFails();
        if (then == RunSequence::AfterRun::AskRetest) {
            cancelStepTimer();
            askAbout(item, "", quicktest::kRetestQuestion, CMD_RETEST);
        } else {
            checkRunNext();
        }
        break;
    case RunSequence::AfterRun::AskOperator:
        askAbout(item, ": ", quicktest::kOkQuestion, CMD_OK);
        break;
    case RunSequence::AfterRun::WaitAndStep:
        checkRunNext();
        break;
    case RunSequence::AfterRun::Wait:
        break;
    }

    invalidateRect(nullptr);
    return 0;
}

void QuickTestWnd::checkRunNext()
{
    switch (m_run.nextStep()) {
    case RunSequence::Next::Step:
        startStepTimer();
        break;
    case RunSequence::Next::AllPassed: {
        const bool first = m_run.takeAllPassReport();
        Utf8Text verdict(quicktest::kAllPassed);
        if (!verdict)
            break;
        if (statusLabel) {
            statusLabel->setText(verdict.get());
            statusLabel->setTextColor(kPassColour);
        }
        if (first)
            inform(verdict.get());
        reportRunEnd();
        break;
    }
    case RunSequence::Next::Stop:
        reportRunEnd();
        break;
    }
}

int QuickTestWnd::onTimer(int id)
{
    if (id == 0 || id != runTimer)
        return 0;
    cancelStepTimer();
    const int row = m_run.rowForStep();
    if (row >= 0) {
        if (grid)
            grid->setSelected(row);
        repaintGrid();
        clickItemExec(row);
    }
    return 0;
}

void QuickTestWnd::resultFails()
{
    Utf8Text verdict(quicktest::kTestFailed);
    if (verdict && statusLabel) {
        statusLabel->setText(verdict.get());
        statusLabel->setTextColor(kFailColour);
    }
    if (m_run.takeFailureReport() && verdict) {
        TestItem* selected = itemAt(selectedRow());
        char line[kLineSize];
        snprintf(
            line, sizeof line, "%s%s", shownName(selected ? selected->getName() : nullptr), verdict.get());
        inform(line);
    }
    if (powerButton)
        powerButton->showWindow(true);
}

void QuickTestWnd::labelResult()
{
    showResult(itemAt(selectedRow()));
}

int QuickTestWnd::onCommand(LUMIMessage& msg)
{
    const int command = msg.param1;
    switch (command) {
    case CMD_OK:
    case CMD_NOT_OK: {
        const RunSequence::Answer answer = m_run.answer();
        if (answer == RunSequence::Answer::Ignore)
            break;
        // Kept deliberately fatal: an answer can only come from a question
        // that named its row, so a missing row is a programming error. The
        // line names the selection as the device's code did.
        const int m_curSel = answer == RunSequence::Answer::NoQuestion ? -1 : m_run.confirmIndex();
        // clang-format off
        LUMI_ASSERT(m_curSel >=0, "quicktestwnd", 500, "virtual int QuickTestWnd::onCommand(LUMIMessage&)");
        // clang-format on
        const int row = m_run.confirmIndex();
        TestItem* item = items[row];
        const bool ok = command == CMD_OK;
        if (ok) {
            item->setResult(static_cast<int>(TestResult::Pass));
        } else {
            resultFails();
            item->setResult(static_cast<int>(TestResult::Fail));
        }
        if (m_report.enabled()) {
            Utf8Text question(quicktest::kOkQuestion);
            m_report.answered(row, question.get(), ok);
            reportFinished(row);
        }
        // The test's own screen (the colour bars) goes with the answer.
        if (GuiApp* guiApp = theGuiApp()) {
            if (WndBase* testWnd = guiApp->getWndById(kTestWndId))
                testWnd->destroy();
        }
        repaintGrid();
        if (m_run.answered(ok))
            checkRunNext();
        else
            reportRunEnd(); // a not-OK answer without run-all ends the run
        labelResult();
        break;
    }
    case CMD_RETEST:
    case CMD_NO_RETEST: {
        const int row = selectedRow();
        if (m_report.enabled()) {
            Utf8Text question(quicktest::kRetestQuestion);
            TestItem* item = itemAt(row);
            m_report.retestAnswered(
                row, item ? item->getName() : nullptr, question.get(), command == CMD_RETEST, lumi::wallClockMs());
        }
        if (command == CMD_RETEST) {
            m_run.retest(grid ? grid->getSelected() : 0);
            startStepTimer();
        } else {
            resultFails();
            reportRunEnd(); // no retest: the run stops at this failure
        }
        break;
    }
    default:
        break;
    }
    return 0;
}

int QuickTestWnd::onNotify(WndBase* w, int code, int)
{
    if (!m_run.running() && w) {
        if (w == grid && code == GRID_NOTIFY_ACTIVATE) {
            const int selected = grid->getSelected();
            repaintGrid();
            clickItemExec(selected);
        } else if (w == nextButton && code == NOTIFY_CLICKED && grid) {
            const int selected = m_run.rowAfter(grid->getSelected());
            grid->setSelected(selected);
            repaintGrid();
            clickItemExec(selected);
        }
    }
    // The power button works in every state, a running test included.
    if (w && w == powerButton && code == NOTIFY_CLICKED)
        runShellCommand("poweroff");
    return 0;
}

int QuickTestWnd::handleMessage(LUMIMessage& msg)
{
    if (msg.id == MSG_PEL_NOTIFY && msg.param1 == PEL_NOTIFY_TEST_FINISHED) {
        // A test that went on after execute() has stored its result; a
        // notice that no such test sent changes nothing.
        const int selected = selectedRow();
        const RunSequence::Notice notice = m_run.finishNotice(selected);
        if (notice != RunSequence::Notice::Ignore) {
            reportFinished(m_run.lastFinished());
            if (notice == RunSequence::Notice::AskRetest)
                askAbout(itemAt(selected), "", quicktest::kRetestQuestion, CMD_RETEST);
            else if (notice == RunSequence::Notice::Next)
                checkRunNext();
            repaintGrid();
            repaintLabel();
            labelResult();
        }
    }
    const int rc = MainWndBase::handleMessage(msg);
    // The notifier's other message types carry a heap string that the
    // receiving window owns.
    if (msg.id == MSG_PEL_NOTIFY && msg.data) {
        std::free(msg.data);
        msg.data = nullptr;
    }
    return rc;
}
