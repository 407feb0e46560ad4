#pragma once
// The g-sensor test: starts the driver's self-test through
// /proc/gsensor_config, polls three times two seconds apart for
// "test_pass=1", and always tells the driver that the test is over.

#include "testfun/log.hpp"

#include <cstddef>

class TestSensor : public TestItem {
public:
    explicit TestSensor(char* name);

    // 0 when the driver reported a pass within the three polls, else 1 (also
    // when the file cannot be opened). The result is left to the quick-test
    // window. Blocks the loop for up to six seconds.
    int execute(Log* log) override;
};

// True when the first 11 bytes of a poll's text are "test_pass=1". data is
// what one read gave (at most 50 bytes are looked at).
bool sensorAnswerPasses(const char* data, size_t size);

// The waits between polls go through one function (sleep by default), so
// that unit tests do not wait and can play the driver between polls. Null
// restores sleep. Returns the previous one.
using SensorSleep = unsigned int (*)(unsigned int seconds);
SensorSleep setSensorSleep(SensorSleep wait);
