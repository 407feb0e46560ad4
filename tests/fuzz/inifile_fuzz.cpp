// Feeds arbitrary bytes to the configuration file parser: it must never read
// out of bounds, what it keeps must follow the file rules (no empty key, no
// blanks around names or values, no line break inside any of them), and the
// lines it skips must be real lines of the input, each reported once, in order.

#include "ini_parse.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

bool blankAtEnds(const std::string& s)
{
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; };
    return !s.empty() && (blank(s.front()) || blank(s.back()));
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // Lines counted the parser's way: a final line without its break counts.
    const long lines
        = std::count(text.begin(), text.end(), '\n') + (text.empty() || text.back() == '\n' ? 0 : 1);
    lumi::IniSections sections;
    int reported = 0;
    int lastLine = 0;
    const int skipped = lumi::parseIni(text, sections, [&](int line, const char* why) {
        if (line <= lastLine || line > lines || why == nullptr || *why == '\0')
            std::abort();
        lastLine = line;
        ++reported;
    });
    if (skipped != reported || skipped < 0)
        std::abort();
    for (const auto& [name, keys] : sections) {
        if (blankAtEnds(name) || name.find('\n') != std::string::npos)
            std::abort();
        for (const auto& [key, value] : keys) {
            if (key.empty() || blankAtEnds(key) || blankAtEnds(value))
                std::abort();
            if (key.find('\n') != std::string::npos || value.find('\n') != std::string::npos)
                std::abort();
        }
    }
    return 0;
}
