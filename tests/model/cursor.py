"""Where a running statement stands: in a table, in a group."""

from values import Cell


class Cursor:
    def __init__(self, table):
        self.table = table
        self.values = [""] * len(table.fields)
        self.record = -1
        self.at_end = False

    def step(self):
        """To the next live record; False at the end."""
        records = self.table.records
        while self.record + 1 < len(records):
            self.record += 1
            if records[self.record] is not None:
                self.values = list(records[self.record])
                return True
        self.record = len(records)
        self.at_end = True
        return False

    def first(self):
        self.record, self.at_end = -1, False
        return self.step()


class Group:
    """One group's accumulators."""

    def __init__(self, count):
        self.cells = [Cell() for _ in range(count)]
        self.sums = [0.0] * count
        self.counts = [0] * count
        self.seen = [set() for _ in range(count)]
