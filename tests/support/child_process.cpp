#include "child_process.h"

#include "lumi_test.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace lumitest {

namespace {

std::vector<std::string> emulatorPrefix()
{
    std::vector<std::string> words;
    std::istringstream in(emulator());
    std::string w;
    while (in >> w)
        words.push_back(w);
    return words;
}

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}

std::string buildProgram(const std::string& relative)
{
    return binaryDir() + "/" + relative;
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args,
    const std::vector<std::string>& env, const std::string& workDir, const std::vector<std::string>& wrapper,
    const std::string& stdinPath)
{
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0)
        return;
    if (pipe2(err, O_CLOEXEC) != 0) {
        close(out[0]);
        close(out[1]);
        return;
    }
    m_wrapped = !wrapper.empty();
    std::vector<std::string> argv = wrapper;
    const std::vector<std::string> emu = emulatorPrefix();
    argv.insert(argv.end(), emu.begin(), emu.end());
    argv.push_back(program);
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<std::string> envp = env;
    for (const char* keep : { "PATH", "TMPDIR", "LD_LIBRARY_PATH", "QEMU_LD_PREFIX", "ASAN_OPTIONS",
             "UBSAN_OPTIONS", "LSAN_OPTIONS" }) {
        const std::string prefix = std::string(keep) + "=";
        bool given = false;
        for (const auto& e : env)
            given = given || e.compare(0, prefix.size(), prefix) == 0;
        if (const char* v = std::getenv(keep); v && !given)
            envp.push_back(prefix + v);
    }

    m_pid = fork();
    if (m_pid == 0) {
        const int in = open(stdinPath.empty() ? "/dev/null" : stdinPath.c_str(), O_RDONLY);
        if (in < 0)
            _exit(126);
        dup2(in, 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        if (!workDir.empty() && chdir(workDir.c_str()) != 0)
            _exit(126);
        std::vector<char*> av;
        for (auto& a : argv)
            av.push_back(const_cast<char*>(a.c_str()));
        av.push_back(nullptr);
        std::vector<char*> ev;
        for (auto& e : envp)
            ev.push_back(const_cast<char*>(e.c_str()));
        ev.push_back(nullptr);
        ::signal(SIGCHLD, SIG_DFL);
        execvpe(av[0], av.data(), ev.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    m_outFd = out[0];
    m_errFd = err[0];
}

ChildProcess::~ChildProcess()
{
    if (m_pid > 0 && !m_reaped) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_outFd >= 0)
        close(m_outFd);
    if (m_errFd >= 0)
        close(m_errFd);
}

bool ChildProcess::readSome(int timeoutMs)
{
    pollfd fds[2] = { { m_outFd, POLLIN, 0 }, { m_errFd, POLLIN, 0 } };
    const int n = ::poll(fds, 2, timeoutMs);
    if (n <= 0)
        return false;
    bool any = false;
    char buf[4096];
    if (m_outFd >= 0 && (fds[0].revents & (POLLIN | POLLHUP))) {
        const ssize_t r = read(m_outFd, buf, sizeof buf);
        if (r > 0) {
            m_out.append(buf, static_cast<size_t>(r));
            any = true;
        } else {
            close(m_outFd);
            m_outFd = -1;
        }
    }
    if (m_errFd >= 0 && (fds[1].revents & (POLLIN | POLLHUP))) {
        const ssize_t r = read(m_errFd, buf, sizeof buf);
        if (r > 0) {
            m_err.append(buf, static_cast<size_t>(r));
            any = true;
        } else {
            close(m_errFd);
            m_errFd = -1;
        }
    }
    return any || m_outFd >= 0 || m_errFd >= 0;
}

bool ChildProcess::waitForOutput(const std::string& text, int timeoutMs)
{
    const int64_t end = nowMs() + timeoutMs;
    while (m_out.find(text) == std::string::npos) {
        const int64_t left = end - nowMs();
        if (left <= 0 || (m_outFd < 0 && m_errFd < 0))
            return false;
        readSome(static_cast<int>(left));
        if (m_outFd < 0 && m_out.find(text) == std::string::npos)
            return false;
    }
    return true;
}

int ChildProcess::wait(int timeoutMs)
{
    if (m_pid <= 0)
        return -1;
    const int64_t end = nowMs() + timeoutMs;
    while (!m_reaped) {
        int status = 0;
        const pid_t r = waitpid(m_pid, &status, WNOHANG);
        if (r == m_pid) {
            m_reaped = true;
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            break;
        }
        if (nowMs() >= end)
            return -1;
        // Drain the pipes meanwhile so a chatty child never blocks on them.
        if (!readSome(20))
            usleep(5000);
    }
    while (m_outFd >= 0 || m_errFd >= 0) {
        if (!readSome(200))
            break;
    }
    return m_status;
}

void ChildProcess::signal(int sig)
{
    if (m_pid <= 0 || m_reaped)
        return;
    if (!m_wrapped) {
        kill(m_pid, sig);
        return;
    }
    // A wrapper (the sandbox) does not pass signals on: send them to the
    // program it started, and let the wrapper report how that one ended.
    const std::string path = "/proc/" + std::to_string(m_pid) + "/task/" + std::to_string(m_pid) + "/children";
    FILE* f = std::fopen(path.c_str(), "r");
    int child = 0;
    bool any = false;
    while (f && std::fscanf(f, "%d", &child) == 1) {
        kill(child, sig);
        any = true;
    }
    if (f)
        std::fclose(f);
    if (!any)
        kill(m_pid, sig);
}

void ChildProcess::closeOutput()
{
    if (m_outFd >= 0)
        close(m_outFd);
    m_outFd = -1;
}

bool ChildProcess::running()
{
    if (m_pid <= 0 || m_reaped)
        return false;
    int status = 0;
    if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_reaped = true;
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return false;
    }
    return true;
}

}
