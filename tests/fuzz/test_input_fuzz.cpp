// Fuzzes the test-input line parser: any bytes must be parsed or refused
// without a crash, and an accepted command must be within its stated ranges.

#include "test_input.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    lumi::InputCommand command;
    std::string error;
    if (lumi::parseInputCommand(line, command, error)) {
        if (line.size() > lumi::kMaxInputLine)
            std::abort();
        if (command.kind == lumi::InputCommand::Key && (command.code < 0 || command.code > 65535))
            std::abort();
        if (command.x < -32768 || command.x > 32767 || command.y < -32768 || command.y > 32767)
            std::abort();
    } else if (error.empty()) {
        std::abort();
    }
    return 0;
}
