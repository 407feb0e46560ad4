#include "screen.h"

#include <lumi/config.h>

#include "display/backend.h"

int Display::getParam(int which)
{
    lumi::Screen* s = lumi::screen();
    switch (which) {
    case 0:
        return s ? s->width() : 0;
    case 1:
        return s ? s->height() : 0;
    case 2:
        return s && s->backend() ? s->backend()->bitsPerPixel() : 16;
    default:
        return -1;
    }
}

unsigned short SysConf::getColor(int which)
{
    // A light, high-contrast scheme that reads well on a small resistive
    // screen in a bright factory hall.
    static const unsigned short colours[] = {
        0x0000,   // 0 window background
        0xFFFF,   // 1 window text
        0x041F,   // 2 selection
        0xFFFF,   // 3 edit background
        0x0000,   // 4 edit text
        0x8410,   // 5 disabled text
        0xC618,   // 6 button face
    };
    if (which < 0 || which >= static_cast<int>(sizeof colours / sizeof colours[0]))
        return 0;
    return colours[which];
}
