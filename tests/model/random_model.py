#!/usr/bin/env python3
"""Random statements: the library against a small interpreter of the dialect.

Every seed is an episode: a fresh database, tables, rows, and statements of every form, bad ones
too. The library and the model must give the same rows (without an index, in the same order), the
same column names, and the same message where there is one. The lowest three bits of the seed set
index or none, statement cache or none, and the case setting.

Usage: random_model.py DRIVER [--statements N] [--first SEED] [--seed SEED]
"""

import sys

sys.dont_write_bytecode = True

from comparison import compare  # noqa: E402
from episode import Settings, generate, replay, shrink  # noqa: E402

FLOORS = {
    "statements that worked": 0.8, "rows": 2.5, "rows changed": 0.4,
    "select": 0.35, "insert": 0.2, "update": 0.035, "delete": 0.018, "create table": 0.02,
    "alter table": 0.008, "create index": 0.005, "create unique": 0.0003, "drop index": 0.0005,
    "delete with outer join": 0.0005, "drop table": 0.0001, "pack": 0.005, "reopen": 0.005,
    "select with order by": 0.12, "select with (select": 0.08, "select with in (": 0.05,
    "select with distinct": 0.05, "select with count(": 0.05, "select with group by": 0.05,
    "select with union": 0.04, "select with outer join": 0.035, "select with sum(": 0.025,
    "select with like": 0.025, "select with exists": 0.02}


def run_episode(library, folder, seed, mix):
    settings = Settings(seed)
    steps, difference = generate(library, settings, folder, mix)
    if difference is None:
        return None
    if library.process.poll() is not None:
        library.restart()
    small = shrink(library, settings, folder, steps)
    lines = [str(settings), str(difference), "--- shrunk to"]
    for text, parameters, view in small:
        lines.append("%s%s%s" % (text, "   with %r" % (parameters,) if parameters else "",
                                 "" if view else "   (no view)"))
    return "\n".join(lines + [str(replay(library, settings, folder, small))])


if __name__ == "__main__":
    sys.exit(compare(__doc__, "model", "statements", 5000, FLOORS, run_episode))
