#pragma once

// SQLColumnReference: a column name as a block uses it. One reference stands for every use of that
// name in its scope, so resolving it once resolves them all.
//
// The parser makes references before any table is known; resolution fills in the slots. What the
// running program needs of the field is copied here (type and decimals), never a pointer to it:
// another statement may destroy the catalog's table between two rows of this one.
//
// Owner: the SQLReferenceManager of the scope, or the list that an INSERT or a derived table keeps.
// The texts belong to the statement text or to the generator's kept texts.

#include <cstdint>

#include "foundation/text_compare.h"
#include "foundation/text_hash.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLTableReference;

enum class ColumnState : int32_t {
    kUnresolved = 0,
    kTableColumn = 1,      // `cursor` is a cursor slot
    kTemporaryColumn = 2,  // `cursor` is a temporary table slot
};

struct SQLColumnReference {
    ColumnState state = ColumnState::kUnresolved;
    int32_t cursor = -1;
    int32_t column = -1;
    int32_t useCount = 1;
    // The table of a block that has the column; not owned, good during compilation only.
    const SQLTableReference* source = nullptr;
    // The field's type code and decimals once resolved to a table; -1 otherwise.
    int32_t fieldType = -1;
    int32_t fieldDecimals = -1;
    TextView name;
    // The table or alias as written. `qualified` tells "no table was written" from an empty alias,
    // which a derived table without a name has.
    TextView table;
    bool qualified = false;

    SQLColumnReference() = default;
    explicit SQLColumnReference(TextView columnName) : name(columnName) {}
    SQLColumnReference(TextView columnName, TextView tableName)
        : name(columnName), table(tableName), qualified(true) {}

    [[nodiscard]] bool IsTableColumn() const { return state == ColumnState::kTableColumn; }
    // The same column of the same cursor, whatever the names.
    [[nodiscard]] bool IsSameColumn(const SQLColumnReference& other) const {
        return state == other.state && cursor == other.cursor && column == other.column;
    }
};

// The name that tables of references are keyed by.
inline TextView ItemName(const SQLColumnReference& reference) { return reference.name; }

// The key of a reference in its scope: `a` and `t.a` are two, each resolved by itself. Case counts
// in neither part.
struct SQLColumnReferenceKey {
    TextView table;
    TextView name;
    bool qualified = false;
};

inline SQLColumnReferenceKey ItemKey(const SQLColumnReference& reference) {
    return {reference.table, reference.name, reference.qualified};
}
inline uint32_t HashOfKey(const SQLColumnReferenceKey& key) {
    return HashTextNoCase(key.name, HashTextNoCase(key.table));
}
inline int32_t CompareKeys(const SQLColumnReferenceKey& first,
                           const SQLColumnReferenceKey& second) {
    if (const int32_t names = CompareByLength(first.name, second.name, true); names != 0) {
        return names;
    }
    if (const int32_t tables = CompareByLength(first.table, second.table, true); tables != 0) {
        return tables;
    }
    return static_cast<int32_t>(first.qualified) - static_cast<int32_t>(second.qualified);
}

}  // namespace ovrasql
