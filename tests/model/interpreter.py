"""A small interpreter of the dialect: the model that the library is compared with.

It is written from the description of the dialect, evaluates naively, and shares nothing with the
library but the list of reserved words.
"""

from compiler import Compiler
from cursor import Cursor
from machine import Machine
from parser import Parser
from values import Cell, Failure, FieldValue


class Outcome:
    """What became of a statement, in the terms of library_pipe.Answer."""

    def __init__(self):
        self.ok, self.error, self.names, self.rows = True, "", [], []
        self.kind = self.query = None
        self.many = False  # it was to change any number of records


def run(database, text, parameters=(), view=True):
    """Runs a statement, for its rows or just so."""
    outcome = Outcome()
    try:
        parser = Parser(text)
        statement = parser.parse()
        outcome.kind = statement.kind
        outcome.many = statement.kind in ("update", "delete") or \
            (statement.kind == "insert" and statement.query is not None)
        runner = Runner(database, parser, statement, parameters, view, outcome)
        runner.run()
    except Failure as failure:
        outcome.ok, outcome.error = False, failure.args[0]
    return outcome


class Runner:
    def __init__(self, database, parser, statement, parameters, view, outcome):
        self.database, self.parser, self.statement = database, parser, statement
        self.parameters, self.view, self.outcome = parameters, view, outcome
        self.machine = Machine(database, parameters)

    def run(self):
        kind = self.statement.kind
        rows = kind in ("select", "insert", "update", "delete")
        if rows:
            Compiler(self.database, self.parser, self.statement).compile()
        # A host that meets a numbered parameter lets the library look for what it needs.
        if len(self.parameters) != self.parser.parameters and not self.parser.numbered:
            raise Failure("Input parameter count mismatch: Found %d expected %d"
                          % (len(self.parameters), self.parser.parameters))
        if not rows:
            getattr(self.database, kind.replace(" ", "_"))(self.statement)
            return
        self.open_cursors()
        getattr(self, kind)()

    def open_cursors(self):
        scopes = list(self.parser.scopes)
        while scopes:
            for table in scopes.pop().tables:
                if table.inner is None:
                    table.cursor = Cursor(table.table)
                else:
                    scopes.append(table.inner_scope)

    def select(self):
        if not self.view:
            raise Failure("SELECT is not valid in this context")
        machine, query = self.machine, self.statement.query
        self.outcome.query = query
        self.outcome.names = [item.name for item in query.items]
        for _ in machine.body(query):
            row = []
            for _ in query.items:
                cell = Cell()
                cell.set(machine.pop())
                row.append(cell.get_text())
            self.outcome.rows.append(tuple(reversed(row)))
            machine.record_number += 1

    # ---- changes ----

    def insert(self):
        table, slots, machine = self.statement.target, self.statement.slots, self.machine
        values = [""] * len(table.fields)
        if self.statement.query is None:
            for slot, expression in zip(slots, self.statement.values):
                machine.evaluate(expression)
                values[slot] = table.fields[slot].store(machine.pop())
            self.append(table, values)
            return
        for _ in machine.body(self.statement.query):
            for slot in reversed(slots):
                values[slot] = table.fields[slot].store(machine.pop())
            self.append(table, values)

    def append(self, table, values):
        table.check_unique(values)
        table.records.append(table.written(values))
        self.machine.record_number += 1

    def update(self):
        """Keys change when the last row is done, so that a new key may stand against an old one of
        a record that has a new one itself."""
        statement, machine, target = self.statement, self.machine, self.statement.target
        cursor, table = target.cursor, target.table
        keys = {index: {index.key(table, values): record for record, values
                        in enumerate(table.records) if values is not None}
                for index in table.in_order() if index.unique}
        pending = []
        more = cursor.first()
        while more:
            if self.concerned():
                before = table.records[cursor.record]
                cursor.values = list(before)
                for reference, expression in statement.changes:
                    machine.evaluate(expression)
                    self.change(cursor, reference.index, machine.pop())
                for index in keys:
                    old, new = index.key(table, before), index.key(table, cursor.values)
                    if old == new:
                        continue
                    if keys[index].get(new, cursor.record) != cursor.record:
                        raise Failure("Updated record violates UNIQUE constraint on index '%s'"
                                      % index.name)
                    pending.append((keys[index], old, new, cursor.record))
                table.records[cursor.record] = table.written(cursor.values)
            more = cursor.step()
        for known, old, new, record in pending:
            known.pop(old)
            if new in known:
                raise Failure(None)  # in words of the index file
            known[new] = record

    @staticmethod
    def change(cursor, index, value):
        """A column set to itself stays as it is, even one that holds no number or only blanks."""
        if isinstance(value, FieldValue) and value.cursor is cursor and value.index == index:
            return
        cursor.values[index] = cursor.table.fields[index].store(value)

    def concerned(self):
        machine, target, where = self.machine, self.statement.target, self.statement.where
        machine.steps += 1
        if target.search is not None and machine.search(target) != 1:
            return False
        if where is None or where.is_empty():
            return True
        machine.evaluate(where)
        return machine.test() != 0

    def delete(self):
        """Keys go when the last row is done. What two tables of the list have both deleted, since
        they are the same table, is not in the index any more when the second one's turn comes."""
        met, again = {}, False
        for _ in self.machine.body(self.statement.query):
            for use in self.statement.targets:
                if use.cursor.at_end:
                    continue  # a row that an outer join made up is no record
                place = id(use.table), use.cursor.record
                again = again or (met.setdefault(place, use) is not use and use.table.indexes)
                use.table.records[use.cursor.record] = None
        if again:
            raise Failure("Record is not in index")
