#pragma once

// TextBuffer: room for text that is written again and again. It owns its bytes and grows
// geometrically, so that a loop that stores texts of like lengths allocates once. It shrinks only
// when it is told that the text is over.

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

// The most that a buffer keeps while its statement waits for the next run. Values are mostly
// shorter, so that a statement which runs again and again allocates once; but statements wait for
// as long as the database is open, and must not hold the longest memos they have ever met.
inline constexpr int32_t kIdleTextRoom = 4096;

class TextBuffer {
  public:
    // Room for `bytes` bytes. What stood there is lost if the buffer has to grow.
    char* Room(int64_t bytes) {
        if (bytes > room_) {
            Grow(bytes);
        }
        return bytes_.get();
    }

    // What stood there is over: a buffer larger than kIdleTextRoom is given back.
    void Rest() {
        if (room_ > kIdleTextRoom) {
            bytes_.reset();
            room_ = 0;
        }
    }

    void Swap(TextBuffer& other) {
        bytes_.swap(other.bytes_);
        std::swap(room_, other.room_);
    }

  private:
    void Grow(int64_t bytes) {
        if (bytes > INT32_MAX) {
            throw std::bad_alloc();
        }
        int64_t room = room_ < kLeastRoom / 2 ? kLeastRoom : int64_t{room_} * 2;
        room = room < bytes ? bytes : (room > INT32_MAX ? INT32_MAX : room);
        bytes_ = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(room));
        room_ = static_cast<int32_t>(room);
    }

    static constexpr int32_t kLeastRoom = 32;

    std::unique_ptr<char[]> bytes_;
    int32_t room_ = 0;
};

}  // namespace ovrasql
