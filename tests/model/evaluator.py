"""Expressions: each node becomes a function that takes its operands from a stack of values and
leaves its own value there."""

from tree import (Aggregate, Between, COLUMN, GROUP, In, LITERAL_NODE, OrderItem, PARAMETER,
                  Query)
from values import (BOOLEAN, Failure, FieldValue, NULL, Text, Unsettled, compare, divide, fold_case,
                    is_null, like, lower, substring, to_bool, to_double, to_integer, to_text, upper)

MOST_STEPS = 60000
STACK_LIMIT = 2046


class TooLong(Exception):
    """The statement would run for longer than a test wants to wait."""


class Evaluator:
    """`body` and `accumulator`, the rows of a block and its groups, are the machine's."""

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
