#include "host/file_system.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace ovrahost {

namespace {

// How often another name is tried when somebody's file has the one just made.
constexpr int kTemporaryNameTries = 100;

int32_t Outcome(int result, std::string* error) {
    if (result == 0) {
        return 0;
    }
    *error = SystemErrorText(errno);
    return -1;
}

std::string UniqueSuffix() {
    static std::atomic<uint32_t> counter{0};
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    char text[64];
    std::snprintf(text, sizeof text, "%" PRIx32 "-%" PRIx32 "-%" PRIx64 ".tmp",
                  static_cast<uint32_t>(::getpid()), counter.fetch_add(1),
                  static_cast<uint64_t>(ticks));
    return text;
}

}  // namespace

bool FileExists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 || errno == EIO || errno == ENOMEM ||
           errno == EOVERFLOW;
}

bool IsDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int32_t MakeDirectory(const std::string& path, std::string* error) {
    return Outcome(::mkdir(path.c_str(), 0777), error);
}

int32_t RemoveDirectory(const std::string& path, std::string* error) {
    return Outcome(::rmdir(path.c_str()), error);
}

int32_t DeleteFile(const std::string& path, std::string* error) {
    return Outcome(::unlink(path.c_str()), error);
}

int32_t RenameFile(const std::string& from, const std::string& to, std::string* error) {
    return Outcome(::rename(from.c_str(), to.c_str()), error);
}

std::unique_ptr<PosixFile> MakeTemporaryFile(const std::string& path, int32_t flags,
                                             std::string* suffix, std::string* error) {
    const std::string beginning = suffix->empty() ? "." : *suffix;
    int reason = EEXIST;
    for (int attempt = 0; attempt < kTemporaryNameTries && reason == EEXIST; ++attempt) {
        *suffix = beginning + UniqueSuffix();
        auto file = PosixFile::Open(path + *suffix, flags, &reason);
        if (file != nullptr) {
            return file;
        }
    }
    // The library names the table here, and not the file.
    *error = SystemErrorText(reason) + " (" + path + *suffix + ")";
    return nullptr;
}

}  // namespace ovrahost
