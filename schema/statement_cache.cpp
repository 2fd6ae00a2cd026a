// The cache of compiled statements: a short list in most-recently-released order, keyed by the
// exact text. A statement in use is out of the list, so that no two callers share one.

#include <memory>

#include "engine/sql_engine.h"
#include "schema/prepared_statement.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

Schema::Schema(void* program, void* database, int32_t statementCacheSize)
    : program_(program),
      database_(database),
      openTables_(/*ownsItems=*/true, /*ignoreCase=*/true),
      statements_(/*ownsItems=*/true),
      statementCacheSize_(statementCacheSize) {}

// The schema table goes first, the trace after it; the cache and the open tables go with their
// members.
Schema::~Schema() {
    DropCatalog();
    trace_.Close();
}

PreparedStatement* Schema::Prepare(TextView text) {
    for (PreparedStatement* cached = statements_.First(); cached != nullptr;
         cached = statements_.Next()) {
        if (cached->Text() == text) {
            std::unique_ptr<PreparedStatement> statement(statements_.Remove(ListPlace::kCursor));
            trace_.Write("*** Using Cached Prepared Statement\n");
            statement->Dump();
            trace_.Write("\n");
            return statement.release();
        }
    }
    auto statement = std::make_unique<PreparedStatement>(this, database_);
    if (!statement->Compile(text)) {
        error_ = statement->Engine().ErrorMessage();
        return nullptr;
    }
    statement->Dump();
    trace_.Write("\n");
    return statement.release();
}

void Schema::Release(PreparedStatement* statement) {
    std::unique_ptr<PreparedStatement> released(statement);
    // The case setting is built into the program, and can have changed while the statement was
    // held.
    if (released == nullptr || statementCacheSize_ <= 0 ||
        released->CaseInsensitive() != caseInsensitive_) {
        return;
    }
    released->Reset();
    ShrinkStatementCache(statementCacheSize_ - 1);
    statements_.Insert(std::move(released), ListPlace::kHead);
}

void Schema::SetStatementCacheSize(int32_t size) {
    statementCacheSize_ = size < 0 ? 0 : size;
    ShrinkStatementCache(statementCacheSize_);
}

void Schema::EmptyStatementCache() { statements_.RemoveAll(); }

// The last entries were released longest ago.
void Schema::ShrinkStatementCache(int32_t count) {
    while (statements_.Count() > count) {
        const std::unique_ptr<PreparedStatement> dropped(statements_.Remove(ListPlace::kTail));
    }
}

int32_t Schema::CachedStatementCount() const { return statements_.Count(); }

}  // namespace ovrasql
