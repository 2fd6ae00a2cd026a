#pragma once

#include <cstdint>

// A test program that links failing_allocations.cpp counts the allocations of the library and can
// let one of them fail. The in-memory host's own are spared.
namespace ovratest {

extern bool countingAllocations;
extern int64_t allocationCount;
// The number of the allocation that fails, counted from 1; 0 for none.
extern int64_t failingAllocation;
// Whether all behind it fail as well.
extern bool allocationsFailForEver;

}  // namespace ovratest
