#pragma once
// The device tests read and write fixed paths ("/proc/partitions",
// "/dev/sda", "/proc/batt_config", ...). On the device and on the virtual
// board they are used as they are; unit tests set a root directory of their
// own under which the same paths are looked up, so that they never reach the
// machine's devices or proc files.
//
// Also the two reading helpers the tests' parsers share.

#include <cstddef>
#include <cstdio>
#include <string>

// The path the tests open for fixed: fixed itself, or the root set for tests
// followed by fixed.
std::string devicePath(const char* fixed);

// Sets the root directory (null or empty: none, the real paths).
void setDeviceRoot(const char* dir);
const char* deviceRoot();

// Takes the next line from data at *pos the way fgets(buffer, bufferSize,
// stream) takes it from a stream: up to bufferSize - 1 bytes, ending after a
// newline if one comes first. buffer is cleared first and always ends up
// terminated. Returns the number of bytes taken (0 at the end of data).
size_t nextLine(const char* data, size_t size, size_t* pos, char* buffer, size_t bufferSize);

// Reads a stream to its end, at most limit bytes, into out. Returns the
// number of bytes read.
size_t readStream(FILE* stream, std::string& out, size_t limit);
