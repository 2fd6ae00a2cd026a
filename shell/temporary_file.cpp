#include "shell/temporary_file.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "shell/database.h"

namespace ovrashell {

namespace {

// Makes what is called `prefix` and six letters that nobody else has, and gives its path. `make`
// puts the letters in, and tells whether it could be made; `kind` is for the message.
template <typename Make>
std::string MakeTemporary(const char* kind, const std::string& prefix, Make make) {
    std::error_code error;
    const auto parent = std::filesystem::temp_directory_path(error);
    if (error) {
        throw Error("There is no folder for temporary files: " + error.message());
    }
    std::string path = (parent / (prefix + "XXXXXX")).string();
    if (!make(path.data())) {
        throw Error(std::string("Cannot make a temporary ") + kind + " in '" + parent.string() +
                    "': " + std::generic_category().message(errno));
    }
    return path;
}

}  // namespace

TemporaryFile::TemporaryFile()
    : path_(MakeTemporary("file", "ovrasql-", [this](char* path) {
          descriptor_ = ::mkstemp(path);
          return descriptor_ >= 0;
      })) {}

TemporaryFile::~TemporaryFile() {
    RemoveName();
    ::close(descriptor_);
}

void TemporaryFile::RemoveName() {
    if (!path_.empty()) {
        ::unlink(path_.c_str());
        path_.clear();
    }
}

std::string TemporaryFile::Text() const {
    std::string text;
    std::array<char, 4096> chunk{};
    ssize_t count = 0;
    while ((count = ::pread(descriptor_, chunk.data(), chunk.size(),
                            static_cast<off_t>(text.size()))) > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return text;
}

TemporaryFolder::TemporaryFolder(const std::string& prefix)
    : path_(
          MakeTemporary("folder", prefix, [](char* path) { return ::mkdtemp(path) != nullptr; })) {}

TemporaryFolder::~TemporaryFolder() { Remove(); }

void TemporaryFolder::Remove() {
    if (std::exchange(isThere_, false)) {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
}

}  // namespace ovrashell
