#include <lumi/clock.h>

#include <ctime>
#include <sys/time.h>

namespace lumi {

namespace {

    // Read and written on the loop thread only; no signal handler reads time.
    Clock& testClock()
    {
        static Clock clock;
        return clock;
    }

}

uint64_t monotonicMs()
{
    if (const Clock& clock = testClock())
        return clock();
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000000);
}

uint64_t wallClockMs()
{
    if (const Clock& clock = testClock())
        return clock();
    timeval now {};
    gettimeofday(&now, nullptr);
    return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_usec / 1000);
}

void setTestClock(Clock clock)
{
    testClock() = std::move(clock);
}

}
