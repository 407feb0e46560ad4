#!/usr/bin/env bash
# Builds the armhf sysroot that cmake/armhf-toolchain.cmake compiles against and
# that qemu-arm runs the armhf binaries in.
#
# Installing ":armhf" packages through dpkg multiarch does not work on our
# machines: the package mirror serves security updates for amd64 but not for
# armhf, so packages shared by both architectures end up at different versions
# and apt refuses the mix. Instead the armhf .debs are fetched with a private
# apt configuration (its own sources, lists and cache under the build tree, so
# the host's dpkg and apt state are never touched: no "dpkg --add-architecture")
# and unpacked with "dpkg-deb -x" into a plain directory.
#
# The sysroot holds the Debian armhf runtime (libc6, libstdc++6, libgcc-s1) as
# well as the libraries the build links, so that "qemu-arm -L SYSROOT" finds the
# dynamic loader and every shared library of a dynamically linked binary there.
# Headers and link libraries of libc and libstdc++ come from the cross
# toolchain, not from here.
#
# Cached: when the sysroot was built from the same package list, the script
# returns at once and downloads nothing; downloaded .debs are kept so that a
# deleted sysroot is unpacked again without the network.
#
# Usage: tools/armhf-sysroot.sh [--force]
# Environment: UISHULL_ARMHF_SYSROOT (default build/armhf-sysroot),
#              UISHULL_DEBIAN_MIRROR (default http://deb.debian.org/debian).
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
sysroot=${UISHULL_ARMHF_SYSROOT:-$repo/build/armhf-sysroot}
cache=$sysroot.cache
mirror=${UISHULL_DEBIAN_MIRROR:-http://deb.debian.org/debian}
suite=bookworm
triplet=arm-linux-gnueabihf
force=0
[[ ${1:-} == --force ]] && force=1

# Every armhf package the sysroot needs, dependencies included (listed rather
# than resolved, so that libc6-dev, linux-libc-dev and the like, which the cross
# toolchain already provides, stay out). The closure is checked below.
packages=(
    libc6 libgcc-s1 libstdc++6 gcc-12-base
    zlib1g zlib1g-dev
    libpng16-16 libpng-dev
    libbrotli1 libbrotli-dev
    libfreetype6 libfreetype-dev
    libpixman-1-0 libpixman-1-dev
    libinih1 libinireader0 libinih-dev
    libgtest-dev libgmock-dev
)
# Bump when the way the sysroot is laid out changes.
layout_version=1
stamp_text="layout=$layout_version suite=$suite packages=${packages[*]}"
stamp=$sysroot/.uishull-sysroot

log() { echo "armhf-sysroot: $*"; }

# A mirror caught in the middle of a sync fails a fetch for a moment: try again.
retry() {
    local n
    for n in 1 2 3; do
        "$@" && return 0
        log "failed (try $n of 3): $*"
        sleep $((n * 10))
    done
    return 1
}

if [[ $force == 0 && -f $stamp && "$(cat "$stamp")" == "$stamp_text" ]]; then
    log "up to date ($sysroot)"
    exit 0
fi

mkdir -p "$cache/debs" "$cache/apt/lists/partial" "$cache/apt/archives/partial" \
    "$cache/apt/sources.list.d" "$cache/apt/preferences.d"
exec 9>"$cache/lock"
flock 9

# A private apt: armhf only, sources of our own, state and cache under $cache.
: >"$cache/apt/status"
cat >"$cache/apt/sources.list" <<EOF
deb [arch=armhf signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main
deb [arch=armhf signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite-updates main
EOF
apt_opts=(
    -o "Dir::State=$cache/apt"
    -o "Dir::State::Lists=$cache/apt/lists"
    -o "Dir::State::status=$cache/apt/status"
    -o "Dir::Cache=$cache/apt"
    -o "Dir::Cache::archives=$cache/apt/archives"
    -o "Dir::Etc::SourceList=$cache/apt/sources.list"
    -o "Dir::Etc::SourceParts=$cache/apt/sources.list.d"
    -o "Dir::Etc::Preferences=$cache/apt/preferences"
    -o "Dir::Etc::PreferencesParts=$cache/apt/preferences.d"
    -o "APT::Architecture=armhf"
    -o "APT::Architectures::=armhf"
    -o "APT::Sandbox::User=root"
    -o "Acquire::Languages=none"
)

cached_deb() { # prints the one cached .deb of package $1, if exactly one
    local found=("$cache/debs/$1"_*_armhf.deb "$cache/debs/$1"_*_all.deb)
    local real=()
    for f in "${found[@]}"; do [[ -f $f ]] && real+=("$f"); done
    [[ ${#real[@]} == 1 ]] && echo "${real[0]}"
    return 0
}

missing=()
for p in "${packages[@]}"; do
    [[ -n $(cached_deb "$p") ]] || missing+=("$p")
done

if ((${#missing[@]})); then
    log "downloading ${#missing[@]} armhf packages from $mirror ($suite)"
    retry apt-get "${apt_opts[@]}" -q update
    (
        cd "$cache/debs"
        for p in "${missing[@]}"; do rm -f "$p"_*_armhf.deb "$p"_*_all.deb; done
        retry apt-get "${apt_opts[@]}" -q download "${missing[@]/%/:armhf}"
    )
else
    log "all packages are cached; nothing to download"
fi

# Unpack into a fresh directory and move it into place only when complete.
tmp=$sysroot.tmp
rm -rf "$tmp"
mkdir -p "$tmp"
for p in "${packages[@]}"; do
    deb=$(cached_deb "$p")
    [[ -n $deb ]] || { log "missing package $p after download"; exit 1; }
    dpkg-deb -x "$deb" "$tmp"
done
rm -rf "$tmp/usr/share/doc" "$tmp/usr/share/man" "$tmp/usr/share/lintian" "$tmp/usr/share/gcc"

# Absolute symbolic links (/lib/ld-linux-armhf.so.3, some lib*.so) would point
# into the host: make them relative to the sysroot.
while IFS= read -r -d '' link; do
    target=$(readlink "$link")
    if [[ $target == /* ]]; then
        ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$tmp$target")" "$link"
    fi
done < <(find "$tmp" -type l -print0)

# Check the closure: every library a shared object of the sysroot needs is in it.
libdirs=("$tmp/lib/$triplet" "$tmp/usr/lib/$triplet" "$tmp/usr/lib/$triplet/gconv" "$tmp/lib" "$tmp/usr/lib")
status=0
while IFS= read -r -d '' so; do
    while read -r needed; do
        hit=0
        for d in "${libdirs[@]}"; do [[ -e $d/$needed ]] && hit=1 && break; done
        if [[ $hit == 0 ]]; then
            log "${so#"$tmp"/} needs $needed, which is not in the sysroot"
            status=1
        fi
    done < <(LC_ALL=C $triplet-readelf -d "$so" 2>/dev/null | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
done < <(find "$tmp" -type f -name '*.so*' -print0)

# Check that pkg-config resolves every module the build asks for.
for module in pixman-1 freetype2 libpng inih zlib; do
    if ! PKG_CONFIG_SYSROOT_DIR=$tmp \
        PKG_CONFIG_LIBDIR=$tmp/usr/lib/$triplet/pkgconfig:$tmp/usr/share/pkgconfig \
        pkg-config --cflags --libs "$module" >/dev/null; then
        log "pkg-config cannot resolve $module in the sysroot"
        status=1
    fi
done
[[ -f $tmp/usr/lib/$triplet/cmake/GTest/GTestConfig.cmake ]] || { log "GoogleTest is missing"; status=1; }
if [[ $status != 0 ]]; then
    log "the sysroot is incomplete (left in $tmp)"
    exit 1
fi

echo "$stamp_text" >"$tmp/.uishull-sysroot"
rm -rf "$sysroot"
mv "$tmp" "$sysroot"
log "ready: $sysroot ($(du -sh "$sysroot" | cut -f1))"
