// The input event layer's pointer: the multi-touch screen's absolute
// positions and the mouse's relative moves, as samples of the program's own
// pointer source.

#include "testfun/linuxevent.h"

#include <lumi/config.h>

#include <cstdint>

namespace {

MousePoint pointAt(int x, int y, uint32_t pressure)
{
    // Positions are cut to the toolkit's 16-bit sample, as the device's are.
    MousePoint p;
    p.x = static_cast<short>(x);
    p.y = static_cast<short>(y);
    p.reserved = 0;
    p.pressure = static_cast<unsigned short>(pressure);
    return p;
}

int clampTo(int64_t value, int limit)
{
    // Kept: the upper bound is the screen size itself, not the last pixel.
    if (value < 0)
        return 0;
    if (value > limit)
        return limit;
    return static_cast<int>(value);
}

}

int translateAbsEvent(input_event& ev)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (ev.type == EV_ABS) {
        if (ev.code == ABS_MT_POSITION_X) {
            g_absX = ev.value;
        } else if (ev.code == ABS_MT_POSITION_Y) {
            g_absY = ev.value;
        } else if (ev.code == ABS_MT_TOUCH_MAJOR && ev.value < 1) {
            // The finger is lifted: release where it was, forget the position.
            m.addPoint(pointAt(g_absX, g_absY, 0), false);
            g_absX = EVENT_POS_UNSET;
            g_absY = EVENT_POS_UNSET;
        }
        return 0;
    }
    if (ev.type == EV_SYN) {
        if (g_absX != EVENT_POS_UNSET && g_absY != EVENT_POS_UNSET)
            m.addPoint(pointAt(g_absX, g_absY, 500), true);
        return 0;
    }
    return -1;
}

int translateRelEvent(input_event& ev)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (ev.type != EV_REL)
        return -1;
    // Summed in 64 bits: any value a device sends stays on the screen.
    if (ev.code == REL_X)
        m.x = clampTo(static_cast<int64_t>(m.x) + ev.value, Display::getParam(0));
    else if (ev.code == REL_Y)
        m.y = clampTo(static_cast<int64_t>(m.y) + ev.value, Display::getParam(1));
    m.addPoint(pointAt(m.x, m.y, m.pressure), m.pressure != 0);
    Cursor::moveTo(m.x, m.y);
    return 0;
}
