// The program's input layer and hot-plug monitor on the board, on x86_64 and
// on armhf under qemu-arm: keys pressed on the board's keypad and keyboard
// arrive as the toolkit keys of the maps, the lock LEDs the program sets show
// in the board's state, the relative pointer stops at the screen's edge, a
// multi-touch node is left to the touch discovery, and the real program passes
// its pointer test when a mouse is plugged in, re-scans at most eleven times
// and survives a storm of plug events without losing a descriptor.

#include "board_fixture.h"
#include "key_maps.h"

#include <gtest/gtest.h>

#include <chrono>
#include <dirent.h>
#include <map>

namespace {

using namespace boardtest;
using lumitest::expectedDefaultKeyMap;
using lumitest::expectedShiftKeyMap;
using lumitest::swapCase;

bool keypadCode(int code)
{
    return code >= 71 && code <= 82;
}

// The lines of RUNDIR/stdout.log, read as they come.
class OutputLog {
public:
    explicit OutputLog(std::string path)
        : m_path(std::move(path))
    {
    }
    // The lines starting with prefix so far.
    std::vector<std::string> lines(const std::string& prefix)
    {
        std::ifstream in(m_path, std::ios::binary);
        in.seekg(static_cast<std::streamoff>(m_read));
        std::string chunk((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const size_t end = chunk.rfind('\n');
        if (end != std::string::npos) {
            std::istringstream s(chunk.substr(0, end + 1));
            std::string line;
            while (std::getline(s, line))
                m_lines.push_back(line);
            m_read += end + 1;
        }
        std::vector<std::string> out;
        for (const auto& l : m_lines) {
            if (l.compare(0, prefix.size(), prefix) == 0)
                out.push_back(l);
        }
        return out;
    }
    // Polls (bounded) until there are at least count lines starting with prefix.
    bool waitFor(const std::string& prefix, size_t count, int seconds = 60)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (lines(prefix).size() < count) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            usleep(1000);
        }
        return true;
    }

private:
    std::string m_path;
    size_t m_read { 0 };
    std::vector<std::string> m_lines;
};

const char kAllDevices[] = "[input]\ndevices = keypad touchscreen mouse keyboard\n";

class BoardInput : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            probe = armhfBuild() + "/tests/sim/input-probe";
            program = armhfBuild() + "/app/uishull";
            if (!exists(probe) || !exists(program))
                GTEST_SKIP() << "no armhf build with the input probe (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            probe = buildProgram("tests/sim/input-probe");
            program = buildProgram("app/uishull");
        }
    }

    // A board with the input probe, ready for keys.
    std::unique_ptr<Board> startProbe(const std::string& scenario = kAllDevices)
    {
        auto b = std::make_unique<Board>(tmp, "probe", std::vector<std::string> { probe }, scenario);
        if (!b->waitLine("input probe ready", 60))
            return nullptr;
        return b;
    }

    // A scenario whose program has config as its config.ini.
    std::string programScenario(const std::string& devices, const std::string& config, bool preload = false)
    {
        const std::string file = tmp.file("config.ini");
        std::ofstream(file) << config;
        return "[input]\ndevices = " + devices + "\n[workdir]\nconfig = " + file + "\nres = "
            + lumitest::sourceDir() + "/res\n" + (preload ? "[board]\nconfinement = preload\n" : "");
    }

    std::string probe;
    std::string program;
    TempDir tmp;
};

