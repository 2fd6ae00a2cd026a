#pragma once

// ColumnDefinition: one column of CREATE TABLE or ALTER TABLE ADD. The parser fills it, the
// statement tree owns it, and the schema asks it for the field that describes the column in a data
// file.
//
// `name` is borrowed from the statement text and lives as long as the statement. Numbers stand as
// the statement gave them: the schema refuses what does not fit a data file, before any file is
// made.

#include <cstdint>
#include <memory>

#include "foundation/text_view.h"

namespace ovrasql {

class OvraSQLField;
class String;

struct ColumnDefinition {
    ColumnDefinition();
    ~ColumnDefinition();
    ColumnDefinition(const ColumnDefinition&) = delete;
    ColumnDefinition& operator=(const ColumnDefinition&) = delete;

    TextView name;
    int32_t type = 0;   // 0 character, 1 numeric, 3 boolean, 4 memo
    int32_t width = 0;  // bytes in a record
    int32_t scale = 0;  // digits after the decimal point

    // Whether a field of a data file can have this width and this scale. Writes the text into
    // `error` if not.
    [[nodiscard]] bool Check(String* error) const;

    // Makes a field from the definition, its name in upper case, and keeps it: the result lives
    // until the next call or the end of the definition, and belongs to no table.
    OvraSQLField* MakeField();

  private:
    std::unique_ptr<OvraSQLField> field_;
};

}  // namespace ovrasql
