#include "testfun/testnandflash.h"

#include "testfun/devicefiles.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {
// /proc/partitions holds a line per block device; a device with far more
// than this is not a handheld.
constexpr size_t kPartitionsLimit = 256 * 1024;
}

TestNandFlash::TestNandFlash(char* name)
    : TestItem(name, false)
{
}

int scanPartitions(const char* data, size_t size, Log* log)
{
    int count = 0;
    size_t pos = 0;
    char line[128];
    while (nextLine(data, size, &pos, line, sizeof line) > 0) {
        if (std::strstr(line, "mtdblock")) {
            if (log)
                log->Message("%s", line);
            ++count;
        }
    }
    return count;
}

int TestNandFlash::execute(Log* log)
{
    int count = 0;
    // A file that cannot be opened counts as no partition.
    FILE* f = std::fopen(devicePath("/proc/partitions").c_str(), "r");
    if (f) {
        std::string text;
        readStream(f, text, kPartitionsLimit);
        std::fclose(f);
        count = scanPartitions(text.data(), text.size(), log);
    }
    const int verdict = count == 0 ? 1 : 0;
    setResult(verdict);
    return verdict;
}
