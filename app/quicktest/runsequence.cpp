#include "quicktest/runsequence.h"

#include <algorithm>

namespace quicktest {

RunOutcome outcomeOf(int executeReturned)
{
    switch (executeReturned) {
    case kExecutePass:
        return RunOutcome::Pass;
    case kExecuteFail:
        return RunOutcome::Fail;
    case kExecuteAsk:
        return RunOutcome::AskOperator;
    case kExecuteReleases:
        return RunOutcome::ReleasesScreen;
    default:
        return RunOutcome::Pending;
    }
}

TestResult resultOf(int storedResult)
{
    switch (storedResult) {
    case static_cast<int>(TestResult::Pass):
        return TestResult::Pass;
    case static_cast<int>(TestResult::Fail):
        return TestResult::Fail;
    default:
        return TestResult::Untested;
    }
}

int RunSequence::rowAfter(int selected) const
{
    const int row = selected + 1;
    return row >= m_rows.rowCount() ? 0 : row;
}

int RunSequence::rowForStep() const
{
    return rowInList(m_nextIndex) ? m_nextIndex : -1;
}

bool RunSequence::start(int row)
{
    if (!rowInList(row))
        return false;
    m_confirmIndex = -1;
    // Kept: the next row is counted on from the last one, not from the row
    // started, so a tap on a row does not move the automatic run to it.
    ++m_nextIndex;
    m_running = true;
    // A row run again supersedes its earlier run that had not reported.
    forgetPending(row);
    return true;
}

RunSequence::AfterRun RunSequence::finished(int row, RunOutcome outcome, bool autoRun)
{
    switch (outcome) {
    case RunOutcome::Pass:
        m_running = false;
        return AfterRun::Next;
    case RunOutcome::Fail:
        m_running = false;
        if (m_runAll)
            return AfterRun::ReportFailure;
        // The retest answer runs this same row again; until the operator
        // answers, nothing else starts.
        m_nextIndex = row;
        return AfterRun::AskRetest;
    case RunOutcome::AskOperator:
        // The screen stays locked until the answer.
        m_confirmIndex = row;
        return AfterRun::AskOperator;
    case RunOutcome::Pending:
    case RunOutcome::ReleasesScreen:
        m_pending.push_back(row);
        if (outcome == RunOutcome::ReleasesScreen)
            m_running = false;
        return autoRun ? AfterRun::WaitAndStep : AfterRun::Wait;
    }
    return AfterRun::Wait;
}

RunSequence::Next RunSequence::nextStep() const
{
    bool allTested = true;
    bool noFail = true;
    bool allPass = true;
    for (int row = 0; row < m_rows.rowCount(); ++row) {
        if (!m_rows.rowTested(row))
            allTested = false;
        const TestResult result = m_rows.rowResult(row);
        if (result == TestResult::Fail)
            noFail = false;
        if (result != TestResult::Pass)
            allPass = false;
    }
    // Without run-all the automatic run stops at the first failure.
    if (!allTested && (m_runAll || noFail))
        return Next::Step;
    return allPass ? Next::AllPassed : Next::Stop;
}

bool RunSequence::takeAllPassReport()
{
    const bool first = !m_allPassReported;
    m_allPassReported = true;
    return first;
}

bool RunSequence::takeFailureReport()
{
    // With run-all the red status is the whole report.
    const bool box = !m_failReported && !m_runAll;
    m_failReported = true;
    return box;
}

RunSequence::Answer RunSequence::answer() const
{
    if (m_confirmIndex >= m_rows.rowCount())
        return Answer::Ignore;
    // An answer can only come from a question that named its row.
    if (m_confirmIndex < 0)
        return Answer::NoQuestion;
    return Answer::Record;
}

bool RunSequence::answered(bool ok)
{
    m_running = false;
    // Kept: a not-OK answer without run-all stops the run; the line operators
    // expect to re-test by hand.
    return m_runAll || ok;
}

RunSequence::Notice RunSequence::finishNotice(int selectedRow)
{
    // The notice names no test. Nothing running on means it is not ours
    // (anyone can send "3@" to the notifier socket): taking it would start
    // rows behind an open question, whose answer then finds no row.
    if (m_pending.empty())
        return Notice::Ignore;
    const auto selected = std::find(m_pending.begin(), m_pending.end(), selectedRow);
    m_lastFinished = selected != m_pending.end() ? *selected : m_pending.front();
    m_pending.erase(selected != m_pending.end() ? selected : m_pending.begin());
    // A test that ran on beside the automatic run may end while the
    // operator is asked about another row: the answer moves the run on.
    if (m_confirmIndex >= 0 && m_running)
        return Notice::Recorded;
    m_running = false;
    if (rowInList(selectedRow) && m_rows.rowResult(selectedRow) == TestResult::Fail && !m_runAll)
        return Notice::AskRetest;
    return Notice::Next;
}

void RunSequence::forgetPending(int row)
{
    m_pending.erase(std::remove(m_pending.begin(), m_pending.end(), row), m_pending.end());
}

}
