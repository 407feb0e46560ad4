// The quick-test mode of the real program: "uishull 6" in the sandbox with the
// demo items, driven through the test-input socket like an operator.

#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"
#include "sandbox.h"

#include <chrono>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace {

// The power button's centre on 800x480: below the log pane, 120x40 at the right.
constexpr int kPowerX = 710;
constexpr int kPowerY = 440;

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
        for (int waited = 0; waited < timeoutMs; waited += 20) {
            if (box.commandLog().find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
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
