#pragma once
// Runs one of the helper programs built with the toolkit and reports how it ended.
//
// A cross build's tests run under an emulator, which cannot start the helper
// programs (built for the same foreign machine) by itself. UISHULL_EMULATOR,
// when set, is the command that can ("qemu-arm -L SYSROOT", words separated by
// blanks); without it such tests skip rather than fail.

#include "lumi_test.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace toolkittest {

// Path of a program of the build's tools directory.
inline std::string toolPath(const std::string& name)
{
    return lumitest::binaryDir() + "/tools/" + name;
}

struct ToolRun {
    int startError { 0 }; // errno of a failed start, 0 when the program ran
    int status { -1 }; // exit status; -1 when it did not exit normally
};

// Forks and execs argv with stdin from stdinPath and stderr into stderrPath.
// A descriptor closed by a successful exec tells the parent whether the
// program started, so "could not start" is never mistaken for exit status 127.
inline ToolRun spawn(
    std::vector<std::string> argv, const std::string& stdinPath, const std::string& stderrPath)
{
    ToolRun run;
    std::vector<char*> args;
    for (auto& arg : argv)
        args.push_back(arg.data());
    args.push_back(nullptr);
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        run.startError = errno;
        return run;
    }
    pid_t pid = fork();
    if (pid < 0) {
        run.startError = errno;
        close(report[0]);
        close(report[1]);
        return run;
    }
    if (pid == 0) {
        int in = open(stdinPath.c_str(), O_RDONLY);
        int err = open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in >= 0)
            dup2(in, 0);
        if (err >= 0)
            dup2(err, 2);
        execv(args[0], args.data());
        int error = errno;
        ssize_t ignored = write(report[1], &error, sizeof(error));
        (void)ignored;
        _exit(127);
    }
    close(report[1]);
    int error = 0;
    ssize_t got = 0;
    do {
        got = read(report[0], &error, sizeof(error));
    } while (got < 0 && errno == EINTR);
    close(report[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) { }
    if (got == static_cast<ssize_t>(sizeof(error))) {
        run.startError = error;
        return run;
    }
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

// Runs program with args, stdin from stdinPath (or /dev/null) and stderr into
// stderrPath, through UISHULL_EMULATOR when that is set.
inline ToolRun runToolChecked(const std::string& program, const std::vector<std::string>& args,
    const std::string& stderrPath, const std::string& stdinPath = "/dev/null")
{
    std::vector<std::string> argv;
    const std::string emulatorWords = lumitest::emulator();
    const char* emulator = emulatorWords.empty() ? nullptr : emulatorWords.c_str();
    if (emulator && *emulator) {
        std::string words = emulator;
        size_t at = 0;
        while (at < words.size()) {
            size_t end = words.find(' ', at);
            if (end == std::string::npos)
                end = words.size();
            if (end > at)
                argv.push_back(words.substr(at, end - at));
            at = end + 1;
        }
    }
    argv.push_back(program);
    argv.insert(argv.end(), args.begin(), args.end());
    return spawn(argv, stdinPath, stderrPath);
}

// The exit status of the program, or -1 when it could not be started.
inline int runTool(const std::string& program, const std::vector<std::string>& args,
    const std::string& stderrPath, const std::string& stdinPath = "/dev/null")
{
    ToolRun run = runToolChecked(program, args, stderrPath, stdinPath);
    return run.startError ? -1 : run.status;
}

// Why program cannot be run by these tests: "" when it can. skip is set when
// the reason is the machine (a foreign build), not a missing program.
inline std::string toolProblem(const std::string& program, bool& skip)
{
    skip = false;
    struct stat st { };
    if (stat(program.c_str(), &st) != 0)
        return program + " is missing: build it first";
    ToolRun run = runToolChecked(program, {}, "/dev/null");
    if (run.startError == ENOEXEC) {
        skip = true;
        return program + " is built for another machine (set UISHULL_EMULATOR to run it)";
    }
    if (run.startError)
        return program + " cannot be started: " + std::to_string(run.startError);
    return "";
}

inline std::string readText(const std::string& path)
{
    std::string text;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return text;
    char buffer[1024];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0)
        text.append(buffer, got);
    std::fclose(file);
    return text;
}

}

// Skips the current test when the tool cannot run on this machine, and fails
// it when the tool is missing or broken.
#define REQUIRE_TOOL(program)                                                                                \
    do {                                                                                                     \
        bool toolSkip = false;                                                                               \
        std::string toolWhy = toolkittest::toolProblem(program, toolSkip);                                   \
        if (toolSkip)                                                                                        \
            GTEST_SKIP() << toolWhy;                                                                         \
        ASSERT_EQ(toolWhy, "");                                                                              \
    } while (false)
