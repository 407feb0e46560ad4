#include "testfun/mouseitem.h"

#include "testfun/linuxevent.h"

namespace {

const char kPlugMouse[] = "\xC7\xEB\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA"; // 请插入鼠标, please plug in a mouse

}

MouseItem::MouseItem(char* name)
    : TestItem(name, true)
{
    s_mouseTest = this;
}

MouseItem::~MouseItem()
{
    if (s_mouseTest == this)
        s_mouseTest = nullptr;
}

int MouseItem::execute(Log* log)
{
    if (log)
        log->Message("%s", kPlugMouse);
    // The re-scan sets the result: unknown first, pass when a device has
    // relative axes. It never fails by itself; the operator's retest or the
    // next re-scan after a mouse is plugged in settles it.
    eventTerm();
    eventInit();
    return 4;
}
