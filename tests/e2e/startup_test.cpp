#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"
#include "sandbox.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The program runs in a sandbox whose /tmp is the test's directory: its
// notifier socket, screen file and test-input socket all land there.
class StartupTest : public lumitest::ProgramTest {
protected:
    lumitest::ChildProcess* start(const std::vector<std::string>& args) { return &startProgram(args); }
};

}

TEST_F(StartupTest, WithoutAnArgumentOnlyTheErrorLineIsPrintedAndTheExitIsClean)
{
    lumitest::ChildProcess& p = *start({});
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 0);
    EXPECT_EQ(p.output(), "ERROR: application parameter error!\n");
    // Nothing was brought up: no screen, no input socket.
    EXPECT_FALSE(exists(tmp.file("screen.raw")));
    EXPECT_FALSE(exists(tmp.file("input")));
}

TEST_F(StartupTest, AnUnknownTypeIsPrintedAndTheLoopKeepsRunning)
{
    lumitest::ChildProcess& p = *start({ "5" });
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=5 \n"));
    // The loop is alive: it serves the test-input socket...
    bool accepted = false;
    for (int i = 0; i < 100 && !accepted; ++i) {
        accepted = sendInput("key 27");
        if (!accepted)
            usleep(20000);
    }
    EXPECT_TRUE(accepted);
    EXPECT_TRUE(p.running());
    // ...until it is ended from outside, which it does cleanly.
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0);
    EXPECT_FALSE(exists(tmp.file("input")));
    EXPECT_EQ(p.output().find("ERROR"), std::string::npos);
}

TEST_F(StartupTest, ANonNumericTypeCountsAsZero)
{
    lumitest::ChildProcess& p = *start({ "abc" });
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=0 \n"));
    EXPECT_TRUE(p.running());
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0);
}

TEST_F(StartupTest, FurtherArgumentsAreIgnored)
{
    lumitest::ChildProcess& p = *start({ "9", "extra", "args" });
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=9 \n"));
    p.signal(SIGINT);
    EXPECT_EQ(p.wait(), 0);
}

TEST_F(StartupTest, OutputReachesAPipeLineByLine)
{
    // Line buffering: the type line arrives while the process still runs,
    // not only when it exits and flushes.
    lumitest::ChildProcess& p = *start({ "5" });
    ASSERT_TRUE(p.waitForOutput("receive startup type=5"));
    EXPECT_TRUE(p.running());
    p.signal(SIGTERM);
    p.wait();
}

TEST_F(StartupTest, TheScreenIsTheHeadlessFileOfTheRequestedSize)
{
    lumitest::ChildProcess& p = *start({ "5" });
    ASSERT_TRUE(p.waitForOutput("receive startup type=5"));
    struct stat st {};
    ASSERT_EQ(stat(tmp.file("screen.raw").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 800 * 480 * 2);
    p.signal(SIGTERM);
    p.wait();
}
