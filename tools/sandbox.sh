#!/usr/bin/env bash
# Runs a command as the program would run on the device, but harmlessly:
# under bubblewrap with DIR as its /tmp (so /tmp/autorun_msg.dat, the screen
# file and the test-input socket land in DIR), the real poweroff, reboot and
# systemctl replaced by a stand-in that only appends its name and arguments to
# DIR/commands.log, and the X socket kept for a window. The command starts in
# DIR, its working directory (config.ini, res/).
#
# Where bubblewrap cannot run (inside a chroot, say), the command runs as it is
# in DIR with the stand-ins first on its PATH, which is where the shell looks
# for poweroff; /tmp/ in LUMI_DISPLAY and LUMI_INPUT then means DIR/, and the
# notifier socket is the machine's own /tmp/autorun_msg.dat.
#
#   sandbox.sh DIR COMMAND [ARG...]   run COMMAND so
#   sandbox.sh --works                exit 0 when bubblewrap can run here
set -euo pipefail

works() { bwrap --ro-bind / / --dev /dev true 2>/dev/null; }

if [[ ${1:-} == --works ]]; then
    works
    exit
fi
if (($# < 2)); then
    echo "usage: sandbox.sh DIR COMMAND [ARG...] | sandbox.sh --works" >&2
    exit 2
fi
dir=$(cd "$1" && pwd)
shift

names=(poweroff reboot halt shutdown systemctl)
mkdir -p "$dir/bin"
printf '#!/bin/sh\necho "$(basename "$0") $*" >> "${STAND_IN_LOG:-/tmp/commands.log}"\n' >"$dir/bin/stand-in"
chmod +x "$dir/bin/stand-in"
for name in "${names[@]}"; do
    ln -sf stand-in "$dir/bin/$name"
done

if ! works; then
    echo "sandbox.sh: bubblewrap cannot run here; running the program without a sandbox" >&2
    cd "$dir"
    export STAND_IN_LOG=$dir/commands.log PATH=$dir/bin:/usr/bin:/bin
    [[ -n ${LUMI_DISPLAY:-} ]] && export LUMI_DISPLAY=${LUMI_DISPLAY//\/tmp\//$dir/}
    [[ -n ${LUMI_INPUT:-} ]] && export LUMI_INPUT=${LUMI_INPUT//\/tmp\//$dir/}
    exec "$@"
fi

args=(--die-with-parent --ro-bind / / --dev /dev --proc /proc --bind "$dir" /tmp)
[[ -d /tmp/.X11-unix ]] && args+=(--ro-bind /tmp/.X11-unix /tmp/.X11-unix)
# A checkout (or the command itself) under /tmp would vanish under the new /tmp.
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
[[ $repo == /tmp/* ]] && args+=(--ro-bind "$repo" "$repo")
program=$(command -v "$1" || true)
if [[ $program == /tmp/* && $program != "$repo"/* ]]; then
    args+=(--ro-bind "$(dirname "$program")" "$(dirname "$program")")
fi
# The real commands, wherever a shell might find them; most are links to one
# program (systemctl), covered once.
seen=" "
for name in "${names[@]}"; do
    for d in /sbin /usr/sbin /bin /usr/bin; do
        [[ -e $d/$name ]] || continue
        real=$(readlink -f "$d/$name")
        [[ $seen == *" $real "* ]] && continue
        seen+="$real "
        args+=(--ro-bind "$dir/bin/stand-in" "$real")
    done
done
exec bwrap "${args[@]}" --chdir /tmp -- "$@"
