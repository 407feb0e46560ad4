#include "quicktest/runreport.h"

#include "platform/charset.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quicktest {

namespace {

    // Length of the valid UTF-8 character at p (at most left bytes), or 0 when
    // the bytes there are not one: overlong forms, surrogates and code points
    // past U+10FFFF included, so the report never carries what a JSON reader
    // would refuse.
    size_t utf8CharLength(const unsigned char* p, size_t left)
    {
        const unsigned char c = p[0];
        if (c < 0x80)
            return 1;
        size_t n = 0;
        unsigned long code = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            n = 2;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            n = 3;
            code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            n = 4;
            code = c & 0x07;
        } else {
            return 0;
        }
        if (left < n)
            return 0;
        for (size_t i = 1; i < n; ++i) {
            if ((p[i] & 0xC0) != 0x80)
                return 0;
            code = (code << 6) | (p[i] & 0x3F);
        }
        if ((n == 3 && code < 0x800) || (n == 4 && code < 0x10000) || code > 0x10FFFF
            || (code >= 0xD800 && code <= 0xDFFF))
            return 0;
        return n;
    }

    void appendNumber(std::string& out, const char* key, long long value)
    {
        char buf[64];
        snprintf(buf, sizeof buf, ",\"%s\":%lld", key, value);
        out += buf;
    }

    const char* resultWord(int result)
    {
        switch (result) {
        case 0:
            return "pass";
        case 1:
            return "fail";
        default:
            return "untested";
        }
    }

}

std::string jsonString(const char* text, size_t maxBytes)
{
    std::string out = "\"";
    if (!text)
        text = "";
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    // A few bytes past the bound are looked at, so that a character the
    // bound cuts is left out whole rather than taken for an invalid one.
    const size_t size = strnlen(text, maxBytes + 3);
    size_t i = 0;
    while (i < size && i < maxBytes) {
        const unsigned char c = p[i];
        const size_t n = utf8CharLength(p + i, size - i);
        if (n > 1 && i + n > maxBytes)
            break;
        if (n == 0) {
            out += "\xEF\xBF\xBD"; // U+FFFD for a byte that starts no character
            ++i;
            continue;
        }
        if (n > 1) {
            out.append(text + i, n);
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c == 0x7F) {
            char esc[8];
            snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        } else {
            out += static_cast<char>(c);
        }
        i += n;
    }
    out += '"';
    return out;
}

std::string reportTime(uint64_t wallMs)
{
    const time_t seconds = static_cast<time_t>(wallMs / 1000);
    struct tm local { };
    if (!localtime_r(&seconds, &local))
        return "1970-01-01T00:00:00.000+00:00";
    char date[40];
    strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    const long offset = local.tm_gmtoff / 60;
    const long absOffset = offset < 0 ? -offset : offset;
    char out[80];
    snprintf(out, sizeof out, "%s.%03u%c%02ld:%02ld", date, static_cast<unsigned>(wallMs % 1000),
        offset < 0 ? '-' : '+', absOffset / 60, absOffset % 60);
    return out;
}

int appendReportLine(const std::string& path, const std::string& line, std::string& operation)
{
    // Not blocking: a FIFO planted at the path must not stop the screen.
    const int fd
        = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644);
    if (fd < 0) {
        operation = "open";
        return errno;
    }
    struct stat st { };
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        operation = "open";
        close(fd);
        return EINVAL;
    }
    const std::string whole = line + "\n";
    const ssize_t n = write(fd, whole.data(), whole.size());
    int error = 0;
    if (n < 0) {
        operation = "write";
        error = errno;
    } else if (static_cast<size_t>(n) != whole.size()) {
        // A full disk took part of the line: take it back, or the next line
        // would be glued to the cut one.
        operation = "write";
        error = ENOSPC;
        if (ftruncate(fd, st.st_size) != 0) {
            // The cut line stays; a newline ends it so later lines stay whole
            // (when even that byte does not fit, nothing more can be written).
            if (write(fd, "\n", 1) < 0) { }
        }
    } else if (fdatasync(fd) != 0 && errno != EINVAL) {
        operation = "sync";
        error = errno;
    }
    close(fd);
    return error;
}

void RunReport::testStarted(int row, uint64_t monotonicMs)
{
    if (!enabled())
        return;
    Running& r = m_running[row];
    r = Running {};
    r.startMs = monotonicMs;
    m_current = row;
}

