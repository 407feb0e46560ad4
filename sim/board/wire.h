#pragma once
// Bytes the board hands to the program: little-endian fields, the
// architecture's long, and the answers of ioctls. One place for the layout
// rules every device model shares.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace board {

enum class Arch { X86_64 = 1, Armhf = 2 };

// The answer to an ioctl: result (or -1 and error) and the bytes copied back.
struct IoctlResult {
    int result { 0 };
    int error { 0 };
    std::vector<uint8_t> out;
    static IoctlResult fail(int err) { return { -1, err, {} }; }
};

void put32(std::vector<uint8_t>& b, size_t at, uint32_t v);
void put16(std::vector<uint8_t>& b, size_t at, uint16_t v);
// An unsigned long of the architecture: 8 bytes on x86_64, 4 on armhf.
void putLong(std::vector<uint8_t>& b, size_t at, Arch arch, uint64_t v);
size_t longSize(Arch arch);

// The kernel copies a bit array of bitCount bits as whole longs, at most len bytes.
IoctlResult bitsToUser(Arch arch, const uint8_t* bits, size_t bitCount, size_t len);
// A NUL-terminated string cut to len bytes, as the kernel copies a name.
IoctlResult stringToUser(const std::string& s, size_t len);

// A controller's number argument: a whole decimal number from min to max.
bool parseNumber(const std::string& s, long min, long max, long& out);

// s as a JSON string literal.
std::string jsonString(const std::string& s);

}
