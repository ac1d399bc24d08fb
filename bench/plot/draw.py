#!/usr/bin/env python3
"""Draws pictures of figures: draw.py FOLDER PICTURE... [--version NAME] [--record]

FOLDER has what the benchmarks printed, and gets the pictures: peers, versions and growth of peers.txt and
instructions.txt (kesu-peers) and growth.txt (kesu-bench), beside the history; errors of errors.txt
(kesu-accuracy). With --record the figures go into the history too, and the pictures to docs/images.
"""

import argparse
import pathlib
import shutil
import subprocess
import sys

import tables

HERE = pathlib.Path(__file__).parent
IMAGES = HERE.parents[1] / "docs/images"
# Of the scenarios of kesu-accuracy, those that are told apart in one picture.
SCENARIOS = ("the town", "five access points", "cells")


def ratio(figure):
    return float(figure.ours) / float(figure.peer)


def of_latest(figures, *units):
    """With these units, of the version that has the last of them."""
    wanted = [figure for figure in figures if figure.unit in units]
    return [figure for figure in wanted if figure.version == wanted[-1].version]


def blocks_of(curves):
    """Curves as gnuplot reads them: a name, and rows, a block each."""
    return "\n\n\n".join("\n".join([f'"{name}"', *("\t".join(map(str, row)) for row in rows)])
                         for name, rows in curves.items()) + "\n"


def peers_data(figures):
    rows = [(figure.line, ratio(figure), figure.goal or "NaN")
            for figure in of_latest(figures, "us") if figure.peer]
    return "".join(f'{i}\t"{name}"\t{times:.4f}\t{goal}\n' for i, (name, times, goal) in enumerate(rows, 1))


def versions_data(figures):
    """Quotients in instructions, which do not depend on the machine, of the lines that have a goal."""
    counted = [figure for figure in figures if figure.unit == "Ir" and figure.goal]
    versions = list(dict.fromkeys(figure.version for figure in counted))
    curves = {}
    for figure in counted:
        place = versions.index(figure.version) + 1
        curves.setdefault(figure.line, []).append((place, f"{ratio(figure):.4f}", f'"{figure.version}"'))
    return blocks_of({line: sorted(rows) for line, rows in curves.items() if len(rows) > 1})


def growth_data(figures):
    curves = {}
    for figure in of_latest(figures, "ns"):
        name, _, count = figure.line.rpartition(".")
        curves.setdefault(name.partition(".")[2].replace("_", " "), []).append((count, figure.ours))
    return blocks_of(curves)


def errors_data(lines):
    curves = {}
    for line in lines:
        name, part, estimate, centroid = line.split("\t")
        if name in SCENARIOS:
            curves.setdefault(f"{name}, estimate", []).append((estimate, part))
            curves.setdefault(f"{name}, centroid", []).append((centroid, part))
    return blocks_of(curves)


DRAWN_OF_HISTORY = {"peers": peers_data, "versions": versions_data, "growth": growth_data}


def draw(name, data, folder):
    if not data.strip():
        sys.exit(f"draw.py: no figures for {name}")
    (folder / f"{name}.dat").write_text(data, encoding="utf-8")
    picture = folder / f"{name}.svg"
    subprocess.run(["gnuplot", "-c", HERE / f"{name}.gp", folder / f"{name}.dat", picture, HERE / "style.gp"],
                   check=True)
    return picture


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("pictures", nargs="+", choices=[*DRAWN_OF_HISTORY, "errors"])
    parser.add_argument("--version", default="now")
    parser.add_argument("--record", action="store_true")
    parser.add_argument("--images", type=pathlib.Path, default=IMAGES)
    parser.add_argument("--history", type=pathlib.Path, default=tables.HISTORY)
    arguments = parser.parse_args()

    def lines_of(name):
        return (arguments.folder / f"{name}.txt").read_text(encoding="utf-8").splitlines()

    data, figures = {}, []
    if "errors" in arguments.pictures:
        data["errors"] = errors_data(lines_of("errors"))
    drawn_of_history = [name for name in arguments.pictures if name != "errors"]
    if drawn_of_history:
        figures = tables.with_newer(tables.read_history(arguments.history), [
            *tables.peers(lines_of("peers"), arguments.version),
            *tables.peers(lines_of("instructions"), arguments.version),
            *tables.growth(lines_of("growth"), arguments.version)])
        data.update({name: DRAWN_OF_HISTORY[name](figures) for name in drawn_of_history})
    for name, rows in data.items():
        picture = draw(name, rows, arguments.folder)
        print(picture)
        if arguments.record:
            shutil.copy(picture, arguments.images)
    if arguments.record and figures:
        tables.write_history(arguments.history, figures)


if __name__ == "__main__":
    main()
