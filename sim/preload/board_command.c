/*
 * The virtual board's stand-in for the commands a program on the device runs
 * (poweroff, ifconfig, udhcpc, iwlist, lsmod, rm, sync, ...): one program,
 * linked under each command's name. It tells the board what was run; the
 * board records it and answers with the output and exit status of the
 * scenario, or lets the real command run (inside the board's confinement).
 * A real poweroff, reboot or systemctl is never run.
 */
#define _GNU_SOURCE
#include "board_protocol.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

static int connect_board(void)
{
    return board_connect(socket, connect);
}

static int call(int fd, const struct board_request* req, const void* payload, char* out, size_t cap,
    struct board_answer* ans)
{
    static char buf[sizeof(struct board_request) + BOARD_MAX_PAYLOAD];
    memcpy(buf, req, sizeof *req);
    memcpy(buf + sizeof *req, payload, req->len);
    if (send(fd, buf, sizeof *req + req->len, MSG_NOSIGNAL) != (ssize_t)(sizeof *req + req->len))
        return -1;
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n < (ssize_t)sizeof *ans)
        return -1;
    memcpy(ans, buf, sizeof *ans);
    size_t len = (size_t)n - sizeof *ans;
    if (len > ans->len)
        len = ans->len;
    if (len > cap)
        len = cap;
    memcpy(out, buf + sizeof *ans, len);
    ans->len = (uint32_t)len;
    return 0;
}

/* Runs the real command: the first file of that name on PATH outside the stand-ins' directory. */
static int run_real(const char* name, char** argv)
{
    const char* bin = getenv("UISHULL_BOARD_BIN");
    const char* path = getenv("PATH");
    char dirs[4096];
    snprintf(dirs, sizeof dirs, "%s", path && *path ? path : "/usr/bin:/bin");
    for (char *save = NULL, *dir = strtok_r(dirs, ":", &save); dir; dir = strtok_r(NULL, ":", &save)) {
        if (bin && strcmp(dir, bin) == 0)
            continue;
        char file[4096];
        if (snprintf(file, sizeof file, "%s/%s", dir, name) >= (int)sizeof file || access(file, X_OK) != 0)
            continue;
        /* Straight to the kernel: the preload library would lead back to this stand-in. */
        syscall(SYS_execve, file, argv, environ);
    }
    fprintf(stderr, "%s: not found\n", name);
    return 127;
}

int main(int argc, char** argv)
{
    (void)argc;
    const char* name = strrchr(argv[0], '/');
    name = name ? name + 1 : argv[0];
    char line[BOARD_MAX_PAYLOAD];
    size_t len = 0;
    for (int i = 0; argv[i]; ++i) {
        const char* word = i == 0 ? name : argv[i];
        size_t n = strlen(word) + 1;
        if (len + n > sizeof line)
            break;
        memcpy(line + len, word, n);
        len += n;
    }
    int fd = connect_board();
    if (fd < 0) {
        fprintf(stderr, "%s: the virtual board is not reachable; not run\n", name);
        return 1;
    }
    struct board_request req;
    memset(&req, 0, sizeof req);
    req.op = BOARD_OP_COMMAND;
    req.len = (uint32_t)len;
    struct board_answer ans;
    static char out[BOARD_MAX_PAYLOAD];
    if (call(fd, &req, line, out, sizeof out, &ans) != 0) {
        fprintf(stderr, "%s: no answer from the virtual board; not run\n", name);
        return 1;
    }
    close(fd);
    if (ans.kind == BOARD_COMMAND_RUN)
        return run_real(name, argv);
    fwrite(out, 1, ans.len, stdout);
    return ans.result & 0xff;
}
