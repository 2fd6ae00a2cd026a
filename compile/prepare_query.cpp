#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"

// What a block needs before its names resolve: a select list without stars, numbered and of the
// right width, and the slots of its temporary table and buckets.

namespace ovrasql {

namespace {

bool IsTableStar(const SQLSelectedColumn& item) {
    return !item.correlation.IsEmpty() && item.name == TextView("*");
}

// A bare star stands for the whole list, whatever else was put into it.
bool ExpandAllColumns(SQLQuery& query) {
    query.selected = std::make_unique<List<SQLSelectedColumn>>(true);
    for (SQLTableReference* table : query.references->Tables()) {
        if (!table->ExpandStar(&query)) {
            return false;
        }
    }
    return true;
}

// Each "t.*" gives way, in its place, to the columns of its table.
bool ExpandTableStars(SQLQuery& query) {
    const std::unique_ptr<List<SQLSelectedColumn>> written = std::move(query.selected);
    query.selected = std::make_unique<List<SQLSelectedColumn>>(true);
    while (written->Count() > 0) {
        std::unique_ptr<SQLSelectedColumn> item(written->Remove(ListPlace::kHead));
        if (!IsTableStar(*item)) {
            query.selected->Insert(std::move(item), ListPlace::kTail);
            continue;
        }
        SQLTableReference* const table = query.references->Tables().Find(item->correlation);
        if (table == nullptr) {
            return query.generator->Fail({"Unspecified correlation '", item->correlation, "'"});
        }
        if (!table->ExpandStar(&query)) {
            return false;
        }
    }
    return true;
}

void NumberSelected(SQLQuery& query) {
    int32_t position = 0;
    for (SQLSelectedColumn* item : *query.selected) {
        item->position = position++;
    }
}

bool PrepareUnions(SQLQuery& first) {
    for (SQLUnion* branch : first.unions) {
        if (!branch->query->PrepareQuery()) {
            return false;
        }
        if (branch->query->selected->Count() != first.selected->Count()) {
            return first.generator->SetError(
                "UNIONed queries have a different number of result columns");
        }
        if (branch->distinct != 0 && first.unionBucket < 0) {
            first.unionBucket = first.generator->TakeBucket();
        }
    }
    return true;
}

}  // namespace

bool SQLQuery::PrepareQuery() {
    // A branch of a UNION inside a derived table comes here before the pass over all scopes has
    // reached its own, and its stars need bound tables.
    if (!references->BindTables()) {
        return false;
    }
    if (!(allColumns != 0 ? ExpandAllColumns(*this) : ExpandTableStars(*this))) {
        return false;
    }
    NumberSelected(*this);
    if (kind != kRows && selected->Count() > 1) {
        return generator->SetError("Sub-query returns more than one column");
    }
    if (!PrepareUnions(*this) || !NumberAggregates()) {
        return false;
    }
    if (unions.Count() > 0 || (orderBy.Count() > 0 && aggregates.Count() > 0)) {
        temporaryTable = generator->TakeTemporary();
    }
    if (!PrepareOrderBy()) {
        return false;
    }
    if (distinct != 0) {
        distinctBucket = generator->TakeBucket();
    }
    return true;
}

}  // namespace ovrasql
