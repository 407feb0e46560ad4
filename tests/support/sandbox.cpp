#include "sandbox.h"

#include "lumi_test.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace lumitest {

namespace {

// Commands the program may run that must not do anything real in a test.
const char* const kStandIns[] = { "poweroff", "reboot", "halt", "shutdown", "systemctl" };

}

Sandbox::Sandbox(const std::string& root)
    : m_root(root)
{
    // One stand-in for all: it records the name it was called by (so the
    // same file can stand behind several links) and its arguments.
    const std::string bin = root + "/bin";
    mkdir(bin.c_str(), 0755);
    const std::string standIn = bin + "/stand-in";
    {
        std::ofstream out(standIn);
        out << "#!/bin/sh\necho \"$(basename \"$0\") $*\" >> /tmp/commands.log\nexit 0\n";
    }
    chmod(standIn.c_str(), 0755);
    for (const char* name : kStandIns)
        symlink("stand-in", (bin + "/" + name).c_str());

    m_prefix = { "bwrap", "--die-with-parent", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc",
        "--bind", root, "/tmp" };
    // A checkout under /tmp (CI clones anywhere) would vanish under the new
    // /tmp, and with it the program, its emulator's sysroot and res/.
    for (const std::string& tree : { sourceDir(), binaryDir() }) {
        if (tree.compare(0, 5, "/tmp/") == 0)
            m_prefix.insert(m_prefix.end(), { "--ro-bind", tree, tree });
    }
    // Shadow the real commands wherever a shell might find them, whatever
    // PATH says. Most are links to one program (systemctl); the file behind
    // each is covered once.
    std::vector<std::string> covered;
    for (const char* name : kStandIns) {
        for (const char* dir : { "/sbin", "/usr/sbin", "/bin", "/usr/bin" }) {
            char* real = realpath((std::string(dir) + "/" + name).c_str(), nullptr);
            if (!real)
                continue;
            const std::string target = real;
            free(real);
            struct stat st {};
            if (stat(target.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
                continue;
            bool seen = false;
            for (const auto& c : covered)
                seen = seen || c == target;
            if (seen)
                continue;
            covered.push_back(target);
            m_prefix.insert(m_prefix.end(), { "--ro-bind", standIn, target });
        }
    }
    m_prefix.insert(m_prefix.end(), { "--chdir", "/tmp", "--" });
}

std::vector<std::string> Sandbox::environment() const
{
    return { "PATH=/tmp/bin:/usr/bin:/bin" };
}

std::string Sandbox::commandLog() const
{
    std::ifstream in(m_root + "/commands.log");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool Sandbox::available()
{
    return std::system("bwrap --ro-bind / / --dev /dev true >/dev/null 2>&1") == 0;
}

}
