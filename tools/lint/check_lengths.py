#!/usr/bin/env python3
"""Fails where a file of Src/ or tools/ is too long, unless long_files.txt names it with a reason."""

import pathlib
import sys

from sources import ROOT, project_sources

MAX_LINES = 600
ALLOWED = pathlib.Path(__file__).with_name("long_files.txt")


def allowed_files():
    lines = ALLOWED.read_text(encoding="utf-8").splitlines()
    entries = [line.split(None, 1) for line in lines if line.strip() and not line.startswith("#")]
    without_reason = [entry[0] for entry in entries if len(entry) < 2]
    if without_reason:
        sys.exit(f"{ALLOWED.name}: no reason given for {', '.join(without_reason)}")
    return {entry[0] for entry in entries}


def main():
    long_files = {}
    for path in project_sources(".h", ".cc", ".py"):
        lines = len((ROOT / path).read_text(encoding="utf-8").splitlines())
        if path.parts[0] in ("Src", "tools") and lines > MAX_LINES:
            long_files[str(path)] = lines
    allowed = allowed_files()
    faults = [f"{path}:1: {lines} lines, more than {MAX_LINES}"
              for path, lines in long_files.items() if path not in allowed]
    faults += [f"{ALLOWED.name}: {path} is not longer than {MAX_LINES} lines any more"
               for path in sorted(allowed - long_files.keys())]
    print(*faults, sep="\n", end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
