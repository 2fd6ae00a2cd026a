#pragma once

// The elements of an expression that are no sub-query and no aggregate: BETWEEN, IN, SUBSTRING, and
// the read of a result column back out of the block's temporary table.
//
// The first three take the node's left child as their operand. Their own expressions belong to no
// query block: a sub-query written inside one can't reach the enclosing block's parents.

#include <cstdint>
#include <memory>

#include "compile/tree/sql_complex_element.h"
#include "foundation/list.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLExpression;
class SQLExpressionNode;
class SQLQuery;
struct SQLSelectedColumn;

class SQLBetween : public SQLComplexElement {
  public:
    SQLBetween(SQLCodeGenerator* owner, SQLReferenceManager* scope);
    ~SQLBetween() override;
    [[nodiscard]] bool Generate() override;

    SQLExpression* NewLow();
    SQLExpression* NewHigh();

    std::unique_ptr<SQLExpression> low;
    std::unique_ptr<SQLExpression> high;
};

class SQLIn : public SQLComplexElement {
  public:
    SQLIn(SQLCodeGenerator* owner, SQLReferenceManager* scope, SQLQuery* enclosing);
    ~SQLIn() override;
    [[nodiscard]] bool Generate() override;

    void AddLiteral(TextView text);
    // Numbered like SQLExpression::SetDynamic.
    void AddDynamic(int32_t number);
    SQLQuery* NewSubquery();

    SQLQuery* const query;               // the enclosing block, passed on to the sub-query
    std::unique_ptr<SQLQuery> subquery;  // null for a list
    // Literals and parameters. The nodes lie in the scope's arena, so the list doesn't own them.
    List<SQLExpressionNode> values;
};

class SQLSubstring : public SQLComplexElement {
  public:
    SQLSubstring(SQLCodeGenerator* owner, SQLReferenceManager* scope);
    ~SQLSubstring() override;
    [[nodiscard]] bool Generate() override;

    SQLExpression* NewString();
    SQLExpression* NewStart();
    SQLExpression* NewLength();

    std::unique_ptr<SQLExpression> string;
    std::unique_ptr<SQLExpression> start;
    std::unique_ptr<SQLExpression> length;  // null without FOR
};

// Made by the check of ORDER BY, never by the parser.
class SQLOrderBySelectListReference : public SQLComplexElement {
  public:
    SQLOrderBySelectListReference(SQLCodeGenerator* owner, SQLReferenceManager* scope,
                                  SQLQuery* block, SQLSelectedColumn* selected)
        : SQLComplexElement(owner, scope), query(block), selectedColumn(selected) {}
    [[nodiscard]] bool Generate() override;

    SQLQuery* const query;
    SQLSelectedColumn* const selectedColumn;
};

}  // namespace ovrasql
