#!/usr/bin/env python3
"""usage: check_headers.py BUILD_DIR

Compiles every header alone, and twice in a row so that its guard is tried too, with the flags that
the build uses for the nearest source file.
"""

import sys

import compile_commands
from sources import ROOT, project_sources


def nearest(header, commands):
    """The header's own source file, else one that shares the longest run of folders with it, else one
    that includes it."""
    if header.with_suffix(".cc") in commands:
        return header.with_suffix(".cc")

    def shared_folders(source):
        count = 0
        for ours, theirs in zip(header.parent.parts, source.parent.parts):
            if ours != theirs:
                break
            count += 1
        return count

    best = max(sorted(commands), key=shared_folders)
    if shared_folders(best) > 0:
        return best
    include = f'#include "{header}"'
    return next((source for source in project_sources(".cc")
                 if source in commands and include in (ROOT / source).read_text()), None)


def main():
    commands = compile_commands.load(sys.argv[1])
    jobs = []
    homeless = 0
    for header in project_sources(".h"):
        source = nearest(header, commands)
        if source is None:
            print(f"{header}:1: nothing is built in {header.parts[0]}/")
            homeless += 1
            continue
        directory, arguments = commands[source]
        include = f'#include "{ROOT / header}"\n'
        jobs.append((header, directory, [*arguments, "-fsyntax-only", "-x", "c++", "-"],
                     include + include))
    failed = compile_commands.run_all(jobs)
    return 1 if failed or homeless else 0


if __name__ == "__main__":
    sys.exit(main())
