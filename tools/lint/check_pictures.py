#!/usr/bin/env python3
"""Fails when a document shows a picture that is not there or not whole, or none shows one of docs/images."""

import pathlib
import re
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHOWN = re.compile(r"!\[[^\]]+\]\(([^)\s]+)\)")


def fault_of(picture):
    if not picture.is_file():
        return "is not there"
    if picture.suffix != ".svg":
        return None
    try:
        elements = list(xml.etree.ElementTree.parse(picture).iter())
    except xml.etree.ElementTree.ParseError as error:
        return f"is no XML: {error}"
    names = {element.tag.rpartition("}")[2] for element in elements}
    return None if "svg" in names and "script" not in names else "is no picture, or more than that"


def main() -> int:
    shown = {(page.parent / target).resolve(): page for page in (ROOT / "README.md", *(ROOT / "docs").glob("*.md"))
             for target in SHOWN.findall(page.read_text(encoding="utf-8"))}
    faults = [f"{shown[picture].relative_to(ROOT)}: {picture.name} {fault}"
              for picture in shown if (fault := fault_of(picture))]
    faults += [f"docs/images/{picture.name} is shown nowhere"
               for picture in (ROOT / "docs/images").iterdir() if picture.resolve() not in shown]
    print(*faults, sep="\n", end="\n" if faults else "", file=sys.stderr)
    return 1 if faults or not shown else 0


if __name__ == "__main__":
    sys.exit(main())
