#include "storage/range_lock.h"

#include <utility>

#include "foundation/ignore_result.h"

namespace ovrasql {

RangeLock::RangeLock(void* file, LockMode mode, int64_t offset, int64_t length)
    : offset_(offset), length_(length) {
    if (file != nullptr && ovFile_Lock(file, static_cast<int32_t>(mode), offset, length) >= 0) {
        file_ = file;
    }
}

RangeLock::RangeLock(RangeLock&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)), offset_(other.offset_), length_(other.length_) {}

RangeLock& RangeLock::operator=(RangeLock&& other) noexcept {
    if (this != &other) {
        Release();
        file_ = std::exchange(other.file_, nullptr);
        offset_ = other.offset_;
        length_ = other.length_;
    }
    return *this;
}

void RangeLock::Release() {
    if (file_ == nullptr) {
        return;
    }
    // Required: a release that fails goes unreported. The work under the lock is done by then, and
    // there is nothing left to take back.
    IgnoreResult(ovFile_Release(file_, offset_, length_));
    file_ = nullptr;
}

}  // namespace ovrasql
