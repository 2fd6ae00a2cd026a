#!/usr/bin/env python3
"""Prints what llvm-cov has exported: coverage of lines and branches by folder, and what is missing.

Usage: coverage_report.py SOURCE_FOLDER EXPORT.json EXPORT.lcov

A branch is one outcome of one condition as it is written in the source: `if (a && b)` has four. What
the compiler adds (clean-up, exceptions) is no branch, nor is the default that a `switch` does not have.
The instantiations of a template, and the copies of a function in several programs, count as one: a
branch is covered when any of them took it. Functions that only run while compiling are left out.
"""

import collections
import json
import pathlib
import re
import sys

FOLDERS = ("foundation", "storage", "schema", "language", "compile", "engine", "library")

# Tables are made from these while compiling; no program can run them.
ONLY_WHILE_COMPILING = re.compile(
    r"^constexpr .*\b(LongestRow|Make(Classes|DecodeTable|Folding|PerfectHash)|PlaceBucket)\("
)


def read_branches(export):
    """{file: {(line, column, end line, end column): [times true, times false]}}"""
    branches = collections.defaultdict(dict)
    for source in json.loads(pathlib.Path(export).read_text())["data"][0]["files"]:
        for line, column, last, end, true, false, *_ in source["branches"]:
            counts = branches[source["filename"]].setdefault((line, column, last, end), [0, 0])
            counts[0] += true
            counts[1] += false
    return branches


def read_lines(export):
    """{file: {line: times run}}"""
    lines = collections.defaultdict(dict)
    name = None
    for record in pathlib.Path(export).read_text().splitlines():
        if record.startswith("SF:"):
            name = record[3:]
        elif record.startswith("DA:"):
            line, count = record[3:].split(",")[:2]
            lines[name][int(line)] = lines[name].get(int(line), 0) + int(count)
    return lines


def ranges(numbers):
    """[1, 2, 3, 7] as "1-3, 7"."""
    spans = []
    for number in sorted(numbers):
        if spans and spans[-1][1] == number - 1:
            spans[-1][1] = number
        else:
            spans.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in spans)


def condition_text(source, place):
    line, column, last, end = place
    if line != last:
        return source[line - 1][column - 1 :].strip() + " ..."
    return source[line - 1][column - 1 : end - 1]


def lines_while_compiling(source):
    """The numbers of the lines in functions that only run while compiling."""
    inside = False
    for number, line in enumerate(source, 1):
        inside = inside or ONLY_WHILE_COMPILING.match(line) is not None
        if inside:
            yield number
        inside = inside and line != "}"


def is_decided_while_running(source, place):
    before = source[place[0] - 1][: place[1] - 1]
    return (
        condition_text(source, place) != "true"
        and re.search(r"(\bif constexpr|\bswitch) \($", before) is None
    )


def print_missing(source, name, lines, branches):
    missing = [line for line, count in lines.items() if count == 0]
    if missing:
        print(f"{name}: lines {ranges(missing)}")
    for place, counts in sorted(branches.items()):
        never = [outcome for outcome, count in zip(("true", "false"), counts) if count == 0]
        if never:
            text = condition_text(source, place)
            print(f"{name}:{place[0]}:{place[1]}: never {' nor '.join(never)}: {text}")


def percent(part, whole):
    return f"{part:6} of {whole:6}  {100 * part / max(whole, 1):6.2f} %"


def main():
    root = pathlib.Path(sys.argv[1])
    branches = read_branches(sys.argv[2])
    lines = read_lines(sys.argv[3])
    totals = {folder: [0, 0, 0, 0] for folder in (*FOLDERS, "all")}
    for file in sorted(lines):
        path = pathlib.Path(file)
        name = path.relative_to(root).as_posix() if path.is_relative_to(root) else ""
        folder = name.split("/")[0]
        if folder not in FOLDERS:
            continue
        source = path.read_text().splitlines()
        left_out = set(lines_while_compiling(source))
        ran = {line: count for line, count in lines[file].items() if line not in left_out}
        taken = {
            place: counts
            for place, counts in branches[file].items()
            if place[0] not in left_out and is_decided_while_running(source, place)
        }
        outcomes = [count for counts in taken.values() for count in counts]
        counted = (
            sum(count > 0 for count in ran.values()),
            len(ran),
            sum(count > 0 for count in outcomes),
            len(outcomes),
        )
        for key in (folder, "all"):
            totals[key] = [a + b for a, b in zip(totals[key], counted)]
        print_missing(source, name, ran, taken)
    print(f"\n{'folder':12}{'lines':>27}{'branches':>29}")
    for folder, (ran, of_lines, taken, of_branches) in totals.items():
        print(f"{folder:12}{percent(ran, of_lines)}  {percent(taken, of_branches)}")


main()
