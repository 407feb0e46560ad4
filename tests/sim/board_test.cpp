// The virtual board: its device models seen through the preload library by a
// probe program (x86_64 and armhf under qemu-arm), its confinement, its
// controller, its scenario files, and the real program on it.

#include "board_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <png.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using lumitest::buildProgram;
using lumitest::ChildProcess;
using lumitest::TempDir;

namespace {

using namespace boardtest;

class BoardProbe : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            if (!exists(probePath(ProbeArch::Armhf)))
                GTEST_SKIP() << "no armhf cross compiler: the armhf probe was not built";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot() << " (tools/armhf-sysroot.sh)";
        }
    }
    std::vector<std::string> probe(const std::vector<std::string>& args) const
    {
        std::vector<std::string> c = { probePath(GetParam()) };
        c.insert(c.end(), args.begin(), args.end());
        return c;
    }
    bool arm() const { return GetParam() == ProbeArch::Armhf; }
    TempDir tmp;
};

const char kAllDevices[] = "[input]\ndevices = keypad touchscreen mouse keyboard\n";

TEST_P(BoardProbe, FrameBufferDescribesTheScenarioScreenAndShowsWhatIsDrawn)
{
    Board b(tmp, "run", probe({ "fb" }), "[screen]\nwidth = 320\nheight = 240\nbpp = 32\n");
    ASSERT_TRUE(b.waitLine("drawn")) << b.process->output() << b.process->errors();
    const std::string out = readFile(b.dir() + "/stdout.log");
    EXPECT_EQ(valueOf(out, "xres"), "320");
    EXPECT_EQ(valueOf(out, "yres"), "240");
    EXPECT_EQ(valueOf(out, "bpp"), "32");
    EXPECT_EQ(valueOf(out, "red"), "16/8");
    EXPECT_EQ(valueOf(out, "line_length"), "1280");
    EXPECT_EQ(valueOf(out, "smem_len"), std::to_string(1280 * 240));
    EXPECT_EQ(valueOf(out, "type"), "0"); // packed pixels
    EXPECT_EQ(valueOf(out, "visual"), "2"); // true colour
    EXPECT_EQ(valueOf(out, "fix_size"), arm() ? "68" : "80");
    EXPECT_EQ(valueOf(out, "bad-ioctl"), std::to_string(ENOTTY));
    EXPECT_EQ(valueOf(out, "stat-chr"), "1");
    const std::string png = tmp.file("shot.png");
    ASSERT_EQ(b.ctl({ "screenshot", png }), 0);
    EXPECT_EQ(pngPixel(png, 10, 0), 0xff0000); // drawn through the mapping
    EXPECT_EQ(pngPixel(png, 10, 1), 0x00ff00); // written as a stream at row 1
    EXPECT_EQ(pngPixel(png, 10, 2), 0x000000);
    b.ctl({ "stop" });
    EXPECT_EQ(b.process->wait(20000), 128 + SIGTERM);
}

TEST_P(BoardProbe, SixteenBitFrameBufferIsRgb565)
{
    Board b(tmp, "run", probe({ "fb" }));
    ASSERT_TRUE(b.waitLine("drawn")) << b.process->output() << b.process->errors();
    const std::string out = readFile(b.dir() + "/stdout.log");
    EXPECT_EQ(valueOf(out, "xres"), "800");
    EXPECT_EQ(valueOf(out, "bpp"), "16");
    EXPECT_EQ(valueOf(out, "red"), "11/5");
    EXPECT_EQ(valueOf(out, "line_length"), "1600");
    const std::string png = tmp.file("shot.png");
    ASSERT_EQ(b.ctl({ "screenshot", png }), 0);
    EXPECT_EQ(pngPixel(png, 799, 0), 0xff0000);
    EXPECT_EQ(pngPixel(png, 799, 1), 0x00ff00);
    b.ctl({ "stop" });
}

