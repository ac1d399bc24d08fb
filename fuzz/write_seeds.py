"""Writes the seeds of a fuzz target as files, one a seed: write_seeds.py SEEDS DIRECTORY

A seed is a line with its name and a colon, and indented lines with its bytes: hexadecimal numbers,
texts in double quotes (with Python's escapes), either repeated by *COUNT. A # starts a comment.
"""

import ast
import pathlib
import re
import shutil
import sys

TOKEN = re.compile(r'\s*(?:#.*|("(?:\\.|[^"\\])*"|[0-9A-Fa-f]{2})(?:\*(\d+))?(?=\s|$))')


def bytes_of(line):
    content = b""
    position = 0
    line = line.rstrip()
    while position < len(line):
        token = TOKEN.match(line, position)
        if not token:
            raise ValueError(line[position:])
        position = token.end()
        text, count = token.groups()
        if text:
            piece = ast.literal_eval("b" + text) if text[0] == '"' else bytes.fromhex(text)
            content += piece * int(count or 1)
    return content


def read_seeds(lines):
    seeds = {}
    name = None
    for number, line in enumerate(lines, 1):
        header = re.fullmatch(r"(\w+):\s*", line)
        try:
            if header:
                name = header[1]
                if name in seeds:
                    raise ValueError("a second seed of this name")
                seeds[name] = b""
            elif line[0] in " #\n":
                piece = bytes_of(line)
                if piece:
                    seeds[name] += piece
            else:
                raise ValueError("neither a name nor bytes")
        except (ValueError, KeyError, SyntaxError) as error:
            sys.exit(f"{sys.argv[1]}:{number}: {error}")
    return seeds


def main():
    source, directory = map(pathlib.Path, sys.argv[1:])
    with source.open(encoding="ascii") as lines:
        seeds = read_seeds(lines)
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    for name, content in seeds.items():
        (directory / name).write_bytes(content)


main()
