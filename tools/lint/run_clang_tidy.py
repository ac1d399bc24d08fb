#!/usr/bin/env python3
"""usage: run_clang_tidy.py BUILD_DIR

Runs clang-tidy over the project's source files, and fails for one that no target builds.
"""

import sys

import compile_commands
from sources import ROOT, project_sources

# The analyzer follows a function through this many states, its own choice for a shallow look. Its
# usual 225000 doubles the time for our longest functions.
ANALYZER = [f"--extra-arg={word}" for word in
            ("-Xclang", "-analyzer-config", "-Xclang", "max-nodes=75000")]


def main():
    build_dir = sys.argv[1]
    commands = compile_commands.load(build_dir)
    sources = project_sources(".cc")
    unbuilt = [path for path in sources if path not in commands]
    for path in unbuilt:
        print(f"{path}:1: built by no target")
    jobs = [(path, ROOT, ["clang-tidy", "--quiet", "-p", build_dir, *ANALYZER, str(path)], "")
            for path in sources if path in commands]
    failed = compile_commands.run_all(jobs)
    return 1 if failed or unbuilt else 0


if __name__ == "__main__":
    sys.exit(main())
