#pragma once
// The program's application object: the toolkit's application extended with
// the bookkeeping for an external program that may take over the screen.

#include "shell/listhead.h"

#include <lumi/app.h>

class DummyWindow;

// A listener told when an external program starts (true) or ends (false).
// Owned by whoever registers it.
struct ExternalAppNotify : ListNode {
    void (*callback)(bool started) { nullptr };
};

class PelGuiApp : public GuiApp {
public:
    PelGuiApp();
    ~PelGuiApp() override;

    void onIdle() override;
    int filterMsg(LUMIMessage& msg) override;
    // Frees the string of an undelivered notification (message 8195).
    void discardMsg(LUMIMessage& msg) override;

    int init(const char* appName);
    void term();

    using ExternalMsgHandler = int (*)(LUMIMessage&);
    ExternalMsgHandler setExternalMsgHandler(ExternalMsgHandler handler);
    bool externalAppExist() const { return externalPid != 0; }
    void setExternAppNotify(ExternalAppNotify& notify, bool add);
    void setExternalApp(int pid, bool started, bool closeInput, const char* title);
    int installSigChld();

    bool childExited { false };
    int exitedPid { 0 };
    ExternalMsgHandler externalMsgHandler { nullptr };
    int externalPid { 0 };
    ListHead<ExternalAppNotify> notifyList;
    bool inputClosed { false };
    // The loading cover while one is shown, or null. The toolkit owns and
    // deletes it; the cover clears this when it goes.
    DummyWindow* dummyWindow { nullptr };

private:
    void notifyListeners(bool started);
    // The loop's side of SIGCHLD: reaps every ended child and records the
    // last one for onIdle.
    void reapChildren();

    // Second parameter of the last pointer message, for the press rewrite.
    int m_lastPointerFlags { 0 };
    // The loop and watch id of the SIGCHLD watch (0: none).
    MsgLoop* m_sigChldLoop { nullptr };
    int m_sigChldWatch { 0 };
};
