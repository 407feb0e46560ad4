// The notifier socket and the program's output as a running system sees
// them: the real program in the sandbox, its socket file, a second
// instance, and readers of its output that go away or stop reading.

#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"
#include "sandbox.h"
#include "screen_file.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// The progress bar's track on an 800x480 screen: 700 pixels from x 20, at y 420.
constexpr int kTrackLeft = 20;
constexpr int kTrackY = 420;
constexpr uint16_t kFill = 0x87FF;
constexpr uint16_t kTrack = 0x5AEB;

// Generous: the armhf build runs under an emulator, the asan build slowly.
constexpr int kStartMs = 30000;
constexpr int kEndMs = 30000;

class NotifierProgramTest : public lumitest::ProgramTest {
protected:
    static bool isSocket(const std::string& path)
    {
        struct stat st {};
        return lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
    }

    // Starts "uishull TYPE" and waits for its socket to answer, without
    // reading its output.
    lumitest::ChildProcess& startAndWaitForSocket(const std::string& type)
    {
        lumitest::ChildProcess& p = startProgram({ type });
        EXPECT_TRUE(p.started());
        EXPECT_TRUE(pollUntil([&] { return isSocket(socketPath()); }, kStartMs)) << p.errors();
        return p;
    }

    // The bar shows percent (7 pixels a percent), read from the screen file.
    bool waitForProgress(int percent, int timeoutMs = 30000)
    {
        const int edge = kTrackLeft + percent * 7;
        return pollUntil(
            [&] {
                const lumitest::ScreenFile s(tmp.file("screen.raw"));
                return s.valid() && s.at(edge - 5, kTrackY) == kFill && s.at(edge + 5, kTrackY) == kTrack;
            },
            timeoutMs);
    }
};

}

TEST_F(NotifierProgramTest, SigtermEndsTheProgramCleanlyAndRemovesTheSocketFile)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("7");
    ASSERT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs));
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, SigintEndsTheProgramCleanlyAndRemovesTheSocketFile)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("6");
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=6 \n", kStartMs));
    p.signal(SIGINT);
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, WithoutAWindowTheSocketFileIsRemovedAtTheEndToo)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("5");
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=5 \n", kStartMs));
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, TheSocketIsOwnerOnlyUnderUmaskZero)
{
    // The program inherits the umask.
    const mode_t old = umask(0);
    lumitest::ChildProcess& p = startProgram({ "7" });
    umask(old);
    ASSERT_TRUE(pollUntil([&] { return isSocket(socketPath()); }, kStartMs)) << p.errors();
    struct stat st {};
    ASSERT_EQ(lstat(socketPath().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & (S_IRWXG | S_IRWXO), 0u) << std::oct << st.st_mode;
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(kEndMs), 0);
}

TEST_F(NotifierProgramTest, ASecondInstanceRefusesToStartWhileTheFirstRuns)
{
    lumitest::ChildProcess& first = startAndWaitForSocket("7");
    ASSERT_TRUE(first.waitForOutput("UpdateWnd::create()\n", kStartMs));

    lumitest::ChildProcess second(
        lumitest::buildProgram("app/uishull"), { "7" }, programEnvironment(), "", box.prefix());
    EXPECT_EQ(second.wait(kEndMs), 1);
    EXPECT_NE(second.errors().find("bind: /tmp/autorun_msg.dat: "), std::string::npos) << second.errors();
    EXPECT_NE(second.errors().find("another instance"), std::string::npos) << second.errors();

    // The first one still owns the socket and serves it to its end.
    ASSERT_TRUE(sendDatagram("3@42"));
    EXPECT_TRUE(first.waitForOutput("[PelNotifier::onRead()] 3@42\n", kEndMs));
    ASSERT_TRUE(sendDatagram("4@"));
    EXPECT_EQ(first.wait(kEndMs), 0);
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, AStaleSocketOfAnEndedInstanceIsReplaced)
{
    // An instance killed outright leaves its socket file behind.
    {
        lumitest::ChildProcess& killed = startAndWaitForSocket("7");
        ASSERT_TRUE(killed.waitForOutput("UpdateWnd::create()\n", kStartMs));
        killed.signal(SIGKILL);
        killed.wait(kEndMs);
    }
    ASSERT_TRUE(isSocket(socketPath()));
    lumitest::ChildProcess& p = startProgram({ "7" });
    ASSERT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs)) << p.errors();
    ASSERT_TRUE(sendDatagram("3@42"));
    EXPECT_TRUE(p.waitForOutput("[PelNotifier::onRead()] 3@42\n", kEndMs));
    ASSERT_TRUE(sendDatagram("4@"));
    EXPECT_EQ(p.wait(kEndMs), 0);
}

