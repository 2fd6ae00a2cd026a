#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_statements.h"
#include "foundation/number_text.h"
#include "language/sql_parser.h"
#include "schema/schema.h"

// CREATE, ALTER and DROP of tables and indexes. What the names mean, and whether a data file can
// hold the columns, is found out when the statement runs.

namespace ovrasql {

namespace {

constexpr int32_t kDefaultNameLimit = 64;
constexpr int32_t kMaximumColumnName = 10;
constexpr int64_t kMaximumNumericWidth = 19;

enum ColumnType : int32_t { kCharacter = 0, kNumeric = 1, kBoolean = 3, kMemo = 4 };

void SetType(ColumnDefinition* column, ColumnType type, int32_t width) {
    column->type = type;
    column->width = width;
    column->scale = 0;
}

}  // namespace

// create table: name "(" column {"," column} ")"
bool SQLParser::ParseCreateTable() {
    TextView name;
    if (!ParseTableName(&name)) {
        return false;
    }
    SQLCreateTableStatement* const statement = generator_->NewCreateTableStatement();
    statement->tableName = name;
    return Take(token::kOpenParenthesis, "open parenthesis") &&
           ParseColumnDefinitions(&statement->columns);
}

// alter table: name ("add" columns | "drop" "column" name)
bool SQLParser::ParseAlterTable() {
    TextView name;
    if (!ParseTableName(&name)) {
        return false;
    }
    if (Is(token::kAdd)) {
        Next();
        return ParseAlterTableAdd(name);
    }
    if (Is(token::kDrop)) {
        return ParseAlterTableDrop(name);
    }
    return ExpectedError("ADD or DROP");
}

// columns: column | "(" column {"," column} ")"
bool SQLParser::ParseAlterTableAdd(TextView tableName) {
    SQLAlterTableAddStatement* const statement = generator_->NewAlterTableAddStatement();
    statement->tableName = tableName;
    if (!Is(token::kOpenParenthesis)) {
        return ParseColumnDefinition(&statement->columns);
    }
    Next();
    return ParseColumnDefinitions(&statement->columns);
}

bool SQLParser::ParseAlterTableDrop(TextView tableName) {
    if (!ExpectNext(token::kColumn, "COLUMN") ||
        !ExpectNext(token::kTokenIdentifier, "column name")) {
        return false;
    }
    SQLAlterTableDropStatement* const statement = generator_->NewAlterTableDropStatement();
    statement->tableName = tableName;
    statement->columnName = Text();
    Next();
    return true;
}

// drop table: any token, or none.
// Required: whatever stands there is taken as the name, and fails later as one nobody knows.
bool SQLParser::ParseDropTable() {
    generator_->NewDropTableStatement()->tableName = Text();
    Next();
    return true;
}

// drop index: any token, or none; as in drop table.
bool SQLParser::ParseDropIndex() {
    generator_->NewDropIndexStatement()->indexName = Text();
    Next();
    return true;
}

// create index: ["unique"] "index" name "on" name "(" index column {"," index column} ")"
bool SQLParser::ParseCreateIndex() {
    SQLCreateIndexStatement* const statement = generator_->NewCreateIndexStatement();
    if (Is(token::kUnique)) {
        statement->unique = 1;
        if (!ExpectNext(token::kIndex, "INDEX")) {
            return false;
        }
    }
    if (!ExpectNext(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    statement->indexName = Text();
    const Schema* const schema = generator_->GetSchema();
    const int32_t limit = schema != nullptr ? schema->IndexNameLimit() : kDefaultNameLimit;
    if (!CheckNameLength("Index", statement->indexName, limit) || !ExpectNext(token::kOn, "ON") ||
        !ExpectNext(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    statement->tableName = Text();
    return ExpectNext(token::kOpenParenthesis, "open parenthesis") && ParseIndexColumns(statement);
}

// index column: name ["asc" | "desc"]
bool SQLParser::ParseIndexColumns(SQLCreateIndexStatement* statement) {
    do {
        if (!ExpectNext(token::kTokenIdentifier, "column identifier")) {
            return false;
        }
        statement->AddColumn(Text());
        Next();
        if (Is(token::kAsc) || Is(token::kDesc)) {
            statement->currentColumn->ascending = Is(token::kAsc) ? 1 : 0;
            Next();
        }
    } while (Is(token::kComma));
    return TakeCloseParenthesis();
}

bool SQLParser::ParseTableName(TextView* name) {
    if (!Expect(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    *name = Text();
    const Schema* const schema = generator_->GetSchema();
    const int32_t limit = schema != nullptr ? schema->TableNameLimit() : kDefaultNameLimit;
    if (!CheckNameLength("Table", *name, limit)) {
        return false;
    }
    Next();
    return true;
}

bool SQLParser::CheckNameLength(TextView what, TextView name, int32_t limit) {
    if (name.length <= limit) {
        return true;
    }
    error_ = String::Join({what, " name '", name, "' exceeds the maximum length of ",
                           IntegerToText(limit), " characters"});
    return false;
}

// The rest of a list of columns whose "(" has been taken, with its ")".
bool SQLParser::ParseColumnDefinitions(CollList<ColumnDefinition>* columns) {
    if (!ParseColumnDefinition(columns)) {
        return false;
    }
    while (Is(token::kComma)) {
        Next();
        if (!ParseColumnDefinition(columns)) {
            return false;
        }
    }
    return TakeMatchingParenthesis();
}

// column: name type
bool SQLParser::ParseColumnDefinition(CollList<ColumnDefinition>* columns) {
    if (!Expect(token::kTokenIdentifier, "column name") ||
        !CheckNameLength("Column", Text(), kMaximumColumnName)) {
        return false;
    }
    auto made = std::make_unique<ColumnDefinition>();
    ColumnDefinition* const column = made.get();
    column->name = Text();
    columns->Insert(std::move(made), ListPlace::kTail);
    Next();
    return ParseType(column);
}

// type: "char" ... | "character" ... | "varchar" ... | "numeric" ... | "decimal" ...
//       | "integer" | "smallint" | "memo" | "bool" | "boolean"
// Required: INTEGER and SMALLINT are the same column, as wide as a numeric one gets.
bool SQLParser::ParseType(ColumnDefinition* column) {
    const int32_t word = scanner_.Token();
    switch (word) {
        case token::kChar:
        case token::kCharacter:
            return ParseCharacterType(column);
        case token::kVarchar:
            return ParseVarcharType(column);
        case token::kNumeric:
        case token::kDecimal:
            return ParseNumericType(column);
        case token::kInteger:
        case token::kSmallint:
            SetType(column, kNumeric, 19);
            break;
        case token::kMemo:
            SetType(column, kMemo, 10);
            break;
        case token::kBool:
        case token::kBoolean:
            SetType(column, kBoolean, 1);
            break;
        default:
            return SetError("Unknown field type");
    }
    Next();
    return true;
}

// character type: ("char" | "character") ["(" integer ")"]
bool SQLParser::ParseCharacterType(ColumnDefinition* column) {
    SetType(column, kCharacter, 1);
    Next();
    if (!Is(token::kOpenParenthesis)) {
        return true;
    }
    Next();
    return TakeInteger(&column->width) && TakeMatchingParenthesis();
}

// varchar type: "varchar" "(" integer ")"
bool SQLParser::ParseVarcharType(ColumnDefinition* column) {
    SetType(column, kCharacter, 0);
    Next();
    return Take(token::kOpenParenthesis, "open parenthesis") && TakeInteger(&column->width) &&
           TakeCloseParenthesis();
}

// numeric type: ("numeric" | "decimal") ["(" integer ["," integer] ")"]
// Required: the first number counts the digits before the point, and the point takes a place of its
// own in the width. The width is tested before the parenthesis is.
bool SQLParser::ParseNumericType(ColumnDefinition* column) {
    SetType(column, kNumeric, 19);
    Next();
    if (!Is(token::kOpenParenthesis)) {
        return true;
    }
    Next();
    int32_t digits = 0;
    int32_t scale = 0;
    if (!TakeInteger(&digits)) {
        return false;
    }
    if (Is(token::kComma)) {
        Next();
        if (!TakeInteger(&scale)) {
            return false;
        }
    }
    const int64_t width = scale != 0 ? int64_t{digits} + 1 + scale : int64_t{digits};
    if (width > kMaximumNumericWidth) {
        return SetError("NUMERIC fields may only be 19 digits, field is too many digits");
    }
    column->width =
        static_cast<int32_t>(std::max(width, int64_t{std::numeric_limits<int32_t>::min()}));
    column->scale = scale;
    return TakeCloseParenthesis();
}

// An integer of whatever kind of token: a quoted one serves as well.
bool SQLParser::TakeInteger(int32_t* value) {
    if (!scanner_.TokenInteger(value)) {
        return ExpectedError("integer");
    }
    Next();
    return true;
}

}  // namespace ovrasql
