/*
 * A small program the board tests run on the virtual board, for x86_64 and
 * armhf: it uses the device nodes, sockets, files and commands the way the
 * real program does and prints what it saw, one "key value" line at a time.
 *
 *   board-probe fb                      frame buffer queries, then draws a test picture
 *   board-probe evdev N COUNT [LED]     queries of event node N, then COUNT records read
 *                                       (LED: first writes an EV_LED record: Caps Lock on)
 *   board-probe netlink COUNT           COUNT uevents from the netlink uevent socket
 *   board-probe write PATH...           creates each PATH, reports whether it could
 *   board-probe exists PATH...          reports whether each PATH can be read
 *   board-probe system COMMAND          system(COMMAND), then its status
 *   board-probe popen COMMAND           popen(COMMAND): its output and status
 *   board-probe crash SECONDS           leaves a child sleeping (SECONDS, a unique number), then dies of
 * SIGSEGV
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/input.h>
#include <linux/netlink.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#define BIT(bits, n) (((bits)[(n) / 8] >> ((n) % 8)) & 1)

static int fb(void)
{
    int fd = open("/dev/fb0", O_RDWR);
    if (fd < 0) {
        printf("open-error %s\n", strerror(errno));
        return 1;
    }
    struct fb_var_screeninfo var;
    struct fb_fix_screeninfo fix;
    if (ioctl(fd, FBIOGET_VSCREENINFO, &var) != 0 || ioctl(fd, FBIOGET_FSCREENINFO, &fix) != 0) {
        printf("ioctl-error %s\n", strerror(errno));
        return 1;
    }
    printf("xres %u\nyres %u\nbpp %u\nred %u/%u\n", var.xres, var.yres, var.bits_per_pixel, var.red.offset,
        var.red.length);
    printf("type %u\nvisual %u\nline_length %u\nsmem_len %u\nfix_size %u\n", fix.type, fix.visual,
        fix.line_length, fix.smem_len, (unsigned)sizeof fix);
    int bad = ioctl(fd, FBIOGETCMAP, NULL) == -1 ? errno : 0;
    printf("bad-ioctl %d\n", bad);
    struct stat st;
    printf("stat-chr %d\n", stat("/dev/fb0", &st) == 0 && S_ISCHR(st.st_mode));
    /* The first row red through the mapping, the second row green through write. */
    unsigned char* map = mmap(NULL, fix.smem_len, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) {
        printf("mmap-error %s\n", strerror(errno));
        return 1;
    }
    const unsigned bytes = var.bits_per_pixel / 8;
    unsigned char red[4], green[4];
    if (bytes == 2) {
        red[0] = 0x00, red[1] = 0xf8;
        green[0] = 0xe0, green[1] = 0x07;
    } else {
        memcpy(red, "\x00\x00\xff\x00", 4);
        memcpy(green, "\x00\xff\x00\x00", 4);
    }
    for (unsigned x = 0; x < var.xres; ++x)
        memcpy(map + x * bytes, red, bytes);
    FILE* f = fopen("/dev/fb0", "wb");
    if (!f || fseek(f, fix.line_length, SEEK_SET) != 0) {
        printf("stream-error %s\n", strerror(errno));
        return 1;
    }
    for (unsigned x = 0; x < var.xres; ++x)
        fwrite(green, 1, bytes, f);
    fclose(f);
    printf("drawn 1\n");
    fflush(stdout);
    pause();
    return 0;
}

