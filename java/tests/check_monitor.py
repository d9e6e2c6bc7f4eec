#!/usr/bin/env python3
"""Checks what the bus monitor (zxmon --json) saw while a JUnit class ran.

    check_monitor.py MONITOR_JSON SERVICE[,SERVICE...]

Every line must be one JSON object (valid UTF-8). Each named service must have at least one call
or message whose command the wire catalogue names, whose status is named, and whose request or
reply was decoded (a number, text, record or list, not raw hex). Prints one example line per
service and a count per service; exit status 1 when a service is missing.
"""
import json
import sys
from collections import Counter


def decoded(value):
    if isinstance(value, str):
        return not value.startswith("hex:")
    return value is not None


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    lines = open(sys.argv[1], encoding="utf-8").read().splitlines()
    expected = [s for s in sys.argv[2].split(",") if s]
    seen = Counter()
    example = {}
    for n, text in enumerate(lines, 1):
        try:
            rec = json.loads(text)
        except ValueError:
            print(f"check_monitor: line {n} is not JSON: {text[:200]}", file=sys.stderr)
            return 1
        dest = rec.get("dest")
        seen[dest] += 1
        if not rec.get("command") or not rec.get("statusName"):
            continue
        if not rec.get("id", "").startswith("0x"):
            continue
        if decoded(rec.get("request")) or decoded(rec.get("reply")):
            example.setdefault(dest, rec)
    print(f"check_monitor: {len(lines)} lines; per service: {dict(sorted(seen.items(), key=str))}")
    missing = [s for s in expected if s not in example]
    for s in expected:
        if s in example:
            r = example[s]
            print(f"  {s}: {r['command']} ({r['id']}) {r['statusName']} "
                  f"request={json.dumps(r.get('request'))[:120]} reply={json.dumps(r.get('reply'))[:120]}")
    if missing:
        print(f"check_monitor: no decoded call of {', '.join(missing)} ", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
