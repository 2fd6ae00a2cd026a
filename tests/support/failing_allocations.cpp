#include "tests/support/failing_allocations.h"

#include <cstdlib>
#include <new>

#include "tests/support/memory_host.h"

namespace ovratest {

bool countingAllocations = false;
int64_t allocationCount = 0;
int64_t failingAllocation = 0;
bool allocationsFailForEver = false;

}  // namespace ovratest

namespace {

// Whether the next allocation is one to fail.
bool Fails() {
    if (!ovratest::countingAllocations || ovrasql::ServiceDepth() != 0) {
        return false;
    }
    const int64_t number = ++ovratest::allocationCount;
    return number == ovratest::failingAllocation ||
           (ovratest::allocationsFailForEver && ovratest::failingAllocation != 0 &&
            number > ovratest::failingAllocation);
}

void* Allocate(std::size_t size) {
    if (Fails()) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
