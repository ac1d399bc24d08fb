#!/usr/bin/env python3
"""Fails when C++ that README.md shows is not, to the letter, in one of the examples."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def main() -> int:
    examples = [path.read_text() for path in (ROOT / "examples").glob("*.cc")]
    quotes = re.findall(r"^```cpp\n(.*?)^```$", (ROOT / "README.md").read_text(), re.M | re.S)
    missing = [quote for quote in quotes if not any(quote in example for example in examples)]
    for quote in missing:
        print("README.md: not in examples/:", quote.splitlines()[0], file=sys.stderr)
    if not quotes:
        print("README.md: quotes no example", file=sys.stderr)
    return 1 if missing or not quotes else 0


if __name__ == "__main__":
    sys.exit(main())
