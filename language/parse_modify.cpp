#include "compile/sql_code_generator.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_statements.h"
#include "language/sql_parser.h"

// INSERT, UPDATE and DELETE.

namespace ovrasql {

// insert: "into" name ["(" name {"," name} ")"]
//         ("select" query block [order by] | "values" "(" value {"," value} ")")
bool SQLParser::ParseInsert() {
    SQLInsertStatement* const statement = generator_->NewInsertStatement();
    if (!Expect(token::kInto, "INTO") || !ExpectNext(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    statement->SetTarget(Text());
    if (Next() != token::kOpenParenthesis) {
        statement->allColumns = 1;
    } else if (!ParseInsertColumns(statement)) {
        return false;
    }
    if (Is(token::kSelect)) {
        Next();
        SQLQuery* const query = statement->NewQuery();
        return ParseQueryBlock(query) && ParseOptionalOrderBy(query);
    }
    if (Is(token::kValues)) {
        return ParseInsertValues(statement);
    }
    return ExpectedError("VALUES or SELECT");
}

bool SQLParser::ParseInsertColumns(SQLInsertStatement* statement) {
    do {
        if (!ExpectNext(token::kTokenIdentifier, "identifier")) {
            return false;
        }
        statement->AddColumn(Text());
        Next();
    } while (Is(token::kComma));
    return TakeCloseParenthesis();
}

bool SQLParser::ParseInsertValues(SQLInsertStatement* statement) {
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    do {
        Next();
        if (!ParseValue(statement->NewValue())) {
            return false;
        }
    } while (Is(token::kComma));
    return TakeCloseParenthesis();
}

// update: name "set" assignment {"," assignment} ["where" condition]
bool SQLParser::ParseUpdate() {
    SQLUpdateStatement* const statement = generator_->NewUpdateStatement();
    if (!Expect(token::kTokenIdentifier, "identifier")) {
        return false;
    }
    statement->SetTarget(Text());
    if (!ExpectNext(token::kSet, "SET")) {
        return false;
    }
    do {
        Next();
        if (!ParseAssignment(statement)) {
            return false;
        }
    } while (Is(token::kComma));
    if (!Is(token::kWhere)) {
        return true;
    }
    Next();
    return ParseCondition(statement->NewWhere());
}

// assignment: name "=" ("null" | value)
// Required: a value that begins with NULL is NULL alone.
bool SQLParser::ParseAssignment(SQLUpdateStatement* statement) {
    if (!Expect(token::kTokenIdentifier, "column identifier")) {
        return false;
    }
    SQLExpression* const value = statement->AddColumn(Text());
    Next();
    if (!Take(token::kEqual, "=")) {
        return false;
    }
    if (Is(token::kNull)) {
        value->SetLiteral(TextView());
        Next();
        return true;
    }
    return ParseValue(value);
}

// delete: correlations "from" table spec {"," table spec} ["where" condition]
bool SQLParser::ParseDelete() {
    SQLDeleteStatement* const statement = generator_->NewDeleteStatement();
    if (!ParseCorrelations(statement) || !Expect(token::kFrom, "FROM")) {
        return false;
    }
    SQLQuery* const query = statement->query.get();
    do {
        Next();
        if (!ParseTableSpec(query)) {
            return false;
        }
    } while (Is(token::kComma));
    if (!Is(token::kWhere)) {
        return true;
    }
    Next();
    return ParseCondition(query->NewWhere());
}

// correlations: {name ["." "*"] [","]}
// Required: a comma needs a name behind it, but two names need no comma between them.
bool SQLParser::ParseCorrelations(SQLDeleteStatement* statement) {
    while (Is(token::kTokenIdentifier)) {
        statement->AddCorrelation(Text());
        Next();
        if (Is(token::kPoint)) {
            if (!ExpectNext(token::kStar, "*")) {
                return false;
            }
            Next();
        }
        if (Is(token::kComma) && !ExpectNext(token::kTokenIdentifier, "identifier")) {
            return false;
        }
    }
    return true;
}

}  // namespace ovrasql
