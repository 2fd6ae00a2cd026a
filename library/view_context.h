#pragma once

// ViewContext: one open view, from database_open_view until view_close. The host's view handle has
// its address as the data word. It owns the statement that it runs, which is out of the cache as
// long as the view is open; so two views on one text have an engine each.
//
// Like a DatabaseContext it answers its own handle alone, and Of looks at that first.

#include <atomic>
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

    // The handle's context; null if it has none, or none any more.
    [[nodiscard]] static ViewContext* Of(void* view);
    // A new context for a view of the database, without a statement or a handle yet.
    [[nodiscard]] static ViewContext* Make(DatabaseContext& database);
    // Hands the statement back and ends it.
    void End();

    void SetStatement(PreparedStatement* statement) { statement_ = statement; }
    // The host's view, behind the statement: from here on its handle leads here.
    void SetView(void* view);
    [[nodiscard]] DatabaseContext& Database() const { return *database_; }
    // The statement's. A view that a handle leads to has one.
    [[nodiscard]] SQLEngine& Engine() const;

    ViewContext* nextIdle = nullptr;  // the pool's

  private:
    std::atomic<void*> view_ = nullptr;  // null before it has one, and once it has ended
    DatabaseContext* database_ = nullptr;
    PreparedStatement* statement_ = nullptr;
};

}  // namespace ovrasql
