#pragma once

// DatabaseContext: one open database, from create or open until it is freed. The host's database
// handle has its address as the data word. It owns the Schema and keeps the text of the last
// failure.
//
// A context answers its own handle alone. The word of a handle that was freed can lead to a context
// that has ended, or is another database's by now, perhaps in another thread: so Of looks at the
// owner first, and at nothing else of a stranger's.
//
// Views point at their context. Should a host free the database while views are open, the context
// and its Schema live on until the last of those is closed, and answer no call for the database.
// One thread at a time, but for that look at the owner.

#include <atomic>
#include <cstdint>
#include <memory>

#include "foundation/text_view.h"

namespace ovrasql {

class Schema;

class DatabaseContext {
  public:
    // With the NUL. A message is cut to fit.
    static constexpr int32_t kErrorRoom = 1024;

    DatabaseContext();
    ~DatabaseContext();
    DatabaseContext(const DatabaseContext&) = delete;
    DatabaseContext& operator=(const DatabaseContext&) = delete;

    // The handle's context; null if it has none, or none any more.
    [[nodiscard]] static DatabaseContext* Of(void* hostDatabase);
    // A new context with its Schema, attached to the handle. One that the handle has already is
    // freed. Without memory for a Schema there is a context all the same, to hold the error.
    [[nodiscard]] static DatabaseContext* Attach(void* hostDatabase);
    // Ends it for the host.
    void Free();

    // Null if there was no memory for it.
    [[nodiscard]] Schema* GetSchema() const { return schema_.get(); }
    [[nodiscard]] void* HostDatabase() const { return hostDatabase_; }
    [[nodiscard]] bool IsFreed() const { return hostDatabase_ == nullptr; }
    // Ends with a NUL. It holds the latest failure; a success does not clear it.
    [[nodiscard]] const char* ErrorText() const { return errorText_; }

    // The error routine: keeps the message, up to a NUL in it, and traces it. Always 0, so that an
    // entry can end with it. Allocates nothing.
    int32_t Fail(TextView message);
    int32_t FailForMemory() { return Fail("Out of memory"); }

    // A view has come to point here, or has ceased to.
    void AddView() { ++openViews_; }
    void RemoveView();

    DatabaseContext* nextIdle = nullptr;  // the pool's

  private:
    void End();

    std::atomic<void*> hostDatabase_ = nullptr;  // null once the host has freed it
    std::unique_ptr<Schema> schema_;
    int64_t openViews_ = 0;
    char errorText_[kErrorRoom] = "";
};

// Entry points.
int32_t database_create(void* database, const char* path, int32_t length);
int32_t database_open(void* database, const char* path, int32_t length);
int32_t database_pack(void* database);
const char* database_error(void* database);
void database_free(void* database);

}  // namespace ovrasql
