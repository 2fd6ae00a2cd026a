"""From the tree to something that can run: tables, names, select lists, groups, conditions."""

from tree import (Aggregate, COLUMN, ELEMENT, Expression, GROUP, Item, LITERAL_NODE, Node, OPERATOR,
                  OrderItem, PARAMETER, Reference)
from values import Failure


class Compiler:
    """Takes a parsed statement through its passes. The order of the passes shows in which message
    comes first, so it is part of the dialect."""

    def __init__(self, database, parser, statement):
        self.database, self.parser, self.statement = database, parser, statement

    def compile(self):
        statement = self.statement
        for scope in self.parser.scopes:
            self.bind_tables(scope)
        for query in self.parser.subqueries:
            self.prepare(query)
        if statement.kind == "insert":
            self.bind_target()
        if statement.kind == "delete":
            self.bind_targets()
        query = getattr(statement, "query", None)
        if query:
            self.prepare(query)
        for scope in self.parser.scopes:
            self.resolve_scope(scope)
        if query:
            self.optimize(query)
        for subquery in self.parser.subqueries:
            self.optimize(subquery)
        if statement.kind == "update" and statement.where:
            statement.target.search = extract(statement.target, [statement.target],
                                              statement.where.root, None, None)
        if statement.kind == "insert":
            self.count_values()

    # ---- tables ----

    def bind_tables(self, scope):
        for table in scope.tables:
            if scope.table(table.alias) is not table:
                raise Failure("Non unique %s '%s'" % ("alias" if table.aliased else "table",
                                                      table.alias))
            if table.inner is None:
                table.table = self.database.table(table.name)
                continue
            self.bind_tables(table.inner_scope)
            self.prepare(table.inner)
            items = table.inner.items
            for i in range(len(items) - 1, -1, -1):
                reference = Reference(items[i].name, table.alias)
                reference.state, reference.owner, reference.index = 2, table, i
                table.own_columns.append(reference)
            self.resolve_scope(table.inner_scope)

    def bind_target(self):
        statement = self.statement
        table = self.database.table(statement.table)
        fields = list(range(len(table.fields)))
        if statement.columns is None:
            statement.slots = fields
        else:
            statement.slots = []
            for name in statement.columns:
                index = table.field_index(name)
                if index is None:
                    raise Failure("Field '%s' does not exist in table '%s'"
                                  % (name, statement.table))
                statement.slots.append(index)
            for index in fields:
                if index in statement.slots:
                    continue
                statement.slots.append(index)
                scope = self.parser.scopes[0]
                empty = Expression(scope)
                empty.set_literal("")
                if statement.query:
                    statement.query.items.append(Item("", empty))
                else:
                    statement.values.append(empty)
        statement.target = table

    def bind_targets(self):
        statement = self.statement
        scope = statement.query.scope
        statement.targets = list(scope.tables) if not statement.names else []
        for name in statement.names:
            table = scope.table(name)
            if table is None:
                raise Failure("Unspecified correlation '%s'" % name)
            statement.targets.append(table)

    def count_values(self):
        statement = self.statement
        given = len(statement.query.items if statement.query else statement.values)
        if len(statement.slots) > given:
            raise Failure("Not enough values")
        if len(statement.slots) < given:
            raise Failure("Too many values")

    # ---- blocks ----

    def star(self, query, table):
        if table.inner is None:
            names = [field.name for field in table.table.fields]
        else:
            names = [reference.name for reference in table.own_columns]
        for name in names:
            expression = Expression(query.scope, query, query.update_target)
            expression.set_column(name, table.alias)
            yield Item(name, expression)

    def prepare(self, query):
        if query.all_columns:
            query.items = [item for table in query.scope.tables for item in self.star(query, table)]
        else:
            items = []
            for item in query.items:
                if item.correlation is None:
                    items.append(item)
                    continue
                table = query.scope.table(item.correlation)
                if table is None:
                    raise Failure("Unspecified correlation '%s'" % item.correlation)
                items += self.star(query, table)
            query.items = items
        if query.kind != "rows" and len(query.items) > 1:
            raise Failure("Sub-query returns more than one column")
        for branch in query.unions:
            self.prepare(branch)
            if len(branch.items) != len(query.items):
                raise Failure("UNIONed queries have a different number of result columns")
        for item in query.items:
            if not item.recno:
                for aggregate in item.expression.aggregates:
                    self.number(query, aggregate)
        query.temporary = bool(query.unions or (query.order_by and query.aggregates))
        self.prepare_order(query)

    @staticmethod
    def number(query, aggregate):
        aggregate.query, aggregate.position = query, len(query.aggregates)
        query.aggregates.append(aggregate)

    # ---- order ----

    def prepare_order(self, query):
        had_temporary = query.temporary
        for i, term in enumerate(query.order_by):
            self.check_order(query, term.expression.root.left, had_temporary)
            term.position = len(query.items) + i
            top = term.expression.root.left
            while top is not None and top.kind == GROUP and top.left is not None:
                top = top.left
            if top is None:
                continue
            if top.kind == OPERATOR and top.operator in ("upper", "lower"):
                term.wrapper = top.operator
                inner = top.left
                if inner is not None and inner.kind == COLUMN:
                    term.column = inner.column
            elif term.expression.root.left.kind == COLUMN:
                term.column = term.expression.root.left.column
        if query.order_by:
            query.temporary = True

    def check_order(self, query, node, had_temporary):
        if node is None:
            return
        self.check_order(query, node.left, had_temporary)
        self.check_order(query, node.right, had_temporary)
        if node.kind != COLUMN:
            return
        item = None
        if node.column.table is None:
            name = node.column.name.lower()
            item = next((item for item in query.items if item.name.lower() == name), None)
        if item is None:
            if had_temporary:
                raise Failure("ORDER BY must be by result column name")
            return
        if item.recno:
            raise Failure("Invalid column type in ORDER BY")
        node.column.uses -= 1
        if not had_temporary and item.expression.root.left.kind == COLUMN:
            node.column = item.expression.root.left.column
            node.column.uses += 1
        else:
            node.kind, node.element = ELEMENT, OrderItem(query, item)

    # ---- names ----

    def resolve_scope(self, scope):
        for reference in scope.columns.values():
            if reference.uses == 0 or reference.state != 0:
                continue
            if reference.table is None:
                found = False
                for table in scope.tables:
                    found = self.resolve(table, reference) or found
                if not found:
                    raise Failure("Unknown field '%s'" % reference.name)
            elif not self.resolve_qualified(scope, reference):
                raise Failure("Unknown field '%s.%s'" % (reference.table, reference.name))

    def resolve_qualified(self, scope, reference):
        while scope is not None:
            table = scope.table(reference.table)
            if table is not None:
                return self.resolve(table, reference)
            scope = scope.parent
        return False

    @staticmethod
    def resolve(table, reference):
        if table.inner is None:
            index = table.table.field_index(reference.name)
            if index is None:
                return False
            found = (1, table, index, table.table.fields[index])
        else:
            own = next((own for own in table.own_columns
                        if own.name.lower() == reference.name.lower()), None)
            if own is None:
                return False
            found = (2, table, own.index, None)
        if reference.state:
            raise Failure("Column '%s' ambiguously defined" % reference.name)
        reference.state, reference.owner, reference.index, reference.field = found
        return True

    # ---- conditions to the first table that can test them; groups ----

    def optimize(self, query):
        self.check_groups(query)
        for table in query.scope.tables:
            query.open_tables.append(table)
            if table.inner is not None:  # has no place to test a condition
                continue
            source = table.on if table.outer_left is not None else query.where
            if source is not None and not source.is_empty():
                table.search = extract(table, query.open_tables, source.root, query.parent,
                                       query.update_target)
        for branch in query.unions:
            self.optimize(branch)
        for table in query.scope.tables:
            if table.inner is not None:
                self.optimize(table.inner)

    def check_groups(self, query):
        if not query.aggregates:
            return
        grouped = [e.root.left.column for e in query.group_by if e.root.left.kind == COLUMN]
        for item in query.items:
            if item.recno:
                continue
            for node in columns_below(item.expression.root):
                if not any(place(node.column) == place(column) for column in grouped):
                    raise Failure("Non aggregate column in select list does not exist in the GROUP "
                                  "BY clause (or no GROUP BY clause)")
                aggregate = Aggregate("column", None)
                aggregate.column = node.column
                self.number(query, aggregate)
                node.kind, node.element = ELEMENT, aggregate


