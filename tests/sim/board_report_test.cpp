// The run report of the real program on the board: a line per finished test
// and the verdict in the file config.ini names, shown by "ctl state"; and the
// same on a file system that is full, where the run goes on and the failure
// is printed once.

#include "board_fixture.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

using namespace boardtest;

namespace {

// The demo rows only (pass, fail, ask, pass, fail), every row run, the report
// at path.
std::string configWithReport(const TempDir& tmp, const std::string& path)
{
    const std::string config = tmp.file("config.ini");
    std::ofstream(config) << "[function]\n[autorun]\nrunall = 1\n[report]\nfile = " << path << "\n";
    return config;
}

// The number after "key": in the report member of a state, or -1.
long reportNumber(const std::string& state, const std::string& key)
{
    const size_t report = state.find("\"report\": {");
    if (report == std::string::npos)
        return -1;
    const size_t at = state.find("\"" + key + "\": ", report);
    return at == std::string::npos ? -1 : std::atol(state.c_str() + at + key.size() + 4);
}

// Polls the state (bounded) until the report holds lines lines.
std::string waitForReportLines(Board& board, long lines)
{
    std::string state;
    for (int i = 0; i < 300; ++i) {
        state = board.state();
        if (reportNumber(state, "lines") >= lines)
            break;
        usleep(50000);
    }
    return state;
}

bool bubblewrapRuns()
{
    return std::system("bwrap --ro-bind / / --dev /dev true >/dev/null 2>&1") == 0;
}

}

TEST(BoardReport, EachTestAndTheVerdictAreLinesOfTheReportAndStateShowsThem)
{
    TempDir tmp;
    const std::string scenario = "[workdir]\nconfig = " + configWithReport(tmp, "/data/report.jsonl")
        + "\nres = " + lumitest::sourceDir() + "/res\n";
    Board board(tmp, "run", { buildProgram("app/uishull"), "6" }, scenario);
    ASSERT_TRUE(board.waitLine("auto run 3", 60)) << board.process->output();
    std::string state = waitForReportLines(board, 2);
    EXPECT_NE(state.find("\"path\": \"/data/report.jsonl\""), std::string::npos) << state;
    EXPECT_EQ(reportNumber(state, "lines"), 2) << state;
    EXPECT_NE(
        state.find("\\\"name\\\":\\\"test2\\\",\\\"row\\\":2,\\\"result\\\":\\\"fail\\\""), std::string::npos)
        << state;

    // The question of row 3, answered "yes" on the keypad once the program
    // has opened it (plugging a mouse in makes it look for input devices).
    ASSERT_EQ(board.ctl({ "plug", "mouse" }), 0);
    ASSERT_TRUE(board.waitLine("is pointer mouse? yes", 30));
    ASSERT_EQ(board.ctl({ "key", "105" }), 0);
    ASSERT_EQ(board.ctl({ "key", "28" }), 0);
    ASSERT_TRUE(board.waitLine("auto run 5", 30)) << board.process->output();
    state = waitForReportLines(board, 6);
    EXPECT_EQ(reportNumber(state, "lines"), 6) << state;
    EXPECT_NE(
        state.find(
            "\\\"event\\\":\\\"verdict\\\",\\\"verdict\\\":\\\"fail\\\",\\\"passed\\\":3,\\\"failed\\\":2"),
        std::string::npos)
        << state;
    board.ctl({ "stop" });
    board.process->wait(30000);

    const std::string report = readFile(board.dir() + "/data/report.jsonl");
    EXPECT_NE(report.find("\"answers\":[{\"question\":\"" + std::string(u8"请确定此功能是否OK?")
                  + "\",\"answer\":\"yes\"}]"),
        std::string::npos)
        << report;
    EXPECT_EQ(report.back(), '\n');
}

TEST(BoardReport, OnAFullFileSystemTheRunGoesOnAndTheFailureIsPrintedOnce)
{
    if (!bubblewrapRuns())
        GTEST_SKIP() << "bubblewrap cannot run here: the board's small file system needs it";
    TempDir tmp;
    // One page of tmpfs, taken by the filler: the report gets no byte.
    const std::string scenario = "[workdir]\nconfig = " + configWithReport(tmp, "/full/report.jsonl")
        + "\nres = " + lumitest::sourceDir() + "/res\n[board]\nconfinement = bubblewrap\ntmpfs = /full 4096\n"
        + "tmpfs_used = 4000\n";
    Board board(tmp, "run", { buildProgram("app/uishull"), "6" }, scenario);
    ASSERT_TRUE(board.waitLine("auto run 3", 60)) << board.process->output();
    const std::string state = board.state();
    EXPECT_NE(
        state.find("\"path\": \"/full/report.jsonl\", \"exists\": true, \"lines\": 0"), std::string::npos)
        << state;
    EXPECT_NE(state.find("\"unfinished_line\": false"), std::string::npos) << "no part of a line" << state;
    board.ctl({ "stop" });
    board.process->wait(30000);
    const std::string out = readFile(board.dir() + "/stdout.log");
    const std::string error
        = "***ERR: report: cannot write /full/report.jsonl: No space left on device; the tests go on";
    EXPECT_NE(out.find(error), std::string::npos) << out;
    EXPECT_EQ(out.find(error), out.rfind(error)) << "printed once for two failed lines";
    EXPECT_NE(out.find("auto run 3"), std::string::npos) << "the tests went on";
}

TEST(BoardReport, TheSmallFileSystemIsCheckedInTheScenario)
{
    TempDir tmp;
    const std::string bad = tmp.file("bad.ini");
    std::ofstream(bad) << "[board]\ntmpfs = relative 4096\n";
    ChildProcess check(boardProgram(), { "check-scenario", bad }, {});
    EXPECT_NE(check.wait(30000), 0);
    EXPECT_NE((check.output() + check.errors()).find("tmpfs is PATH BYTES"), std::string::npos);
}
