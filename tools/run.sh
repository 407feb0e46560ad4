#!/usr/bin/env bash
# The main command: installs what is missing, builds the "dev" preset and runs
# the quick test on the virtual board (sim/, uishull-board): the unmodified
# program draws on the board's /dev/fb0 and reads its keypad and mouse. Without
# a display a scripted operator drives it through the board only (touches,
# keypad keys, a mouse it plugs in, screenshots; README: "Quick test on the
# board"), prints each row's result and the verdict, and saves screenshots in
# docs/screenshots/ (build/run/screenshots/ for a --scenario run). With a display (DISPLAY or
# WAYLAND_DISPLAY set) the board's viewer window shows it, for a person to
# operate with the PC keys standing for the keypad (README: "The viewer").
#
# The board confines the program: its own /tmp, /data and /, no host device,
# and poweroff (the screen's power button) recorded, never run.
#
# Usage: bash tools/run.sh [--headless] [--scenario FILE] [--update] [--armhf] [--toolkit-demo]
#   --headless       the scripted operator even when a display is present
#   --scenario FILE  a faulty board (sim/scenarios/*.ini) laid over the healthy
#                    one: its devices and commands, the same rows switched on
#   --update         the update screen with the demo update script instead
#   --armhf          the armhf build of the program, under qemu-arm on the board
#   --toolkit-demo   the toolkit's example program instead
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

headless=0
armhf=0
mode=quicktest
over=
while (($#)); do
    arg=$1
    shift
    case $arg in
    --headless) headless=1 ;;
    --scenario)
        [[ $# -gt 0 && -f $1 ]] || {
            echo "run.sh: --scenario needs a board file" >&2
            exit 2
        }
        over=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
        shift
        ;;
    --update) mode=update ;;
    --toolkit-demo) mode=toolkit ;;
    --armhf) armhf=1 ;;
    -h | --help)
        sed -n '2,21p' "$0" | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    *)
        echo "run.sh: unknown argument $arg (try --help)" >&2
        exit 2
        ;;
    esac
done
if [[ -z ${DISPLAY:-} && -z ${WAYLAND_DISPLAY:-} ]]; then
    headless=1
fi

jobs=${UISHULL_JOBS:-2}
build=$repo/build/dev
outdir=$repo/build/run
# What the steps below run; a new step adds its targets here.
targets=(uishull uishull-notify lumi-demo lumi-shot uishull-board)

step() { echo "==== $* ===="; }

step "install"
bash tools/install-deps.sh </dev/null

step "build (preset dev)"
cmake --preset dev
cmake --build --preset dev --parallel "$jobs" --target "${targets[@]}"

mkdir -p "$outdir"

program=$build/app/uishull
if ((armhf)); then
    step "armhf build (preset armhf)"
    export UISHULL_ARMHF_SYSROOT=${UISHULL_ARMHF_SYSROOT:-$repo/build/armhf-sysroot}
    [[ -d $UISHULL_ARMHF_SYSROOT ]] || bash tools/armhf-sysroot.sh
    cmake --preset armhf
    cmake --build --preset armhf --parallel "$jobs" --target uishull
    program=$repo/build/armhf/app/uishull
fi
board=$build/sim/uishull-board
scenario=$repo/tools/quicktest-board.ini
shots=$repo/docs/screenshots
[[ -z $over ]] || shots=$outdir/screenshots

run_demo() {
    local demo=$build/toolkit/lumi-demo
    if ((headless)); then
        step "toolkit example, headless"
        local screen=$outdir/screen.raw png=$repo/docs/screenshots/lumi-demo.png
        rm -f "$screen"
        LUMI_DISPLAY="file:$screen:800x480" "$demo" --quit-after 1500
        mkdir -p "$(dirname "$png")"
        "$build/tools/lumi-shot" "$screen" "$png" 800x480
        echo "screenshot of the toolkit example: $png"
    else
        step "toolkit example, in a window (close it to finish)"
        LUMI_DISPLAY=sdl "$demo"
    fi
}

run_quicktest() {
    if ((headless)); then
        step "quick test on the virtual board, headless, with a scripted operator"
        local over_args=()
        [[ -z $over ]] || over_args=(--over "$over")
        python3 "$repo/tools/quicktest-demo.py" "$build" "$shots" --program "$program" --scenario "$scenario" \
            --report "$outdir/report.jsonl" \
            "${over_args[@]}"
    else
        if [[ -n $over ]]; then
            python3 "$repo/tools/quicktest_board.py" "$scenario" "$over" "$outdir/board.ini"
            scenario=$outdir/board.ini
        fi
        step "quick test on the virtual board, in its viewer (close it to finish)"
        # The power button's poweroff is recorded and printed by the board.
        "$board" run --viewer --scenario "$scenario" --dir "$outdir/board" -- "$program" 6 || true
    fi
}

run_update() {
    local dir=$outdir/update viewer=()
    if ((headless)); then
        step "update screen on the virtual board, headless, with the demo update script"
    else
        step "update screen on the virtual board, in its viewer, with the demo update script"
        viewer=(--viewer)
    fi
    "$board" run "${viewer[@]}" --scenario "$scenario" --dir "$dir" -- "$program" 7 &
    local pid=$!
    for _ in $(seq 200); do [[ -S $dir/board.sock ]] && break; sleep 0.05; done
    "$board" ctl "$dir" wait-line "receive startup type=7" 60 >/dev/null
    # The program's /tmp is RUNDIR/tmp on the board: its notifier socket is there.
    local socket=$dir/tmp/autorun_msg.dat notify=$build/tools/uishull-notify
    sh "$repo/tools/update-demo.sh" --socket "$socket" --sender "$notify" --no-done --wait 60
    if ((headless)); then
        sleep 0.5
        "$board" ctl "$dir" screenshot "$shots/update.png"
    else
        sleep 3
    fi
    "$notify" --socket "$socket" done
    wait "$pid" || true
    echo "the update screen has ended"
}

case $mode in
quicktest) run_quicktest ;;
update) run_update ;;
toolkit) run_demo ;;
esac
