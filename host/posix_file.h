#pragma once

// PosixFile: one open file, the only place of the host that reads, writes and locks.
//
// The position is kept here and the file is read and written at offsets, so a seek costs no system
// call. Two handles of one file conflict in their locks even inside one process, and a handle drops
// its own when it is closed (descriptor.h).
//
// Renaming another file over an open one leaves its handles with a file that has no name: what is
// written there is lost. So a lock for writing is refused once the path leads elsewhere, and a
// claim (file_claims.h) keeps others from replacing the file in the first place.
//
// Short transfers are carried on until they are complete, until the end of the file or until they
// fail; an interrupted call is started again. A failed operation leaves its reason in Error().
// One thread at a time.

#include <cstdint>
#include <memory>
#include <string>

#include "host/descriptor.h"

struct stat;

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

// An exclusive lock is refused on a file that was replaced, but for who asks for it to read: then
// it is what is written there that is refused.
enum class LockMode { kShared, kExclusive, kExclusiveToRead };

// What a claim on a file (PosixFile::Claim) asks for.
enum class ClaimMode { kShared, kSharedInTurn, kExclusive };

class PosixFile {
  public:
    // Null on failure, with the reason in `error` (an errno value).
    static std::unique_ptr<PosixFile> Open(const std::string& path, int32_t flags, int* error);

    // The same, with a claim on the file, which is waited for.
    static std::unique_ptr<PosixFile> OpenClaimed(const std::string& path, int32_t flags,
                                                  ClaimMode mode, int32_t timeoutMilliseconds,
                                                  std::string* error);

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

    // A claim is a lock far behind the last byte that a file can have. It holds until it is dropped
    // or the file is closed; another one replaces it. Who waits for an exclusive one keeps those
    // out that ask for kSharedInTurn, or there would always be somebody. Who has a claim on any
    // file already must not wait so, since the other may be waiting for that one. The timeout is
    // that of the whole.
    //
    // A shared claim that fails for another reason than somebody else's is done without: where
    // files cannot be locked at all, this host does not stand in the way of reading them.
    int32_t Claim(ClaimMode mode, int32_t timeoutMilliseconds);
    void DropClaim();
    // A claim that was dropped is had again, shared, if nobody has replaced the file since and
    // nobody else is in the way now. Fails in silence and takes no memory.
    void ClaimBack();
    bool IsClaimed() const { return descriptor_->IsClaimed(); }

    // A second handle of the same open file: they have its locks and its claim in common, which
    // last until both are closed.
    std::unique_ptr<PosixFile> Duplicate() const;

    // Whether the path leads to another file by now, or to none.
    bool IsReplaced() const;

    // The same of a file that was just opened with a claim, without a look at the path where it can
    // be known without. A file that has other names is only told from its replacement when it was
    // marked before it was replaced.
    bool WasReplacedBeforeClaim() const;
    bool HasOtherNames() const { return state_.names > 1; }

    // Whether nobody has written since the file was opened, and claimed if it was, as far as its
    // length and the time of its last change tell.
    bool IsUntouched() const;

    // A bit of the file's permissions that means nothing to the system on a file, so that it costs
    // nothing to look at when the file is opened. What it means: interrupted_swap.h.
    bool IsMarked() const;
    void Mark();
    void Unmark();

    // A new file is to be as open to others as the one whose place it takes, and theirs.
    void TakePermissionsOf(const PosixFile& other);

    // Looks at the file again. Whether it could be.
    bool Refresh() { return Describe() == 0; }

    // The number that the system knows the file by, whatever its name.
    uint64_t Number() const { return state_.number; }

    // Fails an operation for a reason that lies outside of the file. Gives -1.
    int32_t Refuse(const std::string& reason);

    const std::string& Path() const { return path_; }
    const std::string& Error() const { return error_; }

  private:
    // What tells one file from another, and one state of it from the next.
    struct State {
        uint64_t device = 0;
        uint64_t number = 0;
        uint64_t names = 0;
        uint32_t owner = 0;
        uint32_t group = 0;
        uint32_t permissions = 0;
        int64_t size = 0;
        int64_t seconds = 0;
        int64_t nanoseconds = 0;

        bool IsSameFileAs(const State& other) const {
            return device == other.device && number == other.number;
        }
    };

    PosixFile(std::shared_ptr<Descriptor> descriptor, std::string path, int32_t flags);

    // Before the file is described.
    static std::unique_ptr<PosixFile> OpenOnly(const std::string& path, int32_t flags, int* error);
    static State StateFrom(const struct stat& status);

    // Takes the file's state down. An errno value for what is not a file, else 0.
    int Describe();

    class Patience;
    // 0 when the lock was taken, else the errno value. One that others hold is waited for.
    int AwaitLock(LockMode mode, int64_t offset, int64_t length, Patience* patience);
    int32_t FailLock(int error, int32_t timeoutMilliseconds);
    int AwaitClaim(ClaimMode mode, Patience* patience);
    void Fail(const std::string& reason) { error_ = reason; }
    void SetPermissions(uint32_t permissions);

    std::shared_ptr<Descriptor> descriptor_;
    int32_t flags_;
    bool hasWaited_ = false;   // for any lock
    bool isReadOnly_ = false;  // while there is no claim: it was replaced
    int64_t position_ = 0;
    State state_;  // as the file was opened or claimed
    std::string path_;
    std::string error_;
};

// The system's text for an errno value. The library puts the path in front of it, in its own words.
std::string SystemErrorText(int error);

// Why a claim is refused, and why a lock for writing is.
std::string FileInUseText();
std::string FileNotLockedText();
std::string FileReplacedText();

}  // namespace ovrahost
