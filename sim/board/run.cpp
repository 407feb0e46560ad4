#include "board_impl.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <elf.h>
#include <fstream>
#include <ftw.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace board {

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void note(const std::string& text)
{
    std::fprintf(stderr, "uishull-board: %s\n", text.c_str());
}

bool writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    return static_cast<bool>(out);
}

static int removeEntry(const char* path, const struct stat*, int, struct FTW*)
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
    for (const char* sub :
        { "tmp", "data", "root", "work", "board", "board/bin", "board/dev", "board/dev/input", "board/lib" })
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
    m_log = std::fopen((m_dir + "/stdout.log").c_str(), "w");
    if (!m_log) {
        error = m_dir + "/stdout.log: " + std::strerror(errno);
        return false;
    }
    m_devListen = listenUnix(m_dir + "/board/dev.sock", SOCK_SEQPACKET, error);
    if (m_devListen < 0)
        return false;
    for (auto& model : m_models) {
        if (!model->start(error))
            return false;
    }
    return true;
}

}
