#include "compile/tree/sql_statements.h"

#include <utility>

#include "compile/tree/sql_query.h"

namespace ovrasql {

SQLStatement::~SQLStatement() = default;
bool SQLStatement::Prepare() { return true; }
bool SQLStatement::Optimize() { return true; }

SQLCreateTableStatement::SQLCreateTableStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner), columns(true) {}

SQLAlterTableAddStatement::SQLAlterTableAddStatement(SQLCodeGenerator* owner)
    : SQLAlterTableStatement(owner), columns(true) {}

SQLCreateIndexStatement::SQLCreateIndexStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner), columns(true) {}

void SQLCreateIndexStatement::AddColumn(TextView name) {
    auto made = std::make_unique<SQLIndexColumn>();
    made->name = name;
    currentColumn = made.get();
    columns.Insert(std::move(made), ListPlace::kTail);
}

SQLSelectStatement::SQLSelectStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner), query(std::make_unique<SQLQuery>(owner, references)) {}
SQLSelectStatement::~SQLSelectStatement() = default;

SQLInsertStatement::SQLInsertStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner), columns(true, true), values(true) {}
SQLInsertStatement::~SQLInsertStatement() = default;

void SQLInsertStatement::SetTarget(TextView name) {
    target = std::make_unique<SQLTableReference>(generator, name, name);
}

SQLColumnReference* SQLInsertStatement::AddColumn(TextView name) {
    auto made = std::make_unique<SQLColumnReference>(name);
    SQLColumnReference* const column = made.get();
    columns.Add(std::move(made));
    return column;
}

SQLExpression* SQLInsertStatement::NewValue() {
    auto made = std::make_unique<SQLExpression>(generator, references);
    SQLExpression* const value = made.get();
    values.Insert(std::move(made), ListPlace::kTail);
    return value;
}

SQLQuery* SQLInsertStatement::NewQuery() {
    query = std::make_unique<SQLQuery>(generator, references);
    return query.get();
}

SQLUpdateStatement::SQLUpdateStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner), columns(true) {}

void SQLUpdateStatement::SetTarget(TextView name) {
    target = references->AddTable(std::make_unique<SQLTableReference>(generator, name, name));
    target->loadIndexes = 1;
}

SQLExpression* SQLUpdateStatement::AddColumn(TextView name) {
    auto made = std::make_unique<SQLUpdatedColumn>();
    made->column = references->GetColumnReference(name);
    made->expression = std::make_unique<SQLExpression>(generator, references, nullptr, target);
    SQLExpression* const expression = made->expression.get();
    columns.Insert(std::move(made), ListPlace::kTail);
    return expression;
}

SQLExpression* SQLUpdateStatement::NewWhere() {
    where = std::make_unique<SQLExpression>(generator, references, nullptr, target);
    return where.get();
}

SQLDeleteStatement::SQLDeleteStatement(SQLCodeGenerator* owner)
    : SQLStatement(owner),
      correlations(true, true),
      targets(false),
      query(std::make_unique<SQLQuery>(owner, references)) {}
SQLDeleteStatement::~SQLDeleteStatement() = default;

void SQLDeleteStatement::AddCorrelation(TextView name) {
    auto made = std::make_unique<SQLCorrelation>();
    made->name = name;
    correlations.Add(std::move(made));
}

}  // namespace ovrasql
