#pragma once

// CallScope and RunStatement: a call of the library that may open files. What it has claimed of
// them ends with it, unless a view is open.

#include "host/host_database.h"

namespace ovrahost {

class CallScope {
  public:
    CallScope(HostDatabase* database, CallKind kind) : database_(database) {
        database_->program.Claims().BeginCall(kind);
    }
    ~CallScope() {
        database_->program.Rebuild().End();
        database_->program.Claims().EndCall(!database_->views.empty());
    }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

  private:
    HostDatabase* database_;
};

// Runs a statement; what `operation` gives counts as true when it has succeeded. One that turns out
// to rebuild a table which others use has failed before it changed anything. It is begun again, and
// waits for them before it opens the table.
template <class Operation>
auto RunStatement(HostDatabase* database, Operation operation) {
    {
        const CallScope scope(database, CallKind::kRunsStatement);
        const auto result = operation();
        if (result || database->program.Claims().Refusal().empty()) {
            return result;
        }
    }
    const CallScope scope(database, CallKind::kRebuilds);
    const auto result = operation();
    if (!result) {
        // The library takes a table that it cannot open for one that does not exist.
        database->hostError = database->program.Claims().Refusal();
    }
    return result;
}

}  // namespace ovrahost
