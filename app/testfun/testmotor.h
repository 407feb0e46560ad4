#pragma once
// The vibration test: drives the vibrator through its timed-output control
// file with two short pulses and asks the operator whether it buzzed.

#include "testfun/log.hpp"

class TestMotor : public TestItem {
public:
    explicit TestMotor(char* name);

    // 2 (the operator decides) after writing the pulses; 1 when the control
    // file cannot be opened. The result is left to the quick-test window.
    int execute(Log* log) override;
};
