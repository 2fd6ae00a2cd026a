#!/usr/bin/env python3
"""Random queries against sqlite3: the part of the dialect that means the same there.

The common part is told at the head of sqlite_queries.py.

Usage: against_sqlite.py DRIVER [--queries N] [--first SEED] [--seed SEED]
"""

import argparse
import math
import os
import random
import re
import shutil
import sqlite3
import sys
import time

sys.dont_write_bytecode = True

from episode import folder_for  # noqa: E402
from library_pipe import Library, LibraryDied  # noqa: E402
from sqlite_queries import Maker  # noqa: E402

QUERIES_PER_EPISODE = 40


class Pair:
    """The same database twice."""

    def __init__(self, library, folder):
        self.library = library
        shutil.rmtree(folder, True)
        os.makedirs(folder)
        library.ask("create", folder + "/base.dbf")
        self.other = sqlite3.connect(":memory:")
        self.other.execute("pragma case_sensitive_like = on")

    def change(self, text):
        """Changes both; an index is the library's alone."""
        answer = self.library.ask("query", text)
        if not answer.ok:
            raise RuntimeError("%s: %s" % (text, answer.error))
        if not text.startswith("create index"):
            self.other.execute(theirs(text))

    def difference(self, query):
        text = query.text()
        answer = self.library.ask("view", text)
        expected = self.other.execute(theirs(text)).fetchall()
        if not answer.ok:
            return "library: error: %s\nsqlite3: %d rows" % (answer.error, len(expected))
        left = [tuple(map(shown, row)) for row in answer.rows]
        right = [tuple(map(shown, row)) for row in expected]
        if query.branches and not query.all or query.distinct and not query.branches:
            right = list(dict.fromkeys(right))  # the empty text and NULL are two to sqlite3
        same = left == right if query.order else sorted(left, key=repr) == sorted(right, key=repr)
        return None if same else "library: %s\nsqlite3: %s" % (left[:12], right[:12])


def theirs(text):
    """The statement in the words of sqlite3."""
    text = re.sub(r"substring\(([\w.]+) from (\d+) for (\d+)\)", r"substr(\1, \2, \3)", text)
    return re.sub(r"numeric\(\d+,\d+\)", "real", text).replace("char(12)", "text")


def shown(value):
    """A value of either side: a number rounded to 12 digits, or a text; NULL is the empty one."""
    if value is None:
        return ""
    try:
        number = float(value)
    except ValueError:
        return value
    return "%.12g" % number if math.isfinite(number) else value


def run_episode(library, seed, folder, count):
    """(queries run, the changes before the failing one, that query, the difference)."""
    source = random.Random(seed)
    maker = Maker(source, bool(seed & 1))
    pair = Pair(library, folder)
    changes = list(maker.definitions()) + list(maker.rows())
    for change in changes:
        pair.change(change)
    for done in range(count):
        if source.random() < 0.1:
            changes.append(maker.change())
            pair.change(changes[-1])
        query = maker.query()
        try:
            difference = pair.difference(query)
        except LibraryDied as died:
            library.restart()
            difference = str(died)
        if difference:
            return done + 1, changes, query, difference
    return count, changes, None, None


def replay(library, folder, changes, query):
    try:
        pair = Pair(library, folder)
        for change in changes:
            pair.change(change)
        return pair.difference(query)
    except (RuntimeError, sqlite3.Error):
        return None
    except LibraryDied as died:
        library.restart()
        return str(died)


def shrink(library, folder, changes, query):
    found = True
    while found:
        found = False
        for i in range(len(changes) - 1, -1, -1):
            fewer = changes[:i] + changes[i + 1:]
            if replay(library, folder, fewer, query):
                changes, found = fewer, True
        for smaller in query.smaller():
            if replay(library, folder, changes, smaller):
                query, found = smaller, True
                break
    return changes, query


def main():
    options = argparse.ArgumentParser(description=__doc__,
                                      formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("driver")
    options.add_argument("--queries", type=int, default=2000)
    options.add_argument("--first", type=int, default=1)
    options.add_argument("--seed", type=int)
    options.add_argument("--failures", type=int, default=3)
    given = options.parse_args()

    began, folder, library = time.time(), folder_for("sqlite"), Library(given.driver)
    seed = first = given.first if given.seed is None else given.seed
    total = failures = 0
    while total < given.queries and failures < given.failures:
        count, changes, query, difference = run_episode(library, seed, folder, QUERIES_PER_EPISODE)
        total += count
        if difference:
            failures += 1
            print("\nseed %d: %s\n%s\n--- shrunk to" % (seed, query.text(), difference))
            changes, query = shrink(library, folder, changes, query)
            print("\n".join(changes) + "\n" + query.text())
            print(replay(library, folder, changes, query))
        if given.seed is not None:
            break
        seed += 1
    if library.stop() != 0:
        failures += 1
        print("the library's process ended with status %s" % library.process.returncode)
    shutil.rmtree(folder, True)
    print("against sqlite3 %s: %d random queries, seeds %d to %d, %d differences, %.0f seconds"
          % (sqlite3.sqlite_version, total, first, max(first, seed - 1), failures,
             time.time() - began))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
