#include "shell/pelguiapp.h"

#include "shell/dummywindow.h"
#include "shell/pelnotifier.h"

#include <lumi/platform.h>
#include <lumi/window.h>

#include <csignal>
#include <cstdlib>
#include <cstdio>
#include <sys/wait.h>

DummyWindow* s_dummyWindow = nullptr;

namespace {

PelGuiApp* s_pelApp = nullptr;

// Runs asynchronously: reap, record, wake the loop; all window work waits
// for onIdle on the loop thread.
void onSigChld(int, siginfo_t* info, void*)
{
    const int pid = info ? info->si_pid : 0;
    waitpid(pid, nullptr, WNOHANG);
    do_log_debug("child process %d exited\n", pid);
    if (s_pelApp) {
        s_pelApp->exitedPid = pid;
        s_pelApp->childExited = true;
    }
    if (GuiRT* rt = GuiRT::instance())
        rt->wakeup();
}

}

PelGuiApp::PelGuiApp()
{
    s_pelApp = this;
}

PelGuiApp::~PelGuiApp()
{
    if (s_pelApp == this)
        s_pelApp = nullptr;
}

int PelGuiApp::init(const char* appName)
{
    if (GuiApp::init(appName, 0) != 0)
        return -1;
    installSigChld();   // a failure is reported by installSigChld itself
    return 0;
}

void PelGuiApp::term()
{
    externalMsgHandler = nullptr;
    GuiApp::term();
}

PelGuiApp::ExternalMsgHandler PelGuiApp::setExternalMsgHandler(ExternalMsgHandler handler)
{
    ExternalMsgHandler old = externalMsgHandler;
    externalMsgHandler = handler;
    return old;
}

void PelGuiApp::setExternAppNotify(ExternalAppNotify& notify, bool add)
{
    if (add)
        notifyList.push_front(notify);
    else
        notifyList.remove(notify);
}

int PelGuiApp::installSigChld()
{
    struct sigaction sa {};
    sa.sa_sigaction = onSigChld;
    sa.sa_flags = SA_SIGINFO;
    sigemptyset(&sa.sa_mask);
    if (sigaction(SIGCHLD, &sa, nullptr) != 0) {
        perror("install sigchld");
        return -1;
    }
    return 0;
}

void PelGuiApp::onIdle()
{
    if (childExited) {
        setExternalApp(exitedPid, false, false, nullptr);
        childExited = false;
        exitedPid = 0;
    }
}

void PelGuiApp::notifyListeners(bool started)
{
    // Advance before the call: a listener may remove itself.
    for (auto it = notifyList.begin(); it != notifyList.end();) {
        ExternalAppNotify& n = *it;
        ++it;
        if (n.callback)
            n.callback(started);
    }
}

void PelGuiApp::setExternalApp(int pid, bool started, bool closeInput, const char* title)
{
    if (started) {
        externalPid = pid;
        // Kept: the line reads as on exit; the start-up scripts grep for it.
        if (closeInput && !inputClosed)
            puts("ExternApp exit, close input.");
        inputClosed = closeInput;
        if (!s_dummyWindow) {
            s_dummyWindow = new DummyWindow;
            s_dummyWindow->create(title);
            s_dummyWindow->showWindow(true);
            s_dummyWindow->updateWindow();
        }
        printf("s_dummyWindow = %p.\n", static_cast<void*>(s_dummyWindow));
        notifyListeners(true);
        return;
    }

    if (pid != externalPid) {
        printf("unknown process %d terminated.\n", pid);
        return;
    }
    printf("ExternApp %d terminated.\n", pid);
    externalPid = 0;
    if (inputClosed)
        puts("ExternApp exit, close input.");
    inputClosed = false;
    printf("s_dummyWindow = %p.\n", static_cast<void*>(s_dummyWindow));
    if (s_dummyWindow) {
        puts("close dummywindow ");
        s_dummyWindow->destroy();
        s_dummyWindow = nullptr;
    }
    if (MainWndBase* top = getTopWnd())
        top->invalidateRect(nullptr);
    if (GuiRT* rt = GuiRT::instance())
        rt->wakeup();
    notifyListeners(false);
}

int PelGuiApp::filterMsg(LUMIMessage& msg)
{
    if (msg.id < 0) {
        if (externalMsgHandler)
            externalMsgHandler(msg);
        return 1;
    }
    if (msg.id == MSG_KEY) {
        if (!externalAppExist())
            return 0;
        if (msg.param1 == VK_Escape)
            puts("filt VK_Escape");
        return 1;
    }
    if (msg.id == MSG_MOUSE) {
        // Kept deliberately: a move straight after a release starts a new press.
        if (msg.param2 == MOUSE_MOVE && m_lastPointerFlags == MOUSE_RELEASE)
            msg.param2 = MOUSE_PRESS;
        m_lastPointerFlags = msg.param2;
        return 0;
    }
    return 0;
}

void PelGuiApp::discardMsg(LUMIMessage& msg)
{
    if (msg.id == MSG_PEL_NOTIFY && msg.data) {
        free(msg.data);
        msg.data = nullptr;
    }
}
