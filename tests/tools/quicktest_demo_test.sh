#!/usr/bin/env bash
# The main command's scripted operator runs the quick test with the demo items
# to the end: it answers the question, reads the results and the verdict off
# the screen, and saves its screenshots.
#   quicktest_demo_test.sh BUILD_DIR
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
# Without bubblewrap the program would use the machine's own /tmp.
bash "$repo/tools/sandbox.sh" --works || { echo "skip: bubblewrap cannot run here"; exit 77; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
log=$(python3 "$repo/tools/quicktest-demo.py" "$build" "$out")
echo "$log"
fail() { echo "FAIL: $*" >&2; exit 1; }
# The demo items pass, fail, ask (answered yes), pass, fail; run-all goes on.
for expected in "row 0 test1  pass" "row 1 test2  fail" "row 2 test2  pass" "row 3 test3  pass" \
    "row 4 test4  fail" "verdict: tests failed" "poweroff requested: no" "auto run 5"; do
    grep -qF "$expected" <<<"$log" || fail "missing: $expected"
done
for shot in quicktest-question.png quicktest-end.png; do
    [[ -s $out/$shot ]] || fail "no screenshot $shot"
done
