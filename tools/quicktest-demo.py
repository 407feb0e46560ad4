#!/usr/bin/env python3
"""Runs the quick test on the virtual board with a scripted operator.

The program (the x86_64 build, or the armhf one under qemu-arm) runs unchanged
on the board: it draws on the board's /dev/fb0 and reads the board's keypad,
mouse and touch screen. The operator acts only through the board, as a person
at the handheld would: it looks at the screen (the board's screenshots) and at
the lines the program prints, answers every question on the keypad (the arrow
to the "是" button, then Enter) or with a mouse (pointer onto the button and a
click), plugs a mouse in when the pointer test asks for one, presses Menu,
Back, VOL+ and VOL- on the keypad while the key test waits for them, and at the
end prints each row's result and the verdict read off the screen. It saves
screenshots of the start, the first question and the end.

    quicktest-demo.py BUILD_DIR OUTPUT_DIR [--program PATH] [--scenario FILE]
                      [--answer keys|mouse] [--viewer] [--seconds N]

BUILD_DIR is the x86_64 build (its sim/uishull-board runs the board); PROGRAM
defaults to BUILD_DIR/app/uishull; the scenario to tools/quicktest-board.ini.
"""

import argparse
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

# The colours (RGB565) the quick-test screen uses.
PASS, FAIL, UNTESTED = 0x5D82, 0xF800, 0x5ACB
SELECTED = 0xDEDB
BOX_BODY = 0x8C71

# Linux key codes of the keypad: the ones the program's default key map turns
# into the toolkit keys the key test and the message box listen for.
KEY_ENTER, KEY_LEFT = 28, 105
KEY_MENU, KEY_BACK, KEY_VOLUMEUP, KEY_VOLUMEDOWN = 139, 158, 115, 114
REQUIRED_KEYS = [("Menu", KEY_MENU), ("Back", KEY_BACK), ("VOL+", KEY_VOLUMEUP), ("VOL-", KEY_VOLUMEDOWN)]

# The quick test's first rows, the program's demo items. The device rows come
# after them in the catalogue's order: the pointer test first, the key test
# last, so each is found by its place when config.ini switches it on.
DEMO_NAMES = ["test1", "test2", "test2", "test3", "test4"]


def log(text):
    print(text, flush=True)


def rgb565(r, g, b):
    return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3)


