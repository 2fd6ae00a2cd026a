#!/usr/bin/env python3
"""Random statements: the library against a small interpreter of the dialect.

Every seed is an episode: a fresh database, tables, rows, and statements of every form, bad ones
too. The library and the model must give the same rows (without an index, in the same order), the
same column names, and the same message where there is one. The lowest three bits of the seed set
index or none, statement cache or none, and the case setting.

Usage: random_model.py DRIVER [--statements N] [--first SEED] [--seed SEED]
"""

import argparse
import shutil
import sys
import time
from collections import Counter

sys.dont_write_bytecode = True

from episode import Settings, folder_for, generate, replay, shrink  # noqa: E402
from library_pipe import Library  # noqa: E402


def report(library, settings, folder, steps, difference):
    print("\n" + str(settings))
    print(str(difference))
    if library.process.poll() is not None:
        library.restart()
    small = shrink(library, settings, folder, steps)
    print("--- shrunk to")
    for text, parameters, view in small:
        print("%s%s%s" % (text, "   with %r" % (parameters,) if parameters else "",
                          "" if view else "   (no view)"))
    print(str(replay(library, settings, folder, small)))
    sys.stdout.flush()


def main():
    options = argparse.ArgumentParser(description=__doc__,
                                      formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("driver")
    options.add_argument("--statements", type=int, default=5000)
    options.add_argument("--first", type=int, default=1)
    options.add_argument("--seed", type=int)
    options.add_argument("--failures", type=int, default=3)
    given = options.parse_args()

    began, folder, library = time.time(), folder_for("model"), Library(given.driver)
    seed = given.first if given.seed is None else given.seed
    first, total, failures, kinds = seed, 0, 0, Counter()
    while total < given.statements and failures < given.failures:
        settings = Settings(seed)
        steps, difference = generate(library, settings, folder)
        total += len(steps)
        kinds.update(text.split(" ")[0] for text, _, _ in steps)
        if difference is not None:
            failures += 1
            report(library, settings, folder, steps, difference)
        if given.seed is not None:
            break
        seed += 1
    if library.stop() != 0:
        failures += 1
        print("the library's process ended with status %s" % library.process.returncode)
    shutil.rmtree(folder, True)
    print("statements by first word: " + ", ".join("%s %d" % pair for pair in kinds.most_common(9)))
    print("model: %d random statements, seeds %d to %d, %d differences, %.0f seconds"
          % (total, first, max(first, seed - 1), failures, time.time() - began))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
