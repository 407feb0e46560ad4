#include "platform/diag_output.h"

#include <lumi/app.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// How long the end of the program waits for readers to take what is queued.
constexpr int kFinishMs = 2000;

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}

DiagChannel::DiagChannel(int fd, const char* name, size_t limit)
    : m_fd(fd)
    , m_name(name ? name : "output")
    , m_limit(limit > 0 ? limit : kDefaultLimit)
{
    struct stat st {};
    if (fstat(fd, &st) == 0 && S_ISSOCK(st.st_mode)) {
        m_kind = Kind::Socket;
        return;
    }
    // O_NONBLOCK belongs to the open file description, which the process
    // that started us (and anyone else holding the pipe) shares: setting it
    // on fd would make their writes fail. Opening the pipe again through
    // /proc gives this process a description of its own.
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    m_ownFd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    m_kind = m_ownFd >= 0 ? Kind::PrivatePipe : Kind::SharedPipe;
}

DiagChannel::~DiagChannel()
{
    detachLoop();
    if (m_ownFd >= 0)
        close(m_ownFd);
}

bool DiagChannel::wantsChannel(int fd)
{
    struct stat st {};
    return fstat(fd, &st) == 0 && (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode));
}

void DiagChannel::write(const char* data, size_t size)
{
    while (size > 0) {
        // A text that never ends its line still goes out in pieces of at
        // most the queue's size, so it cannot grow without bound.
        const size_t room = std::min(size, m_limit - m_partial.size());
        const void* end = std::memchr(data, '\n', room);
        const size_t take = end ? static_cast<size_t>(static_cast<const char*>(end) - data) + 1 : room;
        m_partial.append(data, take);
        data += take;
        size -= take;
        if (end || m_partial.size() >= m_limit) {
            std::string line;
            line.swap(m_partial);
            acceptLine(std::move(line));
        }
    }
}

void DiagChannel::acceptLine(std::string line)
{
    if (m_gone || line.empty())
        return;
    if (m_queued + line.size() > m_limit) {
        ++m_dropped;
        ++m_droppedTotal;
        return;
    }
    // The gap is over: say how many lines it held, where they were.
    if (m_dropped > 0)
        queueNotice();
    m_queued += line.size();
    m_lines.push_back(std::move(line));
    drain();
}

void DiagChannel::queueNotice()
{
    char text[160];
    const int n = std::snprintf(text, sizeof text,
        "***ERR: %s: %zu lines dropped: the reader did not take them in time\n", m_name.c_str(), m_dropped);
    m_dropped = 0;
    if (n <= 0)
        return;
    std::string notice(text, std::min(static_cast<size_t>(n), sizeof text - 1));
    // Notices may exceed the limit: they are small and one stands for a gap.
    m_queued += notice.size();
    m_lines.push_back(std::move(notice));
}

ssize_t DiagChannel::sendSome(const char* data, size_t size)
{
    switch (m_kind) {
    case Kind::Socket:
        return send(m_fd, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    case Kind::PrivatePipe:
        return ::write(m_ownFd, data, size);
    case Kind::SharedPipe: {
        // Without a description of our own (no /proc), write only what a
        // pipe with room takes whole without blocking: at most PIPE_BUF
        // bytes, after poll has said there is room.
        pollfd p { m_fd, POLLOUT, 0 };
        const int ready = poll(&p, 1, 0);
        if (ready < 0)
            return -1;
        if (ready == 0 || !(p.revents & POLLOUT)) {
            if (p.revents & (POLLERR | POLLHUP)) {
                errno = EPIPE;
                return -1;
            }
            errno = EAGAIN;
            return -1;
        }
        return ::write(m_fd, data, std::min(size, static_cast<size_t>(PIPE_BUF)));
    }
    }
    errno = EINVAL;
    return -1;
}

int DiagChannel::pollFd() const
{
    return m_kind == Kind::PrivatePipe ? m_ownFd : m_fd;
}

void DiagChannel::drain()
{
    for (;;) {
        while (!m_lines.empty()) {
            const std::string& head = m_lines.front();
            const ssize_t n = sendSome(head.data() + m_headSent, head.size() - m_headSent);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                if (errno != EAGAIN && errno != EWOULDBLOCK) {
                    // The reader has gone (EPIPE) or the descriptor broke:
                    // nobody will read what is printed from now on.
                    m_gone = true;
                    m_lines.clear();
                    m_queued = 0;
                    m_headSent = 0;
                    m_partial.clear();
                }
                break;
            }
            m_headSent += static_cast<size_t>(n);
            if (m_headSent == head.size()) {
                m_queued -= head.size();
                m_lines.pop_front();
                m_headSent = 0;
            }
        }
        // The reader has taken everything: the dropped lines are told now.
        if (!m_lines.empty() || m_gone || m_dropped == 0)
            break;
        queueNotice();
    }
    updateTimer();
}

