#!/usr/bin/env bash
# tools/armhf-sysroot.sh takes its Debian mirror from the machine's apt
# configuration (one-line and deb822 sources), lets UISHULL_DEBIAN_MIRROR
# override it, and fails clearly when neither gives one. Only the mirror is
# looked up (--print-mirror): nothing is downloaded.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
script=$repo/tools/armhf-sysroot.sh

# The script names no package host of its own, and has the lookup this test
# drives (without it the script would go on to download).
! grep -nE '(https?|ftp)://' "$script" || fail "the script names a host"
grep -q -- '--print-mirror)' "$script" || fail "the script has no --print-mirror"

# Prints the mirror chosen for the apt directory $1 (its status is the script's).
mirror_for() {
    env -u UISHULL_DEBIAN_MIRROR UISHULL_APT_DIR="$1" UISHULL_ARMHF_SYSROOT="$work/sysroot" \
        bash "$script" --print-mirror
}

expect() {
    local label=$1 dir=$2 want=$3 got
    got=$(mirror_for "$dir") || fail "$label: no mirror found"
    [[ $got == "$want" ]] || fail "$label: got '$got', expected '$want'"
    echo "ok: $label"
}

# One-line sources.list: comments, deb-src, other suites and options in
# brackets (with blanks inside) are read past.
one=$work/one
mkdir -p "$one/sources.list.d"
cat >"$one/sources.list" <<'LIST'
# deb http://commented.invalid/debian bookworm main
deb-src http://source.invalid/debian bookworm main
deb http://security.invalid/debian-security bookworm-security main
deb http://updates.invalid/debian bookworm-updates main
deb http://contrib.invalid/debian bookworm contrib non-free
deb [arch=amd64 signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://mirror-one.invalid/debian/ bookworm main contrib # the archive
deb http://later.invalid/debian bookworm main
LIST
expect "one-line sources.list" "$one" "http://mirror-one.invalid/debian"

# deb822 paragraphs: disabled ones, other suites and deb-src passed over;
# continuation lines and case-insensitive field names understood.
two=$work/two
mkdir -p "$two/sources.list.d"
cat >"$two/sources.list.d/debian.sources" <<'SOURCES'
# A comment before the first paragraph.
Types: deb
URIs: http://security.invalid/debian-security
Suites: bookworm-security
Components: main

Types: deb
URIs: http://disabled.invalid/debian
Suites: bookworm
Components: main
Enabled: no

Types: deb-src
URIs: http://source.invalid/debian
Suites: bookworm
Components: main

types: deb
uris: http://mirror-two.invalid/debian
 http://second-uri.invalid/debian
suites:
 bookworm
 bookworm-updates
components: main
signed-by: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
expect "deb822 sources" "$two" "http://mirror-two.invalid/debian"

# Order: sources.list first, then sources.list.d by name; files of other
# names (left disabled by renaming, for instance) are not read.
three=$work/three
mkdir -p "$three/sources.list.d"
echo "deb http://security.invalid/debian-security bookworm-security main" >"$three/sources.list"
echo "deb http://disabled.invalid/debian bookworm main" >"$three/sources.list.d/00-first.list.disabled"
printf 'Types: deb\nURIs: http://mirror-b.invalid/debian\nSuites: bookworm\nComponents: main\n' \
    >"$three/sources.list.d/b.sources"
echo "deb http://mirror-a.invalid/debian bookworm main" >"$three/sources.list.d/a.list"
expect "first by apt's reading order" "$three" "http://mirror-a.invalid/debian"
rm "$three/sources.list.d/a.list"
expect "a deb822 file after the one-line ones" "$three" "http://mirror-b.invalid/debian"

# The variable wins over the configuration.
got=$(UISHULL_DEBIAN_MIRROR=http://override.invalid/debian UISHULL_APT_DIR="$one" \
    UISHULL_ARMHF_SYSROOT="$work/sysroot" bash "$script" --print-mirror)
[[ $got == http://override.invalid/debian ]] || fail "UISHULL_DEBIAN_MIRROR did not win: $got"
echo "ok: UISHULL_DEBIAN_MIRROR overrides"

# Neither: a clear failure that names the way out.
none=$work/none
mkdir -p "$none/sources.list.d"
echo "deb http://security.invalid/debian-security bookworm-security main" >"$none/sources.list"
if out=$(mirror_for "$none" 2>&1); then
    fail "a mirror was invented: $out"
fi
[[ $out == *"no Debian bookworm main archive"* && $out == *UISHULL_DEBIAN_MIRROR* ]] \
    || fail "unclear message: $out"
if out=$(mirror_for "$work/absent" 2>&1); then
    fail "a mirror was invented without any apt configuration: $out"
fi
[[ $out == *UISHULL_DEBIAN_MIRROR* ]] || fail "unclear message: $out"
echo "ok: no mirror is a clear failure"

[[ ! -e $work/sysroot && ! -e $work/sysroot.cache ]] || fail "the lookup touched the sysroot"
