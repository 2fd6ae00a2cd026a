#pragma once

// FileClaims: keeps the files of one program's statements from being replaced under them.
//
// Pack and ALTER TABLE write a table anew into files under temporary names and rename those over
// the old ones. A process in the middle of a statement would go on writing to files without a name,
// or read a new data file with an old memo file. Therefore
//
// 1. whoever opens a file for a statement, or uses one again that an earlier statement has opened,
//    claims it, shared, until the statement or the last view has ended; a file that was replaced
//    while the claim was waited for is opened anew;
// 2. whoever begins a rebuild, which is when a temporary file is made beside a file, claims that
//    file for himself alone (table_rebuild.h).
//
// So a rebuild waits for the statements and views that use the table, and statements that come
// later wait for the rebuild, also for one that still waits. A statement that turns out to be a
// rebuild when it has opened the table already cannot wait: it is refused, and run again with every
// opening for itself alone. A statement that uses a file which it could not claim, or which was
// replaced before, must not write any more.
//
// What a process did not finish that died while the new files got their places is made up for by
// the next one that opens the table (interrupted_swap.h).
//
// A claim is a byte-range lock, gone with the process. Belongs to a HostProgram and its thread.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/posix_file.h"

namespace ovrahost {

// What a call of the library does: opens the catalog, whose files are never replaced; runs a
// statement; rebuilds tables.
enum class CallKind { kOpensDatabase, kRunsStatement, kRebuilds };

class FileClaims {
  public:
    // Opens a file and claims it. Null on failure, with the reason in `error`.
    std::unique_ptr<PosixFile> Open(const std::string& path, int32_t flags, int32_t timeout,
                                    std::string* error);

    // Opened files are known from here to there. The program's services call both.
    void Add(PosixFile* file) { files_.push_back({file, call_}); }
    void Remove(PosixFile* file);

    // Claims a file of an earlier call, which the library has kept open. False when it cannot be
    // had, with the reason in the file. One that was replaced can be read, and no more.
    bool ClaimAgain(PosixFile* file, int32_t timeout);

    // Claims the file at a path for a rebuild. The handle in `claim` holds the claim; it is null
    // where there is no file. The program's own views give theirs up, and read the old file on;
    // where it keeps its place they have them again when the call ends.
    bool ClaimForRebuild(const std::string& path, int32_t timeout,
                         std::unique_ptr<PosixFile>* claim, std::string* error);

    // Around every call of the library. With views still open the claims go on.
    void BeginCall(CallKind kind);
    void EndCall(bool viewsAreOpen);

    CallKind Kind() const { return kind_; }
    bool IsInCall() const { return isInCall_; }

    // Which call this is, or was the last; each has another number.
    uint64_t Call() const { return call_; }

    // The call met a file in use by others that it had to have for itself; why, or empty.
    const std::string& Refusal() const { return refusal_; }

    // Why the rest of the call must not write anything; empty while it may. CREATE INDEX would list
    // an index over records that are gone.
    void ForbidWriting(const std::string& reason) { whyNotToWrite_ = reason; }
    const std::string& WhyNotToWrite() const { return whyNotToWrite_; }

  private:
    struct Opened {
        PosixFile* file;
        uint64_t call;         // in which it was opened
        bool gaveWay = false;  // to a rebuild of the call at work
    };

    ClaimMode SharedMode() const;
    std::unique_ptr<PosixFile> OpenAs(ClaimMode mode, const std::string& path, int32_t flags,
                                      int32_t timeout, std::string* error);

    // Makes up for a rebuild that was interrupted, under a claim for itself alone.
    static bool FinishRebuild(PosixFile* file, ClaimMode mode, int32_t timeout, std::string* error);
    PosixFile* OpenedInThisCall(const std::string& path);
    void DropOlderClaims(const std::string& path, const PosixFile* kept);
    void ReturnOlderClaims();
    bool ClaimOpened(PosixFile* file, std::string* error);

    std::vector<Opened> files_;
    uint64_t call_ = 0;
    bool isInCall_ = false;
    CallKind kind_ = CallKind::kRunsStatement;
    bool hasClaims_ = false;
    std::string refusal_;
    std::string whyNotToWrite_;
};

}  // namespace ovrahost
