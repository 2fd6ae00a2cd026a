#pragma once

// SQLIndexColumn: one column of a CREATE INDEX as it was written. The parser fills it, the
// statement tree owns it in a List, and Schema::CreateIndex reads it.
//
// `name` is borrowed from the statement text and lives as long as the statement.

#include "foundation/text_view.h"

namespace ovrasql {

struct SQLIndexColumn {
    TextView name;
    bool ascending = true;  // false only where DESC was written
};

}  // namespace ovrasql
