#pragma once

// TextBuffer: room for text that is written again and again. It owns its bytes, grows geometrically
// and never shrinks, so that a loop that stores texts of like lengths allocates once.

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

class TextBuffer {
  public:
    // Room for `bytes` bytes. What stood there is lost if the buffer has to grow.
    char* Room(int64_t bytes) {
        if (bytes > room_) {
            Grow(bytes);
        }
        return bytes_.get();
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