TEST_P(BoardInput, EveryKeyOfBothMapsArrivesAsItsToolkitKeyWithShiftCapsAndNumLock)
{
    auto b = startProbe();
    ASSERT_TRUE(b);
    OutputLog log(b->dir() + "/stdout.log");
    const std::map<int, int> plain = expectedDefaultKeyMap();
    const std::map<int, int> shifted = expectedShiftKeyMap();

    // Each step is a controller command and the key lines it must produce.
    std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> steps;
    auto lock = [&](int code) { steps.push_back({ { "key", std::to_string(code) }, {} }); };
    auto shift = [&](const char* how) { steps.push_back({ { "key", "42", how }, {} }); };
    auto press = [&](int code, int down) {
        steps.push_back({ { "key", std::to_string(code) },
            { "key down " + std::to_string(down), "key up " + std::to_string(plain.at(code)) } });
    };
    auto shiftedKey = [&](int code) {
        auto it = shifted.find(code);
        return it == shifted.end() ? 0 : it->second;
    };
    for (const auto& e : plain)
        press(e.first, e.second);
    shift("down");
    for (const auto& e : plain)
        press(e.first, keypadCode(e.first) ? e.second : shiftedKey(e.first));
    shift("up");
    lock(58); // Caps Lock on
    for (const auto& e : plain)
        press(e.first, keypadCode(e.first) ? e.second : swapCase(e.second));
    shift("down");
    for (const auto& e : plain)
        press(e.first, keypadCode(e.first) ? e.second : swapCase(shiftedKey(e.first)));
    shift("up");
    lock(58); // Caps Lock off
    lock(69); // Num Lock off: the keypad navigates
    for (int code = 71; code <= 82; ++code)
        press(code, shiftedKey(code));
    lock(69);

    // Keys of the keypad and of the keyboard come through two descriptors:
    // each key's lines are awaited before the next, to keep them in order.
    // (Shift and the locks are on the keyboard, in order with its keys; the
    // keypad's keys read the same in every map.)
    std::vector<std::string> expected;
    for (const auto& step : steps) {
        std::string answer;
        ASSERT_EQ(b->send(step.first, &answer), 0) << step.first[1] << ": " << answer;
        expected.insert(expected.end(), step.second.begin(), step.second.end());
        ASSERT_TRUE(log.waitFor("key ", expected.size())) << "after key " << step.first[1];
    }
    ASSERT_TRUE(log.waitFor("key ", expected.size()));
    const std::vector<std::string> got = log.lines("key ");
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i)
        EXPECT_EQ(got[i], expected[i]) << "line " << i;
}

// The LED members of the device with this node in the board's state, or "".
std::string ledsOf(const std::string& state, const std::string& node)
{
    const size_t at = state.find("\"node\": \"" + node + "\"");
    if (at == std::string::npos)
        return std::string();
    const size_t leds = state.find("\"leds\": ", at);
    const size_t end = state.find('}', at);
    if (leds == std::string::npos || leds > end)
        return std::string();
    return state.substr(leds + 8, state.find('}', leds) + 1 - leds - 8);
}

TEST_P(BoardInput, LockKeysSetTheLedsOfEveryDeviceAsTheStateShows)
{
    auto b = startProbe();
    ASSERT_TRUE(b);
    auto waitLeds = [&](const std::string& node, const std::string& leds) {
        std::string state;
        for (int i = 0; i < 3000; ++i) {
            b->send({ "state" }, &state);
            if (ledsOf(state, node) == leds)
                return true;
            usleep(2000);
        }
        ADD_FAILURE() << node << " never showed " << leds << ":\n" << state;
        return false;
    };
    // The scan turns Num Lock on and the others off, on the keypad and the keyboard alike.
    EXPECT_TRUE(waitLeds("/dev/input/event0", "{\"num\": 1, \"caps\": 0, \"scroll\": 0}"));
    EXPECT_TRUE(waitLeds("/dev/input/event3", "{\"num\": 1, \"caps\": 0, \"scroll\": 0}"));
    ASSERT_EQ(b->send({ "key", "58" }), 0); // Caps Lock, on the keyboard
    EXPECT_TRUE(waitLeds("/dev/input/event0", "{\"num\": 1, \"caps\": 1, \"scroll\": 0}"));
    EXPECT_TRUE(waitLeds("/dev/input/event3", "{\"num\": 1, \"caps\": 1, \"scroll\": 0}"));
    ASSERT_EQ(b->send({ "key", "69" }), 0); // Num Lock
    EXPECT_TRUE(waitLeds("/dev/input/event0", "{\"num\": 0, \"caps\": 1, \"scroll\": 0}"));
    EXPECT_TRUE(waitLeds("/dev/input/event3", "{\"num\": 0, \"caps\": 1, \"scroll\": 0}"));
    // The mouse and the touch screen have no LEDs to show.
    const std::string state = b->state();
    EXPECT_EQ(ledsOf(state, "/dev/input/event1"), "");
    EXPECT_EQ(ledsOf(state, "/dev/input/event2"), "");
}

