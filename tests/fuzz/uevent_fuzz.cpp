// Fuzzes the hot-plug monitor's reading of kernel device events: any bytes
// (no zero byte, longer than the buffer) must be read without a crash, and a
// re-scan may be pending only after an add or remove of a mouse input node.

#include "shell/pelnetlink.h"
#include "testfun/linuxevent.h"

#include <lumi/app.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Harness {
    GuiRT rt; // the loop only; no re-scan ever runs (the clock is not moved)
    int pair[2] { -1, -1 };

    Harness()
    {
        if (!freopen("/dev/null", "w", stdout))
            abort();
        if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair) != 0)
            abort();
        int size = 1 << 20;
        setsockopt(pair[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
        setsockopt(pair[0], SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    }
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Harness h;
    if (size == 0 || size > 65536)
        return 0;
    if (send(h.pair[1], data, size, 0) != static_cast<ssize_t>(size))
        return 0;
    g_pelNetlink.onRead(h.pair[0]);

    // What the monitor saw: the text up to the first zero byte, within 2048 bytes.
    size_t seen = 0;
    while (seen < size && seen < NETLINK_EVENT_BYTES && data[seen] != 0)
        ++seen;
    const std::string text(reinterpret_cast<const char*>(data), seen);
    const bool matches = (text.find("add@/devices") != std::string::npos
                             || text.find("remove@/devices") != std::string::npos)
        && text.find("mouse") != std::string::npos && text.find("input") != std::string::npos;
    if ((g_inputCheckTimer != 0) != matches)
        abort();
    if (g_inputCheckTimer != 0)
        h.rt.delTimer(g_inputCheckTimer);
    g_inputCheckTimer = 0;
    g_inputCheckRetry = 0;
    return 0;
}
