#include "schema/prepared_statement.h"

#include "engine/sql_engine.h"
#include "schema/schema.h"

namespace ovrasql {

PreparedStatement::PreparedStatement(Schema* schema, void* database)
    : schema_(schema), engine_(std::make_unique<SQLEngine>(schema, database)) {}

PreparedStatement::~PreparedStatement() = default;

bool PreparedStatement::Compile(TextView text) {
    caseInsensitive_ = schema_->CaseInsensitive();
    if (engine_->Compile(text) < 0) {
        return false;
    }
    text_ = text;
    return true;
}

void PreparedStatement::Dump() { engine_->Dump(); }

// The view that was fed belongs to its own caller; the next one can be a query without any.
void PreparedStatement::Reset() {
    engine_->Reset();
    engine_->SetView(nullptr);
}

}  // namespace ovrasql
