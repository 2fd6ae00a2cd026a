#pragma once

// The keys of an index against the records of its table: each record has its key once, and each key
// its record.

#include <string>
#include <vector>

#include "tests/support/checker/data_file.h"
#include "tests/support/checker/index_file.h"
#include "tests/support/checker/memo_file.h"

namespace ovrasql::checker {

// The catalog keeps the keys of its deleted rows, every other table gives them up.
enum class KeyedRecords { kLive, kAll };

struct IndexedTable {
    const DataFile& data;
    MemoFile* memos;  // null when it has none
    KeyedRecords keyed = KeyedRecords::kLive;
};

// `columns` belong to the data file. Nothing is looked at when one of them is missing (null).
void CheckKeys(const IndexedTable& table, const std::vector<const Column*>& columns,
               const IndexFile& index, Report* report);

// The flags and the expression that the index must have for these columns.
void CheckIndexHeader(const IndexFile& index, const std::vector<const Column*>& columns,
                      uint32_t flags, Report* report);

}  // namespace ovrasql::checker
