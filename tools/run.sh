#!/usr/bin/env bash
# The main command: installs what is missing, builds the "dev" preset and runs
# the quick test with its demo items. Without a display it runs headless on a
# screen file with a scripted operator that answers every question, prints each
# test's result and the verdict, and saves screenshots of the key moments in
# docs/screenshots/. With a display (DISPLAY or WAYLAND_DISPLAY set) it runs the
# quick test on the virtual board in its viewer window instead, for a person to
# operate with the PC keys standing for the keypad (README: "The viewer").
#
# The program always runs in a sandbox: its /tmp is a directory of this run and
# poweroff (the screen's power button) is a harmless stand-in.
#
# Usage: bash tools/run.sh [--headless] [--update] [--toolkit-demo]
#   --headless       run headless even when a display is present
#   --update         run the update screen with the demo update script instead
#   --toolkit-demo   run the toolkit's example program instead
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

headless=0
mode=quicktest
for arg in "$@"; do
    case $arg in
    --headless) headless=1 ;;
    --update) mode=update ;;
    --toolkit-demo) mode=toolkit ;;
    -h | --help)
        sed -n '2,17p' "$0" | sed 's/^# \{0,1\}//'
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
targets=(uishull uishull-notify lumi-demo lumi-shot lumi-input uishull-board)

step() { echo "==== $* ===="; }

step "install"
bash tools/install-deps.sh </dev/null

step "build (preset dev)"
cmake --preset dev
cmake --build --preset dev --parallel "$jobs" --target "${targets[@]}"

mkdir -p "$outdir"

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

# A directory for one run of the program: its working directory (config.ini,
# res/) and, inside the sandbox, its /tmp.
make_run_dir() {
    local dir=$outdir/$1
    rm -rf "$dir"
    mkdir -p "$dir"
    cp -r "$repo/res" "$dir/res"
    echo "$dir"
}

# The program runs through tools/sandbox.sh: its own /tmp, stand-ins for poweroff.
sandbox() { bash "$repo/tools/sandbox.sh" "$@"; }

run_quicktest() {
    if ((headless)); then
        step "quick test, headless, with a scripted operator"
        python3 "$repo/tools/quicktest-demo.py" "$build" "$repo/docs/screenshots"
    else
        step "quick test on the virtual board, in its viewer (close it to finish)"
        # The board's default scenario: the demo items, run through to the end;
        # the power button's poweroff is recorded and printed by the board.
        "$build/sim/uishull-board" run --viewer --dir "$outdir/board" -- "$build/app/uishull" 6 || true
    fi
}

run_update() {
    local dir display
    dir=$(make_run_dir update)
    if ((headless)); then
        step "update screen, headless, with the demo update script"
        display=file:/tmp/screen.raw:800x480
    else
        step "update screen in a window, with the demo update script"
        display=sdl
    fi
    # The program's /tmp is the run directory inside the sandbox, the
    # machine's own without one.
    local socket=$dir/autorun_msg.dat
    sandbox --works || socket=/tmp/autorun_msg.dat
    # A socket left by an earlier run would look ready before the program
    # has bound its own.
    rm -f "$socket"
    LUMI_DISPLAY=$display sandbox "$dir" "$build/app/uishull" 7 &
    local pid=$!
    for _ in $(seq 100); do [[ -S $socket ]] && break; sleep 0.05; done
    local notify=$build/tools/uishull-notify
    sh "$repo/tools/update-demo.sh" --socket "$socket" --sender "$notify" --no-done
    if ((headless)); then
        sleep 0.5
        "$build/tools/lumi-shot" "$dir/screen.raw" "$repo/docs/screenshots/update.png" 800x480
        echo "screenshot: $repo/docs/screenshots/update.png"
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