TEST_P(BoardProbe, KeypadAnswersItsCapabilitiesAndDeliversKeysInTheNativeLayout)
{
    Board b(tmp, "run", probe({ "evdev", "0", "2" }));
    ASSERT_TRUE(b.waitLine("ready")) << b.process->output() << b.process->errors();
    ASSERT_EQ(b.ctl({ "key", "103" }), 0);
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_EQ(valueOf(out, "name"), "gpio-keys");
    EXPECT_EQ(valueOf(out, "name_len"), "10");
    EXPECT_EQ(valueOf(out, "ev_len"), arm() ? "4" : "8");
    EXPECT_EQ(valueOf(out, "ev_key"), "1");
    EXPECT_EQ(valueOf(out, "ev_rel"), "0");
    EXPECT_EQ(valueOf(out, "key_len"), "96");
    EXPECT_EQ(valueOf(out, "key_up"), "1");
    EXPECT_EQ(valueOf(out, "key_a"), "0");
    EXPECT_EQ(valueOf(out, "record_size"), arm() ? "16" : "24");
    EXPECT_NE(out.find("event 1 103 1\nevent 1 103 0\n"), std::string::npos) << out;
}

TEST_P(BoardProbe, TouchscreenHasTheMultiTouchAxesOfTheScreen)
{
    Board b(tmp, "run", probe({ "evdev", "1", "0" }), "[screen]\nwidth = 640\n");
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_EQ(valueOf(out, "name"), "mt-touchscreen");
    EXPECT_EQ(valueOf(out, "ev_abs"), "1");
    EXPECT_EQ(valueOf(out, "abs_len"), "8");
    EXPECT_EQ(valueOf(out, "abs_mt_major"), "1");
    EXPECT_EQ(valueOf(out, "abs_mt_x"), "1");
    EXPECT_EQ(valueOf(out, "abs_mt_y"), "1");
    EXPECT_EQ(valueOf(out, "abs_x_max"), "639");
    EXPECT_EQ(valueOf(out, "btn_touch"), "1");
}

TEST_P(BoardProbe, MouseMovesAndClicksAsRelativeRecords)
{
    Board b(tmp, "run", probe({ "evdev", "2", "3" }), kAllDevices);
    ASSERT_TRUE(b.waitLine("ready")) << b.process->output() << b.process->errors();
    ASSERT_EQ(b.ctl({ "mouse", "move", "5", "-7" }), 0);
    ASSERT_EQ(b.ctl({ "mouse", "button", "left", "down" }), 0);
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_EQ(valueOf(out, "rel_len"), arm() ? "4" : "8");
    EXPECT_EQ(valueOf(out, "rel_x"), "1");
    EXPECT_EQ(valueOf(out, "btn_left"), "1");
    EXPECT_NE(out.find("event 2 0 5\nevent 2 1 -7\n"), std::string::npos) << out;
    EXPECT_NE(out.find("event 1 272 1\n"), std::string::npos) << out;
}

TEST_P(BoardProbe, LedRecordsWrittenToTheKeyboardBecomeLedState)
{
    Board b(tmp, "run", probe({ "evdev", "3", "1", "led" }), kAllDevices);
    ASSERT_TRUE(b.waitLine("ready")) << b.process->output() << b.process->errors();
    EXPECT_EQ(valueOf(readFile(b.dir() + "/stdout.log"), "led_written"), arm() ? "16" : "24");
    EXPECT_EQ(valueOf(readFile(b.dir() + "/stdout.log"), "ev_led"), "1");
    const std::string state = b.state();
    EXPECT_NE(state.find("\"leds\": {\"num\": 0, \"caps\": 1, \"scroll\": 0}"), std::string::npos) << state;
    b.ctl({ "stop" });
}

