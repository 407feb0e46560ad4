#!/usr/bin/env python3
"""Lays a board over another: a faulty board (one of sim/scenarios/) over the
main command's healthy one, so that the quick test runs every row the main
command switches on and only the fault differs.

    quicktest_board.py BASE OVER OUT

Every key of OVER replaces BASE's key of the same section (new keys are added
at the end of their section), except [workdir] and [screen]: the program's
config.ini and res/ stay BASE's, as paths made absolute, so OUT may live
anywhere, and so does BASE's panel (the faulty boards are written for a 16-bit
screen; the main command's is 32-bit, which the camera's picture needs, and a
faulty device elsewhere must not spoil it).
"""

import os
import sys

# Sections a laid-over board does not change: the program's working directory
# and the panel.
KEPT = ("workdir", "screen")

# A scenario larger than this is not a board file.
MAX_BYTES = 1 << 20


def read_ini(path):
    """The sections of an INI file in order: [(name, [(key, value), ...])].
    Comments (; or # at a line's start) and blank lines are dropped."""
    with open(path, "rb") as f:
        data = f.read(MAX_BYTES + 1)
    if len(data) > MAX_BYTES:
        raise ValueError("%s: too large for a board file" % path)
    sections, current = [], None
    for number, raw in enumerate(data.decode("utf-8", "replace").splitlines(), 1):
        line = raw.strip()
        if not line or line[0] in ";#":
            continue
        if line.startswith("["):
            if not line.endswith("]"):
                raise ValueError("%s:%d: bad section line" % (path, number))
            current = (line[1:-1].strip(), [])
            sections.append(current)
        elif "=" in line and current is not None:
            key, value = line.split("=", 1)
            current[1].append((key.strip(), value.strip()))
        else:
            raise ValueError("%s:%d: not a key = value line" % (path, number))
    return sections


def merge(base_path, over_path):
    base = read_ini(base_path)
    over = read_ini(over_path)
    merged = [(name, list(keys)) for name, keys in base]
    for name, keys in over:
        if name in KEPT:
            continue
        target = next((s for s in merged if s[0] == name), None)
        if target is None:
            target = (name, [])
            merged.append(target)
        for key, value in keys:
            for i, (k, _) in enumerate(target[1]):
                if k == key:
                    target[1][i] = (key, value)
                    break
            else:
                target[1].append((key, value))
    # The working directory's files, relative to the base board.
    here = os.path.dirname(os.path.abspath(base_path))
    for name, keys in merged:
        if name == "workdir":
            for i, (k, v) in enumerate(keys):
                if k in ("config", "res") and not os.path.isabs(v):
                    keys[i] = (k, os.path.normpath(os.path.join(here, v)))
    return merged


def write_ini(sections, path, note):
    with open(path, "w", encoding="utf-8") as f:
        f.write("; %s\n" % note)
        for name, keys in sections:
            f.write("\n[%s]\n" % name)
            for k, v in keys:
                f.write("%s = %s\n" % (k, v))


def lay_over(base_path, over_path, out_path):
    write_ini(merge(base_path, over_path), out_path,
              "%s laid over %s" % (os.path.basename(over_path), os.path.basename(base_path)))
    return out_path


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    try:
        lay_over(argv[1], argv[2], argv[3])
    except (OSError, ValueError) as e:
        sys.stderr.write("quicktest_board.py: %s\n" % e)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
