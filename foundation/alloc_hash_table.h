#pragma once

// AllocHashTable: a record of live allocations, for hunting leaks, with a report to a text file. No
// path of the library allocates through it by itself.
//
// There is one instance for the process. Its own memory comes from malloc, so that tracking can't
// track itself. All four operations may be called from any thread.

#include <cstddef>
#include <cstdint>

namespace ovrasql {

// Allocates `size` bytes and notes where. Null when there is no memory; an allocation that could
// not be noted is given all the same.
[[nodiscard]] void* TrackedNew(size_t size, const char* file, int32_t line);

// Frees the address, tracked or not.
void TrackedDelete(void* address);

// Appends a session to the file: each live allocation in the order of its making, with at most 50
// of its bytes. A file that can't be opened is left alone.
void WriteAllocationReport(const char* path);

// Forgets all allocations and leaves them allocated.
void ForgetTrackedAllocations();

}  // namespace ovrasql
