#pragma once
// The INI text parser behind IniFile, apart from the file reading so that it
// can be fuzzed and tested on bytes.

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace lumi {

using IniSections = std::map<std::string, std::map<std::string, std::string>>;

// Told about each line that is skipped: its number (from 1) and why, as a
// short phrase ("no '=' in the line").
using IniBadLine = std::function<void(int line, const char* why)>;

// Adds the sections and keys of text to sections (rules in lumi/config.h).
// A line that cannot be read is skipped and reported to badLine (if given);
// every other line is used. A section header without its ']' is skipped
// together with the keys under it, so that they cannot land in the section
// before it. Returns the number of skipped lines. Safe on any bytes.
int parseIni(std::string_view text, IniSections& sections, const IniBadLine& badLine = nullptr);

}
