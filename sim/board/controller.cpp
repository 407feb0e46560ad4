#include "board_impl.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <optional>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace board {

void Board::acceptCtl()
{
    int fd = accept4(m_ctlListen, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
        auto c = std::make_unique<CtlClient>();
        c->fd = fd;
        m_ctlClients.push_back(std::move(c));
    }
}

void Board::replyCtl(CtlClient& c, bool ok, const std::string& text)
{
    std::string msg = ok ? "ok\n" : "error\n";
    msg += text;
    if (!msg.empty() && msg.back() != '\n')
        msg += '\n';
    // Small answers; a controller that does not read them loses them.
    size_t at = 0;
    int64_t end = nowMs() + 1000;
    while (at < msg.size() && nowMs() < end) {
        ssize_t n = send(c.fd, msg.data() + at, msg.size() - at, MSG_NOSIGNAL);
        if (n > 0)
            at += static_cast<size_t>(n);
        else if (n < 0 && errno == EAGAIN) {
            pollfd p { c.fd, POLLOUT, 0 };
            poll(&p, 1, 100);
        } else
            break;
    }
    close(c.fd);
    c.fd = -1;
}

void Board::serveCtl(CtlClient& c)
{
    char buf[4096];
    ssize_t n = recv(c.fd, buf, sizeof buf, 0);
    if (n <= 0) {
        if (n < 0 && errno == EAGAIN)
            return;
        close(c.fd);
        c.fd = -1;
        return;
    }
    c.in.append(buf, static_cast<size_t>(n));
    if (c.in.size() > 65536) {
        replyCtl(c, false, "command too long");
        return;
    }
    // A request: 4 bytes of length, then the words, each ending in NUL.
    if (c.in.size() < 4)
        return;
    uint32_t len = 0;
    std::memcpy(&len, c.in.data(), 4);
    if (len > 65536) {
        replyCtl(c, false, "command too long");
        return;
    }
    if (c.in.size() < 4 + len)
        return;
    std::vector<std::string> words;
    size_t at = 4;
    while (at < 4 + len) {
        const size_t n0 = strnlen(c.in.data() + at, 4 + len - at);
        words.emplace_back(c.in.data() + at, n0);
        at += n0 + 1;
    }
    bool keepOpen = false;
    std::string error;
    std::string result = controlCommand(c, words, keepOpen);
    if (keepOpen)
        return;
    if (result.compare(0, 7, "error: ") == 0)
        replyCtl(c, false, result.substr(7));
    else
        replyCtl(c, true, result);
}

std::string Board::controlCommand(CtlClient& c, const std::vector<std::string>& w, bool& keepOpen)
{
    // The models' commands, then the board's own.
    std::vector<ControlCommand> commands;
    for (auto& model : m_models) {
        for (auto& command : model->controlCommands())
            commands.push_back(std::move(command));
    }
    std::string usage = "error: commands: ";
    std::vector<std::string> named;
    for (const auto& command : commands) {
        if (std::find(named.begin(), named.end(), command.usage) == named.end())
            named.push_back(command.usage);
    }
    for (const char* own : { "wait-line TEXT [SECONDS]", "state", "stop" })
        named.push_back(own);
    for (size_t i = 0; i < named.size(); ++i)
        usage += (i ? "; " : "") + named[i];
    if (w.empty())
        return usage;
    const std::string& cmd = w[0];
    std::string refused;
    for (const auto& command : commands) {
        if (command.name != cmd)
            continue;
        if (std::optional<std::string> answer = command.run(w))
            return *answer;
        refused += (refused.empty() ? "" : " | ") + command.usage;
    }
    if (!refused.empty())
        return "error: " + refused;
    if (cmd == "wait-line") {
        long seconds = 10;
        if (w.size() < 2 || w.size() > 3 || w[1].empty()
            || (w.size() == 3 && !parseNumber(w[2], 0, 3600, seconds)))
            return "error: wait-line TEXT [SECONDS] (SECONDS from 0 to 3600)";
        c.waiting = true;
        c.text = w[1];
        c.deadline = nowMs() + seconds * 1000;
        c.from = 0;
        keepOpen = true;
        checkWaiters();
        return std::string();
    }
    if (cmd == "state") {
        if (w.size() != 1)
            return "error: state takes no arguments";
        return stateJson();
    }
    if (cmd == "stop") {
        if (w.size() != 1)
            return "error: stop takes no arguments";
        if (m_pid > 0 && !m_exited)
            signalProgram(SIGTERM);
        return "stopping";
    }
    return "error: unknown command \"" + cmd + "\"; " + usage.substr(7);
}

