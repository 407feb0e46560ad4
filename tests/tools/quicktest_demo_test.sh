#!/usr/bin/env bash
# The main command's scripted operator runs the quick test on the virtual board
# to the end, acting only through the board: it answers the question (the
# keypad, then a mouse it plugs in), plugs a mouse in for the pointer test,
# presses the four keys of the key test, reads the results and the verdict off
# the screen, and saves its screenshots.
#   quicktest_demo_test.sh BUILD_DIR
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
log=$(TMPDIR=$out python3 "$repo/tools/quicktest-demo.py" "$build" "$out/shots" --seconds 60) || status=$?
echo "$log"
fail() { echo "FAIL: $*" >&2; exit 1; }
((status == 0)) || fail "the operator ended with status $status"
# The demo items pass, fail, ask (answered yes), pass, fail; run-all goes on;
# the pointer and key tests pass by the operator's hand.
for expected in "row 0 test1   pass" "row 1 test2   fail" "row 2 test2   pass" "row 3 test3   pass" \
    "row 4 test4   fail" "row 5 pointer pass" "row 6 keys    pass" "verdict: tests failed" \
    "operator: clicking 是 (yes)" "operator: the pointer test asks for a mouse; plugging a mouse in" \
    "pressing Menu, Back, VOL+ and VOL-" "poweroff requested: no" "auto run 7"; do
    grep -qF -- "$expected" <<<"$log" || fail "missing: $expected"
done
for shot in quicktest-start.png quicktest-question.png quicktest-end.png; do
    [[ $(head -c 4 "$out/shots/$shot" | tail -c 3) == PNG ]] || fail "no screenshot $shot"
done
# Nothing of the run is left behind.
leftover=$(find "$out" -mindepth 1 -maxdepth 1 -name 'quicktest-board-*')
[[ -z $leftover ]] || fail "run directory left behind: $leftover"
