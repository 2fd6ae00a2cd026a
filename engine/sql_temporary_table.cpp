#include "engine/sql_temporary_table.h"

#include <algorithm>
#include <new>
#include <utility>

namespace ovrasql {

SQLTemporaryTable::SQLTemporaryTable(int32_t columnCount, bool caseInsensitive)
    : columnCount_(columnCount), caseInsensitive_(caseInsensitive) {}

void SQLTemporaryTable::Restart(int32_t columnCount) {
    currentRow_ = nullptr;
    rowCount_ = 0;
    walkPosition_ = 0;
    columnCount_ = columnCount;
    arena_.Clear();
}

void SQLTemporaryTable::GrowRows() {
    if (rowRoom_ > INT32_MAX / 2) {
        throw std::bad_alloc();
    }
    const int32_t room = rowRoom_ == 0 ? kLeastRowRoom : rowRoom_ * 2;
    auto rows = std::make_unique_for_overwrite<SQLResult*[]>(static_cast<size_t>(room));
    std::copy_n(rows_.get(), rowCount_, rows.get());
    rows_ = std::move(rows);
    rowRoom_ = room;
}

void SQLTemporaryTable::AppendRow() {
    if (rowCount_ == rowRoom_) {
        GrowRows();
    }
    // A row of no columns has a place all the same, so that it can be current.
    const size_t cellCount = columnCount_ < 1 ? 1 : static_cast<size_t>(columnCount_);
    auto* const cells =
        static_cast<SQLResult*>(arena_.Allocate(cellCount * sizeof(SQLResult), alignof(SQLResult)));
    for (size_t i = 0; i < cellCount; ++i) {
        new (cells + i) SQLResult(this);
    }
    rows_[static_cast<size_t>(rowCount_++)] = cells;
    currentRow_ = cells;
}

bool SQLTemporaryTable::First() {
    walkPosition_ = 0;
    currentRow_ = rowCount_ > 0 ? rows_[0] : nullptr;
    return currentRow_ != nullptr;
}

bool SQLTemporaryTable::Next() {
    currentRow_ = nullptr;
    if (walkPosition_ + 1 < rowCount_) {
        currentRow_ = rows_[static_cast<size_t>(++walkPosition_)];
    } else {
        walkPosition_ = rowCount_;
    }
    return currentRow_ != nullptr;
}

char* SQLTemporaryTable::TextRoom(const SQLResult& cell, int64_t bytes) {
    if (cell.OwnText() != nullptr && bytes <= int64_t{cell.OwnTextLength()} + 1) {
        return const_cast<char*>(cell.OwnText());  // lies in the arena
    }
    return static_cast<char*>(arena_.Allocate(static_cast<size_t>(bytes), 1));
}

}  // namespace ovrasql
