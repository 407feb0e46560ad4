// The real program without a usable display: it must not run on unseen and
// unreachable, but stop at once with the toolkit's message naming the
// backend and the cause, and a failure status.

#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class DisplayFailureTest : public lumitest::ProgramTest {
protected:
    // Runs "uishull TYPE" in the sandbox with LUMI_DISPLAY set to display.
    lumitest::ChildProcess& run(const std::string& display, const std::string& type = "6")
    {
        std::vector<std::string> env = box.environment();
        env.push_back("LUMI_DISPLAY=" + display);
        process = std::make_unique<lumitest::ChildProcess>(
            lumitest::buildProgram("app/uishull"), std::vector<std::string> { type }, env, "", box.prefix());
        return *process;
    }

    bool exists(const std::string& name) const
    {
        struct stat st { };
        return lstat(tmp.file(name).c_str(), &st) == 0;
    }

    std::string contents(const std::string& name) const
    {
        std::ifstream in(tmp.file(name), std::ios::binary);
        std::ostringstream out;
        out << in.rdbuf();
        return out.str();
    }
};

}

TEST_F(DisplayFailureTest, AMissingFrameBufferEndsTheProgramWithStatusOne)
{
    lumitest::ChildProcess& p = run("fbdev:/nonexistent/fb0");
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_NE(p.errors().find("fbdev:/nonexistent/fb0"), std::string::npos) << p.errors();
    EXPECT_NE(p.errors().find("No such file or directory"), std::string::npos) << p.errors();
    // Stopped before anything else was brought up: no notifier socket, no mode.
    EXPECT_EQ(p.output().find("receive startup type"), std::string::npos) << p.output();
    EXPECT_FALSE(exists("autorun_msg.dat"));
}

TEST_F(DisplayFailureTest, AnUnknownBackendEndsTheProgramWithStatusOne)
{
    lumitest::ChildProcess& p = run("vnc:5900", "7");
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_NE(p.errors().find("unknown display \"vnc\""), std::string::npos) << p.errors();
}

TEST_F(DisplayFailureTest, AScreenFileThatIsADirectoryEndsTheProgramWithStatusOne)
{
    ASSERT_EQ(mkdir(tmp.file("screen.raw").c_str(), 0700), 0);
    lumitest::ChildProcess& p = run("file:/tmp/screen.raw:800x480");
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_NE(p.errors().find("screen.raw is a directory"), std::string::npos) << p.errors();
    EXPECT_FALSE(exists("autorun_msg.dat"));
}

TEST_F(DisplayFailureTest, AScreenFileThatIsASymbolicLinkIsNotFollowedAndItsTargetIsKept)
{
    {
        std::ofstream(tmp.file("precious.txt"), std::ios::binary) << "not a screen\n";
    }
    // Relative, so that it points at the same file inside the sandbox.
    ASSERT_EQ(symlink("precious.txt", tmp.file("screen.raw").c_str()), 0);
    lumitest::ChildProcess& p = run("file:/tmp/screen.raw:800x480");
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_NE(p.errors().find("symbolic link"), std::string::npos) << p.errors();
    EXPECT_EQ(contents("precious.txt"), "not a screen\n");
}