TEST_P(BoardInput, MouseMovedBeyondTheRightEdgeLeavesXEqualToTheWidth)
{
    auto b = startProbe();
    ASSERT_TRUE(b);
    // The scan centres the pointer.
    ASSERT_TRUE(b->waitLine("pointer at 400 240"));
    ASSERT_EQ(b->send({ "mouse", "move", "10000", "0" }), 0);
    EXPECT_TRUE(b->waitLine("pointer at 800 240")) << readFile(b->dir() + "/stdout.log");
    ASSERT_EQ(b->send({ "mouse", "move", "-5", "100000" }), 0);
    EXPECT_TRUE(b->waitLine("pointer at 795 480"));
    ASSERT_EQ(b->send({ "mouse", "move", "-100000", "-100000" }), 0);
    EXPECT_TRUE(b->waitLine("pointer at 0 0"));
}

TEST_P(BoardInput, MultiTouchNodeIsClosedAgainByTheScan)
{
    auto b = startProbe();
    ASSERT_TRUE(b);
    const std::string out = readFile(b->dir() + "/stdout.log");
    // event1 is the touch screen: opened, found to be multi-touch, closed; its slot stays -1.
    EXPECT_NE(out.find("[Linux Event] open \"/dev/input/event1\""), std::string::npos) << out;
    EXPECT_EQ(out.find("[Linux Event] name: [mt-touchscreen]"), std::string::npos) << out;
    std::istringstream slots(valueOf(out, "slots"));
    std::vector<int> fds;
    int fd = 0;
    while (slots >> fd)
        fds.push_back(fd);
    ASSERT_EQ(fds.size(), 16u) << out;
    EXPECT_GT(fds[0], 0);
    EXPECT_EQ(fds[1], -1);
    EXPECT_GT(fds[2], 0);
    EXPECT_GT(fds[3], 0);
    for (int n = 4; n < 16; ++n)
        EXPECT_EQ(fds[n], -1) << n;
    // And the board sees the program let go of it.
    std::string state;
    for (int i = 0; i < 3000; ++i) {
        b->send({ "state" }, &state);
        if (state.find("\"kind\": \"touchscreen\", \"name\": \"mt-touchscreen\", \"open\": 0")
            != std::string::npos)
            break;
        usleep(2000);
    }
    EXPECT_NE(
        state.find("\"kind\": \"touchscreen\", \"name\": \"mt-touchscreen\", \"open\": 0"), std::string::npos)
        << state;
}

const char kPointerTestOnly[] = "[function]\n"
                                "test_mouse = 1\n"
                                "test_nandflash = 0\ntest_USBDisk = 0\ntest_wifi = 0\ntest_calts = 0\n"
                                "test_ethernet = 0\ntest_camera = 0\ntest_lcd = 0\ntest_audio = 0\n"
                                "test_motor = 0\n"
                                "[autorun]\nrunall = 1\n";

TEST_P(BoardInput, PointerTestPassesWhenAMouseIsPluggedInDuringTheRun)
{
    Board b(tmp, "run", { program, "6" }, programScenario("keypad touchscreen", kPointerTestOnly));
    // The quick test is up (its demo rows run first and stop at their question).
    ASSERT_TRUE(b.waitLine("auto run 1", 60)) << b.process->output() << b.process->errors();
    std::string answer;
    ASSERT_EQ(b.send({ "plug", "mouse" }, &answer), 0) << answer;
    // The kernel's add event, then one re-scan a second later that finds the
    // mouse and passes the pointer test.
    ASSERT_TRUE(b.waitLine("[--I] mouse set TEST_PASS ", 20)) << readFile(b.dir() + "/stdout.log");
    ASSERT_TRUE(b.waitLine("eventInit Success", 20));
    const std::string out = readFile(b.dir() + "/stdout.log");
    const size_t event = out.find("***Pellink::onRead(): add@/devices/");
    const size_t changed = out.find("input changed.", event);
    const size_t rescan = out.find("In inputCheckProc (0)", changed);
    const size_t unknown = out.find("[--I] mouse set UNKNOW ", rescan);
    const size_t pass = out.find("[--I] mouse set TEST_PASS ", unknown);
    EXPECT_NE(event, std::string::npos) << out;
    EXPECT_NE(changed, std::string::npos) << out;
    EXPECT_NE(rescan, std::string::npos) << out;
    EXPECT_NE(unknown, std::string::npos) << out;
    EXPECT_NE(pass, std::string::npos) << out;
    EXPECT_NE(out.find("[Linux Event] name: [Generic USB Optical Mouse]", rescan), std::string::npos) << out;
    // Only one re-scan was needed.
    EXPECT_EQ(out.find("In inputCheckProc (1)"), std::string::npos) << out;
    b.ctl({ "stop" });
    EXPECT_EQ(b.process->wait(30000), 0);
}

