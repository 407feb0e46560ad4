#!/usr/bin/env python3
"""Writes res/rec_start.wav, the beep the audio test plays before it records.

    python3 tools/gen_rec_start.py [--output FILE] [--check]

The program copies the file to the DSP byte for byte, header included, and
the codec's playback path runs at 48,000 Hz, stereo, 16-bit, so the beep is
made in that format: 0.3 s of a 1 kHz tone with 5 ms fades (no click), at a
quarter of full scale. Only integer arithmetic is used (a rational sine
approximation), so every machine makes the same bytes and --check can
compare them with the committed file.
"""

import argparse
import os
import struct
import sys

RATE = 48000
CHANNELS = 2
TONE_HZ = 1000
SECONDS_MS = 300
FADE_MS = 5
AMPLITUDE = 8192


def sine_degrees(deg):
    """Sine of an integer angle in degrees, as a fraction (num, den), by
    Bhaskara's approximation (within 0.2 % of full scale)."""
    deg %= 360
    sign = 1
    if deg >= 180:
        deg -= 180
        sign = -1
    p = deg * (180 - deg)
    return sign * 4 * p, 40500 - p


def samples():
    frames = RATE * SECONDS_MS // 1000
    fade = RATE * FADE_MS // 1000
    out = []
    for n in range(frames):
        # The phase in degrees is exact: 360 * 1000 / 48000 = 7.5 per frame,
        # so it is counted in half degrees and taken on whole degrees.
        half_degrees = n * 15
        num, den = sine_degrees(half_degrees // 2)
        if half_degrees % 2:
            num2, den2 = sine_degrees(half_degrees // 2 + 1)
            num, den = num * den2 + num2 * den, 2 * den * den2
        gain = min(n, frames - 1 - n, fade)
        value = (AMPLITUDE * num * gain) // (den * fade)
        out.append(max(-32768, min(32767, value)))
    return out


def wav_bytes():
    data = bytearray()
    for s in samples():
        data += struct.pack("<hh", s, s)
    header = b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVE"
    header += b"fmt " + struct.pack("<IHHIIHH", 16, 1, CHANNELS, RATE, RATE * CHANNELS * 2, CHANNELS * 2, 16)
    header += b"data" + struct.pack("<I", len(data))
    return header + bytes(data)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", default=os.path.join(here, "..", "res", "rec_start.wav"))
    parser.add_argument("--check", action="store_true", help="compare with the file instead of writing it")
    args = parser.parse_args()
    made = wav_bytes()
    if args.check:
        try:
            with open(args.output, "rb") as f:
                old = f.read()
        except OSError as e:
            print("%s: %s" % (args.output, e.strerror), file=sys.stderr)
            return 1
        if old != made:
            print("%s differs from what the generator makes; run tools/gen_rec_start.py" % args.output,
                  file=sys.stderr)
            return 1
        return 0
    with open(args.output, "wb") as f:
        f.write(made)
    return 0


if __name__ == "__main__":
    sys.exit(main())
