"""Runs the blocks of a compiled statement: every table read from its first record to its last,
every condition evaluated, nothing cached, no index used."""

from cursor import Group
from evaluator import Evaluator
from values import (CHARACTER, Cell, Failure, MEMO, Unsettled, compare, compare_texts, is_null,
                    to_double, to_text, upper)


class Machine(Evaluator):
    # ---- blocks ----

    def body(self, query):
        """Once per row, with the selected values on the stack (below a mark in a value's block)."""
        single = query.kind == "value"
        if query.temporary:
            rows = self.temporary_rows(query)
            push_row = lambda: self.push_result(query)
        else:
            rows = self.loops(query)
            push_row = lambda: self.push_items(query)
        if single and not query.temporary:
            self.push(0)
        for _ in (self.marked(query, rows) if single and query.temporary else rows):
            if single and self.test() == 1:
                raise Failure("Sub-query returns more than one row")
            push_row()
            if single:
                self.copy()
                self.push(1)
            yield

    def marked(self, query, rows):
        """The rows of a temporary table, with the mark pushed once all of them are made."""
        started = False
        for row in rows:
            if not started:
                self.push(0)
                started = True
            yield row
        if not started:
            self.push(0)

    def push_items(self, query):
        for item in query.items:
            if item.recno:
                self.push(self.record_number)
            else:
                self.evaluate(item.expression)

    def push_result(self, query):
        for i, item in enumerate(query.items):
            self.push(self.record_number if item.recno else query.result[i])

    def temporary_rows(self, query):
        rows = []
        seen = set() if any(branch.union_distinct for branch in query.unions) else None
        for branch in [query] + query.unions:
            distinct = (query.unions[0] if branch is query else branch).union_distinct \
                if query.unions else False
            for _ in self.loops(branch):
                if seen is not None:
                    self.push_items(branch)
                    key = self.key(len(query.items))
                    known = key in seen
                    seen.add(key)
                    if known and distinct:
                        continue
                self.push_items(branch)
                row = [Cell() for _ in range(len(query.items) + len(query.order_by))]
                rows.append(row)
                query.result = row
                for i in range(len(query.items) - 1, -1, -1):
                    row[i].set(self.pop())
                for term in query.order_by:
                    self.evaluate(term.expression)
                    row[term.position].set(self.pop())
        if query.order_by:
            rows = self.sort(query, rows)
        for row in rows:
            query.result = row
            yield row

    def key(self, count):
        """The joined texts of the values on top, which groups and DISTINCT know a row by."""
        key = ":".join(reversed([to_text(self.pop()) for _ in range(count)]))
        return upper(key) if self.ignore_case else key

    def sort(self, query, rows):
        """By merging runs of 1, 2, 4, ... rows: with values that are now numbers, now texts, the
        way of sorting shows in the result."""
        width = 1
        while width < len(rows):
            merged = []
            for start in range(0, len(rows), 2 * width):
                left = rows[start:start + width]
                right = rows[start + width:start + 2 * width]
                i = j = 0
                while i < len(left) or j < len(right):
                    if i < len(left) and (j == len(right) or
                                          self.in_order(query, left[i], right[j]) <= 0):
                        merged.append(left[i])
                        i += 1
                    else:
                        merged.append(right[j])
                        j += 1
            rows, width = merged, 2 * width
        return rows

    def in_order(self, query, a, b):
        for term in query.order_by:
            left, right = a[term.position], b[term.position]
            field = term.column.field if term.column else None
            result = None
            if field is None or field.type not in (CHARACTER, MEMO):
                x, good = left.get_number()
                y, also = right.get_number()
                if good and also:
                    result = 0 if x == y else -1 if x < y else 1
            if result is None:
                result = compare_texts(left.get_text(), right.get_text(),
                                       self.ignore_case and term.wrapper is None)
            if result:
                return result if term.ascending else -result
        return 0

    def loops(self, query):
        return self.grouped(query) if query.aggregates else self.scans(query)

    def scans(self, query):
        seen = set()
        for _ in self.nest(query, 0):
            if query.where is not None and not query.where.is_empty():
                self.evaluate(query.where)
                if self.test() == 0:
                    continue
            if query.distinct:
                self.push_items(query)
                key = self.key(len(query.items))
                if key in seen:
                    continue
                seen.add(key)
            yield

    def nest(self, query, depth):
        if depth == len(query.open_tables):
            yield
            return
        table = query.open_tables[depth]
        walk = self.derived_rows if table.inner else \
            self.outer_rows if table.on else self.inner_rows
        for _ in walk(table):
            yield from self.nest(query, depth + 1)

    def inner_rows(self, table):
        cursor = table.cursor
        more = cursor.first()
        while more:
            self.steps += 1
            if table.search is None or self.search(table) == 1:
                yield
            more = cursor.step()

    def search(self, table):
        if not hasattr(table, "search_code"):
            table.search_code = self.code(table.search)
        table.search_code()
        return self.test()

    def outer_rows(self, table):
        cursor, matched = table.cursor, False
        more = cursor.first()
        while more:
            self.steps += 1
            if self.joined(table):
                matched = True
                yield
            more = cursor.step()
        if not matched:
            yield

    def joined(self, table):
        rest = not table.on.is_empty()
        if table.search is None:
            self.evaluate(table.on)
            return self.test() == 1
        if not rest:
            return self.search(table) == 1
        if not hasattr(table, "search_code"):
            table.search_code = self.code(table.search)
        table.search_code()
        self.evaluate(table.on)
        self.simple["and"]()
        return self.test() == 1

    def derived_rows(self, table):
        rows = []
        for _ in self.body(table.inner):
            row = [Cell() for _ in table.own_columns]
            for reference in table.own_columns:
                row[reference.index].set(self.pop())
            rows.append(row)
        for row in rows:
            table.row = row
            yield
        table.row = None

    # ---- groups ----

    def accumulator(self, aggregate):
        query = aggregate.query
        if query is None or query.bucket is None:
            raise Unsettled("an aggregate without a group")
        return query.bucket.cells[aggregate.position]

    def grouped(self, query):
        groups = {}
        default = None
        query.bucket = None
        if not query.group_by:
            query.bucket = default = Group(len(query.aggregates))
            for aggregate in query.aggregates:
                if aggregate.function == "count":
                    default.cells[aggregate.position].set(0)
        for _ in self.scans(query):
            for expression in query.group_by:
                self.evaluate(expression)
            key = self.key(len(query.group_by))
            if key not in groups:
                groups[key] = Group(len(query.aggregates))
            query.bucket = groups[key]
            for aggregate in query.aggregates:
                self.accumulate(query.bucket, aggregate)
        for group in (list(groups.values()) or ([default] if default else [])):
            query.bucket = group
            yield

    def accumulate(self, group, aggregate):
        i, cell = aggregate.position, group.cells[aggregate.position]
        if aggregate.function == "column":
            self.column(aggregate.column)()
            cell.set(self.pop())
            return
        if aggregate.expression is None:
            cell.set(cell.get_integer() + 1)
            return
        self.evaluate(aggregate.expression)
        if aggregate.distinct:
            text = to_text(self.pop())
            text = upper(text) if self.ignore_case else text
            if text not in group.seen[i]:
                group.seen[i].add(text)
                cell.set(cell.get_integer() + 1)
            return
        value = self.pop()
        if is_null(value):
            return
        if aggregate.function == "count":
            cell.set(cell.get_integer() + 1)
        elif aggregate.function in ("sum", "avg"):
            group.sums[i] += to_double(value)
            group.counts[i] += 1
            cell.set(group.sums[i] / (group.counts[i] if aggregate.function == "avg" else 1))
        elif cell.is_null():
            cell.set(value)
        else:
            result = compare(value, cell, self.ignore_case)
            if result < 0 if aggregate.function == "min" else result > 0:
                cell.set(value)
