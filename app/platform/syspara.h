#pragma once
// The live path to the boot loader's environment: the flash driver answers
// requests for one variable on /dev/mtd0, and the display driver tells the
// chip identifier, which decides how the environment is laid out in flash.
//
// zor_getsyspara, zor_setsyspara and zor_getsocinfo open their fixed device
// nodes; the work is done by the functions over descriptors below them, which
// take the request function as a parameter so that a driver can be played by
// a test (or by the virtual board, which answers the real ioctl).

#include <cstddef>
#include <cstdint>

// The record the flash driver reads and fills, the same 408 bytes on every
// architecture (the request numbers encode its size).
struct SysparaRecord {
    char name[200]; // variable name, 0-terminated
    // set: non-zero (the address of the caller's value) to store, 0 to delete.
    // Kept 32 bits wide: the driver only tells the two cases apart.
    uint32_t valuePtr;
    char value[200]; // set: the text to store; get: the value the driver returns
    int32_t length; // get: capacity of the caller's buffer in, length of the value out
};
static_assert(sizeof(SysparaRecord) == 408, "the flash driver's record is 408 bytes");
static_assert(offsetof(SysparaRecord, valuePtr) == 200, "value pointer at offset 200");
static_assert(offsetof(SysparaRecord, value) == 204, "value text at offset 204");
static_assert(offsetof(SysparaRecord, length) == 404, "length at offset 404");

// Request numbers: type 'M' numbers 0x14 and 0x15 with the record, and the
// display's chip identifier, type 'i' number 5, 4 bytes.
constexpr unsigned long SYSPARA_GET_REQUEST = 0x81984D14UL;
constexpr unsigned long SYSPARA_SET_REQUEST = 0x81984D15UL;
constexpr unsigned long SOCINFO_REQUEST = 0x80046905UL;

constexpr const char SYSPARA_DEVICE[] = "/dev/mtd0";
constexpr const char SOCINFO_DEVICE[] = "/dev/fb0";
constexpr const char SOCINFO_FALLBACK_DEVICE[] = "/dev/graphics/fb0";

// Issues a control request on fd (ioctl, or what a test puts in its place);
// returns what ioctl returns.
using DeviceRequestFn = int (*)(int fd, unsigned long request, void* arg);
int deviceRequest(int fd, unsigned long request, void* arg);

// Reads variable name into value. *len is the capacity of value. Returns 0 and
// the value's length in *len, or -1: a refused request empties value and sets
// *len to 0; a device that cannot be opened leaves both untouched.
int zor_getsyspara(const char* name, char* value, int* len);
// Stores value under name, or deletes name when value is null. 0 or -1.
int zor_setsyspara(const char* name, const char* value);
// The chip identifier in *id (*second is only cleared). 0, or -1 when no frame
// buffer node opens.
int zor_getsocinfo(int* id, int* second);

// The same on an open descriptor of the flash driver. On success *len bytes
// (the capacity, whatever the value's length) are copied to value: callers
// pass 200 or less, the size of the record's value field. A larger capacity
// copies the record's length field after the value and zeros beyond it.
// A name of 200 bytes or more, or a value of 200 or more, does not fit the
// record and is refused with -1 before anything is asked or changed.
int sysparaGet(int fd, const char* name, char* value, int* len, DeviceRequestFn request = deviceRequest);
int sysparaSet(int fd, const char* name, const char* value, DeviceRequestFn request = deviceRequest);
// Asks the display driver on fd for the chip identifier; the request's own
// result is not looked at (an unanswered request leaves *id at 0).
void socinfoRead(int fd, int* id, DeviceRequestFn request = deviceRequest);
