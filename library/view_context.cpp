#include "library/view_context.h"

#include "engine/sql_engine.h"
#include "library/context_pool.h"
#include "library/entry_guard.h"
#include "library/host_services.h"
#include "schema/prepared_statement.h"
#include "schema/schema.h"

namespace ovrasql {

namespace {

ContextPool<ViewContext> viewPool;
const ForkGuard<viewPool> viewPoolGuard;

// Runs one step of the engine. Should memory run out, the engine stands in the middle of an
// instruction: it must not go on from there, so it fails until it is reset.
template <class Step>
int32_t RunStep(SQLEngine& engine, Step&& step) {
    return GuardEntry(step, [&]() -> int32_t {
        return GuardEntry([&] { return engine.Error("Out of memory"); }, [] { return -1; });
    });
}

}  // namespace

int32_t RunStatement(DatabaseContext& context, SQLEngine& engine) {
    const int32_t result = RunStep(engine, [&] { return engine.Run(); });
    if (result < 0) {
        context.Fail(engine.ErrorMessage());
    }
    return result;
}

int32_t ExecuteStatement(DatabaseContext& context, PreparedStatement& statement, void* list,
                         int32_t count) {
    SQLEngine& engine = statement.Engine();
    if (RunStep(engine, [&] { return engine.SetParameters(list, count); }) < 0) {
        return context.Fail(engine.ErrorMessage());
    }
    return RunStatement(context, engine) < 0 ? 0 : 1;
}

PreparedStatement* PrepareStatement(DatabaseContext& context, TextView text) {
    return GuardEntry(
        [&]() -> PreparedStatement* {
            PreparedStatement* statement = context.GetSchema()->Prepare(text);
            if (statement == nullptr) {
                context.Fail(context.GetSchema()->Error());
            }
            return statement;
        },
        [&]() -> PreparedStatement* {
            context.FailForMemory();
            return nullptr;
        });
}

void ReleaseStatement(DatabaseContext& context, PreparedStatement* statement) {
    // The statement must not keep a view that the host is about to destroy.
    statement->Engine().SetView(nullptr);
    // A statement that finds no memory for its place in the cache goes. Its work is done by now, so
    // that is no failure of the call.
    GuardEntry([&] { context.GetSchema()->Release(statement); }, [] {});
}

ViewContext* ViewContext::Of(void* view) {
    if (view == nullptr) {
        return nullptr;
    }
    auto* context = static_cast<ViewContext*>(ovDatabaseView_data(view));
    return context == nullptr || context->view_ != view ? nullptr : context;
}

ViewContext* ViewContext::Make(DatabaseContext& database) {
    ViewContext* context = viewPool.Take();
    context->database_ = &database;
    database.AddView();
    return context;
}

void ViewContext::End() {
    DatabaseContext* database = database_;
    PreparedStatement* statement = statement_;
    view_ = nullptr;
    database_ = nullptr;
    statement_ = nullptr;
    if (statement != nullptr) {
        ReleaseStatement(*database, statement);
    }
    viewPool.Give(this);
    database->RemoveView();
}

void ViewContext::SetView(void* view) {
    view_ = view;
    Engine().SetView(view);
}

SQLEngine& ViewContext::Engine() const { return statement_->Engine(); }

}  // namespace ovrasql
