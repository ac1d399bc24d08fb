"""What the benchmarks print, and the history of it."""

import collections
import csv
import pathlib

HISTORY = pathlib.Path(__file__).parents[1] / "history.csv"
# Of the name of a line in the table of kesu-peers, at least.
NAME_WIDTH = 38

Figure = collections.namedtuple("Figure", "version line unit ours peer goal")


def is_number(word):
    return word.replace(".", "", 1).replace("e+", "").replace("e-", "").isdigit()


def peers(lines, version):
    """The lines of the table that kesu-peers prints. The goal is kept where it is one for the quotient."""
    for line in lines:
        name, words = line[:NAME_WIDTH].strip(), line[NAME_WIDTH:].split()
        if "<=" not in words and words[-1:] != ["-"]:
            continue
        unit = "" if is_number(words[0]) else words.pop(0)
        goal = words[words.index("<=") + 1] if "x" in words else ""
        yield Figure(version, name, unit, words[0], words[1].replace("-", ""), goal)


def growth(lines, version):
    """Those lines of kesu-bench that tell what one of so many costs: mux.NAME.COUNT FIGURE ns."""
    for line in lines:
        name, figure, unit = line.split()
        if unit == "ns" and name.rpartition(".")[2].isdigit():
            yield Figure(version, name, unit, figure, "", "")


def read_history(path):
    with path.open(encoding="utf-8", newline="") as file:
        return [Figure(*row) for row in csv.reader(file)][1:]


def write_history(path, figures):
    with path.open("w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(Figure._fields)
        writer.writerows(figures)


def with_newer(figures, newer):
    """The figures, with newer ones in place of those of the same version, line and unit."""
    return list({figure[:3]: figure for figure in [*figures, *newer]}.values())
