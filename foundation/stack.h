#pragma once

// Stack: last in, first out, with a walking pointer that looks below the top.
//
// A stack is told at its making whether it owns its items; Pop hands an item back undeleted. The
// entries lie in one vector that grows by doubling and is kept, so a stack that rises and falls
// takes no new memory. One thread at a time.

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

template <class Item>
class Stack {
  public:
    explicit Stack(bool ownsItems) : ownsItems_(ownsItems) {}
    ~Stack() { RemoveAll(); }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    [[nodiscard]] int32_t Count() const { return count_; }
    [[nodiscard]] bool IsEmpty() const { return depth_ == 0; }

    // The item becomes the top, and the walking pointer moves to it.
    void Push(Item* item) {
        std::unique_ptr<Item> guard(ownsItems_ ? item : nullptr);
        if (depth_ == room_) {
            Enlarge();
        }
        items_[depth_] = item;
        static_cast<void>(guard.release());
        walk_ = depth_;
        ++depth_;
        ++count_;
    }
    void Push(std::unique_ptr<Item> item) { Push(item.release()); }

    // Cuts the stack back to the entry under the walking pointer (to the last entry when the
    // pointer has left the stack), deleting owned items on the way, takes that entry off as well
    // and hands its item back. The walking pointer moves to the new top. Null on an empty stack.
    [[nodiscard]] Item* Pop() {
        if (depth_ == 0) {
            return nullptr;
        }
        const int32_t kept = walk_ < 0 ? 0 : walk_;
        while (depth_ - 1 > kept) {
            DropTop();
            --count_;
        }
        --depth_;
        --count_;
        walk_ = depth_ - 1;
        return items_[depth_];
    }

    // The walking pointer goes to the top; its item, or null.
    Item* Top() {
        walk_ = depth_ - 1;
        return AtWalk();
    }

    // The walking pointer goes one entry deeper; its item, or null at the bottom.
    Item* Below() {
        if (walk_ >= 0) {
            --walk_;
        }
        return AtWalk();
    }

    // Empties the stack and deletes owned items. Required: the count stays as it stood.
    void RemoveAll() {
        while (depth_ > 0) {
            DropTop();
        }
        walk_ = -1;
    }

  private:
    static constexpr int32_t kLeastRoom = 8;

    [[nodiscard]] Item* AtWalk() const { return walk_ < 0 ? nullptr : items_[walk_]; }

    void DropTop() {
        --depth_;
        Item* item = items_[depth_];
        items_[depth_] = nullptr;
        if (ownsItems_) {
            delete item;
        }
    }

    void Enlarge() {
        if (room_ > std::numeric_limits<int32_t>::max() / 2) {
            throw std::bad_alloc();
        }
        const int32_t room = room_ == 0 ? kLeastRoom : room_ * 2;
        auto items = std::make_unique<Item*[]>(static_cast<size_t>(room));
        for (int32_t index = 0; index < depth_; ++index) {
            items[index] = items_[index];
        }
        items_ = std::move(items);
        room_ = room;
    }

    bool ownsItems_;
    int32_t count_ = 0;
    std::unique_ptr<Item*[]> items_;
    int32_t room_ = 0;
    int32_t depth_ = 0;
    // Index of the entry that the walk stands on, -1 when it has left the stack.
    int32_t walk_ = -1;
};

}  // namespace ovrasql
