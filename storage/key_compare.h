#pragma once

// How index keys compare. A key is bytes; two keys that both read as numbers compare by value
// instead, unless the index says that its keys are text.
//
// The key that an operation searches for is the first of the two at every comparison, so it is read
// as a number once, when its SearchKey is made. The keys in the pages are compared in place.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

// Index flags, as stored in the header of an index file.
inline constexpr int32_t kIndexUnique = 1;
inline constexpr int32_t kIndexDescending = 2;
inline constexpr int32_t kIndexTextOnly = 4;

// A text read as a number by the rules of the C locale's strtod.
struct KeyNumber {
    double value = 0;
    bool isWhole = false;     // the number uses up the whole text; the empty text is 0
    bool outOfRange = false;  // too large for a double: the value is an infinity
};

[[nodiscard]] KeyNumber ReadKeyNumber(TextView text);

// The text up to its first NUL: a key ends there, whatever length came with it.
[[nodiscard]] TextView KeyText(TextView text);

// A key on the searching side, with what is known about it. Borrows the text.
struct SearchKey {
    SearchKey(TextView key, bool isExact, int32_t indexFlags);

    TextView text;
    bool exact;
    int32_t flags;
    KeyNumber number;  // read only where a comparison by value is possible
};

// Negative, 0 or positive as the search key stands before, at or behind the other one. Without
// `exact` any key that begins with the search key is equal to it.
[[nodiscard]] int32_t CompareKeys(const SearchKey& first, TextView second);

}  // namespace ovrasql
