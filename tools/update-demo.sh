#!/bin/sh
# A demonstration update script: drives the update screen ("uishull 7")
# through a realistic update with uishull-notify: the title, ten steps with
# the progress moving and status lines in Chinese and English, then the end
# (the screen goes black and the program exits a second later). Nothing is
# really updated.
#
#   update-demo.sh [--delay SECONDS] [--socket PATH] [--sender PROGRAM]
#                  [--wait SECONDS] [--no-done]
#
# --delay    pause between two messages (default 0.3)
# --socket   the program's socket (default /tmp/autorun_msg.dat)
# --sender   the uishull-notify to use (default: $UISHULL_NOTIFY, then the
#            one beside this script, then build/dev/tools/, then PATH)
# --wait     how long to wait for the program's socket to appear (default 10)
# --no-done  leave the screen up at the end instead of finishing
#
# This file is UTF-8; the screen reads GBK, so every text goes out with
# --utf8. A script on the device writes GBK and sends the bytes as they are.

set -eu

delay=0.3
socket=/tmp/autorun_msg.dat
sender=${UISHULL_NOTIFY:-}
wait_seconds=10
finish=1

usage() {
    sed -n '8,16p' "$0" | sed 's/^# \{0,1\}//'
}

die() {
    echo "update-demo: $*" >&2
    exit 2
}

is_number() {
    case $1 in
    '' | . | *[!0-9.]* | *.*.*) return 1 ;;
    esac
    return 0
}

while [ $# -gt 0 ]; do
    case $1 in
    --delay)
        [ $# -ge 2 ] || die "--delay needs a value"
        is_number "$2" || die "--delay needs a number of seconds, not '$2'"
        delay=$2
        shift 2
        ;;
    --socket)
        [ $# -ge 2 ] && [ -n "$2" ] || die "--socket needs a path"
        socket=$2
        shift 2
        ;;
    --sender)
        [ $# -ge 2 ] && [ -n "$2" ] || die "--sender needs a program"
        sender=$2
        shift 2
        ;;
    --wait)
        [ $# -ge 2 ] || die "--wait needs a value"
        case $2 in '' | *[!0-9]*) die "--wait needs a whole number of seconds, not '$2'" ;; esac
        wait_seconds=$2
        shift 2
        ;;
    --no-done)
        finish=0
        shift
        ;;
    -h | --help)
        usage
        exit 0
        ;;
    *)
        usage >&2
        die "unknown argument '$1'"
        ;;
    esac
done

if [ -z "$sender" ]; then
    here=$(dirname "$0")
    for candidate in "$here/uishull-notify" "$here/../build/dev/tools/uishull-notify"; do
        if [ -x "$candidate" ]; then
            sender=$candidate
            break
        fi
    done
fi
if [ -z "$sender" ]; then
    sender=$(command -v uishull-notify || true)
fi
[ -n "$sender" ] || die "uishull-notify not found (build it, or name it with --sender)"

# The program may still be starting: wait for its socket.
tries=$((wait_seconds * 10))
while [ ! -S "$socket" ]; do
    [ "$tries" -gt 0 ] || die "no socket at $socket after $wait_seconds s (is \"uishull 7\" running?)"
    tries=$((tries - 1))
    sleep 0.1
done

notify() {
    "$sender" --socket "$socket" --utf8 "$@"
}

pause() {
    sleep "$delay"
}

# step TEXT PERCENT STATUS: a new step, with the progress and the status line.
step() {
    notify step "$1"
    notify progress "$2"
    notify status "$3"
    pause
}

notify title "系统升级 V2.1.0"
notify status "准备升级 / Preparing the update"
notify progress 0
pause

step "1. 检查升级包" 5 "Checking update.img (18.4 MB)"
step "2. 校验文件完整性" 10 "MD5 校验通过 / checksum OK"
step "3. 备份用户配置" 15 "Saving config.ini and calibration.dat"
step "4. 擦除内核分区" 20 "Erasing /dev/mtd2 ..."
step "5. 写入内核" 30 "Writing kernel: 2.6 MB"

notify step "6. 写入根文件系统"
for percent in 35 42 49 56 63 70; do
    notify progress "$percent"
    notify status "Writing rootfs: $percent %"
    pause
done

step "7. 更新应用程序" 80 "Copying files"
step "8. 恢复用户配置" 88 "恢复 config.ini / restoring settings"
step "9. 同步文件系统" 95 "sync"
step "10. 升级完成" 100 "升级成功，即将重启 / Update complete, restarting"

if [ "$finish" -eq 1 ]; then
    notify done
fi
