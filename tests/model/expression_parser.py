"""Conditions and values: which tokens may stand where. The tree decides where they land in it."""

from scanner import DYNAMIC, END, IDENTIFIER, LITERAL, UNKNOWN
from token_reader import TokenReader
from tree import Aggregate, Between, Expression, In, Substring
from values import Failure, text_to_integer

COMPARISONS = {"<", ">", "=", "<>", ">=", "<="}
VALUE_STARTS = {DYNAMIC, LITERAL, IDENTIFIER, "avg", "count", "(", "?", "upper", "lower", "max",
                "min", "null", "substring", "sum", "ifnull"}
AGAIN = {"exists", "in", "is", "like", "not", "between", "*", "+", "-", "/"} | COMPARISONS


class ExpressionParser(TokenReader):
    """`subquery`, for a block inside an expression, is the statement parser's."""

    # ---- conditions ----

    def condition(self, e):
        self.conjunction(e)
        while True:
            if self.kind == "or":
                e.insert_at_group("or", -2)
                self.advance()
            elif self.kind not in AGAIN:
                return
            self.conjunction(e)

    def conjunction(self, e):
        self.factor(e)
        while self.kind == "and":
            e.insert_at_group("and", -2)
            self.advance()
            self.factor(e)

    def factor(self, e):
        if self.kind == "not":
            e.insert_prefix("not")
            self.advance()
        if self.kind == "(":
            e.open_group()
            self.advance()
            self.condition(e)
            if self.kind != ")":
                raise Failure("Syntax Error: Mismatched parentheses")
            e.close_group()
            self.advance()
        else:
            self.predicate(e)

    def value_subquery(self, e):
        query = self.subquery(e, "value", e.update_target)
        e.set_element(query)
        self.close()

    def predicate(self, e):
        if self.kind == "exists":
            self.advance()
            self.take("(", "open parenthesis")
            self.take("select", "SELECT")
            self.value_subquery(e)
            return
        if self.kind not in COMPARISONS and self.kind != "like":
            self.value(e)
        negate = False
        if self.kind == "is":
            self.advance()
            negate = self.skip("not")
            self.take("null", "NULL")
            e.insert_postfix("null")
        else:
            if self.kind == "not":
                negate = True
                if self.advance() not in ("between", "in", "like"):
                    raise self.expected("one of BETWEEN, IN, or LIKE")
            if self.kind == "between":
                self.between(e)
            elif self.kind == "in":
                self.inside(e)
            elif self.kind in COMPARISONS or self.kind == "like":
                e.insert_at_group(self.kind, -1)
                self.advance()
                if self.skip("("):
                    self.take("select", "SELECT")
                    self.value_subquery(e)
                else:
                    self.value(e)
        if negate:
            e.wrap_not()

    def between(self, e):
        self.advance()
        element = Between(Expression(e.scope), Expression(e.scope))
        e.insert_at_current(None, 1, element)
        self.value(element.low)
        self.take("and", "AND")
        self.value(element.high)

    def inside(self, e):
        self.advance()
        self.take("(", "open parenthesis")
        element = In()
        e.insert_at_current(None, 1, element)
        if self.skip("select"):
            element.query = self.subquery(e, "in", None)
        else:
            while True:
                if self.kind == LITERAL:
                    element.values.append(self.text)
                elif self.kind == "?":
                    element.values.append(self.next_parameter())
                elif self.kind == DYNAMIC:
                    element.values.append(self.numbered_parameter())
                else:
                    raise self.expected("literal or dynamic")
                self.advance()
                if not self.skip(","):
                    break
        self.close()

    # ---- values ----

    def next_parameter(self):
        self.parameters += 1
        return self.parameters - 1

    def numbered_parameter(self):
        text = self.text
        if text == "" or not all(c.isdigit() for c in text):
            raise self.expected("number")
        number = text_to_integer(text)
        self.numbered = True
        return self.next_parameter() if number == 0 else number - 1

    def value_of(self, e):
        self.value(e)
        return e

    def value(self, e):
        if self.kind not in VALUE_STARTS and self.kind not in ("+", "-"):
            raise Failure("Syntax Error: '%s' unexpected" % self.text)
        while self.kind in VALUE_STARTS or self.kind in ("+", "-"):
            self.term(e)
            if self.kind in VALUE_STARTS or self.kind == UNKNOWN:
                raise self.expected("operator")
            if self.kind not in ("+", "-"):
                continue
            e.insert_at_current(self.kind, 2)
            self.advance()
            if self.kind == UNKNOWN:
                raise Failure("Syntax Error: '%s' unexpected" % self.text)
            if self.kind == END:
                raise Failure("Syntax Error: SQL command not properly ended")

    def term(self, e):
        self.scanner.fold_sign()
        while self.kind in VALUE_STARTS:
            self.primary(e)
            if self.kind in VALUE_STARTS or self.kind == UNKNOWN:
                raise self.expected("operator")
            if self.kind not in ("*", "/"):
                continue
            e.insert_at_current(self.kind, 3)
            self.advance()
            if self.kind == END:
                raise Failure("Syntax Error: SQL command not properly ended")

    def primary(self, e):
        kind = self.kind
        if kind == LITERAL:
            e.set_literal(self.text)
            self.advance()
        elif kind == "null":
            e.set_literal("")
            self.advance()
        elif kind == "?":
            e.set_parameter(self.next_parameter())
            self.advance()
        elif kind == DYNAMIC:
            e.set_parameter(self.numbered_parameter())
            self.advance()
        elif kind == "(":
            e.open_group()
            self.advance()
            if self.skip("select"):
                e.set_element(self.subquery(e, "value", e.update_target))
            else:
                self.value(e)
            if self.kind != ")":
                raise Failure("Syntax Error: Mismatched parentheses")
            e.close_group()
            self.advance()
        elif kind == IDENTIFIER:
            self.name(e)
        elif kind in ("upper", "lower"):
            e.open_group()
            e.insert_prefix(kind)
            self.advance()
            self.arguments(e)
        elif kind == "ifnull":
            self.ifnull(e)
        elif kind == "substring":
            self.substring(e)
        else:
            self.aggregate(e)

    def name(self, e):
        word = self.text
        self.advance()
        if self.skip("."):
            e.set_column(self.take(IDENTIFIER, "column name"), word)
        elif self.kind == "(":
            e.open_group()
            if word.lower() != "length":
                raise Failure("Syntax Error: Expected column name, found '('")
            e.insert_prefix("length")
            self.arguments(e)
        else:
            e.set_column(word)

    def arguments(self, e):
        self.take("(", "open parenthesis")
        self.value(e)
        self.take(")", "close parenthesis")
        e.close_group()

    def ifnull(self, e):
        e.open_group()
        self.advance()
        self.take("(", "open parenthesis")
        self.value(e)
        self.take(",", "comma")
        e.insert_at_current("ifnull", 0)
        self.value(e)
        self.take(")", "close parenthesis")
        e.close_group()

    def substring(self, e):
        e.open_group()
        self.advance()
        self.take("(", "open parenthesis")
        element = Substring(Expression(e.scope), Expression(e.scope), None)
        e.insert_at_current(None, 0, element)
        self.value(element.string)
        self.take("from", "FROM")
        self.value(element.start)
        if self.skip("for"):
            element.length = self.value_of(Expression(e.scope))
        self.take(")", "close parenthesis")
        e.close_group()

    def aggregate(self, e):
        function = self.kind
        self.advance()
        self.take("(", "open parenthesis")
        star = function == "count" and self.skip("*")
        element = Aggregate(function, None, not star and function == "count" and
                            self.skip("distinct"))
        e.set_element(element)
        e.aggregates.append(element)
        if not star:
            element.expression = self.value_of(Expression(e.scope))
        self.take(")", "close parenthesis")
