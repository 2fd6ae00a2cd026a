#include <algorithm>
#include <limits>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_statements.h"

// The building operations of the tree that take something from the generator: a scope, a listed
// sub-query, a parameter number.

namespace ovrasql {

namespace {

// Parameter n has index n - 1; 0 takes the next number. Numbers below the first stay below it, so
// that the run finds no such parameter.
int32_t DynamicIndex(SQLCodeGenerator* generator, int32_t number) {
    if (number == 0) {
        return generator->TakeDynamic();
    }
    return std::max(number, std::numeric_limits<int32_t>::min() + 1) - 1;
}

}  // namespace

SQLStatement::SQLStatement(SQLCodeGenerator* owner)
    : generator(owner), references(owner->NewReferenceManager(nullptr)) {}

void SQLExpression::SetDynamic(int32_t number) {
    current->kind = NodeKind::kDynamic;
    current->dynamicIndex = DynamicIndex(generator, number);
}

SQLQuery* SQLExpression::SetSubquery(int32_t queryKind) {
    SQLQuery* const made =
        Adopt(generator->NewSubquery(references, queryKind, query, updateTarget));
    SetElement(made);
    return made;
}

void SQLIn::AddDynamic(int32_t number) {
    auto* const value = references->Nodes().Make<SQLExpressionNode>();
    value->kind = NodeKind::kDynamic;
    value->dynamicIndex = DynamicIndex(generator, number);
    values.Insert(value, ListPlace::kTail);
}

SQLQuery* SQLIn::NewSubquery() {
    subquery = generator->NewSubquery(references, SQLQuery::kInList, query, nullptr);
    return subquery.get();
}

// The branches are siblings: the new scope looks outward from where the first one does. It is not
// listed as a sub-query, since its first block reaches it.
SQLQuery* SQLQuery::AddUnion(bool isDistinct) {
    auto made = std::make_unique<SQLUnion>();
    made->distinct = isDistinct ? 1 : 0;
    made->query =
        std::make_unique<SQLQuery>(generator, generator->NewReferenceManager(references->Parent()),
                                   kRows, parentQuery, updateTarget);
    SQLQuery* const branch = made->query.get();
    unions.Insert(std::move(made), ListPlace::kTail);
    return branch;
}

}  // namespace ovrasql
