"""What the scripted operator sees: the board's screenshots, read as a person
reads the handheld's screen (the list's rows and their colours, a question box
and its buttons, the calibration crosses, the colour bars), never from knowing
where the program meant to draw them beyond the window's own layout rules."""

import struct
import zlib

# The colours (RGB565) the quick-test screen uses.
PASS, FAIL, UNTESTED = 0x5D82, 0xF800, 0x5ACB
SELECTED = 0xDEDB
BOX_BODY = 0x8C71
WHITE = 0xFFFF
# The calibration window's background.
CALIBRATION_BACKGROUND = 0x18E3
# The colour bars, top to bottom.
BARS = [0xF800, 0x07E0, 0x001F, 0x07FF, 0xFFE0]
BAR_NAMES = ["red", "green", "blue", "cyan", "yellow"]

# A screenshot larger than this is refused rather than decoded.
MAX_SIDE = 4096
MAX_PNG_BYTES = 64 << 20


def rgb565(r, g, b):
    return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3)


def read_rgb_png(path):
    """(width, height, rows) of an 8-bit RGB PNG as the board writes it (no
    palette, no interlace): rows holds each line's R, G, B bytes. Bounded on
    any file: a picture too large, damaged or not of that kind is a
    ValueError naming the file."""
    with open(path, "rb") as f:
        data = f.read(MAX_PNG_BYTES + 1)
    if len(data) > MAX_PNG_BYTES:
        raise ValueError("%s: picture too large" % path)
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("%s: not a PNG" % path)
    pos, idat = 8, []
    width = height = 0
    while pos + 8 <= len(data):
        n, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + n]
        pos += 12 + n
        if kind == b"IHDR":
            if len(body) != 13:
                raise ValueError("%s: bad header" % path)
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            if depth != 8 or colour != 2 or interlace != 0:
                raise ValueError("%s: not an 8-bit RGB picture" % path)
        elif kind == b"IDAT":
            idat.append(body)
        elif kind == b"IEND":
            break
    if not (0 < width <= MAX_SIDE and 0 < height <= MAX_SIDE):
        raise ValueError("%s: bad size" % path)
    stride = width * 3
    try:
        d = zlib.decompressobj()
        raw = d.decompress(b"".join(idat), (stride + 1) * height)
    except zlib.error as e:
        raise ValueError("%s: bad picture data (%s)" % (path, e))
    if len(raw) < (stride + 1) * height:
        raise ValueError("%s: short picture data" % path)
    prev = bytearray(stride)
    rows = []
    for y in range(height):
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
        elif kind != 0:
            raise ValueError("%s: bad row filter %d" % (path, kind))
        rows.append(bytes(line))
        prev = line
    return width, height, rows


class Screen:
    """One screenshot of the board's frame buffer, as RGB565 values."""

    def __init__(self, path):
        self.width, self.height, self.rows = read_rgb_png(path)
        # The whole picture as RGB565, row by row, for the scans below.
        self.px = [[rgb565(r[3 * x], r[3 * x + 1], r[3 * x + 2]) for x in range(self.width)] for r in self.rows]

    def pixel(self, x, y):
        return self.px[y][x]

    def count(self, rect, colour):
        left, top, right, bottom = rect
        n = 0
        for y in range(max(top, 0), min(bottom, self.height)):
            line = self.px[y]
            n += line[max(left, 0):min(right, self.width)].count(colour)
        return n

    def share(self, colour):
        """The part of the screen in that colour, 0 to 1."""
        return self.count((0, 0, self.width, self.height), colour) / float(self.width * self.height)

    def same(self, other):
        return other is not None and self.px == other.px


class Layout:
    """Where the quick-test screen puts its parts, from the window's layout rules."""

    def __init__(self, width, height):
        hint_right = width * 2 // 5
        self.status = (hint_right, 0, width, 70)
        grid = (0, 70, hint_right, height - 100)
        self.log = (hint_right, 70, width, height - 100)
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


def list_rows(screen, layout):
    """The visible rows, top to bottom: (result, selected) of each one shown."""
    states = [row_state(screen, layout, i) for i in range(layout.rows_per_page)]
    return [s for s in states if s[0] is not None]


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


def calibrating(screen):
    """The calibration window: its dark background fills most of the screen."""
    return screen.share(CALIBRATION_BACKGROUND) > 0.6


