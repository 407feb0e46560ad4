#include "testfun/testbattery.h"

#include "testfun/devicefiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

const char kCannotOpen[]
    = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB5\xE7\xB3\xD8\xC9\xE8\xB1\xB8!"; // 不能打开电池设备!, cannot open
                                                                           // the battery device!
const char kOnBattery[]
    = "\xCF\xD6\xD4\xDA\xCA\xC7\xB5\xE7\xB3\xD8\xB9\xA9\xB5\xE7?"; // 现在是电池供电?, running on battery now?
const char kOnExternal[]
    = "\xCF\xD6\xD4\xDA\xCA\xC7\xCD\xE2\xB2\xBF\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7?"; // 现在是外部电源供电?,
                                                                                   // running on external
                                                                                   // power now?
const char kNoSupply[]
    = "\xB2\xBB\xC4\xDC\xB5\xC8\xB5\xBD\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7!"; // 不能等到电源供电!, cannot get
                                                                           // the power supply!

}

TestBattery::TestBattery(char* name)
    : TestItem(name, false)
{
}

int parseSupplyPower(const char* data, size_t size)
{
    char text[BATTERY_READ_BYTES + 1];
    std::memset(text, 0, sizeof text);
    std::memcpy(text, data, size < BATTERY_READ_BYTES ? size : BATTERY_READ_BYTES);
    int value = 0;
    if (std::sscanf(text, "supply_power=%d", &value) != 1)
        value = 0;
    return value;
}

int TestBattery::execute(Log* log)
{
    // Opened read-write, as the charger driver's file is.
    const int fd = ::open(devicePath("/proc/batt_config").c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        if (log)
            log->Message("%s", kCannotOpen);
        return 1;
    }
    char text[BATTERY_READ_BYTES + 1];
    std::memset(text, 0, sizeof text);
    const ssize_t got = ::read(fd, text, BATTERY_READ_BYTES);
    const int supply = parseSupplyPower(text, got > 0 ? static_cast<size_t>(got) : 0);
    if (supply == 1 || supply == 2) {
        if (log)
            log->Message("%s", supply == 1 ? kOnBattery : kOnExternal);
        ::close(fd);
        setResult(2);
        return 2;
    }
    if (log)
        log->Message("%s", kNoSupply);
    ::close(fd);
    return 1;
}
