#include "testfun/audiopcm.h"

#include <cstring>

const char kAc97Module[] = "zor_ac97";

bool lsmodListsAc97(const char* data, size_t size)
{
    if (!data)
        return false;
    const size_t length = strnlen(data, size);
    const size_t needle = sizeof kAc97Module - 1;
    for (size_t i = 0; i + needle <= length; ++i) {
        if (std::memcmp(data + i, kAc97Module, needle) == 0)
            return true;
    }
    return false;
}

size_t upsampleInto(uint8_t* buffer, size_t limit, size_t at, const uint8_t* data, size_t size)
{
    constexpr size_t kSampleOut = 2 * kUpsampleRepeat;
    for (size_t i = 0; i + 1 < size; i += 2) {
        if (at > limit || limit - at < kSampleOut)
            break;
        for (int r = 0; r < kUpsampleRepeat; ++r) {
            buffer[at++] = data[i];
            buffer[at++] = data[i + 1];
        }
    }
    return at;
}
