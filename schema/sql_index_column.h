#pragma once

// SQLIndexColumn: one column of CREATE INDEX. A plain record of the statement; the name is borrowed
// from the statement text. It stands on this floor because the schema makes the index from it.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

struct SQLIndexColumn {
    TextView name;
    int32_t ascending = 1;  // 0 after "desc"
};

}  // namespace ovrasql
