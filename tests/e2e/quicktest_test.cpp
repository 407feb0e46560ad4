// The quick-test mode of the real program: "uishull 6" in the sandbox with the
// demo items, driven through the test-input socket like an operator.

#include "child_process.h"
#include "lumi_test.h"
#include "sandbox.h"

#include <chrono>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

// The power button's centre on 800x480: below the log pane, 120x40 at the right.
constexpr int kPowerX = 710;
constexpr int kPowerY = 440;

class QuickTestProcess : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!lumitest::Sandbox::available())
            GTEST_SKIP() << "bubblewrap is not available";
    }

    void writeConfig(const std::string& text)
    {
        std::ofstream(tmp.file("config.ini")) << text;
    }

    lumitest::ChildProcess& start()
    {
        std::vector<std::string> env = box.environment();
        env.push_back("LUMI_DISPLAY=file:/tmp/screen.raw:800x480");
        env.push_back("LUMI_INPUT=/tmp/input");
        process = std::make_unique<lumitest::ChildProcess>(
            lumitest::buildProgram("app/uishull"), std::vector<std::string> { "6" }, env, "", box.prefix());
        return *process;
    }

    // Sends one operator line, retrying while the socket is not there yet.
    bool operate(const std::string& line)
    {
        for (int attempt = 0; attempt < 200; ++attempt) {
            const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_un addr {};
            addr.sun_family = AF_UNIX;
            std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", tmp.file("input").c_str());
            const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
                && write(fd, (line + "\n").data(), line.size() + 1) == static_cast<ssize_t>(line.size() + 1);
            close(fd);
            if (ok)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));   // waiting for start-up, not timing
        }
        return false;
    }

    bool waitForCommand(const std::string& text, int timeoutMs = 10000)
    {
        for (int waited = 0; waited < timeoutMs; waited += 20) {
            if (box.commandLog().find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    lumitest::TempDir tmp;
    lumitest::Sandbox box { tmp.path() };
    std::unique_ptr<lumitest::ChildProcess> process;
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
