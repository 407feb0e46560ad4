#include "child_process.h"
#include "lumi_test.h"
#include "sandbox.h"

#include <cstdio>
#include <cstdlib>

// The sandbox the end-to-end tests rely on must really keep its promises.

namespace {
// The shell run here is the host's own, not a program of the build: no emulator.
struct HostPrograms {
    HostPrograms() { setenv("UISHULL_EMULATOR", "", 1); }
    ~HostPrograms() { unsetenv("UISHULL_EMULATOR"); }
};
}

TEST(Sandbox, PoweroffInsideRunsTheStandInAndIsRecorded)
{
    if (!lumitest::Sandbox::available())
        GTEST_SKIP() << "bubblewrap is not available";
    HostPrograms host;
    lumitest::TempDir tmp;
    lumitest::Sandbox box(tmp.path());
    std::vector<std::string> wrapper = box.prefix();
    lumitest::ChildProcess p("/bin/sh", { "-c", "poweroff; /usr/sbin/poweroff now; systemctl poweroff; echo done" },
        box.environment(), "", wrapper);
    EXPECT_EQ(p.wait(), 0);
    EXPECT_NE(p.output().find("done"), std::string::npos);
    const std::string log = box.commandLog();
    EXPECT_NE(log.find("poweroff \n"), std::string::npos) << log;
    EXPECT_NE(log.find("poweroff now\n"), std::string::npos) << log;
    EXPECT_NE(log.find("systemctl poweroff\n"), std::string::npos) << log;
}

TEST(Sandbox, TheProgramsTmpIsTheTestsDirectory)
{
    if (!lumitest::Sandbox::available())
        GTEST_SKIP() << "bubblewrap is not available";
    HostPrograms host;
    lumitest::TempDir tmp;
    lumitest::Sandbox box(tmp.path());
    lumitest::ChildProcess p("/bin/sh", { "-c", "echo hi > /tmp/marker" }, box.environment(), "", box.prefix());
    EXPECT_EQ(p.wait(), 0);
    FILE* f = std::fopen(box.tmpPath("marker").c_str(), "r");
    ASSERT_NE(f, nullptr);
    std::fclose(f);
}
