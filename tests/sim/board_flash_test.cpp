// The board's flash: the flash driver's variable requests on /dev/mtd0 from
// the scenario's [bootenv], asked through the program's own live path on
// x86_64 and on armhf under qemu-arm (the 408-byte record is the same on
// both); the environment partitions of /proc/mtd behind /dev/mtdblockN in
// both layouts, read and written by uishull-bootenv on the board; and a power
// loss in the middle of a write-back, after which one valid copy remains.

#include "board_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace boardtest;

// The environment image's CRC-32, computed here bit by bit.
uint32_t crc32(const std::string& data)
{
    uint32_t c = 0xFFFFFFFFu;
    for (unsigned char byte : data) {
        c ^= byte;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
    }
    return ~c;
}

// One copy of the environment as the board left it in its run directory.
struct Copy {
    bool valid { false };
    int flag { -1 };
    std::string data; // name=value entries, each ending in NUL, up to the list's end
};

Copy readCopy(const std::string& path, bool single)
{
    Copy c;
    const std::string image = readFile(path);
    if (image.size() != 65536)
        return c;
    const size_t at = single ? 4 : 5;
    uint32_t stored = 0;
    for (int i = 3; i >= 0; --i)
        stored = stored << 8 | static_cast<unsigned char>(image[static_cast<size_t>(i)]);
    c.valid = stored == crc32(image.substr(at));
    c.flag = single ? -1 : static_cast<unsigned char>(image[4]);
    const size_t end = image.find(std::string(2, '\0'), at);
    c.data = image.substr(at, end == std::string::npos ? std::string::npos : end + 1 - at);
    return c;
}

std::string entries(std::initializer_list<const char*> list)
{
    std::string out;
    for (const char* e : list)
        out += std::string(e) + '\0';
    return out;
}

class BoardFlash : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            probe = armhfBuild() + "/tests/sim/syspara-probe";
            tool = armhfBuild() + "/tools/uishull-bootenv";
            if (!exists(probe) || !exists(tool))
                GTEST_SKIP() << "no armhf build with the syspara probe and uishull-bootenv (build/armhf or "
                                "UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            probe = buildProgram("tests/sim/syspara-probe");
            tool = buildProgram("tools/uishull-bootenv");
        }
    }

    struct Run {
        int status;
        std::string out;
        std::string dir;
    };

    // Runs uishull-bootenv with args on a board of scenario.
    Run runTool(const std::string& name, const std::vector<std::string>& args, const std::string& scenario)
    {
        std::vector<std::string> command = { tool };
        command.insert(command.end(), args.begin(), args.end());
        Board b(tmp, name, command, scenario);
        const int status = b.process->wait(120000);
        return { status, b.process->output() + b.process->errors(), b.dir() };
    }

    // A scenario whose copies are the images a run left.
    static std::string rebootScenario(const std::string& dir, bool single = false)
    {
        std::string text = "[flash]\nimage1 = " + dir + "/flash/mtdblock1\n";
        if (single)
            return text + "chip = 0x33570000\n";
        return text + "image2 = " + dir + "/flash/mtdblock2\n";
    }

    // Runs the probe with words on a board of scenario; its output, and the state in *state.
    std::string runProbe(const std::string& name, const std::vector<std::string>& words,
        const std::string& scenario, std::string* state = nullptr)
    {
        std::vector<std::string> command = { probe };
        command.insert(command.end(), words.begin(), words.end());
        Board b(tmp, name, command, scenario);
        const int status = b.process->wait(120000);
        EXPECT_EQ(status, 0) << b.process->errors();
        if (state)
            *state = readFile(b.dir() + "/state.json");
        return b.process->output();
    }

    TempDir tmp;
    std::string probe;
    std::string tool;
};

const char kEnvironment[] = "[bootenv]\n"
                            "bootdelay = 3\n"
                            "camera_chip = ccir656\n"
                            "camera_up = 10=ff,14|~01\n"
                            "empty =\n";

TEST_P(BoardFlash, TheFlashDriverAnswersFromTheScenarioEnvironment)
{
    const std::string out = runProbe("get",
        { "get", "camera_chip", "get", "camera_up", "get", "empty", "get", "missing", "get", "bootdelay" },
        kEnvironment);
    EXPECT_NE(out.find("get camera_chip rc=0 len=7 value=<ccir656>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get camera_up rc=0 len=12 value=<10=ff,14|~01>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get empty rc=0 len=0 value=<>\n"), std::string::npos) << out;
    // A refused request empties the caller's value and length.
    EXPECT_NE(out.find("get missing rc=-1 len=0 value=<>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get bootdelay rc=0 len=1 value=<3>\n"), std::string::npos) << out;
}

