#pragma once

// Collection: the walk over a container without knowledge of its kind.
//
// The place of the walk is a cursor inside the container, so one container can't be walked twice at
// the same time through this interface.

#include <cstdint>

namespace ovrasql {

template <class Item>
class Collection {
  public:
    Collection() = default;
    virtual ~Collection() = default;
    Collection(const Collection&) = delete;
    Collection& operator=(const Collection&) = delete;

    // Each moves the cursor and gives the item there, or null when there is none.
    virtual Item* First() = 0;
    virtual Item* Last() = 0;
    [[nodiscard]] virtual Item* Current() const = 0;
    virtual Item* Next() = 0;
    virtual Item* Previous() = 0;
    [[nodiscard]] virtual int32_t Count() const = 0;
};

}  // namespace ovrasql
