"""What a comparison of random statements is made of, whatever it compares with: the options of its
script, the loop over the seeds, and the floors that what has run must reach.

A generator that goes wrong makes statements that both sides refuse alike, or over no rows. Then
nothing differs, and nothing is shown; so each kind of statement must have come often enough, most
of them must have worked, and rows must have been met."""

import argparse
import shutil
import time
from collections import Counter

from episode import folder_for
from library_pipe import Library


class Mix:
    """What has run, counted by kind. A statement may be of several kinds."""

    def __init__(self):
        self.total = self.worked = self.rows = self.changed = 0
        self.kinds = Counter()  # of statements that worked

    def count(self, kinds, worked, rows, changed=0):
        self.total += 1
        self.worked += worked
        self.rows += rows
        self.changed += changed
        self.kinds.update(kinds if worked else ())

    def shortfalls(self, floors):
        """What is below the floors. A run of the tests is long enough that each of them lies many
        standard deviations under what it has."""
        if self.total == 0:
            yield "nothing has run"
            return
        for what, number in [("statements that worked", self.worked), ("rows", self.rows),
                             ("rows changed", self.changed)]:
            if number < floors.pop(what, 0) * self.total:
                yield "only %d %s for %d statements" % (number, what, self.total)
        for kind, share in floors.items():
            if self.kinds[kind] < int(share * self.total):  # a rare kind may miss a short run
                yield "only %d with %s that worked of %d" % (self.kinds[kind], kind, self.total)

    def __str__(self):
        return "%d of %d worked, %d rows, %d rows changed; %s" % (
            self.worked, self.total, self.rows, self.changed,
            ", ".join("%s %d" % pair for pair in self.kinds.most_common()))


def compare(about, name, unit, default, floors, run_episode):
    """The whole of a script. `run_episode(library, folder, seed, mix)` runs the statements of a
    seed, counts them, and gives the text of a difference, already shrunk, or None. `floors` are
    shares of the statements. Returns the exit status."""
    options = argparse.ArgumentParser(description=about,
                                      formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("driver")
    options.add_argument("--" + unit, type=int, default=default, dest="wanted")
    options.add_argument("--first", type=int, default=1)
    options.add_argument("--seed", type=int)
    options.add_argument("--failures", type=int, default=3)
    given = options.parse_args()

    began, folder, library, mix = time.time(), folder_for(unit), Library(given.driver), Mix()
    seed = first = given.first if given.seed is None else given.seed
    failures = 0
    while mix.total < given.wanted and failures < given.failures:
        difference = run_episode(library, folder, seed, mix)
        if difference is not None:
            failures += 1
            print("\n%s" % difference, flush=True)
        seed += 1
        if given.seed is not None:
            break
    differences = failures
    if library.stop() != 0:
        failures += 1
        print("the library's process ended with status %s" % library.process.returncode)
    shutil.rmtree(folder, True)
    print(mix)
    for shortfall in mix.shortfalls(dict(floors)) if given.seed is None else ():
        failures += 1
        print(shortfall)
    print("%s: %d random %s, seeds %d to %d, %d differences, %.0f seconds"
          % (name, mix.total, unit, first, seed - 1, differences, time.time() - began))
    return 1 if failures else 0
