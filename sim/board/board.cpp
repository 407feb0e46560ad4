#include "board_impl.h"
#include "framebuffer.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace board {

namespace {

    constexpr size_t kMaxLines = 200000;
    constexpr size_t kMaxLineLength = 65536;

}

Board::Board(const RunOptions& options)
    : m_opt(options)
{
    for (const ModelType& type : modelTypes())
        m_models.push_back(type.create(*this));
}

Board::~Board() = default;

void Board::addLine(const std::string& line)
{
    std::fprintf(m_log, "%s\n", line.c_str());
    std::fflush(m_log);
    std::fprintf(stdout, "%s\n", line.c_str());
    std::fflush(stdout);
    if (m_lines.size() < kMaxLines)
        m_lines.push_back(line);
}

void Board::readOutput(Output& out)
{
    char buf[8192];
    ssize_t n = read(out.fd, buf, sizeof buf);
    if (n <= 0) {
        if (n < 0 && errno == EINTR)
            return;
        if (!out.partial.empty())
            addLine(out.partial);
        out.partial.clear();
        close(out.fd);
        out.fd = -1;
        return;
    }
    out.partial.append(buf, static_cast<size_t>(n));
    size_t nl;
    while ((nl = out.partial.find('\n')) != std::string::npos) {
        addLine(out.partial.substr(0, nl));
        out.partial.erase(0, nl + 1);
    }
    if (out.partial.size() > kMaxLineLength) {
        addLine(out.partial);
        out.partial.clear();
    }
}

// The program's end and the board's own interruption, read from the signal descriptor.
void Board::handleSignals()
{
    signalfd_siginfo si {};
    while (read(m_signals, &si, sizeof si) == sizeof si) {
        if (si.ssi_signo == SIGCHLD) {
            int status = 0;
            pid_t p;
            while ((p = waitpid(-1, &status, WNOHANG)) > 0) {
                if (p == m_pid) {
                    m_exited = true;
                    m_exitTime = nowMs();
                    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                    // bubblewrap reports a signal as 128 + its number.
                    int sig = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
                    if (m_bwrap && m_status > 128 && m_status < 128 + 65)
                        sig = m_status - 128;
                    if (sig)
                        note("the program was killed by signal " + std::to_string(sig) + " (" + strsignal(sig)
                            + ")");
                    // What the program left running ends with it.
                    kill(-m_pid, SIGKILL);
                }
            }
        } else if (m_pid > 0 && !m_exited) {
            // The board's own interruption ends the program first.
            signalProgram(SIGTERM);
        }
    }
}

// One frame of the viewer; the window's keys become controller commands.
void Board::viewerFrame()
{
    std::vector<std::string> commands;
    const FrameBuffer* fb = nullptr;
    for (auto& model : m_models) {
        if (!fb)
            fb = frameBufferOf(model.get());
    }
    if (fb && !m_viewer->frame(*fb, commands)) {
        // Closing the window is the person at the board switching it off.
        m_viewer.reset();
        if (!m_exited)
            signalProgram(SIGTERM);
    }
    for (const auto& line : commands) {
        std::istringstream in(line);
        std::vector<std::string> words;
        std::string word;
        while (in >> word)
            words.push_back(word);
        CtlClient none { -1, {}, false, {}, 0, 0 };
        bool keep = false;
        const std::string r = controlCommand(none, words, keep);
        if (r.compare(0, 7, "error: ") == 0)
            note("viewer: " + r.substr(7));
    }
}

