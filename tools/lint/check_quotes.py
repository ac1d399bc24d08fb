#!/usr/bin/env python3
"""Fails when a program that README.md or docs/glib.md shows is not, to the letter, in an example."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = {"README.md": {"cpp", "python"}, "docs/glib.md": {"python"}}
SUFFIXES = {"cpp": ".cc", "python": ".py"}


def main() -> int:
    is_good = True
    for page, languages in PAGES.items():
        quotes = re.findall(r"^```(\w+)\n(.*?)^```$", (ROOT / page).read_text(), re.M | re.S)
        for language, quote in quotes:
            examples = (ROOT / "examples").rglob(f"*{SUFFIXES[language]}")
            if not any(quote in path.read_text() for path in examples):
                print(f"{page}: not in examples/:", quote.splitlines()[0], file=sys.stderr)
                is_good = False
        for language in languages - {language for language, _ in quotes}:
            print(f"{page}: quotes no example in {language}", file=sys.stderr)
            is_good = False
    return 0 if is_good else 1


if __name__ == "__main__":
    sys.exit(main())
