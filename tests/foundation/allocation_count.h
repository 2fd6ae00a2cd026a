#pragma once

// Counts the allocations of this test program, for the promises that something allocates nothing.

#include <cstdint>

namespace ovrasql {

// How often operator new was called since the program began.
int64_t AllocationCount();

}  // namespace ovrasql
