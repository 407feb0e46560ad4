// The run report: its JSON lines, how they reach the file (whole lines, a
// failure printed once, a full file system), and what the quick-test screen
// writes into it as the operator plays a run.

#include "quicktest_support.h"

#include "quicktest/runreport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace quicktesttest;
using quicktest::appendReportLine;
using quicktest::jsonString;
using quicktest::RunReport;

namespace {

std::vector<std::string> linesOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line);
    return lines;
}

std::string contentsOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Whether text is well-formed UTF-8 without control characters: what a JSON
// line may hold outside its escapes. Checked byte by byte here, apart from
// the report's own decoder.
bool cleanUtf8(const std::string& text)
{
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + n > text.size() || c < 0x20 || c == 0xC0 || c == 0xC1 || c > 0xF4)
            return false;
        for (size_t k = 1; k < n; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        }
        i += n;
    }
    return true;
}

class RunReportFileTest : public ::testing::Test {
protected:
    lumitest::TempDir tmp;
};

}

TEST(RunReportJson, QuotesBackslashesAndControlCharactersAreEscaped)
{
    EXPECT_EQ(jsonString("a\"b\\c\nd\te\x01\x7f"), "\"a\\\"b\\\\c\\nd\\te\\u0001\\u007f\"");
    EXPECT_EQ(jsonString(nullptr), "\"\"");
}

TEST(RunReportJson, ValidUtf8PassesUnchanged)
{
    EXPECT_EQ(jsonString(u8"音频: 成功 \U0001F600"), std::string("\"") + u8"音频: 成功 \U0001F600" + "\"");
}

TEST(RunReportJson, InvalidBytesBecomeReplacementCharacters)
{
    // A stray continuation byte, 0xFF, an overlong '/', a surrogate and a
    // sequence cut short by the end.
    const std::string out = jsonString("a\x80"
                                       "b\xFF"
                                       "c\xC0\xAF"
                                       "d\xED\xA0\x80"
                                       "e\xE6\x88");
    EXPECT_TRUE(cleanUtf8(out)) << out;
    EXPECT_EQ(out.find('\x80' + std::string("b")), std::string::npos);
    EXPECT_NE(out.find(u8"a\uFFFDb\uFFFDc\uFFFD\uFFFDd"), std::string::npos) << out;
    EXPECT_EQ(out.substr(out.size() - 8), u8"e\uFFFD\uFFFD\"");
}

TEST(RunReportJson, ALongTextIsCutAtACharacterBoundaryWithinTheBound)
{
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += u8"测";
    const std::string out = jsonString(text.c_str(), 100);
    EXPECT_LE(out.size(), 102u);
    EXPECT_TRUE(cleanUtf8(out));
    EXPECT_EQ(out.back(), '"');
}

TEST(RunReportJson, ATestLineHoldsEveryFieldOnOneLine)
{
    RunReport::TestRecord record;
    record.wallMs = 1700000000123ull;
    record.name = u8"音频";
    record.row = 14;
    record.result = 1;
    record.durationMs = 3250;
    record.answers.push_back({ u8"请确定此功能是否OK?", false });
    record.log = { "line \"one\"", "two\nthree" };
    const std::string line = RunReport::testLine(record);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_NE(line.find(u8"\"name\":\"音频\""), std::string::npos) << line;
    EXPECT_NE(line.find("\"row\":14"), std::string::npos);
    EXPECT_NE(line.find("\"result\":\"fail\""), std::string::npos);
    EXPECT_NE(line.find("\"duration_ms\":3250"), std::string::npos);
    EXPECT_NE(line.find(u8"\"answers\":[{\"question\":\"请确定此功能是否OK?\",\"answer\":\"no\"}]"),
        std::string::npos);
    EXPECT_NE(line.find("\"log\":[\"line \\\"one\\\"\",\"two\\nthree\"]"), std::string::npos) << line;
    EXPECT_NE(line.find("\"time\":\"20"), std::string::npos);
    EXPECT_NE(line.find(".123"), std::string::npos) << "milliseconds in the time";
}

TEST(RunReportJson, TimeIsLocalWithMillisecondsAndOffset)
{
    const std::string t = quicktest::reportTime(86400000ull * 365 + 45);
    ASSERT_EQ(t.size(), 29u) << t;
    EXPECT_EQ(t.substr(19, 4), ".045");
    EXPECT_TRUE(t[23] == '+' || t[23] == '-');
    EXPECT_EQ(t[10], 'T');
}

