#include "loop_impl.h"

#include <lumi/window.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace lumi {

LoopTimer* LoopImpl::findTimer(int id)
{
    for (LoopTimer& t : timers) {
        if (t.id == id)
            return &t;
    }
    return nullptr;
}

int LoopImpl::addTimer(int ms, MsgLoop::TimerCallback callback, void* arg, WndBase* window)
{
    LoopTimer t;
    t.id = nextTimerId++;
    if (nextTimerId <= 0)   // ids stay positive even after billions of timers
        nextTimerId = 1;
    t.period = ms > 0 ? ms : 1;
    t.due = clock() + static_cast<uint64_t>(t.period);
    t.callback = callback;
    t.arg = arg;
    t.window = window;
    timers.push_back(t);
    return t.id;
}

namespace {
volatile sig_atomic_t s_terminate = 0;

void onTerminate(int)
{
    s_terminate = 1;
    if (GuiRT* rt = GuiRT::instance())
        rt->wakeup();
}
}

void installTerminationHandlers()
{
    struct sigaction sa {};
    sa.sa_handler = onTerminate;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
}

bool takeTerminationRequest()
{
    if (!s_terminate)
        return false;
    s_terminate = 0;
    return true;
}

static uint64_t monotonicMs()
{
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000000);
}

}

using lumi::LoopImpl;
using lumi::LoopTimer;

MsgLoop::MsgLoop()
    : m_impl(std::make_unique<LoopImpl>())
{
    m_impl->clock = lumi::monotonicMs;
    m_impl->epollFd = epoll_create1(EPOLL_CLOEXEC);
    if (m_impl->epollFd < 0)
        perror("[lumi] epoll_create1");
    m_impl->wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_impl->wakeFd < 0) {
        perror("[lumi] eventfd");
    } else if (m_impl->epollFd >= 0) {
        epoll_event ev {};
        ev.events = EPOLLIN;
        ev.data.fd = m_impl->wakeFd;
        epoll_ctl(m_impl->epollFd, EPOLL_CTL_ADD, m_impl->wakeFd, &ev);
    }
}

MsgLoop::~MsgLoop()
{
    if (m_impl->wakeFd >= 0)
        close(m_impl->wakeFd);
    if (m_impl->epollFd >= 0)
        close(m_impl->epollFd);
}

int MsgLoop::registerHandler(int fd, EventHandler* handler)
{
    if (fd < 0 || !handler || m_impl->epollFd < 0)
        return -1;
    epoll_event ev {};
    ev.events = EPOLLIN;
    ev.data.fd = fd;
    const bool known = m_impl->handlers.count(fd) != 0;
    if (epoll_ctl(m_impl->epollFd, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &ev) != 0) {
        perror("[lumi] registerHandler");
        return -1;
    }
    m_impl->handlers[fd] = handler;
    return 0;
}

int MsgLoop::unregisterHandler(int fd)
{
    auto it = m_impl->handlers.find(fd);
    if (it == m_impl->handlers.end())
        return -1;
    m_impl->handlers.erase(it);
    // The descriptor may already be closed; the kernel then dropped it itself.
    epoll_ctl(m_impl->epollFd, EPOLL_CTL_DEL, fd, nullptr);
    return 0;
}

int MsgLoop::addTimer(int ms, TimerCallback callback, void* arg)
{
    if (!callback)
        return 0;
    return m_impl->addTimer(ms, callback, arg, nullptr);
}

int MsgLoop::addWindowTimer(WndBase* window, int ms)
{
    if (!window)
        return 0;
    return m_impl->addTimer(ms, nullptr, nullptr, window);
}

int MsgLoop::delTimer(int id)
{
    auto& timers = m_impl->timers;
    auto it = std::find_if(timers.begin(), timers.end(), [id](const LoopTimer& t) { return t.id == id; });
    if (it == timers.end())
        return -1;
    timers.erase(it);
    return 0;
}

void MsgLoop::killWindowTimers(WndBase* window)
{
    auto& timers = m_impl->timers;
    timers.erase(std::remove_if(timers.begin(), timers.end(),
                     [window](const LoopTimer& t) { return t.window == window; }),
        timers.end());
}

void MsgLoop::wakeup()
{
    if (m_impl->wakeFd < 0)
        return;
    const uint64_t one = 1;
    // write() is async-signal-safe; a full counter already means "wake up".
    ssize_t n = write(m_impl->wakeFd, &one, sizeof one);
    (void)n;
}

void MsgLoop::setClock(Clock clock)
{
    m_impl->clock = clock ? std::move(clock) : Clock(lumi::monotonicMs);
}

uint64_t MsgLoop::now() const
{
    return m_impl->clock();
}

int MsgLoop::nextTimeout() const
{
    if (m_impl->timers.empty())
        return -1;
    uint64_t due = UINT64_MAX;
    for (const LoopTimer& t : m_impl->timers)
        due = std::min(due, t.due);
    const uint64_t now = m_impl->clock();
    if (due <= now)
        return 0;
    const uint64_t wait = due - now;
    return wait > 60000 ? 60000 : static_cast<int>(wait);
}

int MsgLoop::poll(int timeoutMs)
{
    int wait = nextTimeout();
    if (timeoutMs >= 0 && (wait < 0 || timeoutMs < wait))
        wait = timeoutMs;

    // Collect first, dispatch after: a handler may unregister or close any
    // descriptor, its own included.
    std::vector<int> ready;
    if (m_impl->epollFd >= 0) {
        epoll_event events[32];
        int n = epoll_wait(m_impl->epollFd, events, 32, wait);
        if (n < 0 && errno != EINTR)
            perror("[lumi] epoll_wait");
        for (int i = 0; i < n; ++i) {
            const int fd = events[i].data.fd;
            if (fd == m_impl->wakeFd) {
                uint64_t count;
                ssize_t r = read(m_impl->wakeFd, &count, sizeof count);
                (void)r;
                continue;
            }
            ready.push_back(fd);
        }
    }

    int ran = 0;
    for (int fd : ready) {
        auto it = m_impl->handlers.find(fd);
        if (it == m_impl->handlers.end())
            continue;
        it->second->onRead(fd);
        ++ran;
    }

    // Due timers in order of their due time; each fires at most once a turn
    // and is rescheduled before it runs, so it may kill itself.
    const uint64_t now = m_impl->clock();
    std::vector<std::pair<uint64_t, int>> due;
    for (const LoopTimer& t : m_impl->timers) {
        if (t.due <= now)
            due.emplace_back(t.due, t.id);
    }
    std::sort(due.begin(), due.end());
    for (const auto& d : due) {
        LoopTimer* t = m_impl->findTimer(d.second);
        if (!t)
            continue;   // killed by an earlier callback
        t->due += static_cast<uint64_t>(t->period);
        if (t->due <= now)
            t->due = now + static_cast<uint64_t>(t->period);
        const int id = t->id;
        if (t->window) {
            WndBase* w = t->window;
            w->onTimer(id);
        } else {
            TimerCallback cb = t->callback;
            void* arg = t->arg;
            cb(arg, id);
        }
        ++ran;
    }
    return ran;
}
