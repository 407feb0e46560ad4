#pragma once
// The program's millisecond clock for timing pointer gestures.

// Wall-clock milliseconds (seconds * 1000 + microseconds / 1000 of the time of
// day), wrapping as 32-bit arithmetic does. It reads the toolkit's clock, so a
// test that steps the toolkit's test clock steps this one with the loop's
// timers.
unsigned int millisec_tick();