TEST_F(RunReportFileTest, LinesAreAppendedWholeAfterTheEarlierOnes)
{
    const std::string path = tmp.file("report.jsonl");
    std::ofstream(path) << "{\"earlier\":1}\n";
    std::string operation;
    ASSERT_EQ(appendReportLine(path, "{\"a\":1}", operation), 0);
    ASSERT_EQ(appendReportLine(path, "{\"b\":2}", operation), 0);
    EXPECT_EQ(contentsOf(path), "{\"earlier\":1}\n{\"a\":1}\n{\"b\":2}\n");
}

TEST_F(RunReportFileTest, AMissingDirectoryIsPrintedOnceAndNothingStops)
{
    RunReport report;
    report.setPath(tmp.file("no-such-dir/report.jsonl"));
    testing::internal::CaptureStdout();
    for (int row = 0; row < 3; ++row) {
        report.testStarted(row, 0);
        report.testFinished(row, "t", 0, 10, 0);
    }
    report.runEnded(3, 0, 0, 0);
    fflush(stdout);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(report.failures(), 4);
    EXPECT_EQ(report.linesWritten(), 0);
    const std::string expected = "***ERR: report: cannot open " + tmp.file("no-such-dir/report.jsonl")
        + ": No such file or directory";
    EXPECT_NE(out.find(expected), std::string::npos) << out;
    EXPECT_EQ(out.find(expected), out.rfind(expected)) << "printed once: " << out;
}

TEST_F(RunReportFileTest, ADirectoryOrFifoAtThePathIsRefusedWithoutWaiting)
{
    const std::string fifo = tmp.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string operation;
    EXPECT_NE(appendReportLine(fifo, "{}", operation), 0) << "no reader: refused at once";
    EXPECT_EQ(operation, "open");
    EXPECT_NE(appendReportLine(tmp.path(), "{}", operation), 0);
}

