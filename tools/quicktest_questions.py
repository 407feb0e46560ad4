"""How the scripted operator answers the quick test's question "请确定此功能是否OK?"
(is this function OK?): one handler per kind of row. A handler looks at what
the operator sees (the screenshot with the box) and at what the board
observed since the previous question (`ctl state`), and returns its answer
with the reason it prints. It never answers from the row alone: a row whose
device did nothing visible gets "no".

A new kind (the audio or camera rows) adds a module with its handlers,
registered with @question("kind"), and imports it at the end of this file.
"""

from quicktest_screen import BAR_NAMES, colour_bars, text_extent

QUESTIONS = {}


def question(kind):
    def register(handler):
        QUESTIONS[kind] = handler
        return handler

    return register


class Evidence:
    """What a handler may look at: the screen with the box on it, the box, the
    quick-test layout, the board's state now and at the previous answer, the
    board's run directory (what its speaker played) and what the operator saw
    while the row ran (looks: kind -> (answer, reason), e.g. the camera's live
    picture, judged before the repaint covered it)."""

    def __init__(self, screen, box, layout, state, before, run_dir=None, looks=None):
        self.screen = screen
        self.box = box
        self.layout = layout
        self.state = state or {}
        self.before = before or {}
        self.run_dir = run_dir
        self.looks = looks or {}


def judge(kind, evidence):
    """(answer, reason) for a question on a row of that kind."""
    handler = QUESTIONS.get(kind)
    if handler is None:
        return False, "nothing the operator can check for this row"
    return handler(evidence)


@question("demo")
def demo_item(ev):
    # The demo items drive no device: their question is answered as they are
    # built to be answered on the device, yes.
    return True, "a demo item, nothing to check"


@question("lcd")
def colour_bars_shown(ev):
    left, top, right, bottom = ev.box[0]
    # The box (and the bars' exit button under it) covers the middle; its
    # frame reaches a few pixels beyond the body.
    shares = colour_bars(ev.screen, (left - 8, top - 8, right + 8, bottom + 8))
    seen = ", ".join("%s %d%%" % (n, round(100 * s)) for n, s in zip(BAR_NAMES, shares))
    if all(s >= 0.9 for s in shares):
        return True, "the five colour bars are on the screen (%s)" % seen
    return False, "the colour bars are not right (%s)" % seen


@question("motor")
def vibrator_pulsed(ev):
    now = ev.state.get("vibrator", {}).get("pulses", [])
    before = ev.before.get("vibrator", {}).get("pulses", [])
    new = now[len(before):] if now[:len(before)] == before else now
    if new and all(isinstance(p, int) and p > 0 for p in new):
        return True, "the vibrator pulsed (%s ms)" % ", ".join(str(p) for p in new)
    return False, "the vibrator did not move"


# The log line of the charging-state row: "现在是电池供电?" (on battery) is 7.5
# characters wide, "现在是外部电源供电?" (on external power) 9.5; the line's
# width over its height tells them apart whatever the font's size.
BATTERY_LINE_SPLIT = 8.7


@question("charge")
def power_source_matches(ev):
    battery = ev.state.get("battery", {})
    supply = str(battery.get("supply_power", "missing"))
    opens = battery.get("opens", 0)
    opened_before = ev.before.get("battery", {}).get("opens", 0)
    if supply not in ("1", "2"):
        return False, "the board has no known power source (supply_power %s)" % supply
    if not opens > opened_before:
        return False, "the program did not read the power source"
    log = ev.layout.log
    line = text_extent(ev.screen, (log[0] + 2, log[1] + 2, log[2] - 25, log[1] + 34), 0xDEDB)
    if line is None:
        return False, "the screen says nothing about the power source"
    width, height = line[2] - line[0], line[3] - line[1]
    says = "2" if width > BATTERY_LINE_SPLIT * height else "1"
    names = {"1": "battery", "2": "external power"}
    if says != supply:
        return False, "the screen says %s, the board runs on %s" % (names[says], names[supply])
    return True, "the screen says %s, as the board runs" % names[supply]


# The camera and audio rows' handlers register themselves on import.
import quicktest_camera_audio  # noqa: E402,F401
