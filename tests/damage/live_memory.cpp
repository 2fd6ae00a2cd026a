#include "tests/damage/live_memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace ovratest {

int64_t liveBytes = 0;
int64_t peakBytes = 0;

}  // namespace ovratest

namespace {

void* Allocate(std::size_t size) noexcept {
    using namespace ovratest;
    if (size > static_cast<std::size_t>(kMostLiveBytes - liveBytes)) {
        peakBytes = kMostLiveBytes;  // it was asked for
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        liveBytes += static_cast<int64_t>(malloc_usable_size(memory));
        peakBytes = std::max(peakBytes, liveBytes);
    }
    return memory;
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void Free(void* memory) noexcept {
    if (memory != nullptr) {
        ovratest::liveBytes -= static_cast<int64_t>(malloc_usable_size(memory));
        std::free(memory);
    }
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }
