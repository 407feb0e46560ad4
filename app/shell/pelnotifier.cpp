#include "shell/pelnotifier.h"

#include "shell/notify_datagram.h"

#include <lumi/window.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

PelNotifier g_pelNotifier;

namespace {

int s_fd = -1;
std::string s_path = PEL_NOTIFIER_PATH;
// The file this process bound, so that only that one is removed at the end:
// a successor that has bound the path since keeps its socket, and a forked
// child that exits leaves its parent's socket alone.
dev_t s_boundDev = 0;
ino_t s_boundIno = 0;
pid_t s_boundBy = 0;

// Start-up failures are fatal: they name the path and the cause.
[[noreturn]] void fail(const char* what, const char* cause)
{
    fprintf(stderr, "%s: %s: %s\n", what, s_path.c_str(), cause);
    std::exit(1);
}

// A process answers on the path: a datagram socket connects only to a bound,
// open socket (a stale file refuses, a missing one is not found).
bool liveSocketAt(const sockaddr_un& addr, socklen_t length)
{
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return false;
    const bool live = connect(probe, reinterpret_cast<const sockaddr*>(&addr), length) == 0;
    ::close(probe);
    return live;
}

}

PelNotifier::~PelNotifier()
{
    close();
}

const char* PelNotifier::path()
{
    return s_path.c_str();
}

void PelNotifier::setPath(const char* path)
{
    s_path = path && *path ? path : PEL_NOTIFIER_PATH;
}

int PelNotifier::fd()
{
    return s_fd;
}

void PelNotifier::close()
{
    if (s_fd < 0)
        return;
    if (GuiRT* rt = GuiRT::instance())
        rt->unregisterHandler(s_fd);
    ::close(s_fd);
    s_fd = -1;
    if (s_boundBy == getpid()) {
        struct stat st {};
        if (lstat(s_path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode) && st.st_dev == s_boundDev
            && st.st_ino == s_boundIno)
            unlink(s_path.c_str());
    }
    s_boundBy = 0;
}

int PelNotifier::init()
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        fail("socket", std::strerror(errno));
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    if (s_path.size() >= sizeof addr.sun_path)
        fail("bind", std::strerror(ENAMETOOLONG));
    std::memcpy(addr.sun_path, s_path.c_str(), s_path.size());
    // The address length counts the family field and the path, not its NUL.
    const socklen_t length = static_cast<socklen_t>(s_path.size() + 2);
    // A second instance must not take the socket of a running one; a file
    // left by an earlier run refuses connections and would make bind fail.
    if (liveSocketAt(addr, length)) {
        const std::string cause
            = std::string(std::strerror(EADDRINUSE)) + " (another instance answers on it)";
        fail("bind", cause.c_str());
    }
    unlink(s_path.c_str());
    // Owner-only whatever the umask: whoever may send can drive and end the
    // update screen. The program is single-threaded, so changing the
    // process umask around bind cannot leak into another thread's files.
    const mode_t oldMask = umask(S_IRWXG | S_IRWXO);
    const int bound = bind(fd, reinterpret_cast<sockaddr*>(&addr), length);
    const int bindErrno = errno;
    umask(oldMask);
    if (bound != 0)
        fail("bind", std::strerror(bindErrno));
    struct stat st {};
    if (lstat(s_path.c_str(), &st) == 0) {
        s_boundDev = st.st_dev;
        s_boundIno = st.st_ino;
        s_boundBy = getpid();
    }
    s_fd = fd;
    if (GuiRT* rt = GuiRT::instance())
        rt->registerHandler(fd, &g_pelNotifier);
    return 0;
}

void PelNotifier::onRead(int fd)
{
    // One byte more than a datagram can fill, so the text is always terminated.
    char buffer[PEL_NOTIFY_MAX_DATAGRAM + 1];
    std::memset(buffer, 0, sizeof buffer);
    const ssize_t n = recvfrom(fd, buffer, PEL_NOTIFY_MAX_DATAGRAM, 0, nullptr, nullptr);
    if (n < 0) {
        perror("***ERR:PelNotifier::onRead()");
        return;
    }
    if (n == 0)
        return;
    printf("[PelNotifier::onRead()] %s\n", buffer);

    GuiApp* app = theGuiApp();
    WndBase* target = app ? app->getWndById(PEL_MAIN_WND_ID) : nullptr;
    if (!target)
        return;
    const NotifyDatagram datagram = parseNotifyDatagram(buffer, static_cast<size_t>(n));
    if (!datagram.hasSeparator) {
        puts("Receive NULL ");
        return;
    }
    LUMIMessage msg(target, MSG_PEL_NOTIFY, datagram.type);
    msg.param2 = datagram.value;
    // The receiving window owns the copy and frees it.
    if (datagram.passesPayload)
        msg.data = strdup(datagram.payload.c_str());
    app->addMsg(msg);
}
