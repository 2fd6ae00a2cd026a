#pragma once

// Arena: memory for many small things that go together, in chunks that grow by doubling.
//
// What the arena makes lives until the arena goes or is emptied; nothing is freed singly. Objects
// that need a destructor have it called then, the last made first, one after another, so that long
// chains of objects are taken down without recursion. Such a destructor may still read objects that
// were made before its own, since theirs run later; it must not touch those made after it, which
// are gone. One thread at a time.

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "foundation/text_view.h"

namespace ovrasql {

class Arena {
  public:
    Arena() = default;
    ~Arena() { Clear(); }
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // Memory without a value. `alignment` is a power of two, at most that of std::max_align_t.
    [[nodiscard]] void* Allocate(size_t size, size_t alignment);

    // A copy of the text, NUL-ended.
    [[nodiscard]] TextView Copy(TextView text);

    template <class Object, class... Arguments>
    [[nodiscard]] Object* Make(Arguments&&... arguments) {
        static_assert(alignof(Object) <= alignof(std::max_align_t));
        if constexpr (std::is_trivially_destructible_v<Object>) {
            return new (Allocate(sizeof(Object), alignof(Object)))
                Object(std::forward<Arguments>(arguments)...);
        } else {
            // The note is made first and hung up last, so a constructor that throws leaves no
            // trace.
            auto* note = new (Allocate(sizeof(Destruction), alignof(Destruction))) Destruction;
            auto* object = new (Allocate(sizeof(Object), alignof(Object)))
                Object(std::forward<Arguments>(arguments)...);
            note->object = object;
            note->destroy = [](void* made) { static_cast<Object*>(made)->~Object(); };
            note->next = destructions_;
            destructions_ = note;
            return object;
        }
    }

    // Ends everything made so far.
    void Clear();

    // Bytes taken from the system.
    [[nodiscard]] size_t Footprint() const { return footprint_; }

  private:
    struct Chunk {
        Chunk* next;
    };
    struct Destruction {
        Destruction* next = nullptr;
        void* object = nullptr;
        void (*destroy)(void*) = nullptr;
    };

    static constexpr size_t kFirstChunk = 512;

    void* AllocateFromNewChunk(size_t size);

    Chunk* chunks_ = nullptr;
    Destruction* destructions_ = nullptr;
    char* free_ = nullptr;
    size_t freeSize_ = 0;
    size_t footprint_ = 0;
    size_t nextChunkSize_ = kFirstChunk;
};

}  // namespace ovrasql
