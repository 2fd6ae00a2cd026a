#include "host/file_claims.h"

#include <algorithm>

#include "host/file_system.h"
#include "host/interrupted_swap.h"

namespace ovrahost {

namespace {

// How often a file is opened anew that was replaced while its claim was waited for.
constexpr int kOpenTries = 100;
constexpr int32_t kReadWrite = kOpenRead | kOpenWrite;

}  // namespace

ClaimMode FileClaims::SharedMode() const {
    return hasClaims_ ? ClaimMode::kShared : ClaimMode::kSharedInTurn;
}

std::unique_ptr<PosixFile> FileClaims::Open(const std::string& path, int32_t flags, int32_t timeout,
                                            std::string* error) {
    if (kind_ != CallKind::kRebuilds) {
        return OpenAs(SharedMode(), path, flags, timeout, error);
    }
    DropOlderClaims(path, nullptr);
    auto opened = OpenAs(ClaimMode::kExclusive, path, flags, timeout, error);
    if (opened == nullptr &&
        (error->starts_with(FileInUseText()) || error->starts_with(FileNotLockedText()))) {
        refusal_ = *error;
    }
    return opened;
}

std::unique_ptr<PosixFile> FileClaims::OpenAs(ClaimMode mode, const std::string& path,
                                              int32_t flags, int32_t timeout, std::string* error) {
    for (int attempt = 0; attempt < kOpenTries; ++attempt) {
        auto file = PosixFile::OpenClaimed(path, flags, mode, timeout, error);
        if (file == nullptr) {
            return nullptr;
        }
        if (file->WasReplacedBeforeClaim()) {
            continue;
        }
        hasClaims_ = true;
        if (!file->IsMarked()) {
            return file;
        }
        if (!FinishRebuild(file.get(), mode, timeout, error)) {
            return nullptr;
        }
        if (!file->IsReplaced()) {
            return file;
        }
    }
    *error = FileInUseText();
    return nullptr;
}

// Also a file that was replaced by another can carry the mark, and is no longer where it was.
//
// A living process that puts files in their places has claimed them for itself alone. So the mark
// is that of a dead one, unless others that have seen it were faster.
//
// What cannot be finished must not be used: texts would be read that belong to other rows, and what
// is written now would be lost with the old files when somebody else finishes it.
bool FileClaims::FinishRebuild(PosixFile* file, ClaimMode mode, int32_t timeout,
                               std::string* error) {
    if (!IsSwapFinished(file->Path(), file->Number(), error)) {
        file->DropClaim();  // of several that hold one, none would ever be alone
        if (file->Claim(ClaimMode::kExclusive, timeout) != 0) {
            *error = file->Error();
            return false;
        }
        std::string ignored;
        if (!FinishSwap(file->Path(), file->Number(), error) &&
            !IsSwapFinished(file->Path(), file->Number(), &ignored)) {
            return false;
        }
    }
    file->Unmark();
    error->clear();
    if (mode != ClaimMode::kExclusive && file->Claim(ClaimMode::kShared, timeout) != 0) {
        *error = file->Error();
        return false;
    }
    return true;
}

void FileClaims::Remove(PosixFile* file) {
    files_.erase(std::remove_if(files_.begin(), files_.end(),
                                [file](const Opened& opened) { return opened.file == file; }),
                 files_.end());
}

PosixFile* FileClaims::OpenedInThisCall(const std::string& path) {
    const auto found = std::find_if(files_.rbegin(), files_.rend(), [&](const Opened& opened) {
        return opened.call == call_ && opened.file->Path() == path;
    });
    return found == files_.rend() ? nullptr : found->file;
}

// The program's own handles, which may be older, stand in no rebuild's way.
void FileClaims::DropOlderClaims(const std::string& path, const PosixFile* kept) {
    for (Opened& opened : files_) {
        if (opened.file != kept && opened.file->Path() == path && opened.file->IsClaimed()) {
            opened.file->DropClaim();
            opened.gaveWay = true;
        }
    }
}

// Views of tables that the call could not rebuild, or not all of them, keep others out again.
void FileClaims::ReturnOlderClaims() {
    for (Opened& opened : files_) {
        if (opened.gaveWay) {
            opened.file->ClaimBack();
            opened.gaveWay = false;
        }
    }
}

bool FileClaims::ClaimAgain(PosixFile* file, int32_t timeout) {
    if (!isInCall_ || file->IsClaimed()) {
        return true;
    }
    if (file->Claim(SharedMode(), timeout) != 0) {
        ForbidWriting(file->Error());
        return false;
    }
    hasClaims_ = true;
    // Without the claim the next call that uses the file is told so, too.
    if (file->IsReplaced()) {
        file->DropClaim();
        ForbidWriting(FileReplacedText());
    }
    return true;
}

bool FileClaims::ClaimForRebuild(const std::string& path, int32_t timeout,
                                 std::unique_ptr<PosixFile>* claim, std::string* error) {
    PosixFile* const opened = OpenedInThisCall(path);
    DropOlderClaims(path, opened);
    if (opened != nullptr) {
        if (!ClaimOpened(opened, error)) {
            return false;
        }
        *claim = opened->Duplicate();
        return true;
    }
    if (!FileExists(path)) {
        return true;
    }
    *claim = OpenAs(ClaimMode::kExclusive, path, kReadWrite, timeout, error);
    return *claim != nullptr;
}

// The table was opened a moment ago and its count of records read: nobody may have appended any
// since. Waiting for others would let them do so. After a refusal the file is shared again, or
// others would be kept out for as long as the library keeps it open.
bool FileClaims::ClaimOpened(PosixFile* file, std::string* error) {
    if (file->Claim(ClaimMode::kExclusive, 0) != 0 || file->IsReplaced() || !file->IsUntouched()) {
        file->Claim(ClaimMode::kShared, 0);
        refusal_ = *error = FileInUseText();
        return false;
    }
    return true;
}

void FileClaims::BeginCall(CallKind kind) {
    ++call_;
    isInCall_ = true;
    kind_ = kind;
    refusal_.clear();
    whyNotToWrite_.clear();
}

void FileClaims::EndCall(bool viewsAreOpen) {
    isInCall_ = false;
    kind_ = CallKind::kRunsStatement;
    hasClaims_ = viewsAreOpen;
    if (viewsAreOpen) {
        ReturnOlderClaims();
        return;
    }
    for (Opened& opened : files_) {
        opened.file->DropClaim();
        opened.gaveWay = false;
    }
}

}  // namespace ovrahost
