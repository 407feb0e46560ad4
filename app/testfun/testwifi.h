#pragma once
// The wireless test: brings up ra0, scans with the scanning tool in the
// working directory into /data/wifi_aplist, and passes when the scan lists a
// cell (an access point) within its first 1024 bytes.

#include "testfun/log.hpp"

#include <cstddef>

class TestWIFI : public TestItem {
public:
    explicit TestWIFI(char* name);

    // 0 pass, 1 fail; the result is left to the quick-test window.
    int execute(Log* log) override;
};

// The bytes of the scan the test looks at.
constexpr size_t WIFI_SCAN_BYTES = 1024;

// True when "Cell" occurs in the first WIFI_SCAN_BYTES bytes of data, read as
// a text (it ends at a zero byte).
bool wifiScanHasCell(const char* data, size_t size);
