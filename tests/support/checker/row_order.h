#pragma once

// A statement that fails or dies has changed a prefix of its rows: those that it met first, and no
// others. This compares the order in which it was to meet them with what has become of them.
//
// Where a statement walks its tables without an index, that order is known from the start: it is
// the order of the records. Appended records follow each other by their numbers in any case.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/checker/checker.h"

namespace ovrasql::checker {

// One of the records that a statement changes.
struct MetRecord {
    std::string path;  // of the data file
    uint32_t record = 0;

    bool operator==(const MetRecord& other) const = default;
};

enum class RecordState { kOld, kNew, kNeither };

// The first of the records that is new although one before it is not; empty when there is none.
std::string OutOfOrder(const std::vector<MetRecord>& met,
                       const std::function<RecordState(const MetRecord&)>& state);

// The rows of a table by the numbers of their records; a null table has none.
using NumberedRows = std::map<uint32_t, std::vector<std::string>>;
NumberedRows ByNumber(const CheckedTable* table);

// The records that are in one of them only, or not the same in both.
std::set<uint32_t> ChangedRecords(const NumberedRows& before, const NumberedRows& after);

// The table of that name; null when there is none.
const CheckedTable* FindTable(const std::vector<CheckedTable>& tables, const std::string& name);

// The record that begins at or before this place of a data file; 0 for a place in its header, or
// when the bytes are none of a data file.
uint32_t RecordAt(const FileBytes& dataFile, int64_t offset);

}  // namespace ovrasql::checker