def find_crosses(screen, arm=8):
    """The centres of white crosses: a pixel from which white runs at least
    `arm` pixels left, right, up and down (a two-pixel-wide cross gives its
    top-left centre pixel). Text and button borders have no such point."""
    found = []
    w, h = screen.width, screen.height
    px = screen.px
    for y in range(arm, h - arm):
        line = px[y]
        x = arm
        while x < w - arm:
            if line[x] == WHITE and all(line[x - k] == WHITE and line[x + k] == WHITE for k in range(1, arm + 1)):
                if all(px[y - k][x] == WHITE and px[y + k][x] == WHITE for k in range(1, arm + 1)):
                    if not any(abs(x - fx) <= 3 and abs(y - fy) <= 3 for fx, fy in found):
                        found.append((x, y))
            x += 1
    return found


def drawing_mode(screen):
    """The calibration window after a passing fit: white with a black grid."""
    return screen.share(WHITE) > 0.6 and screen.count((0, 0, screen.width, screen.height), 0x0000) > screen.width


def squares(screen, colour, around, reach=8):
    """Pixels of a painted square of that colour near a point."""
    x, y = around
    return screen.count((x - reach, y - reach, x + reach + 1, y + reach + 1), colour)


def colour_bars(screen, skip=None):
    """The five colour bars, each a fifth of the height: for each band, the
    part of its pixels (outside the `skip` rectangle, where a box or a button
    may cover it) that have the band's colour. Returns the list of shares."""
    band = screen.height // 5
    shares = []
    for i, colour in enumerate(BARS):
        top = i * band
        bottom = screen.height if i == 4 else top + band
        total = hits = 0
        for y in range(top, bottom):
            line = screen.px[y]
            for x in range(0, screen.width, 4):
                if skip and skip[0] <= x < skip[2] and skip[1] <= y < skip[3]:
                    continue
                total += 1
                hits += line[x] == colour
        shares.append(hits / float(total) if total else 0.0)
    return shares


def text_extent(screen, rect, background):
    """The columns and rows that hold anything but the background inside
    `rect`: (left, top, right, bottom), or None when it is empty."""
    left, top, right, bottom = rect
    xs, ys = [], []
    for y in range(max(top, 0), min(bottom, screen.height)):
        line = screen.px[y]
        cols = [x for x in range(max(left, 0), min(right, screen.width)) if line[x] != background]
        if cols:
            ys.append(y)
            xs.append(cols[0])
            xs.append(cols[-1])
    if not ys:
        return None
    return min(xs), min(ys), max(xs) + 1, max(ys) + 1


ODD_ROW = 0xF7BE


class Row:
    """One whole row of the list as the screen shows it."""

    def __init__(self, top, result, selected, signature):
        self.top = top
        self.result = result
        self.selected = selected
        # The positions of the name's fully-coloured pixels: the same for the
        # same name whatever its colour, so a row is known again after the
        # list has moved.
        self.signature = signature


def visible_rows(screen, layout):
    """The rows wholly inside the list, top to bottom, wherever the list has
    been scrolled to. The rows' tops are found from the odd rows' background
    down the list's left edge; the rows below the last test are left out."""
    x = layout.work[0] + 1
    top, bottom, height = layout.work[1], layout.work[3], layout.row_height
    if height < 8:
        return []
    phase, y = 0, top
    while y < bottom:
        if screen.px[y][x] == ODD_ROW:
            start = y
            while y < bottom and screen.px[y][x] == ODD_ROW:
                y += 1
            if start > top and y - start >= height // 2:
                phase = (start - 1 - top) % height
                break
        else:
            y += 1
    rows = []
    for t in range(top + phase, bottom - height + 1, height):
        rect = (layout.work[0] + 3, t + 3, layout.work[2] - 3, t + height - 3)
        counts = {PASS: 0, FAIL: 0, UNTESTED: 0}
        signature = []
        for yy in range(rect[1], rect[3]):
            line = screen.px[yy]
            for xx in range(rect[0], rect[2]):
                c = line[xx]
                if c in counts:
                    counts[c] += 1
                    signature.append((xx - rect[0], yy - rect[1]))
        if counts[PASS] > 3:
            result = "pass"
        elif counts[FAIL] > 3:
            result = "fail"
        elif counts[UNTESTED] > 3:
            result = "untested"
        else:
            continue
        selected = sum(1 for yy in range(t + 1, t + height - 3) if screen.px[yy][x] == SELECTED) > height // 2
        rows.append(Row(t, result, selected, frozenset(signature)))
    return rows
