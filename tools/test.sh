#!/usr/bin/env bash
# The test command: installs what is missing, builds the "dev" and "armhf"
# presets, runs every test of "dev" and the armhf unit tests under qemu-arm.
# Exits non-zero if any stage fails; a failing test stage does not stop the
# stages after it, so one run reports everything.
#
# Usage: bash tools/test.sh [--asan]
#   --asan   also build and test the "asan" preset (address and undefined
#            behaviour sanitizers)
# Environment: UISHULL_JOBS (build and test jobs, default 2),
#              UISHULL_TEST_TIMEOUT (seconds a test may take, default 60).
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

asan=0
for arg in "$@"; do
    case $arg in
    --asan) asan=1 ;;
    -h | --help)
        sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    *)
        echo "test.sh: unknown argument $arg (try --help)" >&2
        exit 2
        ;;
    esac
done

jobs=${UISHULL_JOBS:-2}
timeout=${UISHULL_TEST_TIMEOUT:-60}
logdir=$repo/build/test-logs
mkdir -p "$logdir"
rm -f "$logdir"/*.log

stages=(install build:dev test:dev build:armhf test:armhf)
((asan)) && stages+=(build:asan test:asan)

results=()
failed=0
total_passed=0
total_failed=0

# Runs one ctest preset, keeps its output, and adds its counts to the totals.
run_ctest() {
    local preset=$1 log=$logdir/ctest-$1.log rc=0
    ctest --preset "$preset" -j "$jobs" --timeout "$timeout" --no-tests=error 2>&1 | tee "$log" || rc=$?
    local line
    line=$(grep -E '[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -1 || true)
    if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
        total_failed=$((total_failed + BASH_REMATCH[1]))
        total_passed=$((total_passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
    fi
    return "$rc"
}

run_stage() {
    local stage=$1 kind=${1%%:*} preset=${1#*:}
    case $kind in
    install) bash tools/install-deps.sh </dev/null ;;
    build)
        cmake --preset "$preset" && cmake --build --preset "$preset" --parallel "$jobs" || return
        # The device package, which the armhf tests unpack and run.
        if [[ $preset == armhf ]]; then cmake --build --preset armhf --target package; fi
        ;;
    test) run_ctest "$preset" ;;
    esac
}

n=0
built_ok=" "
for stage in "${stages[@]}"; do
    n=$((n + 1))
    preset=${stage#*:}
    echo
    echo "==== [$n/${#stages[@]}] $stage ===="
    if [[ $stage == test:* && $built_ok != *" $preset "* ]]; then
        echo "skipped: the $preset build failed"
        results+=("SKIP  $stage")
        failed=1
        continue
    fi
    t0=$SECONDS
    rc=0
    run_stage "$stage" || rc=$?
    dt=$((SECONDS - t0))
    if [[ $rc == 0 ]]; then
        results+=("ok    $stage (${dt}s)")
        [[ $stage == build:* ]] && built_ok+="$preset "
    else
        results+=("FAIL  $stage (${dt}s, exit $rc)")
        failed=1
        # Nothing can be built without the dependencies.
        [[ $stage == install ]] && break
    fi
done

echo
echo "==== summary (${SECONDS}s in all; logs of the test runs in build/test-logs) ===="
printf '%s\n' "${results[@]}"
echo "tests: $total_passed passed, $total_failed failed"
exit "$failed"
