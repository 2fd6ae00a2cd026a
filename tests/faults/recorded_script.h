#pragma once

// A script as it runs when nothing fails: what each step gives and changes, and each call of the
// host that could have failed. Everything that the fault tests expect is measured against this.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/support/checker/row_order.h"
#include "tests/support/script_session.h"

namespace ovrasql {

struct RecordedStep {
    StepResult result;
    FileSet before;
    FileSet after;
    std::vector<checker::CheckedTable> tablesBefore;
    std::vector<checker::CheckedTable> tablesAfter;
    std::vector<checker::MetRecord>
        met;                        // records that it writes, in the order of the first writes
    std::set<std::string> written;  // files that it writes, makes, renames or deletes
};

struct RecordedCall {
    HostCall call;
    size_t step = 0;
    int64_t number = 0;     // among all calls that can fail; 0 for a service without such a result
    int64_t ofService = 0;  // among the calls of its service
};

struct RecordedScript {
    const StatementScript* script = nullptr;
    FileSet setup;
    std::vector<RecordedStep> steps;
    std::vector<RecordedCall> calls;  // of the services that FailCall knows
};

RecordedScript Record(const StatementScript& script);

// The database's own files: without trace files, which any program may open.
FileSet DatabaseFiles(FileSet files);

// A file's part in a database, by its path.
enum class FilePart {
    kCatalogData,
    kCatalogIndex,
    kData,
    kMemo,
    kIndex,
    kTemporary,  // of a pack or an ALTER TABLE, until it is renamed
    kTrace,
    kNoFile,
};

FilePart PartOf(const std::string& path);
bool IsCatalog(const std::string& path);

}  // namespace ovrasql
