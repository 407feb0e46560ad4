#!/usr/bin/env python3
"""Runs the quick test with the demo items and a scripted operator.

The program runs headless (a screen file) through tools/sandbox.sh: its /tmp
is a directory of this run and poweroff is a harmless stand-in. The operator
plays the test-input socket: it answers every question the screen asks, then
reads each test's result and the verdict off the screen (the colours the
quick-test screen uses for them), prints them, and saves screenshots of the
key moments.

    quicktest-demo.py BUILD_DIR OUTPUT_DIR [--runall 0|1]
"""

import argparse
import os
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

WIDTH, HEIGHT = 800, 480
PASS, FAIL, UNTESTED = 0x5D82, 0xF800, 0x5ACB
STATUS_BG = 0x971F

# The quick-test screen's geometry on 800x480, from the window's layout rules.
HINT = (0, 0, WIDTH * 2 // 5, 70)
STATUS = (HINT[2], 0, WIDTH, 70)
GRID = (0, 70, HINT[2], HEIGHT - 100)
ROWS = (GRID[3] - GRID[1]) // 40
WORK = (GRID[0] + 12, GRID[1] + 8, GRID[2] - 12, GRID[3] - 8)
ROW_HEIGHT = (WORK[3] - WORK[1]) // ROWS
BOX = ((WIDTH - 300) // 2, (HEIGHT - 170) // 2)          # a question box, 300x170
YES_BUTTON = (BOX[0] + 53 + 45, BOX[1] + 117 + 16)         # centre of button 0 ("是")


def log(text):
    print(text, flush=True)


class Screen:
    def __init__(self, path):
        self.path = path

    def grab(self):
        with open(self.path, "rb") as f:
            data = f.read()
        return struct.unpack("<%dH" % (len(data) // 2), data)

    @staticmethod
    def count(pixels, rect, colour):
        left, top, right, bottom = rect
        n = 0
        for y in range(top, bottom):
            row = y * WIDTH
            for x in range(left, right):
                if pixels[row + x] == colour:
                    n += 1
        return n


class Operator:
    def __init__(self, input_path):
        self.input_path = input_path

    def send(self, line):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
            s.connect(self.input_path)
            s.sendall((line + "\n").encode())

    def tap(self, x, y):
        self.send("tap %d %d" % (x, y))


def wait_for(predicate, seconds):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if predicate():
            return True
        time.sleep(0.05)
    return predicate()


def row_rect(i):
    top = WORK[1] + i * ROW_HEIGHT
    return (WORK[0] + 3, top + 3, WORK[2] - 3, top + ROW_HEIGHT - 3)


def row_result(pixels, i):
    rect = row_rect(i)
    if Screen.count(pixels, rect, PASS) > 3:
        return "pass"
    if Screen.count(pixels, rect, FAIL) > 3:
        return "fail"
    return "untested"


def box_shown(pixels):
    # The question box: a frame of 0x5D5D around a body of 0x8C71.
    return Screen.count(pixels, (BOX[0] + 10, BOX[1] + 10, BOX[0] + 40, BOX[1] + 40), 0x8C71) > 400


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("out")
    ap.add_argument("--runall", default="1")
    args = ap.parse_args()

    uishull = os.path.abspath(os.path.join(args.build, "app", "uishull"))
    shot = os.path.join(args.build, "tools", "lumi-shot")
    os.makedirs(args.out, exist_ok=True)
    run = tempfile.mkdtemp(prefix="quicktest-demo-")
    try:
        # The program's working directory holds its resources, as on the device.
        repo = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
        shutil.copytree(os.path.join(repo, "res"), os.path.join(run, "res"))
        with open(os.path.join(run, "config.ini"), "w") as f:
            f.write("[function]\n[autorun]\nrunall = %s\n" % args.runall)
        # tools/sandbox.sh gives the program this directory as its /tmp (or,
        # where bubblewrap cannot run, rewrites /tmp/ to it) and stand-ins for
        # poweroff: either way its files land here.
        wrap = ["bash", os.path.join(repo, "tools", "sandbox.sh"), run]
        env = dict(os.environ, LUMI_DISPLAY="file:/tmp/screen.raw:%dx%d" % (WIDTH, HEIGHT),
                   LUMI_INPUT="/tmp/input")
        proc = subprocess.Popen(wrap + [uishull, "6"], env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, bufsize=1)
        screen = Screen(os.path.join(run, "screen.raw"))
        operator = Operator(os.path.join(run, "input"))
        lines = []

        def read_until(text, seconds):
            end = time.monotonic() + seconds
            while time.monotonic() < end:
                line = proc.stdout.readline()
                if not line:
                    return False
                lines.append(line.rstrip("\n"))
                if text in line:
                    return True
            return False

        def save(name):
            png = os.path.join(args.out, name)
            subprocess.run([shot, screen.path, png, "%dx%d" % (WIDTH, HEIGHT)], check=True)
            log("screenshot: " + png)

        if not read_until("receive startup type=6", 10) or not wait_for(
                lambda: os.path.exists(operator.input_path), 10):
            log("the program did not start:\n" + "\n".join(lines))
            return 1

        # The automatic run starts by itself; answer every question as it comes.
        first_question = True
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            time.sleep(0.2)
            pixels = screen.grab()
            if box_shown(pixels):
                if first_question:
                    save("quicktest-question.png")
                    first_question = False
                log("operator: the screen asks a question; answering yes")
                operator.tap(*YES_BUTTON)
                wait_for(lambda: not box_shown(screen.grab()), 5)
                continue
            results = [row_result(pixels, i) for i in range(5)]
            verdict_pass = Screen.count(pixels, STATUS, PASS)
            verdict_fail = Screen.count(pixels, STATUS, FAIL)
            if "untested" not in results or verdict_fail > 20 or verdict_pass > 20:
                if "untested" not in results:
                    break
        time.sleep(0.5)
        pixels = screen.grab()
        if box_shown(pixels):
            save("quicktest-verdict-box.png")
            operator.send("key 1")
            wait_for(lambda: not box_shown(screen.grab()), 5)
            pixels = screen.grab()
        save("quicktest-end.png")
        names = ["test1", "test2", "test2", "test3", "test4"]
        for i, name in enumerate(names):
            log("row %d %-6s %s" % (i, name, row_result(pixels, i)))
        if Screen.count(pixels, STATUS, PASS) > 20:
            log("verdict: all tests passed (全部测试通过！)")
        elif Screen.count(pixels, STATUS, FAIL) > 20:
            log("verdict: tests failed (测试失败!)")
        else:
            log("verdict: none shown")
        proc.send_signal(signal.SIGTERM)
        try:
            proc.wait(10)
        except subprocess.TimeoutExpired:
            proc.kill()
        rest = proc.stdout.read()
        lines += rest.splitlines()
        log("program output:")
        for line in lines:
            log("  " + line)
        powered = os.path.exists(os.path.join(run, "commands.log"))
        log("poweroff requested: %s" % ("yes" if powered else "no"))
        return 0
    finally:
        shutil.rmtree(run, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
