#!/usr/bin/env bash
# Installs everything the build, the tests and the tools need on Debian 12
# (bookworm), then the armhf sysroot (tools/armhf-sysroot.sh).
#
# Idempotent and quick when everything is present: apt is only asked when a
# package is missing. Runs without a terminal (CI: no stdin). Needs root, or
# sudo, when something has to be installed.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

packages=(
    # compilers and build tools
    g++ cmake ninja-build pkg-config file
    # libraries of the toolkit and the program
    libpixman-1-dev libfreetype-dev libpng-dev libsdl2-dev libinih-dev
    # the CJK font the toolkit draws with
    fonts-wqy-microhei
    # tests and benchmarks
    libgtest-dev libgmock-dev libbenchmark-dev valgrind
    # the code-page table generator (tools/), which a test also runs as a cross-check
    python3
    # end-to-end tests run the program in a sandbox with its own /tmp and a fake poweroff
    bubblewrap
    # the armhf cross build and its test runner (the sysroot is fetched by apt-get download)
    g++-arm-linux-gnueabihf qemu-user debian-archive-keyring
    # fuzz preset (libFuzzer and sanitizer runtimes)
    clang libclang-rt-dev
)

log() { echo "install-deps: $*"; }

if [[ -r /etc/os-release ]] && ! grep -q '^VERSION_CODENAME=bookworm' /etc/os-release; then
    log "warning: made for Debian 12 (bookworm); this machine is $(grep -m1 '^PRETTY_NAME=' /etc/os-release)"
fi

missing=()
installed=$(dpkg-query -W -f='${Package} ${db:Status-Abbrev}\n' "${packages[@]}" 2>/dev/null || true)
for p in "${packages[@]}"; do
    grep -q "^$p ii" <<<"$installed" || missing+=("$p")
done

if ((${#missing[@]})); then
    log "installing ${missing[*]}"
    sudo=()
    if [[ $(id -u) != 0 ]]; then
        if command -v sudo >/dev/null; then
            sudo=(sudo -n)
        else
            log "not root and no sudo: install these as root: ${missing[*]}"
            exit 1
        fi
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt_opts=(-y -q -o Dpkg::Options::=--force-confdef -o Dpkg::Options::=--force-confold)
    "${sudo[@]}" apt-get -q update </dev/null
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get "${apt_opts[@]}" install --no-install-recommends "${missing[@]}" </dev/null
else
    log "all ${#packages[@]} packages are installed"
fi

bash "$repo/tools/armhf-sysroot.sh"
