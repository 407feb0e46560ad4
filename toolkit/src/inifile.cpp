// IniFile: a small line parser of our own rather than inih. inih (as Debian
// builds it) cuts lines at 200 bytes and reads the rest as a new line, and
// takes an indented "key = value" as the continuation of the previous value;
// hand-edited configuration files on the factory line must not be read that way.

#include <lumi/config.h>

#include "ini_parse.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A configuration file is a few kilobytes; anything larger is not one, and
// the cap keeps a mistaken path (a device node, a huge log) from eating memory.
constexpr size_t kMaxFileSize = 1024 * 1024;

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view trim(std::string_view s)
{
    while (!s.empty() && isBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

// Cuts an inline comment: ';' or '#' preceded by a blank.
std::string_view stripInlineComment(std::string_view s)
{
    for (size_t i = 1; i < s.size(); ++i) {
        if ((s[i] == ';' || s[i] == '#') && isBlank(s[i - 1]))
            return s.substr(0, i);
    }
    return s;
}

// Reads at most limit + 1 bytes from fd, so the caller can tell an oversized
// file. -1 on a read error.
int readAll(int fd, std::string& out, size_t limit)
{
    char chunk[4096];
    while (out.size() <= limit) {
        const ssize_t n = ::read(fd, chunk, std::min(sizeof chunk, limit + 1 - out.size()));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        out.append(chunk, static_cast<size_t>(n));
    }
    return 0;
}

const char* kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return "a directory";
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISCHR(mode))
        return "a character device";
    if (S_ISBLK(mode))
        return "a block device";
    if (S_ISSOCK(mode))
        return "a socket";
    return "not a plain file";
}

// Reads the configuration file at path into data. Only a regular file is
// read: a FIFO would block start-up until a writer came, and a device or a
// directory is never a configuration file. Opened without blocking so that
// the check happens before anything can wait. A missing file is the caller's
// to report ("open config.ini fails"); anything else is reported here. -1
// when nothing was read.
int readConfigFile(const char* path, std::string& data)
{
    const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        const int err = errno;
        if (err != ENOENT)
            std::fprintf(stderr, "[lumi] %s: cannot open: %s\n", path, std::strerror(err));
        return -1;
    }
    int result = 0;
    struct stat st { };
    if (::fstat(fd, &st) != 0) {
        std::fprintf(stderr, "[lumi] %s: cannot open: %s\n", path, std::strerror(errno));
        result = -1;
    } else if (!S_ISREG(st.st_mode)) {
        std::fprintf(stderr, "[lumi] %s: not read: %s, not a regular file\n", path, kindOf(st.st_mode));
        result = -1;
    } else if (readAll(fd, data, kMaxFileSize) != 0) {
        std::fprintf(stderr, "[lumi] %s: cannot read: %s\n", path, std::strerror(errno));
        result = -1;
    }
    ::close(fd);
    return result;
}

// Prints the first kMaxReportedLines bad lines of a file one a line, then
// how many more there were, so that a file of junk cannot flood the log.
class BadLineReport {
public:
    explicit BadLineReport(const char* path)
        : m_path(path)
    {
    }
    ~BadLineReport()
    {
        if (m_count > kMaxReportedLines)
            std::fprintf(
                stderr, "[lumi] %s: %d more bad lines ignored\n", m_path, m_count - kMaxReportedLines);
    }
    BadLineReport(const BadLineReport&) = delete;
    BadLineReport& operator=(const BadLineReport&) = delete;

    void add(int line, const char* why)
    {
        if (++m_count <= kMaxReportedLines)
            std::fprintf(stderr, "[lumi] %s:%d: ignored: %s\n", m_path, line, why);
    }

private:
    static constexpr int kMaxReportedLines = 20;
    const char* m_path;
    int m_count { 0 };
};

}

namespace lumi {

int parseIni(std::string_view text, IniSections& sections, const IniBadLine& badLine)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF")   // UTF-8 byte order mark from Windows editors
        text.remove_prefix(3);

    int skipped = 0;
    auto skip = [&](int number, const char* why) {
        ++skipped;
        if (badLine)
            badLine(number, why);
    };

    std::string section;
    // True after a header without ']': its keys are skipped rather than
    // filed under the section before it.
    bool inBrokenSection = false;
    int number = 0;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = trim(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        ++number;

        if (line.empty() || line.front() == ';' || line.front() == '#')
            continue;
        if (line.front() == '[') {
            const size_t close = line.find(']');
            if (close == std::string_view::npos) {
                inBrokenSection = true;
                skip(number, "section header without ']'; its keys are ignored too");
                continue;
            }
            inBrokenSection = false;
            section = std::string(trim(line.substr(1, close - 1)));
            sections[section];   // an empty section still exists
            continue;
        }
        const size_t eq = line.find('=');
        if (eq == std::string_view::npos) {
            skip(number, "no '=' in the line");
            continue;
        }
        const std::string_view key = trim(line.substr(0, eq));
        if (key.empty()) {
            skip(number, "no key before '='");
            continue;
        }
        if (inBrokenSection) {
            skip(number, "key under a section header without ']'");
            continue;
        }
        const std::string_view value = trim(stripInlineComment(line.substr(eq + 1)));
        sections[section][std::string(key)] = std::string(value);
    }
    return skipped;
}

}

int IniFile::open(const char* path)
{
    close();
    if (path == nullptr)
        return -1;
    std::string data;
    if (readConfigFile(path, data) != 0)
        return -1;
    m_open = true;

    BadLineReport report(path);
    int cutAtLine = 0;
    if (data.size() > kMaxFileSize) {
        // Use the whole lines within the cap; a line cut by it is not read.
        data.resize(kMaxFileSize);
        const size_t lastBreak = data.rfind('\n');
        data.resize(lastBreak == std::string::npos ? 0 : lastBreak + 1);
        cutAtLine = static_cast<int>(std::count(data.begin(), data.end(), '\n')) + 1;
    }
    m_skippedLines
        = lumi::parseIni(data, m_sections, [&](int line, const char* why) { report.add(line, why); });
    if (cutAtLine > 0) {
        std::fprintf(stderr,
            "[lumi] %s:%d: ignored: this line and the rest; the file is larger than %zu bytes\n", path,
            cutAtLine, kMaxFileSize);
    }
    return 0;
}

void IniFile::close()
{
    m_open = false;
    m_skippedLines = 0;
    m_sections.clear();
}

int IniFile::copyValue(const char* section, const char* key, char* buffer, int size) const
{
    if (!m_open || section == nullptr || key == nullptr || buffer == nullptr)
        return -1;
    const auto sec = m_sections.find(section);
    if (sec == m_sections.end())
        return -1;
    const auto it = sec->second.find(key);
    if (it == sec->second.end())
        return -1;
    if (size <= 0)
        return 0;   // found, but there is no room even for the terminator
    const std::string& value = it->second;
    const size_t n = std::min(value.size(), static_cast<size_t>(size) - 1);
    std::memcpy(buffer, value.data(), n);
    buffer[n] = '\0';
    return 0;
}
