// Commands whose output the program reads go through the one shell module:
// a test's opener sees them and scripts their output; without one they run
// through popen.

#include "platform/shell_command.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<std::string> s_seen;

FILE* scriptedPipe(const char* command)
{
    s_seen.emplace_back(command);
    FILE* f = std::tmpfile();
    if (f) {
        std::fputs("scripted\n", f);
        std::rewind(f);
    }
    return f;
}

FILE* failingPipe(const char* command)
{
    s_seen.emplace_back(command);
    return nullptr;
}

std::string readAll(FILE* f)
{
    std::string text;
    char buf[256];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        text.append(buf, n);
    return text;
}

TEST(ShellPipe, ATestOpenerSeesTheCommandAndGivesItsOutput)
{
    s_seen.clear();
    ShellPipeOpener old = setShellPipeOpener(scriptedPipe);
    FILE* f = openShellPipe("/sbin/ifconfig eth0");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(readAll(f), "scripted\n");
    EXPECT_EQ(closeShellPipe(f), 0);
    EXPECT_EQ(s_seen, (std::vector<std::string> { "/sbin/ifconfig eth0" }));
    EXPECT_EQ(setShellPipeOpener(old), scriptedPipe);
}

TEST(ShellPipe, APipeTheOpenerRefusesIsNull)
{
    s_seen.clear();
    ShellPipeOpener old = setShellPipeOpener(failingPipe);
    EXPECT_EQ(openShellPipe("udhcpc"), nullptr);
    EXPECT_EQ(closeShellPipe(nullptr), -1);
    EXPECT_EQ(s_seen.size(), 1u);
    setShellPipeOpener(old);
}

TEST(ShellPipe, WithoutAnOpenerTheCommandRunsThroughTheShell)
{
    ShellPipeOpener old = setShellPipeOpener(nullptr);
    FILE* f = openShellPipe("printf 'a b\\n'");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(readAll(f), "a b\n");
    // pclose gives the command's status.
    EXPECT_EQ(closeShellPipe(f), 0);
    f = openShellPipe("exit 3");
    ASSERT_NE(f, nullptr);
    const int status = closeShellPipe(f);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    setShellPipeOpener(old);
}

TEST(ShellPipe, AStreamKeepsTheWayItWasOpenedAfterTheOpenerChanges)
{
    ShellPipeOpener old = setShellPipeOpener(scriptedPipe);
    FILE* f = openShellPipe("anything");
    ASSERT_NE(f, nullptr);
    setShellPipeOpener(nullptr);
    // Closed with fclose (pclose of a non-pipe stream would fail with -1).
    EXPECT_EQ(closeShellPipe(f), 0);
    setShellPipeOpener(old);
}

}
