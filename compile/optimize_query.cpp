#include "compile/sql_code_generator.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "foundation/ignore_result.h"

// The optimizer's pass over a block: conditions to the tables that can test them, an index for each
// of those, and ORDER BY by an index or a temporary table. Rules only; tables are never reordered.

namespace ovrasql {

namespace {

// The direction in which an index would serve ORDER BY: 0 none, 1 ascending, 2 descending.
int32_t PreferredDirection(List<SQLOrderBy>& orderBy) {
    const SQLOrderBy* const first = orderBy.First();
    if (first == nullptr) {
        return 0;
    }
    return first->ascending != 0 ? 1 : 2;
}

}  // namespace

// Each table takes what can be tested once it is open, so each condition is tested as early as the
// order of FROM allows. The right side of an outer join takes from its own ON only.
bool SQLQuery::OptimizeQuery() {
    if (!CheckGroupBy()) {
        return false;
    }
    const int32_t preferred = PreferredDirection(orderBy);
    for (SQLTableReference* table : references->Tables()) {
        tableStack.Push(table);
        table->isOnStack = true;
        const SQLExpression* const source =
            table->outerLeft != nullptr ? table->on.get() : where.get();
        // A derived table has no search condition of its own; what could move to it stays.
        if (source == nullptr || source->IsEmpty() || table->table == nullptr) {
            continue;
        }
        if (generator->ExtractCondition(table, tableStack, source->root, parentQuery,
                                        updateTarget)) {
            // Failing to choose leaves the table without an index, which is slower but right.
            IgnoreResult(generator->ChooseIndex(table, table->searchCondition, preferred));
        }
    }
    for (const SQLUnion* branch : unions) {
        if (!branch->query->OptimizeQuery()) {
            return false;
        }
    }
    return OptimizeOrderBy();
}

}  // namespace ovrasql
