#pragma once

// Bob Jenkins's 32-bit hash of 1996, "lookup2", with `initial` as the third word of its state.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

[[nodiscard]] uint32_t HashText(TextView text, uint32_t initial = 0);

// The same over the text in lower case, so texts that differ only in case hash alike.
[[nodiscard]] uint32_t HashTextNoCase(TextView text, uint32_t initial = 0);

}  // namespace ovrasql
