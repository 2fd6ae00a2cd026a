// The file services that the library calls, over PosixFile and the operations on paths.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "host/file_system.h"
#include "host/host_program.h"
#include "host/posix_file.h"
#include "ovrasql/services.h"

using ovrahost::HostProgram;
using ovrahost::kOutOfMemory;
using ovrahost::PosixFile;

namespace {

// A file handle of the library: the file, with the program whose lock timeout holds for it.
struct OpenFile {
    std::unique_ptr<PosixFile> file;
    HostProgram* program;
    bool mayBeReplaced;   // by a rebuild, so that it is used under a claim
    uint64_t usedInCall;  // the last that it was claimed for
};

HostProgram* Program(void* handle) { return static_cast<HostProgram*>(handle); }
PosixFile* File(void* handle) { return static_cast<OpenFile*>(handle)->file.get(); }

// Runs an operation on a file. Nothing thrown may reach the library; memory can run out, and then
// that is the file's last error.
template <class Result, class Operation>
Result OnFile(void* handle, Result failure, Operation operation) {
    if (handle == nullptr) {
        return failure;
    }
    try {
        return operation(static_cast<OpenFile*>(handle));
    } catch (const std::exception&) {
        File(handle)->Refuse(kOutOfMemory);
        return failure;
    }
}

// Runs an operation on a resolved path. What goes wrong ends in the program's last error.
template <class Result, class Operation>
Result OnPath(void* program, int32_t location, const char* path, int32_t length, Result failure,
              Operation operation) {
    if (program == nullptr) {
        return failure;
    }
    try {
        std::string resolved;
        if (!Program(program)->Resolve(location, path, length, &resolved)) {
            return failure;
        }
        std::string error;
        const Result result = operation(resolved, &error);
        if (!error.empty()) {
            Program(program)->SetLastError(error);
        }
        return result;
    } catch (const std::exception&) {
        Program(program)->SetLastError(kOutOfMemory);
        return failure;
    }
}

std::unique_ptr<OpenFile> NewHandle(void* program, bool mayBeReplaced) {
    return std::make_unique<OpenFile>(
        OpenFile{nullptr, Program(program), mayBeReplaced, Program(program)->Claims().Call()});
}

// Whether the file may be used. The library keeps a table open between calls for the names of its
// columns, and CREATE INDEX reads the records through that handle.
bool IsUsable(OpenFile* opened) {
    ovrahost::FileClaims& claims = opened->program->Claims();
    if (!opened->mayBeReplaced || opened->usedInCall == claims.Call()) {
        return true;
    }
    opened->usedInCall = claims.Call();
    return claims.ClaimAgain(opened->file.get(), opened->program->LockTimeout());
}

// Outside of a call there are the steps of views, which write nothing: they lock a table's header
// to learn whether it has grown, also that of the old file that they read on.
ovrahost::LockMode LockModeFor(int32_t mode, const ovrahost::FileClaims& claims) {
    if (mode == 1) {
        return ovrahost::LockMode::kShared;
    }
    return claims.IsInCall() ? ovrahost::LockMode::kExclusive
                             : ovrahost::LockMode::kExclusiveToRead;
}

// The trace file is no part of the database, and everybody may append to it.
bool IsDatabaseFile(int32_t flags) { return (flags & ovrahost::kOpenAppend) == 0; }

std::unique_ptr<PosixFile> Open(HostProgram* program, const std::string& path, int32_t flags,
                                std::string* error) {
    if (IsDatabaseFile(flags)) {
        return program->Claims().Open(path, flags, program->LockTimeout(), error);
    }
    int reason = 0;
    auto file = PosixFile::Open(path, flags, &reason);
    if (file == nullptr) {
        *error = ovrahost::SystemErrorText(reason);
    }
    return file;
}

// A copy that the library frees with ovProgram_Free. Null when there is no memory.
char* AllocateText(const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.c_str(), text.size() + 1);
    }
    return copy;
}

// Removes a new file of a rebuild, unless it is kept.
class NewFileGuard {
  public:
    explicit NewFileGuard(const OpenFile* opened) : opened_(opened) {}
    ~NewFileGuard() {
        if (!isKept_) {
            const std::string& path = opened_->file->Path();
            opened_->program->Claims().Remove(opened_->file.get());
            opened_->program->Rebuild().Settle(path);
            std::remove(path.c_str());
        }
    }
    NewFileGuard(const NewFileGuard&) = delete;
    NewFileGuard& operator=(const NewFileGuard&) = delete;

    void Keep() { isKept_ = true; }

  private:
    const OpenFile* opened_;
    bool isKept_ = false;
};

}  // namespace

