#!/usr/bin/env python3
"""Tells how many of 200 small mistakes in the library the tests notice.

Usage: run.py [--build FOLDER] [--count N] [--seed N] [--only N,N...] [--list]

A mutant is one condition that is negated, left out or moved by one (see places.py). They are drawn by
the seed, spread over the library's folders by their lines. All of them are built into one copy of the
tree, where an environment variable chooses the one that is alive (see mutant.h); then the tests of the
library are run for each of them, those of the mutant's own folder first, until one fails, crashes or
takes far longer than it should. One that no test notices is either a missing test or makes no
difference, for a reason that harmless.txt gives. The last line is the result; the status is 1 below
90 %, or when a reason is missing or refuted.
"""

import argparse
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys

import places

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("foundation", "storage", "schema", "language", "compile", "engine", "library")
# Without those that run other programs: what they check of the library, these check as well.
TESTS = (*FOLDERS, "sql")
WANTED_SHARE = 0.9
MEMORY = 4 << 30  # bytes that a mutant may take before it counts as noticed
FLAGS = "-O1 -DNDEBUG -w"


def sources(folder):
    return sorted(p for p in (ROOT / folder).rglob("*") if p.suffix in (".h", ".cpp"))


def draw(count, seed):
    """The mutants in the order of their numbers, which begin at 1."""
    chance = random.Random(seed)
    lines = {f: sum(len(p.read_text().splitlines()) for p in sources(f)) for f in FOLDERS}
    chosen, begin = [], 0
    for position, folder in enumerate(FOLDERS):
        end = round(count * sum(lines[f] for f in FOLDERS[: position + 1]) / sum(lines.values()))
        found = []
        for path in sources(folder):
            found += places.find(path.relative_to(ROOT).as_posix(), path.read_text())
        chance.shuffle(found)
        for place in found:
            if begin == end:
                break
            mutant = chance.choice(place)
            if not any(overlap(mutant, other) for other in chosen):
                chosen.append(mutant)
                begin += 1
    return chosen


def overlap(one, other):
    return one.file == other.file and one.start < other.end and other.start < one.end


def plant(mutants, copy):
    """Makes the copy of the tree with all mutants in it. Files that are the same stay untouched."""
    tracked = subprocess.run(
        ["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"], check=True, capture_output=True
    )
    names = {name for name in tracked.stdout.decode().splitlines() if (ROOT / name).is_file()}
    texts = {"foundation/mutant.h": (pathlib.Path(__file__).parent / "mutant.h").read_bytes()}
    for name in names:
        texts[name] = (ROOT / name).read_bytes()
    for file in {mutant.file for mutant in mutants}:
        text = (ROOT / file).read_text()
        inside = [(number, m) for number, m in enumerate(mutants, 1) if m.file == file]
        for number, mutant in sorted(inside, key=lambda pair: -pair[1].start):
            after = mutant.after.replace("MUTANT", f"ovra_mutant::Is({number})")
            text = text[: mutant.start] + after + text[mutant.end :]
        texts[file] = ('#include "foundation/mutant.h"\n' + text).encode()
    for old in [p for p in copy.rglob("*") if p.is_file()]:
        if old.relative_to(copy).as_posix() not in texts:
            old.unlink()
    for name, text in texts.items():
        path = copy / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if not path.is_file() or path.read_bytes() != text:
            path.write_bytes(text)
            shutil.copymode(ROOT / name, path) if (ROOT / name).is_file() else None


def build(copy, folder):
    options = [f"-DCMAKE_CXX_FLAGS={FLAGS}", f"-DCMAKE_C_FLAGS={FLAGS}", "-DOVRA_BUILD_TESTS=ON"]
    subprocess.run(
        ["cmake", "-G", "Ninja", "-S", copy, "-B", folder, "-DCMAKE_BUILD_TYPE=None", *options],
        check=True,
        stdout=subprocess.DEVNULL,
    )
    targets = [f"{name}_tests" for name in TESTS]
    command = ["cmake", "--build", folder, "--target", *targets]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit("The mutants do not compile:\n" + result.stdout[-5000:])


