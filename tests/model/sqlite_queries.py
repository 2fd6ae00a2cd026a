"""Random queries of the part of the dialect that means the same in sqlite3.

The common part, and with it what the generator keeps to:
  - Columns are integers, numbers with two decimals, or texts. There is no NULL in a table, and no
    text is empty, ends in a blank or reads as a number. What an outer join leaves out is the empty
    text on one side and NULL on the other; it is shown, tested with IS NULL and given to IFNULL,
    and neither compared nor ordered.
  - Numbers are compared with numbers and texts with texts, and never a literal with a literal.
  - All of AND, OR and NOT stand in parentheses, and arithmetic begins with a name or a number and
    goes on with parentheses. Division has a decimal number on its right, and only whole numbers
    above 0 multiply what may be negative: all arithmetic is in floating point, which has a -0.
  - EXISTS has a sub-query of one row at most, on a column without duplicates.
  - A sub-query that is compared counts; one that gives another aggregate is only shown.
  - The bounds of BETWEEN and the sub-query of IN use no table that is read after the one on their
    left side, since they are tested as soon as that side is there.
  - LIKE is case-sensitive, which sqlite3 is told to be.
  - A derived table stands in the first block of a chain of unions.
  - A chain of unions is all UNION or all UNION ALL, and its columns are integers or texts.
  - ORDER BY names all columns of the result, none of which may be NULL; without it, rows are
    compared in any order.
  - With indexes (every second seed): no number below 0, no NOT over a comparison, and a column is
    compared with a literal, or by = with a column of another table.
"""

WORDS = ["ash", "Ash", "b", "B", "birch", "Oak", "oak", "oak tree", "elm", "e", "pine", "Pi",
         "x_y", "x%y", "yew", "zz", "z9"]
PATTERNS = ["%", "a%", "%k", "%i%", "_", "__", "o%e", "%_e", "O%", "x_y", "b_r%", "%a%", "e%m"]
COMPARISONS = ["=", "<>", "<", ">", "<=", ">="]
INTEGER, DECIMAL, TEXT = "integer", "decimal", "text"
TYPES = {INTEGER: "integer", DECIMAL: "numeric(8,2)", TEXT: "char(12)"}


class Table:
    def __init__(self, name, columns):
        self.name, self.columns = name, columns  # [(name, kind)], the first one without duplicates


class Query:
    """Lists that a failing query can be shrunk by. `unique` is of the whole chain of unions."""

    def __init__(self):
        self.items, self.froms, self.conditions, self.groups = [], [], [], []
        self.kinds, self.order, self.distinct, self.branches, self.all = [], [], False, [], False
        self.nulls = False

    def text(self):
        text = "select %s%s from %s" % ("distinct " if self.distinct else "",
                                        ", ".join(self.items), ", ".join(self.froms))
        if self.conditions:
            text += " where " + " and ".join("(%s)" % c for c in self.conditions)
        if self.groups:
            text += " group by " + ", ".join(self.groups)
        for branch in self.branches:
            text += (" union all " if self.all else " union ") + branch.text()
        if self.order:
            text += " order by " + ", ".join(self.order)
        return text

    def smaller(self):
        """Copies of the query with one thing less."""
        for name in ("conditions", "branches"):
            things = getattr(self, name)
            for i in range(len(things)):
                yield self.copy(**{name: things[:i] + things[i + 1:]})
        if self.order:
            yield self.copy(order=[])
        if self.distinct:
            yield self.copy(distinct=False)
        if len(self.items) > 1 and not self.order and not self.branches:
            for i in range(len(self.items)):
                yield self.copy(items=self.items[:i] + self.items[i + 1:],
                                kinds=self.kinds[:i] + self.kinds[i + 1:])

    def copy(self, **changes):
        other = Query()
        other.__dict__.update(self.__dict__)
        other.__dict__.update(changes)
        return other


