#pragma once

// HashTable2: items found by a key of a type of its own.
//
// Three functions in the namespace of item or key say how:
//   Key ItemKey(const Item&)                     the key of an item, unchanged while it is held
//   uint32_t HashOfKey(const Key&)               equal keys have equal hashes
//   int32_t CompareKeys(const Key&, const Key&)  negative, 0 or positive
//
// Owning, order and memory are as in HashTable. Several items may have one key; the first is found.

#include <cstdint>
#include <memory>

#include "foundation/hash_store.h"

namespace ovrasql {

template <class Item, class Key>
class HashTable2 {
  public:
    explicit HashTable2(bool ownsItems, int32_t bucketBits = kHashTableBucketBits,
                        int32_t capacity = kHashTableStep)
        : store_(ownsItems, bucketBits, capacity) {}

    // Stores the item behind all others and gives its slot, or -1 for a null item, which is passed
    // over. An owning table has the item from the call on.
    int32_t Add(Item* item) {
        if (item == nullptr) {
            return kNoSlot;
        }
        return store_.Insert(item, HashOfKey(ItemKey(*item)),
                             [](const Item& added, const Item& member) {
                                 return CompareKeys(ItemKey(added), ItemKey(member));
                             });
    }
    int32_t Add(std::unique_ptr<Item> item) { return Add(item.release()); }

    [[nodiscard]] Item* Find(const Key& key) const {
        return store_.ItemAt(store_.Find(HashOfKey(key), [&key](const Item& member) {
            return CompareKeys(ItemKey(member), key);
        }));
    }

    // Takes the first item of that key out and hands it back undeleted, or null.
    [[nodiscard]] Item* Remove(const Key& key) {
        return store_.Remove(HashOfKey(key), [&key](const Item& member) {
            return CompareKeys(ItemKey(member), key);
        });
    }

    void RemoveAll() { store_.RemoveAll(); }

    // Slots in use, holes included; Capacity and BucketCount are the stated sizes.
    [[nodiscard]] int32_t Count() const { return store_.UsedSlots(); }
    [[nodiscard]] int32_t Capacity() const { return store_.Capacity(); }
    [[nodiscard]] int32_t BucketCount() const { return store_.BucketCount(); }
    [[nodiscard]] Item* ItemAt(int32_t slot) const { return store_.ItemAt(slot); }

    // The bucket of an item, and of a key, among BucketCount().
    [[nodiscard]] int32_t HashItem(const Item& item) const { return HashKey(ItemKey(item)); }
    [[nodiscard]] int32_t HashKey(const Key& key) const { return store_.Bucket(HashOfKey(key)); }

    // A walk in the order of insertion, without holes.
    [[nodiscard]] auto begin() const { return store_.begin(); }
    [[nodiscard]] auto end() const { return store_.end(); }

  private:
    HashStore<Item> store_;
};

}  // namespace ovrasql
