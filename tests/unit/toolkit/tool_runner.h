#pragma once
// Runs one of the command-line tools built with the toolkit (lumi-shot,
// lumi-input) through lumitest::ChildProcess, which also starts them under
// the emulator of a cross build.

#include "child_process.h"
#include "lumi_test.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace toolkittest {

// Path of a program of the build's tools directory.
inline std::string toolPath(const std::string& name)
{
    return lumitest::binaryDir() + "/tools/" + name;
}

// Runs program with args and stdin from stdinPath, writes what it printed on
// stderr to stderrPath, and returns its exit status (-1 when it did not end).
inline int runTool(const std::string& program, const std::vector<std::string>& args,
    const std::string& stderrPath, const std::string& stdinPath = "/dev/null")
{
    lumitest::ChildProcess tool(program, args, {}, "", {}, stdinPath);
    const int status = tool.wait(30000);
    std::ofstream(stderrPath) << tool.errors();
    return status;
}

inline std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}

// Fails the current test when the tool has not been built.
#define REQUIRE_TOOL(program)                                                                                \
    do {                                                                                                     \
        struct stat toolStat { };                                                                            \
        ASSERT_EQ(stat(std::string(program).c_str(), &toolStat), 0) << (program) << " is missing: build it first"; \
    } while (false)
