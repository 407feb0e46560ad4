// The board's storage, network, battery, vibrator and g-sensor models: what
// the program's files, MII requests and commands show for each scenario, the
// controller's plug and unplug, and the program's own device test items on
// the healthy board and on each faulty one.

#include "board_fixture.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace boardtest;

namespace {

// A scenario of sim/scenarios, its relative paths made absolute so that the
// fixture can copy its text.
std::string repoScenario(const std::string& name)
{
    const std::string dir = lumitest::sourceDir() + "/sim/scenarios/";
    std::string text = readFile(dir + name);
    auto replace = [&text](const std::string& from, const std::string& to) {
        const size_t at = text.find(from);
        if (at != std::string::npos)
            text.replace(at, from.size(), to);
    };
    replace("config = devices-config.ini", "config = " + dir + "devices-config.ini");
    replace("config = default-config.ini", "config = " + dir + "default-config.ini");
    replace("res = ../../res", "res = " + lumitest::sourceDir() + "/res");
    return text;
}

const char kPython[] = "/usr/bin/python3";

// Prints the basic mode status register of eth0 as MII requests read it, once
// at start and once more after /tmp/next appears.
const char kMiiProbe[] = R"(
import fcntl, os, socket, struct, time
def bmsr():
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    try:
        r = fcntl.ioctl(s.fileno(), 0x8947, struct.pack('16s24x', b'eth0'))
        phy = struct.unpack_from('<H', r, 16)[0]
        r = fcntl.ioctl(s.fileno(), 0x8948, struct.pack('16sHHHH16x', b'eth0', phy, 1, 0, 0))
        return 'bmsr %04x' % struct.unpack_from('<H', r, 22)[0]
    except OSError as e:
        return 'mii error %d' % e.errno
    finally:
        s.close()
print(bmsr(), flush=True)
while not os.path.exists('/tmp/next'):
    time.sleep(0.02)
print('after ' + bmsr(), flush=True)
)";

// The board's rule for files the test drops into the program's /tmp.
void signalNext(Board& b)
{
    std::ofstream(b.dir() + "/tmp/next") << "1";
}

TEST(BoardDevices, EveryScenarioOfTheTreeIsValid)
{
    for (const char* name : { "default.ini", "devices.ini", "no-nand.ini", "no-usbdisk.ini", "cable-out.ini",
             "no-dhcp.ini", "no-wifi-cells.ini", "no-battery.ini", "no-vibrator.ini",
             "sensor-never-passes.ini", "no-camera-frames.ini", "silent-microphone.ini", "no-sound.ini" }) {
        ChildProcess c(
            boardProgram(), { "check-scenario", lumitest::sourceDir() + "/sim/scenarios/" + name }, {});
        EXPECT_EQ(c.wait(10000), 0) << name << ": " << c.errors();
    }
}

TEST(BoardDevices, BadDeviceSettingsAreErrors)
{
    TempDir tmp;
    for (const std::string& text :
        { std::string("[storage]\nnand = maybe\n"), std::string("[battery]\nsupply_power = 3\n"),
            std::string("[sensor]\npass_after = 0\n"), std::string("[ethernet]\ncable = loose\n"),
            std::string("[ethernet]\ndhcp = 192.168.1\n"), std::string("[motor]\nspeed = 2\n") }) {
        std::ofstream(tmp.file("bad.ini")) << text;
        ChildProcess c(boardProgram(), { "check-scenario", tmp.file("bad.ini") }, {});
        EXPECT_NE(c.wait(10000), 0) << text;
        EXPECT_NE(c.errors().find("bad.ini:2:"), std::string::npos) << c.errors();
    }
}

