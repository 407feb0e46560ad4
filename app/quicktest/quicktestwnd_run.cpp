// The run sequence of the quick-test screen: starting a test from a touch on
// its row, from the next button or from the 50 ms step timer; showing its
// result; asking the operator when a test needs a human verdict; moving on to
// the next untested row; the overall verdict; powering the device off.

#include "quicktest/quicktestwnd.h"

#include "platform/shell_command.h"
#include "quicktest/quicktest_texts.h"
#include "shell/pelnotifier.h"
#include "testfun/log.hpp"
#include "widgets/pelbutton.h"
#include "widgets/peledit.h"
#include "widgets/pelmsgbox.h"

#include <lumi/app.h>
#include <lumi/controls.h>
#include <lumi/fatal.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using quicktest::shownName;
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

// The finished-test notification: message 8195 with this first parameter.
constexpr int kNotifyTestFinished = 3;
// A test returning this goes on by itself but releases the screen at once.
constexpr int kResultReleases = 4;

}

TestItem* QuickTestWnd::itemAt(int index)
{
    if (index < 0 || index >= items.size())
        return nullptr;
    return items[index];
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

int QuickTestWnd::clickItemExec(int index)
{
    TestItem* item = itemAt(index);
    if (!item)
        return 0;

    confirmIndex = -1;
    ++nextIndex;
    // The last row is under way: from now on the operator may switch off.
    if (nextIndex == items.size() && powerButton)
        powerButton->showWindow(true);
    printf("auto run %d \n", nextIndex);

    running = true;
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

    const int result = item->execute(log);
    item->setTested(true);

    switch (result) {
    case 0:
        item->setResult(0);
        showCurrent(item, kPassColour, quicktest::kPass, sizeof quicktest::kPass - 1);
        running = false;
        repaintGrid();
        repaintLabel();
        checkRunNext();
        break;
    case 1:
        item->setResult(1);
        showCurrent(item, kFailColour, quicktest::kFail, sizeof quicktest::kFail - 1);
        running = false;
        repaintGrid();
        repaintLabel();
        if (runAll) {
            resultFails();
            checkRunNext();
        } else {
            // The retest answer runs this same row again; until the operator
            // answers, nothing else starts.
            nextIndex = index;
            cancelStepTimer();
            Utf8Text question(quicktest::kRetestQuestion);
            if (question) {
                char line[kLineSize];
                snprintf(line, sizeof line, "%s%s", shownName(item->getName()), question.get());
                ask(line, CMD_RETEST);
            }
        }
        break;
    case 2: {
        // The operator judges; the screen stays locked until the answer.
        confirmIndex = index;
        Utf8Text question(quicktest::kOkQuestion);
        if (question) {
            char line[kLineSize];
            snprintf(line, sizeof line, "%s: %s", shownName(item->getName()), question.get());
            ask(line, CMD_OK);
        }
        break;
    }
    default:
        // The test goes on in a window or timer of its own and reports with
        // message 8195/3. An auto-run test lets the sequence go on meanwhile;
        // 4 also frees the screen at once.
        if (item->isAutoRun())
            checkRunNext();
        if (result == kResultReleases)
            running = false;
        break;
    }

    invalidateRect(nullptr);
    return 0;
}

void QuickTestWnd::checkRunNext()
{
    bool allTested = true;
    bool noFail = true;
    bool allPass = true;
    for (int i = 0; i < items.size(); ++i) {
        TestItem* item = items[i];
        if (!item->getTested())
            allTested = false;
        const int result = item->getResult();
        if (result == 1)
            noFail = false;
        if (result != 0)
            allPass = false;
    }

    // Without run-all the automatic run stops at the first failure.
    if (!allTested && (runAll || noFail)) {
        startStepTimer();
        return;
    }

    if (!allPass)
        return;
    Utf8Text verdict(quicktest::kAllPassed);
    if (verdict) {
        if (statusLabel) {
            statusLabel->setText(verdict.get());
            statusLabel->setTextColor(kPassColour);
        }
        if (!allPassReported)
            inform(verdict.get());
    }
    allPassReported = true;
}

int QuickTestWnd::onTimer(int id)
{
    if (id == 0 || id != runTimer)
        return 0;
    cancelStepTimer();
    if (nextIndex >= 0 && nextIndex < items.size()) {
        if (grid)
            grid->setSelected(nextIndex);
        repaintGrid();
        clickItemExec(nextIndex);
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
    // Told once, and only when the run stops for it: with run-all the red
    // status is the whole report.
    if (!failReported && !runAll && verdict) {
        TestItem* selected = grid ? itemAt(grid->getSelected()) : nullptr;
        char line[kLineSize];
        snprintf(
            line, sizeof line, "%s%s", shownName(selected ? selected->getName() : nullptr), verdict.get());
        inform(line);
    }
    if (powerButton)
        powerButton->showWindow(true);
    failReported = true;
}

void QuickTestWnd::labelResult()
{
    TestItem* item = grid ? itemAt(grid->getSelected()) : nullptr;
    if (!item)
        return;
    switch (item->getResult()) {
    case 0:
        showCurrent(item, kPassColour, quicktest::kPass, sizeof quicktest::kPass - 1);
        break;
    case 1:
        showCurrent(item, kFailColour, quicktest::kFail, sizeof quicktest::kFail - 1);
        break;
    default:
        break;
    }
}

int QuickTestWnd::onCommand(LUMIMessage& msg)
{
    const int command = msg.param1;
    switch (command) {
    case CMD_OK:
    case CMD_NOT_OK:
        if (confirmIndex < items.size()) {
            // Kept deliberately fatal: an answer can only come from a question
            // that named its row, so a missing row is a programming error.
            // The line names the selection as the device's code did.
            const int m_curSel = confirmIndex;
            // clang-format off
            LUMI_ASSERT(m_curSel >=0, "quicktestwnd", 500, "virtual int QuickTestWnd::onCommand(LUMIMessage&)");
            // clang-format on
            TestItem* item = items[confirmIndex];
            if (command == CMD_OK) {
                item->setResult(0);
            } else {
                resultFails();
                item->setResult(1);
            }
            // The test's own screen (the colour bars) goes with the answer.
            if (GuiApp* guiApp = theGuiApp()) {
                if (WndBase* testWnd = guiApp->getWndById(kTestWndId))
                    testWnd->destroy();
            }
            repaintGrid();
            // Kept: a not-OK answer without run-all stops the run; the line
            // operators expect to re-test by hand.
            if (runAll || command == CMD_OK)
                checkRunNext();
            labelResult();
            running = false;
        }
        break;
    case CMD_RETEST:
        nextIndex = grid ? grid->getSelected() : 0;
        startStepTimer();
        break;
    case CMD_NO_RETEST:
        resultFails();
        break;
    default:
        break;
    }
    return 0;
}

int QuickTestWnd::onNotify(WndBase* w, int code, int)
{
    if (!running && w) {
        if (w == grid && code == GRID_NOTIFY_ACTIVATE) {
            const int selected = grid->getSelected();
            repaintGrid();
            clickItemExec(selected);
        } else if (w == nextButton && code == NOTIFY_CLICKED && grid) {
            int selected = grid->getSelected() + 1;
            if (selected >= items.size())
                selected = 0;
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
    if (msg.id == MSG_PEL_NOTIFY && msg.param1 == kNotifyTestFinished) {
        // A test that went on after execute() has stored its result.
        TestItem* item = grid ? itemAt(grid->getSelected()) : nullptr;
        if (item && item->getResult() == 1 && !runAll) {
            Utf8Text question(quicktest::kRetestQuestion);
            if (question) {
                char line[kLineSize];
                snprintf(line, sizeof line, "%s%s", shownName(item->getName()), question.get());
                ask(line, CMD_RETEST);
            }
        } else {
            checkRunNext();
        }
        repaintGrid();
        repaintLabel();
        labelResult();
        running = false;
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
