"""Runs a compiled statement: every table read from its first record to its last, every condition
evaluated on a stack of values, nothing cached, no index used."""

from tree import Aggregate, Between, COLUMN, ELEMENT, GROUP, In, LITERAL_NODE, OrderItem, PARAMETER, \
    Query, Substring
from values import (BOOLEAN, CHARACTER, Cell, Failure, FieldValue, MEMO, NULL, Text, compare,
                    compare_texts, divide, fold_case, is_null, like, lower, substring, to_bool,
                    to_double, to_integer, to_text, Unsettled, upper)

MOST_STEPS = 60000
STACK_LIMIT = 2046


class TooLong(Exception):
    """The statement would run for longer than a test wants to wait."""


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


class Machine:
    def __init__(self, database, parameters):
        self.database, self.parameters = database, parameters
        self.ignore_case = database.ignore_case
        self.stack = []
        self.record_number = 1
        self.steps = 0
        self.simple = {
            "and": lambda: self.both(lambda a, b: int(to_bool(a) and to_bool(b))),
            "not": lambda: self.push(int(not to_bool(self.pop()))),
            "null": lambda: self.push(int(is_null(self.pop()))),
            "like": lambda: self.both(lambda a, b: int(like(to_text(a), to_text(b),
                                                            self.ignore_case))),
            "upper": lambda: self.push(fold_case(self.pop(), upper)),
            "lower": lambda: self.push(fold_case(self.pop(), lower)),
            "length": lambda: self.push(len(to_text(self.pop()))),
            "ifnull": self.ifnull,
            "+": lambda: self.both(lambda a, b: to_double(a) + to_double(b)),
            "-": lambda: self.both(lambda a, b: to_double(a) - to_double(b)),
            "*": lambda: self.both(lambda a, b: to_double(a) * to_double(b)),
            "/": lambda: self.both(lambda a, b: divide(to_double(a), to_double(b))),
        }

    # ---- the stack ----

    def push(self, value):
        self.steps += 1
        if self.steps > MOST_STEPS:
            raise TooLong()
        if len(self.stack) >= STACK_LIMIT:
            raise Unsettled("a stack at its limit")
        self.stack.append(value)

    def pop(self):
        if not self.stack:
            raise Failure("Stack underflow")
        return self.stack.pop()

    def both(self, operation):
        right = self.pop()
        self.push(operation(self.pop(), right))

    def compare(self, keep):
        if len(self.stack) < 2:
            raise Failure("Stack underflow")
        result = compare(self.stack[-2], self.stack[-1], self.ignore_case)
        del self.stack[len(self.stack) - 2 + keep:]
        return result

    def ifnull(self):
        other = Text(to_text(self.pop()))
        if not self.stack:
            raise Failure("Stack underflow")
        if is_null(self.stack[-1]):
            self.stack[-1] = other

    def copy(self):
        if self.stack and isinstance(self.stack[-1], FieldValue):
            self.stack[-1] = Text(self.stack[-1].text)

    def test(self):
        return to_integer(self.pop())

    # ---- expressions: each node becomes a function that leaves a value on the stack ----

    def evaluate(self, expression):
        if not hasattr(expression, "code"):
            expression.code = self.code(expression.root)
        expression.code()

    def code(self, node):
        if node is None:
            return lambda: None
        left, right = self.code(node.left), self.code(node.right)
        own = self.own_code(node)
        if node.operator == "or":
            def either():
                left()
                if to_integer(self.pop()) == 0:
                    right()
                else:
                    self.push(1)
            return either
        if own is None:
            return (lambda: (left(), right())) if node.left or node.right else (lambda: None)
        if node.left is None and node.right is None:
            return own
        return lambda: (left(), right(), own())

    def own_code(self, node):
        if node.kind == GROUP:
            return None
        if node.kind == LITERAL_NODE:
            text = Text(node.text)
            return lambda: self.push(text)
        if node.kind == PARAMETER:
            return lambda: self.parameter(node.number)
        if node.kind == COLUMN:
            return self.column(node.column)
        if node.element is not None:
            return self.element(node.element)
        if node.operator in self.simple:
            return self.simple[node.operator]
        holds = {"=": lambda c: c == 0, "<>": lambda c: c != 0, "<": lambda c: c < 0,
                 ">": lambda c: c > 0, "<=": lambda c: c <= 0, ">=": lambda c: c >= 0}
        if node.operator in holds:
            hold = holds[node.operator]
            return lambda: self.push(int(hold(self.compare(0))))
        return None  # "or": all is done already

    def parameter(self, number):
        if number >= len(self.parameters):
            raise Failure("Invalid parameter")
        self.push(Text(self.parameters[number]))

    def column(self, reference):
        table, index, field = reference.owner, reference.index, reference.field
        if reference.state == 0:
            def unresolved():
                raise Unsettled("a name that nobody looked up")
            return unresolved
        if reference.state == 2:
            def derived():
                if table.row is None:
                    raise Unsettled("a derived table that stands on no row")
                self.push(table.row[index])
            return derived
        cursor = table.cursor
        value = FieldValue(cursor, index, field)
        if field.type == BOOLEAN:
            return lambda: self.push(NULL if cursor.at_end else int(value.text.startswith("T")))
        return lambda: self.push(NULL if cursor.at_end else value)

    def element(self, element):
        if isinstance(element, Query):
            return lambda: self.value_of(element)
        if isinstance(element, Aggregate):
            return lambda: self.push(self.accumulator(element))
        if isinstance(element, Between):
            return lambda: self.between(element)
        if isinstance(element, In):
            return lambda: self.inside(element)
        if isinstance(element, OrderItem):
            return lambda: self.push(element.query.result[element.query.items.index(element.item)])
        return lambda: self.substring(element)

    def between(self, element):
        self.evaluate(element.low)
        good = self.compare(1) >= 0
        if good:
            self.evaluate(element.high)
            good = self.compare(1) <= 0
        self.pop()
        self.push(int(good))

    def inside(self, element):
        found = False
        if element.query is None:
            for value in element.values:
                if isinstance(value, str):
                    self.push(Text(value))
                else:
                    self.parameter(value)
                found = self.compare(1) == 0
                if found:
                    break
        else:
            for _ in self.body(element.query):
                found = self.compare(1) == 0
                if found:
                    break
        self.pop()
        self.push(int(found))

    def substring(self, element):
        for part in (element.string, element.start, element.length):
            if part is not None:
                self.evaluate(part)
        length = to_integer(self.pop()) if element.length is not None else None
        start = to_integer(self.pop())
        self.push(substring(to_text(self.pop()), start, length))

    def value_of(self, query):
        for _ in self.body(query):
            pass
        if self.test() == 0:
            self.push(NULL)

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
        key = "".join(to_text(self.pop()) + ":" for _ in range(count))
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
        walk = self.derived_rows if table.inner else self.outer_rows if table.on else self.inner_rows
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