def place(reference):
    return reference.state, id(reference.owner), reference.index


def columns_below(node):
    if node is None:
        return
    yield from columns_below(node.left)
    yield from columns_below(node.right)
    if node.kind == COLUMN:
        yield node


def extract(table, tables, root, parent_query, update_target):
    """Takes the largest part out of a condition that needs only open tables, or None."""
    found, node = find_evaluable(root.left, tables, parent_query, update_target)
    if not found or node is None:
        return None
    above = node.parent
    if above.kind != GROUP:
        sibling = above.right if above.left is node else above.left
        parent = above.parent
        side = "left" if parent.left is above else "right"
        setattr(parent, side, sibling)
        if sibling is not None:
            sibling.parent = parent
    elif above.left is node:
        above.left = None
    else:
        above.right = None
    node.parent = None
    return node


def find_evaluable(node, tables, parent_query, update_target):
    if node is None:
        return False, None
    kind = node.kind
    if kind == GROUP:
        child = node.left or node.right
        found, out = find_evaluable(child, tables, parent_query, update_target)
        return found, (node if found and out is child else out)
    if kind in (LITERAL_NODE, PARAMETER):
        return True, node
    if kind == COLUMN:
        return is_open(node.column, tables, parent_query, update_target), node
    if kind == ELEMENT or node.operator == "or":
        return False, None
    if node.operator != "and":
        children = [node.left] if node.element is not None else [node.left, node.right]
        for child in children:  # a part of a side is of no use to the operator above it
            if child is not None:
                found, out = find_evaluable(child, tables, parent_query, update_target)
                if not found or out is not child:
                    return False, None
        return True, node
    return split_and(node, tables, parent_query, update_target)


def split_and(node, tables, parent_query, update_target):
    left_found, left = find_evaluable(node.left, tables, parent_query, update_target)
    right_found, right = find_evaluable(node.right, tables, parent_query, update_target)
    if not left_found:
        return (True, right) if right_found else (False, None)
    if not right_found:
        return True, left
    if left is node.left and right is node.right:
        return True, node
    group, both = Node(GROUP), Node(OPERATOR, "and", -2)
    Expression.hang(group, "left", both)
    for side, part in (("left", left), ("right", right)):
        above = part.parent
        above.kind = GROUP
        if above.left is part:
            above.left = None
        else:
            above.right = None
        Expression.hang(both, side, part)
    return True, both


def is_open(reference, tables, parent_query, update_target):
    if reference.state != 1:
        return False
    owner = reference.owner
    if owner in tables or owner is update_target:
        return True
    while parent_query is not None:
        if owner in parent_query.scope.tables:
            return True
        parent_query = parent_query.parent
    return False
