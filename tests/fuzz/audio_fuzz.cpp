// Fuzzes the audio test's readers of outside bytes: the kernel's module list
// (any bytes, cut anywhere) and a recording file of any size and content
// up-sampled into the playback buffer in the program's 2048-byte reads. The
// buffer's silent tail and everything past the limit must stay untouched.

#include "testfun/audiopcm.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const char* text = reinterpret_cast<const char*>(data);
    const size_t listed = size < kLsmodReadBytes ? size : kLsmodReadBytes;
    const bool found = lsmodListsAc97(text, listed);
    // The answer is a plain search of the text up to its first zero byte.
    const size_t length = strnlen(text, listed);
    bool expected = false;
    for (size_t i = 0; !expected && i + 8 <= length; ++i)
        expected = std::memcmp(text + i, "zor_ac97", 8) == 0;
    if (found != expected)
        std::abort();

    static std::vector<uint8_t> buffer(kPlaybackBufferBytes + 64);
    std::memset(buffer.data(), 0xA5, buffer.size());
    size_t at = 0;
    for (size_t from = 0; from < size; from += kTransferBlock) {
        const size_t n = size - from < kTransferBlock ? size - from : kTransferBlock;
        const size_t next = upsampleInto(buffer.data(), kPlaybackBytes, at, data + from, n);
        if (next < at || next > kPlaybackBytes || (next - at) % 24 != 0)
            std::abort();
        at = next;
    }
    for (size_t i = at; i < buffer.size(); ++i) {
        if (buffer[i] != 0xA5)
            std::abort();
    }
    return 0;
}
