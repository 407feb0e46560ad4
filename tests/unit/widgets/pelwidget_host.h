#pragma once
// Shared pieces of the widget tests: an owner window that records what its
// widgets tell it (notifications, commands, keys), a pointer to press and
// release with, and a look at the pixels of a screen area.

#include "../toolkit/control_host.h"

#include <lumi/lumi.h>

#include "lumi_test.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace widgettest {

using controltest::kHostBack;
using controltest::Snapshot;

struct Command {
    int id;
    bool boxesGone; // no other main window was open when the command arrived
};

class OwnerWnd : public controltest::HostWnd {
public:
protected:
    int onCommand(LUMIMessage& msg) override
    {
        commands.push_back(Command { msg.param1, onlyMainWindow() });
        return 0;
    }

    int onKeydown(int key, int state) override
    {
        keys.push_back(key);
        pendingAtKey.push_back(theGuiApp() ? theGuiApp()->pendingMessages() : -1);
        return controltest::HostWnd::onKeydown(key, state);
    }

public:
    int notesWith(int code) const
    {
        int n = 0;
        for (const controltest::Notification& note : notes)
            n += note.code == code ? 1 : 0;
        return n;
    }

    bool onlyMainWindow() const
    {
        GuiApp* app = theGuiApp();
        return app && app->getTopWnd() == this;
    }

    std::vector<Command> commands;
    std::vector<int> keys;
    std::vector<int> pendingAtKey; // queued messages at the moment each key arrived
};

// A pointer of its own, as a mouse or the touch screen would feed it.
class Finger {
public:
    void press(int x, int y) { m_mouse.addPoint(MousePoint { s(x), s(y), 0, 500 }, true); }
    void release(int x, int y) { m_mouse.addPoint(MousePoint { s(x), s(y), 0, 0 }, false); }

private:
    static short s(int v) { return static_cast<short>(v); }
    Mouse m_mouse;
};

// The pixels of rect (screen coordinates) that differ from background, with
// their colours.
inline std::map<std::pair<int, int>, uint16_t> inkIn(
    const Snapshot& shot, const Rect& rect, uint16_t background)
{
    std::map<std::pair<int, int>, uint16_t> ink;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x)
            if (shot.at(x, y) != background)
                ink[{ x, y }] = shot.at(x, y);
    return ink;
}

// The bounding box of a set of pixels (empty for none).
inline Rect boundsOf(const std::map<std::pair<int, int>, uint16_t>& ink)
{
    Rect r;
    for (const auto& [at, colour] : ink)
        r |= Rect(at.first, at.second, at.first + 1, at.second + 1);
    return r;
}

}