class Screen:
    """One screenshot of the board's frame buffer, as RGB565 values."""

    def __init__(self, path):
        with open(path, "rb") as f:
            data = f.read()
        if data[:8] != b"\x89PNG\r\n\x1a\n":
            raise ValueError("%s: not a PNG" % path)
        pos, idat = 8, []
        self.width = self.height = 0
        while pos + 8 <= len(data):
            n, kind = struct.unpack(">I4s", data[pos:pos + 8])
            body = data[pos + 8:pos + 8 + n]
            pos += 12 + n
            if kind == b"IHDR":
                self.width, self.height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
                if depth != 8 or colour != 2 or interlace != 0:
                    raise ValueError("%s: not an 8-bit RGB picture" % path)
            elif kind == b"IDAT":
                idat.append(body)
            elif kind == b"IEND":
                break
        if not (0 < self.width <= 4096 and 0 < self.height <= 4096):
            raise ValueError("%s: bad size" % path)
        raw = zlib.decompress(b"".join(idat))
        stride = self.width * 3
        if len(raw) < (stride + 1) * self.height:
            raise ValueError("%s: short picture data" % path)
        prev = bytearray(stride)
        self.rows = []
        for y in range(self.height):
            start = y * (stride + 1)
            kind = raw[start]
            line = bytearray(raw[start + 1:start + 1 + stride])
            if kind == 1:
                for i in range(3, stride):
                    line[i] = (line[i] + line[i - 3]) & 255
            elif kind == 2:
                line = bytearray((a + b) & 255 for a, b in zip(line, prev))
            elif kind == 3:
                for i in range(stride):
                    line[i] = (line[i] + ((line[i - 3] if i >= 3 else 0) + prev[i]) // 2) & 255
            elif kind == 4:
                for i in range(stride):
                    a = line[i - 3] if i >= 3 else 0
                    b = prev[i]
                    c = prev[i - 3] if i >= 3 else 0
                    p = a + b - c
                    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                    line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
            self.rows.append(bytes(line))
            prev = line

    def pixel(self, x, y):
        line = self.rows[y]
        return rgb565(line[3 * x], line[3 * x + 1], line[3 * x + 2])

    def count(self, rect, colour):
        left, top, right, bottom = rect
        n = 0
        for y in range(max(top, 0), min(bottom, self.height)):
            line = self.rows[y]
            for x in range(max(left, 0), min(right, self.width)):
                if rgb565(line[3 * x], line[3 * x + 1], line[3 * x + 2]) == colour:
                    n += 1
        return n


class Layout:
    """Where the quick-test screen puts its parts, from the window's layout rules."""

    def __init__(self, width, height):
        hint_right = width * 2 // 5
        self.status = (hint_right, 0, width, 70)
        grid = (0, 70, hint_right, height - 100)
        self.rows_per_page = (grid[3] - grid[1]) // 40
        self.work = (grid[0] + 12, grid[1] + 8, grid[2] - 12, grid[3] - 8)
        self.row_height = (self.work[3] - self.work[1]) // max(self.rows_per_page, 1)

    def row(self, i):
        top = self.work[1] + i * self.row_height
        return (self.work[0] + 3, top + 3, self.work[2] - 3, top + self.row_height - 3)


def row_state(screen, layout, i):
    """The row's result by its text colour, and whether it is the selected row."""
    rect = layout.row(i)
    selected = screen.count((rect[0], rect[1], rect[0] + 3, rect[3]), SELECTED) > 3 * (rect[3] - rect[1]) // 2
    if screen.count(rect, PASS) > 3:
        return "pass", selected
    if screen.count(rect, FAIL) > 3:
        return "fail", selected
    if screen.count(rect, UNTESTED) > 3:
        return "untested", selected
    return None, selected  # no row here


def find_box(screen):
    """A question box: its body colour across the middle of the screen.
    Returns the body's rectangle and the centres of its buttons, left to right."""
    cy = screen.height // 2
    xs = [x for x in range(screen.width) if screen.pixel(x, cy) == BOX_BODY]
    if len(xs) < 100:
        return None
    left, right = xs[0], xs[-1] + 1
    column = left + 2
    ys = [y for y in range(screen.height) if screen.pixel(column, y) == BOX_BODY]
    top, bottom = ys[0], ys[-1] + 1
    # The buttons sit in the lower part of the box: runs of another colour on
    # the body, scanned along a line through them.
    buttons = []
    for y in range(bottom - 1, top + (bottom - top) // 2, -1):
        runs, start = [], None
        for x in range(left, right + 1):
            inside = x < right and screen.pixel(x, y) != BOX_BODY
            if inside and start is None:
                start = x
            elif not inside and start is not None:
                if x - start >= 40:
                    runs.append((start, x))
                start = None
        if runs:
            # The middle of the buttons' height: go on up while the runs last.
            y_low = y
            while y > top and any(screen.pixel((a + b) // 2 - 30, y - 1) != BOX_BODY for a, b in runs):
                y -= 1
            buttons = [((a + b) // 2, (y + y_low) // 2) for a, b in runs]
            break
    return (left, top, right, bottom), buttons


class Board:
    def __init__(self, build, program, scenario, rundir, viewer):
        self.tool = os.path.join(build, "sim", "uishull-board")
        self.dir = rundir
        self.lines = []
        self.lock = threading.Lock()
        command = [self.tool, "run", "--scenario", scenario, "--dir", rundir]
        if viewer:
            command.append("--viewer")
        self.proc = subprocess.Popen(command + ["--", program, "6"], stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True, errors="replace", bufsize=1)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.proc.stdout:
            with self.lock:
                self.lines.append(line.rstrip("\n"))

    def output(self, since=0):
        with self.lock:
            return self.lines[since:]

    def ctl(self, *words, check=True):
        r = subprocess.run([self.tool, "ctl", self.dir] + [str(w) for w in words], capture_output=True,
                           text=True, errors="replace")
        if check and r.returncode != 0:
            raise RuntimeError("ctl %s: %s" % (" ".join(map(str, words)), r.stderr.strip()))
        return r.returncode == 0, r.stdout.strip()

    def running(self):
        return self.proc.poll() is None

    def wait_ready(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end and self.running():
            if os.path.exists(os.path.join(self.dir, "board.sock")):
                return True
            time.sleep(0.05)
        return False

    def finish(self, seconds):
        if self.running():
            self.ctl("stop", check=False)
        try:
            self.proc.wait(seconds)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        self.reader.join(5)


class Operator:
    def __init__(self, board, out, answer):
        self.board = board
        self.out = out
        self.answer = answer
        self.mouse = False
        self.shot = os.path.join(board.dir, "operator-screen.png")

    def look(self):
        self.board.ctl("screenshot", self.shot)
        return Screen(self.shot)

    def save(self, name):
        png = os.path.join(self.out, name)
        self.board.ctl("screenshot", png)
        log("screenshot: " + png)

    def key(self, code):
        self.board.ctl("key", code)

    def wait_rescan(self, seen):
        # The program looks for input devices again a second after the
        # kernel's notice; until it has, a key press could land while the
        # keypad is being reopened.
        end = time.monotonic() + 15
        while time.monotonic() < end:
            if any("eventInit Success" in line for line in self.board.output(seen)):
                return True
            time.sleep(0.1)
        log("operator: the program did not look for input devices again")
        return False

    def plug_mouse(self, why):
        if self.mouse:
            return
        log("operator: %s; plugging a mouse in" % why)
        seen = len(self.board.output())
        self.board.ctl("plug", "mouse")
        self.mouse = True
        self.wait_rescan(seen)

    def unplug_mouse(self, why):
        if not self.mouse:
            return
        log("operator: %s; unplugging the mouse" % why)
        seen = len(self.board.output())
        self.board.ctl("unplug", "mouse")
        self.mouse = False
        self.wait_rescan(seen)

    def click(self, x, y):
        # Into the top-left corner first (the pointer stops at the screen's
        # edge), then onto the point: the pointer's start does not matter.
        self.board.ctl("mouse", "move", -10000, -10000)
        self.board.ctl("mouse", "move", x, y)
        self.board.ctl("mouse", "button", "left", "down")
        self.board.ctl("mouse", "button", "left", "up")

    def box_closes(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if not find_box(self.look()):
                return True
            time.sleep(0.1)
        return False

    def press_yes(self, buttons):
        # Two-button boxes open with the focus on 否 (no): the left arrow
        # moves it to 是 (yes), Enter answers.
        log("operator: pressing Left and Enter on the keypad (是, yes)")
        if len(buttons) == 2:
            self.key(KEY_LEFT)
        self.key(KEY_ENTER)
        return self.box_closes(3)

    def answer_yes(self, buttons):
        """Answers 是 (yes), the left button. Returns whether the box closed."""
        if self.answer == "mouse" and buttons:
            self.plug_mouse("a question to answer with the mouse")
            x, y = buttons[0]
            log("operator: clicking 是 (yes) at %d,%d" % (x, y))
            self.click(x, y)
            return self.box_closes(5)
        if self.press_yes(buttons):
            return True
        # The program reads the keypad only once it has looked for input
        # devices: the pointer test does, and so does plugging a mouse in or
        # out. The mouse goes out again before the answer, so that the
        # pointer test later asks for it.
        log("operator: the keypad gets no answer")
        self.plug_mouse("to make the program look for its input devices")
        self.unplug_mouse("not needed yet")
        return self.press_yes(buttons)


def test_plan(config_path):
    """Whether the program's config.ini switches the pointer test (the first
    device row) and the key test (the last) on; a missing or non-numeric value
    repeats the key before it, as the program reads it."""
    keys = ["test_mouse", "test_nandflash", "test_USBDisk", "test_wifi", "test_calts", "test_ethernet",
            "test_camera", "test_lcd", "test_audio", "test_motor", "test_sensor", "test_charge",
            "test_keypress"]
    values, section = {}, None
    try:
        with open(config_path, encoding="latin-1") as f:
            for line in f:
                line = line.split(";")[0].split("#")[0].strip()
                if line.startswith("[") and "]" in line:
                    section = line[1:line.index("]")]
                elif section == "function" and "=" in line:
                    k, v = line.split("=", 1)
                    values[k.strip()] = v.strip()
    except OSError:
        return False, False
    enabled = 0
    on = {}
    for k in keys:
        v = values.get(k, "")
        digits = v.lstrip("+-")
        if digits[:1].isdigit():
            n = ""
            for ch in digits:
                if not ch.isdigit():
                    break
                n += ch
            enabled = int(n) * (-1 if v.startswith("-") else 1)
        on[k] = enabled != 0
    return on["test_mouse"], on["test_keypress"]


def run(args):
    repo = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    program = os.path.abspath(args.program or os.path.join(args.build, "app", "uishull"))
    scenario = os.path.abspath(args.scenario or os.path.join(repo, "tools", "quicktest-board.ini"))
    os.makedirs(args.out, exist_ok=True)
    rundir = tempfile.mkdtemp(prefix="qt-")
    board = Board(os.path.abspath(args.build), program, scenario, rundir, args.viewer)
    op = Operator(board, os.path.abspath(args.out), args.answer)
    status = 1
    try:
        if not board.wait_ready(30) or not board.ctl("wait-line", "receive startup type=6", 60, check=False)[0]:
            log("the program did not start on the board:")
            for line in board.output():
                log("  " + line)
            return 1
        pointer_on, keys_on = test_plan(os.path.join(rundir, "work", "config.ini"))

        # The screen at its start: the first look that shows the list.
        end = time.monotonic() + 30
        while True:
            screen = op.look()
            layout = Layout(screen.width, screen.height)
            if row_state(screen, layout, 0)[0] is not None or time.monotonic() > end:
                break
            time.sleep(0.02)
        shutil.copyfile(op.shot, os.path.join(op.out, "quicktest-start.png"))
        log("screenshot: " + os.path.join(op.out, "quicktest-start.png"))

        first_question = True
        keys_pressed = 0
        seen = 0
        running_row = -1
        mouse_asked = False
        deadline = time.monotonic() + args.seconds
        while time.monotonic() < deadline and board.running():
            # The pointer test (the first row after the demo items) looks
            # for a mouse as it starts: a look that finds none ends with
            # "mouse set UNKNOW" alone.
            for line in board.output(seen):
                seen += 1
                if line.startswith("auto run "):
                    running_row = int(line.split()[2]) - 1
                elif "mouse set UNKNOW" in line:
                    mouse_asked = pointer_on and running_row == len(DEMO_NAMES)
                elif "mouse set TEST_PASS" in line:
                    mouse_asked = False
            if mouse_asked and not op.mouse:
                op.plug_mouse("the pointer test asks for a mouse")
                mouse_asked = False
            screen = op.look()
            box = find_box(screen)
            if box:
                if first_question:
                    op.save("quicktest-question.png")
                    first_question = False
                log("operator: the screen asks a question")
                if not op.answer_yes(box[1]):
                    log("operator: the question stays open")
                continue
            states = [row_state(screen, layout, i) for i in range(layout.rows_per_page)]
            rows = [s for s in states if s[0] is not None]
            results = [s[0] for s in rows]
            selected = [i for i, s in enumerate(rows) if s[1]]
            # The key test is the last row; while it is selected and has no
            # result it waits for the keys.
            if (keys_on and selected and selected[0] == len(rows) - 1 and results[-1] == "untested"
                    and keys_pressed < 3):
                keys_pressed += 1
                log("operator: the key test waits; pressing Menu, Back, VOL+ and VOL- on the keypad")
                for name, code in REQUIRED_KEYS:
                    op.key(code)
                time.sleep(1)
                continue
            if rows and "untested" not in results:
                break
            time.sleep(0.2)

        time.sleep(0.3)
        screen = op.look()
        op.save("quicktest-end.png")
        states = [row_state(screen, layout, i) for i in range(layout.rows_per_page)]
        results = [s[0] for s in states if s[0] is not None]
        device_names = {}
        if pointer_on:
            device_names[len(DEMO_NAMES)] = "pointer"
        if keys_on:
            device_names[len(results) - 1] = "keys"
        for i, result in enumerate(results):
            name = DEMO_NAMES[i] if i < len(DEMO_NAMES) else device_names.get(i, "row %d" % i)
            log("row %d %-7s %s" % (i, name, result))
        if screen.count(layout.status, PASS) > 20:
            log("verdict: all tests passed (全部测试通过！)")
        elif screen.count(layout.status, FAIL) > 20:
            log("verdict: tests failed (测试失败!)")
        else:
            log("verdict: none shown")
        status = 0 if results and "untested" not in results else 1
        if status:
            log("operator: not every test ended")
    finally:
        board.finish(20)
        log("program output:")
        for line in board.output():
            log("  " + line)
        try:
            with open(os.path.join(rundir, "state.json")) as f:
                state = json.load(f)
            power = state.get("power", [])
            log("poweroff requested: %s" % (", ".join(power) if power else "no"))
        except (OSError, ValueError) as e:
            log("the board left no state: %s" % e)
            status = 1
        if args.keep:
            log("run directory: " + rundir)
        else:
            shutil.rmtree(rundir, ignore_errors=True)
    return status


def main():
    ap = argparse.ArgumentParser(description="The quick test on the virtual board with a scripted operator.")
    ap.add_argument("build")
    ap.add_argument("out")
    ap.add_argument("--program")
    ap.add_argument("--scenario")
    ap.add_argument("--answer", choices=["keys", "mouse"], default="keys")
    ap.add_argument("--viewer", action="store_true")
    ap.add_argument("--seconds", type=float, default=120)
    ap.add_argument("--keep", action="store_true", help="keep the run directory")
    return run(ap.parse_args())


if __name__ == "__main__":
    sys.exit(main())
