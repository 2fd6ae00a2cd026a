#!/usr/bin/env python3
"""Random queries against sqlite3: the part of the dialect that means the same there.

The common part is told at the head of sqlite_queries.py.

Usage: against_sqlite.py DRIVER [--queries N] [--first SEED] [--seed SEED]
"""

import math
import os
import random
import re
import shutil
import sqlite3
import sys

sys.dont_write_bytecode = True

from comparison import compare  # noqa: E402
from episode import kinds_of  # noqa: E402
from library_pipe import LibraryDied  # noqa: E402
from sqlite_queries import Maker  # noqa: E402

QUERIES_PER_EPISODE = 40
FLOORS = {
    "rows": 2.5,
    "select with (select": 0.4, "select with in (": 0.3, "select with order by": 0.2,
    "select with count(": 0.2, "select with like": 0.15, "select with outer join": 0.15,
    "select with group by": 0.12, "select with distinct": 0.12, "select with exists": 0.1,
    "select with sum(": 0.06, "select with union": 0.04}


class Pair:
    """The same database twice."""

    def __init__(self, library, folder):
        self.library = library
        self.rows = 0  # of the last query
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
        self.rows = len(expected)
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


def run_episode(library, folder, seed, mix):
    source = random.Random(seed)
    maker = Maker(source, bool(seed & 1))
    pair = Pair(library, folder)
    changes = list(maker.definitions()) + list(maker.rows())
    for change in changes:
        pair.change(change)
    for _ in range(QUERIES_PER_EPISODE):
        if source.random() < 0.1:
            changes.append(maker.change())
            pair.change(changes[-1])
        query = maker.query()
        try:
            difference = pair.difference(query)
        except LibraryDied as died:
            library.restart()
            difference = str(died)
        mix.count(kinds_of(query.text()), not difference, pair.rows)
        if difference:
            changes, small = shrink(library, folder, changes, query)
            return "\n".join(["seed %d: %s" % (seed, query.text()), difference, "--- shrunk to"] +
                             changes + [small.text(), str(replay(library, folder, changes, small))])
    return None


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


if __name__ == "__main__":
    sys.exit(compare(__doc__, "against sqlite3 " + sqlite3.sqlite_version, "queries", 2000, FLOORS,
                     run_episode))
