#include "testfun/testnetwork.h"

#include "platform/shell_command.h"
#include "testfun/devicefiles.h"

#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

const char kDeviceError[]
    = "\xD2\xD4\xCC\xAB\xCD\xF8\xC9\xE8\xB1\xB8\xB3\xF6\xB4\xED"; // 以太网设备出错, Ethernet device error
const char kNoCable[]
    = "\xCD\xF8\xCF\xDF\xC3\xBB\xB2\xE5\xC8\xEB!"; // 网线没插入!, network cable not plugged in!

// ifconfig prints a few hundred bytes for one interface.
constexpr size_t kIfconfigLimit = 64 * 1024;

int systemMiiIoctl(int fd, unsigned long request, ifreq* data)
{
    return ::ioctl(fd, request, data);
}

MiiIoctl s_miiIoctl = systemMiiIoctl;

}

MiiIoctl setMiiIoctl(MiiIoctl query)
{
    MiiIoctl previous = s_miiIoctl;
    s_miiIoctl = query ? query : systemMiiIoctl;
    return previous;
}

TestNetWork::TestNetWork(char* name)
    : TestItem(name, false)
{
}

int cableLink()
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        printf("socket error\n");
        return 0;
    }
    ifreq ifr;
    std::memset(&ifr, 0, sizeof ifr);
    std::strncpy(ifr.ifr_name, "eth0", IFNAMSIZ - 1);
    // The MII data lives in the request's union, as the kernel reads it.
    auto* mii = reinterpret_cast<mii_ioctl_data*>(&ifr.ifr_ifru);
    if (s_miiIoctl(fd, SIOCGMIIPHY, &ifr) < 0) {
        printf("ioctl error\n");
        ::close(fd);
        return 0;
    }
    mii->reg_num = MII_BMSR;
    if (s_miiIoctl(fd, SIOCGMIIREG, &ifr) < 0) {
        printf("ioctl error\n");
        ::close(fd);
        return 0;
    }
    ::close(fd);
    const unsigned int status = mii->val_out;
    // 0xFFFF is what the bus reads when no PHY answers at that address.
    return status != 0xFFFF && (status & BMSR_LSTATUS) ? 1 : 0;
}

int parseInetAddr(const char* data, size_t size, InetAddrReport* out)
{
    std::memset(out, 0, sizeof *out);
    size_t pos = 0;
    char line[200];
    while (nextLine(data, size, &pos, line, sizeof line) > 0) {
        const char* inet = std::strstr(line, "inet addr:");
        if (!inet)
            continue;
        out->found = true;
        std::strncpy(out->report, inet, sizeof out->report - 1);
        const char* start = inet + 10;
        const char* bcast = std::strstr(start, "Bcast");
        if (bcast) {
            size_t length = static_cast<size_t>(bcast - start);
            if (length > sizeof out->address - 1)
                length = sizeof out->address - 1;
            std::memcpy(out->address, start, length);
            out->addressTaken = true;
        }
        break;
    }
    // The loopback address means the lease did not come from the network.
    if (out->addressTaken && !std::strstr(out->address, "127.0.0.1"))
        return 0;
    return 1;
}

int TestNetWork::execute(Log* log)
{
    setResult(1);

    // Any output from bringing the interface up is a complaint (no such
    // device, a driver error), even when the interface came up.
    FILE* up = openShellPipe("/sbin/ifconfig eth0 up");
    if (up) {
        char output[201];
        std::memset(output, 0, sizeof output);
        const size_t got = std::fread(output, 1, 200, up);
        closeShellPipe(up);
        if (got > 0) {
            if (log)
                log->Message("%s", kDeviceError);
            return 1;
        }
    }

    if (cableLink() != 1) {
        if (log)
            log->Message("%s", kNoCable);
        return 1;
    }

    runShellCommand("udhcpc eth0 -t 2");
    FILE* pipe = openShellPipe("/sbin/ifconfig eth0");
    if (!pipe)
        return 1;
    std::string text;
    readStream(pipe, text, kIfconfigLimit);
    InetAddrReport report;
    const int verdict = parseInetAddr(text.data(), text.size(), &report);
    if (verdict == 0)
        setResult(0);
    if (log)
        log->Message("%s", report.report);
    closeShellPipe(pipe);
    return verdict;
}
