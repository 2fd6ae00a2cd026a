#pragma once

// HostProgram: what the library knows as the running program. It fixes the folder that relative
// paths start from, how long a lock is waited for, and keeps the reason of the last failure of a
// file operation that was given by path.
//
// A program belongs to one HostDatabase and to its thread.

#include <cstdint>
#include <string>

#include "host/file_claims.h"
#include "host/table_rebuild.h"

namespace ovrahost {

// The location that every path of the library is relative to: the database's root folder.
constexpr int32_t kDatabaseRoot = 2;
constexpr int32_t kDefaultLockTimeout = 30000;  // milliseconds

// The reason of a failure for want of memory; short enough for a std::string to need none for it.
constexpr char kOutOfMemory[] = "Out of memory";

class HostProgram {
  public:
    // An empty root is the folder that the process runs in.
    explicit HostProgram(std::string root = std::string());

    // The system's path for a path of the library: absolute ones stand, others start from the root.
    // False for a location that this host does not know and for a path that no file can have; the
    // reason is in LastError().
    bool Resolve(int32_t location, const char* path, int32_t length, std::string* resolved);

    void SetLockTimeout(int32_t milliseconds) { lockTimeout_ = milliseconds; }
    int32_t LockTimeout() const { return lockTimeout_; }

    FileClaims& Claims() { return claims_; }
    TableRebuild& Rebuild() { return rebuild_; }

    void SetLastError(std::string text) { lastError_ = std::move(text); }
    const std::string& LastError() const { return lastError_; }

  private:
    std::string root_;
    int32_t lockTimeout_ = kDefaultLockTimeout;
    std::string lastError_;
    FileClaims claims_;
    TableRebuild rebuild_;
};

}  // namespace ovrahost
