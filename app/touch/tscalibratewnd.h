#pragma once
// The touch-screen test: a full-screen window that walks the operator through
// a five-point calibration of the panel, loads the fit into the touch driver
// and then lets the operator draw on the screen until it closes by itself.
//
// Calibrating: a white cross waits at one target at a time (top-left,
// top-right, bottom-right, bottom-left, centre) and slides to the next once
// it is touched; a touch counts when it is held 100 ms or more, and the
// driver's latest raw point is its sample. After the fifth the solver fits
// the map; a fit that misses a target by 10 pixels or more starts the round
// again, the third such fit fails the test. A passing fit goes to the driver
// and the window turns white with a grid: each touch paints a square, and
// four seconds after the last one (or after the pass) the window closes.
// Cancel fails the test while calibrating and only closes it afterwards.

#include "testfun/log.hpp"
#include "touch/calibrate.h"

#include <lumi/controls.h>
#include <lumi/window.h>

class TestTouchScreen;

// The five samples of one round and the fit made from them.
struct Calibration {
    int rawX[5] { 0, 0, 0, 0, 0 };
    int screenX[5] { 0, 0, 0, 0, 0 };
    int rawY[5] { 0, 0, 0, 0, 0 };
    int screenY[5] { 0, 0, 0, 0, 0 };
    int coeffs[kCalibrationCoefficientCount] { 0, 0, 0, 0, 0, 0, 0 };
};

// The coefficients of the last fit that passed in this process (all zero
// until one has): what the driver gets back when a calibration is abandoned.
extern int g_lastGoodCoeffs[kCalibrationCoefficientCount];

class TsCalibrateWnd : public MainWndBase {
public:
    explicit TsCalibrateWnd(TestTouchScreen* owner);
    ~TsCalibrateWnd() override;

    // Makes the full-screen window with its hint, its cancel button and the
    // five targets, and puts the driver into raw mode. 0 on success.
    int create();

    // The window's id: a test's own full-screen window.
    static constexpr int kWndId = 103;

    // What a test may look at.
    int targetIndex() const { return m_index; }
    int targetX(int i) const { return (i >= 0 && i < 5) ? m_targetX[i] : 0; }
    int targetY(int i) const { return (i >= 0 && i < 5) ? m_targetY[i] : 0; }
    bool isDone() const { return m_done; }
    int failureCount() const { return m_failures; }
    int slideOffset() const { return m_slideOffset; }
    bool isSliding() const { return m_slideTimer != 0; }
    int closeCount() const { return m_closeCount; }
    bool isClosing() const { return m_closeTimer != 0; }
    Label* hintLabel() const { return m_hint; }
    Button* cancelButton() const { return m_cancel; }
    const Calibration* calibration() const { return m_calibration; }

    // Draws the cross of target i, sliding in from target i - 1 by the slide
    // offset; stops the slide once the cross has arrived.
    void drawtestPoint(int i, DC& dc);
    // Stores sample i of the round: the raw point and its target.
    void getSample(int i, int rawX, int rawY, int screenX, int screenY);

protected:
    int onPaint() override;
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override;
    int onDestroy() override;
    int onMouseEvent(int x, int y, unsigned int flags) override;
    int onTimer(int id) override;
    int onNotify(WndBase* from, int code, int param) override;

private:
    void takeSample(int index);
    void startCloseTimer();

    // While the driver reports raw coordinates the points of the touch
    // screen are no screen positions: the window takes them from the touch
    // screen itself and gets a press and a release addressed to it.
    static bool rawPointFilter(MousePoint& point);

    int m_index { 0 };
    Label* m_hint { nullptr };
    short m_targetX[5] { 0, 0, 0, 0, 0 };
    short m_targetY[5] { 0, 0, 0, 0, 0 };
    int m_width { 0 };
    int m_height { 0 };
    Calibration* m_calibration { nullptr };
    bool m_done { false };
    int m_failures { 0 };
    int m_pressTime { 0 };
    int m_slideTimer { 0 };
    int m_slideOffset { 0 };
    Button* m_cancel { nullptr };
    TestTouchScreen* m_owner { nullptr };
    int m_closeCount { 0 };
    char* m_doneText { nullptr };
    int m_closeTimer { 0 };

    bool (*m_previousFilter)(MousePoint&) { nullptr };
    bool m_filterInstalled { false };
    bool m_penDown { false };
};

// The touch-screen item of the quick test.
class TestTouchScreen : public TestItem {
public:
    explicit TestTouchScreen(char* name);

    // Opens the calibration window and returns -1: the window stores the
    // result later (0 pass, 1 fail) and tells the quick-test window.
    int execute(Log* log) override;
};
