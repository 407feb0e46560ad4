/*
 * Test scaffolding, never shipped: an LD_PRELOAD library that lets a program
 * of the build drive its frame buffer backend on a machine without one.
 *
 * When the program opens exactly $LUMI_FBSHIM_DEVICE (a path that need not
 * exist, e.g. "/dev/fb-test"), the regular file $LUMI_FBSHIM_FILE is opened in
 * its place; the frame buffer information ioctls on that descriptor then
 * describe a frame buffer laid out in the file, and the program's ordinary mmap
 * of the descriptor maps the file. Everything else passes through untouched.
 *
 *   LUMI_FBSHIM_DEVICE   the path answered for
 *   LUMI_FBSHIM_FILE     the frame buffer memory: a regular file at least
 *                        smem_len bytes long (the test creates and sizes it)
 *   LUMI_FBSHIM_MODE     "16" (RGB565) or "32" (XRGB8888); default 16
 *   LUMI_FBSHIM_SIZE     visible WxH; default 800x480
 *   LUMI_FBSHIM_OFFSET   XxY the visible area is panned to; default 0x0
 *
 * Layout: the virtual screen is (W + X) x (H + Y) pixels; every row carries 64
 * bytes of padding after its pixels, so that a backend ignoring the pitch
 * (line_length) shows at once; smem_len = line_length * (H + Y).
 *
 * Safety: the stand-in must be a regular file (symbolic links refused), so a
 * real device can never be reached through the fake path; when the path
 * matches but the configuration is missing or wrong the open fails instead of
 * falling through to whatever the path names. Only descriptors this library
 * opened (checked by device and inode as well, in case a number is reused)
 * get the fake ioctls.
 */

/* The wrappers below must define the plain symbols: no 64-bit renaming, no fortified inline versions. */
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#define SHIM_EXPORT __attribute__((visibility("default")))

enum {
    kPadding = 64, /* bytes after each row's pixels */
    kMaxSide = 8192, /* the backend's own limit */
    kMaxFakes = 8, /* a program opens its frame buffer once; a few spare slots */
};

/* One frame buffer this library answers for. */
struct fake_fb {
    int fd; /* -1: free; -2: being filled in; otherwise published (atomic) */
    dev_t dev;
    ino_t ino;
    unsigned bpp;
    unsigned xres, yres, xoffset, yoffset;
};

/* Lock-free, so that a close from a signal handler can never deadlock: a slot
 * is claimed by moving its fd from -1 to -2, filled in, then published by
 * storing the descriptor; its other fields do not change until it is freed. */
static struct fake_fb g_fakes[kMaxFakes] = {
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
    { -1, 0, 0, 0, 0, 0, 0, 0 },
};

/* The next definition of name after this library (the C library's). */
static void* real(void** cache, const char* name)
{
    void* fn = __atomic_load_n(cache, __ATOMIC_ACQUIRE);
    if (!fn) {
        fn = dlsym(RTLD_NEXT, name);
        __atomic_store_n(cache, fn, __ATOMIC_RELEASE);
    }
    return fn;
}

typedef int (*open_fn)(const char*, int, ...);
typedef int (*openat_fn)(int, const char*, int, ...);
typedef int (*open_2_fn)(const char*, int);
typedef int (*ioctl_fn)(int, unsigned long, ...);
typedef int (*close_fn)(int);

/* Declares real_NAME, the next NAME, or fails the call with ENOSYS. */
#define REAL(type, name)                                                                                     \
    static void* cache_##name = NULL;                                                                        \
    type real_##name = (type)real(&cache_##name, #name);                                                     \
    if (!real_##name) {                                                                                      \
        errno = ENOSYS;                                                                                      \
        return -1;                                                                                           \
    }

static int is_fake_path(const char* path)
{
    const char* device = getenv("LUMI_FBSHIM_DEVICE");
    return path && device && *device && strcmp(path, device) == 0;
}

