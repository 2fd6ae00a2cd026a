#include "tests/limits/small_stack.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace ovrasql {

namespace {

constexpr uint8_t kUntouched = 0xA5;
constexpr uint64_t kUntouchedWord = 0xA5A5A5A5A5A5A5A5;

void* RunFunction(void* function) {
    (*static_cast<const std::function<void()>*>(function))();
    return nullptr;
}

void Check(bool fine) {
    if (!fine) {
        std::abort();
    }
}

}  // namespace

size_t OnStack(size_t size, const std::function<void()>& function) {
    const auto guard = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* const memory = mmap(nullptr, guard + size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    Check(memory != MAP_FAILED && mprotect(memory, guard, PROT_NONE) == 0);
    auto* const lowest = static_cast<uint8_t*>(memory) + guard;
    std::memset(lowest, kUntouched, size);

    pthread_attr_t attributes;
    pthread_t thread;
    Check(pthread_attr_init(&attributes) == 0 &&
          pthread_attr_setstack(&attributes, lowest, size) == 0);
    Check(pthread_create(&thread, &attributes, RunFunction,
                         const_cast<std::function<void()>*>(&function)) == 0);
    Check(pthread_join(thread, nullptr) == 0 && pthread_attr_destroy(&attributes) == 0);

    const auto* const words = reinterpret_cast<const uint64_t*>(lowest);
    size_t word = 0;
    while (word < size / sizeof(uint64_t) && words[word] == kUntouchedWord) {
        ++word;
    }
    const size_t used = size - word * sizeof(uint64_t);
    Check(munmap(memory, guard + size) == 0);
    return used;
}

std::string Repeat(const std::string& piece, int32_t count) {
    std::string text;
    text.reserve(piece.size() * static_cast<size_t>(count));
    for (int32_t index = 0; index < count; ++index) {
        text += piece;
    }
    return text;
}

}  // namespace ovrasql