TEST(BoardDevices, DriverFilesFollowTheScenario)
{
    TempDir tmp;
    const char* script
        = "cat /proc/partitions; cat /proc/batt_config; cat /dev/sda >/dev/null && echo sda-present;"
          "printf '5\\n' >/sys/class/timed_output/vibrator/enable;"
          "printf '5\\n' >/sys/class/timed_output/vibrator/enable; echo done";
    Board healthy(tmp, "healthy", { "sh", "-c", script }, "[battery]\nsupply_power = 2\n");
    ASSERT_EQ(healthy.process->wait(30000), 0) << healthy.process->errors();
    const std::string out = healthy.process->output();
    EXPECT_NE(out.find("  31        0       4096 mtdblock0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("mtdblock2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("supply_power=2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("sda-present\n"), std::string::npos) << out;
    const std::string state = readFile(healthy.dir() + "/state.json");
    EXPECT_NE(state.find("\"vibrator\": {\"present\": true, \"pulses\": [5, 5]}"), std::string::npos)
        << state;

    Board broken(tmp, "broken", { "sh", "-c", script },
        "[storage]\nnand = no\nusbdisk = unplugged\n[battery]\nsupply_power = missing\n[motor]\nvibrator = "
        "no\n");
    broken.process->wait(30000);
    const std::string bad = broken.process->output() + broken.process->errors();
    EXPECT_EQ(bad.find("mtdblock"), std::string::npos) << bad;
    EXPECT_NE(bad.find("major minor"), std::string::npos) << bad;
    EXPECT_EQ(bad.find("supply_power"), std::string::npos) << bad;
    EXPECT_EQ(bad.find("sda-present"), std::string::npos) << bad;
    EXPECT_NE(readFile(broken.dir() + "/state.json").find("\"pulses\": []"), std::string::npos);
}

TEST(BoardDevices, UsbDiskIsUnpluggedAndPluggedDuringARun)
{
    TempDir tmp;
    Board b(tmp, "run",
        { "sh", "-c",
            "probe() { cat /dev/sda >/dev/null 2>&1 && echo \"sda $1 1\" || echo \"sda $1 0\"; }; probe "
            "first;"
            "while [ ! -e /tmp/next ]; do sleep 0.02; done; probe second" });
    ASSERT_TRUE(b.waitLine("sda first 1", 30)) << readFile(b.dir() + "/stdout.log");
    std::string out;
    EXPECT_EQ(b.ctl({ "unplug", "usbdisk" }, &out), 0) << out;
    EXPECT_NE(b.ctl({ "unplug", "usbdisk" }, &out), 0) << out;
    signalNext(b);
    // The script ends after its second look, and the board with it.
    EXPECT_EQ(b.process->wait(30000), 0);
    EXPECT_NE(b.process->output().find("sda second 0\n"), std::string::npos) << b.process->output();
}

TEST(BoardDevices, TheCableSetsTheLinkBitAndNoPhyReadsAllOnes)
{
    if (!exists(kPython))
        GTEST_SKIP() << "no " << kPython;
    TempDir tmp;
    Board b(tmp, "run", { kPython, "-c", kMiiProbe });
    ASSERT_TRUE(b.waitLine("bmsr 786d", 30)) << readFile(b.dir() + "/stdout.log");
    std::string out;
    EXPECT_EQ(b.ctl({ "unplug", "cable" }, &out), 0) << out;
    signalNext(b);
    EXPECT_EQ(b.process->wait(30000), 0);
    EXPECT_NE(b.process->output().find("after bmsr 7849\n"), std::string::npos) << b.process->output();
    EXPECT_NE(readFile(b.dir() + "/state.json").find("\"mii_requests\": 4"), std::string::npos);

    Board none(tmp, "nophy", { kPython, "-c", kMiiProbe }, "[ethernet]\nphy = no\n");
    ASSERT_TRUE(none.waitLine("bmsr ffff", 30)) << readFile(none.dir() + "/stdout.log");
    signalNext(none);
    EXPECT_EQ(none.process->wait(30000), 0);
}

TEST(BoardDevices, TheNetworkToolsFollowTheCable)
{
    TempDir tmp;
    // A lease with the cable in; then, with the cable out, the client finds
    // no server and drops the address, and the interface is not running.
    const char* script = "/sbin/ifconfig eth0; /sbin/ifconfig eth0 up; udhcpc eth0 -t 2; echo \"rc $?\";"
                         "/sbin/ifconfig eth0; echo first round;"
                         "while [ ! -e /tmp/next ]; do sleep 0.02; done;"
                         "udhcpc eth0 -t 2; echo \"rc $?\"; /sbin/ifconfig eth0; echo second round";
    Board b(tmp, "run", { "sh", "-c", script });
    ASSERT_TRUE(b.waitLine("first round", 30)) << b.process->errors();
    std::string first = readFile(b.dir() + "/stdout.log");
    // Down and without an address before anything ran.
    const size_t up = first.find("udhcpc: started");
    ASSERT_NE(up, std::string::npos) << first;
    EXPECT_NE(first.find("          BROADCAST MULTICAST  MTU:1500"), std::string::npos) << first;
    EXPECT_EQ(first.substr(0, up).find("inet addr:"), std::string::npos) << first;
    EXPECT_NE(first.find("udhcpc: lease of 192.168.1.23 obtained from 192.168.1.1"), std::string::npos)
        << first;
    EXPECT_NE(first.find("rc 0\n"), std::string::npos) << first;
    EXPECT_NE(
        first.find("inet addr:192.168.1.23  Bcast:192.168.1.255  Mask:255.255.255.0"), std::string::npos)
        << first;
    EXPECT_NE(first.find("UP BROADCAST RUNNING MULTICAST"), std::string::npos) << first;
    EXPECT_NE(b.state().find("\"up\": true, \"address\": \"192.168.1.23\""), std::string::npos) << b.state();

    ASSERT_EQ(b.ctl({ "unplug", "cable" }), 0);
    signalNext(b);
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->errors();
    const std::string all = readFile(b.dir() + "/stdout.log");
    ASSERT_EQ(all.compare(0, first.size(), first), 0);
    const std::string second = all.substr(first.size());
    EXPECT_NE(
        second.find(
            "udhcpc: broadcasting discover\nudhcpc: broadcasting discover\nudhcpc: no lease, failing\n"),
        std::string::npos)
        << second;
    EXPECT_NE(second.find("rc 1\n"), std::string::npos) << second;
    EXPECT_EQ(second.find("inet addr:"), std::string::npos) << second;
    EXPECT_NE(second.find("UP BROADCAST MULTICAST"), std::string::npos) << second;
    EXPECT_NE(second.find("second round"), std::string::npos) << second;
}

TEST(BoardDevices, NoDhcpServerMeansNoLeaseEvenWithALink)
{
    TempDir tmp;
    Board b(tmp, "run", { "sh", "-c", "udhcpc eth0 -t 3; echo \"rc $?\"; /sbin/ifconfig eth0" },
        "[ethernet]\ndhcp = none\n");
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->errors();
    const std::string out = b.process->output();
    size_t discovers = 0;
    for (size_t at = out.find("broadcasting discover"); at != std::string::npos;
         at = out.find("broadcasting discover", at + 1))
        ++discovers;
    EXPECT_EQ(discovers, 3u) << out;
    EXPECT_NE(out.find("no lease, failing\nrc 1\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("inet addr:"), std::string::npos) << out;
}

TEST(BoardDevices, TheSensorPassesFromItsPollAndRecordsTheMarkers)
{
    TempDir tmp;
    const char* script = "printf sensor_test=1 >/proc/gsensor_config;"
                         "for i in 1 2 3; do head -c 50 /proc/gsensor_config; done;"
                         "printf sensor_testend=1 >/proc/gsensor_config; head -c 50 /proc/gsensor_config";
    Board b(tmp, "run", { "sh", "-c", script }, "[sensor]\npass_after = 3\n");
    ASSERT_EQ(b.process->wait(30000), 0) << b.process->errors();
    EXPECT_NE(
        b.process->output().find("test_pass=0\ntest_pass=0\ntest_pass=1\ntest_pass=0\n"), std::string::npos)
        << b.process->output();
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find(
                  // three reads and the open that writes the end marker
                  "\"running\": false, \"polls\": 4, \"markers\": [\"sensor_test=1\", \"sensor_testend=1\"]"),
        std::string::npos)
        << state;
}

// The program's own items, built for arch, on a scenario of the tree: "NAME
// RESULT" for each.
std::string runItems(TempDir& tmp, ProbeArch arch, const std::string& scenario)
{
    const std::string probe = arch == ProbeArch::Armhf ? armhfBuild() + "/tests/sim/device-items-probe"
                                                       : buildProgram("tests/sim/device-items-probe");
    Board b(tmp, scenario, { probe, "nand", "usbdisk", "wifi", "ethernet", "motor", "sensor", "battery" },
        repoScenario(scenario + ".ini"));
    EXPECT_EQ(b.process->wait(120000), 0) << b.process->errors();
    return b.process->output();
}

struct Expected {
    const char* scenario;
    const char* failing; // the one item that fails, or "" for none
};

class BoardDeviceItems : public ::testing::TestWithParam<std::tuple<ProbeArch, Expected>> {
protected:
    void SetUp() override
    {
        if (std::get<0>(GetParam()) != ProbeArch::Armhf)
            return;
        if (!exists(armhfBuild() + "/tests/sim/device-items-probe"))
            GTEST_SKIP() << "no armhf build of the device items (build/armhf or UISHULL_ARMHF_BUILD)";
        if (!exists(armhfSysroot()))
            GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
    }
};

TEST_P(BoardDeviceItems, OnlyTheFaultyDevicesTestFails)
{
    TempDir tmp;
    const Expected& expected = std::get<1>(GetParam());
    const std::string out = runItems(tmp, std::get<0>(GetParam()), expected.scenario);
    ASSERT_NE(out.find("done\n"), std::string::npos) << out;
    // Verdicts: 0 pass, 1 fail, 2 the operator decides (motor, battery).
    const struct {
        const char* name;
        int healthy;
    } items[] = { { "nand", 0 }, { "usbdisk", 0 }, { "wifi", 0 }, { "ethernet", 0 }, { "motor", 2 },
        { "sensor", 0 }, { "battery", 2 } };
    for (const auto& item : items) {
        const int want = std::string(item.name) == expected.failing ? 1 : item.healthy;
        EXPECT_NE(
            out.find(std::string("\n") + item.name + " " + std::to_string(want) + "\n"), std::string::npos)
            << expected.scenario << ": " << item.name << " should give " << want << "\n"
            << out;
    }
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardDeviceItems,
    ::testing::Combine(::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
        ::testing::Values(Expected { "devices", "" }, Expected { "no-nand", "nand" },
            Expected { "no-usbdisk", "usbdisk" }, Expected { "cable-out", "ethernet" },
            Expected { "no-dhcp", "ethernet" }, Expected { "no-wifi-cells", "wifi" },
            Expected { "no-battery", "battery" }, Expected { "no-vibrator", "motor" },
            Expected { "sensor-never-passes", "sensor" })),
    [](const ::testing::TestParamInfo<std::tuple<ProbeArch, Expected>>& info) {
        std::string name = std::get<1>(info.param).scenario;
        for (char& c : name)
            if (c == '-')
                c = '_';
        return name + (std::get<0>(info.param) == ProbeArch::X86_64 ? "_x86_64" : "_armhf");
    });

}
