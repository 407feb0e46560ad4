// Fuzzes the input layer's record reading: any bytes a device descriptor
// delivers must be read and translated without a crash, and the relative
// pointer must stay on the screen.

#include "testfun/linuxevent.h"

#include <lumi/app.h>
#include <lumi/config.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Harness {
    GuiRT rt; // the loop only: no display, so the screen is 0x0
    GuiApp app;
    int pair[2] { -1, -1 };

    Harness()
    {
        // The layer's lines are of no interest here.
        if (!freopen("/dev/null", "w", stdout))
            abort();
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0)
            abort();
        setDefaultMap();
        setShiftMap();
    }
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Harness h;
    if (size > 0 && size <= 65536) {
        if (send(h.pair[1], data, size, 0) != static_cast<ssize_t>(size))
            abort();
        LinuxEventHandler.onRead(h.pair[0]);
    }
    // The same bytes, record by record, straight into the translations.
    for (size_t at = 0; at + sizeof(input_event) <= size; at += sizeof(input_event)) {
        input_event ev;
        memcpy(&ev, data + at, sizeof ev);
        translateKeyEvent(ev);
        translateAbsEvent(ev);
        translateRelEvent(ev);
    }
    h.app.dispatchMessages();
    const LinuxEventMouse& m = g_linuxEventMouse;
    if (m.x < 0 || m.x > Display::getParam(0) || m.y < 0 || m.y > Display::getParam(1))
        abort();
    return 0;
}
