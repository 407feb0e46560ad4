// lumi-input: plays the operator through a program's test-input socket.
//
//   lumi-input SOCKET [COMMAND ...]
//
// Each COMMAND (for example "key 28" or "tap 400 240") is sent as one line;
// with no commands, the lines of standard input are sent as they come.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool writeAll(int fd, const std::string& data)
{
    size_t done = 0;
    while (done < data.size()) {
        ssize_t wrote = write(fd, data.data() + done, data.size() - done);
        if (wrote < 0) {
            if (errno == EINTR)
                continue;
            std::fprintf(stderr, "lumi-input: cannot send: %s\n", std::strerror(errno));
            return false;
        }
        done += static_cast<size_t>(wrote);
    }
    return true;
}

int connectTo(const char* path)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    size_t length = std::strlen(path);
    if (length == 0 || length >= sizeof(address.sun_path)) {
        std::fprintf(stderr, "lumi-input: socket path empty or too long: %s\n", path);
        return -1;
    }
    std::memcpy(address.sun_path, path, length + 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        std::fprintf(stderr, "lumi-input: cannot create a socket: %s\n", std::strerror(errno));
        return -1;
    }
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        std::fprintf(stderr, "lumi-input: cannot connect to %s: %s\n", path, std::strerror(errno));
        close(fd);
        return -1;
    }
    return fd;
}

}

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: lumi-input SOCKET [COMMAND ...]   (no commands: lines from stdin)\n");
        return 1;
    }
    // A program that goes away mid-script is reported, not a silent death by signal.
    std::signal(SIGPIPE, SIG_IGN);
    int fd = connectTo(argv[1]);
    if (fd < 0)
        return 1;

    bool ok = true;
    if (argc > 2) {
        for (int i = 2; i < argc && ok; ++i) {
            std::string line = argv[i];
            if (line.find('\n') != std::string::npos) {
                std::fprintf(stderr, "lumi-input: a command may not contain a newline: %s\n", argv[i]);
                ok = false;
                break;
            }
            ok = writeAll(fd, line + "\n");
        }
    } else {
        char buffer[4096];
        for (;;) {
            ssize_t got = read(STDIN_FILENO, buffer, sizeof(buffer));
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                std::fprintf(stderr, "lumi-input: cannot read standard input: %s\n", std::strerror(errno));
                ok = false;
            }
            if (got <= 0)
                break;
            ok = writeAll(fd, std::string(buffer, static_cast<size_t>(got)));
            if (!ok)
                break;
        }
    }
    close(fd);
    return ok ? 0 : 1;
}
