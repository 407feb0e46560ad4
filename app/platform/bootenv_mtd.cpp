// Finding the environment partition(s) in the kernel's list of flash
// partitions, /proc/mtd: a header line "dev: size erasesize name", then one
// line a partition such as mtd3: 00010000 00010000 "u-boot env".

#include "platform/bootenv.h"

#include <cctype>
#include <cstring>

namespace {

constexpr const char ENV_PARTITION_NAME[] = "u-boot env";
constexpr int ENV_PARTITION_NAME_LENGTH = 10;
// A partition line is well under this; longer lines are cut to it.
constexpr size_t MTD_LINE_SIZE = 256;

bool isTokenSeparator(char c)
{
    return c == '"' || c == '\n' || c == '\r';
}

// Reads one line into line (at most size - 1 bytes kept, the rest of a
// longer line skipped). False at the end of the file with nothing read.
bool readLine(FILE* file, char* line, size_t size)
{
    size_t n = 0;
    int c = 0;
    bool any = false;
    while ((c = std::fgetc(file)) != EOF) {
        any = true;
        if (c == '\n')
            break;
        if (n + 1 < size)
            line[n++] = static_cast<char>(c);
    }
    line[n] = 0;
    return any;
}

} // namespace

int strnicmp(const char* a, const char* b, int n)
{
    int ca = 0;
    int cb = 0;
    while (n-- > 0) {
        ca = std::tolower(static_cast<unsigned char>(*a++));
        cb = std::tolower(static_cast<unsigned char>(*b++));
        if (ca != cb || ca == 0)
            break;
    }
    return ca - cb;
}

int GetMatchID(const char* line)
{
    if (!line)
        return 0;
    int token = 0;
    const char* p = line;
    while (*p) {
        while (*p && isTokenSeparator(*p))
            ++p;
        if (!*p)
            break;
        ++token;
        if (token > 1 && strnicmp(p, ENV_PARTITION_NAME, ENV_PARTITION_NAME_LENGTH) == 0)
            return token;
        while (*p && !isTokenSeparator(*p))
            ++p;
    }
    return 0;
}

int envScanMtd(FILE* mtd, char* path1, char* path2)
{
    char line[MTD_LINE_SIZE];
    for (;;) {
        if (!readLine(mtd, line, sizeof line)) {
            printf(" end of\tfile\n");
            return -1;
        }
        if (strnicmp(line, "dev:", 4) == 0)
            break;
    }
    int found = 0;
    while (found < 2) {
        if (!readLine(mtd, line, sizeof line)) {
            if (found == 0)
                printf("search mtd partition to end of file /proc/mtd\n");
            break;
        }
        if (!GetMatchID(line))
            continue;
        ++found;
        // Only the digit of mtdN: is taken, one character: the environment
        // lives on a partition below 10 on every board we know.
        if (found == 1)
            path1[ENV_PATH_DIGIT] = line[3];
        else if (found == 2)
            path2[ENV_PATH_DIGIT] = line[3];
        else
            printf("env variable partition mor than 2 => error\n");
    }
    return found;
}
