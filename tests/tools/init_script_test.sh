#!/usr/bin/env bash
# The device's start-up script starts the program in its directory with type
# 6, or with type 7 and the update script when the update flag is there (the
# flag is removed first). Paths are the test's own; the program is a stand-in
# that writes down how it was started.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
out=$(mktemp -d "${TMPDIR:-/tmp}/uishull-init.XXXXXX")
trap 'rm -rf "$out"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

mkdir -p "$out/opt/bin"
cat >"$out/opt/bin/uishull" <<'SH'
#!/bin/sh
echo "type=$1 dir=$(pwd)" >"$UISHULL_TEST_OUT.tmp" && mv "$UISHULL_TEST_OUT.tmp" "$UISHULL_TEST_OUT"
SH
chmod +x "$out/opt/bin/uishull"
export UISHULL_DIR=$out/opt UISHULL_UPDATE_FLAG=$out/update-flag UISHULL_PIDFILE=$out/pid \
    UISHULL_LOG=$out/log UISHULL_TEST_OUT=$out/started
init=$repo/tools/uishull.init

# waitfor FILE: a bounded poll for what the started processes write.
waitfor() {
    for _ in $(seq 1 200); do
        [[ -f $1 ]] && return 0
        sleep 0.05
    done
    fail "nothing at $1"
}

[[ $(sh "$init" type) == 6 ]] || fail "no flag: type 6"
sh "$init" start >/dev/null
waitfor "$out/started"
[[ $(cat "$out/started") == "type=6 dir=$out/opt" ]] || fail "started as: $(cat "$out/started")"
rm -f "$out/started" "$out/pid"

cat >"$out/update.sh" <<SH
#!/bin/sh
echo ran >"$out/script-ran"
SH
chmod +x "$out/update.sh"
echo "$out/update.sh" >"$out/update-flag"
[[ $(sh "$init" type) == 7 ]] || fail "flag: type 7"
sh "$init" start >/dev/null
waitfor "$out/started"
waitfor "$out/script-ran"
[[ $(cat "$out/started") == "type=7 dir=$out/opt" ]] || fail "started as: $(cat "$out/started")"
[[ ! -e $out/update-flag ]] || fail "the flag is left"
sh "$init" bogus 2>/dev/null && fail "a bad command is refused"
echo "the start-up script chooses the type"
