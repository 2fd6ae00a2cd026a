#include "schema/column_definition.h"

#include "foundation/number_text.h"
#include "foundation/string.h"
#include "storage/data_format.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

ColumnDefinition::ColumnDefinition() = default;

ColumnDefinition::~ColumnDefinition() = default;

bool ColumnDefinition::Check(String* error) const {
    if (width < 1 || width > kMaximumFieldLength) {
        *error = String::Join({"Column '", name, "' cannot have a width of ", IntegerToText(width),
                               " (from 1 to ", IntegerToText(kMaximumFieldLength), ")"});
        return false;
    }
    // The width has the point in it, too.
    if (type == kFieldNumeric && (scale < 0 || scale >= width)) {
        *error = String::Join({"Column '", name, "' cannot have a scale of ", IntegerToText(scale),
                               " (width ", IntegerToText(width), ")"});
        return false;
    }
    return true;
}

OvraSQLField* ColumnDefinition::MakeField() {
    String fieldName(name);
    fieldName.ToUpper();
    field_ = std::make_unique<OvraSQLField>(/*table=*/nullptr, fieldName, type, width, scale);
    return field_.get();
}

}  // namespace ovrasql
