#pragma once

// Aggregates: elements whose value is an accumulator of the block's bucket. The row loop folds into
// it, the loop over the groups pushes it.
//
// Made by the parser and listed by its expression; `bucket` and `position` are given to those of a
// select list only, so an aggregate elsewhere keeps a bucket of -1.

#include <cstdint>
#include <memory>

#include "compile/tree/sql_complex_element.h"

namespace ovrasql {

class SQLExpression;
struct SQLColumnReference;

class SQLAggregate : public SQLComplexElement {
  public:
    // `functionCode` is the token code of "avg", "count", "max", "min" or "sum", 0 for a group
    // column. The expression is made empty.
    SQLAggregate(SQLCodeGenerator* owner, SQLReferenceManager* scope, int32_t functionCode);
    ~SQLAggregate() override;

    // Pushes the accumulator's value.
    [[nodiscard]] bool Generate() override;
    // Writes the start value.
    [[nodiscard]] virtual bool GenerateDefault();
    // Folds one row in.
    [[nodiscard]] virtual bool GenerateAccumulate();

    const int32_t function;
    int32_t bucket = -1;
    int32_t position = 0;  // of the accumulator within the bucket
    std::unique_ptr<SQLExpression> expression;
};

// count(*) with an empty expression, or count of a value.
class SQLAggregateCount : public SQLAggregate {
  public:
    SQLAggregateCount(SQLCodeGenerator* owner, SQLReferenceManager* scope);
    [[nodiscard]] bool GenerateDefault() override;
    [[nodiscard]] bool GenerateAccumulate() override;
};

class SQLAggregateCountDistinct : public SQLAggregate {
  public:
    SQLAggregateCountDistinct(SQLCodeGenerator* owner, SQLReferenceManager* scope);
    [[nodiscard]] bool GenerateDefault() override;
    [[nodiscard]] bool GenerateAccumulate() override;
};

// A group column kept beside the true aggregates. Made by the GROUP BY check, never by the parser.
class SQLAggregateColumn : public SQLAggregate {
  public:
    SQLAggregateColumn(SQLCodeGenerator* owner, SQLReferenceManager* scope,
                       SQLColumnReference* groupColumn)
        : SQLAggregate(owner, scope, 0), column(groupColumn) {}
    [[nodiscard]] bool GenerateAccumulate() override;

    SQLColumnReference* const column;
};

}  // namespace ovrasql
