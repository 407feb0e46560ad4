#pragma once
// The run report: a file beside the screen that a factory line collects. For
// every finished test one JSON line (time, name, row, result, duration, the
// operator's answers and the test's log lines) and, at the end of a run, one
// line with the verdict. Off unless "config.ini" names a file in [report].
//
// Each line is appended with one write() on a descriptor opened with
// O_APPEND, then synced: a power cut loses at most the line being written. A
// line cut short (a full disk) is cut off again, so the file holds whole
// lines only. A failure is printed once per kind and the tests go on.

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace quicktest {

// Bounds of one line: a test's log lines beyond these are counted, not kept.
constexpr size_t kReportMaxLogLines = 64;
constexpr size_t kReportMaxLogBytes = 8192;
// Bound of a single text field (a name, a question, one log line).
constexpr size_t kReportMaxText = 1024;

// text as a JSON string literal (quotes included). Invalid UTF-8 becomes
// U+FFFD, control characters are escaped; at most maxBytes of text are taken,
// never cutting a character in two.
std::string jsonString(const char* text, size_t maxBytes = kReportMaxText);

// Local time of wall-clock milliseconds as "YYYY-MM-DDTHH:MM:SS.mmm+hh:mm".
std::string reportTime(uint64_t wallMs);

// Appends line and a newline to path with one write. 0 when the whole line
// is in the file and synced; otherwise errno, and what failed ("open",
// "write", ...) in operation. A partial line is removed again.
int appendReportLine(const std::string& path, const std::string& line, std::string& operation);

class RunReport {
public:
    // The report file (relative to the working directory); empty: no report.
    void setPath(const std::string& path) { m_path = path; }
    const std::string& path() const { return m_path; }
    bool enabled() const { return !m_path.empty(); }

    // A test in row (0-based) starts; log lines from now on are its own.
    void testStarted(int row, uint64_t monotonicMs);
    // A line the running test wrote to its log (GBK, as the tests write).
    void logLine(const char* gbk);
    // The operator's answer to the OK question about row.
    void answered(int row, const char* questionUtf8, bool yes);
    // Row's result is final: its line. result as stored (0 pass, 1 fail).
    void testFinished(int row, const char* nameUtf8, int result, uint64_t monotonicMs, uint64_t wallMs);
    // The operator's answer to the retest question about a failed row.
    void retestAnswered(int row, const char* nameUtf8, const char* questionUtf8, bool yes, uint64_t wallMs);
    // The run has ended: the verdict line, written only when a test was
    // reported since the last one, so a run's end is reported once.
    void runEnded(int passed, int failed, int untested, uint64_t wallMs);

    // Whether row started and has not had its line yet.
    bool awaitingResult(int row) const { return m_running.count(row) != 0; }

    // Lines written and failures seen, for the tests.
    int linesWritten() const { return m_written; }
    int failures() const { return m_failures; }

    // The JSON text of a line, without the newline.
    struct Answer {
        std::string question; // UTF-8
        bool yes;
    };
    struct TestRecord {
        uint64_t wallMs { 0 };
        std::string name; // UTF-8, as shown
        int row { 0 }; // 1-based, as counted on the screen
        int result { -1 };
        uint64_t durationMs { 0 };
        std::vector<Answer> answers;
        std::vector<std::string> log; // UTF-8
        size_t logDropped { 0 };
    };
    static std::string testLine(const TestRecord& record);

private:
    struct Running {
        uint64_t startMs { 0 };
        std::vector<Answer> answers;
        std::vector<std::string> log;
        size_t logBytes { 0 };
        size_t logDropped { 0 };
    };
    void append(const std::string& line);

    std::string m_path;
    std::map<int, Running> m_running;
    int m_current { -1 };
    bool m_testSinceVerdict { false };
    std::set<std::string> m_reported; // kinds of failure already printed
    int m_written { 0 };
    int m_failures { 0 };
};

}
