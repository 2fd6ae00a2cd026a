#include "host/posix_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace ovrahost {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A refused lock is asked for again after a pause that doubles from the first to the last of these:
// short at first, since most locks are held for one header update.
constexpr microseconds kFirstPause(20);
constexpr microseconds kLongestPause(2000);

// Claims lock the byte behind this one, and this one while they are waited for. No record, page or
// memo block reaches as far.
constexpr int64_t kTurnOffset = int64_t{1} << 62;
constexpr int64_t kClaimOffset = kTurnOffset + 1;

int SystemFlags(int32_t flags) {
    int result = 0;
    const bool reads = (flags & kOpenRead) != 0;
    const bool writes = (flags & kOpenWrite) != 0;
    result |= reads && writes ? O_RDWR : (writes ? O_WRONLY : O_RDONLY);
    result |= (flags & kOpenCreate) != 0 ? O_CREAT : 0;
    result |= (flags & kOpenTruncate) != 0 ? O_TRUNC : 0;
    result |= (flags & kOpenAppend) != 0 ? O_APPEND : 0;
    result |= (flags & kOpenMustNotExist) != 0 ? O_CREAT | O_EXCL : 0;
    return result;
}

constexpr uint32_t kPermissions = 07777;

bool IsBusy(int error) { return error == EAGAIN || error == EACCES; }

}  // namespace

// How long locks are waited for. The time begins with the first refusal, and goes on from one lock
// to the next.
class PosixFile::Patience {
  public:
    explicit Patience(int32_t timeoutMilliseconds) : timeout_(timeoutMilliseconds) {}

    // Waits until it is worth asking again. False when the time is over.
    bool Pause() {
        const auto now = steady_clock::now();
        if (!hasBegun_) {
            hasBegun_ = true;
            deadline_ = now + timeout_;
        }
        if (now >= deadline_) {
            return false;
        }
        std::this_thread::sleep_for(pause_);
        pause_ = std::min(pause_ * 2, kLongestPause);
        return true;
    }

  private:
    milliseconds timeout_;
    bool hasBegun_ = false;
    steady_clock::time_point deadline_;
    microseconds pause_ = kFirstPause;
};

std::string FileInUseText() { return "File is in use by another process or an open view"; }

std::string FileNotLockedText() { return "File cannot be locked"; }

std::string SystemErrorText(int error) { return std::generic_category().message(error); }

std::string FileReplacedText() {
    return "File was replaced by another process; open the database again";
}

std::unique_ptr<PosixFile> PosixFile::OpenOnly(const std::string& path, int32_t flags, int* error) {
    std::unique_ptr<PosixFile> file(new PosixFile(std::make_shared<Descriptor>(), path, flags));
    *error = file->descriptor_->Open(path, SystemFlags(flags));
    return *error == 0 ? std::move(file) : nullptr;
}

std::unique_ptr<PosixFile> PosixFile::Open(const std::string& path, int32_t flags, int* error) {
    auto file = OpenOnly(path, flags, error);
    if (file != nullptr) {
        *error = file->Describe();
    }
    return file != nullptr && *error == 0 ? std::move(file) : nullptr;
}

std::unique_ptr<PosixFile> PosixFile::OpenClaimed(const std::string& path, int32_t flags,
                                                  ClaimMode mode, int32_t timeoutMilliseconds,
                                                  std::string* error) {
    int reason = 0;
    auto file = OpenOnly(path, flags, &reason);
    if (file != nullptr && file->Claim(mode, timeoutMilliseconds) != 0) {
        *error = file->Error();
        return nullptr;
    }
    if (file != nullptr) {
        reason = file->Describe();
    }
    if (reason != 0) {
        *error = SystemErrorText(reason);
        return nullptr;
    }
    return file;
}

PosixFile::PosixFile(std::shared_ptr<Descriptor> descriptor, std::string path, int32_t flags)
    : descriptor_(std::move(descriptor)), flags_(flags), path_(std::move(path)) {}

int PosixFile::Describe() {
    struct stat status {};
    if (::fstat(descriptor_->Number(), &status) != 0) {
        return errno;
    }
    state_ = StateFrom(status);
    // A directory opens for reading; as a data file it is none.
    return S_ISDIR(status.st_mode) ? EISDIR : 0;
}

