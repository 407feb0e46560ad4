#!/usr/bin/env python3
"""Reads the quick test's run report (one JSON object a line) for the operator
tests and prints it in a form a shell compares line by line:

    test ROW NAME RESULT ANSWERS QUESTIONS_AND_ANSWERS
    verdict VERDICT PASSED FAILED UNTESTED

tab-separated, in the report's order. ANSWERS are the answers' values joined by
commas ("-" for none); QUESTIONS_AND_ANSWERS the answers as compact JSON with
sorted keys. Time, duration and log lines are left out: they differ from run
to run. Exit status 1, with the reason on stderr, for a line that is not a JSON
object with the fields of its kind, or for any other line kind.

    quicktest_report.py REPORT
"""

import json
import sys

MAX_BYTES = 16 << 20


def fail(text):
    sys.stderr.write("quicktest_report.py: %s\n" % text)
    return 1


def main(argv):
    if len(argv) != 2:
        sys.stderr.write(__doc__)
        return 2
    try:
        with open(argv[1], "rb") as f:
            data = f.read(MAX_BYTES + 1)
    except OSError as e:
        return fail("%s: %s" % (argv[1], e.strerror))
    if len(data) > MAX_BYTES:
        return fail("%s: larger than a run's report" % argv[1])
    if data and not data.endswith(b"\n"):
        return fail("the last line is not whole")
    out = []
    for number, raw in enumerate(data.split(b"\n")[:-1], 1):
        try:
            line = json.loads(raw.decode("utf-8"))
        except (UnicodeDecodeError, ValueError) as e:
            return fail("line %d is not JSON: %s" % (number, e))
        if not isinstance(line, dict):
            return fail("line %d is not an object" % number)
        event = line.get("event")
        if event == "test":
            row, name, result = line.get("row"), line.get("name"), line.get("result")
            answers = line.get("answers", [])
            if (not isinstance(row, int) or not isinstance(name, str) or result not in ("pass", "fail", "untested")
                    or not isinstance(answers, list)
                    or not all(isinstance(a, dict) and isinstance(a.get("answer"), str) for a in answers)
                    or not isinstance(line.get("duration_ms"), int) or not isinstance(line.get("time"), str)):
                return fail("line %d is not a whole test line: %s" % (number, raw[:200]))
            values = ",".join(a["answer"] for a in answers) or "-"
            out.append("\t".join(["test", str(row), name, result, values,
                                  json.dumps(answers, ensure_ascii=False, sort_keys=True, separators=(",", ":"))]))
        elif event == "verdict":
            fields = [line.get(k) for k in ("verdict", "passed", "failed", "untested")]
            if not isinstance(fields[0], str) or not all(isinstance(v, int) for v in fields[1:]):
                return fail("line %d is not a whole verdict line" % number)
            out.append("\t".join(["verdict"] + [str(v) for v in fields]))
        else:
            return fail("line %d is a %r line" % (number, event))
    sys.stdout.write("".join(t + "\n" for t in out))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
