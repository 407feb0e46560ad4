#pragma once
// The update screen of start-up type 7: an update script running beside the
// program reports its progress through the notifier socket, and this window
// shows it. A header band carries a logo and the title; below it the steps
// reported so far grow in a smooth grid, then a progress bar with its
// percentage and a one-line status. When the script reports the end, the
// screen goes black and the program exits one second later.
//
// Messages (MSG_PEL_NOTIFY, the type in param1):
//   1 step text (GBK heap string)   2 title (GBK)   3 percentage (param2)
//   4 finished                      5 status line (GBK)

#include "widgets/pelsmoothgrid.h"
#include "widgets/tdynarray.h"

#include <lumi/controls.h>
#include <lumi/gdi.h>
#include <lumi/window.h>

class PelProgressWnd;

class UpdateWnd : public MainWndBase, public GridSupplier {
public:
    // The newest steps the list keeps; older ones are dropped as new ones
    // arrive. An update reports a few dozen steps; a script that loops or
    // floods the socket must not eat the device's memory (each step may be
    // a 1 KiB datagram, half as much again in UTF-8): 2000 rows hold far more
    // than any real update and stay under about 3 MiB.
    static constexpr int kMaxSteps = 2000;

    UpdateWnd() = default;
    ~UpdateWnd() override;

    // Lays the screen out for the display's size. Returns 0, or at once the
    // error of making the main window or one of its controls.
    int create();

    // The grid's items: the step texts, oldest first.
    int getItemCount() override;
    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override;
    bool coversItem(int index, unsigned int state) override;

protected:
    int handleMessage(LUMIMessage& msg) override;
    int onTimer(int id) override;
    int onPaint() override;
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override;

    // Heap UTF-8 texts, owned; an entry is null when its conversion failed.
    // Once kMaxSteps are held, each new step takes the oldest one's slot:
    // m_firstStep is the slot of the oldest.
    TDynArray<char*> m_steps;
    int m_firstStep { 0 };
    Label* m_titleLabel { nullptr };
    Label* m_percentLabel { nullptr };
    Label* m_statusLabel { nullptr };
    Bitmap* m_logo { nullptr };
    Rect m_logoRect;
    PelProgressWnd* m_progress { nullptr };
    PelSmoothGrid* m_grid { nullptr };
    Rect m_headerRect;
    int m_startTimer { 0 };
    int m_finishTimer { 0 };
    bool m_finished { false };
    // The off-screen picture of the window, kept between paints: every
    // progress step repaints the window under the bar, and a new screenful
    // of pixels each time would cost more than the painting.
    MemDC m_paintBuffer;

    // The step shown in row index (0 the oldest kept); null when out of range.
    const char* stepAt(int index) const;

private:
    void loadLogo();
    // Converts a GBK payload for display; frees the payload.
    static char* takeText(void* payload);
    // Appends a step (taking the text), dropping the oldest beyond kMaxSteps.
    void appendStep(char* text);
    // Sets a label's text from a GBK payload (freed); a null payload is ignored.
    static void setLabelText(Label* label, void* payload);
};
