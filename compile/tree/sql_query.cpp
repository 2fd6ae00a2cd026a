#include "compile/tree/sql_query.h"

#include <utility>

#include "compile/tree/aggregates.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"

// What the parser adds to a block. AddUnion, which needs a new scope, is in
// compile/build_subquery.cpp.

namespace ovrasql {

SQLUnion::SQLUnion() = default;
SQLUnion::~SQLUnion() = default;

SQLQuery::SQLQuery(SQLCodeGenerator* owner, SQLReferenceManager* scope, int32_t queryKind,
                   SQLQuery* enclosing, SQLTableReference* target)
    : SQLComplexElement(owner, scope),
      kind(queryKind),
      parentQuery(enclosing),
      updateTarget(target),
      selected(std::make_unique<List<SQLSelectedColumn>>(true)),
      tableStack(false),
      unions(true),
      orderBy(true),
      orderByColumns(true),
      aggregates(false),
      groupBy(true) {}

SQLQuery::~SQLQuery() = default;

std::unique_ptr<SQLExpression> SQLQuery::NewExpression() {
    return std::make_unique<SQLExpression>(generator, references, this, updateTarget);
}

SQLSelectedColumn* SQLQuery::AddSelectedColumn() {
    auto made = std::make_unique<SQLSelectedColumn>();
    made->expression = NewExpression();
    made->expression->selectItem = 1;
    currentSelected = made.get();
    selected->Insert(std::move(made), ListPlace::kTail);
    return currentSelected;
}

void SQLQuery::AddTableStar(TextView table) {
    SQLSelectedColumn* const star = AddSelectedColumn();
    star->name = "*";
    star->correlation = table;
}

SQLTableReference* SQLQuery::AddTable(TextView name, TextView alias) {
    lastTable = references->AddTable(std::make_unique<SQLTableReference>(generator, name, alias));
    return lastTable;
}

SQLTableReference* SQLQuery::AddOuterTable(TextView name, TextView alias) {
    SQLTableReference* const left = lastTable;
    AddTable(name, alias)->outerLeft = left;
    return lastTable;
}

void SQLQuery::AddFromSelect(std::unique_ptr<SQLTableReferenceFromSelect> derived) {
    lastTable = references->AddTable(std::move(derived));
}

SQLExpression* SQLQuery::NewWhere() {
    where = NewExpression();
    return where.get();
}

SQLExpression* SQLQuery::NewOn() {
    lastTable->on = NewExpression();
    return lastTable->on.get();
}

SQLExpression* SQLQuery::NewGroupBy() {
    auto made = NewExpression();
    SQLExpression* const expression = made.get();
    groupBy.Insert(std::move(made), ListPlace::kTail);
    return expression;
}

SQLExpression* SQLQuery::NewOrderBy() {
    auto made = std::make_unique<SQLOrderBy>();
    made->expression = NewExpression();
    currentOrderBy = made.get();
    orderBy.Insert(std::move(made), ListPlace::kTail);
    return currentOrderBy->expression.get();
}

}  // namespace ovrasql
