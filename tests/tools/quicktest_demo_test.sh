#!/usr/bin/env bash
# The main command's scripted operator runs the quick test on the virtual board
# to the end, acting only through the board, with every row the main command
# switches on: all 18 (the five demo rows, the pointer test, storage, Wi-Fi,
# touch calibration, Ethernet, camera, colour bars, audio, vibrator, g-sensor,
# charging state, keys).
#   quicktest_demo_test.sh HOST_BUILD_DIR PROGRAM MODE
# MODE:
#   touch             as the main command runs it: questions answered by touch,
#                     the crosses found on the screen and touched, a mouse plugged
#                     in when the pointer test asks, the keys pressed on the keypad
#   keys              the questions answered on the keypad instead
#   mouse             the questions answered with mouse clicks, on a board confined
#                     by its preload library alone (as where bubblewrap cannot
#                     run): nothing of the program is left outside its run
#                     directories
#   over:FILE:ROW     the faulty board FILE laid over the healthy one (as
#                     "run.sh --scenario FILE"): exactly row ROW fails besides the
#                     demo rows 2 and 5
# PROGRAM may be an armhf build's, which the board runs under qemu-arm. Exit 77
# (skip) when the host build has no board.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
program=$2
mode=$3
[[ -x $build/sim/uishull-board ]] || { echo "skip: no board in $build"; exit 77; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# The rows of tools/quicktest-config.ini, in the program's order.
rows=(test1 test2 test2 test3 test4 test_mouse test_nandflash test_USBDisk test_wifi test_calts
    test_ethernet test_camera test_lcd test_audio test_motor test_sensor test_charge test_keypress)

name=run
args=()
failing=(2 5)
shots_expected=""
case $mode in
touch) ;;
keys) args=(--answer keys) ;;
mouse)
    sed -e "s|^config = .*|config = $repo/tools/quicktest-config.ini|" -e "s|^res = .*|res = $repo/res|" \
        -e "s|^confinement = .*|confinement = preload|" "$repo/tools/quicktest-board.ini" >"$out/preload.ini"
    args=(--answer mouse --scenario "$out/preload.ini")
    ;;
over:*:*)
    rest=${mode#over:}
    args=(--over "${rest%:*}")
    failing=(2 5 "${rest##*:}")
    ;;
*) fail "unknown mode $mode" ;;
esac

mkdir -p "$out/$name"
status=0
report=$out/$name/report.jsonl
log=$(TMPDIR=$out/$name python3 "$repo/tools/quicktest-demo.py" "$build" "$out/$name/shots" \
    --program "$program" --seconds 240 --report "$report" "${args[@]}") || status=$?
echo "$log"
((status == 0)) || fail "the operator ended with status $status"

# Every row read off the screen with its result: the demo rows keep their
# built-in outcomes, the faulty board's row fails, every other row passes.
for i in "${!rows[@]}"; do
    n=$((i + 1)) expected=pass
    for f in "${failing[@]}"; do ((n == f)) && expected=fail; done
    line=$(grep -E "^row +$n " <<<"$log") || fail "no result line for row $n"
    read -r _ _ key result _ <<<"$line"
    [[ $key == "${rows[$i]}" ]] || fail "row $n is $key, not ${rows[$i]}"
    [[ $result == "$expected" ]] || fail "row $n ($key): $result, expected $expected"
done
grep -qxF "failed rows: ${failing[*]}" <<<"$log" || fail "the failed rows are not exactly ${failing[*]}"

