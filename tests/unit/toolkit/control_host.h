#pragma once
// Shared pieces of the control tests: a full-screen main window that hosts
// the control under test and records what its children tell it, and a
// snapshot of the shown screen for looking at many pixels at once.

#include <lumi/lumi.h>

#include "lumi_test.h"
#include "screen_file.h"

#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace controltest {

constexpr unsigned short kHostBack = 0x7BAF;

struct Notification {
    WndBase* from;
    int code;
    int param;
};

class HostWnd : public MainWndBase {
public:
    int create(int width, int height)
    {
        const int rc = MainWndBase::create(Rect(0, 0, width, height), WS_VISIBLE, 101);
        setBackColor(kHostBack);
        return rc;
    }

protected:
    int onNotify(WndBase* from, int code, int param) override
    {
        notes.push_back(Notification { from, code, param });
        return 0;
    }

    int onPaint() override
    {
        if (paintOver) {
            PaintDC dc(this);
            Rect client;
            getClientRect(client);
            dc.fillRect(client, paintOverColour);
        }
        return 0;
    }

    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override
    {
        if (childBackground && child != this && dc && rect) {
            dc->fillRect(*rect, childBackgroundColour);
            return 0;
        }
        return MainWndBase::onDrawBackground(dc, rect, child);
    }

public:
    int clicksFrom(const WndBase* w) const
    {
        int n = 0;
        for (const Notification& note : notes)
            n += note.from == w && note.code == NOTIFY_CLICKED;
        return n;
    }

    std::vector<Notification> notes;
    // Draws over the whole window in onPaint, so a child that shows this
    // colour did not get its background from the parent's onDrawBackground.
    bool paintOver { false };
    unsigned short paintOverColour { 0xF800 };
    // Serves children a background of its own instead of the window colour.
    bool childBackground { false };
    unsigned short childBackgroundColour { 0x07E0 };
};

// The whole shown screen, read once.
using Snapshot = lumitest::ScreenFile;

}
