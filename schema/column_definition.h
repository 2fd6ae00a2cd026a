#pragma once

// ColumnDefinition: one column of CREATE TABLE or ALTER TABLE ADD, as the statement wrote it.
//
// The name is borrowed from the statement text, in the spelling of the statement. Width and scale
// are unchecked here: whether a data file can hold such a column is tested before a file is made.
// Owned by the statement's list of columns.

#include <cstdint>
#include <memory>

#include "foundation/text_view.h"

namespace ovrasql {

class OvraSQLField;

// The type codes of a column. Statement text can't produce a date; files made elsewhere can.
namespace column_type {
enum : int32_t { kCharacter = 0, kNumeric = 1, kDate = 2, kBoolean = 3, kMemo = 4 };
}  // namespace column_type

class ColumnDefinition {
  public:
    ColumnDefinition();
    ~ColumnDefinition();
    ColumnDefinition(const ColumnDefinition&) = delete;
    ColumnDefinition& operator=(const ColumnDefinition&) = delete;

    // Makes the data file's field, under the upper-cased name. It belongs to this object and lives
    // until it goes or until a second call replaces the field.
    OvraSQLField* MakeField();

    TextView name;
    int32_t type = column_type::kCharacter;
    int32_t width = 0;  // in the data file
    int32_t scale = 0;  // digits behind the decimal point

  private:
    std::unique_ptr<OvraSQLField> field_;
};

}  // namespace ovrasql
