#include "shell/pelnetlink.h"

#include "testfun/linuxevent.h"

#include <linux/netlink.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

PelNetlink g_pelNetlink;
int g_inputCheckTimer = 0;
int g_inputCheckRetry = 0;

namespace {

int s_fd = -1;

MsgLoop* loop()
{
    return GuiRT::instance();
}

void stopRescan()
{
    if (g_inputCheckTimer != 0) {
        if (MsgLoop* l = loop())
            l->delTimer(g_inputCheckTimer);
    }
    g_inputCheckTimer = 0;
    g_inputCheckRetry = 0;
}

}

int PelNetlink::init()
{
    const int fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    if (fd < 0) {
        printf("error getting socket: %s\n", strerror(errno));
        return -1;
    }
    int size = 4096;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);

    sockaddr_nl addr;
    memset(&addr, 0, sizeof addr);
    addr.nl_family = AF_NETLINK;
    addr.nl_pad = 0;
    addr.nl_pid = static_cast<__u32>(getpid());
    addr.nl_groups = 1; // the kernel's uevent group
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0) {
        printf("bind failed: %s\n", strerror(errno));
        ::close(fd);
        return -1;
    }
    if (MsgLoop* l = loop())
        l->registerHandler(fd, &g_pelNetlink);
    s_fd = fd;
    return 0;
}

int PelNetlink::fd()
{
    return s_fd;
}

void PelNetlink::close()
{
    if (s_fd < 0)
        return;
    if (MsgLoop* l = loop())
        l->unregisterHandler(s_fd);
    ::close(s_fd);
    s_fd = -1;
}

void PelNetlink::onRead(int fd)
{
    // One byte more than the largest event, always zero: the text is a C
    // string whatever the kernel (or anyone else) sent.
    char buffer[NETLINK_EVENT_BYTES + 1];
    memset(buffer, 0, sizeof buffer);
    const ssize_t n = recv(fd, buffer, NETLINK_EVENT_BYTES, 0);
    if (n > 0)
        printf("***Pellink::onRead(): %s\n", buffer);
    else if (n < 0)
        perror("***ERR:Pellink::onRead()");

    // Only the header line is examined: an action, "@" and the device path,
    // which names the input node ("input", "mouse") of a pointer.
    const bool plugged = strstr(buffer, "add@/devices") || strstr(buffer, "remove@/devices");
    if (!plugged || !strstr(buffer, "mouse") || !strstr(buffer, "input"))
        return;

    puts("input changed.");
    stopRescan();
    if (MsgLoop* l = loop())
        g_inputCheckTimer = l->addTimer(NETLINK_RESCAN_MS, inputCheckProc, nullptr);
}

void inputCheckProc(void*, int timerId)
{
    if (timerId == 0 || timerId != g_inputCheckTimer)
        return;
    printf("In inputCheckProc (%d)\n", g_inputCheckRetry);
    eventTerm();
    const int found = eventInit();
    if (found == 0 || g_inputCheckRetry > NETLINK_LAST_RETRY - 1) {
        if (g_inputCheckRetry <= NETLINK_LAST_RETRY - 1)
            puts("eventInit Success");
        stopRescan();
        return;
    }
    ++g_inputCheckRetry;
}
