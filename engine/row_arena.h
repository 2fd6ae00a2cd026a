#pragma once

// RowArena: memory that is taken in small pieces and given back all at once. Chunks grow
// geometrically up to a bound, and a cleared arena keeps its first chunk for the next use. What
// lies in it must need no destruction.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ovrasql {

class RowArena {
  public:
    RowArena() = default;
    ~RowArena() { DropChunksBehind(nullptr); }
    RowArena(const RowArena&) = delete;
    RowArena& operator=(const RowArena&) = delete;

    // `bytes` bytes at a multiple of `alignment`, a power of two not above 16.
    void* Take(size_t bytes, size_t alignment) {
        const size_t start = (used_ + alignment - 1) & ~(alignment - 1);
        if (chunk_ == nullptr || start > chunk_->size || bytes > chunk_->size - start) {
            return TakeFromNewChunk(bytes);
        }
        used_ = start + bytes;
        return chunk_->bytes.get() + start;
    }

    // Everything taken is given back.
    void Clear();

  private:
    struct Chunk {
        std::unique_ptr<char[]> bytes;
        size_t size = 0;
        std::unique_ptr<Chunk> before;
    };

    void* TakeFromNewChunk(size_t bytes);
    void DropChunksBehind(const Chunk* kept);

    std::unique_ptr<Chunk> chunk_;
    size_t used_ = 0;
};

}  // namespace ovrasql