TEST_P(BoardFlash, TheCallerGetsItsCapacityAndTheWholeLength)
{
    const std::string out = runProbe("capacity", { "get", "camera_chip", "4" }, kEnvironment);
    EXPECT_NE(out.find("get camera_chip rc=0 len=7 value=<ccir>\n"), std::string::npos) << out;
}

TEST_P(BoardFlash, SetChangesTheBoardsEnvironment)
{
    std::string state;
    const std::string out = runProbe("set",
        { "set", "bootdelay", "5", "set", "serial", "A1-0042", "delete", "camera_up", "delete", "never_there",
            "get", "bootdelay", "get", "serial", "get", "camera_up" },
        kEnvironment, &state);
    EXPECT_NE(out.find("set bootdelay rc=0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("set serial rc=0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("delete camera_up rc=0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("delete never_there rc=0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get bootdelay rc=0 len=1 value=<5>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get serial rc=0 len=7 value=<A1-0042>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get camera_up rc=-1 len=0 value=<>\n"), std::string::npos) << out;
    // A set variable moves to the end of the list, as in the boot loader's editor.
    EXPECT_NE(
        state.find("\"variables\": {\"camera_chip\": \"ccir656\", \"empty\": \"\", \"bootdelay\": \"5\", "
                   "\"serial\": \"A1-0042\"}"),
        std::string::npos)
        << state;
    EXPECT_NE(state.find("\"gets\": 3, \"sets\": 4"), std::string::npos) << state;
}

TEST_P(BoardFlash, AnEmptyEnvironmentTakesANewVariable)
{
    std::string state;
    const std::string out
        = runProbe("fresh", { "get", "camera_chip", "set", "camera_chip", "yuv", "get", "camera_chip" },
            "[screen]\nwidth = 800\n", &state);
    EXPECT_NE(out.find("get camera_chip rc=-1 len=0 value=<>\n"), std::string::npos) << out;
    EXPECT_NE(out.find("get camera_chip rc=0 len=3 value=<yuv>\n"), std::string::npos) << out;
    EXPECT_NE(state.find("\"variables\": {\"camera_chip\": \"yuv\"}"), std::string::npos) << state;
}

TEST_P(BoardFlash, TheToolWritesTheInactiveCopyAndASecondRunReadsIt)
{
    const Run set = runTool("set", { "set", "serial", "A1-0042" }, kEnvironment);
    ASSERT_EQ(set.status, 0) << set.out;
    // The new contents went to copy 2, flagged active; copy 1 keeps its old
    // contents, flagged obsolete.
    const Copy copy1 = readCopy(set.dir + "/flash/mtdblock1", false);
    const Copy copy2 = readCopy(set.dir + "/flash/mtdblock2", false);
    const std::string old
        = entries({ "bootdelay=3", "camera_chip=ccir656", "camera_up=10=ff,14|~01", "empty=" });
    EXPECT_TRUE(copy1.valid);
    EXPECT_EQ(copy1.flag, 0);
    EXPECT_EQ(copy1.data, old);
    EXPECT_TRUE(copy2.valid);
    EXPECT_EQ(copy2.flag, 1);
    EXPECT_EQ(copy2.data, old + entries({ "serial=A1-0042" }));
    const std::string state = readFile(set.dir + "/state.json");
    EXPECT_NE(state.find("\"copy\": 2"), std::string::npos) << state;
    EXPECT_NE(state.find("\"power\": \"on\""), std::string::npos) << state;

    // The next run boots from those images: the tool and the flash driver agree.
    const Run get = runTool("get", { "get", "serial" }, rebootScenario(set.dir));
    EXPECT_EQ(get.status, 0) << get.out;
    EXPECT_NE(get.out.find("A1-0042\n"), std::string::npos) << get.out;
    const std::string probed
        = runProbe("probe", { "get", "serial", "get", "camera_chip" }, rebootScenario(set.dir));
    EXPECT_NE(probed.find("get serial rc=0 len=7 value=<A1-0042>\n"), std::string::npos) << probed;
    EXPECT_NE(probed.find("get camera_chip rc=0 len=7 value=<ccir656>\n"), std::string::npos) << probed;
}

TEST_P(BoardFlash, TheDriversSetIsSeenByTheTool)
{
    const std::string out = runProbe("driver", { "set", "camera_chip", "yuv", "socinfo" }, kEnvironment);
    EXPECT_NE(out.find("set camera_chip rc=0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("socinfo rc=0 id=0x35100000 second=0\n"), std::string::npos) << out;
    const Run print = runTool("print", { "print" }, rebootScenario(tmp.file("driver")));
    EXPECT_EQ(print.status, 0) << print.out;
    EXPECT_NE(
        print.out.find("bootdelay=3\ncamera_up=10=ff,14|~01\nempty=\ncamera_chip=yuv\n"), std::string::npos)
        << print.out;
}

TEST_P(BoardFlash, ASingleCopyChipHasOnePartition)
{
    const std::string scenario = std::string(kEnvironment) + "[flash]\nchip = 0x3357abcd\n";
    const Run info = runTool("info", { "info" }, scenario);
    EXPECT_EQ(info.status, 0) << info.out;
    EXPECT_NE(info.out.find("layout: single copy\n"), std::string::npos) << info.out;
    EXPECT_FALSE(exists(info.dir + "/flash/mtdblock2"));

    const Run set = runTool("set", { "set", "bootdelay", "0" }, scenario);
    ASSERT_EQ(set.status, 0) << set.out;
    const Copy copy = readCopy(set.dir + "/flash/mtdblock1", true);
    EXPECT_TRUE(copy.valid);
    EXPECT_EQ(
        copy.data, entries({ "camera_chip=ccir656", "camera_up=10=ff,14|~01", "empty=", "bootdelay=0" }));
    const std::string probed
        = runProbe("probe", { "socinfo", "get", "bootdelay" }, rebootScenario(set.dir, true));
    EXPECT_NE(probed.find("socinfo rc=0 id=0x33570000 second=0\n"), std::string::npos) << probed;
    EXPECT_NE(probed.find("get bootdelay rc=0 len=1 value=<0>\n"), std::string::npos) << probed;
}

TEST_P(BoardFlash, CorruptCopiesAndFlagsDecideTheCopy)
{
    // Copy 1 spoiled: copy 2 (not flagged) is taken by both readers.
    const std::string one = std::string(kEnvironment) + "[flash]\ncorrupt = copy1\n";
    Run info = runTool("one", { "info" }, one);
    EXPECT_EQ(info.status, 0) << info.out;
    EXPECT_NE(info.out.find("mtd dev1 crc32 is not correct"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("sector: 2\n"), std::string::npos) << info.out;
    std::string probed = runProbe("one-probe", { "get", "bootdelay" }, one);
    EXPECT_NE(probed.find("get bootdelay rc=0 len=1 value=<3>\n"), std::string::npos) << probed;

    // Both valid, copy 2 alone flagged: copy 2.
    info = runTool("flags", { "info" }, std::string(kEnvironment) + "[flash]\nflag1 = 0\nflag2 = 1\n");
    EXPECT_NE(info.out.find("sector: 18\n"), std::string::npos) << info.out;

    // Both spoiled: nothing to read on either path.
    const std::string both = std::string(kEnvironment) + "[flash]\ncorrupt = both\n";
    info = runTool("both", { "get", "bootdelay" }, both);
    EXPECT_EQ(info.status, 1) << info.out;
    EXPECT_NE(info.out.find("mtd dev2 crc32 is not correct"), std::string::npos) << info.out;
    probed = runProbe("both-probe", { "get", "bootdelay", "set", "x", "1" }, both);
    EXPECT_NE(probed.find("get bootdelay rc=-1 len=0 value=<>\n"), std::string::npos) << probed;
    EXPECT_NE(probed.find("set x rc=-1\n"), std::string::npos) << probed;

    // A single copy spoiled.
    info = runTool(
        "single", { "print" }, std::string(kEnvironment) + "[flash]\nchip = 0x34000000\ncorrupt = copy1\n");
    EXPECT_EQ(info.status, 1) << info.out;
    EXPECT_NE(info.out.find("mtd dev crc32 is not correct"), std::string::npos) << info.out;
}

TEST_P(BoardFlash, APowerLossDuringTheWriteBackLeavesOneValidCopy)
{
    // Copy 2 is written first (65536 bytes), then copy 1 with its flag
    // cleared at byte 4: until that byte the old copy 1 is still the active one.
    std::vector<long> cuts = { 0, 4096, 65535, 65536, 65540, 65541, 65536 + 32768, 131071 };
    if (GetParam() == ProbeArch::X86_64) {
        for (long at = 8192; at < 131072; at += 4096)
            cuts.push_back(at);
    }
    const std::string base = "[bootenv]\nbootdelay = 3\nserial = OLD\n";
    for (long cut : cuts) {
        const std::string name = "cut" + std::to_string(cut);
        const Run set = runTool(
            name, { "set", "serial", "NEW" }, base + "[flash]\npower_loss = " + std::to_string(cut) + "\n");
        const Copy copy1 = readCopy(set.dir + "/flash/mtdblock1", false);
        const Copy copy2 = readCopy(set.dir + "/flash/mtdblock2", false);
        EXPECT_TRUE(copy1.valid || copy2.valid) << cut;
        const std::string state = readFile(set.dir + "/state.json");
        EXPECT_NE(state.find("\"power\": \"lost\", \"power_lost_after\": " + std::to_string(cut)),
            std::string::npos)
            << cut << ": " << state;
        // After the power comes back both readers find the same value.
        const std::string expected = cut >= 65541 ? "NEW" : "OLD";
        const Run get = runTool(name + "-boot", { "get", "serial" }, rebootScenario(set.dir));
        EXPECT_EQ(get.status, 0) << cut << ": " << get.out;
        EXPECT_NE(get.out.find(expected + "\n"), std::string::npos) << cut << ": " << get.out;
    }
}

TEST_P(BoardFlash, NoNandHasNoFlash)
{
    const std::string out
        = runProbe("none", { "get", "bootdelay" }, std::string(kEnvironment) + "[storage]\nnand = no\n");
    // The node does not open: the caller's buffer and length stay as they were.
    EXPECT_NE(out.find("get bootdelay rc=-1 len=200 value=<>\n"), std::string::npos) << out;
    const Run info = runTool("none-tool", { "info" }, std::string(kEnvironment) + "[storage]\nnand = no\n");
    EXPECT_EQ(info.status, 1) << info.out;
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardFlash, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return info.param == ProbeArch::X86_64 ? std::string("x86_64") : std::string("armhf");
    });

TEST(BoardFlashScenario, BadEnvironmentsAreErrors)
{
    TempDir tmp;
    const std::string longName(200, 'n');
    const std::string longValue(200, 'v');
    for (const std::string& text : { std::string("[bootenv]\na = 1\na = 2\n"),
             "[bootenv]\n" + longName + " = 1\n", "[bootenv]\nname = " + longValue + "\n" }) {
        std::ofstream(tmp.file("bad.ini")) << text;
        ChildProcess c(boardProgram(), { "check-scenario", tmp.file("bad.ini") }, {});
        EXPECT_NE(c.wait(10000), 0) << text;
        EXPECT_NE(c.errors().find("bad.ini:"), std::string::npos) << c.errors();
    }
    // Variables of 199 bytes fit the record.
    std::ofstream(tmp.file("good.ini"))
        << "[bootenv]\n" + std::string(199, 'n') + " = " + std::string(199, 'v') + "\n";
    ChildProcess good(boardProgram(), { "check-scenario", tmp.file("good.ini") }, {});
    EXPECT_EQ(good.wait(10000), 0) << good.errors();
}

TEST(BoardFlashScenario, BadFlashSettingsAreErrors)
{
    TempDir tmp;
    std::ofstream(tmp.file("short.img")) << std::string(1000, '\0');
    for (const std::string& text :
        { std::string("[flash]\nchip = zz\n"), std::string("[flash]\nchip = 0x100000000\n"),
            std::string("[flash]\nimage1 = missing.img\n"), std::string("[flash]\nimage2 = short.img\n"),
            std::string("[flash]\nflag1 = 256\n"), std::string("[flash]\ncorrupt = copy3\n"),
            std::string("[flash]\npower_loss = -1\n"), std::string("[flash]\nsize = 1\n") }) {
        std::ofstream(tmp.file("bad.ini")) << text;
        ChildProcess c(boardProgram(), { "check-scenario", tmp.file("bad.ini") }, {});
        EXPECT_NE(c.wait(10000), 0) << text;
        EXPECT_NE(c.errors().find("bad.ini:2:"), std::string::npos) << c.errors();
    }
}

TEST(BoardFlashScenario, TheControllerCutsThePower)
{
    TempDir tmp;
    // The tool runs from the board's own /tmp: a shell on the board sees the
    // host's /tmp as the run's, and the build tree may lie under /tmp.
    const std::string tool = "/tmp/uishull-bootenv";
    Board b(tmp, "ctl",
        { "sh", "-c",
            "echo waiting; while [ ! -e /tmp/next ]; do sleep 0.02; done; " + tool + " set serial NEW; "
                + tool + " get serial; echo end" },
        "[board]\nconfinement = preload\n[bootenv]\nserial = OLD\nbootargs = " + std::string(150, 'x')
            + "\n");
    ASSERT_TRUE(b.waitLine("waiting", 30)) << readFile(b.dir() + "/stdout.log");
    std::string out;
    EXPECT_NE(b.ctl({ "power-loss", "lots" }, &out), 0) << out;
    EXPECT_EQ(b.ctl({ "power-loss", "100" }, &out), 0) << out;
    std::filesystem::copy_file(buildProgram("tools/uishull-bootenv"), b.dir() + "/tmp/uishull-bootenv");
    std::ofstream(b.dir() + "/tmp/next") << "1";
    EXPECT_EQ(b.process->wait(30000), 0);
    const std::string printed = b.process->output();
    // Copy 2 got 100 bytes (the new CRC, not the moved variable), the flash
    // nothing after them; copy 1 stays the one.
    EXPECT_NE(printed.find("end\n"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("NEW"), std::string::npos) << printed;
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"power\": \"lost\", \"power_lost_after\": 100"), std::string::npos) << state;
    EXPECT_NE(state.find("{\"serial\": \"OLD\", \"bootargs\""), std::string::npos) << state;
    EXPECT_NE(state.find("\"copy\": 1"), std::string::npos) << state;
    EXPECT_TRUE(readCopy(b.dir() + "/flash/mtdblock1", false).valid);
    EXPECT_FALSE(readCopy(b.dir() + "/flash/mtdblock2", false).valid);
}

TEST(BoardFlashScenario, ProcFilesListTheEnvironmentPartitions)
{
    TempDir tmp;
    Board redundant(tmp, "redundant", { "sh", "-c", "cat /proc/mtd /proc/partitions" });
    ASSERT_EQ(redundant.process->wait(30000), 0) << redundant.process->errors();
    std::string out = redundant.process->output();
    EXPECT_NE(out.find("dev:    size   erasesize  name\nmtd0: 00400000 00020000 \"boot\"\n"
                       "mtd1: 00010000 00010000 \"u-boot env\"\nmtd2: 00010000 00010000 \"u-boot env\"\n"
                       "mtd3: 00800000 00020000 \"kernel\"\nmtd4: 0f3e0000 00020000 \"rootfs\"\n"),
        std::string::npos)
        << out;
    EXPECT_NE(out.find("  31        2         64 mtdblock2\n  31        3       8192 mtdblock3\n"),
        std::string::npos)
        << out;
    Board single(tmp, "single", { "sh", "-c", "cat /proc/mtd" }, "[flash]\nchip = 0x34001234\n");
    ASSERT_EQ(single.process->wait(30000), 0) << single.process->errors();
    out = single.process->output();
    EXPECT_NE(out.find("mtd1: 00010000 00010000 \"u-boot env\"\nmtd2: 00800000 00020000 \"kernel\"\n"),
        std::string::npos)
        << out;
}

TEST(BoardFlashScenario, AnEnvironmentLargerThanTheFlashIsAnError)
{
    TempDir tmp;
    std::string text = "[bootenv]\n";
    for (int i = 0; i < 400; ++i)
        text += "v" + std::to_string(i) + " = " + std::string(190, 'x') + "\n";
    std::ofstream(tmp.file("big.ini")) << text;
    ChildProcess c(boardProgram(), { "check-scenario", tmp.file("big.ini") }, {});
    EXPECT_NE(c.wait(10000), 0);
    EXPECT_NE(c.errors().find("64 KiB"), std::string::npos) << c.errors();
}

}
