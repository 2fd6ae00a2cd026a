#pragma once

// FileClaims: keeps the files of one program's statements from being replaced under them.
//
// Pack and ALTER TABLE write a table anew into files under temporary names and rename those over
// the old ones. A process in the middle of a statement would go on writing to files without a name,
// or read a new data file with an old memo file. Therefore
//
// 1. whoever opens a file for a statement claims it, shared, until the statement or the last view
//    has ended; a file that was replaced while the claim was waited for is opened anew;
// 2. whoever begins a rebuild, which is when a temporary file is made beside a file, claims that
//    file for himself alone, and the new one as well, until all new files of the table have their
//    places.
//
// So a rebuild waits for the statements and views that use the table, and statements that come
// later wait for the rebuild, also for one that still waits. A statement that turns out to be a
// rebuild when it has opened the table already cannot wait: it is refused, and run again with every
// opening for itself alone.
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

class FileClaims {
  public:
    // Opens a file and claims it. Null on failure, with the reason in `error`.
    std::unique_ptr<PosixFile> Open(const std::string& path, int32_t flags, int32_t timeout,
                                    std::string* error);

    // Opened files are known from here to there. The program's services call both.
    void Add(PosixFile* file) { files_.push_back(file); }
    void Remove(PosixFile* file);

    // Before a temporary file is made beside `path`: claims the file at that path, if there is one.
    // The handle in `claim` holds it and goes into AddTemporary. `suffix` receives what the new
    // name is to have behind the old one.
    bool BeginRebuild(const std::string& path, int32_t timeout, std::unique_ptr<PosixFile>* claim,
                      std::string* suffix, std::string* error);
    void AddTemporary(PosixFile* temporary, std::unique_ptr<PosixFile> claim);

    // The temporary file has got its place or is deleted. With the last one the claims end.
    void Settle(const std::string& temporaryPath);

    // Around every call of the library. With views still open the claims go on.
    void BeginCall(bool exclusive);
    void EndCall(bool viewsAreOpen);

    // The call met a file in use by others that it had to have for itself.
    bool WasRefused() const { return refused_; }

    // A lock for writing was refused since the file was replaced. The rest of the call must not
    // write anything: CREATE INDEX would list an index over records that are gone.
    void NoteReplaced() { metReplaced_ = true; }
    bool MetReplaced() const { return metReplaced_; }

  private:
    struct Rebuild {
        std::string temporaryPath;
        std::unique_ptr<PosixFile> oldFile;  // null where there was none
        std::unique_ptr<PosixFile> newFile;
    };

    // Makes up for a rebuild that was interrupted, under a claim for itself alone.
    static bool FinishRebuild(PosixFile* file, ClaimMode mode, int32_t timeout);
    bool ClaimOld(const std::string& path, int32_t timeout, std::unique_ptr<PosixFile>* claim,
                  std::string* error);
    PosixFile* LastOpened(const std::string& path);
    bool ClaimOpened(PosixFile* file, std::unique_ptr<PosixFile>* claim, std::string* error);

    std::vector<PosixFile*> files_;
    std::vector<Rebuild> rebuilds_;  // of one table
    // A temporary file was closed: no further one belongs to the same table.
    bool rebuildsComplete_ = false;
    bool exclusive_ = false;
    bool hasClaims_ = false;
    bool refused_ = false;
    bool metReplaced_ = false;
};

}  // namespace ovrahost
