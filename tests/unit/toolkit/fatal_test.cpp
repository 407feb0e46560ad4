// The toolkit's one fatal check, which the program's assertions use too.

#include <lumi/fatal.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

int checkPositive(int value)
{
    LUMI_ASSERT(value > 0, "somewhere", 42, "int checkPositive(int)");
    return value;
}

}

TEST(LumiAssert, AHoldingConditionReturnsAndEvaluatesItOnce)
{
    int calls = 0;
    const auto counted = [&calls] { return ++calls; };
    LUMI_ASSERT(counted() == 1, "here", 1, "f");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(checkPositive(3), 3);
}

TEST(LumiAssertDeathTest, AFailingConditionPrintsTheStandardLineWithTheGivenPlace)
{
    EXPECT_DEATH(
        checkPositive(0), "somewhere:42: int checkPositive\\(int\\): Assertion `value > 0' failed\\.");
}

TEST(LumiAssertDeathTest, WhatWasPrintedBeforeComesFirst)
{
    EXPECT_EXIT(
        {
            dup2(2, 1); // one stream, so the order shows
            std::printf("before the failure"); // no line end: still in the buffer
            checkPositive(-1);
        },
        testing::KilledBySignal(SIGABRT), "before the failure.*Assertion `value > 0' failed");
}
