#include "testfun/devicefiles.h"

namespace {
std::string s_root;
}

std::string devicePath(const char* fixed)
{
    return s_root + fixed;
}

void setDeviceRoot(const char* dir)
{
    s_root = dir ? dir : "";
}

const char* deviceRoot()
{
    return s_root.c_str();
}

#include <algorithm>
#include <cstring>

size_t nextLine(const char* data, size_t size, size_t* pos, char* buffer, size_t bufferSize)
{
    if (bufferSize == 0)
        return 0;
    std::memset(buffer, 0, bufferSize);
    size_t taken = 0;
    while (*pos < size && taken + 1 < bufferSize) {
        const char c = data[(*pos)++];
        buffer[taken++] = c;
        if (c == '\n')
            break;
    }
    return taken;
}

size_t readStream(FILE* stream, std::string& out, size_t limit)
{
    out.clear();
    char chunk[4096];
    while (out.size() < limit) {
        const size_t want = std::min(sizeof chunk, limit - out.size());
        const size_t got = std::fread(chunk, 1, want, stream);
        if (got == 0)
            break;
        out.append(chunk, got);
    }
    return out.size();
}
