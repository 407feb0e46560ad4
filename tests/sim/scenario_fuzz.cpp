// Feeds arbitrary bytes to the board's scenario parser: it must never read out
// of bounds, and a scenario it accepts must hold values the board can use.

#include "../../sim/board/scenario.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    board::Scenario s;
    std::string error;
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (board::parseScenario(text, "fuzz.ini", "/base", s, error)) {
        if (s.width < 16 || s.width > 4096 || s.height < 16 || s.height > 4096 || (s.bpp != 16 && s.bpp != 32)
            || s.inputs.size() > 16)
            std::abort();
        for (const auto& in : s.inputs) {
            if (in.name.empty() || in.name.size() > 63)
                std::abort();
        }
        for (const auto& c : s.commands) {
            if (c.status < 0 || c.status > 255 || (!c.output.empty() && c.output.back() != '\n'))
                std::abort();
        }
    } else if (error.compare(0, 9, "fuzz.ini:") != 0) {
        std::abort(); // every error names the file
    }
    return 0;
}
