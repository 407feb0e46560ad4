#pragma once
// Fixture for end-to-end tests of the real program: "uishull TYPE" in a
// Sandbox whose /tmp is the test's directory, on a headless 800x480 screen
// (/tmp/screen.raw) with the test-input socket at /tmp/input. Skips where
// bubblewrap cannot run.

#include "child_process.h"
#include "lumi_test.h"
#include "sandbox.h"

#include <memory>
#include <string>
#include <vector>

namespace lumitest {

class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override;

    // The program's environment: the sandbox's, the screen and the input socket.
    std::vector<std::string> programEnvironment() const;
    // Starts uishull with args; the process lives until the test ends.
    ChildProcess& startProgram(const std::vector<std::string>& args);
    // Sends one test-input line; true when the socket took it whole.
    bool sendInput(const std::string& line);
    // The same, retrying for a few seconds while the socket is not there yet.
    bool sendInputWhenReady(const std::string& line);

    TempDir tmp;
    Sandbox box { tmp.path() };
    std::unique_ptr<ChildProcess> process;
};

}
