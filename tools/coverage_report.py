#!/usr/bin/env python3
"""Prints what llvm-cov has exported: coverage of lines and branches by folder, and what is left without
a reason.

Usage: coverage_report.py SOURCE_FOLDER EXPORT.json EXPORT.lcov

A branch is one outcome of one condition as it is written in the source: `if (a && b)` has four. What
the compiler adds (clean-up, exceptions) is no branch, nor is the default that a `switch` does not have.
The instantiations of a template, and the copies of a function in several programs, count as one: a
branch is covered when any of them took it. Functions that only run while compiling are left out.

What is left must stand in coverage_reasons.txt, which tells its form. The status is 1 when something is
left that does not stand there, or when something that stands there is covered by now. `--places` prints
what is left in that form, and nothing else.
"""

import argparse
import collections
import json
import pathlib
import re
import subprocess
import sys

FOLDERS = ("foundation", "storage", "schema", "language", "compile", "engine", "library")
REASONS = pathlib.Path(__file__).parent / "coverage_reasons.txt"

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
    """{file: {line: times run}} and {file: [(first line, function as the linker knows it)]}"""
    lines = collections.defaultdict(dict)
    functions = collections.defaultdict(list)
    name = None
    for record in pathlib.Path(export).read_text().splitlines():
        kind, _, rest = record.partition(":")
        if kind == "SF":
            name = rest
        elif kind == "FN":
            line, function = rest.split(",")
            functions[name].append((int(line), function))
        elif kind == "DA":
            line, count = rest.split(",")[:2]
            lines[name][int(line)] = lines[name].get(int(line), 0) + int(count)
    return lines, functions


def plain_names(linker_names):
    """{name as the linker knows it: the function's own name}; that of the function around a lambda."""
    # A function of one file has the file's name in front.
    stripped = "\n".join(name.rpartition(":")[2] for name in linker_names)
    result = subprocess.run(
        ["llvm-cxxfilt-14"], input=stripped, check=True, capture_output=True, text=True
    )
    return dict(zip(linker_names, map(plain_name, result.stdout.splitlines())))


def plain_name(signature):
    name = signature.replace("(anonymous namespace)", "")
    for brackets in (r"<[^<>]*>", r"\([^()]*\)"):
        while (shorter := re.sub(brackets, "", name)) != name:
            name = shorter
    name = re.sub(r"::('lambda|\$_).*", "", name).removesuffix(" const")
    return re.split(r"::| ", name)[-1]


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


def missing_places(source, lines, branches):
    """What no run took, each as (line, what it is, text)."""
    places = []
    heads = set()  # lines that end with a condition that was never decided in one of its ways
    for place, counts in sorted(branches.items()):
        for outcome, times in zip(("true", "false"), counts):
            # Conditions among lines that never ran go with these.
            if times == 0 and lines.get(place[0]) != 0:
                places.append((place[0], f"never {outcome}", condition_text(source, place)))
                heads.add(place[2])
    missing = {line for line, times in lines.items() if times == 0}
    for line in missing:
        # Lines go with the one in front of them.
        if line - 1 not in missing | heads:
            places.append((line, "never run", source[line - 1].strip()))
    return sorted(places)


def read_reasons():
    """{place: whether it is covered in some runs}"""
    places = {}
    for line in REASONS.read_text().splitlines():
        if line.startswith(" "):
            file, function, what, text = line.strip().split(": ", 3)
            places[file, function, what.replace("seldom", "never"), text] = what.startswith("seldom")
    return places


def percent(part, whole):
    return f"{part:6} of {whole:6}  {100 * part / max(whole, 1):6.2f} %"


def print_table(totals):
    print(f"\n{'folder':12}{'lines':>27}{'branches':>29}")
    for folder, (ran, of_lines, taken, of_branches) in totals.items():
        print(f"{folder:12}{percent(ran, of_lines)}  {percent(taken, of_branches)}")


def count(lines, branches):
    outcomes = [times for both in branches.values() for times in both]
    return (
        sum(times > 0 for times in lines.values()),
        len(lines),
        sum(times > 0 for times in outcomes),
        len(outcomes),
    )


def measure(root, json_export, lcov_export):
    """{folder: its counts} and {place that is left: its line}"""
    all_branches = read_branches(json_export)
    all_lines, functions = read_lines(lcov_export)
    names = plain_names(sorted({name for found in functions.values() for _, name in found}))
    totals = {folder: (0, 0, 0, 0) for folder in (*FOLDERS, "all")}
    left = {}
    for file in sorted(all_lines):
        path = pathlib.Path(file)
        name = path.relative_to(root).as_posix() if path.is_relative_to(root) else ""
        folder = name.split("/")[0]
        if folder not in FOLDERS:
            continue
        source = path.read_text().splitlines()
        left_out = set(lines_while_compiling(source))
        lines = {line: times for line, times in all_lines[file].items() if line not in left_out}
        branches = {
            place: counts
            for place, counts in all_branches[file].items()
            if place[0] not in left_out and is_decided_while_running(source, place)
        }
        for key in (folder, "all"):
            totals[key] = tuple(a + b for a, b in zip(totals[key], count(lines, branches)))
        for line, what, text in missing_places(source, lines, branches):
            above = [found for found in functions[file] if found[0] <= line]
            function = names[max(above)[1]] if above else "no function"
            left.setdefault((name, function, what, text), line)
    return totals, left


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("root", type=pathlib.Path)
    arguments.add_argument("json")
    arguments.add_argument("lcov")
    arguments.add_argument("--places", action="store_true", help="print what is left and no more")
    options = arguments.parse_args()
    totals, left = measure(options.root, options.json, options.lcov)
    if options.places:
        print("\n".join("    " + ": ".join(place) for place in left))
        return 0

    reasons = read_reasons()
    missing = [
        f"{place[0]}:{line}: " + ": ".join(place[1:])
        for place, line in left.items()
        if place not in reasons
    ]
    refuted = [
        ": ".join(place) for place, seldom in reasons.items() if place not in left and not seldom
    ]
    for title, places in (("Left without a reason", missing), ("Covered by now", refuted)):
        if places:
            print(f"\n{title}:\n" + "\n".join(places))
    print(f"\n{len(left) - len(missing)} places are left for a reason in {REASONS.name}.")
    print_table(totals)
    return 1 if missing or refuted else 0


if __name__ == "__main__":
    sys.exit(main())
