#pragma once

// Base64 with the alphabet A-Z a-z 0-9 + / and '=' as padding.

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

[[nodiscard]] String EncodeBase64(TextView bytes);

// Drops at most two '=' from the end. Required: other characters are not checked; one outside the
// alphabet counts as 0, and a lone last character gives one byte, its six bits moved up by two.
[[nodiscard]] String DecodeBase64(TextView text);

}  // namespace ovrasql
