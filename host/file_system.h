#pragma once

// Operations on files by path, with system paths. Each gives 0 on success and -1 on failure, with
// the system's text in `error`.

#include <cstdint>
#include <memory>
#include <string>

#include "host/posix_file.h"

namespace ovrahost {

// Also where it can't be told.
bool FileExists(const std::string& path);
bool IsDirectory(const std::string& path);
int32_t MakeDirectory(const std::string& path, std::string* error);
int32_t RemoveDirectory(const std::string& path, std::string* error);
int32_t DeleteFile(const std::string& path, std::string* error);
int32_t RenameFile(const std::string& from, const std::string& to, std::string* error);

// A new file beside `path` that no other process can have made: the name carries the process, a
// counter and the clock, and the file must not exist before. `suffix` comes with what the name is
// to have in front of that, and receives all that was put behind the given path. Null on failure.
std::unique_ptr<PosixFile> MakeTemporaryFile(const std::string& path, int32_t flags,
                                             std::string* suffix, std::string* error);

}  // namespace ovrahost
