#pragma once

// CountedLibrary: while one lives, every entry of the library runs with its allocations counted,
// and fails those that are asked for. What the tests allocate themselves, between the entries, is
// spared, and so is the in-memory host. It notes which entries say that they have worked although
// an allocation failed in them.

#include <string>
#include <vector>

#include "tests/support/failing_allocations.h"
#include "tests/support/test_database.h"

namespace ovrasql {

struct AllocationFault {
    int64_t number = 0;  // counted from 1, among the allocations of all entries
    bool forEver = false;
};

class CountedLibrary {
  public:
    explicit CountedLibrary(const AllocationFault& fault);
    ~CountedLibrary();
    CountedLibrary(const CountedLibrary&) = delete;
    CountedLibrary& operator=(const CountedLibrary&) = delete;

    [[nodiscard]] static bool HasFailed();  // the allocation that is to fail has been asked for
    // The names of the entries that gave 1 in spite of it, by call.
    [[nodiscard]] static const std::vector<std::string>& WorkedInSpite();
};

}  // namespace ovrasql
