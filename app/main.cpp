// uishull: the factory-test program. One argument, the start-up type:
// 6 runs the quick test, 7 the update progress screen.

#include "platform/diag_output.h"
#include "quicktest/quicktestwnd.h"
#include "shell/pelguiapp.h"
#include "shell/pelnetlink.h"
#include "shell/pelnotifier.h"
#include "testfun/linuxevent.h"
#include "touch/multitouchscreen.h"
#include "touch/tsdevice.h"
#include "update/updatewnd.h"
#include "widgets/pelcursor.h"

#include <lumi/app.h>
#include <lumi/platform.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    // Diagnostics go to a pipe on the device and in the tests; keep them in
    // order and complete line by line.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    // A reader that stalls or goes away must not stop the screen: printed
    // lines never block, and a closed pipe does not end the program.
    installDiagOutput();

    if (argc <= 1) {
        puts("ERROR: application parameter error!");
        return 0;
    }

    install_sigchk();

    GuiRT rt;
    // Without its display (or the test input asked for) the program would run
    // on unseen and unreachable: stop after the toolkit's message naming the
    // backend and the cause, with a status the start-up scripts can see.
    if (rt.init(0) != 0)
        return 1;
    attachDiagOutput(rt);

    PelCursor::init();

    PelGuiApp app;
    app.init("uishull");

    PelNotifier::init();

    const int type = atoi(argv[1]);
    printf("[--I] receive startup type=%d \n", type);

    // The main window of the mode; the toolkit owns it once created. Any
    // other type runs the loop with nothing on the screen until the run-time
    // is ended from outside (SIGTERM or SIGINT).
    if (type == 7) {
        UpdateWnd* wnd = new UpdateWnd;
        wnd->create();
        wnd->showWindow(1);
    } else if (type == 6) {
        PelNetlink::init();
        initEventTouchScreen();
        // The resistive panel is the device's pointer: the quick test is run
        // by touch. Without it the program goes on with its other inputs.
        MultiTouchScreen::getTs()->open(tsDevicePath());
        QuickTestWnd* wnd = new QuickTestWnd;
        wnd->create();
        wnd->showWindow(1);
    }

    app.run();

    app.term();
    if (type == 6) {
        closeEventTouchScreen();
        MultiTouchScreen::getTs()->close();
    }
    // However the loop ended (the update's end, SIGTERM, SIGINT), the
    // socket file goes with the program.
    PelNotifier::close();
    detachDiagOutput();
    return 0;
}
