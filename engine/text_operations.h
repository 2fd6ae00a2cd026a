#pragma once

// What the engine does with texts as such: the truth of a text, LIKE, and the bounds of SUBSTRING.
// Nothing here allocates.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

// An empty text is false, and so is one of "0" characters with at most one "." among them; any
// other is true, "F" included.
[[nodiscard]] bool TextIsTrue(TextView text);

// Whether `text` matches `pattern`: "%" stands for any run of bytes, "_" for one byte. There is no
// escape character.
[[nodiscard]] bool TextIsLike(TextView text, TextView pattern, bool ignoreCase);

// The part of the text from `start`, counted from 1. Required: a start below 1 is raised to 1 and
// does not shorten the length.
[[nodiscard]] TextView SubstringOf(TextView text, int32_t start, int32_t length);

// Compares bytes over the shorter length, then the lengths: negative, 0 or positive.
[[nodiscard]] int32_t CompareBytes(TextView left, TextView right, bool ignoreCase);

}  // namespace ovrasql
