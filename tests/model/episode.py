"""One episode: a fresh database, some dozens of statements, and the library and the model side by
side. An episode that ends in a difference is shrunk until nothing can be left out."""

import os
import random
import shutil
import tempfile
from collections import Counter
from itertools import zip_longest

import interpreter
from database import Database
from evaluator import TooLong
from generator import Generator
from library_pipe import LibraryDied
from scanner import pieces_of
from values import Field, Unsettled, text_to_double, upper


# Failures of a condition as it is evaluated for a row.
WITH_A_ROW = ("Sub-query returns more than one row", "Stack underflow")


class Settings:
    """What the seed decides: index or none, cache or none, case matters or not."""

    def __init__(self, seed):
        self.seed = seed
        self.careful = bool(seed & 1)      # there are indexes
        self.cache = bool(seed & 2)
        self.ignore_case = bool(seed & 4)
        self.large = seed % 16 in (1, 7)   # tables of many records, so that indexes have many pages
        self.statements = 240 if self.large else 60

    def __str__(self):
        return "seed %d: %s, %s, %s" % (
            self.seed, "with indexes" if self.careful else "without an index",
            "statements cached" if self.cache else "no statement cached",
            "case ignored" if self.ignore_case else "case kept") + \
            (", large tables" if self.large else "")


class Difference(Exception):
    """The two sides do not agree; `kind` tells in what."""

    def __init__(self, message, kind="trouble"):
        super().__init__(message)
        self.kind = kind


class Episode:
    def __init__(self, library, settings, folder):
        self.library, self.settings, self.folder = library, settings, folder
        self.model = Database(settings.ignore_case)
        self.last, self.changed = None, 0  # of the last statement: the outcome, and its records
        Field.careful = settings.careful
        shutil.rmtree(folder, True)
        os.makedirs(folder)
        self.open("create")

    def open(self, how):
        self.need(self.library.ask(how, self.folder + "/base.dbf"))
        self.need(self.library.ask("option", "caseinsensitive" if self.settings.ignore_case
                                   else "casesensitive", ""))
        self.need(self.library.ask("option", "statement_cache_size",
                                   "10" if self.settings.cache else "0"))

    def records(self):
        return {name: [None if r is None else list(r) for r in table.records]
                for name, table in self.model.tables.items()}

    @staticmethod
    def need(answer):
        if not answer.ok:
            raise Difference("the episode can't begin: " + answer.error)

    def step(self, text, parameters, view):
        """Runs one statement on both sides. False when there is nothing to compare, and the library
        has not seen it; Difference when they do not agree. None ends the episode."""
        if text == "pack":
            self.need(self.library.ask("pack"))
            self.model.pack()
            return True
        if text == "reopen":
            self.open("open")
            return True
        before = self.records()
        try:
            mine = interpreter.run(self.model, text, parameters, view)
        except (Unsettled, TooLong):
            for name, records in before.items():
                self.model.tables[name].records = records
            return False
        self.last = mine
        self.changed = 0 if mine.kind not in ("insert", "update", "delete") else sum(
            old != new for name, records in self.records().items()
            for old, new in zip_longest(before[name], records))
        theirs = self.library.ask("view" if view else "query", text, *parameters)
        if self.settings.careful and mine.error in WITH_A_ROW and \
                (theirs.ok or theirs.error in WITH_A_ROW):
            return None if mine.many else True  # the index may spare it the row that fails
        self.compare(mine, theirs)
        if self.settings.careful and not mine.ok and mine.many:
            return None  # what was changed before the failure depends on the order of the rows
        return True

    def compare(self, mine, theirs):
        if mine.ok != theirs.ok or (mine.error is not None and mine.error != theirs.error):
            raise Difference("model:   %s\nlibrary: %s" % (told(mine), told(theirs)),
                             (mine.ok, theirs.ok))
        if mine.ok and [name.upper() for name in mine.names] != [n.upper() for n in theirs.names]:
            raise Difference("model:   columns %s\nlibrary: columns %s"
                             % (mine.names, theirs.names), "names")
        if not self.settings.careful:
            same = mine.rows == theirs.rows
        else:
            same = not mine.ok or self.same_in_any_order(mine, theirs)
        if not same:
            raise Difference("model:   %s\nlibrary: %s" % (told(mine), told(theirs)), "rows")

    def same_in_any_order(self, mine, theirs):
        """An index gives the rows in its own order, so which of two spellings comes first, and how
        a sum is rounded, is open; the order of ORDER BY is not."""
        left = [tuple(map(self.rounded, row)) for row in mine.rows]
        right = [tuple(map(self.rounded, row)) for row in theirs.rows]
        if Counter(left) != Counter(right):
            return False
        places = self.ordered_places(mine.query)
        return [[row[p] or "0" for p in places] for row in left] == \
            [[row[p] or "0" for p in places] for row in right]  # blanks sort where 0 does

    def rounded(self, text):
        number, good = text_to_double(text)
        if good and "." in text:
            return "%.9g" % number
        return upper(text) if self.settings.ignore_case else text

    @staticmethod
    def ordered_places(query):
        """The result columns that ORDER BY begins with."""
        places = []
        for term in query.order_by if query else []:
            if term.column is None or term.wrapper:
                break
            found = [i for i, item in enumerate(query.items) if not item.recno and
                     item.expression.root.left.column is term.column]
            if not found:
                break
            places.append(found[0])
        return places