extern "C" {

void* ovFile_Open(void* program, int32_t location, const char* path, int32_t length,
                  int32_t flags) {
    return OnPath<void*>(program, location, path, length, nullptr,
                         [&](const std::string& resolved, std::string* error) -> void* {
                             ovrahost::FileClaims& claims = Program(program)->Claims();
                             Program(program)->Rebuild().BeginFile();
                             const bool isCatalog =
                                 claims.Kind() == ovrahost::CallKind::kOpensDatabase;
                             auto opened = NewHandle(program, IsDatabaseFile(flags) && !isCatalog);
                             opened->file = Open(Program(program), resolved, flags, error);
                             if (opened->file == nullptr) {
                                 return nullptr;
                             }
                             claims.Add(opened->file.get());
                             return opened.release();
                         });
}

int32_t ovFile_Exists(void* program, int32_t location, const char* path, int32_t length) {
    // Where it can't be told, it is there: what is not there is made new, and a file is emptied by
    // it.
    return OnPath<int32_t>(program, location, path, length, 1,
                           [](const std::string& resolved, std::string*) {
                               return ovrahost::FileExists(resolved) ? 1 : 0;
                           });
}

int32_t ovFile_IsDirectory(void* program, int32_t location, const char* path, int32_t length) {
    return OnPath<int32_t>(program, location, path, length, 0,
                           [](const std::string& resolved, std::string*) {
                               return ovrahost::IsDirectory(resolved) ? 1 : 0;
                           });
}

int32_t ovFile_MakeDirectory(void* program, int32_t location, const char* path, int32_t length) {
    return OnPath<int32_t>(program, location, path, length, -1, ovrahost::MakeDirectory);
}

int32_t ovFile_RemoveDirectory(void* program, int32_t location, const char* path, int32_t length) {
    return OnPath<int32_t>(program, location, path, length, -1, ovrahost::RemoveDirectory);
}

int32_t ovFile_Delete(void* program, int32_t location, const char* path, int32_t length) {
    return OnPath<int32_t>(program, location, path, length, -1,
                           [&](const std::string& resolved, std::string* error) {
                               Program(program)->Rebuild().Settle(resolved);
                               return ovrahost::DeleteFile(resolved, error);
                           });
}

int32_t ovFile_Rename(void* program, int32_t location, const char* path, int32_t length,
                      int32_t newLocation, const char* newPath, int32_t newLength) {
    return OnPath<int32_t>(
        program, location, path, length, -1, [&](const std::string& from, std::string* error) {
            std::string to;
            if (!Program(program)->Resolve(newLocation, newPath, newLength, &to)) {
                return -1;
            }
            if (!Program(program)->Rebuild().MayTakePlace(from)) {
                *error = ovrahost::FileReplacedText();
                return -1;
            }
            const int32_t result = ovrahost::RenameFile(from, to, error);
            // What did not get its place is left for the next process that opens the table.
            if (result == 0) {
                Program(program)->Rebuild().Settle(from);
            }
            return result;
        });
}

void* ovFile_MakeTemporary(void* program, int32_t location, const char* path, int32_t length,
                           int32_t flags, char** name, int32_t* nameLength) {
    return OnPath<void*>(
        program, location, path, length, nullptr,
        [&](const std::string& resolved, std::string* error) -> void* {
            ovrahost::FileClaims& claims = Program(program)->Claims();
            ovrahost::TableRebuild& rebuild = Program(program)->Rebuild();
            rebuild.BeginFile();
            std::unique_ptr<PosixFile> claim;
            if (!claims.ClaimForRebuild(resolved, Program(program)->LockTimeout(), &claim, error)) {
                return nullptr;
            }
            std::string suffix = rebuild.Suffix();
            auto opened = NewHandle(program, /*mayBeReplaced=*/false);
            opened->file = ovrahost::MakeTemporaryFile(resolved, flags, &suffix, error);
            if (opened->file == nullptr) {
                return nullptr;
            }
            NewFileGuard guard(opened.get());
            if (!rebuild.Add(opened->file.get(), std::move(claim), error)) {
                return nullptr;
            }
            claims.Add(opened->file.get());
            // The name is given in the library's own terms, relative where the given path was.
            const std::string given = std::string(path, static_cast<size_t>(length)) + suffix;
            *name = AllocateText(given);
            if (*name == nullptr) {
                *error = kOutOfMemory;
                return nullptr;
            }
            *nameLength = static_cast<int32_t>(given.size());
            guard.Keep();
            return opened.release();
        });
}

void ovFile_Close(void* file) {
    if (file != nullptr) {
        HostProgram* program = static_cast<OpenFile*>(file)->program;
        program->Claims().Remove(File(file));
        program->Rebuild().NoteClosed(File(file)->Path());
        delete static_cast<OpenFile*>(file);
    }
}

int32_t ovFile_Read(void* file, void* buffer, int32_t length) {
    return OnFile<int32_t>(file, 0, [&](OpenFile* opened) {
        return IsUsable(opened) ? opened->file->Read(buffer, length) : 0;
    });
}

int32_t ovFile_Write(void* file, const void* buffer, int32_t length) {
    return OnFile<int32_t>(file, 0,
                           [&](OpenFile* opened) { return opened->file->Write(buffer, length); });
}

int64_t ovFile_Seek(void* file, int64_t offset) {
    return OnFile<int64_t>(file, -1, [&](OpenFile* opened) { return opened->file->Seek(offset); });
}

int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length) {
    return OnFile<int32_t>(file, -1, [&](OpenFile* opened) {
        ovrahost::FileClaims& claims = opened->program->Claims();
        const auto lockMode = LockModeFor(mode, claims);
        if (!IsUsable(opened)) {
            return -1;
        }
        if (lockMode == ovrahost::LockMode::kExclusive && !claims.WhyNotToWrite().empty()) {
            return opened->file->Refuse(claims.WhyNotToWrite());
        }
        const int32_t result =
            opened->file->Lock(lockMode, offset, length, opened->program->LockTimeout());
        if (result != 0 && opened->file->IsReplaced()) {
            claims.ForbidWriting(ovrahost::FileReplacedText());
        }
        return result;
    });
}

int32_t ovFile_Release(void* file, int64_t offset, int64_t length) {
    return OnFile<int32_t>(file, -1,
                           [&](OpenFile* opened) { return opened->file->Release(offset, length); });
}

const char* ovFile_Error(void* program, void* file, int32_t* length) {
    const std::string* text = nullptr;
    if (file != nullptr) {
        text = &File(file)->Error();
    } else if (program != nullptr) {
        text = &Program(program)->LastError();
    }
    if (length != nullptr) {
        *length = text == nullptr ? 0 : static_cast<int32_t>(text->size());
    }
    return text == nullptr ? "" : text->c_str();
}

void ovProgram_Free(void* /*program*/, void* block) { std::free(block); }

}  // extern "C"