void DiagChannel::updateTimer()
{
    if (!m_loop)
        return;
    if (!m_lines.empty() && m_timer == 0) {
        m_timer = m_loop->addTimer(kRetryMs, &DiagChannel::onTimer, this);
    } else if (m_lines.empty() && m_timer != 0) {
        m_loop->delTimer(m_timer);
        m_timer = 0;
    }
}

void DiagChannel::onTimer(void* arg, int)
{
    static_cast<DiagChannel*>(arg)->drain();
}

void DiagChannel::attachLoop(MsgLoop* loop)
{
    detachLoop();
    m_loop = loop;
    updateTimer();
}

void DiagChannel::detachLoop()
{
    if (m_loop && m_timer != 0)
        m_loop->delTimer(m_timer);
    m_timer = 0;
    m_loop = nullptr;
}

void DiagChannel::finish(int timeoutMs)
{
    // The loop may be gone by now: its timer is forgotten, not deleted.
    m_loop = nullptr;
    m_timer = 0;
    if (!m_partial.empty()) {
        std::string rest;
        rest.swap(m_partial);
        acceptLine(std::move(rest));
    }
    const int64_t end = nowMs() + timeoutMs;
    drain();
    while (pending()) {
        const int64_t left = end - nowMs();
        if (left <= 0)
            break;
        pollfd p { pollFd(), POLLOUT, 0 };
        if (poll(&p, 1, static_cast<int>(std::min<int64_t>(left, 100))) < 0 && errno != EINTR)
            break;
        drain();
    }
}

namespace {

// The channels live until the process ends, on purpose: the C library
// flushes the streams after every destructor has run, and those flushes
// still write through them.
DiagChannel* s_out = nullptr;
DiagChannel* s_err = nullptr;
bool s_installed = false;

ssize_t writeToChannel(void* cookie, const char* data, size_t size)
{
    static_cast<DiagChannel*>(cookie)->write(data, size);
    return static_cast<ssize_t>(size);
}

FILE* streamOver(DiagChannel* channel, int mode)
{
    cookie_io_functions_t io {};
    io.write = writeToChannel;
    FILE* stream = fopencookie(channel, "w", io);
    if (stream)
        setvbuf(stream, nullptr, mode, BUFSIZ);
    return stream;
}

// Nothing to do: the write that raised it fails with EPIPE, which the
// channel takes as "the reader has gone". A handler rather than SIG_IGN, so
// that the commands the program runs start with the default again.
void onBrokenPipe(int) { }

bool sameFile(int a, int b)
{
    struct stat sa {};
    struct stat sb {};
    return fstat(a, &sa) == 0 && fstat(b, &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

}

void installDiagOutput()
{
    if (s_installed)
        return;
    s_installed = true;

    struct sigaction sa {};
    sa.sa_handler = onBrokenPipe;
    sa.sa_flags = SA_RESTART;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGPIPE, &sa, nullptr);

    fflush(stdout);
    fflush(stderr);
    if (DiagChannel::wantsChannel(STDOUT_FILENO)) {
        s_out = new DiagChannel(STDOUT_FILENO, "stdout");
        if (FILE* stream = streamOver(s_out, _IOLBF))
            stdout = stream;
    }
    if (DiagChannel::wantsChannel(STDERR_FILENO)) {
        // Both streams into one pipe keep their lines in one order.
        DiagChannel* channel = s_out && sameFile(STDOUT_FILENO, STDERR_FILENO)
            ? s_out
            : (s_err = new DiagChannel(STDERR_FILENO, "stderr"));
        if (FILE* stream = streamOver(channel, _IONBF))
            stderr = stream;
    }
    std::atexit(finishDiagOutput);
}

void attachDiagOutput(MsgLoop& loop)
{
    for (DiagChannel* channel : { s_out, s_err }) {
        if (channel)
            channel->attachLoop(&loop);
    }
}

void detachDiagOutput()
{
    for (DiagChannel* channel : { s_out, s_err }) {
        if (channel)
            channel->detachLoop();
    }
}

void finishDiagOutput()
{
    fflush(stdout);
    fflush(stderr);
    const int64_t end = nowMs() + kFinishMs;
    for (DiagChannel* channel : { s_out, s_err }) {
        if (!channel)
            continue;
        channel->finish(static_cast<int>(std::max<int64_t>(0, end - nowMs())));
    }
}

DiagChannel* stdoutChannel()
{
    return s_out;
}
