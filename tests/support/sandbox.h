#pragma once
// A sandbox for running the program in end-to-end tests: the host's files
// read-only... except the test's own directory, which becomes the program's
// /tmp, a minimal /dev (no frame buffer, no input devices), and harmless
// stand-ins for the commands that must never run for real in a test.

#include <string>
#include <vector>

namespace lumitest {

class Sandbox {
public:
    // root: the test's temporary directory. Inside the sandbox it is /tmp, and
    // root/bin holds the stand-ins, each of which appends its name and
    // arguments to root/commands.log and succeeds.
    explicit Sandbox(const std::string& root);

    // The words to put before the program's own command line.
    const std::vector<std::string>& prefix() const { return m_prefix; }
    // Environment entries the program should get (PATH with the stand-ins first).
    std::vector<std::string> environment() const;
    // What the stand-ins recorded, one line a call ("poweroff", "rm /tmp/x" ...).
    std::string commandLog() const;
    // The path under root that the program sees as /tmp/<name>.
    std::string tmpPath(const std::string& name) const { return m_root + "/" + name; }

    static bool available();   // bubblewrap is installed and works here

private:
    std::string m_root;
    std::vector<std::string> m_prefix;
};

}
