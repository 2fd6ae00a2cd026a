#!/usr/bin/env python3
"""Reads the #include lines of the library and fails when a file includes what lies above it.

The house has floors (docs/architecture.md): a file may include its own floor and the floors below.
Header-only knowledge of an upper class is a forward declaration, never an include. Every exception
is named here with its reason.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#include\s+"([^"]+)"')

# First match wins, so single files stand before their folder.
FLOORS = [
    ("library/host_service", 0),
    ("library/platform", 0),
    ("include/", 0),
    ("ovrasql/", 0),
    ("foundation/", 0),
    ("storage/", 1),
    ("language/tokens", 1),
    ("language/keyword", 1),
    ("language/scanner", 1),
    ("schema/prepared_statement", 5),
    ("schema/statement_cache", 5),
    ("schema/", 2),
    ("compile/tree/", 3),
    ("engine/opcodes", 3),
    ("engine/instruction", 3),
    ("engine/sql_result", 3),
    ("engine/sql_stack", 3),
    ("engine/compare", 3),
    ("engine/double_to_integer", 3),
    ("engine/engine_failure", 3),
    ("engine/number_cache", 3),
    ("engine/text_", 3),
    ("engine/sql_engine", 5),
    ("language/", 4),
    ("compile/", 4),
    ("engine/", 4),
    ("library/", 6),
]

# (file, what it includes): reason.
EXCEPTIONS = {}


def floor_of(path):
    for prefix, floor in FLOORS:
        if path.startswith(prefix):
            return floor
    return None


def library_files():
    for folder in ("library", "foundation", "storage", "schema", "language", "compile", "engine"):
        for suffix in ("*.h", "*.cpp", "*.def"):
            yield from sorted((ROOT / folder).rglob(suffix))


def outside_files():
    for folder in ("host", "shell"):
        for suffix in ("*.h", "*.cpp"):
            yield from sorted((ROOT / folder).rglob(suffix))


def includes(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1)


def climbs():
    for path in library_files():
        name = path.relative_to(ROOT).as_posix()
        for number, included in includes(path):
            target = floor_of(included)
            if target is None:
                yield f"{name}:{number}: includes {included}, which is on no floor"
            elif target > floor_of(name) and (name, included) not in EXCEPTIONS:
                yield f"{name}:{number}: floor {floor_of(name)} includes {included} of floor {target}"


def strays():
    for path in outside_files():
        name = path.relative_to(ROOT).as_posix()
        own = name.split("/")[0] + "/"
        for number, included in includes(path):
            if not included.startswith((own, "ovrasql/")):
                yield f"{name}:{number}: includes {included}; it may see include/ and its own folder"


def main():
    faults = list(climbs()) + list(strays())
    for fault in faults:
        print(fault)
    checked = len(list(library_files())) + len(list(outside_files()))
    print(f"{checked} files read, {len(faults)} includes climb")
    return 1 if faults or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
