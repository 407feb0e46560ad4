// Fuzzes the readers of the proc files the device tests parse
// (/proc/partitions, /proc/batt_config, /proc/gsensor_config): any bytes are
// read without a crash or a read outside the data, and the answers keep to
// their rules.

#include "testfun/devicefiles.h"
#include "testfun/log.hpp"
#include "testfun/testbattery.h"
#include "testfun/testnandflash.h"
#include "testfun/testsensor.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// Checks every logged line: a piece of at most 127 bytes holding "mtdblock".
class CheckingLog final : public Log {
public:
    __attribute__((format(printf, 2, 3))) void Message(const char* fmt, ...) override
    {
        if (std::strcmp(fmt, "%s") != 0)
            std::abort();
        va_list args;
        va_start(args, fmt);
        const char* line = va_arg(args, const char*);
        va_end(args);
        if (std::strlen(line) > 127 || !std::strstr(line, "mtdblock"))
            std::abort();
        ++lines;
    }
    int lines { 0 };
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const char* data = reinterpret_cast<const char*>(bytes);

    CheckingLog log;
    const int count = scanPartitions(data, size, &log);
    if (count != log.lines || count < 0 || static_cast<size_t>(count) > size / 8)
        std::abort();

    // The pieces cover the data exactly.
    size_t pos = 0;
    size_t total = 0;
    char line[128];
    while (size_t n = nextLine(data, size, &pos, line, sizeof line)) {
        if (n > 127 || line[127] != '\0')
            std::abort();
        total += n;
    }
    if (total != size || pos != size)
        std::abort();

    const int supply = parseSupplyPower(data, size);
    if (supply != 0 && (size < 14 || std::memcmp(data, "supply_power=", 13) != 0))
        std::abort();

    const bool passed = sensorAnswerPasses(data, size);
    if (passed != (size >= 11 && std::memcmp(data, "test_pass=1", 11) == 0))
        std::abort();
    return 0;
}
