#pragma once

// The plain records that hang on a query block or a statement: selected columns, sort terms, union
// branches, updated columns. Each belongs to the list that holds it. Names are borrowed from the
// statement text (or from the texts that the generator keeps).

#include <cstdint>
#include <memory>

#include "compile/tree/sql_expression.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLQuery;
struct SQLColumnReference;

struct SQLSelectedColumn {
    static constexpr int32_t kExpression = 0;
    static constexpr int32_t kRowNumber = 1;  // the pseudo-column recno

    int32_t type = kExpression;
    int32_t position = -1;  // in the list from 0, once numbered
    TextView name;
    TextView correlation;  // the table of a "t.*" item, whose name is then "*"
    std::unique_ptr<SQLExpression> expression;
};

// The name by which ORDER BY finds a selected column.
inline TextView ItemName(const SQLSelectedColumn& column) { return column.name; }

struct SQLUpdatedColumn {
    SQLColumnReference* column = nullptr;  // owned by the scope
    std::unique_ptr<SQLExpression> expression;
};

struct SQLOrderBy {
    int32_t wrapper = -1;   // token code of an `upper` or `lower` around the term
    int32_t position = -1;  // column of the temporary table
    std::unique_ptr<SQLExpression> expression;
    int32_t ascending = 1;                 // 0 after "desc"
    SQLColumnReference* column = nullptr;  // of a plain or wrapped column
};

struct SQLOrderByColumn {
    SQLColumnReference* column = nullptr;
    int32_t wrapper = -1;
};

struct SQLUnion {
    SQLUnion();
    ~SQLUnion();

    int32_t distinct = 0;  // 0 for UNION ALL
    std::unique_ptr<SQLQuery> query;
};

}  // namespace ovrasql
