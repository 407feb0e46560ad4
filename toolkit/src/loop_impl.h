#pragma once
// Private state of MsgLoop.

#include <lumi/app.h>

#include <csignal>
#include <cstdint>
#include <map>
#include <vector>

namespace lumi {

struct LoopTimer {
    int id { 0 };
    int period { 0 };
    uint64_t due { 0 };
    MsgLoop::TimerCallback callback { nullptr };
    void* arg { nullptr };
    WndBase* window { nullptr }; // window timers tick onTimer instead of a callback
};

struct SignalWatch {
    int id { 0 };
    int signo { 0 };
    MsgLoop::SignalCallback callback;
};

class LoopImpl {
public:
    int epollFd { -1 };
    int wakeFd { -1 };
    std::map<int, EventHandler*> handlers;
    std::vector<LoopTimer> timers;
    int nextTimerId { 1 };
    std::vector<SignalWatch> signalWatches;
    // The actions the watched signals had before the loop took them over.
    std::map<int, struct sigaction> previousActions;
    int nextWatchId { 1 };
    bool terminationWatched { false };

    LoopTimer* findTimer(int id);
    int addTimer(int ms, MsgLoop::TimerCallback callback, void* arg, WndBase* window);
    // Runs the callbacks of the signals that arrived since the last call.
    int dispatchSignals();
    void restoreSignal(int signo);
};

// SIGTERM and SIGINT end the application's loop cleanly (windows destroyed,
// sockets removed) instead of killing the process in the middle of a frame:
// they are watched by the run-time's loop and make the application exit.
void installTerminationHandlers();

}
