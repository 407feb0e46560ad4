// A program for the board that shows what the program's input event layer
// makes of the board's devices: every toolkit key its window is given, every
// pointer sample with the layer's pointer position, and the layer's slots
// after a scan. It runs on the board exactly as the program does (frame
// buffer backend, the board's /dev/input), so the tests see the real layer
// translate records of the architecture it was built for.
//
// Printed lines:
//   slots S0 S1 ... S15     descriptor of each slot after eventInit (-1: closed)
//   input probe ready
//   key down K / key up K   a toolkit key given to the window
//   pointer X Y FLAGS at LX LY   a pointer event, and the layer's pointer
//   pointer at LX LY        the layer's relative pointer moved (checked every 10 ms)

#include "testfun/linuxevent.h"

#include <lumi/app.h>
#include <lumi/config.h>
#include <lumi/window.h>

#include <cstdio>

namespace {

class ProbeWnd : public MainWndBase {
public:
    int create()
    {
        return MainWndBase::create(Rect(0, 0, Display::getParam(0), Display::getParam(1)), 71, 101);
    }

protected:
    int onKeydown(int key, int) override
    {
        std::printf("key down %d\n", key);
        return 0;
    }
    int onKeyUp(int key, int) override
    {
        std::printf("key up %d\n", key);
        return 0;
    }
    int onMouseEvent(int x, int y, unsigned int flags) override
    {
        std::printf("pointer %d %d %u at %d %d\n", x, y, flags, g_linuxEventMouse.x, g_linuxEventMouse.y);
        return 0;
    }
};

// The relative pointer moves without a pointer message while no button is
// held; the probe reports the layer's position whenever it changes.
void watchPointer(void*, int)
{
    static int lastX = -1;
    static int lastY = -1;
    if (g_linuxEventMouse.x == lastX && g_linuxEventMouse.y == lastY)
        return;
    lastX = g_linuxEventMouse.x;
    lastY = g_linuxEventMouse.y;
    std::printf("pointer at %d %d\n", lastX, lastY);
}

}

int main()
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    GuiRT rt;
    if (rt.init(0) != 0)
        return 1;
    GuiApp app;
    app.init("input-probe", 0);
    // Owned by the toolkit once created.
    ProbeWnd* wnd = new ProbeWnd;
    wnd->create();
    wnd->showWindow(1);

    eventInit();
    std::printf("slots");
    for (int n = 0; n < EVENT_NODES; ++n)
        std::printf(" %d", g_linuxEventMouse.eventFd[n]);
    std::printf("\n");
    watchPointer(nullptr, 0);
    rt.addTimer(10, watchPointer, nullptr);
    std::printf("input probe ready\n");

    const int status = app.run();
    app.term();
    eventTerm();
    return status;
}