TEST_P(BoardProbe, PluggingAMouseSendsKernelUeventsFromPortZero)
{
    Board b(tmp, "run", probe({ "netlink", "6" }));
    ASSERT_TRUE(b.waitLine("ready")) << b.process->output() << b.process->errors();
    std::string answer;
    ASSERT_EQ(b.ctl({ "plug", "mouse" }, &answer), 0);
    EXPECT_NE(answer.find("/dev/input/event2"), std::string::npos) << answer;
    ASSERT_EQ(b.ctl({ "unplug", "mouse" }), 0);
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_EQ(valueOf(out, "sender"), "16 0"); // AF_NETLINK, the kernel's port id
    const size_t add = out.find("uevent add@/devices/");
    const size_t mouse = out.find("/input/input12/mouse1\n");
    const size_t event = out.find(
        "uevent "
        "add@/devices/platform/lumi-ehci.0/usb1/1-1/1-1:1.0/0003:1A2B:0202.0001/input/input12/event2\n");
    EXPECT_NE(add, std::string::npos) << out;
    EXPECT_NE(mouse, std::string::npos) << out;
    EXPECT_NE(event, std::string::npos) << out;
    EXPECT_NE(out.find("var ACTION=add\n"), std::string::npos);
    EXPECT_NE(out.find("var DEVNAME=input/event2\n"), std::string::npos);
    EXPECT_NE(out.find("uevent remove@/devices/"), std::string::npos) << out;
    EXPECT_EQ(b.state().find("mouse"), std::string::npos);
}

TEST_P(BoardProbe, UnpluggedDeviceIsGoneAndPluggedOneAppears)
{
    Board b(
        tmp, "run", probe({ "exists", "/dev/input/event0", "/dev/input/event2", "/dev/sda", "/dev/null" }));
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("exists /dev/input/event0 1"), std::string::npos) << out;
    EXPECT_NE(out.find("exists /dev/input/event2 0"), std::string::npos) << out;
    EXPECT_NE(out.find("exists /dev/null 1"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardProbe, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return info.param == ProbeArch::X86_64 ? std::string("x86_64") : std::string("armhf");
    });

// ---- confinement, in both modes ----

class BoardConfinement : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        if (GetParam() == "bubblewrap"
            && std::system("bwrap --ro-bind / / --dev /dev true >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "bubblewrap cannot run here; the preload variant covers this machine";
    }
    std::string scenario() const { return "[board]\nconfinement = " + GetParam() + "\n"; }
    TempDir tmp;
};

TEST_P(BoardConfinement, WritesLandInTheRunDirectoryAndNowhereElse)
{
    const std::string outside = tmp.file("outside.txt");
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "write", "/test.wav", "/tmp/x", "/data/y", outside },
        scenario());
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("write /test.wav ok"), std::string::npos) << out;
    EXPECT_NE(out.find("write /tmp/x ok"), std::string::npos) << out;
    EXPECT_NE(out.find("write /data/y ok"), std::string::npos) << out;
    EXPECT_TRUE(exists(b.dir() + "/root/test.wav"));
    EXPECT_TRUE(exists(b.dir() + "/tmp/x"));
    EXPECT_TRUE(exists(b.dir() + "/data/y"));
    EXPECT_FALSE(exists(outside));
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"/test.wav\""), std::string::npos) << state;
    EXPECT_NE(state.find("\"/data/y\""), std::string::npos) << state;
}

TEST_P(BoardConfinement, PoweroffIsRecordedAndNeverRun)
{
    Board b(
        tmp, "run", { probePath(ProbeArch::X86_64), "system", "poweroff; /sbin/poweroff -f" }, scenario());
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    EXPECT_EQ(valueOf(b.process->output(), "status"), "0");
    EXPECT_NE(b.process->errors().find("poweroff"), std::string::npos);
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"shell\": [\"poweroff; /sbin/poweroff -f\"]"), std::string::npos) << state;
    EXPECT_NE(state.find("\"power\": [\"poweroff\", \"poweroff -f\"]"), std::string::npos) << state;
}

TEST_P(BoardConfinement, ScenarioCommandsAnswerWithTheirOutputAndStatus)
{
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "popen", "/sbin/ifconfig eth0 up" },
        scenario() + "[commands]\nifconfig eth0 up = 3 eth0: warning\\nsecond line\n");
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("output eth0: warning\noutput second line\nstatus 3\n"), std::string::npos) << out;
    EXPECT_NE(
        readFile(b.dir() + "/state.json").find("\"commands\": [\"ifconfig eth0 up\"]"), std::string::npos);
}

TEST_P(BoardConfinement, SystemFilesStayReadable)
{
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "exists", "/usr", "/etc/passwd", "/nonexistent-top" },
        scenario());
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("exists /usr 1"), std::string::npos) << out;
    EXPECT_NE(out.find("exists /etc/passwd 1"), std::string::npos) << out;
    EXPECT_NE(out.find("exists /nonexistent-top 0"), std::string::npos) << out;
}

