// Runs the program's own device test items on the board, without the
// quick-test screen: each item named on the command line runs once and prints
// "NAME RESULT" with its log lines before it ("log: ..."), so a board test
// can check which items a scenario fails.
//
//     device-items-probe nand usbdisk wifi ethernet motor sensor battery

#include "line_log.h"
#include "testfun/log.hpp"
#include "testfun/testbattery.h"
#include "testfun/testmotor.h"
#include "testfun/testnandflash.h"
#include "testfun/testnetwork.h"
#include "testfun/testsensor.h"
#include "testfun/testudisk.h"
#include "testfun/testwifi.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

char kName[] = "probe";

std::unique_ptr<TestItem> make(const char* what)
{
    if (!strcmp(what, "nand"))
        return std::make_unique<TestNandFlash>(kName);
    if (!strcmp(what, "usbdisk"))
        return std::make_unique<TestUdisk>(kName);
    if (!strcmp(what, "wifi"))
        return std::make_unique<TestWIFI>(kName);
    if (!strcmp(what, "ethernet"))
        return std::make_unique<TestNetWork>(kName);
    if (!strcmp(what, "motor"))
        return std::make_unique<TestMotor>(kName);
    if (!strcmp(what, "sensor"))
        return std::make_unique<TestSensor>(kName);
    if (!strcmp(what, "battery"))
        return std::make_unique<TestBattery>(kName);
    return nullptr;
}

}

int main(int argc, char** argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    PrintLog log;
    for (int i = 1; i < argc; ++i) {
        std::unique_ptr<TestItem> item = make(argv[i]);
        if (!item) {
            fprintf(stderr, "unknown item %s\n", argv[i]);
            return 2;
        }
        const int rc = item->execute(&log);
        printf("%s %d\n", argv[i], rc);
    }
    printf("done\n");
    return 0;
}
