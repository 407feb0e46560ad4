#pragma once
// The charging state test: reads which source powers the device from the
// charger driver's /proc/batt_config and asks the operator whether that is
// right.

#include "testfun/log.hpp"

#include <cstddef>

class TestBattery : public TestItem {
public:
    explicit TestBattery(char* name);

    // 2 (the operator decides) after a reading of battery (1) or external
    // power (2), with the result set to 2; 1 when the file cannot be opened
    // or the reading is anything else, with the result untouched.
    int execute(Log* log) override;
};

// The bytes of the file the test reads.
constexpr size_t BATTERY_READ_BYTES = 180;

// The value of "supply_power=%d" at the start of the first
// BATTERY_READ_BYTES bytes of data; 0 when they do not match.
int parseSupplyPower(const char* data, size_t size);
