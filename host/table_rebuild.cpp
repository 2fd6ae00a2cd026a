#include "host/table_rebuild.h"

#include <algorithm>
#include <utility>

#include "host/interrupted_swap.h"

namespace ovrahost {

void TableRebuild::BeginFile() {
    if (isComplete_) {
        End();
    }
}

std::string TableRebuild::Suffix() const {
    return files_.empty() ? std::string() : FollowerSuffix(files_.front().newFile->Number());
}

bool TableRebuild::Add(PosixFile* newFile, std::unique_ptr<PosixFile> oldFile, std::string* error) {
    if (newFile->Claim(ClaimMode::kExclusive, 0) != 0) {  // nobody else knows of it yet
        *error = newFile->Error();
        return false;
    }
    const bool isDataFile = files_.empty();
    if (isDataFile) {
        ForgetSwap(newFile->Path(), newFile->Number());
    }
    files_.push_back({newFile->Path(), std::move(oldFile), newFile->Duplicate()});
    const File& added = files_.back();
    // The first memo file of a table is as open to others as the data file.
    added.newFile->TakePermissionsOf(added.oldFile != nullptr ? *added.oldFile
                                                              : *files_.front().newFile);
    if (added.oldFile != nullptr) {
        // Somebody may have opened it and not claimed it yet. Other names would let it pass for a
        // file that is in its place.
        if (added.oldFile->HasOtherNames()) {
            added.oldFile->Mark();
        }
    }
    if (isDataFile) {
        added.newFile->Mark();
    }
    return true;
}

void TableRebuild::NoteClosed(const std::string& path) {
    isComplete_ =
        isComplete_ || std::any_of(files_.begin(), files_.end(),
                                   [&path](const File& file) { return file.path == path; });
}

bool TableRebuild::MayTakePlace(const std::string& path) const {
    return files_.empty() || files_.front().path != path || files_.front().oldFile == nullptr ||
           !files_.front().oldFile->IsReplaced();
}

void TableRebuild::Settle(const std::string& path) {
    const auto found = std::find_if(files_.begin(), files_.end(),
                                    [&path](const File& file) { return file.path == path; });
    if (found == files_.end()) {
        return;
    }
    found->path.clear();
    isComplete_ = true;
    if (std::all_of(files_.begin(), files_.end(),
                    [](const File& file) { return file.path.empty(); })) {
        files_.front().newFile->Unmark();
    }
}

// Dropped, and not only closed: the library may have an old or a new file open still.
void TableRebuild::End() {
    for (const File& file : files_) {
        if (file.oldFile != nullptr) {
            if (file.oldFile->IsMarked() && !file.oldFile->IsReplaced()) {
                file.oldFile->Unmark();
            }
            file.oldFile->DropClaim();
        }
        file.newFile->DropClaim();
    }
    files_.clear();
    isComplete_ = false;
}

}  // namespace ovrahost
