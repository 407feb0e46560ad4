// The test-input socket: line commands from scripts and tests, fed through
// the same paths as the device's own keys and touch screen. Off unless the
// run-time is told a path; nothing here runs on a device in normal use.

#include "test_input.h"

#include "display/unique_fd.h"
#include "screen.h"

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <vector>

namespace lumi {

namespace {

    // More words than any command has: the rest of a line is never looked at.
    constexpr size_t kMaxWords = 4;
    // Simultaneous clients; a runaway script cannot exhaust descriptors.
    constexpr size_t kMaxClients = 16;
    constexpr unsigned short kPressure = 500;

    bool isBlank(char c)
    {
        return c == ' ' || c == '\t';
    }

    // Decimal integer with an optional '-', within [low, high]; at most 7 characters.
    bool parseNumber(const std::string& word, int low, int high, int& value)
    {
        if (word.empty() || word.size() > 7)
            return false;
        size_t i = 0;
        bool negative = false;
        if (word[0] == '-') {
            negative = true;
            i = 1;
            if (word.size() == 1)
                return false;
        }
        long result = 0;
        for (; i < word.size(); ++i) {
            if (word[i] < '0' || word[i] > '9')
                return false;
            result = result * 10 + (word[i] - '0');
        }
        if (negative)
            result = -result;
        if (result < low || result > high)
            return false;
        value = static_cast<int>(result);
        return true;
    }

    bool parsePoint(const std::vector<std::string>& words, InputCommand& out, std::string& error)
    {
        if (words.size() < 3) {
            error = "missing coordinates";
            return false;
        }
        if (words.size() > 3) {
            error = "unexpected text after the coordinates";
            return false;
        }
        if (!parseNumber(words[1], -32768, 32767, out.x) || !parseNumber(words[2], -32768, 32767, out.y)) {
            error = "bad coordinate";
            return false;
        }
        return true;
    }

}

bool parseInputCommand(const std::string& line, InputCommand& out, std::string& error)
{
    if (line.size() > kMaxInputLine) {
        error = "line too long";
        return false;
    }
    std::string text = line;
    if (!text.empty() && text.back() == '\r')
        text.pop_back();

    std::vector<std::string> words;
    size_t i = 0;
    while (i < text.size() && words.size() <= kMaxWords) {
        while (i < text.size() && isBlank(text[i]))
            ++i;
        size_t start = i;
        while (i < text.size() && !isBlank(text[i]))
            ++i;
        if (i > start)
            words.push_back(text.substr(start, i - start));
    }

    InputCommand command;
    if (words.empty() || words[0][0] == '#') {
        out = command;
        return true;
    }

    const std::string& name = words[0];
    if (name == "key") {
        command.kind = InputCommand::Key;
        if (words.size() < 2) {
            error = "missing key code";
            return false;
        }
        if (!parseNumber(words[1], 0, 65535, command.code)) {
            error = "bad key code";
            return false;
        }
        if (words.size() >= 3) {
            if (words[2] == "down") {
                command.up = false;
            } else if (words[2] == "up") {
                command.up = true;
            } else {
                error = "bad key state (down or up)";
                return false;
            }
            command.hasState = true;
        }
        if (words.size() > 3) {
            error = "unexpected text after the key";
            return false;
        }
    } else if (name == "press" || name == "move" || name == "release" || name == "tap") {
        command.kind = name == "press" ? InputCommand::Press
            : name == "move"           ? InputCommand::Move
            : name == "release"        ? InputCommand::Release
                                       : InputCommand::Tap;
        if (!parsePoint(words, command, error))
            return false;
    } else {
        error = "unknown command";
        return false;
    }
    out = command;
    return true;
}

namespace {

    // A line fit for one line of stderr: control bytes and non-ASCII shown as '?'.
    std::string printable(const std::string& line)
    {
        std::string shown = line.substr(0, kMaxInputLine);
        for (char& c : shown) {
            if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E)
                c = '?';
        }
        return shown;
    }

    void report(const std::string& reason, const std::string& line)
    {
        std::fprintf(stderr, "[lumi] test input: %s: %s\n", reason.c_str(), printable(line).c_str());
    }

    void feedPointer(int x, int y, bool down)
    {
        Screen* current = screen();
        Mouse* mouse = current ? current->virtualMouse() : nullptr;
        if (!mouse) {
            report("no screen for pointer input", "");
            return;
        }
        MousePoint point;
        point.x = static_cast<short>(x);
        point.y = static_cast<short>(y);
        point.pressure = down ? kPressure : 0;
        mouse->addPoint(point, down);
    }

    void execute(const InputCommand& command)
    {
        switch (command.kind) {
        case InputCommand::None:
            break;
        case InputCommand::Key:
            if (GuiRT* rt = GuiRT::instance()) {
                if (command.hasState) {
                    rt->deliverKeyEvent(command.code, command.up ? 1 : 0);
                } else {
                    rt->deliverKeyEvent(command.code, 0);
                    rt->deliverKeyEvent(command.code, 1);
                }
            }
            break;
        case InputCommand::Press:
        case InputCommand::Move:
            feedPointer(command.x, command.y, true);
            break;
        case InputCommand::Release:
            feedPointer(command.x, command.y, false);
            break;
        case InputCommand::Tap:
            feedPointer(command.x, command.y, true);
            feedPointer(command.x, command.y, false);
            break;
        }
    }

    void handleLine(const std::string& line)
    {
        InputCommand command;
        std::string error;
        if (!parseInputCommand(line, command, error)) {
            report(error, line);
            return;
        }
        execute(command);
    }

