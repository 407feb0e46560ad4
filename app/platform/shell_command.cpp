#include "platform/shell_command.h"

#include <cstdlib>
#include <vector>

namespace {
ShellCommandRunner s_runner = nullptr;
ShellPipeOpener s_pipeOpener = nullptr;
// The streams a test's opener gave out, which are closed with fclose. Few
// are open at a time (one a test), so a list is enough.
std::vector<FILE*> s_testStreams;
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

FILE* openShellPipe(const char* command)
{
    if (!s_pipeOpener)
        return popen(command, "r");
    FILE* stream = s_pipeOpener(command);
    if (stream)
        s_testStreams.push_back(stream);
    return stream;
}

int closeShellPipe(FILE* pipe)
{
    if (!pipe)
        return -1;
    for (auto it = s_testStreams.begin(); it != s_testStreams.end(); ++it) {
        if (*it == pipe) {
            s_testStreams.erase(it);
            return std::fclose(pipe);
        }
    }
    return pclose(pipe);
}

ShellPipeOpener setShellPipeOpener(ShellPipeOpener opener)
{
    ShellPipeOpener old = s_pipeOpener;
    s_pipeOpener = opener;
    return old;
}
