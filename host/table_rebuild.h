#pragma once

// TableRebuild: the new files of one table, from when the first is made until the last has its
// place.
//
// Each old file is claimed for the rebuild alone before its new one is made, and the new one as
// well; all claims are held until each new file has got its place or is deleted, or until the call
// has ended. So whoever opens the table meanwhile waits, and never gets a new data file with an old
// memo file.
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
    // Before a new file is made. When a file of this table was closed, the next one is another
    // table's, and the copying of this one has failed.
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

    // A new file has got its place or is deleted. With the last one the rebuild ends.
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
    bool isComplete_ = false;  // a new file was closed: no further one belongs to the table
};

}  // namespace ovrahost
