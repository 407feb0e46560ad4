// IniFile: a small line parser of our own rather than inih. inih (as Debian
// builds it) cuts lines at 200 bytes and reads the rest as a new line, and
// takes an indented "key = value" as the continuation of the previous value;
// hand-edited configuration files on the factory line must not be read that way.

#include <lumi/config.h>

#include "ini_parse.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
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

// Reads at most limit + 1 bytes, so the caller can tell an oversized file.
// -1 when the file cannot be opened or read.
int readFile(const char* path, std::string& out, size_t limit)
{
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    char chunk[4096];
    int result = 0;
    while (out.size() <= limit) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            result = -1;
            break;
        }
        if (n == 0)
            break;
        out.append(chunk, static_cast<size_t>(n));
    }
    ::close(fd);
    return result;
}

}

namespace lumi {

int parseIni(std::string_view text, IniSections& sections)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF")   // UTF-8 byte order mark from Windows editors
        text.remove_prefix(3);

    std::string section;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = trim(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);

        if (line.empty() || line.front() == ';' || line.front() == '#')
            continue;
        if (line.front() == '[') {
            const size_t close = line.find(']');
            if (close == std::string_view::npos)
                return -2;
            section = std::string(trim(line.substr(1, close - 1)));
            sections[section];   // an empty section still exists
            continue;
        }
        const size_t eq = line.find('=');
        if (eq == std::string_view::npos)
            return -2;
        const std::string_view key = trim(line.substr(0, eq));
        if (key.empty())
            return -2;
        const std::string_view value = trim(stripInlineComment(line.substr(eq + 1)));
        sections[section][std::string(key)] = std::string(value);
    }
    return 0;
}

}

int IniFile::open(const char* path)
{
    close();
    if (path == nullptr)
        return -1;
    std::string data;
    if (readFile(path, data, kMaxFileSize) < 0)
        return -1;
    m_open = true;

    bool tooLarge = false;
    if (data.size() > kMaxFileSize) {
        // Parse only the whole lines within the cap.
        data.resize(kMaxFileSize);
        const size_t lastBreak = data.rfind('\n');
        data.resize(lastBreak == std::string::npos ? 0 : lastBreak + 1);
        tooLarge = true;
    }
    const int rc = lumi::parseIni(data, m_sections);
    return rc != 0 ? rc : (tooLarge ? -2 : 0);
}

void IniFile::close()
{
    m_open = false;
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
