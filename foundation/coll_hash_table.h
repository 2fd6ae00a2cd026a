#pragma once

// CollHashTable: a HashTable behind the Collection interface, so items are found by name and walked
// in the order of insertion by a cursor.
//
// The cursor is a slot number. A walk skips holes; First on an empty table, Next behind the last
// item and Previous before the first take the cursor out of the table and give null.

#include <cstdint>
#include <memory>
#include <utility>

#include "foundation/collection.h"
#include "foundation/hash_table.h"
#include "foundation/text_view.h"

namespace ovrasql {

template <class Item>
class CollHashTable : public Collection<Item> {
  public:
    explicit CollHashTable(bool ownsItems, bool ignoreCase = true,
                           int32_t bucketBits = kHashTableBucketBits,
                           int32_t capacity = kHashTableStep)
        : table_(ownsItems, ignoreCase, bucketBits, capacity) {}

    Item* First() override {
        cursor_ = -1;
        return Next();
    }
    Item* Last() override {
        cursor_ = Count();
        return Previous();
    }
    [[nodiscard]] Item* Current() const override { return table_.ItemAt(cursor_); }
    Item* Next() override {
        while (cursor_ < Count()) {
            ++cursor_;
            if (Current() != nullptr) {
                return Current();
            }
        }
        return nullptr;
    }
    Item* Previous() override {
        cursor_ = cursor_ > Count() ? Count() : cursor_;
        while (cursor_ >= 0) {
            --cursor_;
            if (Current() != nullptr) {
                return Current();
            }
        }
        return nullptr;
    }
    // Slots in use, holes included.
    [[nodiscard]] int32_t Count() const override { return table_.Count(); }

    int32_t Add(Item* item) { return table_.Add(item); }
    int32_t Add(std::unique_ptr<Item> item) { return table_.Add(std::move(item)); }
    [[nodiscard]] Item* Find(TextView key) const { return table_.Find(key); }
    [[nodiscard]] Item* Remove(TextView key) { return table_.Remove(key); }
    void RemoveAll() { table_.RemoveAll(); }

    [[nodiscard]] int32_t Capacity() const { return table_.Capacity(); }
    [[nodiscard]] int32_t BucketCount() const { return table_.BucketCount(); }
    [[nodiscard]] Item* ItemAt(int32_t slot) const { return table_.ItemAt(slot); }

    [[nodiscard]] int32_t HashItem(const Item& item) const { return table_.HashItem(item); }
    [[nodiscard]] int32_t CompareKey(const Item& item, TextView key) const {
        return table_.CompareKey(item, key);
    }
    [[nodiscard]] int32_t CompareItems(const Item& first, const Item& second) const {
        return table_.CompareItems(first, second);
    }

    // A walk in the order of insertion that leaves the cursor alone.
    [[nodiscard]] auto begin() const { return table_.begin(); }
    [[nodiscard]] auto end() const { return table_.end(); }

  private:
    HashTable<Item> table_;
    int32_t cursor_ = 0;
};

}  // namespace ovrasql
