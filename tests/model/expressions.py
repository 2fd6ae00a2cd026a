"""The block of a random query: its tables, and the values and conditions that stand over them."""

from values import BOOLEAN, CHARACTER, MEMO

PATTERNS = ["%", "a%", "%b", "_", "__", "%b%", "A_%", "%1%", "", "%_c", "a%b%c", "%%b", "_%_"]
COMPARISONS = ["=", "=", "=", "<>", "<", ">", "<=", ">="]


class Block:
    def __init__(self, maker, names, outer=None, depth=0, bare=False):
        self.maker, self.outer, self.depth = maker, outer, depth
        self.tables = []  # (alias, fields); the fields of a derived table are names alone
        self.froms = []
        self.names = []   # of result columns
        self.group_by = False
        for name in names:
            self.add(name, bare)

    def add(self, name, bare):
        maker = self.maker
        table = maker.database.tables[name.upper()]
        if not bare and maker.chance((0.08, 0.04, 0)[self.depth]):
            return self.add_derived()
        alias = name
        if not bare and (maker.chance(0.5) or any(name == other for other, _ in self.tables) and
                         maker.chance(0.97)):
            alias = self.new_alias()
        spec = name if alias == name else "%s %s" % (name, alias)
        self.tables.append((alias, table.fields))
        if self.froms and maker.chance(0.3) and not self.froms[-1].startswith("("):
            self.froms[-1] += " left outer join %s on %s" % (spec, self.on())
        else:
            self.froms.append(spec)

    def new_alias(self):
        self.maker.aliases += 1
        return "q%d" % self.maker.aliases

    def add_derived(self):
        maker, alias = self.maker, self.new_alias()
        inner = Block(maker, [maker.table()], None, 1)
        names = ["c%d" % i for i in range(maker.random.randint(1, 3))]
        grouped = maker.chance(0.15)
        items = ", ".join("%s as %s" % (inner.aggregate(1) if grouped else inner.value(1), name)
                          for name in names)
        more = inner.where(0.4)
        if maker.chance(0.1):
            other = Block(maker, [maker.table()], None, 1)
            more += " union %sselect %s %s" % (maker.one(["", "all "]), ", ".join(
                other.value(1) for _ in names), other.source())
        elif maker.chance(0.2) and not grouped:
            more += " order by " + inner.order()
        self.froms.append("(select %s%s %s%s) %s%s" % (
            "distinct " if maker.chance(0.1) else "", items, inner.source(), more,
            maker.one(["", "as "]), alias))
        self.tables.append((alias, names))

    def source(self):
        return "from " + ", ".join(self.froms)

    # ---- names ----

    def columns(self, qualified=None):
        """(text, field or None) of the block's columns, named so that they are not ambiguous."""
        all_names = [field if isinstance(field, str) else field.name
                     for _, fields in self.tables for field in fields]
        found = []
        for alias, fields in self.tables:
            for field in fields:
                name = field if isinstance(field, str) else field.name
                alone = all_names.count(name) == 1 and not qualified
                text = name.lower() if alone and self.maker.chance(0.5) else \
                    "%s.%s" % (alias, name.lower())
                found.append((text, None if isinstance(field, str) else field))
        return found

    def column(self):
        maker = self.maker
        if maker.chance(0.003):
            return maker.one(["nothing", "q0.id", "id", "n"]), None
        if self.outer is not None and maker.chance(0.35):
            return maker.one(self.outer.columns(True))
        return maker.one(self.columns())

    # ---- values ----

    def value(self, depth, paren=True):
        maker = self.maker
        if depth <= 0:
            return self.simple()
        make = maker.pick((34, self.simple), (16, self.arithmetic), (8, self.function),
                          (5, self.ifnull), (6, self.substring), (4 if paren else 0, self.grouping),
                          (3 if self.depth < 2 and paren else 0, self.subselect))
        if make in (self.simple, self.subselect):
            return make()
        if make == self.arithmetic:
            return make(depth - 1, paren)
        return make(depth - 1)

    def simple(self):
        maker = self.maker
        kind = maker.random.random()
        if kind < 0.66:
            return self.column()[0]
        if kind < 0.84:
            return maker.number(maker.one([0, 0, 2]))
        return maker.text_literal() if kind < 0.98 else "null"

    def arithmetic(self, depth, paren):
        maker = self.maker
        operator = maker.one(["+", "-", "*", "/", "+", "-"] if not maker.careful else ["+", "*"])
        if not maker.careful and maker.chance(0.02):
            return "%s%s" % (operator, self.value(depth))
        return "%s %s %s" % (self.value(depth, paren), operator, self.value(depth))

    def grouping(self, depth):
        return "(%s)" % self.value(depth)

    def function(self, depth):
        return "%s(%s)" % (self.maker.one(["upper", "lower", "length"]), self.value(depth))

    def ifnull(self, depth):
        return "ifnull(%s, %s)" % (self.value(depth), self.value(depth))

    def substring(self, depth):
        maker = self.maker
        length = ""
        if maker.chance(0.6):
            length = " for %s" % maker.one(["1", "2", "5", "0", self.simple()])
        start = maker.one(["1", "2", "3", "0", self.simple()])
        return "substring(%s from %s%s)" % (self.value(depth), start, length)

    def subselect(self):
        """In parentheses, mostly over an aggregate, since it may give one row only."""
        maker = self.maker
        if maker.chance(0.15):
            return "(%s)" % self.kept()
        inner = maker.block(self, self.depth + 1)
        what = inner.aggregate(1) if maker.chance(0.85) else inner.value(1)
        return "(select %s %s%s)" % (what, inner.source(), inner.where(0.7) + self.union())

    def kept(self):
        """A query whose value comes from a derived table, or from groups, that are mostly made
        again before its loops end."""
        maker = self.maker
        inner, around = (Block(maker, [maker.table()], None, self.depth + 1, True) for _ in "12")
        if maker.chance(0.3):
            return "select distinct (select %s %s%s) %s" % (
                inner.aggregate(0), inner.source(), inner.where(0.3), around.source())
        (name, fields), = inner.tables
        column, table, derived = maker.one(fields).name.lower(), self.new_alias(), self.new_alias()
        if maker.chance(0.5):
            row = "max(%s) as c0, %s as c1 %s" % (column, inner.aggregate(0), inner.source())
        else:
            row = "%s as c0, %s as c1 %s where %s" % (column, inner.value(0), inner.source(),
                                                      inner.careful_comparison())
        return "select %s.c1 from %s %s, (select %s) %s where %s.%s = %s.c0" % (
            derived, name, table, row, derived, table, column, derived)

    def union(self):
        """Seldom, a second branch of a sub-query."""
        maker = self.maker
        if not maker.chance(0.05):
            return ""
        inner = maker.block(self.outer, self.depth + 1)
        return " union %sselect %s %s%s" % (maker.one(["", "all "]), inner.value(1),
                                            inner.source(), inner.where())

    def aggregate(self, depth):
        maker = self.maker
        function = maker.one(["count", "sum", "avg", "min", "max", "count"])
        if function == "count" and maker.chance(0.5):
            return "count(*)"
        distinct = "distinct " if function == "count" and maker.chance(0.4) else ""
        argument = self.column()[0] if maker.chance(0.7) else self.value(depth)
        return "%s(%s%s)" % (function, distinct, argument)

    # ---- select lists ----

    def item(self, star):
        maker = self.maker
        if not maker.careful and maker.chance(0.03):
            return "recno"
        if star and maker.chance(0.5):
            return maker.one([alias for alias, _ in self.tables]) + ".*"
        text = self.column()[0] if maker.chance(0.5) else self.value(2) if maker.chance(0.9) \
            else "(%s)" % self.kept()
        if maker.chance(0.25):
            name = "r%d" % len(self.names)
            self.names.append(name)
            return "%s as %s" % (text, name)
        if "." in text and text.count(".") == 1 and " " not in text and "(" not in text:
            self.names.append(text.split(".")[1])
        return text

    def grouped(self, width):
        maker, self.group_by = self.maker, True
        columns = [text for text, _ in self.columns()]
        keys = maker.random.sample(columns, min(len(columns), maker.pick((5, 0), (6, 1), (2, 2))))
        items = []
        for i in range(width or maker.random.randint(1, 4)):
            if keys and maker.chance(0.45):
                text = maker.one(keys)
                text = text if maker.chance(0.8) else "upper(%s)" % text
            else:
                text = self.aggregate(1)
                if maker.chance(0.15):
                    text += " + %s" % self.aggregate(1)
            if maker.chance(0.03):
                text = self.value(1)
            if maker.chance(0.4):
                self.names.append("g%d" % i)
                text += " as g%d" % i
            items.append(text)
        group = " group by " + ", ".join(keys) if keys else ""
        return ", ".join(items), group, len(items)

    def order(self):
        maker = self.maker

        if self.group_by and not (self.names and maker.chance(0.95)):
            return ""

        def term():
            if self.names and (self.group_by or maker.chance(0.5)):
                text = maker.one(self.names)
            elif maker.chance(0.8):
                text = self.column()[0]
                if maker.chance(0.15):
                    text = "%s(%s)" % (maker.one(["upper", "lower"]), text)
            else:
                text = self.value(1)
            return text + maker.direction()

        return maker.some(1, 3, term)

    # ---- conditions ----

    def where(self, probability=0.75):
        if not self.maker.chance(probability):
            return ""
        return " where " + self.condition(2)

    def on(self):
        maker = self.maker
        if maker.careful:
            return self.careful_join() + (" and " + self.gentle() if maker.chance(0.3) else "")
        if maker.chance(0.7):
            first = "%s = %s" % (self.join_column(), self.join_column())
            return first + (" and " + self.condition(1) if maker.chance(0.3) else "")
        return self.condition(1)

    def join_column(self):
        return self.maker.one(self.columns(True))[0]

    def condition(self, depth):
        maker = self.maker
        if maker.careful:
            return self.careful_condition(depth)
        if depth <= 0:
            return self.predicate()
        shape = maker.random.random()
        if shape < 0.45:
            return self.predicate()
        if shape < 0.82:
            return "%s %s %s" % (self.condition(depth - 1), maker.one(["and", "or", "and"]),
                                 self.condition(depth - 1))
        if shape < 0.9:
            return "(%s)" % self.condition(depth - 1)
        if shape < 0.97:
            return "not (%s)" % self.condition(depth - 1)
        return "not " + self.condition(depth - 1)

    def predicate(self):
        maker = self.maker
        kind = maker.random.random()
        if kind < 0.5:
            right = self.subselect() if self.depth < 2 and maker.chance(0.08) else \
                self.value(1, False)
            return "%s %s %s" % (self.head(), maker.one(COMPARISONS), right)
        if kind < 0.9:
            return self.gentle()
        if kind < 0.96:
            return self.value(1)
        return "%s %s %s" % (self.predicate(), maker.one(COMPARISONS), self.value(1, False))

    def head(self):
        """How a predicate begins: a parenthesis there would open a condition."""
        return self.value(1, self.maker.chance(0.03))

    def gentle(self):
        """A predicate that no index has to do with."""
        maker = self.maker
        no = maker.one(["", "", "not "])
        kind = maker.random.randrange(7)
        if kind == 0:
            pattern = "'%s'" % maker.one(PATTERNS) if maker.chance(0.9) else self.value(1, False)
            return "%s %slike %s" % (self.head(), no, pattern)
        if kind == 1:
            return "%s is %snull" % (self.head(), no)
        if kind == 2:
            return "%s %sbetween %s and %s" % (self.head(), no, self.value(1), self.value(1))
        if kind == 3 or (kind > 4 and self.depth >= 2):
            return "%s %sin (%s)" % (self.head(), no, maker.some(
                1, 4, lambda: maker.one([maker.number(0, True), maker.text_literal()])))
        if kind == 4:
            return "%s + %s > %s" % (self.column()[0], maker.number(), maker.number(2))
        if maker.chance(0.1):
            return "exists (%s)" % self.kept()
        inner = maker.block(self, self.depth + 1)
        if kind == 5:
            return "%s %sin (select %s %s%s)" % (self.head(), no, inner.value(1), inner.source(),
                                                 inner.where() + self.union())
        what = inner.aggregate(0) if maker.chance(0.8) else inner.value(1)
        return "exists (select %s %s%s)" % (what, inner.source(), inner.where(0.9))

    # ---- conditions that an index may serve and must not change ----

    def careful_condition(self, depth):
        maker = self.maker
        if depth > 0 and maker.chance(0.5):
            return "%s %s %s" % (self.careful_condition(depth - 1), maker.one(["and", "and", "or"]),
                                 self.careful_condition(depth - 1))
        kind = maker.random.random()
        if kind < 0.2 and (len(self.tables) > 1 or self.outer):
            return self.careful_join()
        return self.careful_comparison() if kind < 0.8 else self.gentle()

    def careful_comparison(self):
        """A column on the left, a plain value of its own kind on the right."""
        maker = self.maker
        usable = [(t, f) for t, f in self.columns() if f is not None and f.type != MEMO]
        if not usable:
            return self.gentle()
        text, field = maker.one(usable)
        operator = maker.one(COMPARISONS)
        if field.type == BOOLEAN:
            return "%s = %s" % (text, maker.one("01"))
        if field.type == CHARACTER:
            word = maker.plain_text()
            if maker.chance(0.3):
                return "upper(%s) %s '%s'" % (text, operator, word.upper())
            return "%s %s '%s'" % (text, operator, word)
        return "%s %s %s" % (text, operator, maker.number(field.scale))

    def careful_join(self):
        """The last table's column against one of a table before it (or around it)."""
        maker = self.maker
        alias, fields = self.tables[-1]
        before = [(a, f) for a, fs in self.tables[:-1] for f in fs]
        if self.outer is not None:
            mine = [name for name, _ in self.tables]
            before += [(a, f) for a, fs in self.outer.tables if a not in mine for f in fs]
        pairs = [("%s.%s" % (alias, f.name), "%s.%s" % (a, g.name))
                 for f in fields if not isinstance(f, str)
                 for a, g in before if not isinstance(g, str) and
                 (f.type, f.scale) == (g.type, g.scale) and f.type != MEMO]
        if not pairs:
            return self.gentle()
        return "%s = %s" % maker.one(pairs)