class Maker:
    def __init__(self, source, careful):
        self.random, self.careful = source, careful
        self.tables, self.aliases = [], 0

    def chance(self, probability):
        return self.random.random() < probability

    def one(self, things):
        return self.random.choice(list(things))

    # ---- the database ----

    def definitions(self):
        for name in ("trees", "sites", "visits")[:self.random.randint(2, 3)]:
            kinds = [self.one([INTEGER, INTEGER, DECIMAL, TEXT, TEXT])
                     for _ in range(self.random.randint(2, 4))]
            columns = [("id", INTEGER)] + [("%s%d" % (k[0], i), k) for i, k in enumerate(kinds)]
            self.tables.append(Table(name, columns))
            yield "create table %s (%s)" % (name, ", ".join("%s %s" % (c, TYPES[k])
                                                            for c, k in columns))
            if self.careful:
                chosen = self.random.sample(columns, self.random.randint(1, 2))
                yield "create index i_%s on %s (%s)" % (
                    name, name, ", ".join(c for c, k in chosen if k != TEXT) or chosen[0][0])
                if self.chance(0.5):
                    yield "create index j_%s on %s (%s desc)" % (name, name, self.one(columns)[0])

    def rows(self):
        for table in self.tables:
            for i in range(self.random.randint(0, 9)):
                values = [str(i)] + [self.literal(kind) for _, kind in table.columns[1:]]
                yield "insert into %s values (%s)" % (table.name, ", ".join(values))

    def literal(self, kind):
        if kind == TEXT:
            return "'%s'" % self.one(WORDS)
        if kind == INTEGER:
            low = 0 if self.careful else -3
            return str(self.random.randint(low, 8))
        return "%d.%02d" % (self.random.randint(0, 5), self.one([0, 25, 50, 75]))

    def change(self):
        """An UPDATE or DELETE that looks at nothing but the row itself."""
        table = self.one(self.tables)
        scope = Scope(self, None, [(table.name, table.columns, False)], 2)
        where = " where " + scope.condition(1)
        if self.chance(0.4):
            return "delete from %s%s" % (table.name, where)
        column, kind = self.one(table.columns[1:])
        value = self.literal(kind)
        if kind == INTEGER and self.chance(0.5):
            value = "%s + %d" % (column, self.random.randint(1, 3))
        return "update %s set %s = %s%s" % (table.name, column, value, where)

    # ---- queries ----

    def query(self):
        query = self.block(None)
        if self.chance(0.18) and not query.groups and DECIMAL not in query.kinds:
            query.all = self.chance(0.4)
            for _ in range(self.random.randint(1, 2)):
                query.branches.append(self.block(query.kinds))
        if self.chance(0.5) and not any(block.nulls for block in [query] + query.branches):
            query.order = ["r%d%s" % (i, self.one(["", " asc", " desc"]))
                           for i in range(len(query.items))]
            self.random.shuffle(query.order)
        return query

    def block(self, kinds):
        query = Query()
        scope = Scope(self, query, [], 0)
        for _ in range(1 if kinds else self.random.choice([1, 1, 1, 2, 2, 3])):
            scope.add(kinds is None)
        if kinds is None and self.chance(0.25):
            scope.group()
        else:
            for kind in kinds or [None] * self.random.randint(1, 4):
                text, kind = scope.item(kind)
                query.items.append(text)
                query.kinds.append(kind)
            query.distinct = self.chance(0.15)
        for _ in range(self.random.randint(0, 3)):
            query.conditions.append(scope.condition(2))
        query.items = ["%s as r%d" % (text, i) for i, text in enumerate(query.items)]
        return query


