#pragma once
// The run-time, the event loop and the application object.

#include <lumi/message.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

class WndBase;
class MainWndBase;
namespace lumi {
class Screen;
class LoopImpl;
}

// Something that waits for a file descriptor to become readable.
class EventHandler {
public:
    virtual ~EventHandler() = default;
    virtual void onRead(int fd) = 0;
};

// The event loop: descriptor handlers, repeating timers, watched signals and
// the wake-up. Readiness, expiry and signals are collected first and
// dispatched afterwards, so a handler may unregister descriptors, kill timers
// or stop watching signals (its own included).
class MsgLoop {
public:
    using TimerCallback = void (*)(void* arg, int id);
    using SignalCallback = std::function<void(int signo)>;

    MsgLoop();
    virtual ~MsgLoop();
    MsgLoop(const MsgLoop&) = delete;
    MsgLoop& operator=(const MsgLoop&) = delete;

    // The loop calls handler->onRead(fd) whenever fd is readable. One handler
    // per descriptor; registering again replaces it. 0 on success.
    int registerHandler(int fd, EventHandler* handler);
    int unregisterHandler(int fd);
    // A repeating timer calling callback(arg, id) every ms milliseconds until
    // delTimer(id). Returns the id (never 0).
    int addTimer(int ms, TimerCallback callback, void* arg);
    int delTimer(int id);
    // Makes a loop that waits run its idle work. Safe in a signal handler.
    void wakeup();

    // Signals as loop events: the first watch of signo installs (sigaction,
    // SA_SIGINFO and no other flag, empty mask) a handler that only records
    // the signal and wakes the loop; callback(signo) then runs on the loop
    // thread in the next turn, after the descriptors. Arrivals of one signal
    // before that turn are one call, as the kernel merges pending signals
    // too. Several callbacks may watch one signal. Returns the watch's id
    // (never 0), or -1 with errno set (a bad signal, or sigaction failed).
    int watchSignal(int signo, SignalCallback callback);
    // Ends a watch; the signal's previous action returns with its last watch
    // (and with the loop's end). 0 on success, -1 for an unknown id.
    int unwatchSignal(int id);

    // Milliseconds of the loop's timers (lumi/clock.h: tests step it).
    uint64_t now() const;

    // One turn: waits up to timeoutMs (-1: until something happens, capped by
    // the next timer) for descriptors, then runs due handlers and timers.
    // Returns the number of handlers and timers run.
    int poll(int timeoutMs);
    // Milliseconds until the next timer is due (-1: no timer).
    int nextTimeout() const;

    // Window timers (WndBase::setTimer) share the id space of addTimer.
    int addWindowTimer(WndBase* window, int ms);
    void killWindowTimers(WndBase* window);

    lumi::LoopImpl* impl() { return m_impl.get(); }

private:
    std::unique_ptr<lumi::LoopImpl> m_impl;
};

class Mouse;

// The run-time: display, fonts, input sources and the event loop. One
// object, constructed on main's stack before anything else of the toolkit.
class GuiRT : public MsgLoop {
public:
    GuiRT();
    ~GuiRT() override;
    // Opens the display chosen by LUMI_DISPLAY (fbdev[:DEV], sdl[:WxH],
    // file:PATH[:WxH]; default fbdev:/dev/fb0) and the test-input socket
    // when LUMI_INPUT is set. 0 on success.
    int init(int flags);
    static GuiRT* instance();

    // Queues a key for the focused window of the top window (up: 0 down, 1 up).
    void deliverKeyEvent(int key, unsigned int up);

    // Serves test input (see LUMI_INPUT) on a new Unix socket at path,
    // replacing one already open: readable and writable by the owner only; a
    // stale socket there is replaced, any other file makes it fail. 0 on
    // success, -1 (with a line on stderr) on failure.
    int openTestInput(const char* path);
    // Closes the test-input socket and its clients and removes the socket file.
    void closeTestInput();

    lumi::Screen* screen() { return m_screen.get(); }

private:
    struct InputPump;

    std::unique_ptr<lumi::Screen> m_screen;
    // Where input comes from: the display backend's descriptor or pump timer,
    // and the test-input socket.
    std::unique_ptr<InputPump> m_input;
};

// The application: the message queue and the main loop.
class GuiApp {
public:
    GuiApp();
    virtual ~GuiApp();
    GuiApp(const GuiApp&) = delete;
    GuiApp& operator=(const GuiApp&) = delete;

    // Runs when the queue is empty, before the loop waits.
    virtual void onIdle();
    // Sees every message before it is delivered; returns 1 to swallow it.
    virtual int filterMsg(LUMIMessage& msg);
    // Called for a queued message that is dropped undelivered (its target
    // was destroyed, or the application ends), so that whatever it carries
    // can be released.
    virtual void discardMsg(LUMIMessage& msg);

    int init(const char* name, int flags);
    // Runs the loop until exit() is called; returns exit's code.
    int run();
    void exit(int code);
    bool isExiting() const { return m_exiting; }
    // Destroys the remaining main windows and drops queued messages.
    void term();

    void addMsg(const LUMIMessage& msg);
    WndBase* getWndById(int id);
    MainWndBase* getTopWnd();
    // The open main windows, bottom of the stack first (empty before GuiRT::init).
    const std::vector<MainWndBase*>& mainWindows() const;
    MsgLoop* msgLoop() { return GuiRT::instance(); }
    const char* name() const { return m_name; }

    // One turn of the loop: deliver every queued message, run onIdle, paint
    // and show what changed, then wait up to timeoutMs for descriptors and
    // timers, and serve whatever else is ready without waiting (descriptors
    // and the messages they queue, up to 256 rounds or 15 ms) so
    // that a burst is painted once. run() repeats it; tests call it directly
    // with a test clock.
    void processEvents(int timeoutMs);
    // Delivers queued messages until the queue is empty; returns how many.
    int dispatchMessages();
    int pendingMessages() const { return static_cast<int>(m_queue.size()); }

    // Drops queued messages addressed to window (it is being destroyed).
    void purgeMessages(WndBase* window);

private:
    void deliver(LUMIMessage& msg);

    std::deque<LUMIMessage> m_queue;
    char m_name[64] {};
    int m_exitCode { 0 };
    bool m_exiting { false };
    bool m_initialised { false };
};

GuiApp* theGuiApp();
