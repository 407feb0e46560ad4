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
# The mirror is the machine's own: the first source in its apt configuration
# that serves Debian's bookworm main archive (see debian_mirror below), so the
# sysroot comes from where the host's own packages come from.
#
# Usage: tools/armhf-sysroot.sh [--force]
#        tools/armhf-sysroot.sh --print-mirror   (prints the mirror it would use)
# Environment: UISHULL_ARMHF_SYSROOT (default build/armhf-sysroot),
#              UISHULL_DEBIAN_MIRROR (the mirror; default: from the apt configuration),
#              UISHULL_APT_DIR (the apt configuration read for it; default /etc/apt).
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
sysroot=${UISHULL_ARMHF_SYSROOT:-$repo/build/armhf-sysroot}
cache=$sysroot.cache
apt_dir=${UISHULL_APT_DIR:-/etc/apt}
suite=bookworm
triplet=arm-linux-gnueabihf

log() { echo "armhf-sysroot: $*"; }

# Prints the URI of the first apt source under $apt_dir that serves $suite
# main .debs, in the order apt reads them: sources.list, then the *.list
# (one-line entries) and *.sources (deb822 paragraphs) files of
# sources.list.d by name. Other suites (bookworm-security, -updates), deb-src
# entries, disabled paragraphs and other files are passed over. Fails when
# there is none.
debian_mirror() {
    local files=() f
    [[ -f $apt_dir/sources.list ]] && files+=("$apt_dir/sources.list")
    local LC_ALL=C
    for f in "$apt_dir"/sources.list.d/*; do
        [[ -f $f && ($f == *.list || $f == *.sources) ]] && files+=("$f")
    done
    ((${#files[@]})) || return 1
    local uri
    uri=$(awk -v suite="$suite" '
        function has(list, w,   a, n, k) {
            n = split(list, a)
            for (k = 1; k <= n; k++)
                if (a[k] == w) return 1
            return 0
        }
        function first(list,   a) { split(list, a); return a[1] }
        function take(uri) { sub(/\/+$/, "", uri); print uri; found = 1; exit }
        function paragraph() {
            if (f["types"] != "" && has(f["types"], "deb") && has(f["suites"], suite) \
                && has(f["components"], "main") && tolower(first(f["enabled"])) != "no" \
                && first(f["uris"]) != "")
                take(first(f["uris"]))
            delete f
            field = ""
        }
        FNR == 1 { if (deb822) paragraph(); deb822 = FILENAME ~ /\.sources$/ }
        deb822 && /^#/ { next }
        deb822 && /^[ \t]*$/ { paragraph(); next }
        deb822 && /^[ \t]/ { if (field != "") f[field] = f[field] " " $0; next }
        deb822 {
            colon = index($0, ":")
            if (colon == 0) next
            field = tolower(substr($0, 1, colon - 1))
            f[field] = substr($0, colon + 1)
            next
        }
        {
            line = $0
            sub(/#.*/, "", line)
            n = split(line, w)
            i = 1
            if (w[i] != "deb") next
            i++
            # Options: "[arch=amd64 signed-by=...]", possibly over several words.
            if (substr(w[i], 1, 1) == "[") {
                while (i <= n && w[i] !~ /\]$/) i++
                i++
            }
            if (i + 2 > n || w[i + 1] != suite) next
            for (c = i + 2; c <= n; c++)
                if (w[c] == "main") take(w[i])
        }
        END { if (!found && deb822) paragraph() }
    ' "${files[@]}")
    [[ -n $uri ]] || return 1
    echo "$uri"
}

# UISHULL_DEBIAN_MIRROR, else the apt configuration's; fails with the reason.
choose_mirror() {
    if [[ -n ${UISHULL_DEBIAN_MIRROR:-} ]]; then
        echo "$UISHULL_DEBIAN_MIRROR"
    elif ! debian_mirror; then
        log "no Debian $suite main archive in the apt sources under $apt_dir" \
            "(sources.list, sources.list.d/*.list, sources.list.d/*.sources);" \
            "set UISHULL_DEBIAN_MIRROR to a Debian mirror's URL" >&2
        return 1
    fi
}

force=0
case ${1:-} in
--force) force=1 ;;
--print-mirror)
    choose_mirror
    exit
    ;;
esac

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
    mirror=$(choose_mirror)
    : >"$cache/apt/status"
    cat >"$cache/apt/sources.list" <<EOF
deb [arch=armhf signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main
deb [arch=armhf signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite-updates main
EOF
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
