#include "host/host_program.h"

#include <cstring>
#include <utility>

namespace ovrahost {

HostProgram::HostProgram(std::string root) : root_(std::move(root)) {
    if (!root_.empty() && root_.back() != '/') {
        root_ += '/';
    }
}

bool HostProgram::Resolve(int32_t location, const char* path, int32_t length,
                          std::string* resolved) {
    if (location != kDatabaseRoot) {
        lastError_ = "Unknown file location " + std::to_string(location);
        return false;
    }
    if (path == nullptr || length <= 0) {
        lastError_ = "Empty file name";
        return false;
    }
    if (std::memchr(path, '\0', static_cast<size_t>(length)) != nullptr) {
        lastError_ = "File name holds a NUL byte";
        return false;
    }
    const std::string given(path, static_cast<size_t>(length));
    *resolved = given.front() == '/' ? given : root_ + given;
    return true;
}

}  // namespace ovrahost
