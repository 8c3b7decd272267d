#!/usr/bin/env python3
"""Holds metrics against Prometheus's text exposition format, version 0.0.4.

usage: check_metrics.py FILE

Says what does not fit, a line each, and ends with 1 if anything does not.
"""

import re
import sys

NAME = r"[a-zA-Z_:][a-zA-Z0-9_:]*"
LABEL = r'[a-zA-Z_][a-zA-Z0-9_]*="(?:[^"\\\n]|\\["\\n])*"'
SAMPLE = re.compile(rf"({NAME})(?:\{{({LABEL}(?:,{LABEL})*)\}})? (\S+)")
SUFFIXES = {"histogram": ("_bucket", "_sum", "_count")}


def main() -> int:
    with open(sys.argv[1], encoding="utf-8", newline="") as file:
        text = file.read()
    troubles = [] if text.endswith("\n") and "\r" not in text else ["lines do not end with a line feed"]
    types, helped, seen, family = {}, set(), set(), None
    for line in text.removesuffix("\n").split("\n"):
        if heading := re.fullmatch(rf"# (HELP|TYPE) ({NAME}) (.*)", line):
            kind, name, rest = heading.groups()
            if kind == "HELP":
                troubles += [f"helped twice: {name}"] if name in helped else []
                helped.add(name)
            else:
                troubles += [f"typed twice: {name}"] if name in types else []
                troubles += [f"no type: {line}"] if rest not in ("counter", "gauge", "histogram") else []
                types[name], family = rest, name
            continue
        sample = SAMPLE.fullmatch(line)
        if not sample:
            troubles.append(f"no sample: {line!r}")
            continue
        name, labels, value = sample.groups()
        names = [family + suffix for suffix in SUFFIXES.get(types.get(family), ("",))] if family else []
        troubles += [f"not of the family before it: {line}"] if name not in names else []
        troubles += [f"told twice: {line}"] if (name, labels) in seen else []
        troubles += [f"not ours: {line}"] if not name.startswith("quernlight_") else []
        seen.add((name, labels))
        float(value)
        if types.get(family) == "counter" and (not name.endswith("_total") or float(value) < 0):
            troubles.append(f"no counter: {line}")
    troubles += [f"without help: {name}" for name in types.keys() - helped]
    print("\n".join(troubles))
    return 1 if troubles else 0


if __name__ == "__main__":
    sys.exit(main())
