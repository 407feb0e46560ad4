// millisec_tick reads the toolkit's clock: the test clock moves it with the
// loop's timers, and without one it is the time of day.

#include "lumi_test.h"

#include "platform/millisec_tick.h"

#include <sys/time.h>

namespace {

class MillisecTickTest : public lumitest::ToolkitTest { };

}

TEST_F(MillisecTickTest, AdvancingTheTestClockMovesTheTickWithTheLoopsTimers)
{
    const unsigned int start = millisec_tick();
    EXPECT_EQ(start, static_cast<unsigned int>(nowMs));
    int fired = 0;
    rt->addTimer(
        20, [](void* arg, int) { ++*static_cast<int*>(arg); }, &fired);
    advance(60);
    EXPECT_EQ(fired, 3);
    EXPECT_EQ(millisec_tick() - start, 60u);
}

TEST_F(MillisecTickTest, TheTickWrapsAsThirtyTwoBitArithmeticDoes)
{
    nowMs = (uint64_t { 1 } << 32) + 5;
    EXPECT_EQ(millisec_tick(), 5u);
}

TEST(MillisecTick, WithoutATestClockItIsTheTimeOfDay)
{
    const auto timeOfDay = [] {
        timeval now {};
        gettimeofday(&now, nullptr);
        return static_cast<unsigned int>(now.tv_sec) * 1000u + static_cast<unsigned int>(now.tv_usec / 1000);
    };
    const unsigned int before = timeOfDay();
    const unsigned int tick = millisec_tick();
    const unsigned int after = timeOfDay();
    EXPECT_LE(tick - before, after - before); // before <= tick <= after, modulo 2^32
}