PosixFile::State PosixFile::StateFrom(const struct stat& status) {
    return {static_cast<uint64_t>(status.st_dev),
            static_cast<uint64_t>(status.st_ino),
            static_cast<uint64_t>(status.st_nlink),
            static_cast<uint32_t>(status.st_uid),
            static_cast<uint32_t>(status.st_gid),
            static_cast<uint32_t>(status.st_mode) & kPermissions,
            static_cast<int64_t>(status.st_size),
            static_cast<int64_t>(status.st_mtim.tv_sec),
            static_cast<int64_t>(status.st_mtim.tv_nsec)};
}

int32_t PosixFile::Read(void* buffer, int32_t length) {
    char* target = static_cast<char*>(buffer);
    int32_t done = 0;
    while (done < length) {
        const ssize_t count = ::pread(descriptor_->Number(), target + done,
                                      static_cast<size_t>(length - done), position_);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            Fail(SystemErrorText(errno));
            break;
        }
        if (count == 0) {
            Fail("Unexpected end of file");
            break;
        }
        done += static_cast<int32_t>(count);
        position_ += count;
    }
    return done;
}

int32_t PosixFile::Write(const void* buffer, int32_t length) {
    if (isReadOnly_ && !IsClaimed()) {
        Fail(FileReplacedText());
        return 0;
    }
    const char* source = static_cast<const char*>(buffer);
    int32_t done = 0;
    while (done < length) {
        const auto rest = static_cast<size_t>(length - done);
        const ssize_t count = (flags_ & kOpenAppend) != 0
                                  ? ::write(descriptor_->Number(), source + done, rest)
                                  : ::pwrite(descriptor_->Number(), source + done, rest, position_);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            Fail(SystemErrorText(count < 0 ? errno : ENOSPC));
            break;
        }
        done += static_cast<int32_t>(count);
        position_ += count;
    }
    return done;
}

int64_t PosixFile::Seek(int64_t offset) {
    if (offset < 0) {
        Fail(SystemErrorText(EINVAL));
        return -1;
    }
    position_ = offset;
    return position_;
}

int32_t PosixFile::Lock(LockMode mode, int64_t offset, int64_t length,
                        int32_t timeoutMilliseconds) {
    Patience patience(timeoutMilliseconds);
    const int error = AwaitLock(mode, offset, length, &patience);
    if (error != 0) {
        return FailLock(error, timeoutMilliseconds);
    }
    // The old file may still be read to its end. Nothing that is written there would be found
    // again.
    if (mode == LockMode::kShared || IsClaimed() || !IsReplaced()) {
        return 0;
    }
    if (mode == LockMode::kExclusiveToRead) {
        isReadOnly_ = true;
        return 0;
    }
    descriptor_->TryLock(F_UNLCK, offset, length);
    return Refuse(FileReplacedText());
}

int PosixFile::AwaitLock(LockMode mode, int64_t offset, int64_t length, Patience* patience) {
    const int16_t type = mode == LockMode::kShared ? F_RDLCK : F_WRLCK;
    int error = descriptor_->TryLock(type, offset, length);
    hasWaited_ = hasWaited_ || IsBusy(error);
    while (IsBusy(error) && patience->Pause()) {
        error = descriptor_->TryLock(type, offset, length);
    }
    return error;
}

int32_t PosixFile::FailLock(int error, int32_t timeoutMilliseconds) {
    Fail(IsBusy(error)
             ? "Lock not granted within " + std::to_string(timeoutMilliseconds) + " milliseconds"
             : SystemErrorText(error));
    return -1;
}

int32_t PosixFile::Release(int64_t offset, int64_t length) {
    const int error = descriptor_->TryLock(F_UNLCK, offset, length);
    if (error == 0) {
        return 0;
    }
    Fail(SystemErrorText(error));
    return -1;
}

