#include "shell/temporary_file.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "shell/database.h"

namespace ovrashell {

TemporaryFile::TemporaryFile() {
    std::error_code error;
    const auto folder = std::filesystem::temp_directory_path(error);
    if (error) {
        throw Error("There is no folder for temporary files: " + error.message());
    }
    path_ = (folder / "ovrasql-XXXXXX").string();
    descriptor_ = ::mkstemp(path_.data());
    if (descriptor_ < 0) {
        throw Error("Cannot make a temporary file in '" + folder.string() +
                    "': " + std::generic_category().message(errno));
    }
}

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

}  // namespace ovrashell
