#include "host/file_claims.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/file_system.h"
#include "host/interrupted_swap.h"

namespace ovrahost {

namespace {

// How often a file is opened anew that was replaced while its claim was waited for.
constexpr int kOpenTries = 100;
constexpr int32_t kReadWrite = kOpenRead | kOpenWrite;

}  // namespace

std::unique_ptr<PosixFile> FileClaims::Open(const std::string& path, int32_t flags, int32_t timeout,
                                            std::string* error) {
    // The program's own handles, which may be older, stand in nobody's way.
    for (PosixFile* file : files_) {
        if (exclusive_ && file->Path() == path) {
            file->DropClaim();
        }
    }
    const ClaimMode mode = exclusive_   ? ClaimMode::kExclusive
                           : hasClaims_ ? ClaimMode::kShared
                                        : ClaimMode::kSharedInTurn;
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
        if (!FinishRebuild(file.get(), mode, timeout)) {
            *error = file->Error();
            return nullptr;
        }
        if (!file->IsReplaced()) {
            return file;
        }
    }
    *error = FileInUseText();
    return nullptr;
}

// A living process that puts files in their places has claimed them for itself alone. So the mark
// is that of a dead one, unless others that have seen it were faster.
bool FileClaims::FinishRebuild(PosixFile* file, ClaimMode mode, int32_t timeout) {
    if (!IsSwapUnfinished(file->Path(), file->Number())) {
        file->Unmark();
        return true;
    }
    file->DropClaim();  // of several that hold one, none would ever be alone
    if (file->Claim(ClaimMode::kExclusive, timeout) != 0) {
        return false;
    }
    FinishSwap(file->Path(), file->Number());
    // Otherwise somebody who may write to the folder finishes it later.
    if (!IsSwapUnfinished(file->Path(), file->Number())) {
        file->Unmark();
    }
    return file->Claim(mode == ClaimMode::kExclusive ? mode : ClaimMode::kShared, timeout) == 0;
}

void FileClaims::Remove(PosixFile* file) {
    files_.erase(std::remove(files_.begin(), files_.end(), file), files_.end());
    rebuildsComplete_ = rebuildsComplete_ ||
                        std::any_of(rebuilds_.begin(), rebuilds_.end(), [file](const auto& one) {
                            return one.temporaryPath == file->Path();
                        });
}

PosixFile* FileClaims::LastOpened(const std::string& path) {
    const auto found = std::find_if(files_.rbegin(), files_.rend(),
                                    [&path](const auto* file) { return file->Path() == path; });
    return found == files_.rend() ? nullptr : *found;
}

bool FileClaims::BeginRebuild(const std::string& path, int32_t timeout,
                              std::unique_ptr<PosixFile>* claim, std::string* suffix,
                              std::string* error) {
    if (rebuildsComplete_) {  // those of an earlier table, whose copying failed
        rebuilds_.clear();
        rebuildsComplete_ = false;
    }
    if (!rebuilds_.empty() && rebuilds_.front().newFile != nullptr) {
        *suffix = FollowerSuffix(rebuilds_.front().newFile->Number());
    }
    return ClaimOld(path, timeout, claim, error);
}

bool FileClaims::ClaimOld(const std::string& path, int32_t timeout,
                          std::unique_ptr<PosixFile>* claim, std::string* error) {
    PosixFile* const opened = LastOpened(path);
    for (PosixFile* file : files_) {
        if (file != opened && file->Path() == path) {
            file->DropClaim();
        }
    }
    if (opened != nullptr) {
        return ClaimOpened(opened, claim, error);
    }
    if (!FileExists(path)) {
        return true;
    }
    const bool wasExclusive = std::exchange(exclusive_, true);
    *claim = Open(path, kReadWrite, timeout, error);
    exclusive_ = wasExclusive;
    return *claim != nullptr;
}

// The table was opened a moment ago and its count of records read: nobody may have appended any
// since. Waiting for others would let them do so.
bool FileClaims::ClaimOpened(PosixFile* file, std::unique_ptr<PosixFile>* claim,
                             std::string* error) {
    if (file->Claim(ClaimMode::kExclusive, 0) != 0 || file->IsReplaced() || !file->IsUntouched()) {
        refused_ = true;
        *error = FileInUseText();
        return false;
    }
    *claim = file->Duplicate();
    if (*claim == nullptr) {
        *error = SystemErrorText(errno);
    }
    return *claim != nullptr;
}

void FileClaims::AddTemporary(PosixFile* temporary, std::unique_ptr<PosixFile> claim) {
    temporary->Claim(ClaimMode::kExclusive, 0);  // nobody else knows of it yet
    if (claim != nullptr) {
        temporary->TakePermissionsOf(*claim);
    }
    if (rebuilds_.empty()) {
        ForgetSwap(temporary->Path(), temporary->Number());
        temporary->Mark();
    }
    rebuilds_.push_back({temporary->Path(), std::move(claim), temporary->Duplicate()});
}

void FileClaims::Settle(const std::string& temporaryPath) {
    const auto found = std::find_if(
        rebuilds_.begin(), rebuilds_.end(),
        [&temporaryPath](const auto& rebuild) { return rebuild.temporaryPath == temporaryPath; });
    if (found == rebuilds_.end()) {
        return;
    }
    found->temporaryPath.clear();
    if (std::all_of(rebuilds_.begin(), rebuilds_.end(),
                    [](const auto& rebuild) { return rebuild.temporaryPath.empty(); })) {
        if (rebuilds_.front().newFile != nullptr) {
            rebuilds_.front().newFile->Unmark();
        }
        rebuilds_.clear();
        rebuildsComplete_ = false;
    }
}

void FileClaims::BeginCall(bool exclusive) {
    exclusive_ = exclusive;
    refused_ = false;
    metReplaced_ = false;
}

void FileClaims::EndCall(bool viewsAreOpen) {
    rebuilds_.clear();
    rebuildsComplete_ = false;
    exclusive_ = false;
    hasClaims_ = viewsAreOpen;
    for (PosixFile* file : files_) {
        if (!viewsAreOpen) {
            file->DropClaim();
        }
    }
}

}  // namespace ovrahost