/* "AxB" with both sides in [min, kMaxSide]. */
static int parse_pair(const char* text, unsigned min, unsigned* a, unsigned* b)
{
    char* end = NULL;
    errno = 0;
    unsigned long x = strtoul(text, &end, 10);
    if (end == text || *end != 'x' || errno)
        return -1;
    const char* second = end + 1;
    unsigned long y = strtoul(second, &end, 10);
    if (end == second || *end != '\0' || errno)
        return -1;
    if (x < min || y < min || x > kMaxSide || y > kMaxSide)
        return -1;
    *a = (unsigned)x;
    *b = (unsigned)y;
    return 0;
}

static unsigned line_length(const struct fake_fb* fb)
{
    return (fb->xres + fb->xoffset) * (fb->bpp / 8) + kPadding;
}

static unsigned long long memory_size(const struct fake_fb* fb)
{
    return (unsigned long long)line_length(fb) * (fb->yres + fb->yoffset);
}

/* Opens the stand-in for the fake device path; never the path itself. */
static int open_fake(int flags)
{
    struct fake_fb fb = { -1, 0, 0, 16, 800, 480, 0, 0 };
    const char* file = getenv("LUMI_FBSHIM_FILE");
    const char* mode = getenv("LUMI_FBSHIM_MODE");
    const char* size = getenv("LUMI_FBSHIM_SIZE");
    const char* offset = getenv("LUMI_FBSHIM_OFFSET");
    if (!file || !*file) {
        errno = ENOENT;
        return -1;
    }
    if (mode && *mode) {
        if (strcmp(mode, "16") == 0)
            fb.bpp = 16;
        else if (strcmp(mode, "32") == 0)
            fb.bpp = 32;
        else {
            errno = EINVAL;
            return -1;
        }
    }
    if ((size && *size && parse_pair(size, 1, &fb.xres, &fb.yres) != 0)
        || (offset && *offset && parse_pair(offset, 0, &fb.xoffset, &fb.yoffset) != 0)
        || fb.xres + fb.xoffset > kMaxSide || fb.yres + fb.yoffset > kMaxSide) {
        errno = EINVAL;
        return -1;
    }

    REAL(open_fn, open);
    /* Only the access mode and close-on-exec are kept: no creating, truncating or following links. */
    int fd = real_open(file, (flags & (O_ACCMODE | O_CLOEXEC)) | O_NOCTTY | O_NOFOLLOW);
    if (fd < 0)
        return -1;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || (unsigned long long)st.st_size < memory_size(&fb)) {
        close(fd);
        errno = ENODEV;
        return -1;
    }
    fb.dev = st.st_dev;
    fb.ino = st.st_ino;

    for (int i = 0; i < kMaxFakes; ++i) {
        int expected = -1;
        if (__atomic_compare_exchange_n(
                &g_fakes[i].fd, &expected, -2, 0, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) {
            g_fakes[i].dev = fb.dev;
            g_fakes[i].ino = fb.ino;
            g_fakes[i].bpp = fb.bpp;
            g_fakes[i].xres = fb.xres;
            g_fakes[i].yres = fb.yres;
            g_fakes[i].xoffset = fb.xoffset;
            g_fakes[i].yoffset = fb.yoffset;
            __atomic_store_n(&g_fakes[i].fd, fd, __ATOMIC_RELEASE);
            return fd;
        }
    }
    close(fd);
    errno = EMFILE;
    return -1;
}

/* The fake frame buffer behind fd, copied out; 0 when fd is not one. */
static int find_fake(int fd, struct fake_fb* out)
{
    if (fd < 0)
        return 0;
    int found = 0;
    for (int i = 0; i < kMaxFakes && !found; ++i) {
        if (__atomic_load_n(&g_fakes[i].fd, __ATOMIC_ACQUIRE) == fd) {
            *out = g_fakes[i];
            found = 1;
        }
    }
    if (!found)
        return 0;
    /* A descriptor closed behind this library's back and reused is not the frame buffer. */
    struct stat st;
    return fstat(fd, &st) == 0 && st.st_dev == out->dev && st.st_ino == out->ino;
}

