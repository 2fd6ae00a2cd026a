#pragma once

// HashStore: what the hash tables share. Items lie in one vector in the order of their insertion,
// and buckets are chains of indexes through that vector:
//
//   heads   bucket -> slot of its chain's first member, -1 for an empty bucket
//   slots   slot -> item (null for a hole), its hash, slot of the next member (-1 at the end)
//
// Invariants:
//   1. A chain is sorted by the table's compare. Of equals the oldest stands first and the others
//      behind it from the newest on: a look-up finds the oldest, and storing one more takes no walk
//      over the rest.
//   2. Removal leaves a hole; only holes at the end are given back. A vector that is full, long and
//      mostly holes is closed up at the next insertion instead of growing: then slot numbers
//      change, the order does not.
//   3. The heads are as many as the slots in memory, a power of two, and nothing is in memory
//      before the first insertion. Doubling splits each chain in two and keeps its order, so it
//      compares nothing. Capacity() and BucketCount() are the stated sizes, which differ from the
//      memory's.
//
// The compare functions are handed in by the tables: compareItems(newItem, member) and
// compareKey(member), negative, 0 or positive.

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

inline constexpr int32_t kHashTableStep = 512;
inline constexpr int32_t kHashTableBucketBits = 12;
inline constexpr int32_t kNoSlot = -1;

// Where a store's vectors come from and how it deletes its items.
struct OrdinaryMemory {
    template <class Item>
    using ItemOwner = std::unique_ptr<Item>;
    template <class Element>
    using Vector = std::unique_ptr<Element[]>;
    template <class Element>
    static Vector<Element> MakeVector(size_t count) {
        return std::make_unique_for_overwrite<Element[]>(count);
    }
};

template <class Item, class Memory = OrdinaryMemory>
class HashStore {
  public:
    HashStore(bool ownsItems, int32_t bucketBits, int32_t capacity)
        : ownsItems_(ownsItems), bucketBits_(bucketBits), capacity_(capacity < 0 ? 0 : capacity) {}
    ~HashStore() { DeleteItems(); }
    HashStore(const HashStore&) = delete;
    HashStore& operator=(const HashStore&) = delete;

    [[nodiscard]] bool OwnsItems() const { return ownsItems_; }
    [[nodiscard]] int32_t Capacity() const { return capacity_; }
    [[nodiscard]] int32_t BucketCount() const { return int32_t{1} << bucketBits_; }
    [[nodiscard]] int32_t Bucket(uint32_t hash) const {
        return static_cast<int32_t>(hash & (static_cast<uint32_t>(BucketCount()) - 1));
    }
    // Slots in use, holes included.
    [[nodiscard]] int32_t UsedSlots() const { return usedSlots_; }
    [[nodiscard]] Item* ItemAt(int32_t slot) const {
        return slot < 0 || slot >= usedSlots_ ? nullptr : slots_[slot].item;
    }

    // The chain that a hash falls into, member by member.
    [[nodiscard]] int32_t ChainHead(uint32_t hash) const {
        return roomCount_ == 0 ? kNoSlot : heads_[HeadOf(hash)];
    }
    [[nodiscard]] int32_t ChainNext(int32_t slot) const {
        return slot < 0 || slot >= usedSlots_ ? kNoSlot : slots_[slot].next;
    }

    // Stores the item and gives its slot. An owning store has the item from the call on.
    template <class CompareItems>
    int32_t Insert(Item* item, uint32_t hash, CompareItems compareItems) {
        ItemOwner guard(ownsItems_ ? item : nullptr);
        if (usedSlots_ == roomCount_) {
            MakeRoom();
        }
        static_cast<void>(guard.release());
        if (usedSlots_ >= capacity_) {
            capacity_ += kHashTableStep;
        }
        int32_t* link = &heads_[HeadOf(hash)];
        int32_t order = 1;
        while (*link != kNoSlot && order > 0 &&
               (order = compareItems(*item, *slots_[*link].item)) >= 0) {
            link = &slots_[*link].next;
        }
        const int32_t slot = usedSlots_++;
        slots_[slot] = Slot{item, hash, *link};
        *link = slot;
        return slot;
    }