// The run report the program's config.ini names ([report] file), or "".
// Read as the program's INI reader does: sections, "key = value", comments.
static std::string reportFileOf(const std::string& configPath)
{
    std::ifstream in(configPath, std::ios::binary);
    std::string line, section, found;
    size_t read = 0;
    while (read < (1u << 20) && std::getline(in, line)) {
        read += line.size() + 1;
        auto trim = [](std::string t) {
            const size_t a = t.find_first_not_of(" \t\r");
            const size_t b = t.find_last_not_of(" \t\r");
            return a == std::string::npos ? std::string() : t.substr(a, b - a + 1);
        };
        line = trim(line);
        if (line.empty() || line[0] == ';' || line[0] == '#')
            continue;
        if (line[0] == '[') {
            section = line.back() == ']' ? trim(line.substr(1, line.size() - 2)) : std::string();
            continue;
        }
        const size_t eq = line.find('=');
        if (section == "report" && eq != std::string::npos && trim(line.substr(0, eq)) == "file")
            found = trim(line.substr(eq + 1));
    }
    return found.size() < 1024 ? found : std::string();
}

std::string Board::reportState()
{
    const std::string path = reportFileOf(m_dir + "/work/config.ini");
    if (path.empty())
        return std::string();
    // Where the file is from here: through the sandbox's own root while it
    // runs (a tmpfs of the scenario is visible only there), else in the run
    // directory where the board puts the program's /tmp, /data and the rest.
    std::vector<std::string> candidates;
    if (path[0] != '/') {
        candidates.push_back(m_dir + "/work/" + path);
    } else {
        if (m_bwrap && m_sandboxPid > 0 && !m_exited)
            candidates.push_back("/proc/" + std::to_string(m_sandboxPid) + "/root" + path);
        if (path.compare(0, 5, "/tmp/") == 0 || path.compare(0, 6, "/data/") == 0)
            candidates.push_back(m_dir + path);
        else if (path.compare(0, 5, "/app/") == 0)
            candidates.push_back(m_dir + "/work" + path.substr(4));
        else
            candidates.push_back(m_dir + "/root" + path);
    }
    std::ostringstream j;
    j << "{\"path\": " << jsonString(path);
    for (const std::string& at : candidates) {
        std::ifstream in(at, std::ios::binary);
        if (!in)
            continue;
        // Counted a block at a time; the last line kept up to 64 KiB.
        long lines = 0;
        std::string last, current;
        char buf[65536];
        while (in.read(buf, sizeof buf) || in.gcount() > 0) {
            const std::streamsize n = in.gcount();
            for (std::streamsize i = 0; i < n; ++i) {
                if (buf[i] == '\n') {
                    ++lines;
                    last.swap(current);
                    current.clear();
                } else if (current.size() < 65536) {
                    current.push_back(buf[i]);
                }
            }
        }
        j << ", \"exists\": true, \"lines\": " << lines << ", \"last_line\": " << jsonString(last)
          << ", \"unfinished_line\": " << (current.empty() ? "false" : "true") << "}";
        return j.str();
    }
    j << ", \"exists\": false, \"lines\": 0, \"last_line\": null}";
    return j.str();
}

