#!/usr/bin/env python3
"""The audio operator's verdicts on made-up board runs: the beep and the full
playback of what the microphone heard is "yes"; a silent microphone, a cut
recording, a missing playback or no speaker at all is "no"."""

import math
import os
import struct
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools"))
import operator_audio  # noqa: E402


def wav(path, channels, rate, data):
    with open(path, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVE")
        f.write(b"fmt " + struct.pack("<IHHIIHH", 16, 1, channels, rate, rate * channels * 2, channels * 2, 16))
        f.write(b"data" + struct.pack("<I", len(data)) + data)


def tone(samples, level):
    return b"".join(struct.pack("<h", int(level * math.sin(2 * math.pi * 440 * i / 8000))) for i in range(samples))


BASE = None


def fresh_dir():
    return tempfile.mkdtemp(dir=BASE.name)


def run(mic, recording=None, beep=True, playback=True):
    d = fresh_dir()
    wav(os.path.join(d, "microphone.wav"), 1, 8000, mic)
    rec = mic[:48000] if recording is None else recording
    up = b"".join(rec[i:i + 2] * 12 for i in range(0, len(rec) - 1, 2))
    up += b"\0" * (577536 - len(up))
    beep_bytes = tone(2000, 8000) if beep else b""
    wav(os.path.join(d, "speaker.wav"), 2, 48000, beep_bytes + (up if playback else b""))
    return operator_audio.judge(d, '{"sound": {"microphone": "tone"}}')


def main():
    global BASE
    BASE = tempfile.TemporaryDirectory()
    failures = []

    def check(name, got, want):
        if got[0] != want:
            failures.append("%s: %r" % (name, got))

    mic = tone(30000, 8000)
    check("full playback", run(mic), True)
    check("silent microphone", run(b"\0" * 60000), False)
    check("cut recording", run(mic, recording=mic[:10000]), False)
    check("no beep", run(mic, beep=False), False)
    check("no playback", run(mic, playback=False), False)
    check("no speaker", operator_audio.judge(fresh_dir(), None), False)
    BASE.cleanup()
    for f in failures:
        print("FAIL " + f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
