"""Text to tree: the statements of the dialect, with the words of every refusal."""

from expression_parser import ExpressionParser
from scanner import END, IDENTIFIER
from tree import COLUMN, Expression, Item, OrderTerm, Query, Statement, TableUse
from values import BOOLEAN, CHARACTER, Failure, Field, MEMO, NUMERIC

LONGEST_NAME, WIDEST_NUMBER = 64, 19


class Parser(ExpressionParser):
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
        if len(self.text) > 10:
            raise Failure("Column name '%s' exceeds the maximum length of 10 characters"
                          % self.text)
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
            self.skip("all")
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

    def subquery(self, expression, kind, update_target):
        """A block inside an expression; the current token is behind its SELECT. That of an IN knows
        nothing of the table that an UPDATE changes, and leaves conditions on it where they are."""
        query = Query(self.new_scope(expression.scope), kind, expression.query, update_target)
        self.subqueries.append(query)
        self.query_block(query)
        return query
