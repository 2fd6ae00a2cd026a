#pragma once

// WorkStack: the explicit stack of a tree walk. Expression trees come as deep as a statement is
// long (a chain of a hundred thousand ORs leans all the way to one side), so no walk over them
// recurses. Items are plain records held by value; memory grows by doubling and goes with the
// stack.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace ovrasql {

template <typename T>
class WorkStack {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    void Push(const T& item) {
        if (count_ == room_) {
            Grow();
        }
        items_[count_++] = item;
    }
    // Top and Pop need a stack that is not empty.
    [[nodiscard]] T& Top() { return items_[count_ - 1]; }
    T Pop() { return items_[--count_]; }
    [[nodiscard]] bool IsEmpty() const { return count_ == 0; }

  private:
    void Grow() {
        const size_t room = room_ == 0 ? 32 : room_ * 2;
        auto grown = std::make_unique<T[]>(room);
        std::copy(items_.get(), items_.get() + count_, grown.get());
        items_ = std::move(grown);
        room_ = room;
    }

    std::unique_ptr<T[]> items_;
    size_t count_ = 0;
    size_t room_ = 0;
};

}  // namespace ovrasql
