/*
 * The messages between the board's preload library (and its command
 * stand-in) and the board process, over the board's device socket
 * (SOCK_SEQPACKET, one message a packet). Every field has a fixed size and
 * little-endian byte order, so that an armhf program under an emulator and the
 * x86_64 board read the same bytes; whatever depends on the program's
 * architecture (record layouts, structure sizes) the board produces for the
 * architecture the client announced in its hello.
 */
#ifndef UISHULL_BOARD_PROTOCOL_H
#define UISHULL_BOARD_PROTOCOL_H

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/* Connects a sequenced-packet socket to the board's device socket named by
 * UISHULL_BOARD_SOCKET; -1 when there is none or it does not answer. The
 * socket and connect calls are given, because the preload library must reach
 * libc's own rather than its wrappers. */
static inline int board_connect(int (*socket_call)(int, int, int),
    int (*connect_call)(int, const struct sockaddr*, socklen_t))
{
    const char* path = getenv("UISHULL_BOARD_SOCKET");
    if (!path || !*path || strlen(path) >= sizeof(((struct sockaddr_un*)0)->sun_path))
        return -1;
    int fd = socket_call(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    strcpy(addr.sun_path, path);
    if (connect_call(fd, (struct sockaddr*)&addr, sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

enum board_op {
    BOARD_OP_HELLO = 1, /* request = architecture, handle = process id */
    BOARD_OP_OPEN = 2, /* payload = path; flags = access mode | O_NONBLOCK; answer: descriptor */
    BOARD_OP_IOCTL = 3, /* handle, request, arg = integer argument; payload = bytes in */
    BOARD_OP_SOCKET = 4, /* request = protocol of an AF_NETLINK socket; answer: descriptor */
    BOARD_OP_SHELL = 5, /* payload = command line given to system or popen (recorded) */
    BOARD_OP_COMMAND = 6, /* payload = argv of a stand-in, NUL separated; answer payload = output */
    /* handle, arg = offset asked for in the node, request = length; answer: a descriptor to map
     * instead and, as payload, the 8-byte little-endian offset in it */
    BOARD_OP_MMAP = 7,
};

enum board_arch {
    BOARD_ARCH_X86_64 = 1,
    BOARD_ARCH_ARMHF = 2,
};

/* What a node the board answered for is; the library keeps it per inode. */
enum board_kind {
    BOARD_KIND_PASS = 0, /* not emulated: open the path as usual */
    BOARD_KIND_FB = 1,
    BOARD_KIND_EVDEV = 2,
    BOARD_KIND_NETLINK = 3,
    BOARD_KIND_FILE = 4, /* a driver's file the board made: a memory file or a socket pair */
    BOARD_KIND_TOUCH = 5,
    BOARD_KIND_VIDEO = 6, /* a capture node: a socket pair, readable while a frame waits to be dequeued */
    BOARD_KIND_MEM = 7, /* physical memory: its mappings are asked of the board */
};

/* Answer kinds of a stand-in command. */
enum board_command_answer {
    BOARD_COMMAND_STAND_IN = 0, /* print the output, exit with the status */
    BOARD_COMMAND_RUN = 1, /* run the real command */
};

enum {
    BOARD_MAX_PAYLOAD = 16384,
};

struct board_request {
    uint32_t op;
    uint32_t request;
    int32_t handle;
    uint32_t flags;
    uint64_t arg;
    uint32_t len; /* payload bytes after this header */
    uint32_t reserved;
};

struct board_answer {
    int32_t result; /* -1: failed with error */
    int32_t error; /* an errno value, the same numbers on both architectures */
    int32_t handle;
    uint32_t kind;
    uint32_t len; /* payload bytes after this header */
    uint32_t reserved;
};

/* Flags of BOARD_OP_OPEN, independent of the architecture's O_* values. */
enum {
    BOARD_OPEN_READ = 1,
    BOARD_OPEN_WRITE = 2,
    BOARD_OPEN_NONBLOCK = 4,
};

/* Flags of BOARD_OP_IOCTL. */
enum {
    BOARD_IOCTL_IN = 1, /* the payload holds the bytes the argument points to */
    BOARD_IOCTL_OUT = 2, /* the answer's payload is copied back through the argument */
    BOARD_IOCTL_VALUE = 4, /* the argument is an integer, not a pointer */
};

#endif