    // The slot of the first member that compares as equal, or -1. Only members of the same hash are
    // compared, since an equal key has an equal hash.
    template <class CompareKey>
    [[nodiscard]] int32_t Find(uint32_t hash, CompareKey compareKey) const {
        int32_t slot = ChainHead(hash);
        while (slot != kNoSlot &&
               (slots_[slot].hash != hash || compareKey(*slots_[slot].item) != 0)) {
            slot = slots_[slot].next;
        }
        return slot;
    }

    // Takes the first member that compares as equal out and hands it back, or null.
    template <class CompareKey>
    [[nodiscard]] Item* Remove(uint32_t hash, CompareKey compareKey) {
        const int32_t slot = Find(hash, compareKey);
        if (slot == kNoSlot) {
            return nullptr;
        }
        int32_t* link = &heads_[HeadOf(hash)];
        while (*link != slot) {
            link = &slots_[*link].next;
        }
        *link = slots_[slot].next;
        PutOldestFirst(link, [this, hash, &compareKey](int32_t member) {
            return slots_[member].hash == hash && compareKey(*slots_[member].item) == 0;
        });
        Item* item = slots_[slot].item;
        slots_[slot].item = nullptr;
        ++holeCount_;
        while (usedSlots_ > 0 && slots_[usedSlots_ - 1].item == nullptr) {
            --usedSlots_;
            --holeCount_;
        }
        return item;
    }

    // Empties the store and deletes owned items. The stated capacity and the memory stay.
    void RemoveAll() {
        DeleteItems();
        usedSlots_ = 0;
        holeCount_ = 0;
        for (int32_t head = 0; head < roomCount_; ++head) {
            heads_[head] = kNoSlot;
        }
    }

    // A walk in slot order that skips holes. It sees items that are added while it runs. But an
    // insertion may close holes, and the walk keeps its slot number then: it leaves out as many
    // items as it had passed holes.
    struct WalkEnd {};
    class Walk {
      public:
        explicit Walk(const HashStore* store) : store_(store) { SkipHoles(); }
        Item* operator*() const { return store_->ItemAt(slot_); }
        Walk& operator++() {
            ++slot_;
            SkipHoles();
            return *this;
        }
        bool operator!=(WalkEnd) const { return slot_ < store_->UsedSlots(); }

      private:
        void SkipHoles() {
            while (slot_ < store_->UsedSlots() && store_->ItemAt(slot_) == nullptr) {
                ++slot_;
            }
        }
        const HashStore* store_;
        int32_t slot_ = 0;
    };
    [[nodiscard]] Walk begin() const { return Walk(this); }
    [[nodiscard]] WalkEnd end() const { return WalkEnd(); }

  private:
    struct Slot {
        Item* item;
        uint32_t hash;
        int32_t next;
    };
    using ItemOwner = typename Memory::template ItemOwner<Item>;
    static constexpr int32_t kLeastRoom = 8;

    [[nodiscard]] size_t HeadOf(uint32_t hash) const {
        return hash & (static_cast<uint32_t>(roomCount_) - 1);
    }

    void MakeRoom();
    void CloseHoles();
    template <class IsEqual>
    void PutOldestFirst(int32_t* link, IsEqual isEqual);
    void Enlarge();
    void SplitChain(int32_t slot, int32_t* low, int32_t* high, Slot* slots) const;

    void DeleteItems() {
        for (int32_t slot = 0; slot < usedSlots_; ++slot) {
            Item* item = slots_[slot].item;
            slots_[slot].item = nullptr;
            if (ownsItems_) {
                ItemOwner(item).reset();
            }
        }
    }

    bool ownsItems_;
    typename Memory::template Vector<int32_t> heads_;
    typename Memory::template Vector<Slot> slots_;
    int32_t roomCount_ = 0;  // heads and slots in memory
    int32_t bucketBits_;
    int32_t capacity_;  // slots as stated
    int32_t usedSlots_ = 0;
    int32_t holeCount_ = 0;
};

}  // namespace ovrasql

#include "foundation/hash_store_growth.h"
