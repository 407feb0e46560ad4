// The board's flash: the flash driver's variable requests on /dev/mtd0 from
// the scenario's [bootenv], asked through the program's own live path on
// x86_64 and on armhf under qemu-arm (the 408-byte record is the same on both).

#include "board_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace boardtest;

class BoardFlash : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            probe = armhfBuild() + "/tests/sim/syspara-probe";
            if (!exists(probe))
                GTEST_SKIP() << "no armhf build with the syspara probe (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            probe = buildProgram("tests/sim/syspara-probe");
        }
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
