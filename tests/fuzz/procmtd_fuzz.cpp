// Arbitrary bytes as the text of /proc/mtd through the partition scan, and
// each line through GetMatchID. Checks that only the partition digit of each
// path is written, and the count returned.

#include "platform/bootenv.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > 1 << 16)
        return 0;
    FILE* f = fmemopen(const_cast<uint8_t*>(data), size, "r");
    if (!f)
        return 0;
    char path1[] = "/dev/mtdblock ";
    char path2[] = "/dev/mtdblock ";
    // The store's own lines are not wanted here.
    FILE* out = freopen("/dev/null", "w", stdout);
    const int found = envScanMtd(f, path1, path2);
    std::fclose(f);
    require(out != nullptr);
    require(found >= -1 && found <= 2);
    require(std::strncmp(path1, ENV_BLOCK_PATH, ENV_PATH_DIGIT) == 0 && path1[ENV_PATH_DIGIT + 1] == 0);
    require(std::strncmp(path2, ENV_BLOCK_PATH, ENV_PATH_DIGIT) == 0 && path2[ENV_PATH_DIGIT + 1] == 0);
    require(found >= 1 || path1[ENV_PATH_DIGIT] == ' ');
    require(found >= 2 || path2[ENV_PATH_DIGIT] == ' ');
    require(path1[ENV_PATH_DIGIT] != 0 && path2[ENV_PATH_DIGIT] != 0);

    // Every line on its own, as a 0-terminated string.
    std::string text(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        const int match = GetMatchID(line.c_str());
        require(match >= 0);
        const int cmp = strnicmp(line.c_str(), "dev:", 4);
        require(cmp >= -255 && cmp <= 255);
        start = end + 1;
    }
    return 0;
}
