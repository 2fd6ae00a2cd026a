"""Text to tree: the statements of the dialect, with the words of every refusal."""

from scanner import DYNAMIC, END, IDENTIFIER, LITERAL, UNKNOWN, Scanner
from tree import (Aggregate, Between, COLUMN, Expression, In, Item, OrderTerm, Query, Scope,
                  Statement, Substring, TableUse)
from values import BOOLEAN, CHARACTER, Failure, Field, MEMO, NUMERIC, text_to_integer

COMPARISONS = {"<", ">", "=", "<>", ">=", "<="}
VALUE_STARTS = {DYNAMIC, LITERAL, IDENTIFIER, "avg", "count", "(", "?", "upper", "lower", "max",
                "min", "null", "substring", "sum", "ifnull"}
AGAIN = {"exists", "in", "is", "like", "not", "between", "*", "+", "-", "/"} | COMPARISONS
LONGEST_NAME, LONGEST_COLUMN, WIDEST_NUMBER = 64, 10, 19


class Parser:
    def __init__(self, text):
        self.scanner = Scanner(text)
        self.scopes = []       # in the order in which they were made
        self.subqueries = []   # the same
        self.parameters = 0    # those without a number
        self.numbered = False

    # ---- small things ----

    @property
    def kind(self):
        return self.scanner.current.kind

    @property
    def text(self):
        return self.scanner.current.text

    def advance(self):
        return self.scanner.advance()

    def expected(self, what):
        if self.kind == END:
            return Failure("Syntax Error: Expected %s at end of query" % what)
        return Failure("Syntax Error: Expected %s, found '%s'" % (what, self.text))

    def expect(self, kind, what):
        if self.kind != kind:
            raise self.expected(what)

    def take(self, kind, what):
        """Expects the token, gives its text and goes on to the next."""
        self.expect(kind, what)
        text = self.text
        self.advance()
        return text

    def next_is(self, kind, what):
        self.advance()
        self.expect(kind, what)

    def close(self):
        if self.kind != ")":
            raise Failure("Syntax Error: Mismatched parentheses")
        self.advance()

    def integer(self):
        text = self.text
        if text == "" or not (text[0] == "-" or text[0].isdigit()) or \
                not all(c.isdigit() for c in text[1:]):
            raise self.expected("integer")
        self.advance()
        return text_to_integer(text)

    def skip(self, kind):
        if self.kind != kind:
            return False
        self.advance()
        return True

    def new_scope(self, parent=None, listed=True):
        scope = Scope(parent)
        if listed:
            self.scopes.append(scope)
        return scope

    # ---- statements ----

    def parse(self):
        self.advance()
        forms = {"alter": self.alter, "create": self.create, "delete": self.delete,
                 "drop": self.drop, "insert": self.insert, "select": self.select,
                 "update": self.update}
        if self.kind not in forms:
            raise Failure("Syntax Error: Empty SQL Statement")
        form = forms[self.kind]
        self.advance()
        statement = form()
        if self.kind != END:
            raise Failure("Syntax Error: SQL command not properly ended")
        return statement

    def limited_name(self, what):
        self.expect(IDENTIFIER, "identifier")
        if len(self.text) > LONGEST_NAME:
            raise Failure("%s name '%s' exceeds the maximum length of %d characters"
                          % (what, self.text, LONGEST_NAME))
        name = self.text
        self.advance()
        return name

    def create(self):
        if self.kind in ("index", "unique"):
            return self.create_index()
        self.take("table", "TABLE")
        name = self.limited_name("Table")
        self.take("(", "open parenthesis")
        return Statement("create table", name=name, columns=self.definitions())

    def definitions(self):
        columns = [self.definition()]
        while self.skip(","):
            columns.append(self.definition())
        self.close()
        return columns

    def definition(self):
        self.expect(IDENTIFIER, "column name")
        if len(self.text) > LONGEST_COLUMN:
            raise Failure("Column name '%s' exceeds the maximum length of 10 characters" % self.text)
        name, word = self.text, self.advance()
        if word not in ("char", "character", "varchar", "numeric", "decimal", "integer", "smallint",
                        "memo", "bool", "boolean"):
            raise Failure("Unknown field type")
        self.advance()
        if word in ("integer", "smallint"):
            return Field(name, NUMERIC, 19)
        if word == "memo":
            return Field(name, MEMO, 10)
        if word in ("bool", "boolean"):
            return Field(name, BOOLEAN, 1)
        if word in ("numeric", "decimal"):
            return self.number_definition(name)
        width = 1
        if word == "varchar" or self.kind == "(":
            self.take("(", "open parenthesis")
            width = self.integer()
            if word == "varchar":
                self.take(")", "close parenthesis")
            else:
                self.close()
        return Field(name, CHARACTER, width)

    def number_definition(self, name):
        width, scale = WIDEST_NUMBER, 0
        if self.skip("("):
            width = self.integer()
            if self.skip(","):
                scale = self.integer()
                width += 1 + scale if scale else 0
            if width > WIDEST_NUMBER:
                raise Failure("NUMERIC fields may only be 19 digits, field is too many digits")
            self.take(")", "close parenthesis")
        return Field(name, NUMERIC, width, scale)

    def create_index(self):
        unique = self.kind == "unique"
        if unique:
            self.next_is("index", "INDEX")
        self.advance()
        name = self.limited_name("Index")
        self.take("on", "ON")
        table = self.take(IDENTIFIER, "identifier")
        self.take("(", "open parenthesis")
        columns = []
        while True:
            column = self.take(IDENTIFIER, "column identifier")
            columns.append((column, self.kind != "desc"))
            if self.kind in ("asc", "desc"):
                self.advance()
            if not self.skip(","):
                break
        self.take(")", "close parenthesis")
        return Statement("create index", name=name, table=table, unique=unique, columns=columns)

    def alter(self):
        self.expect("table", "TABLE")
        self.advance()
        name = self.limited_name("Table")
        if self.skip("add"):
            if self.skip("("):
                return Statement("alter add", name=name, columns=self.definitions())
            return Statement("alter add", name=name, columns=[self.definition()])
        if self.kind != "drop":
            raise self.expected("ADD or DROP")
        self.next_is("column", "COLUMN")
        self.advance()
        return Statement("alter drop", name=name, column=self.take(IDENTIFIER, "column name"))

    def drop(self):
        kind = self.kind
        if kind not in ("table", "index"):
            raise self.expected("TABLE or INDEX")
        self.advance()
        name = self.text
        self.advance()
        return Statement("drop " + kind, name=name)

    def select(self):
        query = Query(self.new_scope())
        self.query_block(query)
        self.order(query)
        return Statement("select", query=query)

    def insert(self):
        scope = self.new_scope()
        self.expect("into", "INTO")
        self.next_is(IDENTIFIER, "identifier")
        statement = Statement("insert", table=self.text, columns=None, query=None, values=[])
        self.advance()
        if self.skip("("):
            statement.columns = [self.take(IDENTIFIER, "identifier")]
            while self.skip(","):
                statement.columns.append(self.take(IDENTIFIER, "identifier"))
            self.take(")", "close parenthesis")
        if self.skip("select"):
            statement.query = Query(scope)
            self.query_block(statement.query)
            self.order(statement.query)
            return statement
        if self.kind != "values":
            raise self.expected("VALUES or SELECT")
        self.next_is("(", "open parenthesis")
        self.advance()
        while True:
            statement.values.append(self.value_of(Expression(scope)))
            if not self.skip(","):
                break
        self.take(")", "close parenthesis")
        return statement

    def update(self):
        scope = self.new_scope()
        target = TableUse(self.take(IDENTIFIER, "identifier"), None)
        scope.tables.append(target)
        self.expect("set", "SET")
        statement = Statement("update", target=target, scope=scope, changes=[], where=None)
        while True:
            self.advance()
            column = scope.reference(self.take(IDENTIFIER, "column identifier"))
            self.take("=", "=")
            expression = Expression(scope, None, target)
            if self.kind == "null":
                expression.set_literal("")
                self.advance()
            else:
                self.value_of(expression)
            statement.changes.append((column, expression))
            if self.kind != ",":
                break
        if self.skip("where"):
            statement.where = Expression(scope, None, target)
            self.condition(statement.where)
        return statement

    def delete(self):
        query = Query(self.new_scope())
        statement = Statement("delete", query=query, names=[])
        while self.kind == IDENTIFIER:
            statement.names.append(self.text)
            self.advance()
            if self.kind == ".":
                self.next_is("*", "*")
                self.advance()
            if self.kind == ",":
                self.next_is(IDENTIFIER, "identifier")
        self.expect("from", "FROM")
        self.advance()
        self.table_spec(query)
        while self.skip(","):
            self.table_spec(query)
        self.where(query)
        return statement

    # ---- blocks ----

    def where(self, query):
        if self.skip("where"):
            query.where = Expression(query.scope, query, query.update_target)
            self.condition(query.where)

    def query_block(self, first):
        query = first
        while True:
            if not self.skip("all"):
                query.distinct = self.skip("distinct")
            if self.skip("*"):
                query.all_columns = True
            else:
                self.select_item(query)
                while self.skip(","):
                    self.select_item(query)
            self.expect("from", "FROM")
            while True:
                self.advance()
                if self.kind == "(":
                    self.derived_table(first)
                else:
                    self.table_spec(query)
                if self.kind != ",":
                    break
            self.where(query)
            if self.kind == "group":
                self.next_is("by", "BY")
                while True:
                    self.advance()
                    query.group_by.append(self.value_of(Expression(query.scope, query,
                                                                   query.update_target)))
                    if self.kind != ",":
                        break
            if self.kind != "union":
                return
            self.advance()
            branch = Query(self.new_scope(first.scope.parent), "rows", first.parent,
                           first.update_target)
            branch.union_distinct = not self.skip("all")
            first.unions.append(branch)
            self.take("select", "SELECT")
            query = branch

    def select_item(self, query):
        start = self.scanner.current.start
        if self.kind == IDENTIFIER:
            place, table = self.scanner.remember(), self.text
            if self.advance() == "." and self.advance() == "*":
                self.advance()
                query.items.append(Item("*", None, table))
                return
            self.scanner.go_back(place)
        item = Item()
        if self.kind == "recno":
            item.recno = True
            self.advance()
        else:
            item.expression = self.value_of(Expression(query.scope, query, query.update_target))
        if self.kind == "as":
            self.next_is(IDENTIFIER, "identifier")
            item.name = self.text
            self.advance()
        elif not item.recno and item.expression.root.left.kind == COLUMN:
            item.name = item.expression.root.left.column.name
        else:
            item.name = self.scanner.source[start:self.scanner.previous.end]
        query.items.append(item)

    def alias(self):
        if self.kind != IDENTIFIER:
            return None
        return self.take(IDENTIFIER, "identifier")

    def table_spec(self, query):
        name = self.take(IDENTIFIER, "identifier")
        self.add_table(query, TableUse(name, self.alias()))
        while self.kind == "left":
            self.next_is("outer", "OUTER")
            self.next_is("join", "JOIN")
            self.advance()
            name = self.take(IDENTIFIER, "identifier")
            left = query.last_table
            table = self.add_table(query, TableUse(name, self.alias()))
            table.outer_left = left
            self.take("on", "ON")
            table.on = Expression(query.scope, query, query.update_target)
            self.condition(table.on)

    @staticmethod
    def add_table(query, table):
        query.scope.tables.append(table)
        query.last_table = table
        return table

    def derived_table(self, query):
        self.advance()
        self.take("select", "SELECT")
        table = TableUse("", "")
        table.inner_scope = self.new_scope(None, False)
        table.inner = Query(table.inner_scope)
        self.query_block(table.inner)
        self.order(table.inner)
        self.take(")", "close parenthesis")
        if self.kind == "as":
            self.next_is(IDENTIFIER, "identifier")
        table.alias = self.alias() or ""
        self.add_table(query, table)

    def order(self, query):
        if self.kind != "order":
            return
        self.next_is("by", "BY")
        while True:
            self.advance()
            term = OrderTerm(self.value_of(Expression(query.scope, query, query.update_target)))
            term.ascending = self.kind != "desc"
            if self.kind in ("asc", "desc"):
                self.advance()
            query.order_by.append(term)
            if self.kind != ",":
                return

    def subquery(self, expression, kind):
        """A block inside an expression; the current token is behind its SELECT."""
        query = Query(self.new_scope(expression.scope), kind, expression.query,
                      expression.update_target)
        self.subqueries.append(query)
        self.query_block(query)
        return query

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
        query = self.subquery(e, "value")
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
            element.query = self.subquery(e, "in")
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
                e.set_element(self.subquery(e, "value"))
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
