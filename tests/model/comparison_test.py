#!/usr/bin/env python3
"""The floors of a comparison notice a mix of statements that shows nothing."""

import sys
import unittest

sys.dont_write_bytecode = True

from comparison import Mix  # noqa: E402
from episode import kinds_of  # noqa: E402

FLOORS = {"statements that worked": 0.8, "rows": 2, "rows changed": 0.1, "select": 0.5}


def shortfalls(*statements):
    mix = Mix()
    for count, kinds, worked, rows, changed in statements:
        for _ in range(count):
            mix.count(kinds, worked, rows, changed)
    return list(mix.shortfalls(dict(FLOORS)))


class FloorsTest(unittest.TestCase):
    def test_a_good_mix_has_no_shortfall(self):
        self.assertEqual(shortfalls((6, ["select"], True, 4, 0), (3, ["update"], True, 0, 1),
                                    (1, ["insert"], False, 0, 0)), [])

    def test_statements_that_are_refused_do_not_count(self):
        self.assertEqual(shortfalls((5, ["select"], False, 4, 1), (5, ["update"], True, 0, 1)),
                         ["only 5 statements that worked for 10 statements",
                          "only 0 with select that worked of 10"])

    def test_a_kind_that_is_missing_is_told(self):
        self.assertEqual(shortfalls((10, ["update"], True, 4, 1)),
                         ["only 0 with select that worked of 10"])

    def test_statements_over_no_rows_are_told(self):
        self.assertEqual(shortfalls((10, ["select"], True, 0, 0)),
                         ["only 0 rows for 10 statements",
                          "only 0 rows changed for 10 statements"])

    def test_a_rare_kind_may_be_missing_in_a_short_run(self):
        mix = Mix()
        mix.count(["select"], True, 1)
        self.assertEqual(list(mix.shortfalls({"drop table": 0.5})), [])
        mix.count(["select"], True, 1)
        self.assertEqual(list(mix.shortfalls({"drop table": 0.5})),
                         ["only 0 with drop table that worked of 2"])

    def test_a_run_of_nothing_is_told(self):
        self.assertEqual(shortfalls(), ["nothing has run"])


class KindsTest(unittest.TestCase):
    def test_a_kind_is_the_first_words_and_what_a_select_has_in_it(self):
        self.assertEqual(kinds_of("create table t (a integer)"), ["create table"])
        self.assertEqual(kinds_of("DROP\tindex i"), ["drop index"])
        self.assertEqual(kinds_of("insert into t select a from u order by a"), ["insert"])
        self.assertEqual(kinds_of("select a\nfrom t UNION select b from u order by a"),
                         ["select", "select with order by", "select with union"])


if __name__ == "__main__":
    unittest.main()
