#pragma once
// The commands the board stands in for (system, popen and the stand-in
// binary): scenario rules answer them, the power commands are recorded and
// never run.

#include <vector>

namespace board {

// Names the stand-in binary answers to in the program's PATH.
const std::vector<const char*>& standInNames();
// Commands that only ever stand in: the machine running the board must never go down.
const std::vector<const char*>& powerCommandNames();

}
