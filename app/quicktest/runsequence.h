#pragma once
// The quick test's run sequence as a plain state machine: which row runs
// next, what a test's return value means, when the automatic run goes on or
// stops, what the operator's answers do and when a verdict is due. It knows
// nothing of windows: the quick-test window asks it what to do and does the
// drawing, the boxes and the timers itself.

#include <vector>

namespace quicktest {

// A test's stored result (TestItem::getResult).
enum class TestResult : int {
    Untested = -1,
    Pass = 0,
    Fail = 1,
};

// What a test's execute() returned.
enum class RunOutcome {
    Pass, // 0
    Fail, // 1
    AskOperator, // 2: the operator judges the result
    Pending, // any other value: the test goes on and reports when it is done
    ReleasesScreen, // 4: goes on like Pending, but the screen is free at once
};

// The value execute() returns for each outcome that has one.
constexpr int kExecutePass = 0;
constexpr int kExecuteFail = 1;
constexpr int kExecuteAsk = 2;
constexpr int kExecuteReleases = 4;

RunOutcome outcomeOf(int executeReturned);
// A stored result as one of the three the screen shows; any value other
// than pass or fail counts as untested.
TestResult resultOf(int storedResult);

// The rows as the sequence sees them; the window answers from its items.
class RunRows {
public:
    virtual int rowCount() const = 0;
    virtual TestResult rowResult(int row) const = 0;
    virtual bool rowTested(int row) const = 0;

protected:
    ~RunRows() = default;
};

class RunSequence {
public:
    explicit RunSequence(const RunRows& rows)
        : m_rows(rows)
    {
    }

    // "runall" above 0: a failure neither stops the run nor opens a box.
    void setRunAll(bool runAll) { m_runAll = runAll; }
    bool runAll() const { return m_runAll; }

    // A test is under way (inside execute, waiting for the operator's
    // answer, or running on): rows and the next button are not taken.
    bool running() const { return m_running; }
    // The row the next step runs.
    int nextIndex() const { return m_nextIndex; }
    // The row whose OK question is open; -1 when none.
    int confirmIndex() const { return m_confirmIndex; }
    bool failReported() const { return m_failReported; }
    bool allPassReported() const { return m_allPassReported; }

    // The row the next button runs: the one after selected, after the last
    // the first.
    int rowAfter(int selected) const;
    // The row a step of the automatic run starts, or -1 at the end.
    int rowForStep() const;

    // Starts row: false (and nothing changes) for a row outside the list.
    // The sequence moves on to the row after it.
    bool start(int row);
    // The row just started is the last one of the list.
    bool lastRowStarted() const { return m_nextIndex == m_rows.rowCount(); }

    // What follows a test's return.
    enum class AfterRun {
        Next, // the result is final: decide what comes next (nextStep)
        ReportFailure, // failed with run-all: report it, then nextStep
        AskRetest, // failed without run-all: ask whether to test it again
        AskOperator, // ask the OK question for the row
        Wait, // the test goes on by itself
        WaitAndStep, // the test goes on by itself, the run goes on meanwhile
    };
    AfterRun finished(int row, RunOutcome outcome, bool autoRun);

    // What comes next once a result is in.
    enum class Next {
        Step, // start the step timer: row nextIndex runs in 50 ms
        AllPassed, // every row passed: show the verdict
        Stop, // the end, or a failure stopped the run
    };
    Next nextStep() const;
    // The all-passed box is shown once: true the first time.
    bool takeAllPassReport();
    // A failure is reported in a box only once, and never with run-all: true
    // when this one gets the box.
    bool takeFailureReport();

    // The operator's OK (ok true) or not-OK answer to the open question.
    enum class Answer {
        Ignore, // the question's row is past the end of the list
        NoQuestion, // no question is open: a programming error
        Record, // store the result for confirmIndex(), then answered()
    };
    Answer answer() const;
    // After the answer was recorded: true when the run goes on (nextStep).
    // A not-OK answer without run-all stops the run.
    bool answered(bool ok);
    // The retest answer: the selected row runs again at the next step.
    void retest(int selectedRow) { m_nextIndex = selectedRow; }

    // A test that went on after execute() reports that it is done.
    enum class Notice {
        Ignore, // no test is running on: someone else's message
        Recorded, // taken, but the open OK question holds the run
        AskRetest, // the row failed without run-all
        Next, // decide what comes next (nextStep)
    };
    Notice finishNotice(int selectedRow);
    // The row whose finish notice was taken last; -1 before the first.
    int lastFinished() const { return m_lastFinished; }

private:
    bool rowInList(int row) const { return row >= 0 && row < m_rows.rowCount(); }
    void forgetPending(int row);

    const RunRows& m_rows;
    int m_confirmIndex { -1 };
    int m_nextIndex { 0 };
    bool m_running { false };
    bool m_runAll { true }; // kept when "config.ini" cannot be read
    bool m_failReported { false };
    bool m_allPassReported { false };
    // Rows whose tests run on after execute() and have not reported yet,
    // oldest first. A finish notice is taken only while one is listed.
    std::vector<int> m_pending;
    int m_lastFinished { -1 };
};

}
