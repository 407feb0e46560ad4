#pragma once
// Shared pieces of the device tests' unit tests: a device root in the test's
// own directory (so the fixed paths never reach the machine), a shell whose
// commands are recorded and whose piped output the test scripts, answers to
// the MII requests, and a sensor sleep that does not wait.

#include "testfun_support.h"

#include "platform/shell_command.h"
#include "testfun/devicefiles.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace devtest {

// What the recorded shell saw and what it answers.
struct FakeShell {
    // Every command, in order, given to runShellCommand or openShellPipe;
    // piped ones are prefixed "pipe: ".
    std::vector<std::string> commands;
    // The output a piped command prints; a command missing here prints nothing.
    std::map<std::string, std::string> pipeOutput;
    // Piped commands whose pipe cannot be opened.
    std::vector<std::string> failingPipes;
    // Called for every command run through runShellCommand (to play what the
    // command does, such as writing the scan file).
    std::function<void(const std::string&)> onCommand;
    // Where the test's streams are made.
    std::string dir;
    int streams { 0 };
};

inline FakeShell*& currentShell()
{
    static FakeShell* shell = nullptr;
    return shell;
}

inline int fakeRun(const char* command)
{
    FakeShell* shell = currentShell();
    shell->commands.emplace_back(command);
    if (shell->onCommand)
        shell->onCommand(command);
    return 0;
}

inline FILE* fakePipe(const char* command)
{
    FakeShell* shell = currentShell();
    shell->commands.push_back(std::string("pipe: ") + command);
    for (const std::string& failing : shell->failingPipes)
        if (failing == command)
            return nullptr;
    // A real file in the test's directory, so that reading it behaves as a
    // stream does.
    const std::string path = shell->dir + "/pipe" + std::to_string(shell->streams++);
    auto it = shell->pipeOutput.find(command);
    if (!testfuntest::writeFile(path, it == shell->pipeOutput.end() ? std::string() : it->second))
        return nullptr;
    return std::fopen(path.c_str(), "r");
}

// Fixture: the device root is tmp/root (with proc, dev, data, sys made), the
// shell is recorded.
class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = tmp.file("root");
        for (const char* dir : { "", "/proc", "/dev", "/data", "/sys", "/sys/class",
                 "/sys/class/timed_output", "/sys/class/timed_output/vibrator" })
            ::mkdir((root + dir).c_str(), 0755);
        setDeviceRoot(root.c_str());
        shell.dir = tmp.path();
        currentShell() = &shell;
        m_oldRunner = setShellCommandRunner(fakeRun);
        m_oldOpener = setShellPipeOpener(fakePipe);
    }

    void TearDown() override
    {
        setShellPipeOpener(m_oldOpener);
        setShellCommandRunner(m_oldRunner);
        currentShell() = nullptr;
        setDeviceRoot(nullptr);
    }

    // Writes a device file under the root (path as the program names it).
    bool writeDevice(const std::string& path, const std::string& text)
    {
        return testfuntest::writeFile(root + path, text);
    }

    std::string readDevice(const std::string& path) const
    {
        std::string text;
        FILE* f = std::fopen((root + path).c_str(), "r");
        if (!f)
            return "<missing>";
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
            text.append(buf, n);
        std::fclose(f);
        return text;
    }

    lumitest::TempDir tmp;
    std::string root;
    FakeShell shell;
    testfuntest::RecordingLog log;

private:
    ShellCommandRunner m_oldRunner { nullptr };
    ShellPipeOpener m_oldOpener { nullptr };
};

}
