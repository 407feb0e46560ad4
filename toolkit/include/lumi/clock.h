#pragma once
// The toolkit's time: one source for the loop's timers and for wall-clock
// readings, which a test replaces as a whole so that stepping its clock moves
// both together.

#include <cstdint>
#include <functional>

namespace lumi {

// Milliseconds, never decreasing: what the loop's timers are scheduled on.
uint64_t monotonicMs();
// Milliseconds since the epoch by the time of day (seconds * 1000 +
// microseconds / 1000): timestamps and gesture timing.
uint64_t wallClockMs();

// A hand-stepped clock for tests (milliseconds, never decreasing): while one
// is set, both readings above return it. Null restores the system's clocks.
// The clock must stay callable until it is replaced or cleared.
using Clock = std::function<uint64_t()>;
void setTestClock(Clock clock);

}