TEST_F(RunReportFileTest, AFullFileSystemKeepsOnlyWholeLinesAndIsPrintedOnce)
{
    // A file size limit stands in for a full disk: the write that crosses it
    // is cut short, as on a full file system, and later ones fail.
    const std::string path = tmp.file("report.jsonl");
    const std::string outPath = tmp.file("out.txt");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        if (!freopen(outPath.c_str(), "w", stdout))
            _exit(3);
        rlimit limit { 1000, 1000 };
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            _exit(2);
        RunReport report;
        report.setPath(path);
        for (int row = 0; row < 20; ++row) {
            report.testStarted(row, 0);
            report.logLine("some log text that makes the line longer than a few bytes");
            report.testFinished(row, "test", 0, 5, 0);
        }
        fflush(stdout);
        _exit(report.failures() > 0 && report.linesWritten() > 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const std::string text = contentsOf(path);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n') << "no cut line at the end";
    const auto lines = linesOf(path);
    EXPECT_LT(lines.size(), 20u);
    for (const auto& line : lines) {
        EXPECT_EQ(line.front(), '{');
        EXPECT_EQ(line.back(), '}');
    }
    const std::string out = contentsOf(outPath);
    const std::string expected = "***ERR: report: cannot write " + path;
    EXPECT_NE(out.find(expected), std::string::npos) << out;
    EXPECT_EQ(out.find(expected), out.rfind(expected)) << out;
}

TEST_F(RunReportFileTest, ATestsLogIsBoundedAndTheRestCounted)
{
    RunReport report;
    report.setPath(tmp.file("r.jsonl"));
    report.testStarted(0, 0);
    const std::string line(1000, 'x');
    for (int i = 0; i < 100; ++i)
        report.logLine(line.c_str());
    report.testFinished(0, "t", 0, 1, 0);
    const auto lines = linesOf(tmp.file("r.jsonl"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_LT(lines[0].size(), quicktest::kReportMaxLogBytes + 1024);
    EXPECT_NE(lines[0].find("\"log_dropped\":9"), std::string::npos) << "8 lines kept of 100";
}

TEST_F(RunReportFileTest, GbkLogLinesAreConvertedAndInvalidBytesStayValidJson)
{
    RunReport report;
    report.setPath(tmp.file("r.jsonl"));
    report.testStarted(3, 100);
    report.logLine("\xB3\xC9\xB9\xA6 \"ok\"\n"); // 成功 "ok"
    report.logLine("bad \xFF\x80 bytes");
    report.testFinished(3, u8"音频", 0, 350, 0);
    const auto lines = linesOf(tmp.file("r.jsonl"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(cleanUtf8(lines[0])) << lines[0];
    EXPECT_NE(lines[0].find(u8"\"成功 \\\"ok\\\"\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("\"row\":4"), std::string::npos);
    EXPECT_NE(lines[0].find("\"duration_ms\":250"), std::string::npos);
}

// The screen writes the report as the run goes.

namespace {

class QuickTestReportTest : public QuickTestFixture {
protected:
    void SetUp() override
    {
        QuickTestFixture::SetUp();
        openOperator();
    }
    std::string reportPath() const { return tmp.file("report.jsonl"); }
};

// A test that logs an operator text (GBK) and a quote.
class ChattyItem : public ScriptedItem {
public:
    ChattyItem(const char* name, int outcome)
        : ScriptedItem(name, outcome)
    {
    }
    int execute(Log* log) override
    {
        log->Message("%s \"%d\"", "\xB3\xC9\xB9\xA6", 7); // 成功 "7"
        return ScriptedItem::execute(log);
    }
};

}

TEST_F(QuickTestReportTest, WithoutAReportSectionNoFileIsWritten)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    EXPECT_FALSE(window->report().enabled());
    for (int i = 0; i < 3; ++i)
        step();
    answer(0);
    step();
    step();
    EXPECT_TRUE(window->items[4]->getTested());
    struct stat st { };
    EXPECT_NE(stat(reportPath().c_str(), &st), 0);
}

TEST_F(QuickTestReportTest, EachFinishedTestAndTheVerdictGetALine)
{
    writeConfig("[function]\n[autorun]\nrunall=1\n[report]\nfile = report.jsonl\n");
    ProbeWnd* window = openWindow();
    ASSERT_TRUE(window->report().enabled());
    step(); // test1 passes
    step(); // test2 fails
    step(); // the second test2 asks
    ASSERT_NE(topBox(), nullptr);
    advance(200, 10);
    answer(0);
    step(); // test3 passes
    step(); // test4 fails: the end of the run

    const auto lines = linesOf(reportPath());
    ASSERT_EQ(lines.size(), 6u) << contentsOf(reportPath());
    const char* results[] = { "pass", "fail", "pass", "pass", "fail" };
    const char* names[] = { "test1", "test2", "test2", "test3", "test4" };
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(lines[i]);
        EXPECT_TRUE(cleanUtf8(lines[i]));
        EXPECT_NE(lines[i].find("\"event\":\"test\""), std::string::npos);
        EXPECT_NE(lines[i].find("\"row\":" + std::to_string(i + 1)), std::string::npos);
        EXPECT_NE(lines[i].find(std::string("\"name\":\"") + names[i] + "\""), std::string::npos);
        EXPECT_NE(lines[i].find(std::string("\"result\":\"") + results[i] + "\""), std::string::npos);
        EXPECT_NE(lines[i].find(std::string("\"log\":[\"Test: ") + names[i] + "\",\"Test: waiting "),
            std::string::npos);
        EXPECT_EQ(lines[i].find("\"answers\":[]") == std::string::npos, i == 2) << "only row 3 asked";
    }
    EXPECT_NE(lines[2].find(
                  std::string("\"answers\":[{\"question\":\"") + kOkText.utf8 + "\",\"answer\":\"yes\"}]"),
        std::string::npos);
    EXPECT_NE(lines[2].find("\"duration_ms\":2"), std::string::npos) << "the time the operator took counts";
    EXPECT_EQ(lines[5].find("{\"time\":\""), 0u);
    EXPECT_NE(
        lines[5].find("\"event\":\"verdict\",\"verdict\":\"fail\",\"passed\":3,\"failed\":2,\"untested\":0"),
        std::string::npos)
        << lines[5];
}

TEST_F(QuickTestReportTest, OperatorTextsInTheLogAreUtf8AndAllPassedIsThePassVerdict)
{
    writeConfig("[function]\n[autorun]\nrunall=1\n[report]\nfile = report.jsonl\n");
    ProbeWnd* window = openWindow();
    window->useItems({ new ChattyItem("a", 0), new ScriptedItem("b", 2) });
    settle();
    step();
    step();
    key(VK_Left); // from the preset "no" to "yes"
    key(VK_Select);
    ASSERT_EQ(window->items[1]->getResult(), 0);
    const auto lines = linesOf(reportPath());
    ASSERT_EQ(lines.size(), 3u) << contentsOf(reportPath());
    EXPECT_NE(lines[0].find(u8"\"log\":[\"成功 \\\"7\\\"\",\"a run 1\"]"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("\"answer\":\"yes\""), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("\"verdict\":\"pass\",\"passed\":2,\"failed\":0"), std::string::npos) << lines[2];
}

TEST_F(QuickTestReportTest, TheRetestAnswersAreLinesOfTheirOwnAndNoRetestEndsTheRun)
{
    writeConfig("[function]\n[autorun]\nrunall=0\n[report]\nfile = report.jsonl\n");
    ProbeWnd* window = openWindow();
    auto* failing = new ScriptedItem("b", 1);
    window->useItems({ new ScriptedItem("a", 0), failing, new ScriptedItem("c", 0) });
    settle();
    step();
    step();
    answer(0); // test it again
    step();
    ASSERT_EQ(failing->runs, 2);
    answer(1); // no more
    const auto lines = linesOf(reportPath());
    ASSERT_EQ(lines.size(), 6u) << contentsOf(reportPath());
    EXPECT_NE(lines[1].find("\"row\":2,\"result\":\"fail\""), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(std::string("\"event\":\"retest\",\"name\":\"b\",\"row\":2,\"question\":\"")
                  + kRetestText.utf8 + "\",\"answer\":\"yes\""),
        std::string::npos)
        << lines[2];
    EXPECT_NE(lines[3].find("\"log\":[\"b run 2\"]"), std::string::npos) << lines[3];
    EXPECT_NE(lines[4].find("\"answer\":\"no\""), std::string::npos) << lines[4];
    EXPECT_NE(
        lines[5].find("\"verdict\":\"fail\",\"passed\":1,\"failed\":1,\"untested\":1"), std::string::npos)
        << lines[5];
}

TEST_F(QuickTestReportTest, ATestThatReportsLaterGetsItsLineWhenItFinishes)
{
    writeConfig("[function]\n[autorun]\nrunall=1\n[report]\nfile = report.jsonl\n");
    ProbeWnd* window = openWindow();
    auto* pending = new ScriptedItem("p", 3);
    window->useItems({ pending });
    settle();
    step();
    EXPECT_TRUE(linesOf(reportPath()).empty()) << "no line before the result";
    advance(1000, 10);
    pending->setResult(0);
    ASSERT_EQ(postTestFinished(), 0);
    settle();
    const auto lines = linesOf(reportPath());
    ASSERT_EQ(lines.size(), 2u) << contentsOf(reportPath());
    EXPECT_NE(
        lines[0].find("\"name\":\"p\",\"row\":1,\"result\":\"pass\",\"duration_ms\":1"), std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find("\"verdict\":\"pass\""), std::string::npos);
}

TEST_F(QuickTestReportTest, ATestThatStoresItsResultWithoutANoticeGetsItsLineAtTheRunsEnd)
{
    writeConfig("[function]\n[autorun]\nrunall=1\n[report]\nfile = report.jsonl\n");
    ProbeWnd* window = openWindow();
    // As the pointer test: the screen is free at once, the result comes when
    // a mouse arrives, and nothing tells the window.
    auto* beside = new ScriptedItem("m", 4, true);
    auto* last = new ScriptedItem("t", 0);
    window->useItems({ beside, last });
    settle();
    step();
    beside->setResult(0);
    step();
    settle();
    const auto lines = linesOf(reportPath());
    ASSERT_EQ(lines.size(), 3u) << contentsOf(reportPath());
    EXPECT_NE(lines[0].find("\"name\":\"t\",\"row\":2,\"result\":\"pass\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("\"name\":\"m\",\"row\":1,\"result\":\"pass\""), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("\"verdict\":\"pass\",\"passed\":2,\"failed\":0"), std::string::npos) << lines[2];
}
