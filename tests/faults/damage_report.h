#pragma once

// What a failed statement has done to the files, as the checker sees them: the records of each
// table against what they were before the statement and would be after it, and what the checker
// finds in the files. A statement that stops half-way may leave its own rows done in part, and
// their keys behind; everything else is a harm, and tests ask for the reason of each
// (accepted_harms.h).

#include <string>
#include <vector>

#include "tests/faults/recorded_script.h"

namespace ovrasql {

enum class Harm {
    kRowsRead,        // the statement says that it worked, and gave other rows
    kNotRefused,      // it says that it worked, and should have been refused
    kNotWhole,        // it says that it worked, and its effect is not whole
    kMemoText,        // a row whose memo text is another, or none
    kRowLost,         // a record is gone that the statement doesn't delete
    kRowChanged,      // a record that is neither as before nor as after the statement
    kNewRow,          // a record that the statement would not have added
    kOrder,           // a row is changed before one that the statement meets earlier
    kTableLost,       // the checker can't read a table, or finds it no more
    kDataFile,        // the structure of a data file
    kMemoFile,        // the structure of a memo file, or a record's way into it
    kIndexFile,       // the structure of an index
    kKeys,            // keys of other rows, or any after a success
    kCatalog,         // a catalog row
    kCatalogIndex,    // the keys or the structure of the catalog's own indexes
    kFileLeft,        // a file that no catalog row names
    kUntouchedFile,   // something is wrong with a file that the statement doesn't write to
    kDoesNotOpen,     // the database can't be opened again
    kOtherStatement,  // a statement on another table doesn't work afterwards
    kDoesNotPack,     // the database can't be packed afterwards
    kLeftByPack,      // harm is found after the packing still
};

const char* NameOf(Harm harm);

struct HarmFound {
    Harm harm;
    std::string text;
};

using HarmsFound = std::vector<HarmFound>;

// What the files show after the step has ended with that result.
HarmsFound Compare(const RecordedStep& step, const ScriptStep& text, bool ok, const FileSet& files);

// The rows of each table as a sorted list, for comparing tables whose record numbers have changed.
std::vector<std::string> SortedRows(const checker::CheckedTable& table, bool withMemos);

}  // namespace ovrasql
