// Process-level helpers: the crash reporter and the debug log line.

#include <lumi/platform.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <execinfo.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

struct FatalSignal {
    int number;
    const char* name;
};

constexpr FatalSignal kFatalSignals[] = {
    { SIGSEGV, "SIGSEGV" },
    { SIGBUS, "SIGBUS" },
    { SIGILL, "SIGILL" },
    { SIGFPE, "SIGFPE" },
    { SIGABRT, "SIGABRT" },
};

// The handler runs on its own stack so that a stack overflow can still be
// reported. Static: it must outlive every crash, and is never freed.
alignas(16) char s_altStack[64 * 1024];

// Only write(2) from here on: the handler may interrupt malloc or stdio.
void writeAll(const char* text, size_t len)
{
    while (len > 0) {
        const ssize_t n = ::write(STDERR_FILENO, text, len);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        text += n;
        len -= static_cast<size_t>(n);
    }
}

void writeText(const char* text)
{
    writeAll(text, std::strlen(text));
}

void writeNumber(int value)
{
    char digits[16];
    int i = sizeof digits;
    unsigned int v = value < 0 ? 0u - static_cast<unsigned int>(value) : static_cast<unsigned int>(value);
    do {
        digits[--i] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0 && i > 1);
    if (value < 0)
        digits[--i] = '-';
    writeAll(digits + i, sizeof digits - static_cast<size_t>(i));
}

void onFatalSignal(int sig)
{
    const int savedErrno = errno;
    const char* name = "?";
    for (const FatalSignal& s : kFatalSignals) {
        if (s.number == sig)
            name = s.name;
    }
    writeText("*** signal ");
    writeNumber(sig);
    writeText(" (");
    writeText(name);
    writeText(")\n*** backtrace:\n");
    void* frames[64];
    const int count = backtrace(frames, 64);
    backtrace_symbols_fd(frames, count, STDERR_FILENO);

    // Die of the same signal, so that the parent (and a core dump) sees the
    // real cause rather than an exit status of ours.
    struct sigaction dfl {};
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    sigaction(sig, &dfl, nullptr);
    sigset_t unblock;
    sigemptyset(&unblock);
    sigaddset(&unblock, sig);
    sigprocmask(SIG_UNBLOCK, &unblock, nullptr);
    errno = savedErrno;
    raise(sig);
}

}

int install_sigchk()
{
    // backtrace() loads the unwinder on its first call, which allocates; do
    // that now, outside any signal handler.
    void* warmUp[1];
    backtrace(warmUp, 1);

    stack_t alt {};
    alt.ss_sp = s_altStack;
    alt.ss_size = sizeof s_altStack;
    alt.ss_flags = 0;
    const bool haveAltStack = sigaltstack(&alt, nullptr) == 0;

    struct sigaction sa {};
    sa.sa_handler = onFatalSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = haveAltStack ? SA_ONSTACK : 0;
    for (const FatalSignal& s : kFatalSignals)
        sigaction(s.number, &sa, nullptr);
    return 0;
}

void do_log_debug(const char* fmt, ...)
{
    if (fmt == nullptr)
        return;
    struct timeval tv {};
    gettimeofday(&tv, nullptr);

    // One line at a time, so lines of concurrent writers do not interleave.
    // Longer texts are cut; the line still ends with its newline. It goes
    // through stderr rather than straight to the descriptor: callers run on
    // the loop (signals are loop events), and a program may have given stderr
    // a stream that never blocks on a stalled reader.
    char line[1024];
    const int prefix = std::snprintf(line, sizeof line, "[%lld.%06ld] ", static_cast<long long>(tv.tv_sec),
        static_cast<long>(tv.tv_usec));
    if (prefix < 0)
        return;
    size_t len = static_cast<size_t>(prefix);
    const size_t room = sizeof line - 1;   // keeps one byte for an added newline
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(line + len, room - len, fmt, args);
    va_end(args);
    if (n > 0)
        len += std::min(static_cast<size_t>(n), room - len - 1);
    if (len == static_cast<size_t>(prefix) || line[len - 1] != '\n')
        line[len++] = '\n';
    std::fwrite(line, 1, len, stderr);
    std::fflush(stderr);
}
