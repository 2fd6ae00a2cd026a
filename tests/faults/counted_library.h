#pragma once

// CountedLibrary: while one lives, every entry of the library runs with its allocations counted,
// and fails those that are asked for. What the tests allocate themselves, between the entries, is
// spared, and so is the in-memory host. It notes the entries that say that they have worked
// although an allocation failed in them.

#include <string>
#include <vector>

#include "tests/support/failing_allocations.h"
#include "tests/support/test_database.h"

namespace ovrasql {

struct AllocationFault {
    int64_t number = 0;  // counted from 1, among the allocations of all entries
    bool forEver = false;
};

// A call of an entry that gave 1 although an allocation failed in it.
struct EntryInSpite {
    std::string name;
    bool isLast = false;  // that was the last one that it asked for
};

class CountedLibrary {
  public:
    explicit CountedLibrary(const AllocationFault& fault);
    ~CountedLibrary();
    CountedLibrary(const CountedLibrary&) = delete;
    CountedLibrary& operator=(const CountedLibrary&) = delete;

    [[nodiscard]] static bool HasFailed();  // the allocation that is to fail has been asked for
    [[nodiscard]] static const std::vector<EntryInSpite>& WorkedInSpite();
};

}  // namespace ovrasql