static int evdev(int n, int count, int led)
{
    char path[64];
    snprintf(path, sizeof path, "/dev/input/event%d", n);
    int fd = open(path, O_RDWR | O_NOCTTY);
    if (fd < 0) {
        printf("open-error %s\n", strerror(errno));
        return 1;
    }
    char name[64] = { 0 };
    int len = ioctl(fd, EVIOCGNAME(63), name);
    printf("name %s\nname_len %d\n", name, len);
    unsigned char ev[8] = { 0 }, keys[KEY_MAX / 8 + 1] = { 0 }, rel[8] = { 0 }, abs[8] = { 0 };
    /* Each query before its printf: arguments may be evaluated in any order. */
    int n0 = ioctl(fd, EVIOCGBIT(0, sizeof ev), ev);
    printf("ev_len %d\n", n0);
    printf("ev_key %d\nev_rel %d\nev_abs %d\nev_led %d\n", BIT(ev, EV_KEY), BIT(ev, EV_REL), BIT(ev, EV_ABS),
        BIT(ev, EV_LED));
    n0 = ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys);
    printf("key_len %d\n", n0);
    printf("key_up %d\nkey_a %d\nbtn_left %d\nbtn_touch %d\n", BIT(keys, KEY_UP), BIT(keys, KEY_A),
        BIT(keys, BTN_LEFT), BIT(keys, BTN_TOUCH));
    n0 = ioctl(fd, EVIOCGBIT(EV_REL, sizeof rel), rel);
    printf("rel_len %d\nrel_x %d\nrel_y %d\n", n0, BIT(rel, REL_X), BIT(rel, REL_Y));
    n0 = ioctl(fd, EVIOCGBIT(EV_ABS, sizeof abs), abs);
    printf("abs_len %d\nabs_mt_major %d\nabs_mt_x %d\nabs_mt_y %d\n", n0, BIT(abs, ABS_MT_TOUCH_MAJOR),
        BIT(abs, ABS_MT_POSITION_X), BIT(abs, ABS_MT_POSITION_Y));
    struct input_absinfo info;
    memset(&info, 0, sizeof info);
    if (ioctl(fd, EVIOCGABS(ABS_MT_POSITION_X), &info) == 0)
        printf("abs_x_max %d\n", info.maximum);
    else
        printf("abs_x_error %d\n", errno);
    printf("record_size %u\n", (unsigned)sizeof(struct input_event));
    if (led) {
        struct input_event e;
        memset(&e, 0, sizeof e);
        e.type = EV_LED;
        e.code = LED_CAPSL;
        e.value = 1;
        printf("led_written %d\n", (int)write(fd, &e, sizeof e));
    }
    printf("ready 1\n");
    fflush(stdout);
    int got = 0;
    while (got < count) {
        struct input_event events[64];
        ssize_t r = read(fd, events, sizeof events);
        if (r <= 0) {
            printf("read-end %zd\n", r);
            break;
        }
        if (r % sizeof(struct input_event)) {
            printf("partial-record %zd\n", r);
            break;
        }
        for (ssize_t i = 0; i < r / (ssize_t)sizeof(struct input_event); ++i) {
            if (events[i].type == EV_SYN)
                continue;
            printf("event %u %u %d\n", events[i].type, events[i].code, events[i].value);
            ++got;
        }
        fflush(stdout);
    }
    printf("done 1\n");
    return 0;
}

static int netlink(int count)
{
    int fd = socket(AF_NETLINK, SOCK_DGRAM, NETLINK_KOBJECT_UEVENT);
    if (fd < 0) {
        printf("socket-error %s\n", strerror(errno));
        return 1;
    }
    struct sockaddr_nl addr;
    memset(&addr, 0, sizeof addr);
    addr.nl_family = AF_NETLINK;
    addr.nl_pid = (unsigned)getpid();
    addr.nl_groups = 1;
    if (bind(fd, (struct sockaddr*)&addr, sizeof addr) != 0) {
        printf("bind-error %s\n", strerror(errno));
        return 1;
    }
    printf("ready 1\n");
    fflush(stdout);
    for (int i = 0; i < count; ++i) {
        char buf[2048] = { 0 };
        struct sockaddr_nl from;
        socklen_t fromLen = sizeof from;
        memset(&from, 0xff, sizeof from);
        ssize_t n = recvfrom(fd, buf, sizeof buf - 1, 0, (struct sockaddr*)&from, &fromLen);
        if (n <= 0)
            break;
        printf("uevent %s\nsender %u %u\n", buf, (unsigned)from.nl_family, (unsigned)from.nl_pid);
        /* The variables after the header, one a line. */
        for (char* p = buf + strlen(buf) + 1; p < buf + n && *p; p += strlen(p) + 1)
            printf("var %s\n", p);
        fflush(stdout);
    }
    return 0;
}

int main(int argc, char** argv)
{
    setvbuf(stdout, NULL, _IOLBF, 0);
    if (argc >= 2 && strcmp(argv[1], "fb") == 0)
        return fb();
    if (argc >= 4 && strcmp(argv[1], "evdev") == 0)
        return evdev(atoi(argv[2]), atoi(argv[3]), argc > 4);
    if (argc >= 3 && strcmp(argv[1], "netlink") == 0)
        return netlink(atoi(argv[2]));
    if (argc >= 3 && strcmp(argv[1], "write") == 0) {
        for (int i = 2; i < argc; ++i) {
            FILE* f = fopen(argv[i], "w");
            printf("write %s %s\n", argv[i], f ? "ok" : strerror(errno));
            if (f)
                fclose(f);
        }
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "exists") == 0) {
        for (int i = 2; i < argc; ++i)
            printf("exists %s %d\n", argv[i], access(argv[i], F_OK) == 0);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "system") == 0) {
        int status = system(argv[2]);
        printf("status %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "popen") == 0) {
        FILE* p = popen(argv[2], "r");
        char line[256];
        while (p && fgets(line, sizeof line, p))
            printf("output %s", line);
        int status = p ? pclose(p) : -1;
        printf("status %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "crash") == 0) {
        pid_t child = fork();
        if (child == 0) {
            /* Lives on unless the board ends it. */
            execl("/bin/sleep", "sleep", argv[2], (char*)NULL);
            _exit(1);
        }
        printf("child %d\n", child);
        fflush(stdout);
        raise(SIGSEGV);
        return 0;
    }
    fprintf(stderr, "board-probe: unknown command\n");
    return 2;
}
