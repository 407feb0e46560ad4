// The quick test's run sequence on its own, without a window or a toolkit:
// rows are plain results the test sets.

#include "quicktest/runsequence.h"

#include <gtest/gtest.h>

#include <vector>

using namespace quicktest;

namespace {

class FakeRows : public RunRows {
public:
    explicit FakeRows(int count)
        : results(count, TestResult::Untested)
        , tested(count, false)
    {
    }
    int rowCount() const override { return static_cast<int>(results.size()); }
    TestResult rowResult(int row) const override { return results[row]; }
    bool rowTested(int row) const override { return tested[row]; }

    // What the window does with a test's return.
    void ran(int row, RunOutcome outcome)
    {
        tested[row] = true;
        if (outcome == RunOutcome::Pass)
            results[row] = TestResult::Pass;
        if (outcome == RunOutcome::Fail)
            results[row] = TestResult::Fail;
    }

    std::vector<TestResult> results;
    std::vector<bool> tested;
};

class RunSequenceTest : public ::testing::Test {
protected:
    RunSequence::AfterRun run(int row, RunOutcome outcome, bool autoRun = false)
    {
        EXPECT_TRUE(sequence.start(row));
        rows.ran(row, outcome);
        return sequence.finished(row, outcome, autoRun);
    }

    FakeRows rows { 3 };
    RunSequence sequence { rows };
};

}

TEST(RunOutcomeTest, ExecuteValuesHaveTheirNamedMeanings)
{
    EXPECT_EQ(outcomeOf(0), RunOutcome::Pass);
    EXPECT_EQ(outcomeOf(1), RunOutcome::Fail);
    EXPECT_EQ(outcomeOf(2), RunOutcome::AskOperator);
    EXPECT_EQ(outcomeOf(4), RunOutcome::ReleasesScreen);
    for (int other : { -1, 3, 5, 7, 1000 })
        EXPECT_EQ(outcomeOf(other), RunOutcome::Pending) << other;
    EXPECT_EQ(resultOf(-1), TestResult::Untested);
    EXPECT_EQ(resultOf(0), TestResult::Pass);
    EXPECT_EQ(resultOf(1), TestResult::Fail);
    EXPECT_EQ(resultOf(2), TestResult::Untested);
}

TEST_F(RunSequenceTest, StartsIdleWithRunAllAtRowZero)
{
    EXPECT_FALSE(sequence.running());
    EXPECT_TRUE(sequence.runAll());
    EXPECT_EQ(sequence.nextIndex(), 0);
    EXPECT_EQ(sequence.confirmIndex(), -1);
    EXPECT_EQ(sequence.rowForStep(), 0);
    EXPECT_EQ(sequence.nextStep(), RunSequence::Next::Step);
}

TEST_F(RunSequenceTest, ARowOutsideTheListDoesNotStart)
{
    EXPECT_FALSE(sequence.start(-1));
    EXPECT_FALSE(sequence.start(3));
    EXPECT_FALSE(sequence.running());
    EXPECT_EQ(sequence.nextIndex(), 0);
}

TEST_F(RunSequenceTest, PassingRowsStepThroughToTheAllPassedVerdictOnce)
{
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(sequence.rowForStep(), row);
        EXPECT_EQ(run(row, RunOutcome::Pass), RunSequence::AfterRun::Next);
        EXPECT_FALSE(sequence.running());
        EXPECT_EQ(sequence.lastRowStarted(), row == 2);
        EXPECT_EQ(sequence.nextStep(), row < 2 ? RunSequence::Next::Step : RunSequence::Next::AllPassed);
    }
    EXPECT_EQ(sequence.rowForStep(), -1);
    EXPECT_TRUE(sequence.takeAllPassReport());
    EXPECT_FALSE(sequence.takeAllPassReport());
    EXPECT_TRUE(sequence.allPassReported());
}

TEST_F(RunSequenceTest, ATapCountsTheNextRowOnFromTheLastOneNotFromTheTappedRow)
{
    run(2, RunOutcome::Pass);
    EXPECT_EQ(sequence.nextIndex(), 1);
    EXPECT_EQ(sequence.rowAfter(2), 0);
    EXPECT_EQ(sequence.rowAfter(0), 1);
}

TEST_F(RunSequenceTest, WithRunAllAFailureIsReportedWithoutABoxAndTheRunGoesOn)
{
    EXPECT_EQ(run(0, RunOutcome::Fail), RunSequence::AfterRun::ReportFailure);
    EXPECT_FALSE(sequence.takeFailureReport());
    EXPECT_TRUE(sequence.failReported());
    EXPECT_EQ(sequence.nextStep(), RunSequence::Next::Step);
}

