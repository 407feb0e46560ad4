#pragma once
// Runs a program of the build (under the cross emulator when the build has
// one) with its own environment, and reads what it prints.

#include <string>
#include <vector>

namespace lumitest {

class ChildProcess {
public:
    // program: path of the executable; env: "NAME=value" entries added to a
    // clean environment (PATH and TMPDIR are kept unless env sets them);
    // wrapper: words run before the program (and its emulator), such as a
    // Sandbox's prefix; stdinPath: the file its standard input reads
    // (default /dev/null).
    ChildProcess(const std::string& program, const std::vector<std::string>& args,
        const std::vector<std::string>& env, const std::string& workDir = std::string(),
        const std::vector<std::string>& wrapper = {}, const std::string& stdinPath = std::string());
    ~ChildProcess();   // kills the process if it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }
    int pid() const { return m_pid; }
    // Reads stdout until a line containing text arrives (true) or the
    // process closes its stdout or timeoutMs passes (false).
    bool waitForOutput(const std::string& text, int timeoutMs = 10000);
    // Waits for the process to end; returns its exit status, 128 + signal
    // when killed, or -1 when it did not end in time.
    int wait(int timeoutMs = 10000);
    void signal(int sig);
    // Closes the reading end of the process's stdout: its reader goes away.
    void closeOutput();
    bool running();
    // Everything read from stdout so far (stderr is read into errors()).
    const std::string& output() const { return m_out; }
    const std::string& errors() const { return m_err; }

private:
    bool readSome(int timeoutMs);

    int m_pid { -1 };
    int m_outFd { -1 };
    int m_errFd { -1 };
    int m_status { -1 };
    bool m_reaped { false };
    bool m_wrapped { false };
    std::string m_out;
    std::string m_err;
};

// Path of an executable of the build tree, e.g. "app/uishull".
std::string buildProgram(const std::string& relative);

}
