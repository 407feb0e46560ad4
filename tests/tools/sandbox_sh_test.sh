#!/usr/bin/env bash
# tools/sandbox.sh keeps its promises, with bubblewrap and without it: the
# command's /tmp (or its rewritten /tmp paths) is the given directory, and
# poweroff only writes a line to DIR/commands.log.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

check() {
    local dir=$1 label=$2
    LUMI_DISPLAY=file:/tmp/screen.raw:8x8 bash "$repo/tools/sandbox.sh" "$dir" \
        sh -c 'poweroff now; systemctl poweroff; echo "$LUMI_DISPLAY" > display.txt; pwd > cwd.txt' \
        || fail "$label: the command failed"
    grep -qx 'poweroff now' "$dir/commands.log" || fail "$label: poweroff was not caught"
    grep -qx 'systemctl poweroff' "$dir/commands.log" || fail "$label: systemctl was not caught"
    [[ -f $dir/display.txt && -f $dir/cwd.txt ]] || fail "$label: the command did not start in DIR"
    echo "ok: $label"
}

if bash "$repo/tools/sandbox.sh" --works; then
    mkdir "$work/boxed"
    check "$work/boxed" "with bubblewrap"
    grep -qx 'file:/tmp/screen.raw:8x8' "$work/boxed/display.txt" || fail "with bubblewrap: /tmp paths changed"
else
    echo "skip: bubblewrap cannot run here"
fi

# Without bubblewrap: a bwrap that refuses, first on PATH.
mkdir -p "$work/nobwrap" "$work/plain"
printf '#!/bin/sh\nexit 1\n' >"$work/nobwrap/bwrap"
chmod +x "$work/nobwrap/bwrap"
PATH=$work/nobwrap:$PATH check "$work/plain" "without bubblewrap" 2>/dev/null
grep -qx "file:$work/plain/screen.raw:8x8" "$work/plain/display.txt" || fail "without bubblewrap: /tmp/ not rewritten"