TEST_P(BoardConfinement, RmRunsForRealInsideTheRun)
{
    Board b(tmp, "run",
        { probePath(ProbeArch::X86_64), "system", "echo x >/data/gone; rm -f /data/gone; ls /data" },
        scenario());
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->output() << b.process->errors();
    EXPECT_EQ(valueOf(b.process->output(), "status"), "0");
    EXPECT_FALSE(exists(b.dir() + "/data/gone"));
    EXPECT_NE(readFile(b.dir() + "/state.json").find("\"rm -f /data/gone\""), std::string::npos);
}

TEST_P(BoardConfinement, FilesOfAnEarlierRunDoNotLeakIn)
{
    {
        Board first(
            tmp, "run", { probePath(ProbeArch::X86_64), "write", "/tmp/stale", "/stale.txt" }, scenario());
        ASSERT_EQ(first.process->wait(30000), 0);
    }
    ASSERT_TRUE(exists(tmp.file("run/tmp/stale")));
    Board second(
        tmp, "run", { probePath(ProbeArch::X86_64), "exists", "/tmp/stale", "/stale.txt" }, scenario());
    ASSERT_EQ(second.process->wait(30000), 0) << second.process->errors();
    EXPECT_NE(second.process->output().find("exists /tmp/stale 0"), std::string::npos)
        << second.process->output();
    EXPECT_NE(second.process->output().find("exists /stale.txt 0"), std::string::npos);
}

TEST_P(BoardConfinement, CrashReportsTheSignalAndLeavesNoProcessBehind)
{
    // A number no other process has on its command line.
    const std::string marker = "1000." + std::to_string(getpid()) + std::to_string(time(nullptr) % 100000);
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "crash", marker }, scenario());
    EXPECT_EQ(b.process->wait(30000), 128 + SIGSEGV) << b.process->errors();
    EXPECT_NE(b.process->output().find("child "), std::string::npos);
    EXPECT_NE(b.process->errors().find("signal 11"), std::string::npos) << b.process->errors();
    int left = 0;
    DIR* proc = opendir("/proc");
    while (dirent* e = readdir(proc)) {
        const std::string cmdline = readFile(std::string("/proc/") + e->d_name + "/cmdline");
        left += cmdline.find(marker) != std::string::npos;
    }
    closedir(proc);
    EXPECT_EQ(left, 0);
}

INSTANTIATE_TEST_SUITE_P(Mode, BoardConfinement, ::testing::Values("bubblewrap", "preload"));

TEST(BoardSideBySide, TwoBoardsDoNotShareDevices)
{
    TempDir tmp;
    Board a(tmp, "a", { probePath(ProbeArch::X86_64), "evdev", "0", "1" });
    Board b(tmp, "b", { probePath(ProbeArch::X86_64), "evdev", "0", "1" });
    ASSERT_TRUE(a.waitLine("ready"));
    ASSERT_TRUE(b.waitLine("ready"));
    ASSERT_EQ(a.ctl({ "key", "28", "down" }), 0);
    ASSERT_EQ(b.ctl({ "key", "1", "down" }), 0);
    ASSERT_EQ(a.process->wait(30000), 0);
    ASSERT_EQ(b.process->wait(30000), 0);
    EXPECT_NE(a.process->output().find("event 1 28 1"), std::string::npos);
    EXPECT_EQ(a.process->output().find("event 1 1 1"), std::string::npos);
    EXPECT_NE(b.process->output().find("event 1 1 1"), std::string::npos);
    EXPECT_EQ(b.process->output().find("event 1 28 1"), std::string::npos);
}

// ---- the controller and scenario files ----

