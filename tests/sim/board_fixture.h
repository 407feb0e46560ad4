#pragma once
// Running a board from a test: a board process in a directory of the test,
// its controller, and the programs and probes of both architectures.

#include "child_process.h"
#include "lumi_test.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <png.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace boardtest {

using lumitest::buildProgram;
using lumitest::ChildProcess;
using lumitest::TempDir;

inline std::string boardProgram()
{
    return buildProgram("sim/uishull-board");
}

inline std::string armhfSysroot()
{
    const char* v = std::getenv("UISHULL_ARMHF_SYSROOT");
    return v && *v ? v : UISHULL_BOARD_TEST_ARMHF_SYSROOT;
}

inline bool exists(const std::string& path)
{
    struct stat st { };
    return lstat(path.c_str(), &st) == 0;
}

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The value of the first "key value" line of text.
inline std::string valueOf(const std::string& text, const std::string& key)
{
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, key.size() + 1, key + " ") == 0)
            return line.substr(key.size() + 1);
    }
    return "<no " + key + ">";
}

// A PNG's pixel as 0xRRGGBB, or -1.
inline long pngPixel(const std::string& path, int x, int y)
{
    png_image image {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return -1;
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> px(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, px.data(), 0, nullptr))
        return -1;
    if (x < 0 || y < 0 || static_cast<unsigned>(x) >= image.width || static_cast<unsigned>(y) >= image.height)
        return -1;
    const unsigned char* p = &px[(static_cast<size_t>(y) * image.width + x) * 3];
    return (p[0] << 16) | (p[1] << 8) | p[2];
}

// One board run in a directory of the test.
class Board {
public:
    Board(const TempDir& tmp, const std::string& name, const std::vector<std::string>& command,
        const std::string& scenarioText = std::string(), const std::vector<std::string>& env = {})
        : m_dir(tmp.file(name))
    {
        std::vector<std::string> args = { "run", "--dir", m_dir };
        if (!scenarioText.empty()) {
            const std::string scenario = tmp.file(name + ".ini");
            std::ofstream(scenario) << scenarioText;
            args.insert(args.end(), { "--scenario", scenario });
        }
        args.push_back("--");
        args.insert(args.end(), command.begin(), command.end());
        std::vector<std::string> e = env;
        e.push_back("UISHULL_ARMHF_SYSROOT=" + armhfSysroot());
        process = std::make_unique<ChildProcess>(boardProgram(), args, e);
    }

    // Runs "uishull-board ctl DIR words..."; returns its exit status, its output in out.
    int ctl(const std::vector<std::string>& words, std::string* out = nullptr)
    {
        std::vector<std::string> args = { "ctl", m_dir };
        args.insert(args.end(), words.begin(), words.end());
        ChildProcess c(boardProgram(), args, {});
        const int status = c.wait(30000);
        if (out)
            *out = c.output() + c.errors();
        return status;
    }

    // The controller's own protocol spoken directly, for tests that send many
    // commands: a connection a command, 4 bytes of length and the words each
    // ending in NUL; the answer "ok" or "error" on its first line. 0 when done.
    int send(const std::vector<std::string>& words, std::string* out = nullptr)
    {
        const std::string path = m_dir + "/board.sock";
        sockaddr_un addr {};
        addr.sun_family = AF_UNIX;
        if (path.size() >= sizeof addr.sun_path)
            return -1;
        std::memcpy(addr.sun_path, path.c_str(), path.size());
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return -1;
        std::string msg(4, '\0');
        for (const auto& w : words) {
            msg += w;
            msg.push_back('\0');
        }
        const uint32_t len = static_cast<uint32_t>(msg.size() - 4);
        std::memcpy(&msg[0], &len, 4);
        std::string reply;
        if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0
            && ::send(fd, msg.data(), msg.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(msg.size())) {
            char buf[4096];
            pollfd p { fd, POLLIN, 0 };
            while (poll(&p, 1, 30000) > 0) {
                const ssize_t n = recv(fd, buf, sizeof buf, 0);
                if (n <= 0)
                    break;
                reply.append(buf, static_cast<size_t>(n));
            }
        }
        close(fd);
        if (out)
            *out = reply;
        return reply.compare(0, 3, "ok\n") == 0 ? 0 : 1;
    }

    // Waits for the board's socket (the program has been started by then).
    bool ready()
    {
        for (int i = 0; i < 500 && !exists(m_dir + "/board.sock"); ++i) {
            if (!process->running())
                return false;
            usleep(10000);
        }
        return exists(m_dir + "/board.sock");
    }

    bool waitLine(const std::string& text, int seconds = 20)
    {
        return ready() && ctl({ "wait-line", text, std::to_string(seconds) }) == 0;
    }

    std::string state()
    {
        std::string out;
        ctl({ "state" }, &out);
        return out;
    }

    const std::string& dir() const { return m_dir; }
    std::unique_ptr<ChildProcess> process;

private:
    std::string m_dir;
};

enum class ProbeArch { X86_64, Armhf };

// The armhf build whose programs run on this (host) board, or "" when there is none.
inline std::string armhfBuild()
{
    const char* v = std::getenv("UISHULL_ARMHF_BUILD");
    return v && *v ? v : lumitest::sourceDir() + "/build/armhf";
}

inline std::string probePath(ProbeArch arch)
{
    return buildProgram(arch == ProbeArch::X86_64 ? "tests/sim/board-probe" : "tests/sim/armhf/board-probe");
}

}
