#include "schema/column_definition.h"

#include "foundation/string.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

ColumnDefinition::ColumnDefinition() = default;

ColumnDefinition::~ColumnDefinition() = default;

OvraSQLField* ColumnDefinition::MakeField() {
    String fieldName(name);
    fieldName.ToUpper();
    field_ = std::make_unique<OvraSQLField>(/*table=*/nullptr, fieldName, type, width, scale);
    return field_.get();
}

}  // namespace ovrasql
