#include "schema/prepared_statement.h"

#include "compile/sql_code_generator.h"
#include "engine/sql_engine.h"
#include "schema/schema.h"

namespace ovrasql {

PreparedStatement::PreparedStatement(Schema* schema, void* database)
    : engine_(std::make_unique<SQLEngine>(*schema, database)) {}

PreparedStatement::~PreparedStatement() = default;

bool PreparedStatement::Compile(TextView text) {
    if (engine_->Compile(text) < 0) {
        return false;
    }
    text_ = text;
    return true;
}

bool PreparedStatement::CaseInsensitive() const { return engine_->CaseInsensitive(); }

void PreparedStatement::Dump() { engine_->Generator().Dump(); }

// The view that was fed belongs to its own caller; the next one can be a query without any.
void PreparedStatement::Reset() {
    engine_->Reset();
    engine_->SetView(nullptr);
}

}  // namespace ovrasql