def told(outcome):
    if not outcome.ok:
        return "error: %s%s" % (outcome.error, " after %d rows" % len(outcome.rows)
                                if outcome.rows else "")
    rows = ["|".join(row) for row in outcome.rows[:12]]
    return "%d rows%s" % (len(outcome.rows), "".join("\n           " + row for row in rows))


def folder_for(name):
    base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    return tempfile.mkdtemp(prefix="ovra_%s_" % name, dir=base)


# ---- running, and shrinking what fails -----------------------------------------------------------


FEATURES = ["order by", "group by", "union", "outer join", "distinct", "exists", " in (", "like",
            "(select", "count(", "sum("]  # of a SELECT


def kinds_of(text):
    """The first words of a statement, and what is in it."""
    words = text.lower().split()
    first = " ".join(words[:2]) if words[0] in ("create", "drop", "alter") else words[0]
    text = " ".join(words)
    features = FEATURES if first == "select" else ["outer join"] if first == "delete" else []
    return [first] + ["%s with %s" % (first, feature.strip()) for feature in features
                      if feature in text]


def generate(library, settings, folder, mix):
    """Runs a random episode and counts what it runs. (the statements run, the difference or None)
    """
    source = random.Random(settings.seed)
    episode = Episode(library, settings, folder)
    maker = Generator(source, episode.model, settings.careful, 50 if settings.large else 4)
    done = []
    while len(done) < settings.statements:
        if source.random() < 0.02:
            step = (source.choice(["pack", "reopen"]), [], False)
        else:
            step = maker.statement()
        done.append(step)
        try:
            result = episode.step(*step)
        except (Difference, LibraryDied) as difference:
            return done, difference
        if result is False:
            done.pop()
        elif step[0] in ("pack", "reopen"):
            mix.count([step[0]], True, 0)
        else:
            mix.count(kinds_of(step[0]), episode.last.ok, len(episode.last.rows), episode.changed)
            if result:
                maker.remember(step, episode.last)
        if result is None:
            break
    return done, None


def replay(library, settings, folder, steps):
    """The difference that these statements end in, or None; one in their middle counts as well."""
    try:
        episode = Episode(library, settings, folder)
        for step in steps:
            if episode.step(*step) is None:
                return None
    except LibraryDied as difference:
        library.restart()
        return difference
    except Difference as difference:
        return difference
    return None


def shrink(library, settings, folder, steps):
    """Leaves out statements, then words of them, as long as a difference of that kind remains."""
    kind = getattr(replay(library, settings, folder, steps), "kind", None)

    def fails(candidate):
        found = replay(library, settings, folder, candidate)
        return found is not None and getattr(found, "kind", None) == kind

    changed = True
    while changed:
        changed = False
        for size in (16, 4, 2, 1):
            i = 0
            while i < len(steps):
                candidate = steps[:i] + steps[i + size:]
                if fails(candidate):
                    steps, changed = candidate, True
                else:
                    i += size
        for i, step in enumerate(steps):
            smaller = shrink_text(step, lambda s: fails(steps[:i] + [s] + steps[i + 1:]))
            if smaller != step:
                steps, changed = steps[:i] + [smaller] + steps[i + 1:], True
    return steps


def shrink_text(step, fails):
    text, parameters, view = step
    pieces = pieces_of(text)
    for size in (12, 8, 6, 5, 4, 3, 2, 1):
        i = 0
        while i < len(pieces):
            shorter = pieces[:i] + pieces[i + size:]
            dropped = [p for p in pieces[i:i + size]]
            given = parameters
            if "?" in dropped:
                first = pieces[:i].count("?")
                given = parameters[:first] + parameters[first + dropped.count("?"):]
            candidate = (" ".join(shorter), given, view)
            if shorter and fails(candidate):
                pieces, parameters = shorter, given
            else:
                i += 1
    smaller = (" ".join(pieces), parameters, view)
    return smaller if len(pieces) < len(pieces_of(text)) else step
