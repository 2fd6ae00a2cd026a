#include "foundation/arena.h"

#include <cstring>
#include <limits>

namespace ovrasql {

namespace {

constexpr size_t kLargestChunk = size_t{1} << 20;

}  // namespace

void* Arena::Allocate(size_t size, size_t alignment) {
    const size_t misaligned = reinterpret_cast<uintptr_t>(free_) & (alignment - 1);
    const size_t skipped = misaligned == 0 ? 0 : alignment - misaligned;
    if (freeSize_ < skipped || freeSize_ - skipped < size) {
        return AllocateFromNewChunk(size);
    }
    char* made = free_ + skipped;
    free_ = made + size;
    freeSize_ -= skipped + size;
    return made;
}

void* Arena::AllocateFromNewChunk(size_t size) {
    constexpr size_t kHeader = (sizeof(Chunk) + alignof(std::max_align_t) - 1) /
                               alignof(std::max_align_t) * alignof(std::max_align_t);
    if (size > std::numeric_limits<size_t>::max() / 2) {
        throw std::bad_alloc();
    }
    const bool isLarge = size > nextChunkSize_ / 4;
    const size_t room = isLarge ? size : nextChunkSize_;
    auto* chunk = static_cast<Chunk*>(::operator new(kHeader + room));
    chunk->next = chunks_;
    chunks_ = chunk;
    footprint_ += kHeader + room;
    char* made = reinterpret_cast<char*>(chunk) + kHeader;
    if (isLarge) {
        // A large thing has a chunk of its own; the chunk in use goes on for small ones.
        return made;
    }
    free_ = made + size;
    freeSize_ = room - size;
    nextChunkSize_ = nextChunkSize_ < kLargestChunk ? nextChunkSize_ * 2 : kLargestChunk;
    return made;
}

TextView Arena::Copy(TextView text) {
    const size_t length = static_cast<size_t>(text.length);
    char* copy = static_cast<char*>(Allocate(length + 1, 1));
    std::memcpy(copy, text.data, length);
    copy[length] = '\0';
    return TextView(copy, text.length);
}

void Arena::Clear() {
    while (destructions_ != nullptr) {
        const Destruction* note = destructions_;
        destructions_ = note->next;
        note->destroy(note->object);
    }
    while (chunks_ != nullptr) {
        Chunk* chunk = chunks_;
        chunks_ = chunk->next;
        ::operator delete(chunk);
    }
    free_ = nullptr;
    freeSize_ = 0;
    footprint_ = 0;
    nextChunkSize_ = kFirstChunk;
}

}  // namespace ovrasql