int32_t PosixFile::Claim(ClaimMode mode, int32_t timeoutMilliseconds) {
    Patience patience(timeoutMilliseconds);
    const int error = AwaitClaim(mode, &patience);
    if (IsBusy(error)) {
        FailLock(error, timeoutMilliseconds);
        Fail(FileInUseText() + ": " + error_);
        return -1;
    }
    if (error != 0 && mode == ClaimMode::kExclusive) {
        FailLock(error, timeoutMilliseconds);
        Fail(FileNotLockedText() + ": " + error_);
        return -1;
    }
    // An older claim stands until another one takes its place.
    descriptor_->SetClaimed(error == 0 || IsClaimed());
    return 0;
}

int PosixFile::AwaitClaim(ClaimMode mode, Patience* patience) {
    if (mode == ClaimMode::kShared) {
        return AwaitLock(LockMode::kShared, kClaimOffset, 1, patience);
    }
    if (mode == ClaimMode::kSharedInTurn) {
        const int error = AwaitLock(LockMode::kShared, kTurnOffset, 2, patience);
        descriptor_->TryLock(F_UNLCK, kTurnOffset, 1);
        return error;
    }
    int error = descriptor_->TryLock(F_WRLCK, kClaimOffset, 1);
    if (!IsBusy(error)) {
        return error;
    }
    error = AwaitLock(LockMode::kExclusive, kTurnOffset, 1, patience);
    if (error == 0) {
        error = AwaitLock(LockMode::kExclusive, kClaimOffset, 1, patience);
        descriptor_->TryLock(F_UNLCK, kTurnOffset, 1);
    }
    return error;
}

void PosixFile::DropClaim() {
    if (IsClaimed()) {
        descriptor_->TryLock(F_UNLCK, kClaimOffset, 1);
        descriptor_->SetClaimed(false);
    }
}

void PosixFile::ClaimBack() {
    if (!IsReplaced() && descriptor_->TryLock(F_RDLCK, kClaimOffset, 1) == 0) {
        descriptor_->SetClaimed(true);
    }
}

std::unique_ptr<PosixFile> PosixFile::Duplicate() const {
    std::unique_ptr<PosixFile> file(new PosixFile(descriptor_, path_, flags_));
    file->state_ = state_;
    return file;
}

bool PosixFile::IsReplaced() const {
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR;
    }
    return !StateFrom(status).IsSameFileAs(state_);
}

// A file that another one was renamed over has a name less, and so none. Only where it may have had
// several, or there was time for more than one change, the path itself has to be looked up.
bool PosixFile::WasReplacedBeforeClaim() const {
    return (hasWaited_ || state_.names != 1) && IsReplaced();
}

bool PosixFile::IsUntouched() const {
    struct stat status {};
    if (::fstat(descriptor_->Number(), &status) != 0) {
        return false;
    }
    const State now = StateFrom(status);
    return now.size == state_.size && now.seconds == state_.seconds &&
           now.nanoseconds == state_.nanoseconds;
}

bool PosixFile::IsMarked() const { return (state_.permissions & S_ISVTX) != 0; }

void PosixFile::Mark() { SetPermissions(state_.permissions | S_ISVTX); }

void PosixFile::Unmark() { SetPermissions(state_.permissions & ~uint32_t{S_ISVTX}); }

// The administrator may give the owner and the group, anybody else no more than a group of his own.
// Before the permissions, of which a change of the owner takes some away.
void PosixFile::TakePermissionsOf(const PosixFile& other) {
    const State& wanted = other.state_;
    if ((state_.owner != wanted.owner || state_.group != wanted.group) &&
        (::fchown(descriptor_->Number(), wanted.owner, wanted.group) == 0 ||
         ::fchown(descriptor_->Number(), static_cast<uid_t>(-1), wanted.group) == 0)) {
        Refresh();
    }
    SetPermissions(other.state_.permissions & ~uint32_t{S_ISVTX});
}

// Where files have no permissions, or they are another user's to change, they stay as they are.
void PosixFile::SetPermissions(uint32_t permissions) {
    if (::fchmod(descriptor_->Number(), static_cast<mode_t>(permissions)) == 0) {
        state_.permissions = permissions;
    }
}

int32_t PosixFile::Refuse(const std::string& reason) {
    Fail(reason);
    return -1;
}

}  // namespace ovrahost
