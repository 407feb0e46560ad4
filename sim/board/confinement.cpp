#include "board_impl.h"
#include "commands.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace board {

static bool bubblewrapWorks()
{
    return std::system("bwrap --ro-bind / / --dev /dev true >/dev/null 2>&1") == 0;
}

bool Board::startProgram(std::string& error)
{
    const Scenario& s = m_opt.scenario;
    if (s.confinement == Confinement::Bubblewrap)
        m_bwrap = true;
    else if (s.confinement == Confinement::Preload)
        m_bwrap = false;
    else
        m_bwrap = bubblewrapWorks();
    if (!s.tmpfsPath.empty() && !m_bwrap) {
        error = "the scenario's [board] tmpfs needs bubblewrap, which cannot run here";
        return false;
    }
    if (m_bwrap && findInPath("bwrap").empty()) {
        error = "the scenario asks for bubblewrap, which is not installed";
        return false;
    }

    std::string program = findInPath(m_opt.command[0]);
    if (program.empty() || access(program.c_str(), X_OK) != 0) {
        error = m_opt.command[0] + ": no such program";
        return false;
    }
    program = absolute(program);
    char real[PATH_MAX];
    if (realpath(program.c_str(), real))
        program = real;

    // Paths as the program sees them.
    const std::string inside = m_bwrap ? "/run/board" : m_dir + "/board";
    const std::string work = m_bwrap ? "/app" : m_dir + "/work";
    // $LIB is the loader's own library directory, "lib/<multiarch>".
    const std::string preload = inside + "/$LIB/libuishull-board.so";

    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        const std::string name = entry.substr(0, entry.find('='));
        if (name == "LD_PRELOAD" || name == "LUMI_DISPLAY" || name == "PATH" || name == "TMPDIR"
            || name == "ASAN_OPTIONS" || name.compare(0, 14, "UISHULL_BOARD_") == 0 || name == "PWD")
            continue;
        env.push_back(entry);
    }
    env.push_back("PATH=" + inside + "/bin:/usr/sbin:/usr/bin:/sbin:/bin");
    // A program built with the address sanitizer accepts the library loaded ahead of its run-time.
    {
        const char* asan = std::getenv("ASAN_OPTIONS");
        std::string value = asan && *asan ? std::string(asan) + ":" : std::string();
        env.push_back("ASAN_OPTIONS=" + value + "verify_asan_link_order=0");
    }
    env.push_back("TMPDIR=/tmp");
    env.push_back("PWD=" + work);
    env.push_back("UISHULL_BOARD_SOCKET=" + inside + "/dev.sock");
    env.push_back("UISHULL_BOARD_DEVDIR=" + inside + "/dev/input");
    env.push_back("UISHULL_BOARD_BIN=" + inside + "/bin");
    if (!m_bwrap)
        env.push_back("UISHULL_BOARD_ROOT=" + m_dir);

    std::vector<std::string> argv;
    int fill = -1; // the tmpfs filler's memory file, inherited by bubblewrap
    if (m_bwrap) {
        argv = { "bwrap", "--die-with-parent", "--unshare-pid", "--unshare-ipc", "--unshare-net", "--bind",
            m_dir + "/root", "/", "--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc" };
        for (const char* top : { "/bin", "/sbin", "/lib", "/lib64", "/lib32", "/libx32" }) {
            struct stat st { };
            if (lstat(top, &st) != 0)
                continue;
            if (S_ISLNK(st.st_mode)) {
                char target[PATH_MAX];
                ssize_t n = readlink(top, target, sizeof target - 1);
                if (n > 0) {
                    target[n] = '\0';
                    argv.insert(argv.end(), { "--symlink", target, top });
                }
            } else {
                argv.insert(argv.end(), { "--ro-bind", top, top });
            }
        }
        argv.insert(argv.end(),
            { "--proc", "/proc", "--dev", "/dev", "--tmpfs", "/run", "--bind", m_dir + "/tmp", "/tmp",
                "--bind", m_dir + "/data", "/data", "--bind", m_dir + "/board", "/run/board", "--bind",
                m_dir + "/work", "/app" });
        if (!s.tmpfsPath.empty()) {
            argv.insert(argv.end(), { "--size", std::to_string(s.tmpfsSize), "--tmpfs", s.tmpfsPath });
            // The filler is copied in by bubblewrap from a memory file of zeros.
            if (s.tmpfsUsed > 0) {
                fill = memfd_create("tmpfs-filler", 0);
                if (fill < 0 || ftruncate(fill, s.tmpfsUsed) != 0) {
                    error = std::string("tmpfs filler: ") + std::strerror(errno);
                    return false;
                }
                argv.insert(argv.end(), { "--file", std::to_string(fill), s.tmpfsPath + "/filler" });
            }
        }
        // The program itself (a build tree) and, for an emulated program, its libraries.
        const std::string progDir = program.substr(0, program.rfind('/'));
        argv.insert(argv.end(), { "--ro-bind", progDir, progDir });
        // The real power commands, wherever a shell could find them, are the stand-in too.
        std::vector<std::string> covered;
        for (const char* name : powerCommandNames()) {
            for (const char* d : { "/usr/sbin", "/usr/bin", "/sbin", "/bin" }) {
                char* r = realpath((std::string(d) + "/" + name).c_str(), nullptr);
                if (!r)
                    continue;
                const std::string target = r;
                free(r);
                if (std::find(covered.begin(), covered.end(), target) != covered.end()
                    || target.compare(0, 5, "/usr/") != 0)
                    continue;
                covered.push_back(target);
                argv.insert(argv.end(), { "--ro-bind", m_dir + "/board/bin/uishull-board-command", target });
            }
        }
    }
    if (isArmElf(program)) {
        const std::string qemu = findInPath("qemu-arm");
        if (qemu.empty()) {
            error = program + " is an ARM program and qemu-arm is not installed";
            return false;
        }
        std::string sysroot;
        for (const char* var : { "QEMU_LD_PREFIX", "UISHULL_ARMHF_SYSROOT" }) {
            const char* v = std::getenv(var);
            if (sysroot.empty() && v && *v)
                sysroot = v;
        }
#ifdef UISHULL_BOARD_ARMHF_SYSROOT
        if (sysroot.empty())
            sysroot = UISHULL_BOARD_ARMHF_SYSROOT;
#endif
        if (sysroot.empty() || access(sysroot.c_str(), R_OK) != 0) {
            error = program
                + " is an ARM program: set UISHULL_ARMHF_SYSROOT to its libraries (no sysroot at \"" + sysroot
                + "\")";
            return false;
        }
        if (char* r = realpath(sysroot.c_str(), nullptr)) {
            sysroot = r;
            free(r);
        }
        if (m_bwrap)
            argv.insert(argv.end(), { "--ro-bind", sysroot, sysroot });
        if (m_bwrap)
            argv.insert(argv.end(), { "--chdir", work, "--" });
        // The library goes to the emulated program only, not to the emulator.
        argv.insert(argv.end(), { qemu, "-L", sysroot, "-E", "LD_PRELOAD=" + preload });
    } else {
        // Given to the program only, not to bubblewrap.
        if (m_bwrap)
            argv.insert(argv.end(), { "--setenv", "LD_PRELOAD", preload, "--chdir", work, "--" });
        else
            env.push_back("LD_PRELOAD=" + preload);
    }
    argv.push_back(program);
    argv.insert(argv.end(), m_opt.command.begin() + 1, m_opt.command.end());

    // bubblewrap tells where the sandboxed program runs, to signal it rather than bubblewrap.
    int info[2] = { -1, -1 };
    if (m_bwrap && pipe2(info, O_CLOEXEC) == 0) {
        auto at = std::find(argv.begin(), argv.end(), "--die-with-parent");
        argv.insert(at + 1, { "--info-fd", std::to_string(info[1]) });
    }
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        error = std::strerror(errno);
        return false;
    }
    m_pid = fork();
    if (m_pid < 0) {
        error = std::strerror(errno);
        return false;
    }
    if (m_pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        int in = open("/dev/null", O_RDONLY);
        dup2(in, 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        if (info[1] >= 0)
            fcntl(info[1], F_SETFD, 0);
        if (!m_bwrap && chdir(work.c_str()) != 0)
            _exit(126);
        std::vector<char*> av, ev;
        for (auto& a : argv)
            av.push_back(const_cast<char*>(a.c_str()));
        av.push_back(nullptr);
        for (auto& e : env)
            ev.push_back(const_cast<char*>(e.c_str()));
        ev.push_back(nullptr);
        execve(findInPath(argv[0]).c_str(), av.data(), ev.data());
        std::fprintf(stderr, "uishull-board: cannot start %s: %s\n", argv[0].c_str(), std::strerror(errno));
        _exit(127);
    }
    setpgid(m_pid, m_pid);
    if (fill >= 0)
        close(fill);
    close(out[1]);
    close(err[1]);
    if (info[0] >= 0) {
        close(info[1]);
        std::string json;
        char buf[512];
        pollfd p { info[0], POLLIN, 0 };
        while (json.size() < 4096 && poll(&p, 1, 10000) > 0) {
            ssize_t n = read(info[0], buf, sizeof buf);
            if (n <= 0)
                break;
            json.append(buf, static_cast<size_t>(n));
            if (json.find('}') != std::string::npos)
                break;
        }
        close(info[0]);
        const size_t key = json.find("\"child-pid\"");
        if (key != std::string::npos) {
            const size_t colon = json.find(':', key);
            if (colon != std::string::npos)
                m_sandboxPid = static_cast<pid_t>(std::atoi(json.c_str() + colon + 1));
        }
    }
    m_out.fd = out[0];
    m_err.fd = err[0];
    note(std::string("confinement: ")
        + (m_bwrap ? "bubblewrap and the preload library" : "the preload library"));
    return true;
}

// The program's own processes: inside bubblewrap the children of the
// sandbox's first process, else the program's process group.
void Board::signalProgram(int sig)
{
    if (m_sandboxPid > 0) {
        const std::string path
            = "/proc/" + std::to_string(m_sandboxPid) + "/task/" + std::to_string(m_sandboxPid) + "/children";
        std::ifstream in(path);
        int child = 0;
        bool any = false;
        while (in >> child) {
            kill(child, sig);
            any = true;
        }
        if (any)
            return;
    }
    kill(-m_pid, sig);
}

}
