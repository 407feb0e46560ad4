#!/usr/bin/env python3
"""Judges the audio test on the virtual board the way the operator does by ear.

The audio test plays a start beep, records three seconds from the microphone
and plays them back; the operator answers whether the playback was what the
microphone heard. On the board the speaker's output is RUNDIR/speaker.wav
(48,000 Hz, stereo, 16-bit) and what the microphone delivered is
RUNDIR/microphone.wav. judge(run_dir, state) compares them:

  - something was played before the playback (the beep), and
  - the last 282 x 2048 bytes played are the first 48,000 bytes the
    microphone delivered, each 16-bit sample six stereo frames long, and
  - what was played back is not silence.

It returns (True, reason) or (False, reason). As a tool:

    python3 tools/operator_audio.py RUNDIR        (prints yes/no and the reason; exit 0 yes, 1 no)
"""

import json
import os
import struct
import sys

RECORD_BYTES = 48000
PLAYBACK_BYTES = 577536
REPEAT = 12  # bytes of playback per byte recorded: each 16-bit sample six frames, two channels
# A sample level below which the playback counts as silence (full scale 32767).
SILENCE_RMS = 60
# The share of the recording that must come back unchanged (a cut one does not).
MATCH_NEEDED = 0.98


def read_wav(path):
    """(channels, rate, bits, data) of a PCM WAV file, or None."""
    try:
        with open(path, "rb") as f:
            raw = f.read()
    except OSError:
        return None
    if len(raw) < 12 or raw[0:4] != b"RIFF" or raw[8:12] != b"WAVE":
        return None
    at, fmt, data = 12, None, None
    while at + 8 <= len(raw):
        tag, size = raw[at:at + 4], struct.unpack_from("<I", raw, at + 4)[0]
        body = raw[at + 8:at + 8 + size]
        if tag == b"fmt " and len(body) >= 16:
            fmt = struct.unpack_from("<HHIIHH", body)
        elif tag == b"data":
            data = body
        at += 8 + size + (size & 1)
    if not fmt or data is None or fmt[0] != 1:
        return None
    return fmt[1], fmt[2], fmt[5], data


def rms(samples):
    if not samples:
        return 0.0
    return (sum(s * s for s in samples) / len(samples)) ** 0.5


def judge(run_dir, state=None):
    """(heard_right, reason) for the audio test of the board run in run_dir.

    state: the board's state (the JSON text of "ctl state", or its dict); used
    for the reason only and may be None."""
    if isinstance(state, str):
        try:
            state = json.loads(state)
        except ValueError:
            state = None
    sound = state.get("sound", {}) if isinstance(state, dict) else {}
    speaker = read_wav(os.path.join(run_dir, "speaker.wav"))
    if speaker is None:
        return False, "no sound device: nothing came out of the speaker"
    channels, rate, bits, played = speaker
    if (channels, rate, bits) != (2, 48000, 16):
        return False, "the speaker file is not 48 kHz stereo 16-bit"
    if not played:
        return False, "nothing came out of the speaker"
    mic = read_wav(os.path.join(run_dir, "microphone.wav"))
    if mic is None or len(mic[3]) < RECORD_BYTES:
        return False, "only the start beep was heard: nothing was recorded or played back"
    if len(played) < PLAYBACK_BYTES + 2:
        return False, "the playback was missing or cut short"
    beep = played[:-PLAYBACK_BYTES]
    playback = played[-PLAYBACK_BYTES:]
    recording = mic[3][:RECORD_BYTES]
    beep_samples = struct.unpack("<%dh" % (len(beep) // 2), beep[:len(beep) // 2 * 2])
    if rms(beep_samples) < SILENCE_RMS:
        return False, "no start beep before the recording"
    matched = 0
    heard = []
    for i in range(0, RECORD_BYTES, 2):
        want = recording[i:i + 2] * REPEAT
        if playback[i * REPEAT:(i + 2) * REPEAT] == want:
            matched += 1
            heard.append(struct.unpack("<h", recording[i:i + 2])[0])
    share = matched / (RECORD_BYTES // 2)
    what = sound.get("microphone", "the microphone's sound")
    if share < MATCH_NEEDED:
        return False, "the playback is not what the microphone heard (%.0f %% of it came back)" % (100 * share)
    if rms(heard) < SILENCE_RMS:
        return False, "the playback is silent: the microphone heard nothing"
    return True, "the start beep, then the 3 s the microphone heard (%s) played back" % what


def main():
    if len(sys.argv) != 2:
        print(__doc__.strip().splitlines()[-1].strip(), file=sys.stderr)
        return 2
    state = None
    try:
        with open(os.path.join(sys.argv[1], "state.json")) as f:
            state = f.read()
    except OSError:
        pass
    ok, reason = judge(sys.argv[1], state)
    print(("yes: " if ok else "no: ") + reason)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
