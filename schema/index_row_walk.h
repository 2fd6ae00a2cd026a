#pragma once

// IndexRowWalk: the live index rows of one table, in the order of their names. The schema table
// stands on the row in hand. Private to the schema.
//
// A failed lock or read must not look like the end of the rows: a table would then be written
// without its indexes. So Next() is false for both, and Failed() tells them apart, with the message
// in the schema's error.
//
// The walk is the catalog's first index itself, of which there is one: no look-up of a table or an
// index by name and no other walk may come between two calls of Next(). Deleting the row in hand is
// allowed, since the catalog's keys stay.

#include <cstdint>

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Schema;

class IndexRowWalk {
  public:
    IndexRowWalk(Schema* schema, TextView tableName);

    [[nodiscard]] bool Next();
    [[nodiscard]] bool Failed() const { return failed_; }
    // The very first row is listed in the index, but can't be read.
    [[nodiscard]] bool FailedOnFirstRow() const { return failed_ && rowsRead_ == 0 && onRow_; }

  private:
    [[nodiscard]] bool StepToEntry(uint32_t* recordNumber);

    Schema* schema_;
    String tableName_;
    String key_;
    bool started_ = false;
    bool failed_ = false;
    bool onRow_ = false;  // an entry was found; what failed is the reading of its row
    int64_t rowsRead_ = 0;
};

}  // namespace ovrasql
