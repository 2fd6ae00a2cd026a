#pragma once

// TableRebuild: the new files of one table, from when the first is made until the library turns to
// another table.
//
// Each old file is claimed for the rebuild alone before its new one is made, and the new one as
// well; all claims are held until the next file is opened or the call has ended. So whoever opens
// the table meanwhile waits, and never gets a new data file with an old memo file. Not only until
// the last new file has its place: an old memo file without a successor is deleted after that.
//
// The first new file is the data file. It carries the mark, and the names of the others its number,
// for others to finish what a process did not that died (interrupted_swap.h). An old file that has
// other names is marked as well, and keeps the mark when it is replaced.
//
// Belongs to a HostProgram and its thread.

#include <memory>
#include <string>
#include <vector>

#include "host/posix_file.h"

namespace ovrahost {

class TableRebuild {
  public:
    // Before any file is opened or made. When a new file of this table was closed, the next one is
    // another table's: this one has all its files in place, or its copying has failed.
    void BeginFile();

    // What the new file's name is to have behind that of the file whose place it takes; may be
    // empty.
    std::string Suffix() const;

    // Takes up a new file. `oldFile` holds the claim on the old one, null where there is none. On
    // failure, which has its reason in `error`, or where something is thrown, the new file is no
    // part of the rebuild.
    bool Add(PosixFile* newFile, std::unique_ptr<PosixFile> oldFile, std::string* error);

    // A file is closed that may be one of the new ones.
    void NoteClosed(const std::string& path);

    // Whether a new file may get its place. The data file may not when the old one was removed, for
    // which no claim is needed: it would bring a dropped table back, or go over one that was
    // created in its place.
    bool MayTakePlace(const std::string& path) const;

    // A new file has got its place or is deleted. With the last one the mark goes.
    void Settle(const std::string& path);

    // Gives all claims back. The mark stays with a data file that others are to finish after.
    void End();

  private:
    struct File {
        std::string path;                    // the temporary one; empty once settled
        std::unique_ptr<PosixFile> oldFile;  // null where there was none
        std::unique_ptr<PosixFile> newFile;
    };

    std::vector<File> files_;
    bool isComplete_ = false;  // a new file was closed or settled: no further one belongs to it
};

}  // namespace ovrahost
