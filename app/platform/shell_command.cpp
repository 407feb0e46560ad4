#include "platform/shell_command.h"

#include <cstdlib>

namespace {
ShellCommandRunner s_runner = nullptr;
}

int runShellCommand(const char* command)
{
    if (s_runner)
        return s_runner(command);
    return std::system(command);
}

ShellCommandRunner setShellCommandRunner(ShellCommandRunner runner)
{
    ShellCommandRunner old = s_runner;
    s_runner = runner;
    return old;
}