TEST_F(NotifierProgramTest, AReaderThatGoesAwayDoesNotEndTheProgram)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("7");
    ASSERT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs));
    p.closeOutput();
    // Every datagram prints a line into the closed pipe.
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(sendDatagram("5@status " + std::to_string(i))) << i;
    ASSERT_TRUE(sendDatagram("3@30"));
    ASSERT_TRUE(waitForProgress(30)) << p.errors();
    EXPECT_TRUE(p.running());
    p.signal(SIGTERM);
    // Not 141: a closed pipe no longer ends the program.
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, AReaderThatGoesAwayStillLetsTheUpdateEndNormally)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("7");
    ASSERT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs));
    p.closeOutput();
    ASSERT_TRUE(sendDatagram("1@a step"));
    ASSERT_TRUE(sendDatagram("3@60"));
    ASSERT_TRUE(waitForProgress(60)) << p.errors();
    ASSERT_TRUE(sendDatagram("4@"));
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(NotifierProgramTest, AStalledReaderStopsNeitherTheScreenNorTheSocket)
{
    lumitest::ChildProcess& p = startAndWaitForSocket("7");
    ASSERT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs));
    // From here on the test reads nothing until the end. Each datagram
    // prints a line of about a KiB: 600 of them are far more than the pipe
    // and the program's queue hold. Type 0 changes nothing on the screen.
    const std::string filler(1000, 'f');
    for (int i = 0; i < 600; ++i) {
        char number[16];
        std::snprintf(number, sizeof number, "%05d", i);
        ASSERT_TRUE(sendDatagram("0@" + std::string(number) + filler, 30)) << "datagram " << i << " was not taken";
    }
    // The screen follows the socket while nobody reads the output.
    ASSERT_TRUE(sendDatagram("3@40"));
    ASSERT_TRUE(waitForProgress(40)) << "the screen stopped";
    ASSERT_TRUE(sendDatagram("4@"));

    // The reader reads again: it learns what it missed, and the program ends.
    EXPECT_TRUE(p.waitForOutput("lines dropped", kEndMs)) << p.output().size();
    EXPECT_EQ(p.wait(kEndMs), 0) << p.errors();
    const std::string& out = p.output();
    EXPECT_NE(out.find("***ERR: stdout: "), std::string::npos);
    EXPECT_NE(out.find("[--I]exit app \n"), std::string::npos);
    EXPECT_FALSE(exists(socketPath()));

    // What arrived are whole lines, in order.
    const std::string prefix = "[PelNotifier::onRead()] 0@";
    int previous = -1;
    int kept = 0;
    for (size_t at = out.find(prefix); at != std::string::npos; at = out.find(prefix, at + 1)) {
        ASSERT_TRUE(at == 0 || out[at - 1] == '\n');
        const size_t end = out.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        ASSERT_EQ(end - at, prefix.size() + 5 + filler.size()) << "a cut line";
        const int number = std::stoi(out.substr(at + prefix.size(), 5));
        EXPECT_GT(number, previous);
        previous = number;
        ++kept;
    }
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, 600);
    EXPECT_EQ(occurrences(out, "UpdateWnd::create()"), 1);
}
