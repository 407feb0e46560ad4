#include "shell/pelnotifier.h"

#include <lumi/window.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

PelNotifier g_pelNotifier;

namespace {

constexpr int kBufferSize = 1024;
int s_fd = -1;
std::string s_path = PEL_NOTIFIER_PATH;

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
}

int PelNotifier::init()
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        perror("socket");
        std::exit(1);
    }
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    if (s_path.size() >= sizeof addr.sun_path) {
        fprintf(stderr, "bind: socket path too long: %s\n", s_path.c_str());
        std::exit(1);
    }
    std::memcpy(addr.sun_path, s_path.c_str(), s_path.size());
    // A file left by an earlier run would make bind fail.
    unlink(s_path.c_str());
    // The address length counts the family field and the path, not its NUL.
    const socklen_t length = static_cast<socklen_t>(s_path.size() + 2);
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), length) != 0) {
        perror("bind");
        std::exit(1);
    }
    s_fd = fd;
    if (GuiRT* rt = GuiRT::instance())
        rt->registerHandler(fd, &g_pelNotifier);
    return 0;
}

void PelNotifier::onRead(int fd)
{
    // One byte more than a datagram can fill, so the text is always terminated.
    char buffer[kBufferSize + 1];
    std::memset(buffer, 0, sizeof buffer);
    const ssize_t n = recvfrom(fd, buffer, kBufferSize, 0, nullptr, nullptr);
    if (n < 0) {
        perror("***ERR:PelNotifier::onRead()");
        return;
    }
    if (n == 0)
        return;
    printf("[PelNotifier::onRead()] %s\n", buffer);

    GuiApp* app = theGuiApp();
    WndBase* target = app ? app->getWndById(101) : nullptr;
    if (!target)
        return;
    char* at = std::strchr(buffer, '@');
    if (!at) {
        puts("Receive NULL ");
        return;
    }
    // The type goes through a 10-byte field: a few digits are all it may hold.
    char typeText[10];
    const size_t typeLength = std::min(static_cast<size_t>(at - buffer), sizeof typeText - 1);
    std::memcpy(typeText, buffer, typeLength);
    typeText[typeLength] = '\0';
    const int type = std::atoi(typeText);
    const char* payload = at + 1;

    LUMIMessage msg(target, MSG_PEL_NOTIFY, type);
    if (type == 3) {
        msg.param2 = std::atoi(payload);
    } else {
        // The receiving window owns the copy and frees it.
        msg.data = strdup(payload);
    }
    app->addMsg(msg);
}
