"""The statement tree. An expression finds its shape while it is filled: where an operator lands is
decided by its precedence and by what stands there already, not by the grammar."""

GROUP, LITERAL_NODE, COLUMN, OPERATOR, ELEMENT, PARAMETER = range(6)


class Node:
    __slots__ = ("parent", "left", "right", "kind", "operator", "precedence", "element", "text",
                 "column", "number")

    def __init__(self, kind=GROUP, operator=None, precedence=0, element=None):
        self.parent = self.left = self.right = self.column = self.text = None
        self.kind, self.operator, self.precedence = kind, operator, precedence
        self.element, self.number = element, 0


class Expression:
    def __init__(self, scope, query=None, update_target=None):
        self.scope, self.query, self.update_target = scope, query, update_target
        self.root = Node()
        self.groups = []
        self.aggregates = []
        self.current = self.hang(self.root, "left", Node())

    @staticmethod
    def hang(parent, side, child):
        setattr(parent, side, child)
        if child is not None:
            child.parent = parent
        return child

    def replace(self, old, new):
        """`new` takes the place of `old`, which becomes its left child."""
        parent = old.parent
        self.hang(parent, "left" if parent.left is old else "right", new)
        self.hang(new, "left", old)

    def insert_at_current(self, operator, precedence, element=None):
        node = Node(OPERATOR, operator, precedence, element)
        above = self.current.parent
        if above.kind == OPERATOR and above.precedence >= precedence:
            self.replace(above, node)
        else:
            self.replace(self.current, node)
        self.current = self.hang(node, "right", Node())

    def insert_at_group(self, operator, precedence):
        node = Node(OPERATOR, operator, precedence)
        group = self.groups[-1] if self.groups else self.root
        top = group.left
        if top.kind != OPERATOR or top.precedence >= precedence or top.right is None:
            self.replace(top, node)
        else:
            self.replace(top.right, node)
        self.current = self.hang(node, "right", Node())

    def insert_prefix(self, operator):
        node = self.hang(self.current, "left", Node(OPERATOR, operator, 9999))
        self.current = self.hang(node, "left", Node())

    def insert_postfix(self, operator):
        self.replace(self.current, Node(OPERATOR, operator, 9999))

    def wrap_not(self):
        node = Node(OPERATOR, "not", 0)
        self.replace(self.current.parent, node)
        self.current = node

    def open_group(self):
        node = Node()
        self.replace(self.current, node)
        self.groups.append(node)

    def close_group(self):
        self.current = self.groups.pop()

    def set_literal(self, text):
        self.current.kind, self.current.text = LITERAL_NODE, text

    def set_parameter(self, number):
        self.current.kind, self.current.number = PARAMETER, number

    def set_column(self, name, table=None):
        self.current.kind = COLUMN
        self.current.column = self.scope.reference(name, table)

    def set_element(self, element):
        self.current.kind, self.current.element = ELEMENT, element

    def is_empty(self):
        top = self.root.left
        return top is None or (top.kind == GROUP and top.left is None and top.right is None)


class Reference:
    """One name as it is used in a block, shared by all its uses there."""

    def __init__(self, name, table=None):
        self.name, self.table = name, table
        self.uses = 1
        self.state = 0  # 1: a column of a table, 2: a column of a derived table
        self.owner = self.index = self.field = None


class Scope:
    """The names of one block: its tables and the columns that are asked for."""

    def __init__(self, parent=None):
        self.parent = parent
        self.tables = []
        self.columns = {}

    def reference(self, name, table=None):
        key = (name.lower(), (table or "").lower())
        found = self.columns.get(key)
        if found is None:
            found = self.columns[key] = Reference(name, table)
        else:
            found.uses += 1
        return found

    def table(self, alias):
        for table in self.tables:
            if table.alias.lower() == alias.lower():
                return table
        return None


class TableUse:
    """A table of a FROM list, or the target of a change."""

    def __init__(self, name, alias):
        self.name, self.alias = name, alias or name
        self.aliased = alias is not None
        self.on = self.outer_left = None
        self.table = self.cursor = self.search = None
        self.inner = self.inner_scope = None  # of a derived table
        self.own_columns = []
        self.rows = self.row = None


class Item:
    """An item of a select list."""

    def __init__(self, name="", expression=None, correlation=None, recno=False):
        self.name, self.expression = name, expression
        self.correlation, self.recno = correlation, recno


class OrderTerm:
    def __init__(self, expression):
        self.expression, self.ascending = expression, True
        self.wrapper = self.column = self.position = None


class Query:
    def __init__(self, scope, kind="rows", parent=None, update_target=None):
        self.scope, self.kind, self.parent, self.update_target = scope, kind, parent, update_target
        self.distinct = self.all_columns = self.union_distinct = self.temporary = False
        self.items, self.group_by, self.unions, self.order_by = [], [], [], []
        self.aggregates, self.open_tables = [], []
        self.where = self.last_table = self.bucket = self.result = None


class Aggregate:
    def __init__(self, function, expression, distinct=False):
        self.function, self.expression, self.distinct = function, expression, distinct
        self.query = self.position = self.column = None


class Between:
    def __init__(self, low, high):
        self.low, self.high = low, high


class In:
    def __init__(self):
        self.values, self.query = [], None


class Substring:
    def __init__(self, string, start, length):
        self.string, self.start, self.length = string, start, length


class OrderItem:
    """An ORDER BY that reads a result column back."""

    def __init__(self, query, item):
        self.query, self.item = query, item


class Statement:
    """`kind` says what it is; the other members are those that its form has."""

    def __init__(self, kind, **members):
        self.kind = kind
        self.__dict__.update(members)
