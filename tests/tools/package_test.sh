#!/usr/bin/env bash
# The device package: the armhf .deb holds the device's tree (the programs,
# res/ with the font, the sample config.ini, the start-up script), and the
# program unpacked from it runs on the virtual board under qemu-arm to the
# quick test's first screen, drawing its texts with the package's font.
#   package_test.sh ARMHF_BUILD_DIR HOST_BUILD_DIR
# Takes the package the build made (cmake --build --preset armhf --target
# package); without one it makes one in its own directory. Exit 77 (skip)
# when the host build has no board.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
host=$2
[[ -x $host/sim/uishull-board ]] || { echo "skip: no board in $host"; exit 77; }
out=$(mktemp -d "${TMPDIR:-/tmp}/uishull-package.XXXXXX")
trap 'rm -rf "$out"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

deb=$(ls -t "$build"/uishull_*_armhf.deb 2>/dev/null | head -n 1 || true)
if [[ -z $deb || $deb -ot $build/app/uishull ]]; then
    echo "no package newer than the program in $build: making one"
    (cd "$build" && cpack -G DEB -B "$out/cpack" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log"; fail "cpack"; }
    deb=$(ls "$out"/cpack/uishull_*_armhf.deb)
fi
echo "package: $deb"
[[ $(dpkg-deb -f "$deb" Package) == uishull ]] || fail "package name"
[[ $(dpkg-deb -f "$deb" Architecture) == armhf ]] || fail "architecture: $(dpkg-deb -f "$deb" Architecture)"

root=$out/root
dpkg-deb -x "$deb" "$root"
dir=$root/opt/uishull
for f in bin/uishull bin/uishull-notify bin/uishull-bootenv config.ini res/cursor_pointer.bmp; do
    [[ -f $dir/$f ]] || fail "missing /opt/uishull/$f"
done
[[ -x $root/etc/init.d/uishull ]] || fail "missing /etc/init.d/uishull"
compgen -G "$dir/res/fonts/*.tt[cf]" >/dev/null || fail "no font in res/fonts"
# Every file of res/ in the sources is in the package (sounds added later too).
for f in "$repo"/res/*; do
    name=$(basename "$f")
    [[ $name == config.ini ]] && continue
    [[ -f $dir/res/$name ]] || fail "res/$name is not in the package"
done
# 32-bit ARM programs (ELF class 1, machine 40).
for p in uishull uishull-notify uishull-bootenv; do
    [[ $(od -An -tu1 -j4 -N1 "$dir/bin/$p" | tr -d ' ') == 1 ]] || fail "$p is not a 32-bit program"
    [[ $(od -An -tu2 -j18 -N2 "$dir/bin/$p" | tr -d ' ') == 40 ]] || fail "$p is not an ARM program"
done
dpkg-deb -I "$deb" conffiles | grep -qx /opt/uishull/config.ini || fail "config.ini is not a conffile"

# The unpacked program on the board, with the package's settings and res/.
cat >"$out/board.ini" <<INI
[workdir]
config = $dir/config.ini
res = $dir/res
INI
board=$host/sim/uishull-board
run=$out/run
"$board" run --scenario "$out/board.ini" --dir "$run" -- "$dir/bin/uishull" 6 >"$out/board.log" 2>&1 &
pid=$!
for _ in $(seq 1 300); do
    [[ -S $run/board.sock ]] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
done
[[ -S $run/board.sock ]] || { cat "$out/board.log"; fail "the board did not start"; }
"$board" ctl "$run" wait-line "auto run 1" 180 || { cat "$out/board.log"; fail "no first test"; }
"$board" ctl "$run" screenshot "$out/first.png" >/dev/null
"$board" ctl "$run" stop >/dev/null || true
wait "$pid" || true
grep -qF "[--I] receive startup type=6" "$run/stdout.log" || fail "no start-up line"
if grep -q "no font file found" "$run/stdout.log"; then fail "the package's font was not found"; fi

# The hint band (top left, 0x5D5D) carries white text: the font of the package drew it.
python3 - "$repo/tools/quicktest-demo.py" "$out/first.png" <<'PY' || fail "no text on the first screen"
import importlib.util, sys
loader = importlib.util.spec_from_file_location("demo", sys.argv[1])
demo = importlib.util.module_from_spec(loader)
loader.loader.exec_module(demo)
screen = demo.Screen(sys.argv[2])
band = (0, 0, screen.width * 2 // 5, 70)
back, white = screen.count(band, 0x5D5D), screen.count(band, 0xFFFF)
print("hint band: %d background pixels, %d white text pixels" % (back, white))
sys.exit(0 if back > 1000 and white > 100 else 1)
PY
echo "the package's program ran on the board"
