#pragma once

// RangeLock: one byte-range lock on a host file, released when the object goes. Byte ranges are all
// that several processes have in common, so each operation names its range and its length of time:
//
//   file   range                                  name              taken by
//   .dbf   0, header length bytes                 data header       append; refresh after a change
//   .dbf   0, 32 bytes                            short header      LockHeader alone
//   .dbf   record offset, record length bytes     record            update, delete, lock for update
//   .dbt   0, 512 bytes                           memo header       memo write; open (shared)
//   .ovx   0, 427 bytes                           index header      the whole tree stands behind it
//
// Lock rules, cited by number:
//   1. A writer takes the exclusive header lock, reads the header anew, changes what it must,
//      writes the header, releases. So no count and no next free place ever goes back.
//   2. Data locks come before memo locks; no operation holds two data ranges, or locks on two
//      files of one kind.
//   3. Records and memo blocks are read without a lock. A stored memo block never changes.
//   4. Nothing is tried again: waiting and time limits are the host's.
//
// A lock belongs to the open file it was taken on and must be released, forgotten or destroyed
// before that file is closed.

#include <cstdint>

#include "library/host_services.h"

namespace ovrasql {

enum class LockMode : int32_t {
    kShared = kLockShared,       // messages say "for read"
    kExclusive = kLockExclusive  // messages say "for write"
};

class RangeLock {
  public:
    RangeLock() = default;  // holds nothing

    // Asks the host for the range and waits as long as the host does. Held() tells the outcome; any
    // result that is not negative counts as success. A null file is never locked.
    RangeLock(void* file, LockMode mode, int64_t offset, int64_t length);

    ~RangeLock() { Release(); }

    RangeLock(RangeLock&& other) noexcept;
    RangeLock& operator=(RangeLock&& other) noexcept;  // releases what it held before
    RangeLock(const RangeLock&) = delete;
    RangeLock& operator=(const RangeLock&) = delete;

    [[nodiscard]] bool Held() const { return file_ != nullptr; }

    // Gives the very range back that was taken, even if the header has changed since. Without
    // effect on a lock that is not held.
    void Release();

    // Lets go of the range without a call: the file has been closed, and the lock went with it.
    void Forget() { file_ = nullptr; }

  private:
    void* file_ = nullptr;  // borrowed; null when nothing is held
    int64_t offset_ = 0;
    int64_t length_ = 0;
};

}  // namespace ovrasql