class Scope:
    """The tables of a block: (alias, columns, whether an outer join may leave them out)."""

    def __init__(self, maker, query, tables, depth, outer=None):
        self.maker, self.query, self.tables = maker, query, tables
        self.depth, self.outer = depth, outer

    def add(self, derived):
        maker, table = self.maker, self.maker.one(self.maker.tables)
        maker.aliases += 1
        alias = "t%d" % maker.aliases
        spec = "%s %s" % (table.name, alias)
        if derived and maker.chance(0.1):
            return self.add_derived(alias)
        if self.query.froms and maker.chance(0.4) and not self.query.froms[-1].startswith("("):
            pairs = [("%s.%s" % (alias, a), "%s.%s" % (left, b)) for a, k in table.columns
                     for left, columns, may_miss in self.tables if not may_miss
                     for b, other in columns if k == other]
            self.tables.append((alias, table.columns, True))
            self.query.nulls = True
            self.query.froms[-1] += " left outer join %s on %s = %s" % ((spec,) + maker.one(pairs))
        else:
            self.query.froms.append(spec)
            self.tables.append((alias, table.columns, False))

    def add_derived(self, alias):
        maker, table = self.maker, self.maker.one(self.maker.tables)
        inner = Scope(maker, None, [(table.name, table.columns, False)], 1)
        chosen = maker.random.sample(table.columns, maker.random.randint(1, len(table.columns)))
        if not any(kind == INTEGER for _, kind in chosen):
            chosen.append(table.columns[0])
        where = " where " + inner.condition(1) if maker.chance(0.6) else ""
        self.query.froms.append("(select %s from %s%s) %s" % (
            ", ".join(name for name, _ in chosen), table.name, where, alias))
        self.tables.append((alias, chosen, False))

    def columns(self, kind=None, shown=False):
        """The names that can be compared; with `shown` those that may be NULL, too."""
        found = [("%s.%s" % (alias, name), k) for alias, columns, may_miss in self.tables
                 for name, k in columns if kind in (None, k) and (shown or not may_miss)]
        if self.outer is not None and self.maker.chance(0.3) and not shown:
            found = self.outer.columns(kind) or found
        return found

    def column(self, kind, shown=False):
        found = self.columns(kind, shown)
        return self.maker.one(found)[0] if found else None

    # ---- values ----

    def number(self, depth, shown=False):
        maker = self.maker
        column = self.column(INTEGER, shown)
        if column is None or maker.chance(0.1):
            return str(maker.random.randint(0, 6))
        if depth == 0 or maker.chance(0.5) or shown:
            return column
        shape = maker.random.randrange(5)
        if shape == 4:
            return "length(%s)" % (self.column(TEXT) or "'abc'")
        operator = maker.one("+-*" if not maker.careful else "+*")
        right = self.number(depth - 1)
        if operator == "*" and not maker.careful:
            right = str(maker.random.randint(1, 4))
        return "%s %s %s" % (column, operator, right if " " not in right else "(%s)" % right)

    def text(self, depth):
        maker = self.maker
        column = self.column(TEXT)
        if column is None:
            return None
        shape = maker.random.randrange(5) if depth else 4
        if shape < 2:
            return "%s(%s)" % (maker.one(["upper", "lower"]), column)
        if shape == 2:
            return "substring(%s from %d for %d)" % (column, maker.random.randint(1, 4),
                                                     maker.random.randint(1, 3))
        return column

    def item(self, kind):
        """(text, kind) of an item of the select list."""
        maker = self.maker
        if kind is None and maker.chance(0.1):
            self.query.nulls = True
            return self.subselect(), DECIMAL
        decimal = self.column(DECIMAL) if kind is None and maker.chance(0.1) else None
        if decimal is not None:
            return decimal + " / 4.00", DECIMAL
        kind = kind or maker.one([INTEGER, TEXT, TEXT, DECIMAL])
        if kind == TEXT:
            shown = [c for c, _ in self.columns(TEXT, True)]
            if shown and maker.chance(0.5):
                text = maker.one(shown)
                return ("ifnull(%s, '%s')" % (text, maker.one(WORDS))
                        if maker.chance(0.3) else text), TEXT
            return self.text(1) or "'none'", TEXT
        if kind == DECIMAL:
            return self.column(DECIMAL, True) or "2.50", DECIMAL
        return self.number(2, maker.chance(0.4)), INTEGER

    def inner(self, outer=None):
        table = self.maker.one(self.maker.tables)
        self.maker.aliases += 1
        alias = "s%d" % self.maker.aliases
        return Scope(self.maker, None, [(alias, table.columns, False)], self.depth + 1,
                     outer or self), "from %s %s" % (table.name, alias), alias, table

    def up_to(self, column):
        """The tables that have been read where the column has been."""
        for i, (alias, _, _) in enumerate(self.tables):
            if column.startswith(alias + "."):
                return Scope(self.maker, None, self.tables[:i + 1], self.depth, self.outer)
        return Scope(self.maker, None, [], self.depth)

    def subselect(self):
        """In parentheses; shown and not compared, since it may be NULL."""
        inner, source, alias, table = self.inner()
        name, kind = self.maker.one([c for c in table.columns if c[1] != TEXT])
        return "(select %s(%s.%s) %s where %s)" % (self.maker.one(["sum", "min", "max", "count"]),
                                                   alias, name, source, inner.condition(1))

    def count(self):
        inner, source, _, _ = self.inner()
        return "(select count(*) %s where %s)" % (source, inner.condition(1))

    def group(self):
        maker, query = self.maker, self.query
        names = self.columns()
        keys = maker.random.sample(names, min(len(names), maker.random.choice([0, 1, 1, 2])))
        query.groups = [name for name, _ in keys]
        query.nulls = not keys
        for name, kind in keys:
            query.items.append(name)
            query.kinds.append(kind)
        for _ in range(maker.random.randint(1, 3)):
            function = maker.one(["count(*)", "count(", "count(distinct ", "sum(", "avg(", "min(",
                                  "max("])
            kind = INTEGER
            if function != "count(*)":
                name, kind = maker.one(self.columns())
                if function in ("sum(", "avg(") and kind == TEXT:
                    function = "min("
                if function not in ("min(", "max("):
                    kind = DECIMAL if kind == DECIMAL else INTEGER
                function += name + ")"
            query.items.append(function)
            query.kinds.append(kind)

    # ---- conditions ----

    def condition(self, depth):
        maker = self.maker
        if depth and maker.chance(0.4):
            word = maker.one(["and", "or"])
            return "(%s) %s (%s)" % (self.condition(depth - 1), word, self.condition(depth - 1))
        if depth and maker.chance(0.15) and not maker.careful:
            return "not (%s)" % self.condition(depth - 1)
        shape = maker.random.random()
        if shape < 0.45:
            return self.comparison()
        if shape < 0.85 or self.depth > 1:
            return self.predicate()
        return self.subquery()

    def comparison(self):
        maker = self.maker
        if maker.careful:
            return self.careful_comparison()
        operator = maker.one(COMPARISONS)
        text = self.text(1) if maker.chance(0.4) else None
        if text is not None:
            other = self.text(1) if maker.chance(0.4) else None
            return "%s %s %s" % (text, operator, other or "'%s'" % maker.one(WORDS))
        decimal = self.column(DECIMAL) if maker.chance(0.3) else None
        if decimal is not None:
            other = self.column(DECIMAL) if maker.chance(0.5) else None
            return "%s %s %s" % (decimal, operator, other or maker.literal(DECIMAL))
        left = self.number(1)
        if left.isdigit():
            left = self.column(INTEGER) or self.anything()
        return "%s %s %s" % (left, operator, self.number(1))

    def anything(self):
        """A number that is there in every block."""
        alias, columns, _ = self.tables[0]
        return "%s.%s" % (alias, next(name for name, kind in columns if kind == INTEGER))

    def careful_comparison(self):
        maker = self.maker
        name, kind = maker.one(self.columns())
        others = [other for other, k in self.columns(kind) if other.split(".")[0] !=
                  name.split(".")[0]]
        if others and maker.chance(0.5):
            return "%s = %s" % (name, maker.one(others))
        return "%s %s %s" % (name, maker.one(COMPARISONS), maker.literal(kind))

    def predicate(self):
        maker = self.maker
        no = maker.one(["", "", "not "])
        shape = maker.random.randrange(4)
        text = self.text(1)
        may_miss = [c for c in self.columns(None, True)]
        if shape == 0 and text is not None:
            return "%s %slike '%s'" % (text, no, maker.one(PATTERNS))
        if shape == 1:
            return "%s is %snull" % (maker.one(may_miss)[0], no)
        if shape == 2 and text is not None:
            words = ["'%s'" % maker.one(WORDS) for _ in range(maker.random.randint(1, 3))]
            return "%s %sin (%s)" % (text, no, ", ".join(words))
        number = self.column(INTEGER) or self.anything()
        if shape == 3:
            high = "5" if maker.careful else self.up_to(number).number(1)
            return "%s %sbetween %d and %s" % (number, no, maker.random.randint(0, 3), high)
        numbers = [str(maker.random.randint(0, 6)) for _ in range(maker.random.randint(1, 3))]
        return "%s %sin (%s)" % (number, no, ", ".join(numbers))

    def subquery(self):
        maker = self.maker
        shape = maker.random.randrange(3)
        number = self.column(INTEGER) or self.anything()
        if shape == 0:
            return "%s %s %s" % (number, maker.one(COMPARISONS if not maker.careful else "="),
                                 self.count())
        if shape == 1:
            return self.inside(self.column(TEXT), number)
        inner, source, alias, _ = self.inner()
        return "exists (select 1 %s where (%s.id = %s) and (%s))" % (source, alias, number,
                                                                   inner.condition(1))

    def inside(self, text, number):
        maker = self.maker
        mine, kind = (text, TEXT) if text and maker.chance(0.5) else (number, INTEGER)
        inner, source, alias, table = self.inner(self.up_to(mine))
        names = [name for name, k in table.columns if k == kind]
        if not names:
            mine, names = number, ["id"]
            inner.outer = self.up_to(number)
        return "%s %sin (select %s.%s %s where %s)" % (mine, maker.one(["", "not "]), alias,
                                                       maker.one(names), source, inner.condition(1))
