#pragma once

// One kill: the files as it left them are checked, opened by another process, read, packed, checked
// again and used. What is wrong is a failure of the running test.

#include <cstdint>

#include "tests/crash/dying_statement.h"

namespace ovrasql {

struct KillCounts {
    int64_t kills = 0;
    int64_t cuts = 0;       // of them within a write
    int64_t amongRows = 0;  // of a statement that meets several rows in a known order
};

KillCounts& TheKillCounts();

// Statements over a database that has the table "other" with columns x and m and an index on x.
void TryKill(const DyingStatement& dying, const KillPoint& point, const FileSet& files);

// All points of a statement, or every n-th of them beginning with the one of this number.
void TryKills(const RecordedStep& step, const FileSet& before, const FileSet& after,
              size_t every = 1, size_t first = 0);

}  // namespace ovrasql
