#pragma once

// What a script does to the files of its database, change by change, and the files as a kill at any
// place among the changes would have left them. Nothing is run again for that: the changes are laid
// over the files of the start.

#include <string>
#include <vector>

#include "tests/support/script_session.h"

namespace ovrasql {

struct RecordedStep {
    ScriptStep step;
    bool ok = false;
    std::vector<FileChange> changes;
    bool meetsRowsInRecordOrder = false;  // known to, without having been seen
};

struct RecordedChanges {
    FileSet start;
    std::vector<RecordedStep> steps;
};

RecordedChanges RecordChanges(const StatementScript& script);

// Whether a statement meets the rows that it changes in the order of their records, as it does
// where it appends them or uses no index. Resets the host.
bool MeetsRowsInRecordOrder(const FileSet& before, const ScriptStep& step);

// Lays a change over the files. Of a write `bytes` may be fewer than all.
void Apply(const FileChange& change, size_t bytes, FileSet* files);
void Apply(const FileChange& change, FileSet* files);

std::string Describe(const FileChange& change);

}  // namespace ovrasql