def run_program(folder, name, number, seconds):
    """What of the program noticed the mutant: the name of a test, "crash", "time", or None."""
    environment = {**os.environ, "OVRA_MUTANT": str(number)}

    # The seconds are those of the processor, so that a busy machine notices nothing by itself.
    def set_limits():
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))

    try:
        result = subprocess.run(
            [folder / "bin" / f"{name}_tests", "--gtest_fail_fast", "--gtest_brief=1"],
            env=environment,
            cwd=folder,
            timeout=60 * seconds,
            preexec_fn=set_limits,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
    except subprocess.TimeoutExpired:
        return "time"
    if result.returncode == 0:
        return None
    if result.returncode in (-signal.SIGKILL, -signal.SIGXCPU):
        return "time"
    failed = re.search(rb"\[  FAILED  \] (\S+?),? ", result.stdout)
    return failed.group(1).decode() if failed else "crash"


def first_notice(folder, mutant, number, durations):
    own = mutant.file.split("/")[0]
    for name in sorted(TESTS, key=lambda name: (name != own, durations[name])):
        notice = run_program(folder, name, number, 10 + 5 * durations[name])
        if notice is not None:
            return f"{name}: {notice}"
    return None


def describe(number, mutant):
    return f"{number:3} {mutant.file}:{mutant.line}: {mutant.kind}: {condition(mutant)}"


def condition(mutant):
    return " ".join(mutant.before.split())


def read_harmless():
    """The mutants that make no difference, as names that stay when lines are moved."""
    lines = (pathlib.Path(__file__).parent / "harmless.txt").read_text().splitlines()
    return {line for line in lines if line and line[0] not in "# "}


def name_of(mutant):
    return f"{mutant.file}: {mutant.kind}: {condition(mutant)}"


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mutation")
    arguments.add_argument("--count", type=int, default=200)
    arguments.add_argument("--seed", type=int, default=1)
    arguments.add_argument("--only", help="numbers of the mutants to run")
    arguments.add_argument("--list", action="store_true", help="show the mutants and run nothing")
    arguments.add_argument("--jobs", type=int, default=os.cpu_count())
    options = arguments.parse_args()
    mutants = draw(options.count, options.seed)
    if options.list:
        print("\n".join(describe(number, mutant) for number, mutant in enumerate(mutants, 1)))
        return 0

    options.build.mkdir(parents=True, exist_ok=True)
    copy, folder = (options.build / "source").resolve(), (options.build / "build").resolve()
    plant(mutants, copy)
    build(copy, folder)
    durations = {}
    for name in TESTS:
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        if (notice := run_program(folder, name, 0, 600)) is not None:
            sys.exit(f"{name} fails without a mutant: {notice}")
        durations[name] = round(resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before) + 1

    numbers = [int(n) for n in options.only.split(",")] if options.only else range(1, len(mutants) + 1)
    harmless = read_harmless()
    missing, refuted, survivors = [], [], 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        work = lambda number: first_notice(folder, mutants[number - 1], number, durations)
        for number, notice in zip(numbers, pool.map(work, numbers)):
            mutant = mutants[number - 1]
            line = describe(number, mutant)
            print(f"{line} -> {notice or 'SURVIVES'}", flush=True)
            survivors += notice is None
            if notice is None and name_of(mutant) not in harmless:
                missing.append(line)
            if notice is not None and name_of(mutant) in harmless:
                refuted.append(line)
    for title, lines in (("Not noticed, without a reason", missing), ("Noticed, not harmless", refuted)):
        if lines:
            print(f"\n{title}:\n" + "\n".join(lines))
    noticed = len(numbers) - survivors
    print(
        f"mutation sample: {noticed} of {len(numbers)} noticed, "
        f"{survivors - len(missing)} make no difference, {len(missing)} without a reason"
    )
    sound = noticed >= WANTED_SHARE * len(numbers) and not missing and not refuted
    return 0 if sound else 1


if __name__ == "__main__":
    sys.exit(main())
