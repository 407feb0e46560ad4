// The quick-test mode of the real program: "uishull 6" in the sandbox with the
// demo items, driven through the test-input socket like an operator.

#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"
#include "sandbox.h"

#include <fstream>

namespace {

// The power button's centre on 800x480: below the log pane, 120x40 at the right.
constexpr int kPowerX = 710;
constexpr int kPowerY = 440;
// The next button's centre: 60 pixels left of the power button, as wide.
constexpr int kNextX = 530;
constexpr int kNextY = 440;

class QuickTestProcess : public lumitest::ProgramTest {
protected:
    void writeConfig(const std::string& text)
    {
        std::ofstream(tmp.file("config.ini")) << text;
    }

    lumitest::ChildProcess& start() { return startProgram({ "6" }); }

    bool operate(const std::string& line) { return sendInputWhenReady(line); }

    bool waitForCommand(const std::string& text, int timeoutMs = 10000)
    {
        return pollUntil([&] { return box.commandLog().find(text) != std::string::npos; }, timeoutMs);
    }
};

}

TEST_F(QuickTestProcess, TheAutomaticRunStartsByItselfAndStopsAtTheQuestion)
{
    writeConfig("[function]\n[autorun]\nrunall = 1\n");
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=6 \n"));
    ASSERT_TRUE(p.waitForOutput("auto run 3 \n"));
    // The third demo item asks the operator: nothing runs on until the answer.
    EXPECT_TRUE(p.running());
    EXPECT_EQ(p.output().find("auto run 4"), std::string::npos);
    ASSERT_TRUE(operate("key 1"));   // enter on the focused "否": not OK
    ASSERT_TRUE(p.waitForOutput("auto run 5 \n"));
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0);
}

TEST_F(QuickTestProcess, ThePowerButtonRunsPoweroffThroughTheShell)
{
    writeConfig("[function]\n[autorun]\nrunall = 1\n");
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(p.waitForOutput("auto run 3 \n"));
    // The power button works even while a question is open.
    ASSERT_TRUE(operate("tap " + std::to_string(kPowerX) + " " + std::to_string(kPowerY)));
    EXPECT_TRUE(waitForCommand("poweroff"));
    EXPECT_TRUE(p.running());   // the stand-in does not switch anything off
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0);
}

TEST_F(QuickTestProcess, WithoutConfigurationTheListIsEmptyAndTheErrorIsPrinted)
{
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(p.waitForOutput("[Error] open config.ini fails.\n"));
    ASSERT_TRUE(p.waitForOutput("[--I] receive startup type=6 \n"));
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0);
    EXPECT_EQ(p.output().find("auto run"), std::string::npos);
}

TEST_F(QuickTestProcess, AStrayFinishDatagramWhileTheOperatorIsAskedChangesNothing)
{
    writeConfig("[function]\n[autorun]\nrunall = 1\n");
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(p.waitForOutput("auto run 3 \n"));
    // "3@" means "the running test has finished" to this screen; no test
    // runs on here (the third demo item waits for the operator's answer).
    ASSERT_TRUE(sendDatagram("3@"));
    ASSERT_TRUE(p.waitForOutput("[PelNotifier::onRead()] 3@\n"));
    // The screen is still locked: "next" starts nothing. Input is taken in
    // order: once the power button's command has run, the tap on "next"
    // has been handled.
    ASSERT_TRUE(operate("tap " + std::to_string(kNextX) + " " + std::to_string(kNextY)));
    ASSERT_TRUE(operate("tap " + std::to_string(kPowerX) + " " + std::to_string(kPowerY)));
    ASSERT_TRUE(waitForCommand("poweroff")) << p.errors();
    // What the taps printed comes before the line of a datagram sent now.
    ASSERT_TRUE(sendDatagram("5@read up to here"));
    ASSERT_TRUE(p.waitForOutput("[PelNotifier::onRead()] 5@read up to here\n"));
    EXPECT_EQ(p.output().find("auto run 4"), std::string::npos) << p.output();

    // The question is answered as usual (this used to hit the assertion),
    // and the run goes on to the end.
    ASSERT_TRUE(operate("key 1")); // enter on the focused "否": not OK
    ASSERT_TRUE(p.waitForOutput("auto run 5 \n")) << p.errors();
    EXPECT_TRUE(p.running());
    p.signal(SIGTERM);
    EXPECT_EQ(p.wait(), 0) << p.errors();
    EXPECT_EQ(p.errors().find("m_curSel"), std::string::npos) << p.errors();
}