std::string Board::stateJson()
{
    std::ostringstream j;
    j << "{\n  \"run_directory\": " << jsonString(m_dir) << ",\n";
    j << "  \"confinement\": " << jsonString(m_bwrap ? "bubblewrap" : "preload") << ",\n";
    j << "  \"program\": {\"pid\": " << m_pid << ", \"running\": " << (m_exited ? "false" : "true")
      << ", \"exit_status\": " << (m_exited ? std::to_string(m_status) : "null") << "},\n";
    std::vector<std::pair<std::string, std::string>> members;
    for (auto& model : m_models)
        model->state(members);
    for (const auto& m : members)
        j << "  " << jsonString(m.first) << ": " << m.second << ",\n";
    std::vector<std::string> files;
    listFiles(m_dir + "/root", "", files);
    for (const char* sub : { "tmp", "data" })
        listFiles(m_dir + "/" + sub, std::string("/") + sub, files);
    const std::string report = reportState();
    if (!report.empty())
        j << "  \"report\": " << report << ",\n";
    j << "  \"files\": [";
    for (size_t i = 0; i < files.size(); ++i)
        j << (i ? ", " : "") << jsonString(files[i]);
    j << "]\n}";
    return j.str();
}

void Board::checkWaiters()
{
    for (auto& c : m_ctlClients) {
        if (c->fd < 0 || !c->waiting)
            continue;
        for (; c->from < m_lines.size(); ++c->from) {
            if (m_lines[c->from].find(c->text) != std::string::npos) {
                c->waiting = false;
                replyCtl(*c, true, m_lines[c->from]);
                break;
            }
        }
        if (c->fd < 0)
            continue;
        if (m_exited && m_out.fd < 0 && m_err.fd < 0) {
            c->waiting = false;
            replyCtl(*c, false, "the program ended without printing \"" + c->text + "\"");
        } else if (nowMs() >= c->deadline) {
            c->waiting = false;
            replyCtl(*c, false, "timed out waiting for \"" + c->text + "\"");
        }
    }
}

int controlBoard(const std::string& runDir, const std::vector<std::string>& words)
{
    const std::string path = runDir + "/board.sock";
    sockaddr_un addr {};
    if (path.size() >= sizeof addr.sun_path) {
        std::fprintf(stderr, "uishull-board ctl: %s: path too long\n", path.c_str());
        return 1;
    }
    std::vector<std::string> w = words;
    // Files are named relative to the controller, not to the board.
    if (w.size() == 2 && w[0] == "screenshot")
        w[1] = absolute(w[1]);
    long waitSeconds = 10;
    if (!w.empty() && w[0] == "wait-line" && w.size() == 3)
        parseNumber(w[2], 0, 3600, waitSeconds);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    addr.sun_family = AF_UNIX;
    std::strcpy(addr.sun_path, path.c_str());
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        std::fprintf(stderr, "uishull-board ctl: no board is running in %s (%s)\n", runDir.c_str(),
            std::strerror(errno));
        if (fd >= 0)
            close(fd);
        return 1;
    }
    std::string msg(4, '\0');
    for (const auto& word : w) {
        msg += word;
        msg.push_back('\0');
    }
    const uint32_t len = static_cast<uint32_t>(msg.size() - 4);
    std::memcpy(&msg[0], &len, 4);
    send(fd, msg.data(), msg.size(), MSG_NOSIGNAL);
    // A board that stops answering counts as gone.
    const int64_t end = nowMs() + (waitSeconds + 5) * 1000;
    std::string reply;
    char buf[8192];
    while (true) {
        const int64_t left = end - nowMs();
        pollfd p { fd, POLLIN, 0 };
        if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0) {
            std::fprintf(stderr, "uishull-board ctl: the board did not answer\n");
            close(fd);
            return 1;
        }
        ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            break;
        reply.append(buf, static_cast<size_t>(n));
    }
    close(fd);
    const size_t nl = reply.find('\n');
    const std::string status = reply.substr(0, nl);
    const std::string body = nl == std::string::npos ? std::string() : reply.substr(nl + 1);
    if (status == "ok") {
        std::fwrite(body.data(), 1, body.size(), stdout);
        return 0;
    }
    std::fprintf(stderr, "uishull-board ctl: %s", body.empty() ? "the board went away\n" : body.c_str());
    return 1;
}

}
