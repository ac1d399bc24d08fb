"""Reads compile_commands.json and runs one command per file on all cores."""

import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess

from sources import ROOT


def load(build_dir):
    """Source path relative to ROOT -> (working directory, compiler arguments without the source
    file, the output file and -c)."""
    commands = {}
    for entry in json.loads((pathlib.Path(build_dir) / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if not source.is_relative_to(ROOT):
            continue
        words = shlex.split(entry["command"])
        output = words.index("-o")
        del words[output:output + 2]
        arguments = [word for word in words if word not in ("-c", entry["file"])]
        commands[pathlib.PurePosixPath(source.relative_to(ROOT))] = (entry["directory"], arguments)
    return commands


def run_all(jobs):
    """Runs jobs, each (name, directory, argv, standard input); prints the output of those that
    fail and returns how many did."""

    def run(job):
        name, directory, argv, text = job
        done = subprocess.run(argv, cwd=directory, input=text, text=True, errors="replace",
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return name, done.returncode, done.stdout

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, status, output in pool.map(run, jobs):
            if status != 0:
                failed += 1
                print(f"-- {name}\n{output}", flush=True)
    print(f"   {len(jobs)} files, {failed} failed", flush=True)
    return failed