TEST_F(RunSequenceTest, WithoutRunAllAFailureAsksForARetestOfTheSameRowAndStops)
{
    sequence.setRunAll(false);
    run(0, RunOutcome::Pass);
    EXPECT_EQ(run(1, RunOutcome::Fail), RunSequence::AfterRun::AskRetest);
    EXPECT_EQ(sequence.nextIndex(), 1);
    EXPECT_EQ(sequence.nextStep(), RunSequence::Next::Stop);
    sequence.retest(1);
    EXPECT_EQ(sequence.rowForStep(), 1);
    EXPECT_TRUE(sequence.takeFailureReport());
    EXPECT_FALSE(sequence.takeFailureReport()) << "the box is shown once";
}

TEST_F(RunSequenceTest, TheOperatorsAnswerGoesToTheQuestionsRow)
{
    EXPECT_EQ(sequence.answer(), RunSequence::Answer::NoQuestion);
    EXPECT_EQ(run(1, RunOutcome::AskOperator), RunSequence::AfterRun::AskOperator);
    EXPECT_TRUE(sequence.running());
    EXPECT_EQ(sequence.confirmIndex(), 1);
    EXPECT_EQ(sequence.answer(), RunSequence::Answer::Record);
    EXPECT_TRUE(sequence.answered(false)) << "run-all goes on after a not-OK answer";
    EXPECT_FALSE(sequence.running());
}

TEST_F(RunSequenceTest, ANotOkAnswerWithoutRunAllStopsTheRun)
{
    sequence.setRunAll(false);
    run(0, RunOutcome::AskOperator);
    EXPECT_FALSE(sequence.answered(false));
    run(1, RunOutcome::AskOperator);
    EXPECT_TRUE(sequence.answered(true));
}

TEST_F(RunSequenceTest, AnAnswerForARowPastTheListIsIgnored)
{
    run(2, RunOutcome::AskOperator);
    rows.results.pop_back();
    rows.tested.pop_back();
    EXPECT_EQ(sequence.answer(), RunSequence::Answer::Ignore);
}

TEST_F(RunSequenceTest, APendingTestHoldsTheScreenUntilItsNotice)
{
    EXPECT_EQ(run(0, RunOutcome::Pending), RunSequence::AfterRun::Wait);
    EXPECT_TRUE(sequence.running());
    rows.results[0] = TestResult::Pass;
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::Next);
    EXPECT_FALSE(sequence.running());
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::Ignore) << "reported once";
}

TEST_F(RunSequenceTest, APendingFailureWithoutRunAllAsksForARetestOnItsNotice)
{
    sequence.setRunAll(false);
    run(0, RunOutcome::Pending);
    rows.results[0] = TestResult::Fail;
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::AskRetest);
}

TEST_F(RunSequenceTest, AReleasingTestFreesTheScreenAtOnceAndMayStillReport)
{
    EXPECT_EQ(run(0, RunOutcome::ReleasesScreen), RunSequence::AfterRun::Wait);
    EXPECT_FALSE(sequence.running());
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::Next);
}

TEST_F(RunSequenceTest, AnAutoRunPendingTestLetsTheRunGoOn)
{
    EXPECT_EQ(run(0, RunOutcome::Pending, true), RunSequence::AfterRun::WaitAndStep);
}

TEST_F(RunSequenceTest, AFinishNoticeWithNoTestRunningOnIsIgnored)
{
    EXPECT_EQ(sequence.finishNotice(-1), RunSequence::Notice::Ignore);
    run(0, RunOutcome::AskOperator);
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::Ignore);
    EXPECT_TRUE(sequence.running()) << "the question still holds the screen";
    EXPECT_EQ(sequence.confirmIndex(), 0);
}

TEST_F(RunSequenceTest, ANoticeWhileTheOperatorIsAskedIsOnlyRecorded)
{
    run(0, RunOutcome::Pending, true);
    run(1, RunOutcome::AskOperator);
    EXPECT_EQ(sequence.finishNotice(1), RunSequence::Notice::Recorded);
    EXPECT_TRUE(sequence.running());
    EXPECT_EQ(sequence.finishNotice(1), RunSequence::Notice::Ignore);
}

TEST_F(RunSequenceTest, ARowRunAgainReplacesItsUnreportedRun)
{
    run(0, RunOutcome::ReleasesScreen);
    run(0, RunOutcome::Pass);
    EXPECT_EQ(sequence.finishNotice(0), RunSequence::Notice::Ignore);
}
