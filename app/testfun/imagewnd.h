#pragma once
// The colour-bar screen of the LCD test: five full-width bands (red, green,
// blue, cyan, yellow, top to bottom) over the whole screen, with an exit
// button in the middle. It closes on the button or by itself after ten
// seconds, and deletes itself.

#include <lumi/controls.h>
#include <lumi/gdi.h>
#include <lumi/window.h>

class ImageWnd : public MainWndBase {
public:
    ImageWnd() = default;
    ~ImageWnd() override;

    // Creates the window over the whole screen (id 103, auto-delete), the
    // exit button and the ten-second close timer. 0 on success.
    int create();

    // The window id the quick-test window destroys a test's own screen by.
    static constexpr int kWindowId = 103;
    static constexpr int kCloseMs = 10000;
    static constexpr int kButtonWidth = 200;
    static constexpr int kButtonHeight = 80;

protected:
    int onPaint() override;
    int onTimer(int id) override;
    int onNotify(WndBase* from, int code, int param) override;

private:
    Bitmap m_bitmap; // kept with the window; the bands are drawn directly
    Button* m_exitButton { nullptr }; // a child: dies with the window
    int m_closeTimer { 0 }; // 0: none
};
