#!/usr/bin/env python3
"""Runs the quick test on the virtual board with a scripted operator.

The program (the x86_64 build, or the armhf one under qemu-arm) runs unchanged
on the board: it draws on the board's /dev/fb0 and reads the board's keypad,
mouse and touch screen. The operator acts only through the board, as a person
at the handheld would. It reads the program's config.ini (the rows it will
run) and the lines the program prints ("auto run N": the row now running),
looks at the screen (the board's screenshots), and:
- answers each question "请确定此功能是否OK?" by touching 是 (yes) or 否 (no)
  (or on the keypad, or with a mouse), deciding from what it sees and what the
  board observed (quicktest_questions.py: the colour bars, the vibrator's
  pulses, the power source, the camera's live picture, what the speaker
  played);
- looks at the screen while the camera test streams (the frames counting in
  the board's state), before the quick test repaints over the picture;
- plugs a mouse in when the pointer test asks for one;
- calibrates the touch screen: finds each cross on the screen, touches it,
  then draws on the drawing surface and checks where the marks landed;
- presses Menu, Back, VOL+ and VOL- on the keypad while the key test waits;
- waits for the rows that run by themselves;
and at the end scrolls the list from its top to its bottom, prints each row's
result and the time it took, and the verdict read off the screen. It saves
screenshots of the start, the first question, the calibration, the key test's
countdown, the camera's picture, the colour bars and the end.

    quicktest-demo.py BUILD_DIR OUTPUT_DIR [--program PATH] [--scenario FILE]
                      [--over FILE] [--answer touch|keys|mouse] [--viewer]
                      [--seconds N] [--keep] [--report FILE]

BUILD_DIR is the x86_64 build (its sim/uishull-board runs the board); PROGRAM
defaults to BUILD_DIR/app/uishull; the scenario to tools/quicktest-board.ini.
--over lays a (faulty) board over the scenario (quicktest_board.py): its
devices and commands replace the scenario's, the program's config.ini stays.
--report copies the program's run report out of the board's directories at the
end.
Exit status 0 when every row ended, 1 otherwise.
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import operator_camera  # noqa: E402
import quicktest_board  # noqa: E402
from quicktest_questions import Evidence, judge  # noqa: E402
from quicktest_screen import (FAIL, PASS, Layout, Screen, calibrating, drawing_mode,  # noqa: E402
                              find_box, find_crosses, visible_rows)

# Linux key codes of the keypad: the ones the program's default key map turns
# into the toolkit keys the key test and the message box listen for.
KEY_ENTER, KEY_LEFT = 28, 105
KEY_MENU, KEY_BACK, KEY_VOLUMEUP, KEY_VOLUMEDOWN = 139, 158, 115, 114
REQUIRED_KEYS = [("Menu", KEY_MENU), ("Back", KEY_BACK), ("VOL+", KEY_VOLUMEUP), ("VOL-", KEY_VOLUMEDOWN)]

# The quick test's rows in the program's order: the five demo items, then the
# device rows config.ini's [function] switches on. (key, kind, shown name)
DEMO_ROWS = [("test1", "demo", "test1"), ("test2", "demo", "test2"), ("test2", "demo", "test2"),
             ("test3", "demo", "test3"), ("test4", "demo", "test4")]
DEVICE_ROWS = [
    ("test_mouse", "mouse", "鼠标"),
    ("test_nandflash", "nand", "内部储存"),
    ("test_USBDisk", "usbdisk", "U盘测试"),
    ("test_wifi", "wifi", "无线"),
    ("test_calts", "touch", "触摸屏校准"),
    ("test_ethernet", "ethernet", "以太网"),
    ("test_camera", "camera", "照相机"),
    ("test_lcd", "lcd", "LCD屏"),
    ("test_audio", "audio", "音频"),
    ("test_motor", "motor", "震动"),
    ("test_sensor", "sensor", "G-传感器"),
    ("test_charge", "charge", "充电状态"),
    ("test_keypress", "keys", "按键"),
]


def log(text):
    print(text, flush=True)


class PlanRow:
    def __init__(self, number, key, kind, name):
        self.number = number  # 1-based, as the program counts in "auto run N"
        self.key = key
        self.kind = kind
        self.name = name
        self.started = None
        self.ended = None
        self.result = None
        self.first_line = 0  # the program's first output line while it runs


def read_section(config_path, wanted):
    """The (key, value) lines of one section of the program's config.ini, in
    order; None without the file."""
    pairs, section = [], None
    try:
        with open(config_path, "rb") as f:
            text = f.read(1 << 20).decode("latin-1")
    except OSError:
        return None
    for line in text.splitlines():
        line = line.split(";")[0].split("#")[0].strip()
        if line.startswith("[") and "]" in line:
            section = line[1:line.index("]")].strip()
        elif section == wanted and "=" in line:
            k, v = line.split("=", 1)
            pairs.append((k.strip(), v.strip()))
    return pairs


def read_plan(config_path):
    """The rows the program will list, from its config.ini as it reads it: a
    missing or non-numeric value repeats the decision of the key before it;
    without the file the list is empty."""
    pairs = read_section(config_path, "function")
    if pairs is None:
        return []
    values = {}
    for k, v in pairs:
        values.setdefault(k, v)
    rows = list(DEMO_ROWS)
    enabled = 0
    for key, kind, name in DEVICE_ROWS:
        v = values.get(key, "")
        digits = v.lstrip("+-")
        n = ""
        for ch in digits[:9]:
            if not ch.isdigit():
                break
            n += ch
        if n:
            enabled = int(n) * (-1 if v.startswith("-") else 1)
        if enabled != 0:
            rows.append((key, kind, name))
    return [PlanRow(i + 1, k, kind, name) for i, (k, kind, name) in enumerate(rows)]


def report_on_host(rundir, config_path):
    """The run report the program's config.ini names ([report] file) as
    (the path the program writes, where that is from here), or None. The
    board puts the program's working directory in RUNDIR/work and its /data
    and /tmp in RUNDIR; a report elsewhere is out of the operator's reach."""
    pairs = read_section(config_path, "report") or []
    path = ""
    for k, v in pairs:
        if k == "file":
            path = v
    if not path or len(path) >= 1024 or "\0" in path:
        return None
    parts = path.split("/")
    if ".." in parts:
        return path, None
    if not path.startswith("/"):
        return path, os.path.join(rundir, "work", path)
    if path.startswith("/data/") or path.startswith("/tmp/"):
        return path, rundir + path
    if path.startswith("/app/"):
        return path, os.path.join(rundir, "work", path[len("/app/"):])
    return path, None