void Board::loop()
{
    int64_t lastFrame = 0;
    while (true) {
        std::vector<pollfd> fds;
        std::vector<std::pair<int, int>> what; // (kind, index or handle)
        auto add = [&](int fd, int kind, int index) {
            fds.push_back({ fd, POLLIN, 0 });
            what.emplace_back(kind, index);
        };
        add(m_signals, 0, 0);
        if (m_ctlListen >= 0)
            add(m_ctlListen, 1, 0);
        add(m_devListen, 2, 0);
        for (size_t i = 0; i < m_devClients.size(); ++i)
            add(m_devClients[i].fd, 3, static_cast<int>(i));
        for (size_t i = 0; i < m_ctlClients.size(); ++i)
            add(m_ctlClients[i]->fd, 4, static_cast<int>(i));
        if (m_out.fd >= 0)
            add(m_out.fd, 5, 0);
        if (m_err.fd >= 0)
            add(m_err.fd, 6, 0);
        for (auto& o : m_nodes) {
            if (o.second.boardFd >= 0)
                add(o.second.boardFd, 7, o.first);
        }
        int timeout = 200;
        if (m_viewer)
            timeout = 15;
        for (auto& c : m_ctlClients) {
            if (c->waiting)
                timeout = static_cast<int>(
                    std::max<int64_t>(0, std::min<int64_t>(timeout, c->deadline - nowMs())));
        }
        const int n = poll(fds.data(), fds.size(), timeout);
        if (n < 0 && errno != EINTR)
            break;
        std::vector<int> endedHandles;
        for (size_t i = 0; n > 0 && i < fds.size(); ++i) {
            if (!fds[i].revents)
                continue;
            const int idx = what[i].second;
            switch (what[i].first) {
            case 0:
                handleSignals();
                break;
            case 1:
                acceptCtl();
                break;
            case 2:
                acceptDev();
                break;
            case 3:
                if (static_cast<size_t>(idx) < m_devClients.size() && m_devClients[idx].fd >= 0)
                    serveDev(m_devClients[idx]);
                break;
            case 4:
                if (m_ctlClients[idx]->fd >= 0 && !m_ctlClients[idx]->waiting)
                    serveCtl(*m_ctlClients[idx]);
                else if (m_ctlClients[idx]->waiting && (fds[i].revents & (POLLHUP | POLLERR))) {
                    close(m_ctlClients[idx]->fd);
                    m_ctlClients[idx]->fd = -1;
                }
                break;
            case 5:
                readOutput(m_out);
                break;
            case 6:
                readOutput(m_err);
                break;
            case 7:
                endedHandles.push_back(idx);
                break;
            }
        }
        for (int h : endedHandles)
            readDeviceEnd(h);
        m_devClients.erase(std::remove_if(m_devClients.begin(), m_devClients.end(),
                               [](const DevClient& c) { return c.fd < 0; }),
            m_devClients.end());
        checkWaiters();
        m_ctlClients.erase(std::remove_if(m_ctlClients.begin(), m_ctlClients.end(),
                               [](const std::unique_ptr<CtlClient>& c) { return c->fd < 0; }),
            m_ctlClients.end());
        if (m_viewer && nowMs() - lastFrame >= 30) {
            lastFrame = nowMs();
            viewerFrame();
        }
        // Output still in the pipes is read; a descendant that escaped and keeps them open is not
        // waited for.
        if (m_exited && ((m_out.fd < 0 && m_err.fd < 0) || nowMs() - m_exitTime > 2000))
            break;
    }
}

// Every process below pid (the board is the subreaper of what its program leaves), deepest first.
static void killDescendants(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children");
    std::vector<pid_t> children;
    int child = 0;
    while (in >> child)
        children.push_back(child);
    for (pid_t c : children) {
        kill(c, SIGSTOP);
        killDescendants(c);
        kill(c, SIGKILL);
    }
}

void Board::finish()
{
    // Nothing of the program may outlive the board: its whole process group goes.
    if (m_pid > 0) {
        kill(-m_pid, SIGKILL);
        if (!m_exited) {
            int status = 0;
            if (waitpid(m_pid, &status, 0) == m_pid)
                m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            m_exited = true;
        }
        killDescendants(getpid());
        while (waitpid(-1, nullptr, 0) > 0) { }
    }
    for (auto& c : m_ctlClients) {
        if (c->fd >= 0)
            replyCtl(*c, false, "the program has ended");
    }
    if (m_ctlListen >= 0) {
        close(m_ctlListen);
        unlink((m_dir + "/board.sock").c_str());
    }
    // What the program wrote to its nodes just before it ended is still in
    // their sockets; it reaches the models before the state is written.
    std::vector<int> handles;
    for (auto& o : m_nodes) {
        if (o.second.boardFd >= 0)
            handles.push_back(o.first);
    }
    for (int h : handles) {
        for (;;) {
            auto it = m_nodes.find(h);
            int pending = 0;
            if (it == m_nodes.end() || ioctl(it->second.boardFd, FIONREAD, &pending) != 0 || pending <= 0)
                break;
            readDeviceEnd(h);
        }
    }
    writeFile(m_dir + "/state.json", stateJson() + "\n");
    for (auto& o : m_nodes) {
        if (o.second.boardFd >= 0)
            close(o.second.boardFd);
    }
    m_nodes.clear();
    close(m_devListen);
    unlink((m_dir + "/board/dev.sock").c_str());
    if (m_log)
        std::fclose(m_log);
    note("the program ended with exit status " + std::to_string(m_status));
}

int Board::run()
{
    std::string error;
    // Signals arrive through the loop; the program starts with none blocked.
    sigset_t set;
    sigemptyset(&set);
    for (int s : { SIGCHLD, SIGINT, SIGTERM, SIGHUP })
        sigaddset(&set, s);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    m_signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    signal(SIGPIPE, SIG_IGN);
    // Descendants that lose their parent come to the board, which reaps and ends them.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    if (!prepare(error)) {
        note(error);
        return 125;
    }
    std::printf("uishull-board: run directory %s\n", m_dir.c_str());
    std::fflush(stdout);
    m_ctlListen = listenUnix(m_dir + "/board.sock", SOCK_STREAM, error);
    if (m_ctlListen < 0) {
        note(error);
        return 125;
    }
    if (m_opt.viewer) {
        m_viewer = createViewer(m_opt.scenario.width, m_opt.scenario.height, error);
        if (!m_viewer)
            note("no viewer: " + error);
    }
    if (!startProgram(error)) {
        note(error);
        m_exited = true;
        m_status = 125;
        finish();
        return 125;
    }
    loop();
    finish();
    return m_status;
}

int runBoard(const RunOptions& options)
{
    Board b(options);
    return b.run();
}

}