    class Server;

    // One connected script: reads whole lines and runs them.
    class Client final : public EventHandler {
    public:
        Client(Server& server, UniqueFd fd)
            : m_server(server)
            , m_fd(std::move(fd))
        {
        }

        int fd() const { return m_fd.get(); }
        void onRead(int fd) override;

    private:
        void take(const char* data, size_t size);

        Server& m_server;
        UniqueFd m_fd;
        std::string m_line;
        bool m_discarding { false }; // inside an overlong line, until its newline
    };

    // The listening socket and its clients.
    class Server final : public EventHandler, public TestInputSocket {
    public:
        ~Server() override
        {
            GuiRT* rt = GuiRT::instance();
            for (auto& client : m_clients) {
                if (rt)
                    rt->unregisterHandler(client->fd());
            }
            if (rt && m_fd.valid())
                rt->unregisterHandler(m_fd.get());
            m_clients.clear();
            m_dead.clear();
            m_fd.reset();
            // Only our own socket is removed: the path may have been reused since.
            struct stat st { };
            if (!m_path.empty() && lstat(m_path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)
                && st.st_ino == m_inode)
                unlink(m_path.c_str());
        }

        bool listen(const char* path)
        {
            GuiRT* rt = GuiRT::instance();
            if (!rt) {
                report("no run-time to serve the socket", path);
                return false;
            }
            sockaddr_un address {};
            address.sun_family = AF_UNIX;
            size_t length = std::strlen(path);
            if (length == 0 || length >= sizeof(address.sun_path)) {
                report("socket path empty or too long", path);
                return false;
            }
            std::memcpy(address.sun_path, path, length + 1);

            struct stat st { };
            if (lstat(path, &st) == 0) {
                if (!S_ISSOCK(st.st_mode)) {
                    report("path exists and is not a socket", path);
                    return false;
                }
                unlink(path); // left behind by an earlier run
            }

            UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            if (!fd.valid()) {
                report(std::string("cannot create socket: ") + std::strerror(errno), path);
                return false;
            }
            // The socket injects input into the program: owner only, from its first moment.
            mode_t oldMask = umask(0177);
            int bound = bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
            int bindError = errno;
            umask(oldMask);
            if (bound != 0) {
                report(std::string("cannot bind: ") + std::strerror(bindError), path);
                return false;
            }
            chmod(path, 0600);
            if (lstat(path, &st) == 0)
                m_inode = st.st_ino;
            m_path = path;
            if (::listen(fd.get(), 4) != 0) {
                report(std::string("cannot listen: ") + std::strerror(errno), path);
                return false;
            }
            if (rt->registerHandler(fd.get(), this) != 0) {
                report("cannot watch the socket", path);
                return false;
            }
            m_fd = std::move(fd);
            return true;
        }

        void onRead(int) override
        {
            // Clients that hung up earlier are deleted here, outside their own handler.
            m_dead.clear();
            GuiRT* rt = GuiRT::instance();
            for (;;) {
                UniqueFd fd(accept4(m_fd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
                if (!fd.valid()) {
                    if (errno == EINTR)
                        continue;
                    break; // EAGAIN: all taken; anything else: try again at the next readiness
                }
                if (!rt || m_clients.size() >= kMaxClients) {
                    report("too many clients", m_path);
                    continue;
                }
                int raw = fd.get();
                auto client = std::make_unique<Client>(*this, std::move(fd));
                if (rt->registerHandler(raw, client.get()) != 0) {
                    report("cannot watch a client", m_path);
                    continue;
                }
                m_clients.push_back(std::move(client));
            }
        }

        // The client hung up: stop watching it now, delete it later.
        void drop(Client* client)
        {
            if (GuiRT* rt = GuiRT::instance())
                rt->unregisterHandler(client->fd());
            for (size_t i = 0; i < m_clients.size(); ++i) {
                if (m_clients[i].get() == client) {
                    m_dead.push_back(std::move(m_clients[i]));
                    m_clients.erase(m_clients.begin() + static_cast<long>(i));
                    break;
                }
            }
        }

    private:
        UniqueFd m_fd;
        std::string m_path;
        ino_t m_inode { 0 };
        std::vector<std::unique_ptr<Client>> m_clients;
        std::vector<std::unique_ptr<Client>> m_dead;
    };

    void Client::onRead(int)
    {
        char buffer[512];
        for (;;) {
            ssize_t got = read(m_fd.get(), buffer, sizeof(buffer));
            if (got > 0) {
                take(buffer, static_cast<size_t>(got));
                continue;
            }
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return;
            // End of stream (or a broken one): a last line without its newline still counts.
            if (!m_discarding && !m_line.empty())
                handleLine(m_line);
            m_line.clear();
            m_server.drop(this);
            return;
        }
    }

    void Client::take(const char* data, size_t size)
    {
        for (size_t i = 0; i < size; ++i) {
            char c = data[i];
            if (c == '\n') {
                if (!m_discarding)
                    handleLine(m_line);
                m_line.clear();
                m_discarding = false;
                continue;
            }
            if (m_discarding)
                continue;
            if (m_line.size() >= kMaxInputLine) {
                report("line too long", m_line);
                m_line.clear();
                m_discarding = true;
                continue;
            }
            m_line.push_back(c);
        }
    }
}

std::unique_ptr<TestInputSocket> listenForTestInput(const char* path)
{
    if (!path || !*path) {
        report("no socket path", "");
        return nullptr;
    }
    auto server = std::make_unique<Server>();
    if (!server->listen(path))
        return nullptr;
    return server;
}
}
