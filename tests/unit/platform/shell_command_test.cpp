#include "platform/shell_command.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <string>
#include <vector>

namespace {
std::vector<std::string> s_seen;
int record(const char* command)
{
    s_seen.push_back(command);
    return 42;
}
}

TEST(ShellCommand, AnInstalledRunnerSeesTheCommandInsteadOfTheShell)
{
    s_seen.clear();
    const ShellCommandRunner old = setShellCommandRunner(record);
    EXPECT_EQ(runShellCommand("poweroff"), 42);
    EXPECT_EQ(s_seen, (std::vector<std::string> { "poweroff" }));
    EXPECT_EQ(setShellCommandRunner(old), record);
}

TEST(ShellCommand, WithoutARunnerTheShellRunsTheCommand)
{
    // "exit 3" is harmless and proves the shell ran it.
    const int status = runShellCommand("exit 3");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}
