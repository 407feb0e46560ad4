#include "program_test.h"

#include <cerrno>
#include <chrono>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace lumitest {

void ProgramTest::SetUp()
{
    if (!Sandbox::available())
        GTEST_SKIP() << "bubblewrap is not available";
}

std::vector<std::string> ProgramTest::programEnvironment() const
{
    std::vector<std::string> env = box.environment();
    env.push_back("LUMI_DISPLAY=file:/tmp/screen.raw:800x480");
    env.push_back("LUMI_INPUT=/tmp/input");
    return env;
}

ChildProcess& ProgramTest::startProgram(const std::vector<std::string>& args)
{
    process = std::make_unique<ChildProcess>(
        buildProgram("app/uishull"), args, programEnvironment(), "", box.prefix());
    return *process;
}

bool ProgramTest::sendInput(const std::string& line)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", tmp.file("input").c_str());
    const std::string text = line + "\n";
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
        && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

bool ProgramTest::sendInputWhenReady(const std::string& line)
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (sendInput(line))
            return true;
        // Waiting for the program to start, not timing anything.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

bool ProgramTest::sendDatagram(const std::string& bytes, int timeoutSeconds) const
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    timeval tv {};
    tv.tv_sec = timeoutSeconds;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socketPath().c_str());
    ssize_t n;
    do {
        n = sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    } while (n < 0 && errno == EINTR);
    close(fd);
    return n == static_cast<ssize_t>(bytes.size());
}

bool ProgramTest::pollUntil(const std::function<bool()>& pred, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        // Polling a condition with a bound, not timing anything.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

bool ProgramTest::exists(const std::string& path)
{
    struct stat st { };
    return lstat(path.c_str(), &st) == 0;
}

int ProgramTest::occurrences(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

}
