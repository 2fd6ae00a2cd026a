#pragma once

// CheckWriteOrder: reads a log of host calls and tells where it breaks the order that other
// processes, and whoever comes after a crash, rely on:
//
//  1  a file that others may have open is written under an exclusive lock of those bytes, or of the
//     header that stands for them;
//  2  a header is read after its lock is taken and before it is written;
//  3  a record is written before the count that lets others see it;
//  4  the count is written before any key of its record, and where records are changed in their
//     place, all of them before the first key;
//  5  a memo text is written before the memo header, and both before the record that names them,
//     under the lock of that record;
//  6  a file is made whole, with all its keys, before a row of the catalog is written;
//  7  what a rebuild has made is renamed in the order data file, memo file, indexes;
//  8  every lock is released, not left to the closing of its file, and nothing else is;
//  9  locks nest in one direction, so that no two processes wait for each other: an index is locked
//     while no other one is, and for a change while no range of a data file is, save what a pack
//     holds of the catalog; a memo file is locked inside the lock of its own data file, or for
//     reading, when its table is opened, while nothing is locked save that.
//
// The log is that of one statement, in which nothing failed. Files are told by their paths, and
// those with temporary names by the paths that they are made for. It has no contents: which key is
// of which record is not seen, but an index that has changed more often than records allow is.

#include <string>
#include <vector>

#include "tests/support/memory_host.h"

namespace ovrasql {

// What the log held, so that a test can see that there was something to check.
struct WriteCounts {
    int64_t records = 0;
    int64_t counts = 0;  // data headers
    int64_t keys = 0;    // index pages
    int64_t memoTexts = 0;
    int64_t catalogRows = 0;
    int64_t filesMade = 0;
    int64_t renames = 0;
    int64_t locks = 0;
};

// One text for each breach, with the number of the rule and the call.
std::vector<std::string> CheckWriteOrder(const std::vector<HostCall>& log,
                                         WriteCounts* counts = nullptr);

}  // namespace ovrasql
