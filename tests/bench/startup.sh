#!/bin/sh
# Start-up cost of the program: instructions from its first one to the end of
# the first flush of the quick test's screen with its list (callgrind), and the resident
# memory (VmHWM) of the quick test a few seconds after its start.
#
#   sh tests/bench/startup.sh BUILD_DIR [SECONDS]
#
# "uishull 6" runs on the headless file display in a bubblewrap sandbox: the
# host read-only, a private /dev and /proc, no network, the sample config.ini
# and res/ in a temporary working directory that is its /tmp, and the power
# commands (and what they link to) replaced by true. Needs valgrind and bwrap.
set -eu
build=${1:?usage: startup.sh BUILD_DIR [SECONDS]}
seconds=${2:-4}
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$build" && pwd)
program=$build/app/uishull
[ -x "$program" ] || { echo "no program at $program" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source_dir/res" "$work/res"
cp "$source_dir/res/config.ini" "$work/config.ini"

sandbox() {
    options="--die-with-parent --unshare-net --ro-bind / / --dev /dev --proc /proc --bind $work /tmp"
    # A build tree under /tmp stays visible over the sandbox's own /tmp.
    case $build in /tmp/*) options="$options --ro-bind $build $build" ;; esac
    # (over what they point to: they may be links to one program)
    for command in /usr/sbin/poweroff /usr/sbin/reboot /usr/sbin/halt /usr/sbin/shutdown; do
        [ -e "$command" ] && options="$options --ro-bind /bin/true $(readlink -f "$command")"
    done
    # shellcheck disable=SC2086 # paths without blanks, split on purpose
    bwrap $options "$@"
}

# Instructions: callgrind writes a profile part each time a flush of the file
# display returns (the first is the screen's clearing at start, then the
# cursor's). The first quick-test frame is the first part in which the quick
# test's list painted; the count is the sum of the parts up to it.
sandbox --chdir /tmp -- env LUMI_DISPLAY=file:/tmp/screen.raw \
    valgrind --tool=callgrind --callgrind-out-file=/tmp/startup.cg \
    --dump-after='*FileDisplay::flush*' "$program" 6 >"$work/callgrind.log" 2>&1 &
runner=$!
frame=
tries=0
while [ -z "$frame" ] && [ $tries -lt 600 ]; do
    sleep 0.2
    tries=$((tries + 1))
    part=1
    while [ -s "$work/startup.cg.$part" ]; do
        if grep -q 'PelSmoothGrid::onPaint' "$work/startup.cg.$part"; then
            frame=$part
            break
        fi
        part=$((part + 1))
    done
done
sleep 1
kill "$runner" 2>/dev/null || true
wait "$runner" 2>/dev/null || true
[ -n "$frame" ] || { cat "$work/callgrind.log" >&2; echo "no quick-test frame" >&2; exit 1; }
total=0
part=1
while [ $part -le "$frame" ]; do
    total=$((total + $(sed -n 's/^summary: *//p' "$work/startup.cg.$part")))
    part=$((part + 1))
done
echo "instructions to the first quick-test frame (flush $frame): $total"
echo "by object, self cost (the dynamic loader is ld-linux):"
part=1
while [ $part -le "$frame" ]; do
    cat "$work/startup.cg.$part"
    part=$((part + 1))
done | awk '
    # Self costs per object from the raw profile: a cost line counts for the
    # current ob= (named once, by number later), except the line after calls= (a call'"'"'s inclusive cost).
    function object(text,   id) {
        if (match(text, /^\([0-9]+\)/)) {
            id = substr(text, 1, RLENGTH)
            if (length(text) > RLENGTH + 1) names[id] = substr(text, RLENGTH + 2)
            return names[id]
        }
        return text
    }
    /^ob=/ { ob = object(substr($0, 4)); next }
    /^cob=/ { object(substr($0, 5)); next }   # may name an object first
    /^calls=/ { skip = 1; next }
    /^[0-9+*-]/ { if (skip) { skip = 0; next } sum[ob] += $NF; next }
    END { for (o in sum) printf "  %12d  %s\n", sum[o], o }' | sort -rn | head -8

# Memory: the quick test running on its own, after SECONDS.
sandbox --chdir /tmp -- env LUMI_DISPLAY=file:/tmp/screen.raw "$program" 6 >"$work/run.log" 2>&1 &
runner=$!
sleep "$seconds"
pid=$(pgrep -P "$runner" -n || true)
# bwrap forks the program; follow the chain to the process that runs it.
while [ -n "$pid" ] && [ "$(readlink "/proc/$pid/exe" 2>/dev/null)" != "$program" ]; do
    pid=$(pgrep -P "$pid" -n || true)
done
if [ -n "$pid" ]; then
    grep -E '^(VmHWM|VmRSS|RssAnon|RssFile)' "/proc/$pid/status"
else
    echo "program not found running" >&2
fi
kill "$runner" 2>/dev/null || true
wait "$runner" 2>/dev/null || true
