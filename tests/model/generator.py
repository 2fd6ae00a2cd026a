"""Random statements over a model's tables: most of them good, some nearly so."""

import re

from expressions import Block
from scanner import pieces_of
from values import BOOLEAN, CHARACTER, MEMO, NUMERIC

TABLES = ["ports", "ships", "crew", "Log_2"]
COLUMNS = ["id", "n", "name", "k", "amount", "flag", "note", "x", "y"]
WORDS = ["", "a", "A", "ab", "Ab", "aB", "abc", "ABC", "b", "B2", "10", "9", "09", "1.0", "T", "F",
         "x y", " x", "a%", "_b", "b_c", "zz", "-1", "0", "a:b", "b:c", "c", "Mast", "mAst"]
ODD_WORDS = ["+5", " 5", "5 ", ".5", "5.", "1e2", "1E-3", "0x1F", "1e300", "1e-30", "1e999", "Inf",
             "-inf", "infinity", "99999999999", "2147483648", "-", "0.0", ".", "0.0.0", "00", "-0",
             "\t5", "a\tb", "a\n", "\xe4\xc4", "\xff", "f", "t", "true", "ab  ", "  ",
             "the quick brown fox jumps over the lazy dog " * 3]


class Generator:
    """`careful` keeps away from what an index changes by the rules of the dialect: negative
    numbers, columns on the right of < and >, NOT over a comparison, numbers written in an unusual
    way, and the number of the row."""

    def __init__(self, random, database, careful, records):
        self.random, self.database, self.careful = random, database, careful
        self.records = records  # that a table should have
        self.parameters = []
        self.aliases = 0
        self.homes = {}
        self.old = []

    # ---- choices ----

    def chance(self, probability):
        return self.random.random() < probability

    def one(self, things):
        return self.random.choice(list(things))

    def pick(self, *weighted):
        total = sum(weight for weight, _ in weighted)
        place = self.random.random() * total
        for weight, thing in weighted:
            place -= weight
            if place < 0:
                return thing
        return weighted[-1][1]

    def some(self, least, most, make, comma=", "):
        return comma.join(make() for _ in range(self.random.randint(least, most)))

    # ---- whole statements: (text, parameters, whether it is opened as a view) ----

    def statement(self):
        self.parameters = []
        if not self.database.tables:
            return self.create_table(), [], False
        poor = [t for t in self.database.tables.values() if len(t.records) < self.records]
        if poor and self.chance(0.6):
            return self.with_parameters(self.insert(self.one(poor))), self.parameters, False
        if self.old and self.chance(0.12):
            text, given = self.one(self.old)
            return text, [self.given(p) for p in given], True
        kind = self.pick((65, self.select), (12, self.insert), (9, self.update), (6, self.delete),
                         (3, self.alter), (3 if len(self.database.tables) < 3 else 1,
                                           self.create_table),
                         (0.5, self.drop_table), (5 if self.careful else 0.5, self.index))
        text = self.with_parameters(kind())
        if self.chance(0.06):
            text = self.damage(text)
        if self.chance(0.1):
            text = self.shouted(text)
        if self.chance(0.01):
            self.parameters = self.parameters[:-1] or ["x"]
        return text, self.parameters, kind == self.select or self.chance(0.1)

    def remember(self, step, outcome):
        """Good queries come again, since the library may have kept them compiled."""
        text, parameters, view = step
        if outcome.ok and outcome.kind == "select" and view:
            self.old = [old for old in self.old if old[0] != text][-11:] + [(text, parameters)]

    def given(self, parameter):
        return parameter if self.chance(0.5) else self.plain_text(parameter)

    def shouted(self, text):
        """In capitals, with other white space."""
        space = self.one([" ", "\n", "\t ", "  "])
        return space.join(piece if piece[0] in "'" else piece.upper() for piece in pieces_of(text))

    def damage(self, text):
        pieces = pieces_of(text)
        place = self.random.randrange(len(pieces))
        what = self.random.randrange(4)
        if what == 0:
            del pieces[place]
        elif what == 1:
            pieces.insert(place, self.one(pieces))
        elif what == 2:
            other = self.random.randrange(len(pieces))
            pieces[place], pieces[other] = pieces[other], pieces[place]
        else:
            pieces[place] = self.one(["(", ")", ",", "select", "nothing", "*", "-", "and", "not",
                                      "1", "'x'", "!", "group", ".", "is", "by", ";", "from"])
        return " ".join(pieces)

    # ---- definitions ----

    def type(self):
        return self.pick(
            (3, "char(%d)" % self.random.randint(1, 12)), (1, "varchar(5)"), (1, "character"),
            (3, "integer"), (1, "smallint"), (2, "numeric(%d)" % self.random.randint(1, 9)),
            (3, "numeric(%d,%d)" % (self.random.randint(1, 6), self.random.randint(0, 3))),
            (1, "decimal"), (2, self.one(["bool", "boolean"])), (1, "memo"))

    def definitions(self, names):
        return ", ".join("%s %s" % (name, self.type()) for name in names)

    def create_table(self):
        free = [name for name in TABLES if name.upper() not in self.database.tables]
        name = self.one(free) if free and self.chance(0.95) else self.one(TABLES)
        names = self.random.sample(COLUMNS, self.random.randint(1, 5))
        return "create table %s (%s)" % (name, self.definitions(names))

    def drop_table(self):
        if len(self.database.tables) < 3 and self.chance(0.8):
            return self.select()
        return "drop table " + (self.table() if self.chance(0.9) else "nothing")

    def table(self):
        return self.one(self.database.tables.values()).name

    def alter(self):
        table = self.one(self.database.tables.values())
        if self.chance(0.5) and len(table.fields) > 1:
            column = self.one(table.fields).name if self.chance(0.9) else "nothing"
            return "alter table %s drop column %s" % (table.name, column)
        name = self.one(COLUMNS)
        if self.careful:  # blanks in a number with decimals or a boolean are not their own zero
            return "alter table %s add %s %s" % (table.name, name, self.one(["integer", "char(4)"]))
        if self.chance(0.2):
            return "alter table %s add (%s)" % (table.name,
                                                self.definitions(self.random.sample(COLUMNS, 2)))
        return "alter table %s add %s %s" % (table.name, name, self.type())

    def index(self):
        indexes = self.database.all_indexes()
        if indexes and self.chance(0.25) or not self.careful:
            name = self.one(indexes)[1].name if indexes and self.chance(0.9) else "nothing"
            return "drop index " + name
        table = self.one(self.database.tables.values())
        fields = [field for field in table.fields if field.type != MEMO]
        self.random.shuffle(fields)
        numbers = [f for f in fields if f.type != CHARACTER][:self.random.randint(1, 2)]
        texts = [f for f in fields if f.type == CHARACTER][:self.random.randint(0, 1)]
        columns = (numbers + texts) if numbers else fields[:1]  # only the last text sorts as one
        if not columns:
            return self.select()
        order = self.one(["", " asc", " desc"])
        unique = "unique " if self.chance(0.2) else ""
        return "create %sindex %s on %s (%s)" % (
            unique, self.index_name(table), table.name,
            ", ".join(field.name + order for field in columns))

    def index_name(self, table):
        """The name of an index stays with its table, even when the index has gone."""
        name = "i%d" % self.random.randint(1, 9)
        while self.homes.setdefault(name, table.name) != table.name:
            name = "i%d" % self.random.randint(1, 99)
        return name

    # ---- changes ----

    def insert(self, table=None):
        table = table or self.one(self.database.tables.values())
        fields = list(table.fields)
        columns = ""
        if self.chance(0.3):
            fields = self.random.sample(fields, self.random.randint(1, len(fields)))
            if self.chance(0.05):
                fields.append(fields[0])
            columns = " (%s)" % ", ".join(field.name.lower() for field in fields)
        if self.chance(0.03):
            fields = fields[1:] or fields * 2
        if self.chance(0.15):
            others = [t.name for t in self.database.tables.values()
                      if t is not table or (self.chance(0.3) and len(t.records) < 20)]
            if others:
                scope = Block(self, [self.one(others)])
                items = ", ".join(self.value_for(field, scope) for field in fields)
                order = " order by " + scope.order() if self.chance(0.4) else ""
                return "insert into %s%s select %s%s %s%s%s" % (
                    table.name, columns, self.one(["", "", "distinct "]), items, scope.source(),
                    scope.where(), order)
        values = ", ".join(self.constant_for(field) for field in fields)
        return "insert into %s%s values (%s)" % (table.name, columns, values)

    def value_for(self, field, scope):
        same = [text for text, other in scope.columns() if other and
                (other.type == NUMERIC) == (field.type == NUMERIC)]
        if same and self.chance(0.7):
            return self.one(same)
        return self.constant_for(field) if self.chance(0.6) else scope.value(2)

    def constant_for(self, field):
        if self.chance(0.05):
            return "null"
        if field.type == NUMERIC and self.chance(0.97):
            return self.number(field.scale)
        if field.type == BOOLEAN and self.chance(0.8):
            return self.one(["0", "1"])
        return self.text_literal()

    def number(self, scale=0, unsigned=False):
        number = self.random.randint(0 if self.careful else -2, self.one([3, 6, 14]))
        if scale and self.chance(0.7):
            return self.literal("%d.%d" % (number, self.random.randint(1, 999)))
        if unsigned and number < 0:
            return "'%d'" % number
        return self.literal(str(number)) if self.chance(0.9) or self.careful else \
            self.literal(self.one(["1e2", "123456789", "007", "0.5", "2.0"]))

    def literal(self, text):
        """The text as a literal of one form or another, or as a parameter."""
        if self.chance(0.08):
            return self.parameter(text)
        return text if text.isdigit() or (text[:1] == "-" and text[1:].isdigit()) else "'%s'" % text

    def parameter(self, text):
        """A place for a parameter, which gets its turn when the statement is complete."""
        self.parameters.append(text)
        return "\0%d\0" % (len(self.parameters) - 1)

    def with_parameters(self, text):
        """The statement with `?` or a number in these places, and the values in their order."""
        values = []

        def place(match):
            if values and not self.careful and self.chance(0.1):
                return ":%d" % self.random.randint(1, len(values))
            values.append(self.parameters[int(match.group(1))])
            return "?"

        text = re.sub("\0([0-9]+)\0", place, text)
        self.parameters = values
        return text

    def plain_text(self, example="x"):
        if example[:1].isdigit() or not example:
            return str(self.random.randint(0, 12))
        words = [w for w in WORDS if not self.careful or w not in ("1.0", "-1", "09")]
        return self.one(ODD_WORDS if not self.careful and self.chance(0.1) else words)

    def text_literal(self):
        text = self.plain_text()
        if self.chance(0.08):
            return self.parameter(text)
        return "'%s'" % text

    def update(self):
        table = self.one(self.database.tables.values())
        scope = Block(self, [table.name], bare=True)
        fields = self.random.sample(table.fields, self.random.randint(1, min(3, len(table.fields))))
        changes = ", ".join("%s = %s" % (field.name.lower(), self.value_for(field, scope))
                            for field in fields)
        return "update %s set %s%s" % (table.name, changes, scope.where(0.85))

    def delete(self):
        names = [self.table()]
        if self.chance(0.2 if self.careful else 0.5):
            names.append(self.table())
        if self.careful and names[0] == names[-1]:  # which record goes first depends on the index
            del names[1:]
        scope = Block(self, names)
        target = ""
        if len(names) > 1 and self.chance(0.8):
            target = scope.tables[0][0] + self.one(["", ".*", ", " + scope.tables[1][0]]) + " "
        return "delete %s%s%s" % (target, scope.source(), scope.where(0.98))

    # ---- queries ----

    def select(self):
        block = self.block(None, 0)
        text, width = self.query(block)
        order = ""
        if self.chance(0.2) and width:
            for _ in range(self.random.randint(1, 2)):
                other = self.query(self.block(None, 0), width)[0]
                text += " union %s%s" % (self.one(["", "", "all "]), other)
            if self.chance(0.5) and block.names:
                order = self.some(1, 2, lambda: self.one(block.names) + self.direction())
        elif self.chance(0.45):
            order = block.order()
        return text + (" order by " + order if order else "")

    def direction(self):
        return self.one(["", "", " asc", " desc", " desc"])

    def block(self, outer, depth):
        count = self.pick((60, 1), (32, 2), (8, 3)) if depth == 0 else self.pick((85, 1), (15, 2))
        return Block(self, [self.table() for _ in range(count)], outer, depth)

    def query(self, block, width=None):
        """A block's text without ORDER BY, and how many columns it gives."""
        group = ""
        if self.chance(0.06) and width is None:
            items, block.names = "*", [f.name for _, f in block.columns() if f]
        elif self.chance(0.25):
            items, group, width = block.grouped(width)
        else:
            star = width is None and self.chance(0.1)
            width = width or self.random.randint(1, 4)
            items = ", ".join(block.item(star) for _ in range(width))
            width = None if ".*" in items else width
        distinct = self.pick((80, ""), (12, "distinct "), (8, "all ")) \
            if not block.group_by or (not self.careful and self.chance(0.4)) else ""
        where = block.where()
        return "select %s%s %s%s%s" % (distinct, items, block.source(), where, group), width

