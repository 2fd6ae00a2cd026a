#pragma once

// SQLTemporaryTable: rows in memory, for ORDER BY, UNION, sub-queries and derived tables. Rows are
// appended, sorted and walked in order; nothing goes to disk.
//
// Owner: the run loop's slot of temporary tables. Rows, their cells and the cells' texts lie in one
// arena, which goes with the table or with Restart. Cells begin empty. A walk and an append do not
// combine. There is no failure but running out of memory.

#include <cstdint>
#include <memory>

#include "engine/sql_result.h"
#include "foundation/arena.h"

namespace ovrasql {

template <typename T>
class List;
struct SQLOrderBy;

class SQLTemporaryTable : private SQLResultHolder {
  public:
    SQLTemporaryTable(int32_t columnCount, bool caseInsensitive);
    virtual ~SQLTemporaryTable() = default;
    SQLTemporaryTable(const SQLTemporaryTable&) = delete;
    SQLTemporaryTable& operator=(const SQLTemporaryTable&) = delete;

    // As if made anew. The list of the rows keeps its memory; rows and texts give theirs back.
    void Restart(int32_t columnCount);

    // A new row of empty cells, which becomes current.
    void AppendRow();
    // Make the first or the next row current, or none. Whether there is one.
    [[nodiscard]] bool First();
    [[nodiscard]] bool Next();

    // The current row's cell; null without a current row. The column was checked.
    [[nodiscard]] SQLResult* Cell(int32_t column) const {
        return currentRow_ == nullptr ? nullptr : currentRow_ + column;
    }

    // A bottom-up merge sort by the terms in order, stable. It leaves the current row as it was.
    // False, with nothing done, if a term names a column that the rows do not have.
    [[nodiscard]] bool Sort(const List<SQLOrderBy>& terms);

    [[nodiscard]] int32_t RowCount() const { return rowCount_; }
    [[nodiscard]] bool HasColumn(int32_t column) const {
        return column >= 0 && column < columnCount_;
    }

  private:
    char* TextRoom(const SQLResult& cell, int64_t bytes) override;
    void GrowRows();

    static constexpr int32_t kLeastRowRoom = 16;

    int32_t columnCount_;
    bool caseInsensitive_;
    Arena arena_;
    std::unique_ptr<SQLResult*[]> rows_;  // each the first cell of a row
    int32_t rowCount_ = 0;
    int32_t rowRoom_ = 0;
    int32_t walkPosition_ = 0;
    SQLResult* currentRow_ = nullptr;
};

}  // namespace ovrasql
