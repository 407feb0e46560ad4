#pragma once
// Shared pieces of the control tests: a full-screen main window that hosts
// the control under test and records what its children tell it, and a
// snapshot of the shown screen for looking at many pixels at once.

#include <lumi/lumi.h>

#include "lumi_test.h"

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
class Snapshot {
public:
    Snapshot(const std::string& file, int width, int height) : m_width(width), m_height(height)
    {
        m_pixels.assign(static_cast<size_t>(width) * height, 0);
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        const ssize_t want = static_cast<ssize_t>(m_pixels.size() * 2);
        ssize_t got = 0;
        while (got < want) {
            const ssize_t n = ::pread(fd, reinterpret_cast<char*>(m_pixels.data()) + got, want - got, got);
            if (n <= 0)
                break;
            got += n;
        }
        ::close(fd);
    }

    uint16_t at(int x, int y) const
    {
        if (x < 0 || y < 0 || x >= m_width || y >= m_height)
            return 0;
        return m_pixels[static_cast<size_t>(y) * m_width + x];
    }

    // Pixels of rect (screen coordinates) for which pred holds.
    int count(const Rect& rect, const std::function<bool(uint16_t)>& pred) const
    {
        int n = 0;
        for (int y = rect.top; y < rect.bottom; ++y)
            for (int x = rect.left; x < rect.right; ++x)
                n += pred(at(x, y)) ? 1 : 0;
        return n;
    }

    int countColour(const Rect& rect, uint16_t colour) const
    {
        return count(rect, [colour](uint16_t p) { return p == colour; });
    }

private:
    int m_width;
    int m_height;
    std::vector<uint16_t> m_pixels;
};

}