void RunReport::logLine(const char* gbk)
{
    if (!enabled() || !gbk)
        return;
    auto it = m_running.find(m_current);
    if (it == m_running.end())
        return;
    Running& r = it->second;
    std::string text(gbk, strnlen(gbk, kReportMaxText));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    int length = static_cast<int>(text.size());
    std::string utf8;
    if (length > 0) {
        char* converted = str2utf8(text.c_str(), &length, CHARSET_GBK);
        if (converted) {
            utf8.assign(converted, static_cast<size_t>(length > 0 ? length : 0));
            free(converted);
        }
    }
    if (r.log.size() >= kReportMaxLogLines || r.logBytes + utf8.size() > kReportMaxLogBytes) {
        ++r.logDropped;
        return;
    }
    r.logBytes += utf8.size();
    r.log.push_back(std::move(utf8));
}

void RunReport::answered(int row, const char* questionUtf8, bool yes)
{
    if (!enabled())
        return;
    auto it = m_running.find(row);
    if (it != m_running.end())
        it->second.answers.push_back({ questionUtf8 ? questionUtf8 : "", yes });
}

void RunReport::testFinished(int row, const char* nameUtf8, int result, uint64_t monotonicMs, uint64_t wallMs)
{
    if (!enabled())
        return;
    TestRecord record;
    record.wallMs = wallMs;
    record.name = nameUtf8 ? nameUtf8 : "";
    record.row = row + 1;
    record.result = result;
    auto it = m_running.find(row);
    if (it != m_running.end()) {
        Running& r = it->second;
        record.durationMs = monotonicMs >= r.startMs ? monotonicMs - r.startMs : 0;
        record.answers = std::move(r.answers);
        record.log = std::move(r.log);
        record.logDropped = r.logDropped;
        m_running.erase(it);
    }
    m_testSinceVerdict = true;
    append(testLine(record));
}

void RunReport::retestAnswered(
    int row, const char* nameUtf8, const char* questionUtf8, bool yes, uint64_t wallMs)
{
    if (!enabled())
        return;
    std::string line = "{\"time\":" + jsonString(reportTime(wallMs).c_str()) + ",\"event\":\"retest\"";
    line += ",\"name\":" + jsonString(nameUtf8);
    appendNumber(line, "row", row + 1);
    line += ",\"question\":" + jsonString(questionUtf8);
    line += std::string(",\"answer\":\"") + (yes ? "yes" : "no") + "\"}";
    append(line);
}

void RunReport::runEnded(int passed, int failed, int untested, uint64_t wallMs)
{
    if (!enabled() || !m_testSinceVerdict)
        return;
    m_testSinceVerdict = false;
    const char* verdict = failed > 0 ? "fail" : untested > 0 ? "incomplete" : "pass";
    std::string line = "{\"time\":" + jsonString(reportTime(wallMs).c_str()) + ",\"event\":\"verdict\"";
    line += std::string(",\"verdict\":\"") + verdict + "\"";
    appendNumber(line, "passed", passed);
    appendNumber(line, "failed", failed);
    appendNumber(line, "untested", untested);
    line += "}";
    append(line);
}

std::string RunReport::testLine(const TestRecord& record)
{
    std::string line = "{\"time\":" + jsonString(reportTime(record.wallMs).c_str()) + ",\"event\":\"test\"";
    line += ",\"name\":" + jsonString(record.name.c_str());
    appendNumber(line, "row", record.row);
    line += std::string(",\"result\":\"") + resultWord(record.result) + "\"";
    appendNumber(line, "duration_ms", static_cast<long long>(record.durationMs));
    line += ",\"answers\":[";
    for (size_t i = 0; i < record.answers.size() && i < kReportMaxLogLines; ++i) {
        if (i)
            line += ',';
        line += "{\"question\":" + jsonString(record.answers[i].question.c_str()) + ",\"answer\":\""
            + (record.answers[i].yes ? "yes" : "no") + "\"}";
    }
    line += "],\"log\":[";
    for (size_t i = 0; i < record.log.size() && i < kReportMaxLogLines; ++i) {
        if (i)
            line += ',';
        line += jsonString(record.log[i].c_str());
    }
    line += "]";
    if (record.logDropped)
        appendNumber(line, "log_dropped", static_cast<long long>(record.logDropped));
    line += "}";
    return line;
}

void RunReport::append(const std::string& line)
{
    std::string operation;
    const int error = appendReportLine(m_path, line, operation);
    if (error == 0) {
        ++m_written;
        return;
    }
    ++m_failures;
    const std::string kind = operation + ":" + std::to_string(error);
    if (!m_reported.insert(kind).second)
        return;
    const char* cause = error == EINVAL && operation == "open" ? "not a regular file" : strerror(error);
    printf("***ERR: report: cannot %s %s: %s; the tests go on, lines that fail are not in the report\n",
        operation.c_str(), m_path.c_str(), cause);
}

}