int countFds(int pid)
{
    DIR* d = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
    if (!d)
        return -1;
    int n = 0;
    while (dirent* e = readdir(d))
        n += e->d_name[0] != '.';
    closedir(d);
    return n;
}

int programPid(Board& b)
{
    const std::string state = b.state();
    const size_t at = state.find("\"pid\": ");
    return at == std::string::npos ? -1 : std::atoi(state.c_str() + at + 7);
}

// Polls (bounded) until the program's descriptor count has stayed the same for a while.
int settledFds(int pid)
{
    int last = countFds(pid);
    int same = 0;
    for (int i = 0; i < 2000 && same < 50; ++i) {
        usleep(5000);
        const int now = countFds(pid);
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

TEST_P(BoardInput, PlugStormRescansOnceASecondAtMostThenElevenTimesAndLeaksNoDescriptor)
{
    // No input device at all, and the board's own confinement only: the
    // program is then the board's child, whose descriptors the test can count.
    Board b(tmp, "run", { program, "6" },
        programScenario("", "[function]\ntest_mouse = 0\n[autorun]\nrunall = 0\n", true));
    ASSERT_TRUE(b.waitLine("[--I] receive startup type=6", 60)) << b.process->output() << b.process->errors();
    // The storm's thousands of lines are read from RUNDIR/stdout.log; a test
    // that does not read the board's own copy must not stall the board.
    b.process->closeOutput();
    const int pid = programPid(b);
    ASSERT_GT(pid, 0);
    const int before = settledFds(pid);
    ASSERT_GT(before, 0);

    OutputLog log(b.dir() + "/stdout.log");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 500; ++i) {
        std::string answer;
        ASSERT_EQ(b.send({ "plug", "mouse" }, &answer), 0) << answer;
        ASSERT_EQ(b.send({ "unplug", "mouse" }, &answer), 0) << answer;
    }
    const double stormSeconds
        = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const size_t duringStorm = log.lines("In inputCheckProc (").size();
    // Every event restarts the one-second wait: re-scans during the storm are
    // at most one a second of it (none when the program kept up with it).
    EXPECT_LE(duringStorm, static_cast<size_t>(stormSeconds) + 1);
    EXPECT_GT(log.lines("input changed.").size(), 0u);

    // After the last event, with no device to find: eleven re-scans, then silence.
    ASSERT_TRUE(b.waitLine("In inputCheckProc (10)", 40)) << readFile(b.dir() + "/stdout.log");
    EXPECT_NE(b.ctl({ "wait-line", "In inputCheckProc (11)", "2" }), 0);
    const std::vector<std::string> rescans = log.lines("In inputCheckProc (");
    ASSERT_GE(rescans.size(), 11u);
    for (int i = 0; i <= 10; ++i)
        EXPECT_EQ(rescans[rescans.size() - 11 + static_cast<size_t>(i)],
            "In inputCheckProc (" + std::to_string(i) + ")");

    EXPECT_EQ(settledFds(pid), before);
    b.ctl({ "stop" });
    EXPECT_EQ(b.process->wait(30000), 0);
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardInput, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return info.param == ProbeArch::X86_64 ? std::string("x86_64") : std::string("armhf");
    });

}
