#include "loop_impl.h"

#include <lumi/clock.h>
#include <lumi/window.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
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
    if (nextTimerId <= 0) // ids stay positive even after billions of timers
        nextTimerId = 1;
    t.period = ms > 0 ? ms : 1;
    t.due = monotonicMs() + static_cast<uint64_t>(t.period);
    t.callback = callback;
    t.arg = arg;
    t.window = window;
    timers.push_back(t);
    return t.id;
}

namespace {

    // Shared with the signal handler, so only lock-free atomics: the handler
    // records which signal came and wakes the loop that watches it.
    static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
        "signal records must be safe to write from a signal handler");
    std::atomic<int> s_signalWakeFd { -1 };
    std::atomic<bool> s_anySignal { false };
    std::atomic<bool> s_pendingSignals[NSIG] {};

    // Async-signal-safe by construction: two atomic stores and a write(), errno
    // kept for the code it interrupted. Everything else waits for the loop.
    void onWatchedSignal(int signo, siginfo_t*, void*)
    {
        const int savedErrno = errno;
        if (signo > 0 && signo < NSIG) {
            s_pendingSignals[signo].store(true);
            s_anySignal.store(true);
        }
        const int fd = s_signalWakeFd.load();
        if (fd >= 0) {
            const uint64_t one = 1;
            ssize_t n = write(fd, &one, sizeof one);
            (void)n;
        }
        errno = savedErrno;
    }

}

int LoopImpl::dispatchSignals()
{
    if (!s_anySignal.exchange(false))
        return 0;
    int ran = 0;
    for (int signo = 1; signo < NSIG; ++signo) {
        if (!s_pendingSignals[signo].exchange(false))
            continue;
        std::vector<int> ids;
        for (const SignalWatch& w : signalWatches) {
            if (w.signo == signo)
                ids.push_back(w.id);
        }
        for (int id : ids) {
            auto it = std::find_if(signalWatches.begin(), signalWatches.end(),
                [id](const SignalWatch& w) { return w.id == id; });
            if (it == signalWatches.end())
                continue; // ended by an earlier callback
            // A copy: the callback may end its own watch.
            MsgLoop::SignalCallback callback = it->callback;
            callback(signo);
            ++ran;
        }
    }
    return ran;
}

void LoopImpl::restoreSignal(int signo)
{
    auto it = previousActions.find(signo);
    if (it == previousActions.end())
        return;
    sigaction(signo, &it->second, nullptr);
    previousActions.erase(it);
    s_pendingSignals[signo].store(false);
    if (previousActions.empty() && s_signalWakeFd.load() == wakeFd)
        s_signalWakeFd.store(-1);
}

void installTerminationHandlers()
{
    GuiRT* rt = GuiRT::instance();
    if (!rt || rt->impl()->terminationWatched)
        return;
    const auto endApplication = [](int) {
        if (GuiApp* app = theGuiApp())
            app->exit(0);
    };
    for (int signo : { SIGTERM, SIGINT }) {
        if (rt->watchSignal(signo, endApplication) < 0)
            perror("[lumi] watch termination signal");
    }
    rt->impl()->terminationWatched = true;
}

}

using lumi::LoopImpl;
using lumi::LoopTimer;

MsgLoop::MsgLoop()
    : m_impl(std::make_unique<LoopImpl>())
{
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
    // Signals the loop watched get their previous actions back: nobody is
    // left to act on them.
    while (!m_impl->previousActions.empty())
        m_impl->restoreSignal(m_impl->previousActions.begin()->first);
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

int MsgLoop::watchSignal(int signo, SignalCallback callback)
{
    LoopImpl& d = *m_impl;
    if (signo <= 0 || signo >= NSIG || signo == SIGKILL || signo == SIGSTOP || !callback) {
        errno = EINVAL;
        return -1;
    }
    // A signal reaches one loop: the one that watched first.
    const int owner = lumi::s_signalWakeFd.load();
    if (d.wakeFd < 0 || (owner >= 0 && owner != d.wakeFd)) {
        errno = EBUSY;
        return -1;
    }
    if (d.previousActions.count(signo) == 0) {
        struct sigaction sa { };
        sa.sa_sigaction = lumi::onWatchedSignal;
        sa.sa_flags = SA_SIGINFO;
        sigemptyset(&sa.sa_mask);
        struct sigaction previous { };
        // An arrival from before the watch is not this watch's business.
        lumi::s_pendingSignals[signo].store(false);
        lumi::s_signalWakeFd.store(d.wakeFd);
        if (sigaction(signo, &sa, &previous) != 0) {
            const int error = errno;
            if (d.previousActions.empty())
                lumi::s_signalWakeFd.store(-1);
            errno = error;
            return -1;
        }
        d.previousActions[signo] = previous;
    }
    lumi::SignalWatch watch;
    watch.id = d.nextWatchId++;
    if (d.nextWatchId <= 0)
        d.nextWatchId = 1;
    watch.signo = signo;
    watch.callback = std::move(callback);
    d.signalWatches.push_back(std::move(watch));
    return d.signalWatches.back().id;
}

int MsgLoop::unwatchSignal(int id)
{
    auto& watches = m_impl->signalWatches;
    auto it = std::find_if(
        watches.begin(), watches.end(), [id](const lumi::SignalWatch& w) { return w.id == id; });
    if (it == watches.end())
        return -1;
    const int signo = it->signo;
    watches.erase(it);
    const bool stillWatched = std::any_of(
        watches.begin(), watches.end(), [signo](const lumi::SignalWatch& w) { return w.signo == signo; });
    if (!stillWatched)
        m_impl->restoreSignal(signo);
    return 0;
}

uint64_t MsgLoop::now() const
{
    return lumi::monotonicMs();
}

int MsgLoop::nextTimeout() const
{
    if (m_impl->timers.empty())
        return -1;
    uint64_t due = UINT64_MAX;
    for (const LoopTimer& t : m_impl->timers)
        due = std::min(due, t.due);
    const uint64_t now = lumi::monotonicMs();
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
    // descriptor, its own included. On the stack: a turn per touch sample
    // or datagram is the common case, and a heap list cost more than the
    // rest of the turn's bookkeeping.
    constexpr int kMaxEvents = 32;
    int ready[kMaxEvents];
    int readyCount = 0;
    if (m_impl->epollFd >= 0) {
        epoll_event events[kMaxEvents];
        int n = epoll_wait(m_impl->epollFd, events, kMaxEvents, wait);
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
            ready[readyCount++] = fd;
        }
    }

    int ran = 0;
    for (int i = 0; i < readyCount; ++i) {
        const int fd = ready[i];
        auto it = m_impl->handlers.find(fd);
        if (it == m_impl->handlers.end())
            continue;
        it->second->onRead(fd);
        ++ran;
    }

    // Signals that arrived since the last turn, waiting or not.
    ran += m_impl->dispatchSignals();

    // Due timers in order of their due time; each fires at most once a turn
    // and is rescheduled before it runs, so it may kill itself. Without
    // timers the clock is not read.
    if (m_impl->timers.empty())
        return ran;
    const uint64_t now = lumi::monotonicMs();
    std::vector<std::pair<uint64_t, int>> due;
    for (const LoopTimer& t : m_impl->timers) {
        if (t.due <= now)
            due.emplace_back(t.due, t.id);
    }
    std::sort(due.begin(), due.end());
    for (const auto& d : due) {
        LoopTimer* t = m_impl->findTimer(d.second);
        if (!t)
            continue; // killed by an earlier callback
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
