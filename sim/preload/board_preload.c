/*
 * The virtual board's preload library: loaded into the program (and every
 * program it starts) so that the program's fixed paths reach the board.
 *
 * - Device nodes the board emulates (/dev/fb0, /dev/input/eventN, ...) are
 *   opened by the board, which hands back a real descriptor (a memfd for the
 *   frame buffer, a socket pair for an evdev node), so read, write, poll,
 *   epoll, mmap and close work on them without this library. Their ioctls
 *   are sent to the board. A node is recognised by the inode of its
 *   descriptor, which survives dup and fork and never matches a reused number.
 * - Nodes whose memory the board lays out (a capture node's buffers, the
 *   physical memory of /dev/mem) are mapped by asking the board, which
 *   passes the memory file to map instead; every other mmap goes straight to
 *   the C library.
 * - An AF_NETLINK uevent socket is a datagram socket pair whose other end is
 *   the board; bind and the sender's address are answered here.
 * - system and popen are reported to the board (it records what the program
 *   ran); the commands the board stands in for are reached through execve.
 * - Without bubblewrap (UISHULL_BOARD_ROOT set) every path the program
 *   touches is redirected into the run directory: /tmp and /data to their own
 *   directories, and writes anywhere else to RUNDIR/root.
 *
 * Environment: UISHULL_BOARD_SOCKET (the board's device socket),
 * UISHULL_BOARD_DEVDIR (the board's picture of /dev/input),
 * UISHULL_BOARD_BIN (the stand-in commands), UISHULL_BOARD_ROOT (set when the
 * library alone confines the program).
 *
 * Built for x86_64 and armhf; loaded through $LIB so that each program gets
 * the library of its own architecture.
 */

/* The wrappers must define the plain symbols: no 64-bit renaming, no fortified inline versions. */
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#define _GNU_SOURCE
#include "board_protocol.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/input.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

/* Callers break the libc prototypes' promises now and then; the checks for NULL stay. */
#pragma GCC diagnostic ignored "-Wnonnull-compare"

#if defined(__x86_64__)
#define THIS_ARCH BOARD_ARCH_X86_64
#elif defined(__arm__)
#define THIS_ARCH BOARD_ARCH_ARMHF
#else
#error "the board's preload library is built for x86_64 and armhf"
#endif

/* ---- the next definition of a symbol (the C library's) ---- */

static void* next_symbol(void** cache, const char* name)
{
    void* fn = __atomic_load_n(cache, __ATOMIC_ACQUIRE);
    if (!fn) {
        fn = dlsym(RTLD_NEXT, name);
        __atomic_store_n(cache, fn, __ATOMIC_RELEASE);
    }
    return fn;
}

#define NEXT(type, name)                                                                                     \
    static void* cache_##name = NULL;                                                                        \
    type real_##name = (type)next_symbol(&cache_##name, #name)

typedef int (*open_fn)(const char*, int, ...);
typedef int (*openat_fn)(int, const char*, int, ...);
typedef int (*ioctl_fn)(int, unsigned long, ...);
typedef void* (*mmap_fn)(void*, size_t, int, int, int, off_t);
typedef void* (*mmap64_fn)(void*, size_t, int, int, int, off64_t);
typedef int (*socket_fn)(int, int, int);
typedef int (*connect_fn)(int, const struct sockaddr*, socklen_t);
typedef ssize_t (*sendto_fn)(int, const void*, size_t, int, const struct sockaddr*, socklen_t);
typedef ssize_t (*recvfrom_fn)(int, void*, size_t, int, struct sockaddr*, socklen_t*);
typedef ssize_t (*recvmsg_fn)(int, struct msghdr*, int);
typedef FILE* (*fopen_fn)(const char*, const char*);
typedef FILE* (*freopen_fn)(const char*, const char*, FILE*);
typedef DIR* (*opendir_fn)(const char*);
typedef int (*path_fn)(const char*);
typedef int (*path_mode_fn)(const char*, mode_t);
typedef int (*path_int_fn)(const char*, int);
typedef int (*path2_fn)(const char*, const char*);
typedef int (*at_path_int_fn)(int, const char*, int);
typedef int (*at_path_mode_fn)(int, const char*, mode_t);
typedef int (*at2_fn)(int, const char*, int, const char*);
typedef int (*stat_fn)(const char*, struct stat*);
typedef int (*stat64_fn)(const char*, struct stat64*);
typedef int (*fstatat_fn)(int, const char*, struct stat*, int);
typedef int (*fstatat64_fn)(int, const char*, struct stat64*, int);
typedef int (*truncate_fn)(const char*, off_t);
typedef int (*truncate64_fn)(const char*, off64_t);
typedef int (*system_fn)(const char*);
typedef FILE* (*popen_fn)(const char*, const char*);
typedef int (*execve_fn)(const char*, char* const[], char* const[]);
typedef int (*execvp_fn)(const char*, char* const[]);
typedef int (*execvpe_fn)(const char*, char* const[], char* const[]);
typedef int (*scandir_fn)(const char*, struct dirent***, int (*)(const struct dirent*),
    int (*)(const struct dirent**, const struct dirent**));

/* ---- the connection to the board, one per process ---- */

static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static int g_conn = -1;
static pid_t g_connPid = 0;

static int send_all_request(int fd, const struct board_request* req, const void* payload)
{
    char buf[sizeof *req + BOARD_MAX_PAYLOAD];
    if (req->len > BOARD_MAX_PAYLOAD)
        return -1;
    memcpy(buf, req, sizeof *req);
    if (req->len)
        memcpy(buf + sizeof *req, payload, req->len);
    ssize_t n;
    do
        n = send(fd, buf, sizeof *req + req->len, MSG_NOSIGNAL);
    while (n < 0 && errno == EINTR);
    return n == (ssize_t)(sizeof *req + req->len) ? 0 : -1;
}

