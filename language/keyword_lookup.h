#pragma once

// SQLKeywordLookup: the reserved words and marks, found by their text in any case.
//
// The rows are those of keywords.def, constant for the life of the program. A look-up costs one
// hash and at most one comparison and allocates nothing; any thread may make one.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

struct SQLKeyword {
    int32_t code;  // the token code
    int32_t length;
    const char* text;
};

class SQLKeywordLookup {
  public:
    // The row of this word, or null. Letters match in either case.
    [[nodiscard]] static const SQLKeyword* Lookup(TextView text);

    // All rows, in the order of keywords.def.
    [[nodiscard]] static int32_t Count();
    [[nodiscard]] static const SQLKeyword& Row(int32_t index);
};

}  // namespace ovrasql
