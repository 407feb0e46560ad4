#pragma once
// Fixture for end-to-end tests of the real program: "uishull TYPE" in a
// Sandbox whose /tmp is the test's directory, on a headless 800x480 screen
// (/tmp/screen.raw) with the test-input socket at /tmp/input. Skips where
// bubblewrap cannot run.

#include "child_process.h"
#include "lumi_test.h"
#include "sandbox.h"

#include <functional>
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

    // The program's notifier socket, to which update scripts send datagrams.
    std::string socketPath() const { return tmp.file("autorun_msg.dat"); }
    // Sends one datagram to the notifier socket as a script would; waits
    // while the program's queue is full, but never longer than
    // timeoutSeconds. True when it went out whole.
    bool sendDatagram(const std::string& bytes, int timeoutSeconds = 30) const;

    // Polls every 20 ms until pred holds (true) or timeoutMs passes (false).
    static bool pollUntil(const std::function<bool()>& pred, int timeoutMs);
    // Whether anything, even a dangling link, is at path.
    static bool exists(const std::string& path);
    // How many times what stands in text, without overlaps.
    static int occurrences(const std::string& text, const std::string& what);

    TempDir tmp;
    Sandbox box { tmp.path() };
    std::unique_ptr<ChildProcess> process;
};

}
