#pragma once

// CollList: a List behind the Collection interface. Owning, places and cursor rules are the list's.

#include <cstdint>
#include <memory>
#include <utility>

#include "foundation/collection.h"
#include "foundation/list.h"

namespace ovrasql {

template <class Item>
class CollList : public Collection<Item> {
  public:
    explicit CollList(bool ownsItems) : list_(ownsItems) {}

    Item* First() override { return list_.First(); }
    Item* Last() override { return list_.Last(); }
    [[nodiscard]] Item* Current() const override { return list_.Current(); }
    Item* Next() override { return list_.Next(); }
    Item* Previous() override { return list_.Previous(); }
    [[nodiscard]] int32_t Count() const override { return list_.Count(); }

    void Insert(Item* item, ListPlace place) { list_.Insert(item, place); }
    void Insert(std::unique_ptr<Item> item, ListPlace place) {
        list_.Insert(std::move(item), place);
    }
    [[nodiscard]] Item* Remove(ListPlace place) { return list_.Remove(place); }
    Item* Find(const Item* item) { return list_.Find(item); }
    void RemoveAll() { list_.RemoveAll(); }
    void DeleteItem(Item* item) { list_.DeleteItem(item); }
    void Clear() { list_.Clear(); }

    // A walk that leaves the cursor alone.
    [[nodiscard]] auto begin() const { return list_.begin(); }
    [[nodiscard]] auto end() const { return list_.end(); }

  private:
    List<Item> list_;
};

}  // namespace ovrasql
