#include "tests/foundation/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {
int64_t allocationCount = 0;
}  // namespace

// The array and the non-throwing forms come through these.
void* operator new(size_t size) {
    ++allocationCount;
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace ovrasql {

int64_t AllocationCount() { return allocationCount; }

}  // namespace ovrasql
