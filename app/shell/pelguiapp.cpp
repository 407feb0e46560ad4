#include "shell/pelguiapp.h"

#include "shell/dummywindow.h"
#include "shell/pelnotifier.h"

#include <lumi/platform.h>
#include <lumi/window.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>

PelGuiApp::PelGuiApp() = default;

PelGuiApp::~PelGuiApp()
{
    if (m_sigChldWatch > 0 && m_sigChldLoop == GuiRT::instance())
        m_sigChldLoop->unwatchSignal(m_sigChldWatch);
    if (dummyWindow)
        dummyWindow->app = nullptr;
}

int PelGuiApp::init(const char* appName)
{
    if (GuiApp::init(appName, 0) != 0)
        return -1;
    installSigChld(); // a failure is reported by installSigChld itself
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
    // The signal only wakes the loop; reaping and logging run there.
    MsgLoop* loop = msgLoop();
    if (m_sigChldWatch > 0 && m_sigChldLoop == loop)
        loop->unwatchSignal(m_sigChldWatch);
    m_sigChldWatch = 0;
    m_sigChldLoop = loop;
    const int watch = loop ? loop->watchSignal(SIGCHLD, [this](int) { reapChildren(); }) : -1;
    if (watch < 0) {
        if (!loop)
            errno = EINVAL;
        perror("install sigchld");
        return -1;
    }
    m_sigChldWatch = watch;
    return 0;
}

void PelGuiApp::reapChildren()
{
    // Signals of children that end close together merge into one: reap until
    // none is left. Kept: only the last pid reaches onIdle.
    for (;;) {
        const pid_t pid = waitpid(-1, nullptr, WNOHANG);
        if (pid < 0 && errno == EINTR)
            continue;
        if (pid <= 0)
            break;
        do_log_debug("child process %d exited\n", static_cast<int>(pid));
        exitedPid = static_cast<int>(pid);
        childExited = true;
    }
    if (childExited) {
        if (GuiRT* rt = GuiRT::instance())
            rt->wakeup();
    }
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
        if (!dummyWindow) {
            dummyWindow = new DummyWindow;
            dummyWindow->app = this;
            dummyWindow->create(title);
            dummyWindow->showWindow(true);
            dummyWindow->updateWindow();
        }
        // Kept: the line has always named the cover this way.
        printf("s_dummyWindow = %p.\n", static_cast<void*>(dummyWindow));
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
    printf("s_dummyWindow = %p.\n", static_cast<void*>(dummyWindow));
    if (dummyWindow) {
        puts("close dummywindow ");
        DummyWindow* cover = dummyWindow;
        dummyWindow = nullptr;
        cover->app = nullptr;
        cover->destroy();
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
