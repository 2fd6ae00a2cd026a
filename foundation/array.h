#pragma once

// Array: a growing vector of pointers to items, reached by index.
//
// An array is told at its making whether it owns its items; an owning one deletes them when they
// are replaced, cleared or when the array goes. Slots that were never set hold null. An array takes
// memory with its first item, and the memory grows by doubling; Capacity() is the stated room,
// which moves in steps of 52 whatever the memory does. One thread at a time.

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

inline constexpr int32_t kArrayStep = 52;

template <class Item>
class Array {
  public:
    explicit Array(bool ownsItems, int32_t capacity = 0)
        : ownsItems_(ownsItems), capacity_(capacity < 0 ? 0 : capacity) {}
    ~Array() { DeleteItems(); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    // Puts the item behind the last one and gives its index. An owning array has the item from the
    // call on, even when there is no memory for the slot.
    int32_t Append(Item* item) {
        std::unique_ptr<Item> guard(ownsItems_ ? item : nullptr);
        const int32_t index = count_;
        MakeRoom(int64_t{index} + 1);
        if (index == capacity_) {
            capacity_ = AddSteps(capacity_);
        }
        items_[index] = item;
        IgnoreOwned(guard);
        count_ = index + 1;
        return index;
    }
    int32_t Append(std::unique_ptr<Item> item) { return Append(item.release()); }

    // Stores the item at the index, which is 0 or more. An owning array deletes what stood there.
    // The slots between the old count and the index hold null.
    void Set(int32_t index, Item* item) {
        std::unique_ptr<Item> guard(ownsItems_ ? item : nullptr);
        if (index < 0) {
            return;
        }
        MakeRoom(int64_t{index} + 1);
        if (index >= capacity_) {
            capacity_ = AddSteps(index);
        }
        IgnoreOwned(guard);
        if (ownsItems_ && items_[index] != item) {
            delete items_[index];
        }
        items_[index] = item;
        if (index >= count_) {
            count_ = index + 1;
        }
    }
    void Set(int32_t index, std::unique_ptr<Item> item) { Set(index, item.release()); }

    // The item at the index, or null when the index is outside the array.
    [[nodiscard]] Item* Get(int32_t index) const {
        return index < 0 || index >= count_ ? nullptr : items_[index];
    }

    // Hands the item back and leaves its slot empty; the count stays.
    [[nodiscard]] Item* Release(int32_t index) {
        Item* item = Get(index);
        if (item != nullptr) {
            items_[index] = nullptr;
        }
        return item;
    }

    [[nodiscard]] int32_t Count() const { return count_; }
    [[nodiscard]] int32_t Capacity() const { return capacity_; }
    [[nodiscard]] bool OwnsItems() const { return ownsItems_; }

    // Deletes owned items and empties the array. The memory is kept for the next items.
    void RemoveAll() {
        DeleteItems();
        count_ = 0;
    }

    // A walk over the slots, empty ones included. It ends with the next Append or Set.
    [[nodiscard]] Item* const* begin() const { return items_.get(); }
    [[nodiscard]] Item* const* end() const { return items_.get() + count_; }

  private:
    static void IgnoreOwned(std::unique_ptr<Item>& guard) { static_cast<void>(guard.release()); }

    static int32_t AddSteps(int32_t capacity) {
        const int64_t wanted = int64_t{capacity} + kArrayStep;
        constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
        return static_cast<int32_t>(wanted < kMost ? wanted : kMost);
    }

    void MakeRoom(int64_t wanted) {
        if (wanted <= room_) {
            return;
        }
        constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
        if (wanted > kMost) {
            throw std::bad_alloc();
        }
        int64_t room = int64_t{room_} * 2;
        room = room < kLeastRoom ? kLeastRoom : room;
        room = room < wanted ? wanted : room;
        room = room > kMost ? kMost : room;
        auto items = std::make_unique<Item*[]>(static_cast<size_t>(room));
        for (int32_t index = 0; index < count_; ++index) {
            items[index] = items_[index];
        }
        items_ = std::move(items);
        room_ = static_cast<int32_t>(room);
    }

    // Each slot is emptied before its item goes, so that an item's destructor finds no dead
    // pointer.
    void DeleteItems() {
        for (int32_t index = 0; index < count_; ++index) {
            Item* item = items_[index];
            items_[index] = nullptr;
            if (ownsItems_) {
                delete item;
            }
        }
    }

    static constexpr int32_t kLeastRoom = 8;

    bool ownsItems_;
    std::unique_ptr<Item*[]> items_;
    int32_t room_ = 0;  // slots in memory
    int32_t capacity_;  // slots as stated
    int32_t count_ = 0;
};

}  // namespace ovrasql
