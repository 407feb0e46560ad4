#include "widgets/pelcursor.h"

#include <lumi/config.h>
#include <lumi/gdi.h>
#include <lumi/mouse.h>

void PelCursor::moveToCentre()
{
    Cursor::moveTo(Display::getParam(0) / 2, Display::getParam(1) / 2);
}

int PelCursor::init()
{
    term();
    s_busyBmp = ImageMan::load(kBusyFile);
    s_pointerBmp = ImageMan::load(kPointerFile);
    s_pointerBusyBmp = ImageMan::load(kPointerBusyFile);
    // The cursor starts as the hourglass: start-up is busy time.
    if (Cursor::create(kBusyFile, kBusyKey) == 0)
        moveToCentre();
    refreshBmp(s_cursorStatus, s_cursorType);
    setStatus(s_cursorStatus);
    return 0;
}

int PelCursor::term()
{
    delete s_busyBmp;
    delete s_pointerBmp;
    delete s_pointerBusyBmp;
    s_busyBmp = nullptr;
    s_pointerBmp = nullptr;
    s_pointerBusyBmp = nullptr;
    return 0;
}

void PelCursor::setType(bool pointer)
{
    s_cursorType = pointer;
    refreshBmp(s_cursorStatus, s_cursorType);
    // Back on the touch screen the busy picture belongs in the middle.
    if (!pointer)
        moveToCentre();
}

int PelCursor::setStatus(cursor_status status)
{
    if (status != s_cursorStatus)
        refreshBmp(status, s_cursorType);
    Cursor::setVisible(s_cursorType || status == CURSOR_BUSY);
    s_cursorStatus = status;
    return 0;
}

void PelCursor::refreshBmp(cursor_status status, bool pointer)
{
    if (pointer) {
        if (status == CURSOR_BUSY)
            Cursor::changeCursorBmp(s_pointerBusyBmp, kPointerKey);
        else
            Cursor::changeCursorBmp(s_pointerBmp, kPointerKey);
        return;
    }
    if (status == CURSOR_BUSY)
        Cursor::changeCursorBmp(s_busyBmp, kBusyKey);
}
