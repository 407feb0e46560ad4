// Fuzzes the readers of the network commands' output the device tests parse
// ("/sbin/ifconfig eth0" and the Wi-Fi scan list): any bytes are read without
// a crash or a read outside the data, and the answers keep to their rules.

#include "testfun/testnetwork.h"
#include "testfun/testwifi.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const char* data = reinterpret_cast<const char*>(bytes);

    InetAddrReport r;
    const int verdict = parseInetAddr(data, size, &r);
    if (verdict != 0 && verdict != 1)
        std::abort();
    // Both texts end inside their buffers.
    if (!std::memchr(r.report, '\0', sizeof r.report) || !std::memchr(r.address, '\0', sizeof r.address))
        std::abort();
    if (verdict == 0 && (!r.addressTaken || std::strstr(r.address, "127.0.0.1")))
        std::abort();
    if (r.found != (std::strncmp(r.report, "inet addr:", 10) == 0))
        std::abort();
    if (r.addressTaken && !r.found)
        std::abort();

    const bool cell = wifiScanHasCell(data, size);
    const size_t seen = size < WIFI_SCAN_BYTES ? size : WIFI_SCAN_BYTES;
    const void* nul = std::memchr(data, '\0', seen);
    const size_t textLength = nul ? static_cast<size_t>(static_cast<const char*>(nul) - data) : seen;
    bool expected = false;
    for (size_t i = 0; i + 4 <= textLength && !expected; ++i)
        expected = std::memcmp(data + i, "Cell", 4) == 0;
    if (cell != expected)
        std::abort();
    return 0;
}
