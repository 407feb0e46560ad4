#!/usr/bin/env bash
# The main command's scripted operator runs the quick test on the virtual board
# to the end, acting only through the board, twice:
# - as the main command runs it: the question answered on the keypad (a mouse
#   plugged in and out first makes the program open the keypad), a mouse
#   plugged in when the pointer test asks for one, the four keys of the key
#   test pressed on the keypad;
# - answering with a mouse click instead, on a board confined by its preload
#   library alone (as where bubblewrap cannot run): the notifier socket and
#   every other file of the program stay in its run directory.
# Each time it must read the results and the verdict off the screen and save
# its screenshots.
#   quicktest_demo_test.sh HOST_BUILD_DIR [PROGRAM]
# PROGRAM (default: the host build's uishull) may be an armhf build's, which
# the board runs under qemu-arm. Exit 77 (skip) when the host build has no board.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
program=${2:-$build/app/uishull}
[[ -x $build/sim/uishull-board ]] || { echo "skip: no board in $build"; exit 77; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# run NAME [OPERATOR ARGS...]: the operator's output in $log.
run() {
    local name=$1 status=0
    shift
    mkdir -p "$out/$name"
    log=$(TMPDIR=$out/$name python3 "$repo/tools/quicktest-demo.py" "$build" "$out/$name/shots" \
        --program "$program" --seconds 90 "$@") \
        || status=$?
    echo "==== $name"
    echo "$log"
    ((status == 0)) || fail "$name: the operator ended with status $status"
    # The demo items pass, fail, ask (answered yes), pass, fail; run-all goes
    # on; the pointer and key tests pass by the operator's hand.
    for expected in "row 0 test1   pass" "row 1 test2   fail" "row 2 test2   pass" "row 3 test3   pass" \
        "row 4 test4   fail" "row 5 pointer pass" "row 6 keys    pass" "verdict: tests failed" \
        "pressing Menu, Back, VOL+ and VOL- on the keypad" "poweroff requested: no" "auto run 7"; do
        grep -qF -- "$expected" <<<"$log" || fail "$name: missing: $expected"
    done
    for shot in quicktest-start.png quicktest-question.png quicktest-end.png; do
        [[ $(head -c 4 "$out/$name/shots/$shot" | tail -c 3) == PNG ]] || fail "$name: no screenshot $shot"
    done
    # Nothing of the run is left behind.
    local leftover
    leftover=$(find "$out/$name" -mindepth 1 -maxdepth 1 -name 'qt-*')
    [[ -z $leftover ]] || fail "$name: run directory left behind: $leftover"
}

run keypad
for expected in "operator: pressing Left and Enter on the keypad (是, yes)" \
    "operator: the pointer test asks for a mouse; plugging a mouse in"; do
    grep -qF -- "$expected" <<<"$log" || fail "keypad: missing: $expected"
done

sed -e "s|^config = .*|config = $repo/tools/quicktest-config.ini|" -e "s|^res = .*|res = $repo/res|" \
    -e "s|^confinement = .*|confinement = preload|" "$repo/tools/quicktest-board.ini" >"$out/preload.ini"
run mouse --answer mouse --scenario "$out/preload.ini"
for expected in "operator: clicking 是 (yes)" "confinement: the preload library"; do
    grep -qF -- "$expected" <<<"$log" || fail "mouse: missing: $expected"
done
# Only the two runs' own directories (each emptied) and the scenario are left.
stray=$(find "$out" -mindepth 1 -maxdepth 1 ! -name keypad ! -name mouse ! -name preload.ini)
[[ -z $stray ]] || fail "files outside the run directories: $stray"
echo "both runs passed"
