#pragma once
// The program's diagnostics (stdout and stderr) must never stop the screen.
// When a stream goes to a pipe, a FIFO or a socket, its reader may stall or
// go away; then printf and puts would block the only thread, or SIGPIPE would
// end the program. Such a stream is given a DiagChannel instead: whole lines
// are written without blocking, what the reader does not take waits in a
// bounded queue that the event loop drains, and when the queue is full whole
// lines are dropped and counted; once the reader takes output again, a line
// says how many were dropped. A terminal or a regular file is left as it is.

#include <cstddef>
#include <deque>
#include <string>
#include <sys/types.h>

class MsgLoop;

// One output descriptor whose reader may stall or go away.
class DiagChannel {
public:
    // What may wait for the reader, in bytes (plus the dropped-lines notices).
    static constexpr size_t kDefaultLimit = 256 * 1024;
    // How often the loop retries while lines wait.
    static constexpr int kRetryMs = 20;

    // fd: a pipe, FIFO or socket (see wantsChannel), left open and unchanged;
    // name: the stream's name in the dropped-lines notice ("stdout").
    DiagChannel(int fd, const char* name, size_t limit = kDefaultLimit);
    ~DiagChannel();
    DiagChannel(const DiagChannel&) = delete;
    DiagChannel& operator=(const DiagChannel&) = delete;

    // Whether fd is a pipe, a FIFO or a socket: a reader that can stall.
    static bool wantsChannel(int fd);

    // Takes bytes as a stream writes them; complete lines go out at once if
    // the reader takes them, else wait in the queue or are dropped.
    void write(const char* data, size_t size);
    // Sends what the reader takes now.
    void drain();
    // Lines or a part of one wait for the reader.
    bool pending() const { return !m_lines.empty(); }
    // Lines dropped since start.
    size_t droppedLines() const { return m_droppedTotal; }
    // The reader has gone: everything printed from now on is discarded.
    bool readerGone() const { return m_gone; }
    // Bytes waiting in the queue.
    size_t queuedBytes() const { return m_queued; }

    // While lines wait, a loop timer drains them. detachLoop() before the
    // loop goes.
    void attachLoop(MsgLoop* loop);
    void detachLoop();

    // At the end: forgets the loop (it may be gone), sends any unterminated
    // text, then waits up to timeoutMs for the reader to take what waits.
    // What it does not take is lost.
    void finish(int timeoutMs);

private:
    enum class Kind { Socket, PrivatePipe, SharedPipe };

    void acceptLine(std::string line);
    void queueNotice();
    ssize_t sendSome(const char* data, size_t size);
    int pollFd() const;
    void updateTimer();
    static void onTimer(void* arg, int id);

    // Device.
    int m_fd { -1 };
    int m_ownFd { -1 }; // a private non-blocking description of a pipe or FIFO
    Kind m_kind { Kind::SharedPipe };
    std::string m_name;
    // Configuration.
    size_t m_limit { kDefaultLimit };
    // State.
    std::string m_partial; // text of a line not yet ended
    std::deque<std::string> m_lines;
    size_t m_headSent { 0 }; // bytes of the first line already written
    size_t m_queued { 0 };
    size_t m_dropped { 0 }; // since the last notice
    size_t m_droppedTotal { 0 };
    bool m_gone { false };
    MsgLoop* m_loop { nullptr };
    int m_timer { 0 };
};

// Ignores SIGPIPE and routes stdout and stderr through DiagChannels where
// they are pipes, FIFOs or sockets (one channel when both are the same).
// stdout stays line-buffered. Registers finishDiagOutput to run at exit.
void installDiagOutput();
// Lets the loop drain what waits; detach before the loop is destroyed.
void attachDiagOutput(MsgLoop& loop);
void detachDiagOutput();
// Flushes the streams and gives the readers a bounded time to take what
// waits (called at exit; safe to call more than once).
void finishDiagOutput();
// The channel behind stdout, or null when stdout is left as it is.
DiagChannel* stdoutChannel();
