#pragma once
// The virtual board: prepares a run directory, starts the program confined
// with the preload library, serves its device requests and the controller,
// and copies its output. One thread, one poll loop.

#include "scenario.h"
#include "wire.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace board {

struct RunOptions {
    Scenario scenario;
    std::string runDir; // empty: a new one under the temporary directory
    bool viewer { false };
    std::vector<std::string> command; // the program and its arguments
};

// Runs the program on a board; returns the exit status for the board's own
// exit (the program's, 128 + signal, or 125 when the board could not start it).
int runBoard(const RunOptions& options);

// Sends one controller command to the board of runDir; prints the answer.
// Returns the exit status of "uishull-board ctl".
int controlBoard(const std::string& runDir, const std::vector<std::string>& words);

}