/* Receives an answer, its payload (at most cap bytes) and a passed descriptor (or -1). */
static int receive_answer(int fd, struct board_answer* ans, void* payload, size_t cap, int* passed)
{
    char buf[sizeof *ans + BOARD_MAX_PAYLOAD];
    char control[CMSG_SPACE(sizeof(int))];
    struct iovec iov = { buf, sizeof buf };
    struct msghdr msg;
    memset(&msg, 0, sizeof msg);
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    *passed = -1;
    NEXT(recvmsg_fn, recvmsg);
    ssize_t n;
    do
        n = real_recvmsg(fd, &msg, MSG_CMSG_CLOEXEC);
    while (n < 0 && errno == EINTR);
    for (struct cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_RIGHTS)
            memcpy(passed, CMSG_DATA(c), sizeof(int));
    }
    if (n < (ssize_t)sizeof *ans) {
        if (*passed >= 0)
            close(*passed);
        *passed = -1;
        return -1;
    }
    memcpy(ans, buf, sizeof *ans);
    size_t len = ans->len;
    if (len > (size_t)n - sizeof *ans)
        len = (size_t)n - sizeof *ans;
    if (len > cap)
        len = cap;
    if (payload && len)
        memcpy(payload, buf + sizeof *ans, len);
    ans->len = (uint32_t)len;
    return 0;
}

static int connect_board(void)
{
    NEXT(socket_fn, socket);
    NEXT(connect_fn, connect);
    int fd = board_connect(real_socket, real_connect);
    if (fd < 0)
        return -1;
    struct board_request hello;
    memset(&hello, 0, sizeof hello);
    hello.op = BOARD_OP_HELLO;
    hello.request = THIS_ARCH;
    hello.handle = (int32_t)getpid();
    struct board_answer ans;
    int passed;
    if (send_all_request(fd, &hello, NULL) != 0 || receive_answer(fd, &ans, NULL, 0, &passed) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

/* One request and its answer; -1 with errno when the board cannot be reached. */
static int board_call(const struct board_request* req, const void* payload, struct board_answer* ans,
    void* out, size_t cap, int* passed)
{
    int saved = errno;
    pthread_mutex_lock(&g_lock);
    if (g_conn >= 0 && g_connPid != getpid()) {
        /* A forked child shares its parent's connection; it needs its own. */
        close(g_conn);
        g_conn = -1;
    }
    if (g_conn < 0) {
        g_conn = connect_board();
        g_connPid = getpid();
    }
    int rc = -1;
    if (g_conn >= 0 && send_all_request(g_conn, req, payload) == 0
        && receive_answer(g_conn, ans, out, cap, passed) == 0)
        rc = 0;
    if (rc != 0 && g_conn >= 0) {
        close(g_conn);
        g_conn = -1;
    }
    pthread_mutex_unlock(&g_lock);
    errno = rc == 0 ? saved : EIO;
    return rc;
}

/* ---- emulated nodes, by inode ---- */

enum { kMaxNodes = 256 };

struct node {
    dev_t dev;
    ino_t ino;
    int handle;
    int kind;
};

static struct node g_nodes[kMaxNodes];
static int g_nodeCount = 0;
static int g_nextSlot = 0;

static void remember_node(int fd, int handle, int kind)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return;
    pthread_mutex_lock(&g_lock);
    int slot = -1;
    for (int i = 0; i < g_nodeCount && slot < 0; ++i) {
        if (g_nodes[i].dev == st.st_dev && g_nodes[i].ino == st.st_ino)
            slot = i;
    }
    if (slot < 0) {
        if (g_nodeCount < kMaxNodes) {
            slot = g_nodeCount++;
        } else {
            /* Oldest first: a program keeps few nodes open at a time. */
            slot = g_nextSlot;
            g_nextSlot = (g_nextSlot + 1) % kMaxNodes;
        }
    }
    g_nodes[slot].dev = st.st_dev;
    g_nodes[slot].ino = st.st_ino;
    g_nodes[slot].handle = handle;
    g_nodes[slot].kind = kind;
    pthread_mutex_unlock(&g_lock);
}

/* The board's node behind fd: its handle, or -1. */
static int find_node(int fd, int* kind)
{
    if (fd < 0 || __atomic_load_n(&g_nodeCount, __ATOMIC_RELAXED) == 0)
        return -1;
    struct stat st;
    if (fstat(fd, &st) != 0)
        return -1;
    int handle = -1;
    pthread_mutex_lock(&g_lock);
    for (int i = 0; i < g_nodeCount && handle < 0; ++i) {
        if (g_nodes[i].dev == st.st_dev && g_nodes[i].ino == st.st_ino) {
            handle = g_nodes[i].handle;
            if (kind)
                *kind = g_nodes[i].kind;
        }
    }
    pthread_mutex_unlock(&g_lock);
    return handle;
}

static void forget_node(int handle)
{
    pthread_mutex_lock(&g_lock);
    for (int i = 0; i < g_nodeCount; ++i) {
        if (g_nodes[i].handle == handle)
            g_nodes[i].ino = 0;
    }
    pthread_mutex_unlock(&g_lock);
}

/* ---- paths ---- */

static int starts_with_dir(const char* path, const char* dir)
{
    size_t n = strlen(dir);
    return strncmp(path, dir, n) == 0 && (path[n] == '\0' || path[n] == '/');
}

/* Device nodes that are harmless on any machine and need no model. */
static int is_plain_dev(const char* path)
{
    static const char* const plain[]
        = { "/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty", "/dev/ptmx",
              "/dev/pts", "/dev/shm", "/dev/fd", "/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/mqueue" };
    for (size_t i = 0; i < sizeof plain / sizeof plain[0]; ++i) {
        if (starts_with_dir(path, plain[i]))
            return 1;
    }
    return 0;
}

/* The proc and sys files of the device's own drivers that the board's models
 * answer for: the host's (where they exist at all) are never read or written. */
static int is_board_file(const char* path)
{
    static const char* const files[] = { "/proc/partitions", "/proc/mtd", "/proc/batt_config",
        "/proc/gsensor_config", "/sys/class/timed_output/vibrator/enable" };
    for (size_t i = 0; i < sizeof files / sizeof files[0]; ++i) {
        if (strcmp(path, files[i]) == 0)
            return 1;
    }
    return 0;
}

/* Paths the board decides about: every device node but the plain ones, and
 * the drivers' proc and sys files. */
static int is_board_dev(const char* path)
{
    if (!path || !getenv("UISHULL_BOARD_SOCKET"))
        return 0;
    if (is_board_file(path))
        return 1;
    return starts_with_dir(path, "/dev") && strcmp(path, "/dev") != 0 && strcmp(path, "/dev/input") != 0
        && !is_plain_dev(path);
}

/* Lexically resolves "." and ".." of an absolute path into out (PATH_MAX). */
static int normalise(const char* path, char* out, size_t cap)
{
    size_t len = 0;
    const char* p = path;
    out[0] = '\0';
    while (*p) {
        while (*p == '/')
            ++p;
        if (!*p)
            break;
        const char* end = strchr(p, '/');
        size_t n = end ? (size_t)(end - p) : strlen(p);
        if (n == 1 && p[0] == '.') {
        } else if (n == 2 && p[0] == '.' && p[1] == '.') {
            while (len > 0 && out[len - 1] != '/')
                --len;
            if (len > 0)
                --len;
            out[len] = '\0';
        } else {
            if (len + 1 + n + 1 > cap)
                return -1;
            out[len++] = '/';
            memcpy(out + len, p, n);
            len += n;
            out[len] = '\0';
        }
        p += n;
    }
    if (len == 0) {
        if (cap < 2)
            return -1;
        strcpy(out, "/");
    }
    return 0;
}

static int join(char* out, size_t cap, const char* a, const char* b)
{
    int n = snprintf(out, cap, "%s%s", a, b);
    return n < 0 || (size_t)n >= cap ? -1 : 0;
}

/* Creates the parent directories of path (inside the run directory only). */
static void make_parents(const char* path, const char* root)
{
    char buf[PATH_MAX];
    if (strlen(path) >= sizeof buf)
        return;
    strcpy(buf, path);
    NEXT(path_mode_fn, mkdir);
    for (char* s = buf + strlen(root) + 1; (s = strchr(s, '/')); ++s) {
        *s = '\0';
        real_mkdir(buf, 0755);
        *s = '/';
    }
}

/*
 * Where the program's path really is. Returns path itself when nothing
 * changes, else buf. write: the call may create or change the file.
 */
static const char* redirect(const char* path, int write, char* buf, size_t cap)
{
    if (!path)
        return path;
    const char* devdir = getenv("UISHULL_BOARD_DEVDIR");
    if (devdir && *devdir && !write && strcmp(path, "/dev/input") == 0)
        return devdir;
    const char* root = getenv("UISHULL_BOARD_ROOT");
    if (!root || !*root)
        return path;

    char abs[PATH_MAX];
    if (path[0] != '/') {
        if (!write)
            return path; /* relative reads stay in the working directory */
        char cwd[PATH_MAX];
        if (!getcwd(cwd, sizeof cwd) || snprintf(abs, sizeof abs, "%s/%s", cwd, path) >= (int)sizeof abs)
            return path;
    } else if (strlen(path) >= sizeof abs) {
        return path;
    } else {
        strcpy(abs, path);
    }
    char norm[PATH_MAX];
    if (normalise(abs, norm, sizeof norm) != 0)
        return path;
    if (starts_with_dir(norm, root))
        return path;
    if (starts_with_dir(norm, "/dev") || starts_with_dir(norm, "/proc") || starts_with_dir(norm, "/sys"))
        return path;
    if (starts_with_dir(norm, "/tmp") || starts_with_dir(norm, "/data")) {
        if (join(buf, cap, root, norm) != 0)
            return path;
        if (write)
            make_parents(buf, root);
        return buf;
    }
    /* Anywhere else: the run's own copy when there is one, and every write lands there. */
    char mine[PATH_MAX];
    if (snprintf(mine, sizeof mine, "%s/root%s", root, norm) >= (int)sizeof mine)
        return path;
    struct stat st;
    NEXT(stat_fn, lstat);
    if (!write && real_lstat(mine, &st) != 0) {
        /* Top-level files the program makes (/test.wav) are the board's own even to read;
         * the host's top-level directories (/usr, /etc) stay readable. */
        if (strchr(norm + 1, '/') || real_lstat(norm, &st) == 0)
            return path;
    }
    if (write)
        make_parents(mine, root);
    if (strlen(mine) >= cap)
        return path;
    strcpy(buf, mine);
    return buf;
}

static int open_flags_write(int flags)
{
    return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC));
}

