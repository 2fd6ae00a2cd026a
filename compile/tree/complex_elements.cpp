#include "compile/tree/complex_elements.h"

#include "compile/tree/aggregates.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "language/tokens.h"

namespace ovrasql {

namespace {

// Replaces what `holder` held by an empty expression of the element's scope, outside every block.
SQLExpression* Renew(std::unique_ptr<SQLExpression>& holder, const SQLComplexElement& element) {
    holder = std::make_unique<SQLExpression>(element.generator, element.references);
    return holder.get();
}

}  // namespace

SQLBetween::SQLBetween(SQLCodeGenerator* owner, SQLReferenceManager* scope)
    : SQLComplexElement(owner, scope) {}
SQLBetween::~SQLBetween() = default;

SQLExpression* SQLBetween::NewLow() { return Renew(low, *this); }
SQLExpression* SQLBetween::NewHigh() { return Renew(high, *this); }

SQLIn::SQLIn(SQLCodeGenerator* owner, SQLReferenceManager* scope, SQLQuery* enclosing)
    : SQLComplexElement(owner, scope), query(enclosing), values(false) {}
SQLIn::~SQLIn() = default;

void SQLIn::AddLiteral(TextView text) {
    auto* const value = references->Nodes().Make<SQLExpressionNode>();
    value->kind = NodeKind::kLiteral;
    value->text = text;
    values.Insert(value, ListPlace::kTail);
}

SQLSubstring::SQLSubstring(SQLCodeGenerator* owner, SQLReferenceManager* scope)
    : SQLComplexElement(owner, scope) {}
SQLSubstring::~SQLSubstring() = default;

SQLExpression* SQLSubstring::NewString() { return Renew(string, *this); }
SQLExpression* SQLSubstring::NewStart() { return Renew(start, *this); }
SQLExpression* SQLSubstring::NewLength() { return Renew(length, *this); }

SQLAggregate::SQLAggregate(SQLCodeGenerator* owner, SQLReferenceManager* scope,
                           int32_t functionCode)
    : SQLComplexElement(owner, scope),
      function(functionCode),
      expression(std::make_unique<SQLExpression>(owner, scope)) {}
SQLAggregate::~SQLAggregate() = default;

SQLAggregateCount::SQLAggregateCount(SQLCodeGenerator* owner, SQLReferenceManager* scope)
    : SQLAggregate(owner, scope, token::kCount) {}

SQLAggregateCountDistinct::SQLAggregateCountDistinct(SQLCodeGenerator* owner,
                                                     SQLReferenceManager* scope)
    : SQLAggregate(owner, scope, token::kCount) {}

}  // namespace ovrasql
