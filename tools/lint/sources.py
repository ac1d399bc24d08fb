#!/usr/bin/env python3
"""The C and C++ files of the project: those git tracks, and new ones it does not ignore.

Run as a program it prints them, one a line.
"""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]


def project_sources(*suffixes):
    """Paths relative to ROOT, sorted, of the files with one of the suffixes."""
    patterns = [f"*{suffix}" for suffix in suffixes]
    # The checkout may belong to another user, as it often does in a container.
    listed = subprocess.run(
        ["git", "-c", f"safe.directory={ROOT}", "ls-files", "-z", "--cached", "--others",
         "--exclude-standard", "--", *patterns],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout
    paths = {pathlib.PurePosixPath(name) for name in listed.split("\0") if name}
    return sorted(path for path in paths if (ROOT / path).is_file())


if __name__ == "__main__":
    print(*project_sources(".h", ".cc", ".c"), sep="\n")