static void forget_fake(int fd)
{
    if (fd < 0)
        return;
    for (int i = 0; i < kMaxFakes; ++i) {
        int expected = fd;
        __atomic_compare_exchange_n(&g_fakes[i].fd, &expected, -1, 0, __ATOMIC_RELEASE, __ATOMIC_RELAXED);
    }
}

static void describe_var(const struct fake_fb* fb, struct fb_var_screeninfo* var)
{
    memset(var, 0, sizeof *var);
    var->xres = fb->xres;
    var->yres = fb->yres;
    var->xres_virtual = fb->xres + fb->xoffset;
    var->yres_virtual = fb->yres + fb->yoffset;
    var->xoffset = fb->xoffset;
    var->yoffset = fb->yoffset;
    var->bits_per_pixel = fb->bpp;
    if (fb->bpp == 16) {
        var->red = (struct fb_bitfield) { 11, 5, 0 };
        var->green = (struct fb_bitfield) { 5, 6, 0 };
        var->blue = (struct fb_bitfield) { 0, 5, 0 };
    } else {
        var->red = (struct fb_bitfield) { 16, 8, 0 };
        var->green = (struct fb_bitfield) { 8, 8, 0 };
        var->blue = (struct fb_bitfield) { 0, 8, 0 };
    }
    var->height = (unsigned)-1; /* physical size unknown */
    var->width = (unsigned)-1;
}

static void describe_fix(const struct fake_fb* fb, struct fb_fix_screeninfo* fix)
{
    memset(fix, 0, sizeof *fix);
    snprintf(fix->id, sizeof fix->id, "lumi-fbshim");
    fix->smem_start = 0;
    fix->smem_len = (unsigned)memory_size(fb);
    fix->type = FB_TYPE_PACKED_PIXELS;
    fix->visual = FB_VISUAL_TRUECOLOR;
    fix->line_length = line_length(fb);
}

/* open and its relatives: the mode argument exists only with O_CREAT or O_TMPFILE. */
static mode_t mode_arg(int flags, va_list args)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? (mode_t)va_arg(args, int) : 0;
}

SHIM_EXPORT int open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    if (is_fake_path(path))
        return open_fake(flags);
    REAL(open_fn, open);
    return real_open(path, flags, mode);
}

SHIM_EXPORT int open64(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    if (is_fake_path(path))
        return open_fake(flags);
    REAL(open_fn, open64);
    return real_open64(path, flags, mode);
}

SHIM_EXPORT int openat(int dirfd, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    mode_t mode = mode_arg(flags, args);
    va_end(args);
    if (is_fake_path(path))
        return open_fake(flags);
    REAL(openat_fn, openat);
    return real_openat(dirfd, path, flags, mode);
}

/* The checked variants that _FORTIFY_SOURCE builds call. */
SHIM_EXPORT int __open_2(const char* path, int flags)
{
    if (is_fake_path(path))
        return open_fake(flags);
    REAL(open_2_fn, __open_2);
    return real___open_2(path, flags);
}

SHIM_EXPORT int __open64_2(const char* path, int flags)
{
    if (is_fake_path(path))
        return open_fake(flags);
    REAL(open_2_fn, __open64_2);
    return real___open64_2(path, flags);
}

SHIM_EXPORT int ioctl(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);

    struct fake_fb fb;
    if (!find_fake(fd, &fb)) {
        REAL(ioctl_fn, ioctl);
        return real_ioctl(fd, request, arg);
    }
    switch (request) {
    case FBIOGET_VSCREENINFO:
    case FBIOGET_FSCREENINFO:
        if (!arg) {
            errno = EFAULT;
            return -1;
        }
        if (request == FBIOGET_VSCREENINFO)
            describe_var(&fb, (struct fb_var_screeninfo*)arg);
        else
            describe_fix(&fb, (struct fb_fix_screeninfo*)arg);
        return 0;
    case FBIOPAN_DISPLAY:
    case FBIO_WAITFORVSYNC:
        return 0;
    default:
        errno = ENOTTY;
        return -1;
    }
}

SHIM_EXPORT int close(int fd)
{
    forget_fake(fd);
    REAL(close_fn, close);
    return real_close(fd);
}
