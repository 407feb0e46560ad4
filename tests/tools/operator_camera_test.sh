#!/usr/bin/env bash
# The scripted operator's judgement of the camera test's picture
# (tools/operator_camera.py): the program's camera item runs on the board,
# once with the 320x240 YUYV sensor and once with the CCIR 656 sensor that the
# boot environment selects, and holds still after its ten frames; the
# operator must say yes on the board's screenshot with the board's state, and
# no on a picture that is not there: a quick-test screen without the camera,
# and the other sensor's screenshot (the picture elsewhere or of another size).
#   operator_camera_test.sh HOST_BUILD_DIR
# Exit 77 (skip) when the host build has no board or no camera probe.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
board=$build/sim/uishull-board
probe=$build/tests/sim/camera-probe
[[ -x $board && -x $probe ]] || { echo "skip: no board or camera probe in $build"; exit 77; }
out=$(mktemp -d)
pid=
cleanup() {
    [[ -n $pid ]] && kill "$pid" 2>/dev/null || true
    rm -rf "$out"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# shoot NAME SCENARIO-TEXT: the board's screenshot and state after the
# camera item's run, in $out/NAME.png and $out/NAME.json.
shoot() {
    local name=$1 dir=$out/$1
    printf '%s' "$2" >"$out/$name.ini"
    "$board" run --scenario "$out/$name.ini" --dir "$dir" -- "$probe" fb.raw 1 hold >"$out/$name.log" 2>&1 &
    pid=$!
    # The board's control socket appears once it runs (bounded poll).
    local i
    for ((i = 0; i < 600; ++i)); do
        [[ -S $dir/board.sock ]] && break
        kill -0 "$pid" 2>/dev/null || fail "$name: the board ended early: $(cat "$out/$name.log")"
        sleep 0.1
    done
    [[ -S $dir/board.sock ]] || fail "$name: the board did not start"
    "$board" ctl "$dir" wait-line copied 120 >/dev/null || fail "$name: the camera item did not finish: $(cat "$out/$name.log")"
    grep -qF "camera 2" "$out/$name.log" || fail "$name: the camera item failed: $(cat "$out/$name.log")"
    "$board" ctl "$dir" screenshot "$out/$name.png" >/dev/null || fail "$name: no screenshot"
    "$board" ctl "$dir" state >"$out/$name.json" || fail "$name: no state"
    "$board" ctl "$dir" stop >/dev/null || true
    wait "$pid" || true
    pid=
}

# judge NAME SCREENSHOT STATE yes|no
judge() {
    local name=$1 answer status=0
    answer=$(python3 "$repo/tools/operator_camera.py" "$2" "$3") || status=$?
    echo "$name: $answer"
    case $4 in
    yes) ((status == 0)) && [[ $answer == yes:* ]] || fail "$name: the operator said no on the camera's picture" ;;
    no) ((status == 1)) && [[ $answer == no:* ]] || fail "$name: the operator said yes without the picture" ;;
    esac
}

shoot yuyv $'[screen]\nbpp = 32\n[camera]\nsensor = yuyv\nrate = 50\n'
shoot ccir656 $'[screen]\nbpp = 32\n[camera]\nsensor = ccir656\nrate = 50\n[bootenv]\ncamera_chip = ccir656\n'

judge "yuyv picture" "$out/yuyv.png" "$out/yuyv.json" yes
judge "ccir656 picture" "$out/ccir656.png" "$out/ccir656.json" yes
judge "yuyv state, quick-test screen" "$repo/docs/screenshots/quicktest-start.png" "$out/yuyv.json" no
judge "ccir656 state, quick-test screen" "$repo/docs/screenshots/quicktest-end.png" "$out/ccir656.json" no
judge "yuyv state, ccir656 screen" "$out/ccir656.png" "$out/yuyv.json" no
judge "ccir656 state, yuyv screen" "$out/yuyv.png" "$out/ccir656.json" no
# The board's state says which frame was shown last: another frame's square is not the live picture.
python3 - "$out/yuyv.json" "$out/yuyv-moved.json" <<'PY'
import json, sys
state = json.load(open(sys.argv[1]))
state["camera"]["last_dequeued"] += 7
json.dump(state, open(sys.argv[2], "w"))
PY
judge "yuyv picture, later frame" "$out/yuyv.png" "$out/yuyv-moved.json" no
echo "operator_camera: all judgements right"
