#include "library/database_context.h"

#include <cstring>
#include <new>

#include "library/context_pool.h"
#include "library/entry_guard.h"
#include "library/host_services.h"
#include "schema/schema.h"

namespace ovrasql {

namespace {

ContextPool<DatabaseContext> databasePool;
const ForkGuard<databasePool> databasePoolGuard;

using StartFunction = bool (Schema::*)(TextView path);

// Create and open differ in the Schema's operation alone. The context is attached before the Schema
// touches a file, so that the error can be read and the database freed after a failure.
int32_t StartDatabase(void* database, TextView path, StartFunction start) {
    if (database == nullptr) {
        return 0;
    }
    DatabaseContext* context = DatabaseContext::Attach(database);
    if (ovDatabase_data(database) != context) {
        context->Free();  // the host has not kept the word and could never free it
        return 0;
    }
    Schema* schema = context->GetSchema();
    if (schema == nullptr) {
        return context->FailForMemory();
    }
    return GuardEntry(
        [&]() -> int32_t { return (schema->*start)(path) ? 1 : context->Fail(schema->Error()); },
        [&] { return context->FailForMemory(); });
}

int32_t Zero() { return 0; }

}  // namespace

DatabaseContext::DatabaseContext() = default;

DatabaseContext::~DatabaseContext() = default;

DatabaseContext* DatabaseContext::Of(void* hostDatabase) {
    if (hostDatabase == nullptr) {
        return nullptr;
    }
    auto* context = static_cast<DatabaseContext*>(ovDatabase_data(hostDatabase));
    return context == nullptr || context->hostDatabase_ != hostDatabase ? nullptr : context;
}

DatabaseContext* DatabaseContext::Attach(void* hostDatabase) {
    DatabaseContext* former = Of(hostDatabase);
    DatabaseContext* context = databasePool.Take();
    context->hostDatabase_ = hostDatabase;
    context->errorText_[0] = '\0';
    try {
        context->schema_ = std::make_unique<Schema>(ovDatabase_Program(hostDatabase), hostDatabase,
                                                    Schema::kDefaultStatementCacheSize);
    } catch (const std::bad_alloc&) {
        context->schema_ = nullptr;
    }
    ovDatabase_SetData(hostDatabase, context);
    if (former != nullptr) {
        former->Free();
    }
    return context;
}

void DatabaseContext::Free() {
    hostDatabase_ = nullptr;
    if (openViews_ == 0) {
        End();
    }
}

void DatabaseContext::RemoveView() {
    --openViews_;
    if (IsFreed() && openViews_ == 0) {
        End();
    }
}

void DatabaseContext::End() {
    schema_ = nullptr;
    databasePool.Give(this);
}

int32_t DatabaseContext::Fail(TextView message) {
    int32_t length = 0;
    while (length < message.length && length < kErrorRoom - 1 && message[length] != '\0') {
        ++length;
    }
    // The message may be a piece of errorText_ itself.
    std::memmove(errorText_, message.data, static_cast<size_t>(length));
    errorText_[length] = '\0';
    if (schema_ != nullptr) {
        schema_->Trace().Write("*** Error: ");
        schema_->Trace().Write(TextView(errorText_, length));
        schema_->Trace().Write("\n");
    }
    return 0;
}

int32_t database_create(void* database, const char* path, int32_t length) {
    return GuardEntry(
        [&] { return StartDatabase(database, EntryText(path, length), &Schema::Create); }, Zero);
}

int32_t database_open(void* database, const char* path, int32_t length) {
    return GuardEntry(
        [&] { return StartDatabase(database, EntryText(path, length), &Schema::Open); }, Zero);
}

int32_t database_pack(void* database) {
    DatabaseContext* context = DatabaseContext::Of(database);
    if (context == nullptr || context->GetSchema() == nullptr) {
        return 0;
    }
    return GuardEntry(
        [&]() -> int32_t {
            return context->GetSchema()->Pack() ? 1 : context->Fail(context->GetSchema()->Error());
        },
        [&] { return context->FailForMemory(); });
}

const char* database_error(void* database) {
    const DatabaseContext* context = DatabaseContext::Of(database);
    return context == nullptr ? "Unknown OvraSQL error" : context->ErrorText();
}

void database_free(void* database) {
    DatabaseContext* context = DatabaseContext::Of(database);
    if (context != nullptr) {
        GuardEntry([&] { context->Free(); }, [] {});
    }
}

}  // namespace ovrasql
