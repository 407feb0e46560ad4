#pragma once
// The INI text parser behind IniFile, apart from the file reading so that it
// can be fuzzed and tested on bytes.

#include <map>
#include <string>
#include <string_view>

namespace lumi {

using IniSections = std::map<std::string, std::map<std::string, std::string>>;

// Adds the sections and keys of text to sections (rules in lumi/config.h).
// Returns 0, or -2 at the first line that cannot be parsed; what came before
// it is kept. Safe on any bytes.
int parseIni(std::string_view text, IniSections& sections);

}
