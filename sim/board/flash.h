#pragma once
// What the flash model shares with the other models: the chip identifier the
// display driver reports (it decides the environment's layout) and the MTD
// partitions as /proc/partitions lists them.

#include "scenario.h"

#include <cstdint>
#include <string>

namespace board {

// The chip identifier of [flash] chip (the display driver's request 0x80046905).
uint32_t chipIdentifier(const Scenario& s);
// The MTD partitions' lines of /proc/partitions ("" when the board has no NAND).
std::string mtdPartitionLines(const Scenario& s);

}