def copy_report(rundir, config_path, target):
    """Copies the run report out of the board's directories to `target` and
    says how many lines it holds."""
    found = report_on_host(rundir, config_path)
    if found is None:
        log("run report: config.ini names none")
        return
    path, host = found
    if host is None:
        log("run report: %s is outside the board's run directories" % path)
        return
    try:
        with open(host, "rb") as f:
            data = f.read(64 << 20)
    except OSError as e:
        log("run report: %s cannot be read (%s)" % (path, e.strerror))
        return
    os.makedirs(os.path.dirname(os.path.abspath(target)), exist_ok=True)
    with open(target, "wb") as f:
        f.write(data)
    log("run report: %s, %d lines, copied to %s" % (path, data.count(b"\n"), target))


def program_process(root, program):
    """The process running `program` under the board whose process is `root`:
    the deepest descendant (the program itself, or qemu-arm running it) whose
    arguments name the program, bubblewrap left out. None if not found."""
    children = {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open("/proc/%s/stat" % entry, "rb") as f:
                stat = f.read(4096).decode("latin-1")
            ppid = int(stat[stat.rindex(")") + 2:].split()[1])
        except (OSError, ValueError, IndexError):
            continue
        children.setdefault(ppid, []).append(int(entry))
    found, todo = None, [(root, 0)]
    while todo:
        pid, depth = todo.pop()
        for child in children.get(pid, []):
            todo.append((child, depth + 1))
            try:
                with open("/proc/%d/cmdline" % child, "rb") as f:
                    argv = f.read(65536).split(b"\0")
            except OSError:
                continue
            names = [a.decode("utf-8", "replace") for a in argv if a]
            if names and os.path.basename(names[0]) != "bwrap" and program in names:
                if found is None or depth + 1 > found[1]:
                    found = (child, depth + 1)
    return found[0] if found else None


def memory_of(pid):
    """The fields of a process's /proc/PID/status (Name, VmHWM, VmRSS, RssAnon,
    RssFile, ...); None when it is gone."""
    fields = {}
    try:
        with open("/proc/%d/status" % pid, "rb") as f:
            for line in f.read(65536).decode("latin-1").splitlines():
                key, _, value = line.partition(":")
                fields[key] = value.strip()
    except OSError:
        return None
    return fields


class Board:
    def __init__(self, build, program, scenario, rundir, viewer):
        self.tool = os.path.join(build, "sim", "uishull-board")
        self.dir = rundir
        self.lines = []  # (arrival time, line)
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
                self.lines.append((time.monotonic(), line.rstrip("\n")))

    def output(self, since=0):
        with self.lock:
            return [line for _, line in self.lines[since:]]

    def timed_output(self, since=0):
        with self.lock:
            return self.lines[since:]

    def printed(self, text):
        """Whether the program has printed a line containing text, as the
        board has read its output (ahead of this operator's own copy)."""
        return self.ctl("wait-line", text, 0, check=False)[0]

    def catch_up(self, seen, seconds=10):
        """Waits until lines beyond the first seen have reached the operator."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            with self.lock:
                if len(self.lines) > seen:
                    return True
            time.sleep(0.02)
        return False

    def ctl(self, *words, check=True):
        r = subprocess.run([self.tool, "ctl", self.dir] + [str(w) for w in words], capture_output=True,
                           text=True, errors="replace")
        if check and r.returncode != 0:
            raise RuntimeError("ctl %s: %s" % (" ".join(map(str, words)), r.stderr.strip()))
        return r.returncode == 0, r.stdout.strip()

    def state(self):
        ok, text = self.ctl("state", check=False)
        try:
            return json.loads(text) if ok else {}
        except ValueError:
            return {}

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
        self.keypad_read = False  # the program has looked for its input devices
        self.shot = os.path.join(board.dir, "operator-screen.png")
        self.saved = set()
        # What the operator saw while a row ran, for its question: kind ->
        # (answer, reason).
        self.looks = {}
        self.camera_looks = 0
        self.touch_missed = False  # a touch on a button did not answer

    def look(self):
        self.board.ctl("screenshot", self.shot)
        return Screen(self.shot)

    def look_still(self, seconds=5):
        """A screen that no longer moves: two looks in a row alike."""
        end = time.monotonic() + seconds
        last = self.look()
        while time.monotonic() < end:
            time.sleep(0.05)
            screen = self.look()
            if screen.same(last):
                return screen
            last = screen
        return last

    def save(self, name, once=True):
        if once and name in self.saved:
            return
        self.saved.add(name)
        png = os.path.join(self.out, name)
        self.board.ctl("screenshot", png)
        log("screenshot: " + png)

    def look_at_camera(self):
        """The camera test streams: a screenshot and the board's state taken
        together, the picture judged against what the camera films. A person
        looks again when the first look was not clear, while it streams."""
        shot = os.path.join(self.board.dir, "camera-look.png")
        self.board.ctl("screenshot", shot)
        state = self.board.state()
        try:
            yes, why = operator_camera.judge_camera(shot, state)
        except (OSError, ValueError) as e:
            yes, why = False, "the screen could not be read (%s)" % e
        self.camera_looks += 1
        camera = state.get("camera", {})
        log("operator: the camera streams (%s frames taken); looking at the screen: %s: %s"
            % (camera.get("dequeued", "?"), why, "yes" if yes else "no"))
        self.looks["camera"] = (yes, why)
        if yes or "camera-picture.png" not in self.saved:
            self.saved.add("camera-picture.png")
            png = os.path.join(self.out, "camera-picture.png")
            shutil.copyfile(shot, png)
            log("screenshot: " + png)

    def listen_to_the_end(self, seconds=15):
        """Waits until the speaker has been quiet for a moment: its output
        (the board's speaker.wav) no longer grows."""
        path = os.path.join(self.board.dir, "speaker.wav")
        end = time.monotonic() + seconds
        last = -1
        while time.monotonic() < end:
            try:
                size = os.path.getsize(path)
            except OSError:
                size = -1
            if size == last:
                return
            last = size
            time.sleep(0.4)

    def key(self, code):
        self.board.ctl("key", code)

    def seen_rescan(self, seen):
        return any("eventInit Success" in line for line in self.board.output(seen))

    def wait_rescan(self, seen):
        # The program looks for input devices again a second after the
        # kernel's notice; until it has, a key press could land while the
        # keypad is being reopened.
        end = time.monotonic() + 15
        while time.monotonic() < end:
            if self.seen_rescan(seen):
                self.keypad_read = True
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
        # Its pointer out of the way, into the bottom-right corner: over a
        # calibration cross it would hide it.
        self.board.ctl("mouse", "move", 10000, 10000)

    def unplug_mouse(self, why):
        if not self.mouse:
            return
        log("operator: %s; unplugging the mouse" % why)
        seen = len(self.board.output())
        self.board.ctl("unplug", "mouse")
        self.mouse = False
        self.wait_rescan(seen)

    def open_keypad(self):
        # The program reads the keypad only once it has looked for input
        # devices: the pointer test does, and so does plugging a mouse in or
        # out. The mouse goes out again, so that the pointer test asks for it.
        if self.keypad_read or self.seen_rescan(0):
            self.keypad_read = True
            return
        log("operator: the keypad is not read yet")
        self.plug_mouse("to make the program look for its input devices")
        self.unplug_mouse("not needed yet")

    def click(self, x, y):
        # Into the top-left corner first (the pointer stops at the screen's
        # edge), then onto the point: the pointer's start does not matter.
        self.board.ctl("mouse", "move", -10000, -10000)
        self.board.ctl("mouse", "move", x, y)
        self.board.ctl("mouse", "button", "left", "down")
        self.board.ctl("mouse", "button", "left", "up")

    def touch(self, x, y, ms=150):
        self.board.ctl("touch", x, y, ms)

    def box_closes(self, seconds, since):
        """Whether the box went: no box on the screen, or the next row has
        started since the answer (its own question may be showing already)."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if any(line.startswith("auto run ") for line in self.board.output(since)):
                return True
            if not find_box(self.look()):
                return True
            time.sleep(0.1)
        return False

    def answer_box(self, buttons, yes):
        """Answers 是 (yes, the left button) or 否 (no, the right one).
        Returns whether the box closed."""
        word = "是 (yes)" if yes else "否 (no)"
        since = len(self.board.output())
        button = buttons[0] if yes or len(buttons) < 2 else buttons[1]
        if self.answer == "touch" and buttons and self.touch_missed:
            log("operator: the touch screen missed before; answering on the keypad")
        elif self.answer == "touch" and buttons:
            log("operator: touching %s at %d,%d" % (word, button[0], button[1]))
            self.touch(button[0], button[1])
            if self.box_closes(10, since):
                return True
            # A worn panel, or one whose calibration failed: the keypad from
            # now on, as a person would after a touch that did nothing.
            self.touch_missed = True
            log("operator: the touch did not answer")
        if self.answer == "mouse" and buttons:
            self.plug_mouse("a question to answer with the mouse")
            log("operator: clicking %s at %d,%d" % (word, button[0], button[1]))
            self.click(button[0], button[1])
            if self.box_closes(10, since):
                return True
        # On the keypad: two-button boxes open with the focus on 否 (no); the
        # left arrow moves it to 是 (yes), Enter answers.
        self.open_keypad()
        log("operator: pressing %sEnter on the keypad: %s" % ("Left and " if yes and len(buttons) == 2 else "",
                                                                word))
        if yes and len(buttons) == 2:
            self.key(KEY_LEFT)
        self.key(KEY_ENTER)
        return self.box_closes(10, since)

    # The touch screen's calibration window.
    def calibrate(self):
        log("operator: the calibration window is open; touching its crosses")
        self.save("touch-calibration.png")
        touched, last, repeats, touches, missed = None, None, 0, 0, 0
        end = time.monotonic() + 90
        while time.monotonic() < end:
            screen = self.look()
            if drawing_mode(screen):
                return self.draw(screen)
            if not calibrating(screen):
                log("operator: the calibration window closed before a fit passed")
                return
            crosses = find_crosses(screen)
            if len(crosses) != 1 or crosses != last:
                # Not there yet, or still sliding: look again. The mouse's
                # pointer (the toolkit shows it where the window opens) may
                # hide a cross: out of the way with it.
                if not crosses and not last and self.mouse:
                    self.board.ctl("mouse", "move", 10000, 10000)
                last = crosses
                continue
            cross = crosses[0]
            if cross == touched:
                # The same target again: the touch did not count (the panel
                # gave no sample there). Try again after a moment, each time
                # a little nearer the middle of the screen, where a worn
                # panel still measures.
                repeats += 1
                if repeats < 3:
                    time.sleep(0.3)
                    continue
                missed += 1
            else:
                missed = 0
            repeats = 0
            if touches >= 60:
                log("operator: the crosses keep coming; giving up")
                return
            touches += 1
            aim = toward_middle(cross, screen.width, screen.height, INWARD_STEP * missed)
            if aim == cross:
                log("operator: a cross at %d,%d; touching it for 300 ms" % cross)
            else:
                log("operator: a cross at %d,%d did not take the touch; touching %d,%d, nearer the middle, "
                    "for 300 ms" % (cross + aim))
            self.touch(aim[0], aim[1], 300)
            touched, last = cross, None
        log("operator: the calibration did not end")

    def draw(self, screen):
        log("operator: the drawing surface is shown; drawing on it")
        w, h = screen.width, screen.height
        points = [(w // 4, h * 2 // 3), (w * 3 // 4, h * 2 // 3), (w // 2, h * 3 // 4)]
        for x, y in points:
            self.touch(x, y, 200)
        self.board.ctl("swipe", w // 4, h * 5 // 6, w * 3 // 4, h * 5 // 6, 400)
        screen = self.look()
        self.save("touch-drawing.png")
        for x, y in points:
            mark = mark_centre(screen, x, y)
            if mark is None:
                log("operator: no mark where it touched %d,%d" % (x, y))
            else:
                log("operator: touched %d,%d, the mark is at %d,%d (%.1f pixels off)"
                    % (x, y, mark[0], mark[1], ((mark[0] - x) ** 2 + (mark[1] - y) ** 2) ** 0.5))
        # It closes by itself four seconds after the last touch.
        end = time.monotonic() + 15
        while time.monotonic() < end:
            if not drawing_mode(self.look()):
                log("operator: the drawing surface closed by itself")
                return
            time.sleep(0.2)
        log("operator: the drawing surface stays open")


# How much nearer the middle each further touch of a cross that did not move
# lands, on each axis.
INWARD_STEP = 20


def toward_middle(point, width, height, step):
    """`point` moved by up to `step` pixels on each axis toward the middle of
    the screen (never past it)."""
    out = []
    for v, middle in zip(point, (width // 2, height // 2)):
        if v < middle:
            out.append(min(v + step, middle))
        else:
            out.append(max(v - step, middle))
    return tuple(out)


def mark_centre(screen, x, y, reach=12):
    """The centre of the red and magenta pixels a touch painted near (x, y)."""
    xs, ys = [], []
    for yy in range(max(y - reach, 0), min(y + reach + 1, screen.height)):
        for xx in range(max(x - reach, 0), min(x + reach + 1, screen.width)):
            if screen.px[yy][xx] in (0xF800, 0xF81F):
                xs.append(xx)
                ys.append(yy)
    if not xs:
        return None
    return (min(xs) + max(xs)) / 2.0, (min(ys) + max(ys)) / 2.0


def read_list(op, layout, count):
    """Scrolls the list to its top with a finger (or the mouse when the touch
    does not move it), then down a few rows at a time, and reads each row's
    result. Rows are known again after a move by their names' pixels. Returns
    the results in list order (None for a row not read)."""
    x = (layout.work[0] + layout.work[2]) // 2
    top, bottom, height = layout.work[1], layout.work[3], layout.row_height

    def drag(y1, y2, ms):
        if op.use_mouse_to_scroll:
            op.plug_mouse("to scroll the list")
            op.board.ctl("mouse", "move", -10000, -10000)
            op.board.ctl("mouse", "move", x, y1)
            op.board.ctl("mouse", "button", "left", "down")
            steps = 8
            for i in range(steps):
                op.board.ctl("mouse", "move", 0, (y2 - y1) // steps)
                time.sleep(ms / 1000.0 / steps)
            op.board.ctl("mouse", "button", "left", "up")
        else:
            op.board.ctl("swipe", x, y1, x, y2, ms)
        return op.look_still()

    screen = op.look_still()
    rows = visible_rows(screen, layout)
    if count > len(rows):
        moved = False
        for _ in range(5):
            # Down to the top of the list: long strokes downwards, until the
            # list no longer moves.
            after = drag(top + 10, bottom - 10, 300)
            if not after.same(screen):
                moved = True
                screen = after
                continue
            if moved or op.use_mouse_to_scroll:
                break
            # The touch did not move it: the mouse then.
            op.use_mouse_to_scroll = True
            log("operator: the list does not follow the finger; scrolling with the mouse")
        screen = op.look_still()
        rows = visible_rows(screen, layout)
    known = list(rows)
    tries = 0
    while len(known) < count and tries < 3 * count:
        tries += 1
        # Up by about two rows at a time: a slow stroke, so that the list
        # glides on little after the finger leaves.
        after = drag(bottom - 20, bottom - 20 - 2 * height, 1500)
        view = visible_rows(after, layout)
        offset = None
        for o in range(1, len(known) + 1):
            overlap = [(v, known[o + j]) for j, v in enumerate(view) if o + j < len(known)]
            if overlap and all(a.signature == b.signature for a, b in overlap):
                offset = o
                break
        if offset is None:
            log("operator: lost the list's place while scrolling")
            break
        new = view[len(known) - offset:]
        if not new:
            break  # the bottom: nothing more comes up
        known.extend(new)
    return [r.result for r in known[:count]] + [None] * (count - len(known))


def run(args):
    repo = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    program = os.path.abspath(args.program or os.path.join(args.build, "app", "uishull"))
    scenario = os.path.abspath(args.scenario or os.path.join(repo, "tools", "quicktest-board.ini"))
    os.makedirs(args.out, exist_ok=True)
    rundir = tempfile.mkdtemp(prefix="qt-")
    if args.over:
        # The board file lives beside the run directory, not in it: the board
        # empties and fills the run directory itself.
        merged = rundir + ".ini"
        try:
            quicktest_board.lay_over(scenario, os.path.abspath(args.over), merged)
        except (OSError, ValueError) as e:
            log("cannot lay %s over %s: %s" % (args.over, scenario, e))
            shutil.rmtree(rundir, ignore_errors=True)
            return 2
        log("board: %s laid over %s" % (args.over, scenario))
        scenario = merged
    board = Board(os.path.abspath(args.build), program, scenario, rundir, args.viewer)
    op = Operator(board, os.path.abspath(args.out), args.answer)
    op.use_mouse_to_scroll = args.answer == "mouse"
    status = 1
    try:
        if not board.wait_ready(30) or not board.ctl("wait-line", "receive startup type=6", 60, check=False)[0]:
            log("the program did not start on the board:")
            for line in board.output():
                log("  " + line)
            return 1
        plan = read_plan(os.path.join(rundir, "work", "config.ini"))
        log("operator: config.ini lists %d rows: %s" % (len(plan), ", ".join(r.key for r in plan)))

        # The screen at its start: the first look that shows the list.
        end = time.monotonic() + 30
        while True:
            screen = op.look()
            layout = Layout(screen.width, screen.height)
            if visible_rows(screen, layout) or time.monotonic() > end:
                break
            time.sleep(0.02)
        op.save("quicktest-start.png")

        keys_pressed = 0
        camera_row = next((r for r in plan if r.kind == "camera"), None)
        seen = 0
        running = None  # the PlanRow now running
        mouse_asked = False
        before = board.state()  # what the board had observed at the previous answer
        started = time.monotonic()
        deadline = started + args.seconds
        ended = False
        while time.monotonic() < deadline and board.running():
            for when, line in board.timed_output(seen):
                seen += 1
                if line.startswith("auto run "):
                    try:
                        number = int(line.split()[2])
                    except (IndexError, ValueError):
                        continue
                    if running is not None and running.ended is None:
                        running.ended = when
                    running = plan[number - 1] if 0 < number <= len(plan) else None
                    if running is not None:
                        running.started = when
                        running.first_line = seen
                        log("operator: row %d (%s) runs" % (running.number, running.key))
                elif "mouse set UNKNOW" in line:
                    # The pointer test found no mouse as it started.
                    mouse_asked = running is not None and running.kind == "mouse"
                elif "mouse set TEST_PASS" in line:
                    mouse_asked = False
                elif "eventInit Success" in line:
                    op.keypad_read = True
            # The camera streams for a few seconds only: the board's state is
            # watched from the row before it, so that a late "auto run" line
            # cannot make the operator miss the live picture.
            if (camera_row is not None and camera_row.ended is None and op.camera_looks < 3
                    and running is not None and camera_row.number - 1 <= running.number <= camera_row.number
                    and not op.looks.get("camera", (False,))[0]):
                camera = board.state().get("camera", {})
                if camera.get("streaming") and camera.get("dequeued", 0) >= 1:
                    op.look_at_camera()
                    continue
            if mouse_asked and not op.mouse:
                op.plug_mouse("the pointer test asks for a mouse")
                mouse_asked = False
            screen = op.look()
            if calibrating(screen) or drawing_mode(screen):
                op.calibrate()
                continue
            box = find_box(screen)
            if box:
                # The program prints "auto run N" before row N starts, but
                # the line may reach the operator after the row's question is
                # on the screen: a box seen after the next row has started is
                # that row's, once its line has arrived.
                if (running is not None and running.number < len(plan)
                        and board.printed("auto run %d " % (running.number + 1))):
                    board.catch_up(seen)
                    continue
                if running is None:
                    log("operator: a question, but no row runs")
                    op.answer_box(box[1], False)
                    continue
                op.save("quicktest-question.png")
                if running.kind == "lcd":
                    op.save("colour-bars.png")
                if running.kind == "audio":
                    # The question comes after the playback: listened to
                    # until the speaker is quiet.
                    op.listen_to_the_end()
                state = board.state()
                yes, why = judge(running.kind, Evidence(screen, box, layout, state, before, board.dir, op.looks))
                log("operator: row %d (%s) asks; %s: %s" % (running.number, running.key, why,
                                                           "yes" if yes else "no"))
                # The next question looks at what happened after this one.
                before = state
                if not op.answer_box(box[1], yes):
                    log("operator: the question stays open")
                continue
            rows = visible_rows(screen, layout)
            selected = [r for r in rows if r.selected]
            # The key test waits for its keys while its row is selected and
            # has no result.
            if (running is not None and running.kind == "keys" and selected and selected[0].result == "untested"
                    and keys_pressed < 3):
                keys_pressed += 1
                op.open_keypad()
                if "key-countdown.png" not in op.saved:
                    # The countdown shows in the log pane a second after the
                    # test starts waiting.
                    time.sleep(1.5)
                    op.save("key-countdown.png")
                log("operator: the key test waits; pressing Menu, Back, VOL+ and VOL- on the keypad")
                for name, code in REQUIRED_KEYS:
                    op.key(code)
                time.sleep(1)
                continue
            if (running is not None and running.number == len(plan) and selected
                    and selected[0].result in ("pass", "fail")):
                # The last row has its result and nothing asks: the run is over.
                time.sleep(0.3)
                if not find_box(op.look()):
                    ended = True
                    break
            time.sleep(0.1)
        finished = time.monotonic()
        if running is not None and running.ended is None:
            running.ended = finished
        # The program's resident memory at its verdict, after every row ran
        # (under qemu-arm, the emulator's process with the program in it).
        pid = program_process(board.proc.pid, program)
        fields = memory_of(pid) if pid else None
        if fields and "VmHWM" in fields:
            log("memory at the verdict: %s (pid %d): VmHWM %s, VmRSS %s (anonymous %s, file-backed %s)"
                % (fields.get("Name", "?"), pid, fields["VmHWM"], fields.get("VmRSS", "?"),
                   fields.get("RssAnon", "?"), fields.get("RssFile", "?")))
        else:
            log("memory at the verdict: the program's process was not found")

        screen = op.look_still()
        op.save("quicktest-end.png")
        if screen.count(layout.status, PASS) > 20:
            verdict = "all tests passed (全部测试通过！)"
        elif screen.count(layout.status, FAIL) > 20:
            verdict = "tests failed (测试失败!)"
        else:
            verdict = "none shown"
        box = find_box(screen)
        if box and box[1]:
            # The all-passed notice: taken note of, then closed.
            op.answer_box(box[1], True)
        results = read_list(op, layout, len(plan)) if plan else []
        for row, result in zip(plan, results):
            row.result = result or "unread"
            took = ""
            if row.started is not None and row.ended is not None:
                took = "%6.1f s" % (row.ended - row.started)
            log("row %2d %-14s %-8s %s  %s" % (row.number, row.key, row.result, took, row.name))
        failed = [str(r.number) for r in plan if r.result == "fail"]
        log("failed rows: %s" % (" ".join(failed) if failed else "none"))
        log("verdict: %s" % verdict)
        log("the run took %.1f s" % (finished - started))
        status = 0 if ended and plan and all(r.result in ("pass", "fail") for r in plan) else 1
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
        if args.report:
            copy_report(rundir, os.path.join(rundir, "work", "config.ini"), os.path.abspath(args.report))
        if args.keep:
            log("run directory: " + rundir)
        else:
            shutil.rmtree(rundir, ignore_errors=True)
            if args.over:
                try:
                    os.unlink(rundir + ".ini")
                except OSError:
                    pass
    return status


def main():
    ap = argparse.ArgumentParser(description="The quick test on the virtual board with a scripted operator.")
    ap.add_argument("build")
    ap.add_argument("out")
    ap.add_argument("--program")
    ap.add_argument("--scenario", help="the board (default: tools/quicktest-board.ini)")
    ap.add_argument("--over", help="a board laid over the scenario, but for its [workdir]")
    ap.add_argument("--answer", choices=["touch", "keys", "mouse"], default="touch")
    ap.add_argument("--viewer", action="store_true")
    ap.add_argument("--seconds", type=float, default=180)
    ap.add_argument("--keep", action="store_true", help="keep the run directory")
    ap.add_argument("--report", help="copy the program's run report ([report] file of its config.ini) here")
    return run(ap.parse_args())


if __name__ == "__main__":
    sys.exit(main())
