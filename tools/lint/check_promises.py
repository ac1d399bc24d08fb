#!/usr/bin/env python3
"""Fails when docs/reliability.md names a test that is not there.

A test is named as `FILE`, or as `FILE` "WORDS" where the words stand in the file.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/reliability.md"
TEST = re.compile(r'`((?:tests|fuzz)/[\w./-]+)`(?:\s+"([^"]+)")?')


def main() -> int:
    tests = TEST.findall(DOCUMENT.read_text())
    missing = []
    for name, words in tests:
        path = ROOT / name
        if not path.is_file():
            missing.append(name)
        elif words not in path.read_text():
            missing.append(f'{name} "{words}"')
    for test in missing:
        print("docs/reliability.md: no such test:", test, file=sys.stderr)
    if not tests:
        print("docs/reliability.md: names no test", file=sys.stderr)
    return 1 if missing or not tests else 0


if __name__ == "__main__":
    sys.exit(main())
