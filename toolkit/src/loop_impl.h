#pragma once
// Private state of MsgLoop.

#include <lumi/app.h>

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
    WndBase* window { nullptr };   // window timers tick onTimer instead of a callback
};

class LoopImpl {
public:
    int epollFd { -1 };
    int wakeFd { -1 };
    std::map<int, EventHandler*> handlers;
    std::vector<LoopTimer> timers;
    MsgLoop::Clock clock;
    int nextTimerId { 1 };

    LoopTimer* findTimer(int id);
    int addTimer(int ms, MsgLoop::TimerCallback callback, void* arg, WndBase* window);
};

// SIGTERM and SIGINT end the application's loop cleanly (windows destroyed,
// sockets removed) instead of killing the process in the middle of a frame.
void installTerminationHandlers();
// True once after such a signal arrived.
bool takeTerminationRequest();

}
