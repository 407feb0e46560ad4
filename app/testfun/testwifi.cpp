#include "testfun/testwifi.h"

#include "platform/shell_command.h"
#include "testfun/devicefiles.h"

#include <cstdio>
#include <cstring>

namespace {

const char kPleaseWait[] = "\xC7\xEB\xB5\xC8\xB4\xFD..."; // 请等待..., please wait...
const char kWifiPass[] = "Wifi \xB3\xC9\xB9\xA6"; // Wifi 成功, Wi-Fi success
const char kWifiFail[] = "Wifi \xCA\xA7\xB0\xDC"; // Wifi 失败, Wi-Fi failure

}

TestWIFI::TestWIFI(char* name)
    : TestItem(name, false)
{
}

bool wifiScanHasCell(const char* data, size_t size)
{
    // Zero-filled with room for a terminator: the scan is cut at the byte
    // limit wherever that falls.
    char text[WIFI_SCAN_BYTES + 1];
    std::memset(text, 0, sizeof text);
    std::memcpy(text, data, size < WIFI_SCAN_BYTES ? size : WIFI_SCAN_BYTES);
    return std::strstr(text, "Cell") != nullptr;
}

int TestWIFI::execute(Log* log)
{
    if (log)
        log->Message("%s", kPleaseWait);
    runShellCommand("rm -f /data/wifi_aplist");
    runShellCommand("ifconfig ra0 up");
    // The redirection creates the list even when the scan fails.
    runShellCommand("./iwlist ra0 scanning >/data/wifi_aplist");

    char text[WIFI_SCAN_BYTES + 1];
    std::memset(text, 0, sizeof text);
    size_t got = 0;
    FILE* f = std::fopen(devicePath("/data/wifi_aplist").c_str(), "r");
    if (f) {
        got = std::fread(text, 1, WIFI_SCAN_BYTES, f);
        std::fclose(f);
    }
    printf("wifi read %s\n", text);
    if (wifiScanHasCell(text, got)) {
        printf("find cell\n");
        if (log)
            log->Message("%s", kWifiPass);
        return 0;
    }
    printf("not find cell\n");
    if (log)
        log->Message("%s", kWifiFail);
    return 1;
}
