#pragma once

// HashTable: items found by name. Several items may have one name; the first added is found.
//
// The name comes from a function `TextView ItemName(const Item&)` in the item's namespace, and must
// not change while the item is in the table. A table is told at its making whether it owns its
// items and whether names differ by case. Memory is taken with the first item. Walks go in the
// order of insertion. One thread at a time.

#include <cstdint>
#include <memory>

#include "foundation/hash_store.h"
#include "foundation/text_compare.h"
#include "foundation/text_hash.h"
#include "foundation/text_view.h"

namespace ovrasql {

template <class Item>
class HashTable {
  public:
    HashTable(bool ownsItems, bool ignoreCase, int32_t bucketBits = kHashTableBucketBits,
              int32_t capacity = kHashTableStep)
        : ignoreCase_(ignoreCase), store_(ownsItems, bucketBits, capacity) {}

    // Stores the item behind all others and gives its slot, or -1 for a null item, which is passed
    // over. An owning table has the item from the call on.
    int32_t Add(Item* item) {
        return item == nullptr ? kNoSlot : AddHashed(item, HashKey(ItemName(*item)));
    }
    int32_t Add(std::unique_ptr<Item> item) { return Add(item.release()); }

    [[nodiscard]] Item* Find(TextView key) const { return FindHashed(key, HashKey(key)); }

    // Takes the first item of that name out and hands it back undeleted, or null. Its slot becomes
    // a hole; holes at the end are given back.
    [[nodiscard]] Item* Remove(TextView key) {
        return store_.Remove(HashKey(key),
                             [this, key](const Item& member) { return CompareKey(member, key); });
    }

    // For a look-up that is followed by an insertion: the hash is made once and handed to both.
    [[nodiscard]] uint32_t HashKey(TextView key) const {
        return ignoreCase_ ? HashTextNoCase(key) : HashText(key);
    }
    [[nodiscard]] Item* FindHashed(TextView key, uint32_t hash) const {
        return store_.ItemAt(
            store_.Find(hash, [this, key](const Item& member) { return CompareKey(member, key); }));
    }
    int32_t AddHashed(Item* item, uint32_t hash) {
        return store_.Insert(item, hash, [this](const Item& added, const Item& member) {
            return CompareItems(added, member);
        });
    }
    int32_t AddHashed(std::unique_ptr<Item> item, uint32_t hash) {
        return AddHashed(item.release(), hash);
    }

    void RemoveAll() { store_.RemoveAll(); }

    // Slots in use, holes included; Capacity and BucketCount are the stated sizes.
    [[nodiscard]] int32_t Count() const { return store_.UsedSlots(); }
    [[nodiscard]] int32_t Capacity() const { return store_.Capacity(); }
    [[nodiscard]] int32_t BucketCount() const { return store_.BucketCount(); }
    [[nodiscard]] bool IgnoresCase() const { return ignoreCase_; }
    // The item in a slot; null for a hole and outside.
    [[nodiscard]] Item* ItemAt(int32_t slot) const { return store_.ItemAt(slot); }

    // The bucket of an item among BucketCount().
    [[nodiscard]] int32_t HashItem(const Item& item) const {
        return store_.Bucket(HashKey(ItemName(item)));
    }
    // Negative, 0 or positive: the shorter name first, then by its bytes.
    [[nodiscard]] int32_t CompareKey(const Item& item, TextView key) const {
        return CompareByLength(ItemName(item), key, ignoreCase_);
    }
    [[nodiscard]] int32_t CompareItems(const Item& first, const Item& second) const {
        return CompareByLength(ItemName(first), ItemName(second), ignoreCase_);
    }

    // A walk in the order of insertion, without holes.
    [[nodiscard]] auto begin() const { return store_.begin(); }
    [[nodiscard]] auto end() const { return store_.end(); }

    // The chains and their order.
    [[nodiscard]] const HashStore<Item>& Store() const { return store_; }

  private:
    bool ignoreCase_;
    HashStore<Item> store_;
};

}  // namespace ovrasql
