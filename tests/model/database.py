"""What a database holds: tables with their records, and the names and keys of indexes."""

from values import Failure, NUMERIC, upper

LONGEST_KEY = 99


class Index:
    def __init__(self, name, fields, unique):
        self.name, self.fields, self.unique = name, fields, unique

    def key(self, table, values):
        parts = []
        for index in self.fields:
            field, text = table.fields[index], values[index]
            parts.append(text.rjust(field.width, "0") if field.type == NUMERIC else text)
        return upper(":".join(parts))[:LONGEST_KEY]


class Table:
    """Records are lists of texts; a deleted one is None and keeps its place until a pack."""

    def __init__(self, name, fields):
        self.name, self.fields = name, fields
        self.records = []
        self.indexes = []

    def field_index(self, name):
        for i, field in enumerate(self.fields):
            if field.name == upper(name):
                return i
        return None

    def in_order(self):
        return sorted(self.indexes, key=lambda index: upper(index.name))

    def written(self, values):
        return [field.written(text) for field, text in zip(self.fields, values)]

    def check_unique(self, values):
        for index in self.in_order():
            key = index.key(self, values)
            if index.unique and any(other is not None and index.key(self, other) == key
                                    for other in self.records):
                raise Failure("Inserted record violates UNIQUE constraint on index '%s'"
                              % index.name)

    def pack(self):
        self.records = [record for record in self.records if record is not None]


class Database:
    def __init__(self, ignore_case=False):
        self.tables = {}
        self.ignore_case = ignore_case

    def table(self, name):
        found = self.tables.get(upper(name))
        if found is None:
            raise Failure("Unknown table '%s'" % name)
        return found

    def existing(self, name):
        found = self.tables.get(upper(name))
        if found is None:
            raise Failure("Table '%s' does not exist" % name)
        return found

    def create_table(self, s):
        if upper(s.name) in self.tables:
            raise Failure("Table '%s' already exists" % s.name)
        self.tables[upper(s.name)] = Table(s.name, s.columns)

    def drop_table(self, s):
        self.existing(s.name)
        del self.tables[upper(s.name)]

    def alter_add(self, s):
        table = self.existing(s.name)
        for field in s.columns:
            if table.field_index(field.name) is not None:
                raise Failure("A field named '%s' already exists in table '%s'"
                              % (field.spelling, s.name))
        table.pack()
        for field in s.columns:
            table.fields.append(field)
            for record in table.records:
                record.append(field.blank())

    def alter_drop(self, s):
        table = self.existing(s.name)
        index = table.field_index(s.column)
        if index is None:
            raise Failure("A field named '%s' does not exist in table '%s'" % (s.column, s.name))
        for other in table.in_order():
            if index in other.fields:
                raise Failure("Column '%s' is used on index '%s'" % (s.column, other.name))
        table.pack()
        del table.fields[index]
        for record in table.records:
            del record[index]
        for other in table.indexes:
            other.fields = [i - (i > index) for i in other.fields]

    def all_indexes(self):
        return [(table, index) for table in self.tables.values() for index in table.indexes]

    def create_index(self, s):
        table = self.table(s.table)
        if any(upper(index.name) == upper(s.name) for _, index in self.all_indexes()):
            raise Failure("Index '%s' already exists" % s.name)
        fields = []
        for name, ascending in s.columns:
            if ascending != s.columns[0][1]:
                raise Failure("All columns in an OvraSQL index must have the same ordering")
            index = table.field_index(name)
            if index is None:
                raise Failure("Unknown column '%s'" % name)
            fields.append(index)
        made = Index(s.name, fields, s.unique)
        keys = [made.key(table, record) for record in table.records if record is not None]
        if s.unique and len(set(keys)) < len(keys):
            raise Failure(None)  # in words of the index file
        table.indexes.append(made)

    def drop_index(self, s):
        for table, index in self.all_indexes():
            if upper(index.name) == upper(s.name):
                table.indexes.remove(index)
                return
        raise Failure("Index name '%s' does not exist" % s.name)

    def pack(self):
        for table in self.tables.values():
            table.pack()
