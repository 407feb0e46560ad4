"""The scripted operator's judgement of the camera test, made the way a person
makes it: by looking at the screen while the camera test shows its live
picture and comparing it with what the board's camera is filming (colour bars
with a grey square that moves from frame to frame).

    import operator_camera
    ok, reason = operator_camera.judge_camera("shot.png", state)

screenshot: a PNG of the board's screen ("uishull-board ctl RUNDIR screenshot
FILE.png"), or an object with width, height and rows (bytes of R, G, B per
pixel, one entry a line). state: the board's state ("ctl state"), as JSON text
or as the parsed dict. Take both while the test streams ("camera":
"streaming" true, "dequeued" 1 or more): once the test has ended, the quick
test's repaint covers the picture, as it does on the device.

Returns (True, reason) when the bars are where the camera test puts them
(320x240 at 360,40; the CCIR 656 sensor's 640x480 at the origin), in their
colours, and the square stands where the frame shown (or the one before it)
has it; else (False, reason).
"""

import json

from quicktest_screen import read_rgb_png

# The board camera's picture (sim/board/camera_picture.cpp), in YUV.
BARS = [(235, 128, 128), (210, 16, 146), (170, 166, 16), (145, 54, 34),
        (106, 202, 222), (81, 90, 240), (41, 240, 110), (16, 128, 128)]
BAR_NAMES = ["white", "yellow", "cyan", "green", "magenta", "red", "blue", "black"]
MARKER = (126, 128, 128)
MARKER_SIZE = 16
TOLERANCE = 12  # per channel: a person does not see a difference this small


def to_rgb(y, u, v):
    """The camera test's conversion: double precision, truncated, clamped."""
    u, v = u - 128, v - 128
    def clamp(x):
        x = int(x)
        return 0 if x < 0 else 255 if x > 255 else x
    return (clamp(y + 1.14 * v), clamp(y - 0.39 * u - 0.58 * v), clamp(y + 2.03 * u))


def marker_x(width, sequence):
    if width <= MARKER_SIZE:
        return 0
    return (sequence * 8 % (width - MARKER_SIZE)) & ~1


class Picture:
    """A screenshot as R, G, B bytes a line (the board's 8-bit RGB PNG)."""

    def __init__(self, path):
        self.width, self.height, self.rows = read_rgb_png(path)


def _pixel(shot, x, y):
    line = shot.rows[y]
    return tuple(line[3 * x:3 * x + 3])


def _close(a, b):
    return all(abs(p - q) <= TOLERANCE for p, q in zip(a, b))


def judge_camera(screenshot, state):
    """(yes/no, reason) for the camera test's picture on the screen."""
    if isinstance(state, (str, bytes)):
        state = json.loads(state)
    camera = state.get("camera") if isinstance(state, dict) else None
    if not camera:
        return False, "the board has no camera"
    shot = Picture(screenshot) if isinstance(screenshot, str) else screenshot
    if camera.get("dequeued", 0) < 1:
        return False, "the camera test took no frame from the camera"
    w, h = int(camera.get("width", 0)), int(camera.get("height", 0))
    if w < 32 or h < 32:
        return False, "the camera delivered no picture size"
    semi = camera.get("layout") == "semi-planar"
    x0, y0 = (0, 0) if semi else (360, 40)
    if x0 + w > shot.width or y0 + h - 1 > shot.height:
        return False, "a %dx%d picture at %d,%d does not fit the %dx%d screen" % (w, h, x0, y0, shot.width, shot.height)
    # The camera test's rows land one line up: row r on line y0 + r - 1.
    top, bottom = y0, y0 + h - 2
    my = (h - MARKER_SIZE) // 2 + y0 - 1
    bad = []
    for i, yuv in enumerate(BARS):
        want = to_rgb(*yuv)
        left, right = x0 + i * w // 8, x0 + (i + 1) * w // 8
        xs = [left + 2, (left + right) // 2, right - 3]
        rows = [y for y in range(top, bottom + 1, 7) if not my <= y < my + MARKER_SIZE]
        seen = [_pixel(shot, x, y) for x in xs for y in rows]
        good = sum(1 for p in seen if _close(p, want))
        if good < 0.95 * len(seen):
            bad.append("%s (want %02x%02x%02x, see %02x%02x%02x)" % ((BAR_NAMES[i],) + want + seen[len(seen) // 2]))
    if bad:
        return False, "the picture at %d,%d is not the camera's colour bars: %s" % (x0, y0, ", ".join(bad))
    grey = to_rgb(*MARKER)
    last = int(camera.get("last_dequeued", -1))
    for seq in (last, last - 1):
        if seq < 0:
            continue
        mx = x0 + marker_x(w, seq)
        inside = [_pixel(shot, mx + dx, my + dy) for dx in (1, 8, 14) for dy in (1, 8, 14)]
        if all(_close(p, grey) for p in inside):
            return True, ("the screen shows the camera's colour bars, %dx%d at %d,%d, with the square of frame %d"
                          % (w, h, x0, y0, seq))
    return False, "the camera's square is not where frame %d has it: the picture is not live" % last


if __name__ == "__main__":
    import sys
    if len(sys.argv) != 3:
        sys.exit("usage: operator_camera.py SCREENSHOT.png STATE.json")
    with open(sys.argv[2]) as f:
        ok, why = judge_camera(sys.argv[1], f.read())
    print(("yes: " if ok else "no: ") + why)
    sys.exit(0 if ok else 1)