# The run report the program wrote on the board's data partition (its
# config.ini's [report] section), copied out by the operator: each line
# whole JSON, one a row with the name and result the screen shows and the
# answers the operator gave, then the verdict.
[[ -s $report ]] || fail "no run report copied out of the board"
table=$(python3 "$repo/tests/tools/quicktest_report.py" "$report") || fail "the run report is not whole JSON lines"
expected=""
for i in "${!rows[@]}"; do
    n=$((i + 1))
    line=$(grep -E "^row +$n " <<<"$log")
    read -r _ _ _ result _ <<<"$line"
    shown=${line##* }
    answers=$({ grep -E "^operator: row $n \([^)]*\) asks; " <<<"$log" || true; } | awk '{ print $NF }' | paste -sd, -)
    expected+=$(printf 'test\t%d\t%s\t%s\t%s' "$n" "$shown" "$result" "${answers:--}")$'\n'
done
expected+=$(printf 'verdict\tfail\t%d\t%d\t0' $((${#rows[@]} - ${#failing[@]})) ${#failing[@]})
# In row order (a test that went on beside the run, the pointer test, gets its
# line at the run's end); the verdict is the last line.
[[ $(tail -n 1 <<<"$table" | cut -f1) == verdict ]] || fail "the run report does not end with the verdict"
table=$(grep -v '^verdict' <<<"$table" | sort -s -t$'\t' -k2,2n; tail -n 1 <<<"$table")
got=$(cut -f1-5 <<<"$table")
if [[ $got != "$expected" ]]; then
    diff <(echo "$expected") <(echo "$got") >&2 || true
    fail "the run report does not hold the screen's rows and the operator's answers (expected < > reported)"
fi
echo "the run report holds ${#rows[@]} rows as the screen shows them and the verdict"

# The armhf program's report agrees with the x86_64 program's row by row
# (name, row, result, the questions and answers): for an armhf program the
# host build's own program runs the same quick test with the same operator
# on the same board, in this test's directory, and the two tables must match.
if [[ $mode == touch && $(realpath "$program") != $(realpath "$build/app/uishull") ]]; then
    [[ -x $build/app/uishull ]] || fail "no x86_64 program in $build to compare with"
    mkdir -p "$out/host"
    host_status=0
    host_log=$(TMPDIR=$out/host python3 "$repo/tools/quicktest-demo.py" "$build" "$out/host/shots" \
        --program "$build/app/uishull" --seconds 240 --report "$out/host/report.jsonl") || host_status=$?
    ((host_status == 0)) || { echo "$host_log"; fail "the x86_64 run ended with status $host_status"; }
    host_table=$(python3 "$repo/tests/tools/quicktest_report.py" "$out/host/report.jsonl") \
        || fail "the x86_64 run's report is not whole JSON lines"
    host_table=$(grep -v '^verdict' <<<"$host_table" | sort -s -t$'\t' -k2,2n; tail -n 1 <<<"$host_table")
    if ! diff <(echo "$host_table") <(echo "$table") >&2; then
        fail "the armhf run's report differs from the x86_64 run's (x86_64 < > armhf)"
    fi
    echo "the run report agrees with the x86_64 run's row by row"
fi
for expected in "verdict: tests failed (测试失败!)" "poweroff requested: no" "auto run 18" \
    "operator: the key test waits; pressing Menu, Back, VOL+ and VOL- on the keypad" \
    "the five colour bars are on the screen (red 100%, green 100%, blue 100%, cyan 100%, yellow 100%): yes"; do
    grep -qF -- "$expected" <<<"$log" || fail "missing: $expected"
done
# The vibrator and the power source were judged from what the board observed
# and the screen showed (on a board without them the row fails by itself).
if [[ ${failing[2]:-} != 15 ]]; then
    grep -qF "the vibrator pulsed (5, 5 ms): yes" <<<"$log" || fail "the vibrator's pulses were not seen"
fi
if [[ ${failing[2]:-} != 17 ]]; then
    grep -qF "the screen says battery, as the board runs: yes" <<<"$log" || fail "the power source was not seen"
fi
# The camera's live picture was looked at while it streamed and its question
# answered by that look; the audio question by what the speaker played.
if [[ ${failing[2]:-} != 12 ]]; then
    grep -qE "^operator: the camera streams \([0-9]+ frames taken\); looking at the screen: the screen shows the camera's colour bars, 320x240 at 360,40, with the square of frame [0-9]+: yes$" <<<"$log" \
        || fail "the camera's picture was not seen live"
    grep -qE "^operator: row 12 \(test_camera\) asks; the screen shows the camera's colour bars.*: yes$" <<<"$log" \
        || fail "the camera question was not answered yes by the look"
    shots_expected+=" camera-picture.png"
fi
if [[ ${failing[2]:-} != 14 ]]; then
    grep -qF "operator: row 14 (test_audio) asks; the start beep, then the 3 s the microphone heard (speech) played back: yes" \
        <<<"$log" || fail "the playback was not heard as the microphone's"
fi
if [[ $mode != mouse ]]; then
    grep -qF "operator: the pointer test asks for a mouse; plugging a mouse in" <<<"$log" \
        || fail "no mouse plugged for the pointer test"
fi
crosses=$(grep -c "operator: a cross at" <<<"$log" || true)
if [[ ${failing[2]:-} != 10 ]]; then
    # The calibration: five crosses found and touched, marks drawn within two
    # pixels of where the operator aimed.
    ((crosses == 5)) || fail "$crosses crosses touched, not 5"
    marks=$(grep -oE "\(([0-9.]+) pixels off\)" <<<"$log" | grep -oE "[0-9.]+" || true)
    [[ $(wc -l <<<"$marks") -eq 3 ]] || fail "not three marks: $marks"
    while read -r d; do
        awk -v d="$d" 'BEGIN { exit !(d <= 2.0) }' || fail "a mark landed $d pixels off"
    done <<<"$marks"
    grep -qF "operator: the drawing surface closed by itself" <<<"$log" || fail "the drawing surface did not close"
    shots_expected+=" touch-drawing.png"
else
    # A worn panel: three rounds of five targets (a target that did not take
    # a touch is touched again), every fit fails, the window closes without a
    # drawing surface.
    ((crosses >= 15)) || fail "$crosses crosses touched, fewer than three rounds of 5"
    grep -qF "operator: the calibration window closed before a fit passed" <<<"$log" \
        || fail "the calibration window did not close after its third failed fit"
    ! grep -qF "operator: the drawing surface is shown" <<<"$log" || fail "a fit passed on a worn panel"
    # Once a touch on a button did nothing, the questions were answered on
    # the keypad, and every question after the calibration was answered.
    after=$(sed -n '/the calibration window closed before a fit passed/,$p' <<<"$log")
    grep -qF "operator: pressing Left and Enter on the keypad: 是 (yes)" <<<"$after" \
        || fail "no question answered on the keypad after the failed calibration"
    ! grep -qF "operator: the question stays open" <<<"$log" || fail "a question stayed open"
fi

for shot in quicktest-start.png quicktest-question.png touch-calibration.png colour-bars.png \
    key-countdown.png quicktest-end.png ${shots_expected:-}; do
    [[ $(head -c 4 "$out/$name/shots/$shot" | tail -c 3) == PNG ]] || fail "no screenshot $shot"
done
# Nothing of the run is left behind.
leftover=$(find "$out/$name" -mindepth 1 -maxdepth 1 -name 'qt-*')
[[ -z $leftover ]] || fail "run directory left behind: $leftover"

case $mode in
touch)
    grep -qF "operator: touching 是 (yes)" <<<"$log" || fail "no question answered by touch"
    ;;
keys)
    grep -qF "operator: pressing Left and Enter on the keypad: 是 (yes)" <<<"$log" || fail "no keypad answer"
    ;;
mouse)
    for expected in "operator: clicking 是 (yes)" "confinement: the preload library"; do
        grep -qF -- "$expected" <<<"$log" || fail "missing: $expected"
    done
    # Only the run's own directory (emptied) and the scenario are left.
    stray=$(find "$out" -mindepth 1 -maxdepth 1 ! -name "$name" ! -name preload.ini)
    [[ -z $stray ]] || fail "files outside the run directories: $stray"
    ;;
esac
echo "the run passed ($mode)"