TEST(BoardController, BadCommandsAreRefusedWithAReason)
{
    TempDir tmp;
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "evdev", "0", "1" });
    ASSERT_TRUE(b.waitLine("ready"));
    std::string out;
    EXPECT_EQ(b.ctl({ "frobnicate" }, &out), 1);
    EXPECT_NE(out.find("unknown command \"frobnicate\""), std::string::npos) << out;
    EXPECT_EQ(b.ctl({ "key", "abc" }, &out), 1);
    EXPECT_NE(out.find("key CODE [down|up]"), std::string::npos) << out;
    EXPECT_EQ(b.ctl({ "key", "30" }, &out), 1); // 'A': not on the keypad
    EXPECT_NE(out.find("has no key 30"), std::string::npos) << out;
    EXPECT_EQ(b.ctl({ "mouse", "move", "1", "2" }, &out), 1);
    EXPECT_NE(out.find("no mouse"), std::string::npos) << out;
    EXPECT_EQ(b.ctl({ "unplug", "keyboard" }, &out), 1);
    EXPECT_EQ(b.ctl({ "screenshot", "x.jpg" }, &out), 1);
    EXPECT_EQ(b.ctl({ "wait-line", "never printed", "0" }, &out), 1);
    EXPECT_NE(out.find("timed out"), std::string::npos) << out;
    EXPECT_EQ(b.ctl({ "key", "1" }), 0);
    EXPECT_EQ(b.process->wait(30000), 0);
}

TEST(BoardController, CommandToABoardThatHasGoneFails)
{
    TempDir tmp;
    Board b(tmp, "run", { probePath(ProbeArch::X86_64), "exists", "/" });
    ASSERT_EQ(b.process->wait(30000), 0);
    std::string out;
    EXPECT_EQ(b.ctl({ "state" }, &out), 1);
    EXPECT_NE(out.find("no board is running"), std::string::npos) << out;
    EXPECT_EQ(Board(tmp, "never", {}).ctl({ "state" }), 1);
}

TEST(BoardScenario, UnknownSectionOrKeyIsAnErrorWithFileAndLine)
{
    TempDir tmp;
    const std::string file = tmp.file("bad.ini");
    std::ofstream(file) << "[screen]\nwidth = 320\n\n[radio]\nvolume = 3\n";
    ChildProcess check(boardProgram(), { "check-scenario", file }, {});
    EXPECT_EQ(check.wait(10000), 1);
    EXPECT_NE(check.errors().find(file + ":4: unknown section [radio]"), std::string::npos) << check.errors();

    std::ofstream(file) << "[screen]\nwidht = 320\n";
    ChildProcess run(
        boardProgram(), { "run", "--scenario", file, "--dir", tmp.file("run"), "--", "true" }, {});
    EXPECT_EQ(run.wait(10000), 2);
    EXPECT_NE(run.errors().find(file + ":2: unknown key \"widht\" in [screen]"), std::string::npos)
        << run.errors();

    const std::vector<std::string> bad = { "[screen]\nbpp = 24\n", "[input]\ndevices = keypad joystick\n",
        "[commands]\nx = y\n", "width = 3\n", "[screen\n", std::string(5000, 'x') };
    for (const std::string& text : bad) {
        std::ofstream(file) << text;
        ChildProcess c(boardProgram(), { "check-scenario", file }, {});
        EXPECT_EQ(c.wait(10000), 1) << text;
        EXPECT_NE(c.errors().find(file + ":"), std::string::npos) << c.errors();
    }
}

TEST(BoardCommandLine, HelpDocumentsBothSubcommandsAndBadUsageFails)
{
    ChildProcess help(boardProgram(), { "--help" }, {});
    EXPECT_EQ(help.wait(10000), 0);
    EXPECT_NE(help.output().find("uishull-board run [--scenario FILE] [--dir RUNDIR] [--viewer]"),
        std::string::npos);
    EXPECT_NE(help.output().find("uishull-board ctl RUNDIR COMMAND..."), std::string::npos);
    EXPECT_NE(help.output().find("wait-line TEXT [SECONDS]"), std::string::npos);
    ChildProcess none(boardProgram(), { "run" }, {});
    EXPECT_EQ(none.wait(10000), 2);
    EXPECT_NE(none.errors().find("run needs a PROGRAM"), std::string::npos) << none.errors();
    ChildProcess odd(boardProgram(), { "fly" }, {});
    EXPECT_EQ(odd.wait(10000), 2);
}

