#include "memfile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace board {

int memoryFile(const std::string& name, const std::string& text)
{
    const int fd = memfd_create(name.c_str(), MFD_CLOEXEC);
    if (fd < 0)
        return -1;
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n <= 0) {
            const int saved = errno;
            close(fd);
            errno = saved ? saved : EIO;
            return -1;
        }
        done += static_cast<size_t>(n);
    }
    lseek(fd, 0, SEEK_SET);
    return fd;
}

int packetPair(int* boardEnd)
{
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) != 0)
        return -1;
    fcntl(sv[0], F_SETFL, O_NONBLOCK);
    *boardEnd = sv[0];
    return sv[1];
}

bool scenarioBool(const std::string& text, bool& out)
{
    if (text == "yes" || text == "1" || text == "true") {
        out = true;
        return true;
    }
    if (text == "no" || text == "0" || text == "false") {
        out = false;
        return true;
    }
    return false;
}

}
