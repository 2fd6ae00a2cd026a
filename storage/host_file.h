#pragma once

// HostFile: owns one open file of the host and closes it when it goes. Reads and writes are all or
// nothing: a short count is a failure. On a file that is not open every operation fails and the
// host is not called, so an object whose opening failed may be asked anything.

#include <cstdint>
#include <utility>

#include "library/host_services.h"

namespace ovrasql {

class HostFile {
  public:
    HostFile() = default;
    explicit HostFile(void* handle) : handle_(handle) {}  // takes the handle over; null is none
    ~HostFile() { Close(); }

    HostFile(const HostFile&) = delete;
    HostFile& operator=(const HostFile&) = delete;

    [[nodiscard]] bool IsOpen() const { return handle_ != nullptr; }
    [[nodiscard]] void* Handle() const { return handle_; }  // borrowed

    // Closes what it held, and takes the handle over.
    void Take(void* handle) {
        Close();
        handle_ = handle;
    }

    // Hands the handle back without closing it; closing is then the caller's.
    void* Release() { return std::exchange(handle_, nullptr); }

    void Close() {
        if (handle_ != nullptr) {
            ovFile_Close(std::exchange(handle_, nullptr));
        }
    }

    [[nodiscard]] bool Seek(int64_t offset) {
        return handle_ != nullptr && ovFile_Seek(handle_, offset) >= 0;
    }

    [[nodiscard]] bool Read(void* buffer, int32_t length) {
        return handle_ != nullptr && ovFile_Read(handle_, buffer, length) == length;
    }

    // Reads what there is, up to `length` bytes: 0 at the end, -1 on a failure or on a count that
    // the host can't have read.
    [[nodiscard]] int32_t ReadSome(void* buffer, int32_t length) {
        const int32_t count = handle_ == nullptr ? -1 : ovFile_Read(handle_, buffer, length);
        return count >= 0 && count <= length ? count : -1;
    }

    [[nodiscard]] bool Write(const void* buffer, int32_t length) {
        return handle_ != nullptr && ovFile_Write(handle_, buffer, length) == length;
    }

    [[nodiscard]] bool ReadAt(int64_t offset, void* buffer, int32_t length) {
        return Seek(offset) && Read(buffer, length);
    }

    [[nodiscard]] bool WriteAt(int64_t offset, const void* buffer, int32_t length) {
        return Seek(offset) && Write(buffer, length);
    }

  private:
    void* handle_ = nullptr;
};

}  // namespace ovrasql