TEST(BoardViewer, RunsWithoutADisplayOnSdlsOffscreenDriver)
{
    TempDir tmp;
    const std::string dir = tmp.file("run");
    ChildProcess board(boardProgram(),
        { "run", "--viewer", "--dir", dir, "--", buildProgram("tests/sim/board-probe"), "fb" },
        // The system's graphics drivers SDL loads leak by design; a sanitizer build would report them.
        { "SDL_VIDEODRIVER=offscreen", "LSAN_OPTIONS=detect_leaks=0" });
    ASSERT_TRUE(board.waitForOutput("drawn 1", 30000)) << board.errors();
    ChildProcess stop(boardProgram(), { "ctl", dir, "stop" }, {});
    EXPECT_EQ(stop.wait(10000), 0);
    EXPECT_EQ(board.wait(30000), 128 + SIGTERM);
    EXPECT_EQ(board.errors().find("no viewer"), std::string::npos) << board.errors();
}

TEST(BoardScenario, TheDefaultScenarioIsValid)
{
    ChildProcess c(
        boardProgram(), { "check-scenario", lumitest::sourceDir() + "/sim/scenarios/default.ini" }, {});
    EXPECT_EQ(c.wait(10000), 0) << c.errors();
}

// ---- the real program ----

class BoardProgram : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            program = armhfProgram();
            if (program.empty())
                GTEST_SKIP() << "no armhf build of the program (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            program = buildProgram("app/uishull");
        }
    }
    static std::string armhfProgram()
    {
        const char* v = std::getenv("UISHULL_ARMHF_BUILD");
        const std::string build = v && *v ? v : lumitest::sourceDir() + "/build/armhf";
        return exists(build + "/app/uishull") ? build + "/app/uishull" : std::string();
    }
    std::string program;
    TempDir tmp;
};

TEST_P(BoardProgram, QuickTestIsShownOnTheBoardsFrameBuffer)
{
    Board b(tmp, "run", { program, "6" });
    ASSERT_TRUE(b.waitLine("auto run 1", 60)) << b.process->output() << b.process->errors();
    // The second demo item asks the operator; its box is on the screen then.
    ASSERT_TRUE(b.waitLine("auto run 3", 60));
    const std::string png = tmp.file("quicktest.png");
    ASSERT_EQ(b.ctl({ "screenshot", png }), 0);
    // The status band (RGB565 0x971F) at the top right, the grid's white at the left.
    EXPECT_EQ(pngPixel(png, 795, 5), 0x94e2ff);
    EXPECT_EQ(pngPixel(png, 5, 300), 0xffffff);
    const std::string state = b.state();
    EXPECT_NE(state.find("\"/tmp/autorun_msg.dat\""), std::string::npos) << state;
    b.ctl({ "stop" });
    EXPECT_EQ(b.process->wait(30000), 0); // the program ends cleanly on SIGTERM
}

TEST_P(BoardProgram, UpdateScreenIsDrivenThroughTheNotifierSocketInTheRunDirectory)
{
    Board b(tmp, "run", { program, "7" });
    ASSERT_TRUE(b.ready());
    const std::string socket = b.dir() + "/tmp/autorun_msg.dat";
    for (int i = 0; i < 3000 && !exists(socket); ++i)
        usleep(10000);
    ASSERT_TRUE(exists(socket)) << b.process->output() << b.process->errors();
    ChildProcess title(
        buildProgram("tools/uishull-notify"), { "--socket", socket, "title", "Board update" }, {});
    EXPECT_EQ(title.wait(20000), 0) << title.errors();
    ASSERT_TRUE(b.waitLine("Board update", 30));
    ChildProcess done(buildProgram("tools/uishull-notify"), { "--socket", socket, "done" }, {});
    EXPECT_EQ(done.wait(20000), 0) << done.errors();
    EXPECT_EQ(b.process->wait(60000), 0) << b.process->output();
    EXPECT_NE(
        readFile(b.dir() + "/stdout.log").find("[PelNotifier::onRead()] 2@Board update"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardProgram, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return info.param == ProbeArch::X86_64 ? std::string("x86_64") : std::string("armhf");
    });

}
