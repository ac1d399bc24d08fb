#!/usr/bin/env python3
"""Fails where a folder includes a file of a folder that comes later in ORDER."""

import os
import pathlib
import re
import sys

from sources import ROOT, project_sources

ORDER = [
    "Src/kesu/common/base",
    "Src/kesu/common/base/internal",
    "Src/kesu/common/net/proto",
    "Src/kesu/proto",
    "Src/kesu/mux",
    "Src/kesu/services",
    "Src/kesu/httptest",
    "Src/dovi",
    "Src/client",
    "Src/here",
    "glib",
    "decode",
    "tools/support",
    "web",
    "tools/kesu",
    "tools/wireshark",
    "server/geo",
    "server/storage",
    "server/estimate",
    "server/learn",
    "server/protocol",
    "server/services",
    "server/process",
    "server/http",
    "server/inspect",
    "server/simulation",
    "server/import",
    "server",
    "examples",
    "tests",
    "bench",
    "fuzz",
]
INCLUDE_ROOTS = ["Src", "tests", "."]
INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<((?:kesu|dovi|client|here)/[^>]+)>)')


def rank(path):
    """The place in ORDER of the innermost folder that holds path, or None."""
    for folder in path.parents:
        if str(folder) in ORDER:
            return ORDER.index(str(folder))
    return None


def resolve(includer, name):
    """The project's file that is included, or None."""
    for folder in [str(includer.parent), *INCLUDE_ROOTS]:
        candidate = pathlib.PurePosixPath(os.path.normpath(f"{folder}/{name}"))
        if (ROOT / candidate).is_file():
            return candidate
    return None


def faults_of(includer, text):
    if rank(includer) is None:
        yield f"{includer}:1: its folder has no place in the order of folders"
        return
    for number, line in enumerate(text.splitlines(), start=1):
        match = INCLUDE.match(line)
        if not match:
            continue
        name = match[1] or match[2]
        included = resolve(includer, name)
        if included is None:
            yield f"{includer}:{number}: {name} is no file of the project; use <> for others"
        elif rank(included) is None:
            yield f"{includer}:{number}: {included} is in no folder of the order"
        elif rank(included) > rank(includer):
            yield (f"{includer}:{number}: {ORDER[rank(includer)]} must not include "
                   f"{ORDER[rank(included)]} ({name})")


def main():
    faults = [fault for path in project_sources(".h", ".cc")
              for fault in faults_of(path, (ROOT / path).read_text(encoding="utf-8"))]
    print(*faults, sep="\n", end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
