#include "board.h"

#include "../preload/board_protocol.h"
#include "png_writer.h"
#include "viewer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <elf.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fstream>
#include <ftw.h>
#include <linux/input.h>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace board {

namespace {

    int64_t nowMs()
    {
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    }

    void note(const std::string& text)
    {
        std::fprintf(stderr, "uishull-board: %s\n", text.c_str());
    }

    std::string jsonString(const std::string& s)
    {
        std::string out = "\"";
        for (unsigned char c : s) {
            switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", c);
                    out += buf;
                } else {
                    out += static_cast<char>(c);
                }
            }
        }
        return out + "\"";
    }

    bool writeFile(const std::string& path, const std::string& text)
    {
        std::ofstream out(path, std::ios::binary);
        out << text;
        return static_cast<bool>(out);
    }

    int removeEntry(const char* path, const struct stat*, int, struct FTW*)
    {
        return ::remove(path);
    }

    // Removes path and everything under it, never following a symbolic link.
    void removeTree(const std::string& path)
    {
        struct stat st { };
        if (lstat(path.c_str(), &st) != 0)
            return;
        if (!S_ISDIR(st.st_mode)) {
            unlink(path.c_str());
            return;
        }
        nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }

    bool copyTree(const std::string& from, const std::string& to, std::string& error)
    {
        struct stat st { };
        if (stat(from.c_str(), &st) != 0) {
            error = from + ": " + std::strerror(errno);
            return false;
        }
        if (S_ISDIR(st.st_mode)) {
            mkdir(to.c_str(), 0755);
            DIR* d = opendir(from.c_str());
            if (!d) {
                error = from + ": " + std::strerror(errno);
                return false;
            }
            bool ok = true;
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                if (name == "." || name == "..")
                    continue;
                ok = ok && copyTree(from + "/" + name, to + "/" + name, error);
            }
            closedir(d);
            return ok;
        }
        std::ifstream in(from, std::ios::binary);
        std::ofstream out(to, std::ios::binary);
        out << in.rdbuf();
        if (!out) {
            error = to + ": cannot be written";
            return false;
        }
        return true;
    }

    // Files under dir (relative names, directories excluded), for the state.
    void listFiles(const std::string& dir, const std::string& prefix, std::vector<std::string>& out)
    {
        DIR* d = opendir(dir.c_str());
        if (!d)
            return;
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name == "." || name == ".." || out.size() > 1000)
                continue;
            struct stat st { };
            const std::string path = dir + "/" + name;
            if (lstat(path.c_str(), &st) != 0)
                continue;
            if (S_ISDIR(st.st_mode))
                listFiles(path, prefix + "/" + name, out);
            else if (S_ISLNK(st.st_mode) && prefix.empty())
                continue; // the sandbox's /bin, /lib ... links
            else
                out.push_back(prefix + "/" + name);
        }
        closedir(d);
    }

    std::string exeDir()
    {
        char buf[PATH_MAX];
        ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
        if (n <= 0)
            return ".";
        buf[n] = '\0';
        std::string path = buf;
        return path.substr(0, path.rfind('/'));
    }

    // EM_ARM programs need the emulator on a host of another kind.
    bool isArmElf(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        unsigned char head[20] = {};
        in.read(reinterpret_cast<char*>(head), sizeof head);
        if (in.gcount() < 20 || std::memcmp(head, ELFMAG, SELFMAG) != 0)
            return false;
        const int machine = head[18] | (head[19] << 8);
        return machine == EM_ARM;
    }

    std::string findInPath(const std::string& name)
    {
        if (name.find('/') != std::string::npos)
            return name;
        const char* path = std::getenv("PATH");
        std::istringstream dirs(path ? path : "/usr/bin:/bin");
        std::string d;
        while (std::getline(dirs, d, ':')) {
            const std::string f = d + "/" + name;
            if (access(f.c_str(), X_OK) == 0)
                return f;
        }
        return std::string();
    }

    std::string absolute(const std::string& path)
    {
        if (path.empty() || path[0] == '/')
            return path;
        char cwd[PATH_MAX];
        if (!getcwd(cwd, sizeof cwd))
            return path;
        return std::string(cwd) + "/" + path;
    }

    bool sendFd(int sock, const void* data, size_t len, int fd)
    {
        iovec iov { const_cast<void*>(data), len };
        msghdr msg {};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        char control[CMSG_SPACE(sizeof(int))] = {};
        if (fd >= 0) {
            msg.msg_control = control;
            msg.msg_controllen = sizeof control;
            cmsghdr* c = CMSG_FIRSTHDR(&msg);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int));
            std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
        }
        return sendmsg(sock, &msg, MSG_NOSIGNAL) == static_cast<ssize_t>(len);
    }

    int listenUnix(const std::string& path, int type, std::string& error)
    {
        sockaddr_un addr {};
        if (path.size() >= sizeof addr.sun_path) {
            error = path + ": path too long for a socket";
            return -1;
        }
        int fd = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        addr.sun_family = AF_UNIX;
        std::strcpy(addr.sun_path, path.c_str());
        unlink(path.c_str());
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || listen(fd, 64) != 0) {
            error = path + ": " + std::strerror(errno);
            if (fd >= 0)
                close(fd);
            return -1;
        }
        return fd;
    }

    const char* const kStandIns[] = { "poweroff", "reboot", "halt", "shutdown", "systemctl", "ifconfig",
        "udhcpc", "iwlist", "lsmod", "rm", "sync" };
    // Commands that only ever stand in: the machine running the board must never go down.
    const char* const kPowerCommands[] = { "poweroff", "reboot", "halt", "shutdown", "systemctl" };
    // Commands that run for real (inside the confinement) unless the scenario answers for them.
    const char* const kRealByDefault[] = { "rm", "sync" };

    constexpr size_t kMaxLines = 200000;
    constexpr size_t kMaxLineLength = 65536;

    class Board {
    public:
        explicit Board(const RunOptions& options)
            : m_opt(options)
        {
        }
        int run();

    private:
        struct DevClient {
            int fd;
            Arch arch { Arch::X86_64 };
            int pid { 0 };
        };
        struct Open {
            int kind; // BOARD_KIND_*
            int device { -1 }; // event number for evdev
            int boardFd { -1 }; // the board's end (evdev, netlink)
            Arch arch { Arch::X86_64 };
            std::string pending; // partial records written by the program
        };
        struct CtlClient {
            int fd;
            std::string in;
            bool waiting { false };
            std::string text;
            int64_t deadline { 0 };
            size_t from { 0 };
        };
        struct Output {
            int fd;
            std::string partial;
        };

        bool prepare(std::string& error);
        bool startProgram(std::string& error);
        void loop();
        void finish();

        void acceptDev();
        void serveDev(DevClient& c);
        void answer(int fd, int result, int error, int handle = 0, int kind = 0,
            const std::string& payload = {}, int passFd = -1);
        void openNode(DevClient& c, const std::string& path, uint32_t flags);
        void ioctlNode(DevClient& c, const board_request& req, const std::vector<uint8_t>& in);
        void readDeviceEnd(int handle);
        void commandStandIn(DevClient& c, const std::vector<std::string>& argv);

        void acceptCtl();
        void serveCtl(CtlClient& c);
        std::string controlCommand(CtlClient& c, const std::vector<std::string>& words, bool& keepOpen);
        void replyCtl(CtlClient& c, bool ok, const std::string& text);
        void checkWaiters();

        void readOutput(Output& out);
        void signalProgram(int sig);
        void addLine(const std::string& line);

        InputDevice* deviceOfKind(InputKind kind);
        int freeEventNumber() const;
        void addDevice(InputKind kind, const std::string& name, bool hotplug);
        void removeDevice(int number, bool hotplug);
        void emit(int number, const std::vector<std::array<int, 3>>& records);
        void sendUevents(InputKind kind, int number, bool add);
        void updateDevDir();
        std::string stateJson();

        RunOptions m_opt;
        std::string m_dir;
        bool m_bwrap { false };
        FrameBuffer m_fb;
        std::map<int, std::unique_ptr<InputDevice>> m_devices; // by event number
        std::map<int, Open> m_opens; // by handle
        int m_nextHandle { 1 };
        int m_seq { 1000 };
        int m_usbCount { 0 };
        int m_devListen { -1 };
        int m_ctlListen { -1 };
        int m_signals { -1 };
        std::vector<DevClient> m_devClients;
        std::vector<std::unique_ptr<CtlClient>> m_ctlClients;
        Output m_out { -1, {} };
        Output m_err { -1, {} };
        std::vector<std::string> m_lines;
        std::vector<std::string> m_shell; // what the program gave system and popen
        std::vector<std::string> m_commands; // the stand-in commands that ran
        std::vector<std::string> m_power; // poweroff, reboot ... (never run)
        FILE* m_log { nullptr };
        pid_t m_pid { -1 };
        pid_t m_sandboxPid { -1 }; // bubblewrap's first process inside the sandbox
        int64_t m_exitTime { 0 };
        int m_status { -1 };
        bool m_exited { false };
        std::unique_ptr<Viewer> m_viewer;
    };

    bool Board::prepare(std::string& error)
    {
        if (m_opt.runDir.empty()) {
            const char* tmp = std::getenv("TMPDIR");
            std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/uishull-board.XXXXXX";
            std::vector<char> buf(templ.begin(), templ.end());
            buf.push_back('\0');
            if (!mkdtemp(buf.data())) {
                error = "cannot create a run directory: " + std::string(std::strerror(errno));
                return false;
            }
            m_dir = buf.data();
        } else {
            m_dir = absolute(m_opt.runDir);
            mkdir(m_dir.c_str(), 0755);
            struct stat st { };
            if (stat(m_dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
                error = m_dir + ": not a directory";
                return false;
            }
            // An earlier run's files must not leak into this one; anything else is not ours to delete.
            const std::string marker = m_dir + "/.uishull-board";
            DIR* d = opendir(m_dir.c_str());
            bool empty = true;
            while (d && readdir(d)) { }
            if (d) {
                rewinddir(d);
                while (dirent* e = readdir(d)) {
                    if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
                        empty = false;
                }
                closedir(d);
            }
            if (!empty && access(marker.c_str(), F_OK) != 0) {
                error = m_dir + ": not empty and not a board's run directory; choose another";
                return false;
            }
            for (const char* name :
                { "tmp", "data", "root", "work", "board", "board.sock", "stdout.log", "state.json" })
                removeTree(m_dir + "/" + name);
        }
        if (m_dir.find('\'') != std::string::npos || m_dir.find('\n') != std::string::npos) {
            error = m_dir + ": quotes and line ends are not allowed in the run directory";
            return false;
        }
        writeFile(m_dir + "/.uishull-board", "a run directory of uishull-board\n");
        for (const char* sub : { "tmp", "data", "root", "work", "board", "board/bin", "board/dev",
                 "board/dev/input", "board/lib" })
            mkdir((m_dir + "/" + sub).c_str(), 0755);
        chmod((m_dir + "/tmp").c_str(), 01777);

        const Scenario& s = m_opt.scenario;
        if (!s.configFile.empty() && !copyTree(s.configFile, m_dir + "/work/config.ini", error))
            return false;
        if (!s.resDir.empty() && !copyTree(s.resDir, m_dir + "/work/res", error))
            return false;

        // The library and the stand-ins are copied into the run, so the program needs nothing of the build
        // tree.
        const std::string here = exeDir();
        for (const char* arch : { "x86_64-linux-gnu", "arm-linux-gnueabihf" }) {
            const std::string lib = here + "/lib/" + arch + "/libuishull-board.so";
            if (access(lib.c_str(), R_OK) != 0)
                continue;
            mkdir((m_dir + "/board/lib/" + arch).c_str(), 0755);
            if (!copyTree(lib, m_dir + "/board/lib/" + arch + "/libuishull-board.so", error))
                return false;
        }
        const std::string standIn = here + "/uishull-board-command";
        if (!copyTree(standIn, m_dir + "/board/bin/uishull-board-command", error))
            return false;
        chmod((m_dir + "/board/bin/uishull-board-command").c_str(), 0755);
        for (const char* name : kStandIns)
            symlink("uishull-board-command", (m_dir + "/board/bin/" + name).c_str());

        if (!m_fb.create(s.width, s.height, s.bpp, error))
            return false;
        m_log = std::fopen((m_dir + "/stdout.log").c_str(), "w");
        if (!m_log) {
            error = m_dir + "/stdout.log: " + std::strerror(errno);
            return false;
        }
        m_devListen = listenUnix(m_dir + "/board/dev.sock", SOCK_SEQPACKET, error);
        if (m_devListen < 0)
            return false;
        for (const auto& in : s.inputs)
            addDevice(in.kind, in.name, false);
        return true;
    }

    bool bubblewrapWorks()
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
        if (m_bwrap) {
            argv = { "bwrap", "--die-with-parent", "--unshare-pid", "--unshare-ipc", "--unshare-net",
                "--bind", m_dir + "/root", "/", "--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc" };
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
            // The program itself (a build tree) and, for an emulated program, its libraries.
            const std::string progDir = program.substr(0, program.rfind('/'));
            argv.insert(argv.end(), { "--ro-bind", progDir, progDir });
            // The real power commands, wherever a shell could find them, are the stand-in too.
            std::vector<std::string> covered;
            for (const char* name : kPowerCommands) {
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
                    argv.insert(
                        argv.end(), { "--ro-bind", m_dir + "/board/bin/uishull-board-command", target });
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
                    + " is an ARM program: set UISHULL_ARMHF_SYSROOT to its libraries (no sysroot at \""
                    + sysroot + "\")";
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
            std::fprintf(
                stderr, "uishull-board: cannot start %s: %s\n", argv[0].c_str(), std::strerror(errno));
            _exit(127);
        }
        setpgid(m_pid, m_pid);
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

    // ---- devices ----

    InputDevice* Board::deviceOfKind(InputKind kind)
    {
        for (auto& d : m_devices) {
            if (d.second->kind() == kind)
                return d.second.get();
        }
        return nullptr;
    }

    int Board::freeEventNumber() const
    {
        for (int n = 0; n < 16; ++n) {
            if (!m_devices.count(n))
                return n;
        }
        return -1;
    }

    void Board::addDevice(InputKind kind, const std::string& name, bool hotplug)
    {
        const int n = freeEventNumber();
        if (n < 0)
            return;
        m_devices[n] = std::make_unique<InputDevice>(kind, name, n, m_opt.scenario);
        updateDevDir();
        if (hotplug)
            sendUevents(kind, n, true);
    }

    void Board::removeDevice(int number, bool hotplug)
    {
        auto it = m_devices.find(number);
        if (it == m_devices.end())
            return;
        const InputKind kind = it->second->kind();
        // The program's descriptors see the device go: their other end closes.
        for (auto o = m_opens.begin(); o != m_opens.end();) {
            if (o->second.kind == BOARD_KIND_EVDEV && o->second.device == number) {
                close(o->second.boardFd);
                o = m_opens.erase(o);
            } else {
                ++o;
            }
        }
        m_devices.erase(it);
        updateDevDir();
        if (hotplug)
            sendUevents(kind, number, false);
    }

    void Board::updateDevDir()
    {
        const std::string dir = m_dir + "/board/dev/input";
        for (int n = 0; n < 16; ++n) {
            const std::string path = dir + "/event" + std::to_string(n);
            if (m_devices.count(n))
                writeFile(path, m_devices[n]->name() + "\n");
            else
                unlink(path.c_str());
        }
    }

    void Board::emit(int number, const std::vector<std::array<int, 3>>& records)
    {
        for (auto& o : m_opens) {
            if (o.second.kind != BOARD_KIND_EVDEV || o.second.device != number)
                continue;
            std::vector<uint8_t> packet;
            for (const auto& r : records) {
                auto rec = eventRecord(
                    o.second.arch, static_cast<uint16_t>(r[0]), static_cast<uint16_t>(r[1]), r[2]);
                packet.insert(packet.end(), rec.begin(), rec.end());
            }
            // A reader that does not keep up loses events, as with a full evdev buffer.
            send(o.second.boardFd, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
    }

    void Board::sendUevents(InputKind kind, int number, bool add)
    {
        // What the kernel broadcasts for a USB input device: the input device, its
        // legacy node (mouseN for a mouse) and its event node.
        const char* action = add ? "add" : "remove";
        const int input = 10 + number;
        const std::string usb = "/devices/platform/lumi-ehci.0/usb1/1-1/1-1:1.0/0003:1A2B:"
            + std::string(kind == InputKind::Mouse ? "0202" : "0101") + ".000"
            + std::to_string(1 + m_usbCount % 9);
        const std::string inputPath = usb + "/input/input" + std::to_string(input);
        struct Event {
            std::string path;
            std::vector<std::string> vars;
        };
        std::vector<Event> events;
        events.push_back({ inputPath,
            { "SUBSYSTEM=input",
                "PRODUCT=3/1a2b/" + std::string(kind == InputKind::Mouse ? "202" : "101") + "/110",
                "NAME=\""
                    + (kind == InputKind::Mouse ? m_opt.scenario.mouseName : m_opt.scenario.keyboardName)
                    + "\"",
                "PHYS=\"usb-lumi-ehci-1/input0\"",
                "EV=" + std::string(kind == InputKind::Mouse ? "17" : "120013") } });
        if (kind == InputKind::Mouse)
            events.push_back({ inputPath + "/mouse1",
                { "SUBSYSTEM=input", "MAJOR=13", "MINOR=33", "DEVNAME=input/mouse1" } });
        events.push_back({ inputPath + "/event" + std::to_string(number),
            { "SUBSYSTEM=input", "MAJOR=13", "MINOR=" + std::to_string(64 + number),
                "DEVNAME=input/event" + std::to_string(number) } });
        if (!add)
            std::reverse(events.begin(), events.end());
        for (const auto& e : events) {
            std::string msg = std::string(action) + "@" + e.path;
            msg.push_back('\0');
            for (const std::string& var :
                std::vector<std::string> { "ACTION=" + std::string(action), "DEVPATH=" + e.path }) {
                msg += var;
                msg.push_back('\0');
            }
            for (const auto& var : e.vars) {
                msg += var;
                msg.push_back('\0');
            }
            msg += "SEQNUM=" + std::to_string(m_seq++);
            msg.push_back('\0');
            for (auto& o : m_opens) {
                if (o.second.kind == BOARD_KIND_NETLINK)
                    send(o.second.boardFd, msg.data(), msg.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            }
        }
        if (!add)
            ++m_usbCount;
    }

    // ---- the device socket ----

    void Board::acceptDev()
    {
        int fd = accept4(m_devListen, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0)
            m_devClients.push_back({ fd });
    }

    void Board::answer(
        int fd, int result, int error, int handle, int kind, const std::string& payload, int passFd)
    {
        std::string msg(sizeof(board_answer), '\0');
        board_answer a {};
        a.result = result;
        a.error = error;
        a.handle = handle;
        a.kind = static_cast<uint32_t>(kind);
        a.len = static_cast<uint32_t>(std::min<size_t>(payload.size(), BOARD_MAX_PAYLOAD));
        std::memcpy(&msg[0], &a, sizeof a);
        msg.append(payload, 0, a.len);
        sendFd(fd, msg.data(), msg.size(), passFd);
    }

    void Board::serveDev(DevClient& c)
    {
        std::vector<char> buf(sizeof(board_request) + BOARD_MAX_PAYLOAD);
        ssize_t n = recv(c.fd, buf.data(), buf.size(), MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
            close(c.fd);
            c.fd = -1;
            return;
        }
        if (n < static_cast<ssize_t>(sizeof(board_request))) {
            if (n > 0)
                answer(c.fd, -1, EINVAL);
            return;
        }
        board_request req {};
        std::memcpy(&req, buf.data(), sizeof req);
        const size_t len = std::min<size_t>(req.len, static_cast<size_t>(n) - sizeof req);
        const char* payload = buf.data() + sizeof req;
        switch (req.op) {
        case BOARD_OP_HELLO:
            c.arch = req.request == BOARD_ARCH_ARMHF ? Arch::Armhf : Arch::X86_64;
            c.pid = req.handle;
            answer(c.fd, 0, 0);
            break;
        case BOARD_OP_OPEN:
            openNode(c, std::string(payload, strnlen(payload, len)), req.flags);
            break;
        case BOARD_OP_IOCTL:
            ioctlNode(c, req, std::vector<uint8_t>(payload, payload + len));
            break;
        case BOARD_OP_SOCKET: {
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, sv) != 0) {
                answer(c.fd, -1, errno);
                break;
            }
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            const int handle = m_nextHandle++;
            m_opens[handle] = { BOARD_KIND_NETLINK, -1, sv[0], c.arch, {} };
            answer(c.fd, 0, 0, handle, BOARD_KIND_NETLINK, {}, sv[1]);
            close(sv[1]);
            break;
        }
        case BOARD_OP_SHELL: {
            const std::string line(payload, strnlen(payload, len));
            if (m_shell.size() < 10000)
                m_shell.push_back(line);
            answer(c.fd, 0, 0);
            break;
        }
        case BOARD_OP_COMMAND: {
            std::vector<std::string> argv;
            size_t at = 0;
            while (at < len) {
                const size_t n0 = strnlen(payload + at, len - at);
                argv.emplace_back(payload + at, n0);
                at += n0 + 1;
            }
            commandStandIn(c, argv);
            break;
        }
        default:
            answer(c.fd, -1, EINVAL);
        }
    }

    void Board::openNode(DevClient& c, const std::string& path, uint32_t flags)
    {
        (void)flags;
        std::string error;
        if (path == "/dev/fb0") {
            int fd = m_fb.openNew(error);
            if (fd < 0) {
                answer(c.fd, -1, EIO);
                return;
            }
            const int handle = m_nextHandle++;
            m_opens[handle] = { BOARD_KIND_FB, -1, -1, c.arch, {} };
            answer(c.fd, 0, 0, handle, BOARD_KIND_FB, {}, fd);
            close(fd);
            return;
        }
        unsigned n = 0;
        char tail = 0;
        if (std::sscanf(path.c_str(), "/dev/input/event%u%c", &n, &tail) == 1
            && m_devices.count(static_cast<int>(n))) {
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) != 0) {
                answer(c.fd, -1, errno);
                return;
            }
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            const int handle = m_nextHandle++;
            m_opens[handle] = { BOARD_KIND_EVDEV, static_cast<int>(n), sv[0], c.arch, {} };
            answer(c.fd, 0, 0, handle, BOARD_KIND_EVDEV, {}, sv[1]);
            close(sv[1]);
            return;
        }
        // Every other device node is absent on the board, so no host device is ever reached.
        answer(c.fd, -1, ENOENT);
    }

    void Board::ioctlNode(DevClient& c, const board_request& req, const std::vector<uint8_t>& in)
    {
        auto it = m_opens.find(req.handle);
        if (it == m_opens.end()) {
            answer(c.fd, -1, ENODEV);
            return;
        }
        IoctlResult r;
        if (it->second.kind == BOARD_KIND_FB) {
            r = m_fb.ioctl(c.arch, req.request, in);
        } else if (it->second.kind == BOARD_KIND_EVDEV) {
            auto d = m_devices.find(it->second.device);
            if (d == m_devices.end())
                r = IoctlResult::fail(ENODEV);
            else
                r = d->second->ioctl(c.arch, req.request, req.arg, in);
        } else {
            r = IoctlResult::fail(ENOTTY);
        }
        answer(c.fd, r.result, r.error, req.handle, it->second.kind, std::string(r.out.begin(), r.out.end()));
    }

    void Board::readDeviceEnd(int handle)
    {
        auto it = m_opens.find(handle);
        if (it == m_opens.end())
            return;
        Open& o = it->second;
        char buf[4096];
        ssize_t n = recv(o.boardFd, buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
            // The program closed its descriptor.
            close(o.boardFd);
            m_opens.erase(it);
            return;
        }
        if (n <= 0 || o.kind != BOARD_KIND_EVDEV)
            return;
        auto d = m_devices.find(o.device);
        if (d == m_devices.end())
            return;
        // Whole records in the writer's layout; EV_LED records set the LEDs.
        o.pending.append(buf, static_cast<size_t>(n));
        const size_t size = eventRecordSize(o.arch);
        const size_t at = size == 24 ? 16 : 8;
        while (o.pending.size() >= size) {
            uint16_t type, code;
            int32_t value;
            std::memcpy(&type, &o.pending[at], 2);
            std::memcpy(&code, &o.pending[at + 2], 2);
            std::memcpy(&value, &o.pending[at + 4], 4);
            if (type == EV_LED)
                d->second->setLed(code, value);
            o.pending.erase(0, size);
        }
    }

    void Board::commandStandIn(DevClient& c, const std::vector<std::string>& argv)
    {
        std::string line;
        for (const auto& w : argv)
            line += (line.empty() ? "" : " ") + w;
        const std::string name = argv.empty() ? std::string() : argv[0];
        if (m_commands.size() < 10000)
            m_commands.push_back(line);
        for (const auto& rule : m_opt.scenario.commands) {
            if (fnmatch(rule.pattern.c_str(), line.c_str(), 0) == 0) {
                answer(c.fd, rule.status, 0, 0, BOARD_COMMAND_STAND_IN, rule.output);
                return;
            }
        }
        for (const char* p : kPowerCommands) {
            if (name == p) {
                m_power.push_back(line);
                note("the program ran \"" + line + "\" (recorded, not run)");
                answer(c.fd, 0, 0, 0, BOARD_COMMAND_STAND_IN);
                return;
            }
        }
        for (const char* r : kRealByDefault) {
            if (name == r) {
                answer(c.fd, 0, 0, 0, BOARD_COMMAND_RUN);
                return;
            }
        }
        answer(c.fd, 0, 0, 0, BOARD_COMMAND_STAND_IN);
    }

    // ---- output ----

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

    // ---- controller ----

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

    bool parseNumber(const std::string& s, long min, long max, long& out)
    {
        if (s.empty())
            return false;
        char* end = nullptr;
        errno = 0;
        out = std::strtol(s.c_str(), &end, 10);
        return !errno && !*end && out >= min && out <= max;
    }

    std::string Board::controlCommand(CtlClient& c, const std::vector<std::string>& w, bool& keepOpen)
    {
        const std::string usage
            = "error: commands: key CODE [down|up]; mouse move DX DY; mouse button left|right "
              "down|up; plug mouse|keyboard; unplug mouse|keyboard; screenshot FILE.png; "
              "wait-line TEXT [SECONDS]; state; stop";
        if (w.empty())
            return usage;
        const std::string& cmd = w[0];
        if (cmd == "key") {
            long code = 0;
            if (w.size() < 2 || w.size() > 3 || !parseNumber(w[1], 1, KEY_MAX, code))
                return "error: key CODE [down|up] (CODE a Linux key code from 1 to " + std::to_string(KEY_MAX)
                    + ")";
            if (w.size() == 3 && w[2] != "down" && w[2] != "up")
                return "error: key CODE [down|up]: \"" + w[2] + "\" is neither down nor up";
            InputDevice* pad = deviceOfKind(InputKind::Keypad);
            if (!pad)
                pad = deviceOfKind(InputKind::Keyboard);
            if (!pad)
                return "error: the board has no keypad";
            if (!pad->hasKey(static_cast<int>(code)))
                return "error: the " + std::string(kindName(pad->kind())) + " has no key "
                    + std::to_string(code);
            const int c0 = static_cast<int>(code);
            if (w.size() == 2 || w[2] == "down") {
                pad->setKey(c0, 1);
                emit(pad->number(), { { EV_KEY, c0, 1 }, { EV_SYN, SYN_REPORT, 0 } });
            }
            if (w.size() == 2 || w[2] == "up") {
                pad->setKey(c0, 0);
                emit(pad->number(), { { EV_KEY, c0, 0 }, { EV_SYN, SYN_REPORT, 0 } });
            }
            return "key " + std::to_string(code) + " on /dev/input/event" + std::to_string(pad->number());
        }
        if (cmd == "mouse") {
            InputDevice* mouse = deviceOfKind(InputKind::Mouse);
            if (w.size() == 4 && w[1] == "move") {
                long dx = 0, dy = 0;
                if (!parseNumber(w[2], -100000, 100000, dx) || !parseNumber(w[3], -100000, 100000, dy))
                    return "error: mouse move DX DY (whole numbers)";
                if (!mouse)
                    return "error: no mouse is plugged in";
                emit(mouse->number(),
                    { { EV_REL, REL_X, static_cast<int>(dx) }, { EV_REL, REL_Y, static_cast<int>(dy) },
                        { EV_SYN, SYN_REPORT, 0 } });
                return "moved";
            }
            if (w.size() == 4 && w[1] == "button") {
                if ((w[2] != "left" && w[2] != "right") || (w[3] != "down" && w[3] != "up"))
                    return "error: mouse button left|right down|up";
                if (!mouse)
                    return "error: no mouse is plugged in";
                const int code = w[2] == "left" ? BTN_LEFT : BTN_RIGHT;
                mouse->setKey(code, w[3] == "down");
                emit(
                    mouse->number(), { { EV_KEY, code, w[3] == "down" ? 1 : 0 }, { EV_SYN, SYN_REPORT, 0 } });
                return "button " + w[2] + " " + w[3];
            }
            return "error: mouse move DX DY | mouse button left|right down|up";
        }
        if (cmd == "plug" || cmd == "unplug") {
            if (w.size() != 2 || (w[1] != "mouse" && w[1] != "keyboard"))
                return "error: " + cmd + " mouse|keyboard";
            const InputKind kind = w[1] == "mouse" ? InputKind::Mouse : InputKind::Keyboard;
            InputDevice* d = deviceOfKind(kind);
            if (cmd == "plug") {
                if (d)
                    return "error: a " + w[1] + " is already plugged in";
                if (freeEventNumber() < 0)
                    return "error: all 16 event nodes are taken";
                addDevice(kind,
                    kind == InputKind::Mouse ? m_opt.scenario.mouseName : m_opt.scenario.keyboardName, true);
                return "plugged " + w[1] + " as /dev/input/event"
                    + std::to_string(deviceOfKind(kind)->number());
            }
            if (!d)
                return "error: no " + w[1] + " is plugged in";
            const int n = d->number();
            removeDevice(n, true);
            return "unplugged " + w[1] + " (/dev/input/event" + std::to_string(n) + ")";
        }
        if (cmd == "screenshot") {
            if (w.size() != 2 || w[1].size() < 5 || w[1].compare(w[1].size() - 4, 4, ".png") != 0)
                return "error: screenshot FILE.png";
            std::string error;
            if (!writePng(w[1], m_fb.width(), m_fb.height(), m_fb.rgb(), error))
                return "error: " + error;
            return "saved " + w[1];
        }
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

    std::string Board::stateJson()
    {
        std::ostringstream j;
        j << "{\n  \"run_directory\": " << jsonString(m_dir) << ",\n";
        j << "  \"confinement\": " << jsonString(m_bwrap ? "bubblewrap" : "preload") << ",\n";
        j << "  \"program\": {\"pid\": " << m_pid << ", \"running\": " << (m_exited ? "false" : "true")
          << ", \"exit_status\": " << (m_exited ? std::to_string(m_status) : "null") << "},\n";
        j << "  \"screen\": {\"width\": " << m_fb.width() << ", \"height\": " << m_fb.height()
          << ", \"bpp\": " << m_fb.bpp() << "},\n";
        j << "  \"devices\": [";
        bool first = true;
        for (auto& d : m_devices) {
            int opens = 0;
            for (auto& o : m_opens)
                opens += o.second.kind == BOARD_KIND_EVDEV && o.second.device == d.first;
            j << (first ? "\n" : ",\n") << "    {\"node\": \"/dev/input/event" << d.first
              << "\", \"kind\": \"" << kindName(d.second->kind())
              << "\", \"name\": " << jsonString(d.second->name()) << ", \"open\": " << opens;
            if (d.second->hasLed())
                j << ", \"leds\": {\"num\": " << d.second->led(LED_NUML)
                  << ", \"caps\": " << d.second->led(LED_CAPSL)
                  << ", \"scroll\": " << d.second->led(LED_SCROLLL) << "}";
            j << "}";
            first = false;
        }
        j << (first ? "" : "\n  ") << "],\n";
        auto list = [&](const char* name, const std::vector<std::string>& items, bool last = false) {
            j << "  \"" << name << "\": [";
            for (size_t i = 0; i < items.size(); ++i)
                j << (i ? ", " : "") << jsonString(items[i]);
            j << "]" << (last ? "\n" : ",\n");
        };
        list("shell", m_shell);
        list("commands", m_commands);
        list("power", m_power);
        std::vector<std::string> files;
        listFiles(m_dir + "/root", "", files);
        for (const char* sub : { "tmp", "data" })
            listFiles(m_dir + "/" + sub, std::string("/") + sub, files);
        list("files", files, true);
        j << "}";
        return j.str();
    }

    // ---- the loop ----

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
            for (auto& o : m_opens) {
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
                case 0: {
                    signalfd_siginfo si {};
                    while (read(m_signals, &si, sizeof si) == sizeof si) {
                        if (si.ssi_signo == SIGCHLD) {
                            int status = 0;
                            pid_t p;
                            while ((p = waitpid(-1, &status, WNOHANG)) > 0) {
                                if (p == m_pid) {
                                    m_exited = true;
                                    m_exitTime = nowMs();
                                    m_status
                                        = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                                    // bubblewrap reports a signal as 128 + its number.
                                    int sig = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
                                    if (m_bwrap && m_status > 128 && m_status < 128 + 65)
                                        sig = m_status - 128;
                                    if (sig)
                                        note("the program was killed by signal " + std::to_string(sig) + " ("
                                            + strsignal(sig) + ")");
                                    // What the program left running ends with it.
                                    kill(-m_pid, SIGKILL);
                                }
                            }
                        } else if (m_pid > 0 && !m_exited) {
                            // The board's own interruption ends the program first.
                            signalProgram(SIGTERM);
                        }
                    }
                    break;
                }
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
                std::vector<std::string> commands;
                if (!m_viewer->frame(m_fb, commands)) {
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
            // Output still in the pipes is read; a descendant that escaped and keeps them open is not
            // waited for.
            if (m_exited && ((m_out.fd < 0 && m_err.fd < 0) || nowMs() - m_exitTime > 2000))
                break;
        }
    }

    // The program's own processes: inside bubblewrap the children of the
    // sandbox's first process, else the program's process group.
    void Board::signalProgram(int sig)
    {
        if (m_sandboxPid > 0) {
            const std::string path = "/proc/" + std::to_string(m_sandboxPid) + "/task/"
                + std::to_string(m_sandboxPid) + "/children";
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

    // Every process below pid (the board is the subreaper of what its program leaves), deepest first.
    void killDescendants(pid_t pid)
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
        writeFile(m_dir + "/state.json", stateJson() + "\n");
        for (auto& o : m_opens) {
            if (o.second.boardFd >= 0)
                close(o.second.boardFd);
        }
        m_opens.clear();
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
            m_viewer = createViewer(m_fb.width(), m_fb.height(), error);
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

}

int runBoard(const RunOptions& options)
{
    Board b(options);
    return b.run();
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