static int mode_writes(const char* mode)
{
    return mode && (strchr(mode, 'w') || strchr(mode, 'a') || strchr(mode, '+'));
}

/* ---- device nodes ---- */

/* Asks the board to open path: a descriptor, -1 with errno, or -2 for "not emulated". */
static int open_board_dev(const char* path, int flags)
{
    struct board_request req;
    memset(&req, 0, sizeof req);
    req.op = BOARD_OP_OPEN;
    req.len = (uint32_t)strlen(path) + 1;
    int acc = flags & O_ACCMODE;
    req.flags = (acc != O_WRONLY ? BOARD_OPEN_READ : 0) | (acc != O_RDONLY ? BOARD_OPEN_WRITE : 0)
        | ((flags & O_NONBLOCK) ? BOARD_OPEN_NONBLOCK : 0);
    struct board_answer ans;
    int fd;
    if (req.len > BOARD_MAX_PAYLOAD || board_call(&req, path, &ans, NULL, 0, &fd) != 0) {
        errno = ENODEV;
        return -1;
    }
    if (ans.result < 0) {
        errno = ans.error ? ans.error : ENODEV;
        return -1;
    }
    if (ans.kind == BOARD_KIND_PASS) {
        if (fd >= 0)
            close(fd);
        return -2;
    }
    if (fd < 0) {
        errno = ENODEV;
        return -1;
    }
    if (flags & O_NONBLOCK)
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    if (!(flags & O_CLOEXEC))
        fcntl(fd, F_SETFD, 0);
    remember_node(fd, ans.handle, (int)ans.kind);
    return fd;
}

static mode_t mode_arg(int flags, va_list args)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? (mode_t)va_arg(args, int) : 0;
}

