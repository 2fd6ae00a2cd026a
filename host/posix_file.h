#pragma once

// PosixFile: one open file, the only place of the host that reads, writes and locks.
//
// The position is kept here and the file is read and written at offsets, so a seek costs no system
// call. Byte-range locks are open-file-description locks (fcntl F_OFD_SETLK): two handles of one
// file conflict with each other even inside one process, and closing a handle drops its own locks
// only.
//
// Short transfers are carried on until they are complete, until the end of the file or until they
// fail; an interrupted call is started again. A failed operation leaves its reason in Error().
// One thread at a time.

#include <cstdint>
#include <memory>
#include <string>

namespace ovrahost {

// The open flags that the library passes are sums of these bits.
enum OpenFlag : int32_t {
    kOpenRead = 1,
    kOpenWrite = 2,
    kOpenCreate = 4,
    kOpenTruncate = 8,
    kOpenAppend = 16,
    kOpenMustNotExist = 32,
};

enum class LockMode : int32_t { kShared = 1, kExclusive = 2 };

class PosixFile {
  public:
    // Null on failure, with the reason in `error` (an errno value).
    static std::unique_ptr<PosixFile> Open(const std::string& path, int32_t flags, int* error);

    ~PosixFile();
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;

    // Bytes transferred from the position on, which moves by as many. Fewer than asked for means
    // the end of the file (reading) or a failure.
    int32_t Read(void* buffer, int32_t length);
    int32_t Write(const void* buffer, int32_t length);

    // The new position, or -1 for a negative offset.
    int64_t Seek(int64_t offset);

    // 0 when the lock is held, -1 when it could not be had within the timeout (0: try once).
    int32_t Lock(LockMode mode, int64_t offset, int64_t length, int32_t timeoutMilliseconds);
    int32_t Release(int64_t offset, int64_t length);

    const std::string& Path() const { return path_; }
    const std::string& Error() const { return error_; }

  private:
    PosixFile(int descriptor, std::string path, bool append);

    // 0 when the lock was taken at once, else the errno value.
    int TryLock(int16_t type, int64_t offset, int64_t length) const;
    void Fail(const std::string& reason) { error_ = reason; }

    int descriptor_;
    bool append_;
    int64_t position_ = 0;
    std::string path_;
    std::string error_;
};

// The system's text for an errno value. The library puts the path in front of it, in its own words.
std::string SystemErrorText(int error);

}  // namespace ovrahost
