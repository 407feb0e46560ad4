#pragma once
// The wired Ethernet test on eth0: the interface comes up without a
// complaint, the PHY reports a cable link, and DHCP gives it an address that
// is not the loopback one.

#include "testfun/log.hpp"

#include <cstddef>

struct ifreq;

class TestNetWork : public TestItem {
public:
    explicit TestNetWork(char* name);

    // 0 pass, 1 fail. The result is set to 1 at the start and to 0 on success.
    int execute(Log* log) override;
};

// 1 when the Ethernet PHY of eth0 reports link, else 0: asks the PHY address
// (SIOCGMIIPHY), then its basic mode status register (SIOCGMIIREG, register
// 1). Link is up when the register is not 0xFFFF (no PHY answering) and its
// link status bit (4) is set. Prints "socket error" or "ioctl error" when a
// step fails.
int cableLink();

// The MII requests go through one function (ioctl by default) so that unit
// tests answer them instead of the host's network. Null restores ioctl.
using MiiIoctl = int (*)(int fd, unsigned long request, ifreq* request_data);
MiiIoctl setMiiIoctl(MiiIoctl query);

// What the output of "/sbin/ifconfig eth0" says about the DHCP lease.
struct InetAddrReport {
    // From "inet addr:" to the end of its line; empty without such a line.
    char report[512];
    // The text between "inet addr:" and "Bcast", at most 50 bytes; empty when
    // no "Bcast" follows on that line.
    char address[51];
    bool found; // a line held "inet addr:"
    bool addressTaken; // "Bcast" followed, so address was taken
};

// Reads the output in lines of at most 199 bytes up to the first that holds
// "inet addr:" and fills report. Returns 0 (pass) when an address was taken
// and does not contain "127.0.0.1", else 1.
int parseInetAddr(const char* data, size_t size, InetAddrReport* report);
