// The file services that the library calls, over PosixFile and the operations on paths.

#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "host/file_system.h"
#include "host/host_program.h"
#include "host/posix_file.h"
#include "ovrasql/services.h"

using ovrahost::HostProgram;
using ovrahost::PosixFile;

namespace {

// A file handle of the library: the file, with the program whose lock timeout holds for it.
struct OpenFile {
    std::unique_ptr<PosixFile> file;
    HostProgram* program;
};

HostProgram* Program(void* handle) { return static_cast<HostProgram*>(handle); }
PosixFile* File(void* handle) { return static_cast<OpenFile*>(handle)->file.get(); }

// Runs an operation on a resolved path. What goes wrong, running out of memory included, ends in
// the program's last error: nothing thrown reaches the library.
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
        return failure;
    }
}

void* HandOut(std::unique_ptr<PosixFile> file, void* program) {
    auto opened = std::make_unique<OpenFile>(OpenFile{std::move(file), Program(program)});
    opened->program->Claims().Add(opened->file.get());
    return opened.release();
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

// A copy that the library frees with ovProgram_Free.
char* AllocateText(const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.c_str(), text.size() + 1);
    }
    return copy;
}

}  // namespace

extern "C" {

void* ovFile_Open(void* program, int32_t location, const char* path, int32_t length,
                  int32_t flags) {
    return OnPath<void*>(program, location, path, length, nullptr,
                         [&](const std::string& resolved, std::string* error) -> void* {
                             auto file = Open(Program(program), resolved, flags, error);
                             return file == nullptr ? nullptr : HandOut(std::move(file), program);
                         });
}

int32_t ovFile_Exists(void* program, int32_t location, const char* path, int32_t length) {
    return OnPath<int32_t>(program, location, path, length, 0,
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
                               Program(program)->Claims().Settle(resolved);
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
            const int32_t result = ovrahost::RenameFile(from, to, error);
            // What did not get its place is left for the next process that opens the table.
            if (result == 0) {
                Program(program)->Claims().Settle(from);
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
            std::unique_ptr<PosixFile> claim;
            std::string suffix;
            if (!claims.BeginRebuild(resolved, Program(program)->LockTimeout(), &claim, &suffix,
                                     error)) {
                return nullptr;
            }
            auto file = ovrahost::MakeTemporaryFile(resolved, flags, &suffix, error);
            if (file == nullptr) {
                return nullptr;
            }
            claims.AddTemporary(file.get(), std::move(claim));
            // The name is given in the library's own terms, relative where the given path was.
            const std::string given = std::string(path, static_cast<size_t>(length)) + suffix;
            *name = AllocateText(given);
            *nameLength = *name == nullptr ? 0 : static_cast<int32_t>(given.size());
            return HandOut(std::move(file), program);
        });
}

void ovFile_Close(void* file) {
    if (file != nullptr) {
        static_cast<OpenFile*>(file)->program->Claims().Remove(File(file));
        delete static_cast<OpenFile*>(file);
    }
}

int32_t ovFile_Read(void* file, void* buffer, int32_t length) {
    return file == nullptr ? 0 : File(file)->Read(buffer, length);
}

int32_t ovFile_Write(void* file, const void* buffer, int32_t length) {
    return file == nullptr ? 0 : File(file)->Write(buffer, length);
}

int64_t ovFile_Seek(void* file, int64_t offset) {
    return file == nullptr ? -1 : File(file)->Seek(offset);
}

int32_t ovFile_Lock(void* file, int32_t mode, int64_t offset, int64_t length) {
    if (file == nullptr) {
        return -1;
    }
    const auto lockMode = mode == 1 ? ovrahost::LockMode::kShared : ovrahost::LockMode::kExclusive;
    HostProgram* program = static_cast<OpenFile*>(file)->program;
    ovrahost::FileClaims& claims = program->Claims();
    if (lockMode == ovrahost::LockMode::kExclusive && claims.MetReplaced()) {
        return File(file)->RefuseAsReplaced();
    }
    const int32_t result = File(file)->Lock(lockMode, offset, length, program->LockTimeout());
    if (result != 0 && File(file)->IsReplaced()) {
        claims.NoteReplaced();
    }
    return result;
}

int32_t ovFile_Release(void* file, int64_t offset, int64_t length) {
    return file == nullptr ? -1 : File(file)->Release(offset, length);
}

const char* ovFile_Error(void* program, void* file, int32_t* length) {
    static const std::string none;
    const std::string& text = file != nullptr      ? File(file)->Error()
                              : program != nullptr ? Program(program)->LastError()
                                                   : none;
    if (length != nullptr) {
        *length = static_cast<int32_t>(text.size());
    }
    return text.c_str();
}

void ovProgram_Free(void* /*program*/, void* block) { std::free(block); }

}  // extern "C"
