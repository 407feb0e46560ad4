// Feeds arbitrary bytes to the configuration file parser: it must never read
// out of bounds, and what it keeps must follow the file rules (no empty key,
// no blanks around names or values, no line break inside any of them).

#include "ini_parse.h"

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
    lumi::IniSections sections;
    const int rc = lumi::parseIni(std::string_view(reinterpret_cast<const char*>(data), size), sections);
    if (rc != 0 && rc != -2)
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
