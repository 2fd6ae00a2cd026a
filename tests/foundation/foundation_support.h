#pragma once

// What the tests of foundation/ share.

#include <cstdint>
#include <limits>
#include <string>

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A text that a failed expectation can print.
inline std::string Std(TextView text) {
    return std::string(text.data, static_cast<size_t>(text.length));
}

inline TextView View(const std::string& text) {
    return TextView(text.data(), static_cast<int32_t>(text.size()));
}

// An item that counts the living, with a name for the hash tables.
struct Counted {
    explicit Counted(TextView itemName, int32_t itemNumber = 0)
        : name(itemName), number(itemNumber) {
        ++alive;
    }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    String name;
    int32_t number;

    static inline int32_t alive = 0;
};

inline TextView ItemName(const Counted& item) { return item.name; }

inline std::string NameOf(const Counted* item) {
    return item == nullptr ? "null" : Std(item->name);
}

}  // namespace ovrasql
