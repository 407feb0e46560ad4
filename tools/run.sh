#!/usr/bin/env bash
# The main command: installs what is missing, builds the "dev" preset and runs
# the toolkit's example program. With a display (DISPLAY or WAYLAND_DISPLAY
# set) it opens a window; without one it runs headless on a screen file for a
# moment and saves what it showed as docs/screenshots/lumi-demo.png.
#
# Usage: bash tools/run.sh [--headless]
#   --headless   run headless even when a display is present
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

headless=0
for arg in "$@"; do
    case $arg in
    --headless) headless=1 ;;
    -h | --help)
        sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//'
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
targets=(lumi-demo lumi-shot)

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

run_demo