/* The common part of the open family: dev nodes to the board, other paths redirected. */
#define OPEN_BODY(call_real)                                                                                 \
    if (is_board_dev(path)) {                                                                                \
        int fd = open_board_dev(path, flags);                                                                \
        if (fd != -2)                                                                                        \
            return fd;                                                                                       \
    }                                                                                                        \
    char buf[PATH_MAX];                                                                                      \
    path = redirect(path, open_flags_write(flags), buf, sizeof buf);                                         \
    return call_real;

EXPORT int open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    NEXT(open_fn, open);
    OPEN_BODY(real_open(path, flags, mode))
}

EXPORT int open64(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    NEXT(open_fn, open64);
    OPEN_BODY(real_open64(path, flags, mode))
}

EXPORT int __open_2(const char* path, int flags)
{
    NEXT(open_fn, open);
    OPEN_BODY(real_open(path, flags, 0))
}

EXPORT int __open64_2(const char* path, int flags)
{
    NEXT(open_fn, open64);
    OPEN_BODY(real_open64(path, flags, 0))
}

EXPORT int creat(const char* path, mode_t mode)
{
    return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

EXPORT int creat64(const char* path, mode_t mode)
{
    return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

/* openat with a directory descriptor: only absolute paths and AT_FDCWD are the board's business. */
#define OPENAT_BODY(call_real)                                                                               \
    if (path && (path[0] == '/' || dirfd == AT_FDCWD)) {                                                     \
        OPEN_BODY(call_real)                                                                                 \
    }                                                                                                        \
    return call_real;

EXPORT int openat(int dirfd, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    NEXT(openat_fn, openat);
    OPENAT_BODY(real_openat(dirfd, path, flags, mode))
}

EXPORT int openat64(int dirfd, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    NEXT(openat_fn, openat64);
    OPENAT_BODY(real_openat64(dirfd, path, flags, mode))
}

EXPORT int __openat_2(int dirfd, const char* path, int flags)
{
    NEXT(openat_fn, openat);
    OPENAT_BODY(real_openat(dirfd, path, flags, 0))
}

EXPORT int __openat64_2(int dirfd, const char* path, int flags)
{
    NEXT(openat_fn, openat64);
    OPENAT_BODY(real_openat64(dirfd, path, flags, 0))
}

/* fopen reaches open through an internal call this library never sees. */
static int fopen_flags(const char* mode)
{
    int flags = O_RDONLY;
    if (mode[0] == 'w')
        flags = O_WRONLY | O_CREAT | O_TRUNC;
    else if (mode[0] == 'a')
        flags = O_WRONLY | O_CREAT | O_APPEND;
    if (strchr(mode, '+'))
        flags = (flags & ~O_ACCMODE) | O_RDWR;
    if (strchr(mode, 'e'))
        flags |= O_CLOEXEC;
    return flags;
}

static FILE* fopen_common(const char* path, const char* mode, fopen_fn real)
{
    if (!path || !mode || !real) {
        errno = EINVAL;
        return NULL;
    }
    if (is_board_dev(path)) {
        int fd = open_board_dev(path, fopen_flags(mode));
        if (fd >= 0) {
            FILE* f = fdopen(fd, mode);
            if (!f)
                close(fd);
            return f;
        }
        if (fd == -1)
            return NULL;
    }
    char buf[PATH_MAX];
    return real(redirect(path, mode_writes(mode), buf, sizeof buf), mode);
}

EXPORT FILE* fopen(const char* path, const char* mode)
{
    NEXT(fopen_fn, fopen);
    return fopen_common(path, mode, real_fopen);
}

EXPORT FILE* fopen64(const char* path, const char* mode)
{
    NEXT(fopen_fn, fopen64);
    return fopen_common(path, mode, real_fopen64);
}

EXPORT FILE* freopen(const char* path, const char* mode, FILE* stream)
{
    NEXT(freopen_fn, freopen);
    char buf[PATH_MAX];
    return real_freopen(path ? redirect(path, mode_writes(mode), buf, sizeof buf) : NULL, mode, stream);
}

EXPORT FILE* freopen64(const char* path, const char* mode, FILE* stream)
{
    NEXT(freopen_fn, freopen64);
    char buf[PATH_MAX];
    return real_freopen64(path ? redirect(path, mode_writes(mode), buf, sizeof buf) : NULL, mode, stream);
}

EXPORT DIR* opendir(const char* path)
{
    NEXT(opendir_fn, opendir);
    char buf[PATH_MAX];
    return real_opendir(redirect(path, 0, buf, sizeof buf));
}

EXPORT int scandir(const char* path, struct dirent*** list, int (*filter)(const struct dirent*),
    int (*compare)(const struct dirent**, const struct dirent**))
{
    NEXT(scandir_fn, scandir);
    char buf[PATH_MAX];
    return real_scandir(redirect(path, 0, buf, sizeof buf), list, filter, compare);
}

/* ---- the stat family: an emulated node exists as a character device ---- */

/* Major and minor numbers of a node in the board's /dev/input picture, or of the frame buffer. */
static int dev_node_numbers(const char* path, unsigned* major, unsigned* minor)
{
    if (!path || !getenv("UISHULL_BOARD_SOCKET"))
        return -1;
    if (strcmp(path, "/dev/fb0") == 0) {
        *major = 29;
        *minor = 0;
        return 0;
    }
    unsigned n;
    char tail;
    if (sscanf(path, "/dev/input/event%u%c", &n, &tail) == 1 && n < 32) {
        const char* devdir = getenv("UISHULL_BOARD_DEVDIR");
        char mirror[PATH_MAX];
        struct stat st;
        NEXT(stat_fn, stat);
        if (!devdir || snprintf(mirror, sizeof mirror, "%s/event%u", devdir, n) >= (int)sizeof mirror
            || real_stat(mirror, &st) != 0)
            return -1;
        *major = 13;
        *minor = 64 + n;
        return 0;
    }
    return -1;
}

#define STAT_BODY(statbuf, call_real)                                                                        \
    if (is_board_dev(path)) {                                                                                \
        unsigned major, minor;                                                                               \
        if (dev_node_numbers(path, &major, &minor) == 0) {                                                   \
            memset(statbuf, 0, sizeof *statbuf);                                                             \
            (statbuf)->st_mode = S_IFCHR | 0660;                                                             \
            (statbuf)->st_rdev = makedev(major, minor);                                                      \
            (statbuf)->st_nlink = 1;                                                                         \
            return 0;                                                                                        \
        }                                                                                                    \
    }                                                                                                        \
    char buf[PATH_MAX];                                                                                      \
    path = redirect(path, 0, buf, sizeof buf);                                                               \
    return call_real;

EXPORT int stat(const char* path, struct stat* st)
{
    NEXT(stat_fn, stat);
    STAT_BODY(st, real_stat(path, st))
}

EXPORT int lstat(const char* path, struct stat* st)
{
    NEXT(stat_fn, lstat);
    STAT_BODY(st, real_lstat(path, st))
}

EXPORT int stat64(const char* path, struct stat64* st)
{
    NEXT(stat64_fn, stat64);
    STAT_BODY(st, real_stat64(path, st))
}

EXPORT int lstat64(const char* path, struct stat64* st)
{
    NEXT(stat64_fn, lstat64);
    STAT_BODY(st, real_lstat64(path, st))
}

EXPORT int fstatat(int dirfd, const char* path, struct stat* st, int flags)
{
    NEXT(fstatat_fn, fstatat);
    if (path && (path[0] == '/' || dirfd == AT_FDCWD) && *path) {
        STAT_BODY(st, real_fstatat(dirfd, path, st, flags))
    }
    return real_fstatat(dirfd, path, st, flags);
}

EXPORT int fstatat64(int dirfd, const char* path, struct stat64* st, int flags)
{
    NEXT(fstatat64_fn, fstatat64);
    if (path && (path[0] == '/' || dirfd == AT_FDCWD) && *path) {
        STAT_BODY(st, real_fstatat64(dirfd, path, st, flags))
    }
    return real_fstatat64(dirfd, path, st, flags);
}

EXPORT int statx(int dirfd, const char* path, int flags, unsigned mask, struct statx* st)
{
    typedef int (*statx_fn)(int, const char*, int, unsigned, struct statx*);
    NEXT(statx_fn, statx);
    char buf[PATH_MAX];
    if (path && *path && (path[0] == '/' || dirfd == AT_FDCWD))
        path = redirect(path, 0, buf, sizeof buf);
    return real_statx(dirfd, path, flags, mask, st);
}

EXPORT int access(const char* path, int mode)
{
    NEXT(path_int_fn, access);
    unsigned major, minor;
    if (is_board_dev(path) && dev_node_numbers(path, &major, &minor) == 0)
        return 0;
    char buf[PATH_MAX];
    return real_access(redirect(path, 0, buf, sizeof buf), mode);
}

/* ---- calls that change the file system ---- */

EXPORT int unlink(const char* path)
{
    NEXT(path_fn, unlink);
    char buf[PATH_MAX];
    return real_unlink(redirect(path, 1, buf, sizeof buf));
}

EXPORT int remove(const char* path)
{
    NEXT(path_fn, remove);
    char buf[PATH_MAX];
    return real_remove(redirect(path, 1, buf, sizeof buf));
}

EXPORT int rmdir(const char* path)
{
    NEXT(path_fn, rmdir);
    char buf[PATH_MAX];
    return real_rmdir(redirect(path, 1, buf, sizeof buf));
}

EXPORT int mkdir(const char* path, mode_t mode)
{
    NEXT(path_mode_fn, mkdir);
    char buf[PATH_MAX];
    return real_mkdir(redirect(path, 1, buf, sizeof buf), mode);
}

EXPORT int chdir(const char* path)
{
    NEXT(path_fn, chdir);
    char buf[PATH_MAX];
    return real_chdir(redirect(path, 0, buf, sizeof buf));
}

EXPORT int rename(const char* from, const char* to)
{
    NEXT(path2_fn, rename);
    char a[PATH_MAX];
    char b[PATH_MAX];
    return real_rename(redirect(from, 1, a, sizeof a), redirect(to, 1, b, sizeof b));
}

EXPORT int truncate(const char* path, off_t length)
{
    NEXT(truncate_fn, truncate);
    char buf[PATH_MAX];
    return real_truncate(redirect(path, 1, buf, sizeof buf), length);
}

EXPORT int truncate64(const char* path, off64_t length)
{
    NEXT(truncate64_fn, truncate64);
    char buf[PATH_MAX];
    return real_truncate64(redirect(path, 1, buf, sizeof buf), length);
}

EXPORT int unlinkat(int dirfd, const char* path, int flags)
{
    NEXT(at_path_int_fn, unlinkat);
    char buf[PATH_MAX];
    if (path && (path[0] == '/' || dirfd == AT_FDCWD))
        path = redirect(path, 1, buf, sizeof buf);
    return real_unlinkat(dirfd, path, flags);
}

EXPORT int mkdirat(int dirfd, const char* path, mode_t mode)
{
    NEXT(at_path_mode_fn, mkdirat);
    char buf[PATH_MAX];
    if (path && (path[0] == '/' || dirfd == AT_FDCWD))
        path = redirect(path, 1, buf, sizeof buf);
    return real_mkdirat(dirfd, path, mode);
}

EXPORT int renameat(int fromfd, const char* from, int tofd, const char* to)
{
    NEXT(at2_fn, renameat);
    char a[PATH_MAX];
    char b[PATH_MAX];
    if (from && (from[0] == '/' || fromfd == AT_FDCWD))
        from = redirect(from, 1, a, sizeof a);
    if (to && (to[0] == '/' || tofd == AT_FDCWD))
        to = redirect(to, 1, b, sizeof b);
    return real_renameat(fromfd, from, tofd, to);
}

/* ---- sockets: local socket paths, and the netlink uevent socket ---- */

/* A copy of a local address with its path redirected; addr itself when nothing changes. */
static const struct sockaddr* redirect_sockaddr(
    const struct sockaddr* addr, socklen_t* len, int write, struct sockaddr_un* out)
{
    if (!addr || *len <= offsetof(struct sockaddr_un, sun_path) || addr->sa_family != AF_UNIX)
        return addr;
    const struct sockaddr_un* un = (const struct sockaddr_un*)addr;
    size_t max = *len - offsetof(struct sockaddr_un, sun_path);
    if (max > sizeof un->sun_path)
        max = sizeof un->sun_path;
    if (max == 0 || un->sun_path[0] == '\0')
        return addr; /* abstract or unnamed */
    char path[sizeof un->sun_path + 1];
    memcpy(path, un->sun_path, max);
    path[max] = '\0';
    char buf[PATH_MAX];
    const char* where = redirect(path, write, buf, sizeof buf);
    if (where == path || strlen(where) >= sizeof out->sun_path)
        return addr;
    memset(out, 0, sizeof *out);
    out->sun_family = AF_UNIX;
    strcpy(out->sun_path, where);
    *len = (socklen_t)(offsetof(struct sockaddr_un, sun_path) + strlen(where) + 1);
    return (const struct sockaddr*)out;
}

EXPORT int socket(int domain, int type, int protocol)
{
    NEXT(socket_fn, socket);
    if (domain == AF_NETLINK && protocol == NETLINK_KOBJECT_UEVENT && getenv("UISHULL_BOARD_SOCKET")) {
        struct board_request req;
        memset(&req, 0, sizeof req);
        req.op = BOARD_OP_SOCKET;
        req.request = (uint32_t)protocol;
        struct board_answer ans;
        int fd;
        if (board_call(&req, NULL, &ans, NULL, 0, &fd) != 0 || ans.result < 0 || fd < 0) {
            if (fd >= 0)
                close(fd);
            errno = EAFNOSUPPORT;
            return -1;
        }
        if (type & SOCK_NONBLOCK)
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        if (!(type & SOCK_CLOEXEC))
            fcntl(fd, F_SETFD, 0);
        remember_node(fd, ans.handle, BOARD_KIND_NETLINK);
        return fd;
    }
    return real_socket(domain, type, protocol);
}

EXPORT int bind(int fd, const struct sockaddr* addr, socklen_t len)
{
    typedef int (*bind_fn)(int, const struct sockaddr*, socklen_t);
    NEXT(bind_fn, bind);
    int kind = -1;
    if (addr && addr->sa_family == AF_NETLINK && find_node(fd, &kind) >= 0 && kind == BOARD_KIND_NETLINK)
        return 0; /* the board's end is the kernel: every uevent reaches this socket */
    /* The address first: it changes len, and the order in which a call's
     * arguments are evaluated is unspecified. */
    struct sockaddr_un un;
    const struct sockaddr* where = redirect_sockaddr(addr, &len, 1, &un);
    return real_bind(fd, where, len);
}

EXPORT int connect(int fd, const struct sockaddr* addr, socklen_t len)
{
    NEXT(connect_fn, connect);
    struct sockaddr_un un;
    const struct sockaddr* where = redirect_sockaddr(addr, &len, 0, &un);
    return real_connect(fd, where, len);
}

EXPORT ssize_t sendto(
    int fd, const void* data, size_t size, int flags, const struct sockaddr* addr, socklen_t len)
{
    NEXT(sendto_fn, sendto);
    struct sockaddr_un un;
    const struct sockaddr* where = redirect_sockaddr(addr, &len, 0, &un);
    return real_sendto(fd, data, size, flags, where, len);
}

/* Datagrams from the board's end read as sent by the kernel: netlink, port id 0, group 1. */
static void kernel_sender(struct sockaddr* addr, socklen_t* len)
{
    if (!addr || !len)
        return;
    struct sockaddr_nl nl;
    memset(&nl, 0, sizeof nl);
    nl.nl_family = AF_NETLINK;
    nl.nl_pid = 0;
    nl.nl_groups = 1;
    socklen_t n = *len < sizeof nl ? *len : (socklen_t)sizeof nl;
    memcpy(addr, &nl, n);
    *len = sizeof nl;
}

EXPORT ssize_t recvfrom(int fd, void* data, size_t size, int flags, struct sockaddr* addr, socklen_t* len)
{
    NEXT(recvfrom_fn, recvfrom);
    int kind = -1;
    if (addr && find_node(fd, &kind) >= 0 && kind == BOARD_KIND_NETLINK) {
        ssize_t n = real_recvfrom(fd, data, size, flags, NULL, NULL);
        if (n >= 0)
            kernel_sender(addr, len);
        return n;
    }
    return real_recvfrom(fd, data, size, flags, addr, len);
}

EXPORT ssize_t recvmsg(int fd, struct msghdr* msg, int flags)
{
    NEXT(recvmsg_fn, recvmsg);
    int kind = -1;
    if (msg && msg->msg_name && find_node(fd, &kind) >= 0 && kind == BOARD_KIND_NETLINK) {
        void* name = msg->msg_name;
        socklen_t namelen = msg->msg_namelen;
        msg->msg_name = NULL;
        msg->msg_namelen = 0;
        ssize_t n = real_recvmsg(fd, msg, flags);
        msg->msg_name = name;
        msg->msg_namelen = namelen;
        if (n >= 0)
            kernel_sender((struct sockaddr*)name, &msg->msg_namelen);
        return n;
    }
    return real_recvmsg(fd, msg, flags);
}

/* ---- ioctl ---- */

/* Requests whose numbers do not give their size: the frame buffer's and the touch panel's. */
static int fb_request_shape(unsigned long request, uint32_t* size, uint32_t* flags)
{
    switch (request) {
    case FBIOGET_VSCREENINFO:
        *size = sizeof(struct fb_var_screeninfo);
        *flags = BOARD_IOCTL_OUT;
        return 0;
    case FBIOPUT_VSCREENINFO:
    case FBIOPAN_DISPLAY:
        *size = sizeof(struct fb_var_screeninfo);
        *flags = BOARD_IOCTL_IN | BOARD_IOCTL_OUT;
        return 0;
    case FBIOGET_FSCREENINFO:
        *size = sizeof(struct fb_fix_screeninfo);
        *flags = BOARD_IOCTL_OUT;
        return 0;
    case FBIOBLANK:
        *size = 0;
        *flags = BOARD_IOCTL_VALUE;
        return 0;
    /* The touch panel's calibration requests carry seven 32-bit numbers
       whatever size their numbers say. */
    case 0x40047402: /* CAL_DONE */
        *size = 28;
        *flags = BOARD_IOCTL_IN;
        return 0;
    case 0x80047403: /* RAWDATA */
        *size = 28;
        *flags = BOARD_IOCTL_IN | BOARD_IOCTL_OUT;
        return 0;
    default:
        return -1;
    }
}

/* The MII requests of a network interface carry a whole interface request
 * (the PHY's answer comes back in its union). */
static int mii_request_shape(unsigned long request, uint32_t* size, uint32_t* flags)
{
    if (request != SIOCGMIIPHY && request != SIOCGMIIREG)
        return -1;
    *size = sizeof(struct ifreq);
    *flags = BOARD_IOCTL_IN | BOARD_IOCTL_OUT;
    return 0;
}

/* The flash driver's environment requests say "read, 408 bytes", but the
 * driver reads the caller's record (the name, and a set's value) as well as
 * filling it: both ways. */
static int mtd_request_shape(unsigned long request, uint32_t* size, uint32_t* flags)
{
    if (request != 0x81984D14UL && request != 0x81984D15UL)
        return -1;
    *size = 408;
    *flags = BOARD_IOCTL_IN | BOARD_IOCTL_OUT;
    return 0;
}

static int board_ioctl(int handle, unsigned long request, void* arg)
{
    uint32_t size = _IOC_SIZE(request);
    uint32_t flags = 0;
    if (fb_request_shape(request, &size, &flags) != 0 && mii_request_shape(request, &size, &flags) != 0
        && mtd_request_shape(request, &size, &flags) != 0) {
        unsigned dir = _IOC_DIR(request);
        if (dir == _IOC_NONE || size == 0) {
            size = 0;
            flags = BOARD_IOCTL_VALUE;
        } else {
            if (dir & _IOC_WRITE)
                flags |= BOARD_IOCTL_IN;
            if (dir & _IOC_READ)
                flags |= BOARD_IOCTL_OUT;
        }
        /* Grabbing an evdev node passes its flag by value despite its number. */
        if (request == EVIOCGRAB) {
            size = 0;
            flags = BOARD_IOCTL_VALUE;
        }
    }
    if (size > BOARD_MAX_PAYLOAD) {
        errno = EINVAL;
        return -1;
    }
    if ((flags & (BOARD_IOCTL_IN | BOARD_IOCTL_OUT)) && !arg) {
        errno = EFAULT;
        return -1;
    }
    struct board_request req;
    memset(&req, 0, sizeof req);
    req.op = BOARD_OP_IOCTL;
    req.handle = handle;
    req.request = (uint32_t)request;
    req.flags = flags;
    req.arg = (uint64_t)(uintptr_t)arg;
    req.len = (flags & BOARD_IOCTL_IN) ? size : 0;
    struct board_answer ans;
    int passed;
    char out[BOARD_MAX_PAYLOAD];
    if (board_call(&req, arg, &ans, out, sizeof out, &passed) != 0) {
        errno = ENODEV;
        return -1;
    }
    if (passed >= 0)
        close(passed);
    if (ans.result < 0) {
        if (ans.error == ENODEV)
            forget_node(handle);
        errno = ans.error ? ans.error : EINVAL;
        return -1;
    }
    if ((flags & BOARD_IOCTL_OUT) && ans.len)
        memcpy(arg, out, ans.len < size ? ans.len : size);
    return ans.result;
}

/* An MII request on any socket goes to the board's model of the interface it
 * names (opened as "/dev/.board-net/NAME" for the one request), never to the
 * host's interface. */
static int board_mii_ioctl(unsigned long request, void* arg)
{
    const struct ifreq* ifr = (const struct ifreq*)arg;
    if (!ifr) {
        errno = EFAULT;
        return -1;
    }
    char name[IFNAMSIZ + 1];
    memcpy(name, ifr->ifr_name, IFNAMSIZ);
    name[IFNAMSIZ] = '\0';
    if (!name[0] || strchr(name, '/')) {
        errno = ENODEV;
        return -1;
    }
    char path[64];
    snprintf(path, sizeof path, "/dev/.board-net/%s", name);
    int nfd = open_board_dev(path, O_RDONLY | O_CLOEXEC);
    if (nfd < 0) {
        errno = ENODEV;
        return -1;
    }
    int kind = -1;
    int handle = find_node(nfd, &kind);
    int rc = -1;
    if (handle >= 0) {
        rc = board_ioctl(handle, request, arg);
    } else {
        errno = ENODEV;
    }
    int saved = errno;
    close(nfd);
    errno = saved;
    return rc;
}

/* A capture node is readable while frames wait: the board sends one packet a
 * finished frame, and a dequeued frame takes its packet away. Stopping the
 * stream drops the frames that were waiting. */
static void video_readiness(int fd, unsigned long request, int rc)
{
    if (rc != 0 || _IOC_TYPE(request) != 'V')
        return;
    char packet;
    if (_IOC_NR(request) == 17) /* VIDIOC_DQBUF */
        (void)recv(fd, &packet, 1, MSG_DONTWAIT);
    else if (_IOC_NR(request) == 19) /* VIDIOC_STREAMOFF */
        while (recv(fd, &packet, 1, MSG_DONTWAIT) >= 0) {
        }
}

static int ioctl_common(int fd, unsigned long request, void* arg, ioctl_fn real)
{
    int kind = -1;
    int handle = find_node(fd, &kind);
    if (handle >= 0 && kind == BOARD_KIND_VIDEO) {
        int saved;
        int rc = board_ioctl(handle, request, arg);
        saved = errno;
        video_readiness(fd, request, rc);
        errno = saved;
        return rc;
    }
    if (handle >= 0 && kind != BOARD_KIND_NETLINK)
        return board_ioctl(handle, request, arg);
    if ((request == SIOCGMIIPHY || request == SIOCGMIIREG) && getenv("UISHULL_BOARD_SOCKET"))
        return board_mii_ioctl(request, arg);
    if (!real) {
        errno = ENOSYS;
        return -1;
    }
    return real(fd, request, arg);
}

EXPORT int ioctl(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    NEXT(ioctl_fn, ioctl);
    return ioctl_common(fd, request, arg, real_ioctl);
}

/* The 64-bit time entry of 32-bit programs built with 64-bit time_t. */
EXPORT int __ioctl_time64(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    NEXT(ioctl_fn, __ioctl_time64);
    if (!real___ioctl_time64) {
        NEXT(ioctl_fn, ioctl);
        return ioctl_common(fd, request, arg, real_ioctl);
    }
    return ioctl_common(fd, request, arg, real___ioctl_time64);
}

/* ---- mmap ---- */

/* Maps a board node's memory: the board names the memory file and the offset
 * in it, or refuses the mapping as the driver would. */
static void* board_mmap(int handle, void* addr, size_t len, int prot, int flags, uint64_t offset)
{
    if (len == 0 || len != (size_t)(uint32_t)len) {
        errno = EINVAL;
        return MAP_FAILED;
    }
    struct board_request req;
    memset(&req, 0, sizeof req);
    req.op = BOARD_OP_MMAP;
    req.handle = handle;
    req.request = (uint32_t)len;
    req.arg = offset;
    struct board_answer ans;
    unsigned char at[8];
    int fd;
    if (board_call(&req, NULL, &ans, at, sizeof at, &fd) != 0) {
        errno = ENODEV;
        return MAP_FAILED;
    }
    if (ans.result < 0 || fd < 0 || ans.len != sizeof at) {
        if (fd >= 0)
            close(fd);
        errno = ans.result < 0 && ans.error ? ans.error : ENODEV;
        return MAP_FAILED;
    }
    uint64_t where = 0;
    for (int i = 7; i >= 0; --i)
        where = (where << 8) | at[i];
    NEXT(mmap64_fn, mmap64);
    void* p = real_mmap64 ? real_mmap64(addr, len, prot, flags, fd, (off64_t)where) : MAP_FAILED;
    int saved = errno;
    close(fd);
    errno = saved;
    return p;
}

/* The board's node behind a mapping's descriptor, or -1. */
static int mapped_node(int fd, int flags)
{
    if (fd < 0 || (flags & MAP_ANONYMOUS))
        return -1;
    int kind = -1;
    int handle = find_node(fd, &kind);
    return handle >= 0 && (kind == BOARD_KIND_VIDEO || kind == BOARD_KIND_MEM) ? handle : -1;
}

EXPORT void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t offset)
{
    int handle = mapped_node(fd, flags);
    if (handle >= 0) {
        /* A 32-bit off_t carries physical addresses above 2 GiB as negative numbers. */
        uint64_t at = sizeof(off_t) == 4 ? (uint64_t)(uint32_t)offset : (uint64_t)offset;
        return board_mmap(handle, addr, len, prot, flags, at);
    }
    NEXT(mmap_fn, mmap);
    return real_mmap(addr, len, prot, flags, fd, offset);
}

EXPORT void* mmap64(void* addr, size_t len, int prot, int flags, int fd, off64_t offset)
{
    int handle = mapped_node(fd, flags);
    if (handle >= 0)
        return board_mmap(handle, addr, len, prot, flags, (uint64_t)offset);
    NEXT(mmap64_fn, mmap64);
    return real_mmap64(addr, len, prot, flags, fd, offset);
}

/* ---- commands ---- */

static void report_shell(const char* command)
{
    if (!command || !getenv("UISHULL_BOARD_SOCKET"))
        return;
    struct board_request req;
    memset(&req, 0, sizeof req);
    req.op = BOARD_OP_SHELL;
    size_t len = strlen(command) + 1;
    req.len = (uint32_t)(len < BOARD_MAX_PAYLOAD ? len : BOARD_MAX_PAYLOAD);
    char text[BOARD_MAX_PAYLOAD];
    memcpy(text, command, req.len);
    text[req.len - 1] = '\0';
    struct board_answer ans;
    int passed;
    if (board_call(&req, text, &ans, NULL, 0, &passed) == 0 && passed >= 0)
        close(passed);
}

/* system reaches the shell through internal calls; it is seen here by name. */
EXPORT int system(const char* command)
{
    NEXT(system_fn, system);
    report_shell(command);
    return real_system(command);
}

EXPORT FILE* popen(const char* command, const char* mode)
{
    NEXT(popen_fn, popen);
    report_shell(command);
    return real_popen(command, mode);
}

/* The stand-in for file (a command the board answers for), or file itself. */
static const char* stand_in(const char* file, char* buf, size_t cap)
{
    static const char* const names[] = { "poweroff", "reboot", "halt", "shutdown", "systemctl", "ifconfig",
        "udhcpc", "iwlist", "lsmod", "rm", "sync" };
    const char* bin = getenv("UISHULL_BOARD_BIN");
    if (!file || !bin || !*bin || starts_with_dir(file, bin))
        return file;
    const char* base = strrchr(file, '/');
    base = base ? base + 1 : file;
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        if (strcmp(base, names[i]) == 0) {
            if (snprintf(buf, cap, "%s/%s", bin, base) >= (int)cap)
                return file;
            return buf;
        }
    }
    return file;
}

EXPORT int execve(const char* path, char* const argv[], char* const envp[])
{
    NEXT(execve_fn, execve);
    char buf[PATH_MAX];
    char redirected[PATH_MAX];
    const char* target = stand_in(path, buf, sizeof buf);
    if (target == path)
        target = redirect(path, 0, redirected, sizeof redirected);
    return real_execve(target, argv, envp);
}

EXPORT int execv(const char* path, char* const argv[])
{
    return execve(path, argv, environ);
}

EXPORT int execvp(const char* file, char* const argv[])
{
    NEXT(execvp_fn, execvp);
    char buf[PATH_MAX];
    return real_execvp(stand_in(file, buf, sizeof buf), argv);
}

EXPORT int execvpe(const char* file, char* const argv[], char* const envp[])
{
    NEXT(execvpe_fn, execvpe);
    char buf[PATH_MAX];
    return real_execvpe(stand_in(file, buf, sizeof buf), argv, envp);
}
