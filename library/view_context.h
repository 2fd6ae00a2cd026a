#pragma once

// ViewContext: one open view, from database_open_view until view_close. The host's view handle has
// its address as the data word. It owns the statement that it runs, which is out of the cache as
// long as the view is open; so two views on one text have an engine each.

#include <cstdint>

#include "foundation/text_view.h"
#include "library/database_context.h"

namespace ovrasql {

class PreparedStatement;
class SQLEngine;

// Gives the statement its parameters and runs it to its first row or its end. 1, or 0 with the
// message in the context.
int32_t ExecuteStatement(DatabaseContext& context, PreparedStatement& statement, void* list,
                         int32_t count);

// Runs the engine on to its next row: 1 for a row, 0 for the end, -1 with the message in the
// context.
int32_t RunStatement(DatabaseContext& context, SQLEngine& engine);

// A statement for the text, the caller's until it is released; null with the message in the
// context.
[[nodiscard]] PreparedStatement* PrepareStatement(DatabaseContext& context, TextView text);

// Hands a statement back to the cache, or ends it where there is no memory to keep it.
void ReleaseStatement(DatabaseContext& context, PreparedStatement* statement);

class ViewContext {
  public:
    ViewContext() = default;
    ViewContext(const ViewContext&) = delete;
    ViewContext& operator=(const ViewContext&) = delete;

    // The context behind the handle; null if there is none, none any more, or none yet that runs a
    // statement.
    [[nodiscard]] static ViewContext* Of(void* view);
    // A new context for a view of the database, without a statement yet.
    [[nodiscard]] static ViewContext* Make(DatabaseContext& database);
    // Hands the statement back and ends it.
    void End();

    void SetStatement(PreparedStatement* statement) { statement_ = statement; }
    [[nodiscard]] DatabaseContext& Database() const { return *database_; }
    // The statement's. A view that a handle leads to has one.
    [[nodiscard]] SQLEngine& Engine() const;

    ViewContext* nextIdle = nullptr;  // the pool's

  private:
    DatabaseContext* database_ = nullptr;  // null once the view has ended
    PreparedStatement* statement_ = nullptr;
};

}  // namespace ovrasql
